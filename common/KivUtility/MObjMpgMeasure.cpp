// The measuring of MPEG streams by their group of pictures headers.
#include "MObjMpgParser.h"

#include "BitStreamWindow.h"
#include "MpegCodes.h"

#include <optional>

using namespace kiv::mpeg;

namespace {

// Positions looked at without a new end time before a walk gives up.
constexpr std::size_t kStepLimit = 200000;

// The second walk starts this many bytes before the end of the file.
constexpr unsigned long long kTailBytes = 200000;

// The rate is fixed, kept whatever the sequence header declares: frame counts and durations that the servers
// have stored were had with it.
constexpr double kFramesPerSecond = 29.97;
constexpr double kSecondsPerFrame = 0.0333667;

// What the walks over a stream have seen.
struct GroupTimes {
    std::optional<long> startTime; // seconds
    std::optional<long> endTime;
    std::uint32_t       picturesSinceGroup = 0;
    bool                reservedCodeSeen   = false;
};

// time_code and the fields around it, ISO/IEC 13818-2, 6.2.2.6: the seconds, or nothing where the stream ends
// within the header. The stream stands at the start code and is left at the byte border behind the time code.
std::optional<long> ReadGroupTime(CKivBitStream& s) {
    constexpr unsigned long kCodeAndDropFrameFlag = 33;
    s.SkipBits(kCodeAndDropFrameFlag);
    const auto hours   = static_cast<long>(s.GetBits(5));
    const auto minutes = static_cast<long>(s.GetBits(6));
    s.SkipBits(1); // marker
    const auto seconds = static_cast<long>(s.GetBits(6));
    s.GetBits(6); // picture
    if (s.BitsEOF() != 0) return std::nullopt;
    s.BitsAlignment(8);
    return (hours * 60 + minutes) * 60 + seconds;
}

// Moves behind the pack header up to its mux rate (ISO/IEC 13818-1, 2.5.3.3).
void SkipPackHeader(CKivBitStream& s) {
    constexpr unsigned long kMpeg2 = 1; // the two bits that an MPEG-2 pack header begins with
    s.SkipBits(kStartCodeBits);
    s.SkipBits(s.GetBits(2) == kMpeg2 ? 46 : 39);
    s.GetBits(22); // mux rate
    s.BitsAlignment(8);
}

// Whether a walk does anything at the start code that ends in this byte.
bool IsMeasured(std::uint8_t lastByte) {
    switch (kPrefix << 8 | lastByte) {
    case kPackCode:
    case kGroupCode:
    case kPictureCode:
    case kReservedCode: return true;
    default: return false;
    }
}

// Walks from the stream's position to its end, a reserved code, or kStepLimit positions without a new end
// time.
void Walk(CKivBitStream& s, GroupTimes& times) {
    kiv::BitStreamWindow window(s);
    std::size_t          steps = kStepLimit; // that are left
    while (steps > 0 && s.BitsEOF() == 0) {
        steps -= window.SkipToStartCode(kStartCodeBits, steps, IsMeasured);
        if (steps == 0 || s.BitsEOF() != 0) return;
        --steps;
        switch (s.ShowBits(kStartCodeBits)) {
        case kPackCode: SkipPackHeader(s); break;
        case kGroupCode:
            if (const auto time = ReadGroupTime(s)) {
                times.picturesSinceGroup = 0;
                if (!times.startTime) {
                    times.startTime = time;
                } else {
                    times.endTime = time;
                    steps         = kStepLimit;
                }
            }
            break;
        case kPictureCode:
            ++times.picturesSinceGroup;
            s.SkipBits(8);
            break;
        case kReservedCode: times.reservedCodeSeen = true; return;
        default: s.SkipBits(8);
        }
    }
}

} // namespace

int CMObjMpgBaseParser::ParseGroupOfPictures(CKivBitStream* s) {
    GroupTimes times;
    s->BytesJump(0);
    Walk(*s, times);
    if (!times.endTime && !times.reservedCodeSeen) {
        const unsigned long long size = s->GetFileSize();
        s->BytesJump(size > kTailBytes ? size - kTailBytes : 0);
        Walk(*s, times);
    }
    if (times.reservedCodeSeen || !times.endTime || *times.endTime <= *times.startTime) return 0;

    const auto seconds  = static_cast<double>(*times.endTime - *times.startTime);
    const auto frames   = static_cast<std::uint32_t>(seconds * kFramesPerSecond + times.picturesSinceGroup);
    const auto duration = static_cast<float>(frames * kSecondsPerFrame);
    SetMeasures({static_cast<double>(frames), kKivOrigin_Estimated},
                {static_cast<double>(duration), kKivOrigin_Timestamps});
    return 1;
}
