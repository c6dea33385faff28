// Searches in byte spans, 64 positions a turn where the processor has SSE2.
#include "ByteScanner.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kiv {

namespace {

// Position by position; the bytes that a vectorised search leaves over, or all of them.
std::size_t FindStartCodeSlowly(ByteSpan bytes, std::size_t from) noexcept {
    for (std::size_t at = from; at + 2 < bytes.size();) {
        const std::uint8_t third = bytes[at + 2];
        if (third == 1 && bytes[at] == 0 && bytes[at + 1] == 0) return at;
        at += third == 0 ? 1 : 3; // only a zero in third place can belong to the next prefix
    }
    return bytes.size();
}

#if defined(__SSE2__)

constexpr std::size_t kVector = 16;
constexpr std::size_t kBlock  = 4 * kVector; // positions a turn

__m128i Load(const std::uint8_t* at) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// Bit i is set where a prefix begins at at[i]; reads 18 bytes.
unsigned PrefixesAt(const std::uint8_t* at) noexcept {
    const __m128i third = _mm_xor_si128(Load(at + 2), _mm_set1_epi8(1));
    const __m128i all   = _mm_or_si128(_mm_or_si128(Load(at), Load(at + 1)), third);
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(all, _mm_setzero_si128())));
}

// Whether a pair of bytes at an even index of the block is 00 00 or 00 01. A prefix that begins at an even
// index shows as the first, one that begins at an odd index as the second, so one load tests 16 positions.
bool MayHoldPrefix(const std::uint8_t* block) noexcept {
    const __m128i keepAllButOne = _mm_set1_epi16(static_cast<short>(0xFEFF)); // 00 01 reads as 0x0100
    const __m128i zero          = _mm_setzero_si128();
    const auto    isCandidate   = [&](std::size_t vector) {
        return _mm_cmpeq_epi16(_mm_and_si128(Load(block + vector * kVector), keepAllButOne), zero);
    };
    const __m128i any = _mm_or_si128(_mm_or_si128(isCandidate(0), isCandidate(1)),
                                     _mm_or_si128(isCandidate(2), isCandidate(3)));
    return _mm_movemask_epi8(any) != 0;
}

// The first prefix that begins in the block, or kBlock; reads 66 bytes.
std::size_t FirstPrefixIn(const std::uint8_t* block) noexcept {
    for (std::size_t at = 0; at < kBlock; at += kVector) {
        const unsigned found = PrefixesAt(block + at);
        if (found != 0) return at + static_cast<std::size_t>(std::countr_zero(found));
    }
    return kBlock;
}

#endif

} // namespace

std::size_t FindStartCode(ByteSpan bytes, std::size_t from) noexcept {
    std::size_t at = from;
#if defined(__SSE2__)
    // A prefix at a block's last index shows only in the first pair of the next block, so that the close look
    // begins one position before the block and leaves the block's last one to the next.
    std::size_t lookFrom = from;
    for (; at + kBlock + 2 <= bytes.size(); at += kBlock) {
        if (MayHoldPrefix(&bytes[at])) {
            const std::size_t found = FirstPrefixIn(&bytes[lookFrom]);
            if (found < kBlock) return lookFrom + found;
        }
        lookFrom = at + kBlock - 1;
    }
    at = lookFrom;
#endif
    return FindStartCodeSlowly(bytes, at);
}

std::size_t FindByte(ByteSpan bytes, std::size_t from, std::uint8_t value) noexcept {
    if (from >= bytes.size()) return bytes.size();
    const void* found = std::memchr(&bytes[from], value, bytes.size() - from);
    return found == nullptr
               ? bytes.size()
               : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
}

std::size_t FindOtherThan(ByteSpan bytes, std::size_t from, std::uint8_t value) noexcept {
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return static_cast<std::size_t>(std::find_if(start, bytes.end(), [=](auto b) { return b != value; })
                                    - bytes.begin());
}

std::size_t CopyUnescaped(ByteSpan nalUnit, std::span<std::uint8_t> into) noexcept {
    constexpr std::uint8_t kEmulationPrevention = 3;
    std::size_t            copied               = 0;
    unsigned               zeros                = 0;
    for (const std::uint8_t byte : nalUnit) {
        if (copied == into.size() || (zeros >= 2 && byte < kEmulationPrevention)) break;
        const bool isEscape = zeros >= 2 && byte == kEmulationPrevention;
        if (!isEscape) into[copied++] = byte;
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return copied;
}

} // namespace kiv
