// The format table and the look-ups in it.
#include "KivMediaFormat.h"

#include "AsciiCase.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

using kiv::EqualIgnoringCase;

constexpr int kExtensionSlots = 5;

constexpr GUID kMpeg1System  = {0xE436EB84, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kMpeg1VideoCd = {0xE436EB85, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kMpeg1Video   = {0xE436EB86, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kMpeg1Audio   = {0xE436EB87, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kAvi          = {0xE436EB88, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kQtMovie      = {0xE436EB89, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kNone         = {0xE436EB8E, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kAsf          = {0x3DB80F90, 0x9412, 0x11D1, {0xAD, 0xED, 0x00, 0x00, 0xF8, 0x75, 0x4B, 0x99}};
constexpr GUID kMpeg2Program = {0xE06D8022, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kMpeg2Transport = {
    0xE06D8023, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kMpeg2Video = {0xE06D8026, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
// the FourCC base suffix stands one byte off, kept: stored descriptions compare against these bytes
constexpr GUID kAvs = {0x5621A68A, 0x0000, 0x0010, {0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71, 0x00}};

struct FormatRow {
    Kiv_MEDIA_FORMAT_TYPE format;
    char                  abbreviation[16];
    char                  extensions[kExtensionSlots][8];
    const GUID*           mediaType;
};

// Every look-up takes the first row that matches, so the order of the rows is part of their meaning.
constexpr FormatRow kFormats[] = {
    {kKivFmt_Mpeg1System, "MPG1", {"mpg"}, &kMpeg1System},
    {kKivFmt_MpegAudio, "MPA", {"mpa"}, &kMpeg1Audio},
    {kKivFmt_Mpeg1Vcd, "VCD", {"dat"}, &kMpeg1VideoCd},
    {kKivFmt_Avi, "AVI", {"avi", "divx", "xvid"}, &kAvi},
    {kKivFmt_H263, "H263", {"263"}, &kNone},
    {kKivFmt_Mp3, "MP3", {"mp3"}, &kMpeg1Audio},
    {kKivFmt_Asf, "ASF", {"asf"}, &kAsf},
    {kKivFmt_Mpeg2Video, "MPG2", {"mp2"}, &kMpeg2Video},
    {kKivFmt_Mpeg2Program, "MPG2", {"mp2"}, &kMpeg2Program},
    {kKivFmt_Mpeg2Transport, "MPG2", {"mp2"}, &kMpeg2Transport},
    {kKivFmt_Mpeg2System, "MPG2", {"mp2"}, &kMpeg1System},
    {kKivFmt_Mpeg1Video, "MPG1V", {"mpg"}, &kMpeg1Video},
    {kKivFmt_QuickTime, "MOV", {"mov", "qt"}, &kQtMovie},
    {kKivFmt_Mpeg4, "MPG4", {"mp4"}, &kNone},
    {kKivFmt_Mpeg4Mov, "MPG4", {"mp4", "mov"}, &kNone},
    {kKivFmt_H264Mp4, "H264", {"264", "mp4"}, &kNone},
    {kKivFmt_H264HikPlay, "H264", {"264"}, &kNone},
    {kKivFmt_H264DhPlay, "H264", {"264"}, &kNone},
    {kKivFmt_RealMedia, "RM", {"rm", "ra", "ram", "rmvb"}, &kNone},
    {kKivFmt_Wmv, "WMV", {"wmv", "wma"}, &kAsf},
    {kKivFmt_Avs, "AVS", {"avs"}, &kAvs},
    {kKivFmt_3gpp, "3GPP", {"3gp"}, &kNone},
    {kKivFmt_Unknown, "UNK", {"unk"}, &kNone},
};
static_assert(std::size(kFormats) == 23);

constexpr bool NamesEveryFormatOnce() {
    for (const FormatRow& row : kFormats) {
        const auto same = [&](const FormatRow& other) { return other.format == row.format; };
        if (std::ranges::count_if(kFormats, same) != 1) return false;
    }
    return true;
}

static_assert(NamesEveryFormatOnce());

const FormatRow* FindRow(Kiv_MEDIA_FORMAT_TYPE format) {
    const auto* row = std::ranges::find(kFormats, format, &FormatRow::format);
    return row == std::end(kFormats) ? nullptr : row;
}

// The format of the first row that `matches`.
template <class Predicate> Kiv_MEDIA_FORMAT_TYPE FirstFormat(Predicate matches) {
    const auto* row = std::ranges::find_if(kFormats, matches);
    return row == std::end(kFormats) ? kKivFmt_Unknown : row->format;
}

} // namespace

GUID Kiv_FormatTypeToMediaType(Kiv_MEDIA_FORMAT_TYPE t) {
    const FormatRow* row = FindRow(t);
    return row == nullptr ? kNone : *row->mediaType;
}

CKivString Kiv_FormatTypeToAbbreviation(Kiv_MEDIA_FORMAT_TYPE t) {
    const FormatRow* row = FindRow(t);
    return row == nullptr ? "UNK" : row->abbreviation;
}

Kiv_MEDIA_FORMAT_TYPE Kiv_AbbreviationToFormatType(const char* abbr) {
    if (abbr == nullptr) return kKivFmt_Unknown;
    return FirstFormat([&](const FormatRow& row) { return EqualIgnoringCase(row.abbreviation, abbr); });
}

Kiv_MEDIA_FORMAT_TYPE Kiv_GuessFormatTypeByExtension(const char* ext) {
    if (ext == nullptr) return kKivFmt_Unknown;
    // unused slots take part, kept: through them the empty extension names the first row
    return FirstFormat([&](const FormatRow& row) {
        return std::ranges::any_of(row.extensions,
                                   [&](const char* slot) { return EqualIgnoringCase(slot, ext); });
    });
}

CKivString Kiv_FormatTypeToExtension(Kiv_MEDIA_FORMAT_TYPE t, int index) {
    if (index < 0 || index >= kExtensionSlots) return "";
    const FormatRow* row = FindRow(t);
    return row == nullptr ? "unk" : row->extensions[index];
}
