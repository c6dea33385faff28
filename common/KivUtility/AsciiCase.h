// Comparing names without regard to the case of ASCII letters, whatever the locale says.
#ifndef KIVUTILITY_ASCIICASE_H
#define KIVUTILITY_ASCIICASE_H

#include <algorithm>
#include <string_view>

namespace kiv {

constexpr char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, ToLower, ToLower);
}

} // namespace kiv

#endif
