// Picture size, frame rate, kind and rate of the sound, as the start of a file tells them.
#include "KivStreamFacts.h"

#include "ByteFields.h"
#include "MpegAudioFrame.h"
#include "MpegAudioTags.h"
#include "MpegCodes.h"
#include "StreamReader.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <string_view>
#include <vector>

using namespace kiv::mpeg;
using kiv::BigEndian;
using kiv::ByteSpan;
using kiv::LittleEndian;
using kiv::Part;

namespace {

constexpr std::size_t kMostLooked = 1 << 18; // bytes of the file

// The first `most` bytes from `from` on, or as many as there are.
std::vector<std::uint8_t> FirstBytes(kiv::StreamReader& reader, std::uint64_t from) {
    const std::uint64_t       left = reader.Size() - std::min(from, reader.Size());
    const auto                most = static_cast<std::size_t>(std::min<std::uint64_t>(left, kMostLooked));
    std::vector<std::uint8_t> bytes;
    bytes.reserve(most);
    while (bytes.size() < most) {
        const std::size_t step = std::min(most - bytes.size(), kiv::StreamReader::kMost);
        const ByteSpan    got  = reader.At(from + bytes.size(), step);
        if (got.size() < step) break; // the file shrinks while it is read
        bytes.insert(bytes.end(), got.begin(), got.begin() + static_cast<std::ptrdiff_t>(step));
    }
    return bytes;
}

// Calls each(offset, code) for every start code, as long as it returns true.
template <class Each> void EachStartCode(ByteSpan bytes, Each each) {
    for (std::size_t at = 0; (at = kiv::FindStartCode(bytes, at)) + 3 < bytes.size(); at += 3) {
        if (!each(at, BigEndian<std::uint32_t>(bytes, at))) return;
    }
}

struct FrameRate {
    unsigned long frames, seconds;
};

// By frame_rate_code, ISO/IEC 13818-2, table 6-4; 0 is forbidden.
constexpr std::array<FrameRate, 9> kFrameRates = {
    {{0, 0}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

// What a sequence extension (ISO/IEC 13818-2, 6.2.2.3) adds to the sequence header in front of it.
void AddSequenceExtension(ByteSpan bytes, KivStreamFacts& facts) {
    constexpr unsigned kSequenceExtensionId = 1;
    const auto         sizes                = BigEndian<std::uint32_t>(bytes, 4);
    if (bytes.size() < 10 || sizes >> 28 != kSequenceExtensionId) return;
    facts.width |= (sizes >> 15 & 3) << 12;
    facts.height |= (sizes >> 13 & 3) << 12;
    facts.frameRate *= (bytes[9] >> 5 & 3U) + 1;
    facts.frameRatePer *= (bytes[9] & 31U) + 1;
    const unsigned long divisor = std::gcd(facts.frameRate, facts.frameRatePer);
    facts.frameRate /= divisor;
    facts.frameRatePer /= divisor;
}

// Takes over the sequence header at the bytes' start; false where it cannot be one.
bool TakeSequenceHeader(ByteSpan bytes, KivStreamFacts& facts) {
    const auto          sizes  = BigEndian<std::uint32_t>(bytes, 4);
    const std::uint32_t width  = sizes >> 20;
    const std::uint32_t height = sizes >> 8 & 0xFFF;
    const std::size_t   code   = sizes & 15;
    if (bytes.size() < 12 || width == 0 || height == 0 || code == 0 || code >= kFrameRates.size())
        return false;
    if ((bytes[10] >> 5 & 1) == 0) return false; // marker_bit
    facts.width            = width;
    facts.height           = height;
    facts.frameRate        = kFrameRates[code].frames;
    facts.frameRatePer     = kFrameRates[code].seconds;
    const std::size_t next = kiv::FindStartCode(bytes, 4); // behind the quantiser matrices
    if (BigEndian<std::uint32_t>(bytes, next) == kExtensionCode)
        AddSequenceExtension(Part(bytes, next), facts);
    return true;
}

// The length of the header of the PES packet that the bytes begin with: ISO/IEC 13818-1, 2.4.3.6, and
// ISO/IEC 11172-1, 2.4.3.3. Nothing where there is no such header.
std::optional<std::size_t> PacketHeaderLength(ByteSpan bytes) {
    constexpr std::size_t kStart        = 6;
    constexpr std::size_t kMostStuffing = 16;
    if (bytes.size() < 9) return {};
    if (bytes[kStart] >> 6 == 2) return 9U + bytes[8];
    std::size_t at = kiv::FindOtherThan(Part(bytes, 0, kStart + kMostStuffing), kStart, 0xFF);
    if (BigEndian<std::uint8_t>(bytes, at) >> 6 == 1) at += 2;
    switch (BigEndian<std::uint8_t>(bytes, at) >> 4) {
    case 0: return at + 1;
    case 2: return at + 5;
    case 3: return at + 10;
    default: return {};
    }
}

// The first frame in the bytes that another of the same stream follows, `least` frames in all, or as many as
// they hold wholly.
std::optional<AudioFrame> FindFrame(ByteSpan bytes, unsigned least) {
    for (std::size_t at = 0; (at = kiv::FindByte(bytes, at, 0xFF)) < bytes.size(); ++at) {
        const auto first = ReadAudioFrame(Part(bytes, at));
        if (!first) continue;
        unsigned    frames = 1;
        std::size_t next   = at + first->sizeBytes;
        for (; frames < least && next + kAudioHeaderBytes <= bytes.size(); ++frames) {
            const auto frame = ReadAudioFrame(Part(bytes, next));
            if (!frame || !IsSameAudioStream(*frame, *first)) break;
            next += frame->sizeBytes;
        }
        if (frames == least || next + kAudioHeaderBytes > bytes.size()) return first;
    }
    return {};
}

bool TakeAudio(const std::optional<AudioFrame>& frame, KivStreamFacts& facts) {
    if (!frame) return false;
    facts.audioLayer    = frame->layer;
    facts.samplesSecond = frame->sampleRate;
    return true;
}

// Of the audio packet at the bytes' start; in a transport stream its first transport packet is enough.
bool TakeAudioPacket(ByteSpan bytes, bool isTransport, KivStreamFacts& facts) {
    constexpr unsigned kFrames = 2;
    const auto         header  = PacketHeaderLength(bytes);
    if (!header) return false;
    const std::size_t packet = BigEndian<std::uint16_t>(bytes, 4) + std::size_t{6};
    const ByteSpan    whole  = Part(bytes, 0, isTransport ? *header + kAudioHeaderBytes : packet);
    return TakeAudio(FindFrame(Part(whole, *header), kFrames), facts);
}

bool IsTransport(ByteSpan bytes) {
    for (std::size_t at = 0; at < 3 * kTransportPacket; at += kTransportPacket) {
        if (BigEndian<std::uint8_t>(bytes, at) != kTransportSync) return false;
    }
    return true;
}

// Video and audio wherever their codes stand: those of video cannot occur in its data, and what is no frame
// of audio is not taken for one.
void ReadMpeg(ByteSpan bytes, KivStreamFacts& facts) {
    const bool isTransport = IsTransport(bytes);
    bool       hasVideo = false, hasAudio = false;
    EachStartCode(bytes, [&](std::size_t at, std::uint32_t code) {
        const bool isAudio = (code & 0xE0) == 0xC0;
        if (!hasVideo && code == kSequenceCode) hasVideo = TakeSequenceHeader(Part(bytes, at), facts);
        if (!hasAudio && isAudio) hasAudio = TakeAudioPacket(Part(bytes, at), isTransport, facts);
        return !hasVideo || !hasAudio;
    });
}

constexpr std::string_view kAsfHeader("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16);
constexpr std::string_view kAsfStream("\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65", 16);
constexpr std::string_view kAsfVideo("\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B", 16);
constexpr std::string_view kAsfAudio("\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B", 16);

// A stream properties object: the kind of stream, and a media type as Windows describes it.
void TakeAsfStream(ByteSpan object, KivStreamFacts& facts) {
    constexpr std::size_t kKindAt = 24, kMediaTypeAt = 78;
    const ByteSpan        type = Part(object, kMediaTypeAt);
    if (kiv::IsTextAt(object, kKindAt, kAsfVideo)) {
        facts.width      = LittleEndian<std::uint32_t>(type, 0);
        facts.height     = LittleEndian<std::uint32_t>(type, 4);
        facts.videoCodec = LittleEndian<std::uint32_t>(type, 27);
    } else if (kiv::IsTextAt(object, kKindAt, kAsfAudio)) {
        facts.audioFormat   = LittleEndian<std::uint16_t>(type, 0);
        facts.samplesSecond = LittleEndian<std::uint32_t>(type, 4);
    }
}

// Walks through the objects of the header. A size that does not lead on ends it.
void ReadAsf(ByteSpan bytes, KivStreamFacts& facts) {
    constexpr std::size_t kFirstObject = 30, kObjectBytes = 24;
    const auto            size = LittleEndian<std::uint64_t>(bytes, 16);
    const ByteSpan        header =
        Part(bytes, 0, static_cast<std::size_t>(std::min<std::uint64_t>(size, kMostLooked)));
    for (std::size_t at = kFirstObject; at + kObjectBytes <= header.size();) {
        const auto     length = LittleEndian<std::uint64_t>(header, at + 16);
        const ByteSpan object =
            Part(header, at, static_cast<std::size_t>(std::min<std::uint64_t>(length, kMostLooked)));
        if (length < kObjectBytes || length > header.size() - at) return;
        if (kiv::IsTextAt(object, 0, kAsfStream)) TakeAsfStream(object, facts);
        at += object.size();
    }
}

} // namespace

KivStreamFacts KivReadStreamFacts(CKivBitStream* stream) {
    constexpr unsigned kFramesOfAudioFile = 4;
    KivStreamFacts     facts;
    if (stream == nullptr || stream->BytesJump(0) == 0) return facts;
    kiv::StreamReader   reader(*stream);
    const std::uint64_t tags = EndOfFrontTags(reader);
    const auto          held = FirstBytes(reader, tags);
    const ByteSpan      bytes(held);
    if (kiv::IsTextAt(bytes, 0, kAsfHeader)) {
        ReadAsf(bytes, facts);
    } else {
        ReadMpeg(bytes, facts);
        // no packets at all: an audio file, whose frames stand alone
        if (facts == KivStreamFacts()) TakeAudio(FindFrame(bytes, kFramesOfAudioFile), facts);
    }
    return facts;
}
