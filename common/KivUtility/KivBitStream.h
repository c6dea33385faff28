// Bit fields of media streams, most significant bit first: the reader over a file or a memory block, and
// the two functions that read and write a field at any bit position of a byte array.
#ifndef KIVUTILITY_KIVBITSTREAM_H
#define KIVUTILITY_KIVBITSTREAM_H

#include "KivExport.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>

namespace kiv {
class BitStreamWindow;

namespace platform {
class File;
}
} // namespace kiv

// The n bits at bitPos (bit 0 is the most significant bit of buf[0]), in the low bits of the result.
// n: 1..32, and 0 means 32. Touches only the bytes that the field covers. 0 for n above 32.
KIV_API unsigned long KivGetBufferBits(const unsigned char* buf, unsigned long long bitPos, int n);

// Writes the low n bits of value at bitPos and changes no other bit. n: 1..32, and 0 means 32; above 32
// nothing is written. bitPos counts as a signed 32-bit number: a negative one lies before buf.
KIV_API void KivSetBufferBits(unsigned char* buf, unsigned long long bitPos, int n, unsigned long value);

// Reads a file, or the caller's memory block, as a stream of bit fields.
//
// A read that fails gives 0, as a field of zeros does: ask BitsEOF() before believing a 0, and stop at the
// first failure, for a reader at its end steps back by what it buffered each time it is asked again.
// A memory block is read in place. The last field may end in the byte behind the block, and the read that
// fails at its end overwrites the block's first 4 bytes with its last 4: give the reader a copy with a spare
// byte behind it where that matters.
// One thread at a time.
class KIV_API CKivBitStream {
public:
    CKivBitStream()  = default;
    ~CKivBitStream() = default;

    // Member by member, so the copy shares the open file and the buffer: only one of the two may go on
    // reading. Both may be destroyed; the last one closes the file.
    CKivBitStream(const CKivBitStream&)            = default;
    CKivBitStream& operator=(const CKivBitStream&) = default;

    // Opens a regular file for reading. Nothing is read before the first access. 1, or 0 for a null or empty
    // path, a file that cannot be opened, or no memory; then the stream has no source.
    int SourceFromFile(const char* path);

    // Reads the caller's n bytes in place; they must outlive the reading and be writable (see above). 1, or 0
    // for a null p or an n below 1; then the stream has no source.
    int SourceFromBuffer(const unsigned char* p, int n);

    // The next n bits, n 0..32, without moving. 0 when n is above 32 or the source has no more.
    unsigned long ShowBits(unsigned char n) {
        if (IsPlain(n)) return WordField(n);
        return Available(n) ? FieldAtBorder(m_bitPosition, n) : 0;
    }

    // The n bits that begin `skip` bits further on, from what is buffered now: this never reads the file, and
    // gives 0 when the buffer does not reach that far.
    unsigned long ShowBits(unsigned char n, unsigned short skip);

    // The next n bits, n 0..32, and moves past them. 0, without moving past them, as ShowBits.
    unsigned long GetBits(unsigned char n) {
        if (!IsPlain(n)) return GetBitsAtBorder(n);
        const unsigned long field = WordField(n);
        m_bitPosition += n;
        return field;
    }

    // Moves n bits on, n being a 32-bit number. 1, or 0 when the source ends before that.
    int SkipBits(unsigned long n) {
        const auto bits = static_cast<std::uint32_t>(n);
        if (NeedsRefill(bits) && !Refill(bits)) return 0;
        m_bitPosition += bits;
        return 1;
    }

    // Moves on until the bits consumed are a multiple of n, n 1..32. 1, or 0 for another n or at the end.
    int BitsAlignment(int n);

    // Moves to a byte offset from the source's start. A file: 1, also behind its end; 0 with the end flag set
    // for an offset that no file has; the bits consumed are then offset * 8. A memory block: always 1, and
    // neither the bits consumed nor the end flag change. Without a source: 0.
    int BytesJump(unsigned long long offset);

    // 1 once no more data could be had.
    int BitsEOF() const { return m_endFlag; }

    // Bits delivered since the source was opened, or since the last BytesJump on a file.
    unsigned long long GetOutBitCount() const { return m_bitPosition - m_countStart; }

    // Bytes in the file or block, as it was opened.
    unsigned long long GetFileSize() const { return m_fileSize; }

private:
    friend class kiv::BitStreamWindow;

    enum class Source : std::uint32_t { None, File, Memory };

    unsigned long long                   m_fileSize = 0;
    std::shared_ptr<kiv::platform::File> m_file;
    Source                               m_source      = Source::None;
    unsigned char*                       m_buffer      = nullptr; // m_storage's, or the caller's block
    std::uint32_t                        m_bufferSize  = 0;
    unsigned long long                   m_bitPosition = 0; // of the next bit, in the buffer
    unsigned long long                   m_validBytes  = 0; // of the buffer
    unsigned long long                   m_plainEnd    = 0; // bit positions below have a whole valid word
    unsigned long long                   m_countStart  = 0; // bit position at which the bits consumed were 0
    int                                  m_endFlag     = 1;
    std::shared_ptr<unsigned char[]>     m_storage;        // of a file source
    unsigned long long                   m_readOffset = 0; // in the file, of the next fill

    void          Reset();
    void          SetValidBytes(unsigned long long n);
    int           FillBuffer();
    bool          Refill(unsigned long long bits);
    unsigned long FieldAtBorder(unsigned long long bitPos, unsigned n) const;
    unsigned long GetBitsAtBorder(unsigned char n);

    // A file is refilled as soon as one bit of the field is missing; a memory block, which cannot be, serves
    // a field whose last bits lie in the byte behind it.
    bool NeedsRefill(unsigned long long bits) const {
        const unsigned rounding = m_source == Source::Memory ? 0 : 7;
        return (m_bitPosition + bits + rounding) / 8 > m_validBytes;
    }

    bool Available(unsigned char n) { return n <= 32 && (!NeedsRefill(n) || Refill(n)); }

    // Whether the next field is one of 1 to 32 bits in a word of valid bytes, the common case.
    bool IsPlain(unsigned char n) const { return n - 1U < 32 && m_bitPosition < m_plainEnd; }

    unsigned long WordField(unsigned n) const {
        const std::uint64_t word = BigEndian64(m_buffer + (m_bitPosition >> 3)) << (m_bitPosition & 7);
        return static_cast<unsigned long>(word >> (64 - n));
    }

    static std::uint64_t BigEndian64(const unsigned char* at) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof word);
        return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
    }
};

#endif
