// How names are shown and compared. Whoever names a file may have put anything into the name.
#ifndef KIVTOOL_NAMES_H
#define KIVTOOL_NAMES_H

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace tool {

using Json = nlohmann::ordered_json;

// The name in one line of harmless UTF-8: what is a control character or no UTF-8 is written as \n, \x1b,
// \xff. Where it does not separate folders, a backslash is written as \\.
std::string Shown(const std::filesystem::path& path);

// The same for any text that came from outside.
std::string ShownText(std::string_view text);

// Whether all of the text is UTF-8 (RFC 3629).
bool IsUtf8(std::string_view text);

// With a to z for A to Z, whatever the locale says.
std::string LowerCase(std::string text);

// The terminal columns that a shown text takes.
int Columns(std::string_view shown);

// The end of a shown text that has no more than `columns` columns, behind "..." where something was cut off.
std::string CutToFit(std::string_view shown, int columns);

// Adds the name to a JSON object as the value of `key`, with U+FFFD for what is no UTF-8; such a name is
// also added byte by byte, in hexadecimal digits, as the value of `key` followed by "_bytes".
void PutName(Json& object, const std::string& key, const std::filesystem::path& path);

// The object in one line, with the line's end.
std::string JsonLine(const Json& object);

} // namespace tool

#endif
