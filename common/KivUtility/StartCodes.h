// The start codes of a stream, one after the other.
#ifndef KIVUTILITY_STARTCODES_H
#define KIVUTILITY_STARTCODES_H

#include "StreamReader.h"

#include <cstdint>
#include <optional>

namespace kiv {

struct StartCode {
    static constexpr std::size_t kBytes = 4; // the prefix and the value

    std::uint64_t at;    // offset of the prefix
    std::uint8_t  value; // the byte behind it
};

// Those that lie wholly in [from, end) of the stream that the reader, which must outlive this, reads. The
// reader may be asked for other bytes in between.
class StartCodes {
public:
    StartCodes(StreamReader& reader, std::uint64_t from, std::uint64_t end)
        : m_reader(reader), m_next(from), m_end(end < reader.Size() ? end : reader.Size()) {}

    // Nothing behind the last one. A code's own bytes begin no other: the search goes on behind its prefix.
    std::optional<StartCode> Next();

    // Where the search goes on.
    std::uint64_t Position() const { return m_next; }

private:
    StreamReader& m_reader;
    std::uint64_t m_next;
    std::uint64_t m_end;
};

} // namespace kiv

#endif
