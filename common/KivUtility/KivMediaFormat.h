// The media formats that the servers handle, with their abbreviations, file extensions and media subtypes.
// Everything here is constant; any thread may call it.
#ifndef KIVUTILITY_KIVMEDIAFORMAT_H
#define KIVUTILITY_KIVMEDIAFORMAT_H

#include "KivExport.h"
#include "KivPlatform.h"
#include "KivString.h"

// What a media file or stream is. The values travel in records and stand in stored descriptions.
enum Kiv_MEDIA_FORMAT_TYPE : int {
    kKivFmt_Unknown        = 0,
    kKivFmt_Mpeg1System    = 1,
    kKivFmt_Mpeg1Video     = 2,
    kKivFmt_Mpeg1Vcd       = 3,
    kKivFmt_Mpeg2Program   = 4,
    kKivFmt_MpegAudio      = 5,
    kKivFmt_Mp3            = 6,
    kKivFmt_Avi            = 7,
    kKivFmt_Asf            = 8,
    kKivFmt_QuickTime      = 9,
    kKivFmt_H263           = 10,
    kKivFmt_Mpeg2System    = 12,
    kKivFmt_Mpeg2Transport = 13,
    kKivFmt_Mpeg2Video     = 14,
    kKivFmt_Mpeg4          = 17,
    kKivFmt_H264Mp4        = 18,
    kKivFmt_RealMedia      = 19,
    kKivFmt_Wmv            = 20,
    kKivFmt_AsfStream      = 21,
    kKivFmt_Mpeg4Mov       = 22,
    kKivFmt_H264HikPlay    = 23,
    kKivFmt_Avs            = 24,
    kKivFmt_3gpp           = 25,
    kKivFmt_H264DhPlay     = 26
};

// The DirectShow media subtype; that of kKivFmt_Unknown for a value without a row in the format table.
KIV_API GUID Kiv_FormatTypeToMediaType(Kiv_MEDIA_FORMAT_TYPE t);

// The short name, such as "MPG2", which several formats may share; "UNK" for a value without a row.
KIV_API CKivString Kiv_FormatTypeToAbbreviation(Kiv_MEDIA_FORMAT_TYPE t);

// The first format with that short name, letter case ignored; kKivFmt_Unknown for none or a null name.
KIV_API Kiv_MEDIA_FORMAT_TYPE Kiv_AbbreviationToFormatType(const char* abbr);

// The first format with that file extension (no dot, letter case ignored); kKivFmt_Unknown for none or a
// null. The empty extension gives kKivFmt_Mpeg1System: callers in the field rely on this fallback.
KIV_API Kiv_MEDIA_FORMAT_TYPE Kiv_GuessFormatTypeByExtension(const char* ext);

// Extension `index` of the format: "" for an index outside 0..4 or that the format does not use, otherwise
// "unk" for a value without a row.
KIV_API CKivString Kiv_FormatTypeToExtension(Kiv_MEDIA_FORMAT_TYPE t, int index);

#endif
