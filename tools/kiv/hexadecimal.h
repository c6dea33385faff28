// Bytes as hexadecimal digits, and back.
#ifndef KIVTOOL_HEXADECIMAL_H
#define KIVTOOL_HEXADECIMAL_H

#include <optional>
#include <string>
#include <string_view>

namespace tool {

// Two digits a byte, a to f in lower case.
std::string Hexadecimal(std::string_view bytes);

// The bytes that pairs of digits spell, in either case; nothing when the text is anything else.
std::optional<std::string> FromHexadecimal(std::string_view digits);

} // namespace tool

#endif
