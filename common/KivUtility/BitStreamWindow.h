// Bulk access to a bit stream for the parsers: what is buffered as a span, looks further ahead than one
// field, and searches that leave the stream exactly where stepping byte by byte would have left it.
#ifndef KIVUTILITY_BITSTREAMWINDOW_H
#define KIVUTILITY_BITSTREAMWINDOW_H

#include "ByteScanner.h"
#include "KivBitStream.h"

#include <algorithm>

namespace kiv {

// A view of a stream that must outlive it; moving the stream by other means is seen here at once. The stream
// stands at a byte border.
class BitStreamWindow {
public:
    explicit BitStreamWindow(CKivBitStream& stream) : m_stream(stream) {}

    // The buffered bytes from the next one on; valid until the stream refills.
    ByteSpan Bytes() const;

    // Where the next bit's byte lies, from the source's start; not to be believed for a memory block once a
    // read has failed.
    std::uint64_t Offset() const;

    // Whether the next bit is a byte's first one in the buffer.
    bool IsByteAligned() const;

    // Makes the next n bytes visible in Bytes(), reading the file again from here where the buffer ends
    // before that. n: at most 32764. False when the source ends before; a memory block is what it is.
    bool Reach(std::size_t n);

    // The n bits (0..32) that begin `skip` bits further on, wherever the buffer ends; 0 behind the source's
    // end. skip + n: at most 65535.
    unsigned long Peek(unsigned skip, unsigned char n);

    // Moves byte by byte until the next 24 bits are a start code prefix (codeBits 24), or the next 32 a start
    // code whose last byte `accepts` takes (codeBits 32), maxBytes were skipped, or the stream ended. Returns
    // the bytes skipped; BitsEOF() tells of the end.
    template <class Accepts>
    std::size_t SkipToStartCode(unsigned char codeBits, std::size_t maxBytes, Accepts accepts) {
        return SkipTo(codeBits / 8U, maxBytes, [&](ByteSpan bytes, std::size_t positions) {
            const ByteSpan searched = bytes.first(positions + 2);
            std::size_t    at       = FindStartCode(searched, 0);
            while (codeBits == 32 && at < positions && !accepts(bytes[at + 3]))
                at = FindStartCode(searched, at + 1);
            return at;
        });
    }

    // Looks at the next codeBits (24 or 32) bits for `code`, a start code or the bare prefix, and moves one
    // byte on where they differ, until it is found (true; it is not consumed), `budget` positions were
    // looked at, or the stream ended. budget is counted down by one a byte skipped.
    bool SeekStartCode(std::uint32_t code, unsigned char codeBits, std::size_t& budget);

    // The same for a single byte.
    bool SeekByte(std::uint8_t value, std::size_t& budget);

private:
    CKivBitStream& m_stream;

    // Calls `search` on the buffered bytes with the number of positions at which `unitBytes` bytes are
    // visible, for its index of a hit among them or any larger one, and moves there; refills until there is a
    // hit, maxBytes were skipped, or the stream ended.
    template <class Search> std::size_t SkipTo(std::size_t unitBytes, std::size_t maxBytes, Search search) {
        std::size_t skipped = 0;
        while (m_stream.BitsEOF() == 0 && skipped < maxBytes) {
            (void)m_stream.ShowBits(static_cast<unsigned char>(unitBytes * 8)); // refills as a step would
            const ByteSpan bytes = Bytes();
            if (m_stream.BitsEOF() != 0 || bytes.size() < unitBytes) break;
            const std::size_t positions = std::min(bytes.size() - (unitBytes - 1), maxBytes - skipped);
            const std::size_t step      = std::min(search(bytes, positions), positions);
            m_stream.m_bitPosition += std::uint64_t{step} * 8; // within the buffer, whatever its size
            skipped += step;
            if (step < positions) break;
        }
        return skipped;
    }
};

} // namespace kiv

#endif
