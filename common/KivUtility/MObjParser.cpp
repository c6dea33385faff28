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
    SetMeasures(0, 0, 0);
    return ParseBitStream(s, 0);
}

void CMObjBaseParser::SetMeasures(double frames, double seconds, double bitsPerSecond) {
    m_frames   = Whole(frames);
    m_duration = static_cast<float>(seconds);
    m_bitRate  = Whole(bitsPerSecond);
}
