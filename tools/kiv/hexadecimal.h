// Bytes as hexadecimal digits, and back, as the library does it.
#ifndef KIVTOOL_HEXADECIMAL_H
#define KIVTOOL_HEXADECIMAL_H

#include "KivUtility.h"

#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

// Two digits a byte, a to f in lower case.
inline std::string Hexadecimal(std::string_view bytes) {
    CKivString digits;
    if (KivEncodeHex(bytes.data(), static_cast<unsigned long>(bytes.size()), digits) == 0)
        throw std::bad_alloc();
    return std::string(digits);
}

// The bytes that pairs of digits spell, in either case; nothing when the text is anything else.
inline std::optional<std::string> FromHexadecimal(const std::string& digits) {
    CKivDynaBuffer bytes;
    // a NUL in the text would end it for the library
    if (digits.find('\0') != std::string::npos || KivDecodeHex(digits.c_str(), bytes) == 0) return {};
    const auto* first = static_cast<const char*>(bytes.GetBufferPtr());
    return std::string(first, first + bytes.GetSize());
}

} // namespace tool

#endif
