// What all media format parsers share.
#include "MObjParser.h"

#include "KivRegistryMgr.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char          kServerKey[]        = "SOFTWARE\\Halvorn\\KivServer";
constexpr char          kBitRateValue[]     = "FsBitRate";
constexpr unsigned long kDefaultFileBitRate = 1024000;

// The whole part, within 32 bits; 0 for what is no number.
std::uint32_t Whole(double value) {
    constexpr double kMost = std::numeric_limits<std::uint32_t>::max();
    return value >= 0 ? static_cast<std::uint32_t>(std::min(value, kMost)) : 0;
}

} // namespace

unsigned long CMObjBaseParser::GetRegBitRate() {
    CKivRegistryMgr registry(HKEY_LOCAL_MACHINE);
    unsigned long   bitRate = kDefaultFileBitRate;
    if (registry.OpenNode(kServerKey, 0) != 0)
        registry.ReadValue(kBitRateValue, bitRate, kDefaultFileBitRate);
    return bitRate;
}

unsigned long long CMObjBaseParser::GetFileSize() { return m_fileSize; }

unsigned long CMObjBaseParser::GetBitRate() { return m_bitRate; }

float CMObjBaseParser::GetDuration() { return m_duration; }

unsigned long CMObjBaseParser::GetFrames() { return m_frames; }

Kiv_MEDIA_FORMAT_TYPE CMObjBaseParser::GetMediaType() { return m_mediaType; }

void CMObjBaseParser::SetMediaType(Kiv_MEDIA_FORMAT_TYPE type) { m_mediaType = type; }

Kiv_MEDIA_FORMAT_TYPE CMObjBaseParser::QuickCheck(CKivBitStream* s) {
    return s == nullptr ? kKivFmt_Unknown : ParseBitStream(s, 1);
}

Kiv_MEDIA_FORMAT_TYPE CMObjBaseParser::ParseFile(CKivBitStream* s) {
    if (s == nullptr) return kKivFmt_Unknown;
    m_fileSize = s->GetFileSize();
    ClearMeasures();
    return ParseBitStream(s, 0);
}

KivMeasureOrigin CMObjBaseParser::GetBitRateOrigin() const { return m_bitRateOrigin; }

KivMeasureOrigin CMObjBaseParser::GetDurationOrigin() const { return m_durationOrigin; }

KivMeasureOrigin CMObjBaseParser::GetFramesOrigin() const { return m_framesOrigin; }

bool CMObjBaseParser::IsTruncated() const { return m_truncated; }

void CMObjBaseParser::SetMeasures(Measure frames, Measure seconds, Measure bitsPerSecond) {
    m_frames         = Whole(frames.value);
    m_duration       = static_cast<float>(seconds.value);
    m_bitRate        = Whole(bitsPerSecond.value);
    m_framesOrigin   = m_frames != 0 ? frames.origin : kKivOrigin_None;
    m_durationOrigin = m_duration > 0 ? seconds.origin : kKivOrigin_None;
    m_bitRateOrigin  = m_bitRate != 0 ? bitsPerSecond.origin : kKivOrigin_None;
}

void CMObjBaseParser::SetMeasures(Measure frames, Measure seconds) {
    const double bits = static_cast<double>(m_fileSize) * 8;
    SetMeasures(frames, seconds, {seconds.value > 0 ? bits / seconds.value : 0, seconds.origin});
}

void CMObjBaseParser::ClearMeasures() {
    SetMeasures({}, {}, {});
    m_truncated = false;
}

const char* KivMeasureOriginName(KivMeasureOrigin origin) {
    switch (origin) {
    case kKivOrigin_Declared: return "declared";
    case kKivOrigin_Timestamps: return "timestamps";
    case kKivOrigin_Counted: return "counted";
    case kKivOrigin_Estimated: return "estimated";
    default: return "none";
    }
}
