// The bit stream reader's sources and refills, and bit fields in byte arrays.
#include "KivBitStream.h"

#include "platform/file.h"

#include <algorithm>
#include <limits>
#include <new>
#include <span>

namespace {

constexpr std::uint32_t kBufferSize = 32768; // of a file source: the carry, then one fill
constexpr std::uint32_t kCarry      = 4;     // bytes of the previous fill kept before each fill

constexpr unsigned kMaxFieldBits = 32;

// A width of 0 means 32, as callers in the field expect of the two functions on byte arrays.
unsigned WidthOf(int n) {
    return kMaxFieldBits - ((kMaxFieldBits - static_cast<unsigned>(n)) % kMaxFieldBits);
}

struct Cover {
    unsigned shift; // bits of the first byte that lie before the field
    unsigned bytes; // that the field touches: 1 to 5
    unsigned spare; // bits of the last byte that lie behind the field
};

Cover CoverOf(unsigned bitInByte, unsigned width) {
    const unsigned bytes = (bitInByte + width + 7) / 8;
    return {bitInByte, bytes, bytes * 8 - bitInByte - width};
}

std::uint64_t MaskOf(unsigned width) { return (std::uint64_t{1} << width) - 1; }

} // namespace

unsigned long KivGetBufferBits(const unsigned char* buf, unsigned long long bitPos, int n) {
    if (n > static_cast<int>(kMaxFieldBits)) return 0;
    const unsigned       width = WidthOf(n);
    const Cover          cover = CoverOf(static_cast<unsigned>(bitPos & 7), width);
    const unsigned char* at    = buf + static_cast<std::size_t>(bitPos >> 3);
    std::uint64_t        word  = 0;
    for (unsigned i = 0; i < cover.bytes; ++i) word = (word << 8) | at[i];
    return static_cast<unsigned long>((word >> cover.spare) & MaskOf(width));
}

void KivSetBufferBits(unsigned char* buf, unsigned long long bitPos, int n, unsigned long value) {
    if (n > static_cast<int>(kMaxFieldBits)) return;
    const auto     position = static_cast<std::int32_t>(static_cast<std::uint32_t>(bitPos));
    const unsigned width    = WidthOf(n);
    const Cover    cover    = CoverOf(static_cast<unsigned>(position & 7), width);
    const auto     mask     = MaskOf(width) << cover.spare;
    const auto     field    = (static_cast<std::uint64_t>(value) << cover.spare) & mask;
    unsigned char* at       = buf + (position >> 3);
    for (unsigned i = 0; i < cover.bytes; ++i) {
        const unsigned down = 8 * (cover.bytes - 1 - i);
        at[i] = static_cast<unsigned char>((at[i] & ~(mask >> down)) | ((field >> down) & 0xFF));
    }
}

int CKivBitStream::SourceFromFile(const char* path) {
    Reset();
    if (path == nullptr || *path == '\0') return 0;
    auto file = kiv::platform::File::OpenForReading(path);
    if (!file) return 0;
    try {
        m_storage = std::make_shared_for_overwrite<unsigned char[]>(kBufferSize);
        m_file    = std::move(file);
    } catch (const std::bad_alloc&) {
        m_storage.reset();
        return 0;
    }
    std::fill_n(m_storage.get(), kCarry, static_cast<unsigned char>(0));
    m_fileSize    = m_file->Size();
    m_buffer      = m_storage.get();
    m_bufferSize  = kBufferSize;
    m_bitPosition = kCarry * 8;
    m_countStart  = m_bitPosition;
    m_endFlag     = 0;
    m_source      = Source::File;
    return 1;
}

int CKivBitStream::SourceFromBuffer(const unsigned char* p, int n) {
    Reset();
    if (p == nullptr || n < 1) return 0;
    m_fileSize   = static_cast<unsigned long long>(n);
    m_buffer     = const_cast<unsigned char*>(p);
    m_bufferSize = static_cast<std::uint32_t>(n);
    m_endFlag    = 0;
    m_source     = Source::Memory;
    SetValidBytes(m_bufferSize);
    return 1;
}

