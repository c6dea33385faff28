// The names of the media formats.
#include "formatname.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace tool {

namespace {

struct Name {
    Kiv_MEDIA_FORMAT_TYPE format;
    std::string_view      name;
};

constexpr Name kNames[] = {
    {kKivFmt_Mpeg1System, "MPEG-1 system"},
    {kKivFmt_Mpeg1Video, "MPEG-1 video"},
    {kKivFmt_Mpeg1Vcd, "Video CD"},
    {kKivFmt_Mpeg2Program, "MPEG-2 program"},
    {kKivFmt_MpegAudio, "MPEG audio"},
    {kKivFmt_Mp3, "MPEG layer III"},
    {kKivFmt_Avi, "AVI"},
    {kKivFmt_Asf, "ASF"},
    {kKivFmt_QuickTime, "QuickTime"},
    {kKivFmt_H263, "H.263"},
    {kKivFmt_Mpeg2System, "MPEG-2 system"},
    {kKivFmt_Mpeg2Transport, "MPEG-2 transport"},
    {kKivFmt_Mpeg2Video, "MPEG-2 video"},
    {kKivFmt_Mpeg4, "MPEG-4"},
    {kKivFmt_H264Mp4, "H.264"},
    {kKivFmt_RealMedia, "RealMedia"},
    {kKivFmt_Wmv, "Windows Media"},
    {kKivFmt_AsfStream, "ASF stream"},
    {kKivFmt_Mpeg4Mov, "MPEG-4 QuickTime"},
    {kKivFmt_H264HikPlay, "H.264 HikPlay"},
    {kKivFmt_Avs, "AVS"},
    {kKivFmt_3gpp, "3GPP"},
    {kKivFmt_H264DhPlay, "H.264 DhPlay"},
};
static_assert(std::ranges::adjacent_find(kNames, std::ranges::greater_equal{}, &Name::format)
              == std::end(kNames));
static_assert(std::ranges::all_of(kNames, [](Name row) { return row.name.size() <= kFormatNameColumns; }));

} // namespace

const char* FormatName(Kiv_MEDIA_FORMAT_TYPE format) {
    const Name* row = std::ranges::find(kNames, format, &Name::format);
    return row != std::end(kNames) ? row->name.data() : "not recognised";
}

std::string GuidText(const GUID& guid) {
    char text[64];
    int  at = std::snprintf(text, sizeof text, "{%08lX-%04X-%04X-", static_cast<unsigned long>(guid.Data1),
                            guid.Data2, guid.Data3);
    for (int i = 0; i < 8; ++i) {
        at += std::snprintf(text + at, sizeof text - static_cast<std::size_t>(at), i == 2 ? "-%02X" : "%02X",
                            guid.Data4[i]);
    }
    return std::string(text) + "}";
}

} // namespace tool
