// H.264 and AVS elementary streams: recognised by the headers that they begin with, measured by counting.
#include "MObjH264Parser.h"

#include "ByteFields.h"
#include "H264Syntax.h"
#include "HeaderBits.h"
#include "MpegCodes.h"
#include "PlaybackLibrary.h"
#include "StartCodes.h"

#include <algorithm>
#include <array>
#include <optional>

using kiv::ByteSpan;
using kiv::HeaderBits;
using kiv::StartCode;
using kiv::StartCodes;
using kiv::StreamReader;

namespace {

// Where the headers and a picture must have come, bytes from the start: a stream cut at its front may begin
// with a whole group of pictures that lacks them.
constexpr std::uint64_t kMostBeforeHeaders = 1 << 20;

// The zeros that may stand before the first start code of a stream (leading_zero_8bits, ISO/IEC 14496-10,
// B.1), which bounds none.
constexpr std::uint64_t kMostLeadingZeros = 4096;

// What recorders that do not tell their rate, nearly all of them for PAL cameras, record at.
constexpr double kAssumedFramesPerSecond = 25;

// The bytes behind a start code, at most `most`, as many as there are. The reader stays at the code, from
// which the search for the next one goes on.
ByteSpan BytesBehind(StreamReader& reader, const StartCode& code, std::size_t most) {
    const std::uint64_t left = reader.Size() - code.at;
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(StartCode::kBytes + most, left));
    return kiv::Part(reader.At(code.at, size), StartCode::kBytes, most);
}

// Frames and the time that they take.
class Film {
public:
    // A rate of 0 is one that is not told.
    void AddFrame(double framesPerSecond) {
        m_isRateAssumed = m_isRateAssumed || framesPerSecond <= 0;
        ++m_frames;
        m_seconds += 1 / (framesPerSecond > 0 ? framesPerSecond : kAssumedFramesPerSecond);
    }

    double Frames() const { return static_cast<double>(m_frames); }

    double Seconds() const { return m_seconds; }

    KivMeasureOrigin OriginOfSeconds() const {
        return m_isRateAssumed ? kKivOrigin_Estimated : kKivOrigin_Counted;
    }

private:
    std::uint64_t m_frames        = 0;
    double        m_seconds       = 0;
    bool          m_isRateAssumed = false;
};

// The frames of a byte stream of NAL units.
class H264Pictures {
public:
    static constexpr Kiv_MEDIA_FORMAT_TYPE kFormat = kKivFmt_H264Mp4;

    // Whether a slice has come whose parameter sets came before it.
    bool IsRecognised() const { return m_hasSlice; }

    const Film& Frames() const { return m_film; }

    // Takes the NAL unit behind the start code; false for one that an H.264 stream does not have.
    bool Take(StreamReader& reader, const StartCode& code) {
        using namespace kiv::h264;
        const NalHeader header(code.value);
        switch (header.type) {
        case 0: return false; // unspecified, and the picture code of MPEG video
        case kSequenceParameters: return m_sets.TakeSequence(Unit<kMostSequenceBytes>(reader, code));
        case kPictureParameters: return m_sets.TakePicture(Unit<kMostHeaderBytes>(reader, code));
        case kSlice:
        case kSlicePartitionA:
        case kSliceOfIdr:
            if (const auto slice = m_sets.ReadSlice(Unit<kMostHeaderBytes>(reader, code))) TakeSlice(*slice);
            break;
        default: break;
        }
        return !header.forbiddenBit;
    }

private:
    kiv::h264::ParameterSets                                m_sets;
    std::optional<kiv::h264::SliceHeader>                   m_firstField; // whose second one has not come
    Film                                                    m_film;
    bool                                                    m_hasSlice = false;
    std::array<std::uint8_t, kiv::h264::kMostSequenceBytes> m_unit{};

    template <std::size_t kMost> ByteSpan Unit(StreamReader& reader, const StartCode& code) {
        const auto unit = std::span(m_unit).template first<kMost>();
        return unit.first(kiv::CopyUnescaped(BytesBehind(reader, code, kMost), unit));
    }

    void TakeSlice(const kiv::h264::SliceHeader& slice) {
        m_hasSlice = true;
        if (!slice.beginsPicture) return;
        const bool isSecondField = m_firstField && slice.isField
                                   && slice.isBottomField != m_firstField->isBottomField
                                   && slice.frameNum == m_firstField->frameNum;
        if (!isSecondField) m_film.AddFrame(slice.framesPerSecond);
        m_firstField = slice.isField && !isSecondField ? std::optional(slice) : std::nullopt;
    }
};

// The frames of an AVS stream, each behind one picture header, also where it is coded as two fields.
class AvsPictures {
public:
    static constexpr Kiv_MEDIA_FORMAT_TYPE kFormat = kKivFmt_Avs;

    // Whether a slice of a picture has come behind a sequence header.
    bool IsRecognised() const { return m_hasSlice; }

    const Film& Frames() const { return m_film; }

