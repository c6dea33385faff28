// The media formats in words.
#ifndef KIVTOOL_FORMATNAME_H
#define KIVTOOL_FORMATNAME_H

#include "KivUtility.h"

#include <string>

namespace tool {

// What the format is, in at most kFormatNameColumns characters: several formats share an abbreviation.
// "not recognised" for kKivFmt_Unknown and what is no format.
const char* FormatName(Kiv_MEDIA_FORMAT_TYPE format);

inline constexpr int kFormatNameColumns = 16;

// {E436EB84-524F-11CE-9F53-0020AF0BA770}
std::string GuidText(const GUID& guid);

} // namespace tool

#endif
