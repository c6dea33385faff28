// Reads bytes at offsets of a bit stream and never behind its end: for the parsers of formats whose records
// tell where others lie.
#ifndef KIVUTILITY_STREAMREADER_H
#define KIVUTILITY_STREAMREADER_H

#include "BitStreamWindow.h"

namespace kiv {

// Works on a stream that must outlive it and that nobody else moves meanwhile. Offsets count from where the
// stream stood when the reader was made, which is a byte border.
class StreamReader {
public:
    // The most bytes that one call asks for: what the stream buffers of a file.
    static constexpr std::size_t kMost = 32764;

    explicit StreamReader(CKivBitStream& stream);

    // Bytes from offset 0 to the stream's end, as it was when it was opened.
    std::uint64_t Size() const { return m_size; }

    // The bytes from `offset` on: at least `n` (1..kMost), and as many more as are buffered, which is up to
    // the end for a memory block. Empty when the stream ends before that, or cannot be read. Valid until the
    // next call. Reading forward in steps reads each part of a file once; a step further than what is
    // buffered, or back, begins a new read of kMost bytes there.
    ByteSpan At(std::uint64_t offset, std::size_t n);

private:
    CKivBitStream&  m_stream;
    BitStreamWindow m_window;
    std::uint64_t   m_origin; // in the source, of offset 0
    std::uint64_t   m_size;
};

} // namespace kiv

#endif