    // Takes what begins with the start code; false for what an AVS stream does not have.
    bool Take(StreamReader& reader, const StartCode& code) {
        switch (code.value) {
        case 0xB0: return TakeSequence(BytesBehind(reader, code, kSequenceBytes));
        case 0xB3: // of an I picture
        case 0xB6: // of a P or B picture
            m_hasPicture = m_framesPerSecond > 0;
            if (m_hasPicture) m_film.AddFrame(m_framesPerSecond);
            return true;
        case 0xB1: // the sequence's end
        case 0xB2: // user data
        case 0xB5: // extension
        case 0xB7: // an edit
            return true;
        default: m_hasSlice = m_hasSlice || m_hasPicture; return code.value <= kLastSlice;
        }
    }

private:
    static constexpr std::size_t  kSequenceBytes = 14;
    static constexpr std::uint8_t kLastSlice     = 0xAF;

    double m_framesPerSecond = 0; // of the last sequence header; 0 before one
    bool   m_hasPicture      = false;
    bool   m_hasSlice        = false;
    Film   m_film;

    // sequence_header, 7.1.2.1: false where it breaks a rule.
    bool TakeSequence(ByteSpan bytes) {
        HeaderBits bits(bytes);
        const bool hasProfile = bits.Get(8) != 0 && bits.Get(8) != 0; // and a level
        bits.Skip(1);                                                 // progressive_sequence
        const bool     hasSize         = bits.Get(14) != 0 && bits.Get(14) != 0;
        const auto     chromaFormat    = bits.Get(2);
        const auto     samplePrecision = bits.Get(3);
        const auto     aspectRatio     = bits.Get(4);
        const unsigned frameRateCode   = bits.Get(4); // as that of MPEG-2
        bits.Skip(18);                                // the bit rate's lower part
        const bool firstMarker = bits.Flag();
        bits.Skip(13); // its upper part, low_delay
        const bool         secondMarker = bits.Flag();
        constexpr unsigned k420 = 1, k422 = 2, k8Bits = 1;
        if (!bits.Ok() || !hasProfile || !hasSize || (chromaFormat != k420 && chromaFormat != k422)
            || samplePrecision != k8Bits || aspectRatio == 0 || frameRateCode == 0
            || frameRateCode >= kiv::mpeg::kFrameRates.size() || !firstMarker || !secondMarker
            || kiv::FindStartCode(bytes, 0) != bytes.size())
            return false;
        const auto& rate  = kiv::mpeg::kFrameRates[frameRateCode];
        m_framesPerSecond = static_cast<double>(rate.frames) / static_cast<double>(rate.seconds);
        return true;
    }
};

bool IsAfterZeros(StreamReader& reader, std::uint64_t at) {
    if (at > kMostLeadingZeros) return false;
    const auto size = static_cast<std::size_t>(at);
    return kiv::FindOtherThan(reader.At(0, size + 1).first(size), 0, 0) == size;
}

} // namespace

// Whether the stream is one of such pictures, which sets type and measures; otherwise nothing changes.
template <class Pictures> bool CMObjH264Parser::Read(StreamReader& reader, int quick) {
    Pictures   pictures;
    bool       mayBegin = m_fileName != "";
    StartCodes headers(reader, 0, kMostBeforeHeaders);
    while (!pictures.IsRecognised()) {
        const auto code = headers.Next();
        mayBegin        = mayBegin || (code && IsAfterZeros(reader, code->at));
        if (!code || !mayBegin || !pictures.Take(reader, *code)) return false;
    }
    m_mediaType = Pictures::kFormat;
    if (quick != 0) return true;

    StartCodes rest(reader, headers.Position(), reader.Size());
    while (const auto code = rest.Next()) pictures.Take(reader, *code);
    const Film& film = pictures.Frames();
    SetMeasures({film.Frames(), kKivOrigin_Counted}, {film.Seconds(), film.OriginOfSeconds()});
    return true;
}

// Whether one of them opens the file, which sets type and measures.
bool CMObjH264Parser::AskPlaybackLibraries(int quick) {
    if (m_fileName == "") return false;
    for (const kiv::PlaybackLibrary& library : kiv::kPlaybackLibraries) {
        const auto seconds = kiv::AskPlaybackLibrary(library, m_fileName);
        if (!seconds) continue;
        m_mediaType = library.format;
        if (quick == 0)
            SetMeasures({*seconds * kAssumedFramesPerSecond, kKivOrigin_Estimated},
                        {*seconds, kKivOrigin_Declared});
        return true;
    }
    return false;
}

Kiv_MEDIA_FORMAT_TYPE CMObjH264Parser::ParseBitStream(CKivBitStream* stream, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    // the makers' libraries first, whatever the stream looks like: they know what is wrapped around it
    if (AskPlaybackLibraries(quick)) return m_mediaType;
    StreamReader reader(*stream);
    if (!Read<H264Pictures>(reader, quick)) Read<AvsPictures>(reader, quick);
    return m_mediaType;
}
