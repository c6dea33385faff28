// The search for byte patterns in media data: every parser looks for its codes through these.
#ifndef KIVUTILITY_BYTESCANNER_H
#define KIVUTILITY_BYTESCANNER_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace kiv {

using ByteSpan = std::span<const std::uint8_t>;

// Index of the next start code prefix (00 00 01, ISO/IEC 13818-2, 6.2.1) at or after `from`, or bytes.size()
// when there is none. A prefix cut by the end is not found: whoever reads in pieces keeps the last two bytes
// for the next call. from <= bytes.size(). Any thread.
std::size_t FindStartCode(ByteSpan bytes, std::size_t from) noexcept;

// Index of the next `value` at or after `from`, or bytes.size() when there is none. from <= bytes.size().
// Any thread.
std::size_t FindByte(ByteSpan bytes, std::size_t from, std::uint8_t value) noexcept;

// Index of the first byte that is not `value` at or after `from`, or bytes.size() when all are.
// from <= bytes.size(). Any thread.
std::size_t FindOtherThan(ByteSpan bytes, std::size_t from, std::uint8_t value) noexcept;

// Copies a NAL unit's bytes without the emulation prevention bytes (00 00 03, ISO/IEC 14496-10, 7.4.1.1), as
// many as `into` takes and up to what ends the unit: two zeros and a byte below 3. Returns how many. Any
// thread.
std::size_t CopyUnescaped(ByteSpan nalUnit, std::span<std::uint8_t> into) noexcept;

} // namespace kiv

#endif
