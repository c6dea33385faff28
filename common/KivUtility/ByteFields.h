// Numbers, four-character codes and texts in byte spans.
#ifndef KIVUTILITY_BYTEFIELDS_H
#define KIVUTILITY_BYTEFIELDS_H

#include "ByteScanner.h"

#include <algorithm>
#include <concepts>
#include <string_view>

namespace kiv {

// The bytes of `all` from `at` on, at most `count`: as many of them as there are. Any thread.
constexpr ByteSpan Part(ByteSpan all, std::size_t at, std::size_t count = SIZE_MAX) noexcept {
    at = std::min(at, all.size());
    return all.subspan(at, std::min(count, all.size() - at));
}

// The number at bytes[at], most significant byte first. 0 where the bytes do not hold all of it, so that a
// record shorter than its newest form reads as one with zeros. Any thread.
template <std::unsigned_integral Number> constexpr Number BigEndian(ByteSpan bytes, std::size_t at) noexcept {
    if (at > bytes.size() || bytes.size() - at < sizeof(Number)) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) number = (number << 8) | bytes[at + i];
    return static_cast<Number>(number);
}

// The same, least significant byte first.
template <std::unsigned_integral Number>
constexpr Number LittleEndian(ByteSpan bytes, std::size_t at) noexcept {
    if (at > bytes.size() || bytes.size() - at < sizeof(Number)) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = sizeof(Number); i > 0; --i) number = (number << 8) | bytes[at + i - 1];
    return static_cast<Number>(number);
}

// A four-character code, as BigEndian<std::uint32_t> reads it.
constexpr std::uint32_t FourCc(const char (&text)[5]) noexcept {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i) code = (code << 8) | static_cast<unsigned char>(text[i]);
    return code;
}

// Whether `text` stands at bytes[at]. Any thread.
constexpr bool IsTextAt(ByteSpan bytes, std::size_t at, std::string_view text) noexcept {
    if (at > bytes.size() || bytes.size() - at < text.size()) return false;
    return std::ranges::equal(text, bytes.subspan(at, text.size()), {},
                              [](char c) { return static_cast<std::uint8_t>(c); });
}

} // namespace kiv

#endif