unsigned long CKivBitStream::ShowBits(unsigned char n, unsigned short skip) {
    const unsigned long long bitPos = m_bitPosition + skip;
    if (n > kMaxFieldBits || (bitPos + n) / 8 > m_validBytes) return 0;
    return FieldAtBorder(bitPos, n);
}

unsigned long CKivBitStream::GetBitsAtBorder(unsigned char n) {
    if (!Available(n)) return 0;
    const unsigned long field = FieldAtBorder(m_bitPosition, n);
    m_bitPosition += n;
    return field;
}

int CKivBitStream::BitsAlignment(int n) {
    if (n < 1 || n > 32) return 0;
    const auto over = static_cast<unsigned long>(GetOutBitCount() % static_cast<unsigned>(n));
    return over == 0 ? 1 : SkipBits(static_cast<unsigned long>(n) - over);
}

int CKivBitStream::BytesJump(unsigned long long offset) {
    if (m_source == Source::Memory) {
        // bits consumed and end flag stay, unlike for a file: callers in the field count on it
        m_countStart += offset * 8 - m_bitPosition;
        m_bitPosition = offset * 8;
        return 1;
    }
    SetValidBytes(0);
    m_bitPosition = kCarry * 8;
    m_countStart  = m_bitPosition - offset * 8;
    m_readOffset  = offset;
    const bool can =
        m_file != nullptr && offset <= static_cast<unsigned long long>(std::numeric_limits<long long>::max());
    m_endFlag = can ? 0 : 1;
    return can ? 1 : 0;
}

void CKivBitStream::Reset() { *this = CKivBitStream(); }

void CKivBitStream::SetValidBytes(unsigned long long n) {
    m_validBytes = n;
    m_plainEnd   = n < sizeof(std::uint64_t) ? 0 : (n - sizeof(std::uint64_t) + 1) * 8;
}

// Reads the next piece of the file behind the last 4 bytes of the piece before. 0, with the end flag set,
// when there is none. The carry comes first even then, also in a memory block, where it overwrites the
// block's first bytes: kept, since callers see the position that it leaves.
int CKivBitStream::FillBuffer() {
    if (m_validBytes > kCarry) {
        std::memmove(m_buffer, m_buffer + (m_validBytes - kCarry), kCarry);
        m_bitPosition -= (m_validBytes - kCarry) * 8;
        m_countStart -= (m_validBytes - kCarry) * 8;
    }
    if (m_endFlag != 0 || m_source != Source::File) {
        m_endFlag = 1;
        return 0;
    }
    const std::size_t got = m_file->ReadAt(m_readOffset, std::span(m_buffer + kCarry, m_bufferSize - kCarry));
    if (got == 0) {
        m_endFlag = 1;
        return 0;
    }
    m_readOffset += got;
    SetValidBytes(got + kCarry);
    return 1;
}

// Fills until the next `bits` bits are there; false when the source ends before that, or when the position
// was moved back before the buffer's start by reads at the end.
bool CKivBitStream::Refill(unsigned long long bits) {
    while (NeedsRefill(bits)) {
        if (FillBuffer() == 0) return false;
    }
    return true;
}

// The field byte by byte, as it must be taken where a whole word would reach behind the valid bytes. Bytes
// behind the valid ones count as 0, but for the one behind a memory block.
unsigned long CKivBitStream::FieldAtBorder(unsigned long long bitPos, unsigned n) const {
    const Cover              cover = CoverOf(static_cast<unsigned>(bitPos & 7), n);
    const unsigned long long first = bitPos >> 3;
    const unsigned long long limit = m_source == Source::Memory ? m_validBytes + 1 : m_validBytes;
    std::uint64_t            word  = 0;
    for (unsigned i = 0; i < cover.bytes; ++i) {
        word = (word << 8) | (first + i < limit ? m_buffer[first + i] : 0U);
    }
    return static_cast<unsigned long>((word >> cover.spare) & MaskOf(n));
}
