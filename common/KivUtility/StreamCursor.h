// Reads the fields of a record one after the other: for records whose fields have lengths of their own.
#ifndef KIVUTILITY_STREAMCURSOR_H
#define KIVUTILITY_STREAMCURSOR_H

#include "ByteFields.h"
#include "StreamReader.h"

namespace kiv {

// Moves through the bytes [begin, end) of a reader that must outlive it, and never out of them. A field that
// they do not hold wholly reads as 0, and everything behind it too; HasFailed() tells.
class StreamCursor {
public:
    StreamCursor(StreamReader& reader, std::uint64_t begin, std::uint64_t end)
        : m_reader(reader), m_at(begin), m_end(std::max(begin, end)) {}

    std::uint64_t At() const { return m_at; }

    std::uint64_t Left() const { return m_end - m_at; }

    bool HasFailed() const { return m_failed; }

    void Skip(std::uint64_t bytes) {
        if (bytes > Left())
            Fail();
        else
            m_at += bytes;
    }

    // Gives up the record's last bytes.
    void DropTail(std::uint64_t bytes) {
        if (bytes > Left())
            Fail();
        else
            m_end -= bytes;
    }

    template <std::unsigned_integral Number> Number Little() {
        return LittleEndian<Number>(Take(sizeof(Number)), 0);
    }

    template <std::unsigned_integral Number> Number Big() {
        return BigEndian<Number>(Take(sizeof(Number)), 0);
    }

    // The next n bytes (1..StreamReader::kMost), valid until the next read through the reader; empty where
    // there are fewer.
    ByteSpan Take(std::size_t n) {
        const ByteSpan bytes = n <= Left() ? m_reader.At(m_at, n) : ByteSpan{};
        if (bytes.empty())
            Fail();
        else
            m_at += n;
        return Part(bytes, 0, n);
    }

private:
    StreamReader& m_reader;
    std::uint64_t m_at;
    std::uint64_t m_end;
    bool          m_failed = false;

    void Fail() {
        m_failed = true;
        m_at     = m_end;
    }
};

} // namespace kiv

#endif
