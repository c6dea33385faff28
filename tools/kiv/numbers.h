// Numbers as they are written on the command line.
#ifndef KIVTOOL_NUMBERS_H
#define KIVTOOL_NUMBERS_H

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tool {

// The number that all of `text` spells in `base`; nothing when it spells none or one that does not fit.
template <class Number> std::optional<Number> ParseNumber(std::string_view text, int base) {
    Number number           = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// The same for 32 bits, decimal, or 0x and hexadecimal.
inline std::optional<std::uint32_t> ParseDword(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    return ParseNumber<std::uint32_t>(text.substr(isHex ? 2 : 0), isHex ? 16 : 10);
}

} // namespace tool

#endif
