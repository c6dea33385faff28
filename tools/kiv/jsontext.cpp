// Strings where JSON has them, digits for the rest.
#include "jsontext.h"

#include "hexadecimal.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tool {

namespace {

constexpr char kHex[] = "hex"; // the name in the object that stands for a text which is none

std::string WithoutNul(std::string text) {
    if (text.find('\0') != std::string::npos) throw std::invalid_argument("holds a NUL, which ends a text");
    return text;
}

} // namespace

Json HexJson(std::string_view bytes) { return {{kHex, Hexadecimal(bytes)}}; }

Json TextJson(std::string_view text) { return IsUtf8(text) ? Json(text) : HexJson(text); }

std::string BytesFromJson(const nlohmann::json& value) {
    if (value.is_string()) return WithoutNul(value.get<std::string>());
    if (!value.is_object() || value.size() != 1 || !value.contains(kHex) || !value[kHex].is_string())
        throw std::invalid_argument("is neither a text nor {\"hex\": \"...\"}");
    const auto bytes = FromHexadecimal(value[kHex].get_ref<const std::string&>());
    if (!bytes) throw std::invalid_argument("hex is no pairs of hexadecimal digits");
    return *bytes;
}

std::string TextFromJson(const nlohmann::json& value) { return WithoutNul(BytesFromJson(value)); }

} // namespace tool
