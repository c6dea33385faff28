// Conversion between bytes and hexadecimal digits.
#include "hexadecimal.h"

#include "numbers.h"

#include <cstdint>

namespace tool {

std::string Hexadecimal(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string    digits;
    digits.reserve(bytes.size() * 2);
    for (const char each : bytes) {
        const auto byte = static_cast<std::uint8_t>(each);
        digits += kDigits[byte >> 4];
        digits += kDigits[byte & 15];
    }
    return digits;
}

std::optional<std::string> FromHexadecimal(std::string_view digits) {
    if (digits.size() % 2 != 0) return {};
    std::string bytes;
    for (; !digits.empty(); digits.remove_prefix(2)) {
        const auto byte = ParseNumber<std::uint8_t>(digits.substr(0, 2), 16);
        if (!byte) return {};
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

} // namespace tool
