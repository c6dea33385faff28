// Texts of which nobody says that they are UTF-8, in JSON.
#ifndef KIVTOOL_JSONTEXT_H
#define KIVTOOL_JSONTEXT_H

#include "names.h"

#include <string>
#include <string_view>

namespace tool {

// {"hex": "..."} with the digits of the bytes.
Json HexJson(std::string_view bytes);

// A string where the text is UTF-8, else as HexJson() gives it.
Json TextJson(std::string_view text);

// The bytes that either of the two stands for. Throws std::invalid_argument, with what is wrong behind the
// name of the value: "is neither a text ...". A string, but no digits, must be free of NULs.
std::string BytesFromJson(const nlohmann::json& value);

// The same for a text, which a NUL would end, however it is spelt.
std::string TextFromJson(const nlohmann::json& value);

} // namespace tool

#endif
