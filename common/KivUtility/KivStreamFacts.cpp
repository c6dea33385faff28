// Picture size, frame rate, kind and rate of the sound, size of the packets, as the start of a file tells
// them.
#include "KivStreamFacts.h"

#include "AsfObjects.h"
#include "ByteFields.h"
#include "H264Syntax.h"
#include "MpegAudioFrame.h"
#include "MpegAudioTags.h"
#include "MpegCodes.h"
#include "StreamReader.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <vector>

using namespace kiv::mpeg;
using kiv::BigEndian;
using kiv::ByteSpan;
using kiv::LittleEndian;
using kiv::Part;

namespace {

// Bytes of the file. Sound may come a second behind the picture, which is as much as a megabyte on a DVD.
constexpr std::size_t kMostLooked = 1 << 21;

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
    facts.sound         = kKivSound_Mpeg;
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

// What an elementary stream of a transport stream holds, by its stream_type: ISO/IEC 13818-1, table 2-34, and
// what ATSC and Blu-ray added to it. One of neither picture nor sound may be either.
struct StreamType {
    std::uint8_t  type;
    KivSound      sound;
    unsigned long codec = 0; // of the picture
};

// The characters of a code, the first one in the lowest byte.
constexpr unsigned long Codec(const char (&text)[5]) {
    unsigned long code = 0;
    for (int i = 4; i-- > 0;) code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

constexpr StreamType kStreamTypes[] = {
    {0x01, kKivSound_None, Codec("MPG1")},
    {0x02, kKivSound_None, Codec("MPG2")},
    {0x03, kKivSound_Mpeg},
    {0x04, kKivSound_Mpeg},
    {0x0F, kKivSound_Aac},
    {0x10, kKivSound_None, Codec("MPG4")},
    {0x11, kKivSound_Aac},
    {0x1B, kKivSound_None, Codec("H264")},
    {0x24, kKivSound_None, Codec("HEVC")},
    {0x81, kKivSound_Ac3},
    {0x82, kKivSound_Dts},
    {0x87, kKivSound_EAc3},
};

// Where the frames of a kind of sound tell their sampling rate: a code of four bits.
struct RateCode {
    KivSound                      sound;
    std::uint32_t                 sync, syncMask; // the first four bytes of a frame
    std::uint32_t                 at;             // the code's byte
    unsigned                      shift;          // of the code in it
    std::array<std::uint32_t, 16> rates;          // in Hz, 0 where a code is none
};

constexpr RateCode kRateCodes[] = {
    // ETSI TS 102 366, 4.3 and E.1.2: fscod, and bits of other fields or fscod2 behind it
    {kKivSound_Ac3,
     0x0B770000,
     0xFFFF0000,
     4,
     4,
     {48000, 48000, 48000, 48000, 44100, 44100, 44100, 44100, 32000, 32000, 32000, 32000}},
    {kKivSound_EAc3,
     0x0B770000,
     0xFFFF0000,
     4,
     4,
     {48000, 48000, 48000, 48000, 44100, 44100, 44100, 44100, 32000, 32000, 32000, 32000, 24000, 22050,
      16000}},
    // ETSI TS 102 114, 5.3.1: SFREQ
    {kKivSound_Dts,
     0x7FFE8001,
     0xFFFFFFFF,
     8,
     2,
     {0, 8000, 16000, 32000, 0, 0, 11025, 22050, 44100, 0, 0, 12000, 24000, 48000}},
    // ISO/IEC 13818-7, 6.2.1: sampling_frequency_index of ADTS
    {kKivSound_Aac,
     0xFFF00000,
     0xFFF60000,
     2,
     2,
     {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350}},
    // of DVDs, from the number of the sub-stream on: two bits of the sample size, two of the rate
    {kKivSound_Lpcm,
     0,
     0,
     5,
     4,
     {48000, 96000, 44100, 32000, 48000, 96000, 44100, 32000, 48000, 96000, 44100, 32000}},
};

// The sampling rate that the first frame in the bytes tells, or 0.
unsigned long FindSamplingRate(KivSound sound, ByteSpan bytes) {
    const auto code = std::ranges::find(kRateCodes, sound, &RateCode::sound);
    if (code == std::end(kRateCodes)) return 0;
    for (std::size_t frame = 0; frame + code->at < bytes.size(); ++frame) {
        if ((BigEndian<std::uint32_t>(bytes, frame) & code->syncMask) != code->sync) continue;
        const std::uint32_t rate = code->rates[bytes[frame + code->at] >> code->shift & 15U];
        if (rate != 0) return rate;
    }
    return 0;
}

// Which sound a private stream of a transport stream holds, by the tag of a descriptor: ETSI EN 300 468, 6.1.
KivSound SoundOfDescriptors(ByteSpan descriptors) {
    for (std::size_t at = 0; at + 2 <= descriptors.size(); at += 2U + descriptors[at + 1]) {
        switch (descriptors[at]) {
        case 0x6A: return kKivSound_Ac3;
        case 0x7A: return kKivSound_EAc3;
        case 0x7B: return kKivSound_Dts;
        default: break;
        }
    }
    return kKivSound_Unknown;
}

// Calls take(payload) for the transport packets of `pid` in which a section or a packet of an elementary
// stream begins, until it returns true.
template <class Take> void EachBeginning(ByteSpan bytes, unsigned pid, Take take) {
    constexpr std::size_t kHeaderBytes = 4;
    for (std::size_t at = 0; at < bytes.size(); at += kTransportPacket) {
        const ByteSpan packet = Part(bytes, at, kTransportPacket);
        const auto     header = BigEndian<std::uint32_t>(packet, 0);
        const bool     begins = (header >> 22 & 1) != 0, isPadded = (header >> 5 & 1) != 0;
        if (!begins || (header >> 8 & 0x1FFF) != pid) continue;
        const std::size_t padding = isPadded ? 1U + BigEndian<std::uint8_t>(packet, kHeaderBytes) : 0;
        if (take(Part(packet, kHeaderBytes + padding))) return;
    }
}

// The bytes of a section behind its section_length, without its CRC, of the first packet of `pid` in which
// one with that table_id begins: ISO/IEC 13818-1, 2.4.4. As much of it as that packet holds.
ByteSpan FindSection(ByteSpan bytes, unsigned pid, unsigned tableId) {
    constexpr std::size_t kCrcBytes = 4;
    ByteSpan              section;
    EachBeginning(bytes, pid, [&](ByteSpan payload) {
        const std::size_t from   = 1U + BigEndian<std::uint8_t>(payload, 0); // pointer_field
        const std::size_t length = BigEndian<std::uint16_t>(payload, from + 1) & 0xFFF;
        if (BigEndian<std::uint8_t>(payload, from) != tableId || length < kCrcBytes) return false;
        section = Part(payload, from + 3, length - kCrcBytes);
        return true;
    });
    return section;
}

// What the map of the first program lists: ISO/IEC 13818-1, 2.4.4.3 and 2.4.4.8.
void ReadProgramMap(ByteSpan bytes, KivStreamFacts& facts) {
    constexpr std::size_t kFirstProgram = 5, kProgramBytes = 4, kInfoLengthAt = 7, kStreamBytes = 5;
    const ByteSpan        programs = FindSection(bytes, 0, 0);
    std::size_t           program  = kFirstProgram;
    while (program + kProgramBytes <= programs.size() && BigEndian<std::uint16_t>(programs, program) == 0)
        program += kProgramBytes; // the network's tables
    const unsigned mapPid  = BigEndian<std::uint16_t>(programs, program + 2) & 0x1FFFU;
    const ByteSpan streams = mapPid == 0 ? ByteSpan() : FindSection(bytes, mapPid, 2);
    KivSound       sound   = kKivSound_None;
    unsigned       pid     = 0; // of the sound
    std::size_t    at      = kInfoLengthAt + 2 + (BigEndian<std::uint16_t>(streams, kInfoLengthAt) & 0xFFFU),
                next       = 0;
    for (; at + kStreamBytes <= streams.size(); at = next) {
        next               = at + kStreamBytes + (BigEndian<std::uint16_t>(streams, at + 3) & 0xFFFU);
        const auto type    = std::ranges::find(kStreamTypes, streams[at], &StreamType::type);
        const bool isKnown = type != std::end(kStreamTypes);
        if (isKnown && facts.videoCodec == 0) facts.videoCodec = type->codec;
        const KivSound found =
            isKnown ? type->sound
                    : SoundOfDescriptors(Part(streams, at + kStreamBytes, next - at - kStreamBytes));
        if (sound == kKivSound_None || (sound == kKivSound_Unknown && found > kKivSound_None)) {
            sound = found;
            pid   = BigEndian<std::uint16_t>(streams, at + 1) & 0x1FFFU;
        }
    }
    if (at != streams.size() || streams.empty()) return;
    facts.sound = sound;
    EachBeginning(bytes, pid, [&](ByteSpan payload) {
        const auto header = PacketHeaderLength(payload);
        if (header) facts.samplesSecond = FindSamplingRate(sound, Part(payload, *header));
        return facts.samplesSecond != 0 || sound <= kKivSound_Mpeg;
    });
}

// Of a sub-stream by its number, as DVDs have them.
KivSound SoundOfSubStream(std::uint8_t number) {
    switch (number >> 3) {
    case 0x80 >> 3: return kKivSound_Ac3;
    case 0x88 >> 3: return kKivSound_Dts;
    case 0xA0 >> 3: return kKivSound_Lpcm;
    default: return kKivSound_Unknown; // subtitles among others
    }
}

void TakeRate(const kiv::h264::SequenceParameters& sequence, KivStreamFacts& facts) {
    const std::uint64_t ticks   = std::uint64_t{sequence.unitsInTick} * 2; // of a frame
    const std::uint64_t divisor = std::max<std::uint64_t>(std::gcd(ticks, sequence.timeScale), 1);
    if (ticks / divisor > 0xFFFFFFFF) return;
    facts.frameRate    = static_cast<unsigned long>(sequence.timeScale / divisor);
    facts.frameRatePer = static_cast<unsigned long>(ticks / divisor);
}

// What the first sequence parameter set of an H.264 stream tells.
void ReadH264(ByteSpan bytes, KivStreamFacts& facts) {
    std::array<std::uint8_t, kiv::h264::kMostSequenceBytes> unit{};
    EachStartCode(bytes, [&](std::size_t at, std::uint32_t code) {
        const kiv::h264::NalHeader header(static_cast<std::uint8_t>(code & 0xFF));
        if (header.forbiddenBit || header.type != kiv::h264::kSequenceParameters) return true;
        const std::size_t size     = kiv::CopyUnescaped(Part(bytes, at + 4, unit.size()), unit);
        const auto        sequence = kiv::h264::ReadSequenceParameters(std::span(unit).first(size));
        if (!sequence) return true;
        facts.width  = sequence->width;
        facts.height = sequence->height;
        TakeRate(*sequence, facts);
        return false;
    });
}

// Of the packet of private_stream_1 at the bytes' start.
void TakeSubStream(ByteSpan bytes, KivStreamFacts& facts) {
    const auto header = PacketHeaderLength(bytes);
    if (!header) return;
    const KivSound sound = SoundOfSubStream(BigEndian<std::uint8_t>(bytes, *header));
    if (facts.sound == kKivSound_Unknown) facts.sound = sound;
    if (facts.sound != sound || facts.samplesSecond != 0) return;
    const ByteSpan packet = Part(bytes, 0, BigEndian<std::uint16_t>(bytes, 4) + std::size_t{6});
    facts.samplesSecond   = FindSamplingRate(sound, Part(packet, *header));
}

// Video and audio wherever their codes stand: those of video cannot occur in its data, and what is no frame
// of audio is not taken for one.
void ReadMpeg(ByteSpan bytes, KivStreamFacts& facts) {
    const bool isTransport = IsTransport(bytes);
    bool       hasVideo = false, hasAudio = false, hasPacks = false, mayHaveAudio = false;
    if (isTransport) ReadProgramMap(bytes, facts);
    EachStartCode(bytes, [&](std::size_t at, std::uint32_t code) {
        const bool isAudio = (code & 0xE0) == 0xC0;
        if (!hasVideo && code == kSequenceCode) hasVideo = TakeSequenceHeader(Part(bytes, at), facts);
        // data of other sound may hold any code
        const bool mayBeMpeg = facts.sound == kKivSound_Unknown || facts.sound == kKivSound_Mpeg;
        if (!hasAudio && isAudio && mayBeMpeg)
            hasAudio = TakeAudioPacket(Part(bytes, at), isTransport, facts);
        if (!isTransport) {
            hasPacks     = hasPacks || code == kPackCode;
            mayHaveAudio = mayHaveAudio || isAudio;
            if (code == kPrivateStream1Code) TakeSubStream(Part(bytes, at), facts);
        }
        return !hasVideo || !hasAudio;
    });
    if (hasPacks && !mayHaveAudio && facts.sound == kKivSound_Unknown) facts.sound = kKivSound_None;
}

void TakeAsf(const kiv::asf::Header& header, KivStreamFacts& facts) {
    using kiv::asf::Media;
    const unsigned video = header.First(Media::Video), audio = header.First(Media::Audio);
    if (header.file) {
        facts.leastPacket = header.file->leastPacketSize;
        facts.mostPacket  = header.file->mostPacketSize;
    }
    if (video != 0) {
        facts.width      = header.streams[video].width;
        facts.height     = header.streams[video].height;
        facts.videoCodec = header.streams[video].codec;
    }
    if (audio != 0) {
        facts.sound         = kKivSound_Wave;
        facts.audioFormat   = header.streams[audio].formatTag;
        facts.samplesSecond = header.streams[audio].samplesSecond;
    } else if (header.isWhole) {
        facts.sound = kKivSound_None;
    }
}

} // namespace

KivStreamFacts KivReadStreamFacts(CKivBitStream* stream) {
    constexpr unsigned kFramesOfAudioFile = 4;
    KivStreamFacts     facts;
    if (stream == nullptr || stream->BytesJump(0) == 0) return facts;
    kiv::StreamReader   reader(*stream);
    const std::uint64_t tags = EndOfFrontTags(reader);
    if (const auto header = kiv::asf::ReadHeader(reader, tags)) {
        TakeAsf(*header, facts);
        return facts;
    }
    const auto     held = FirstBytes(reader, tags);
    const ByteSpan bytes(held);
    ReadMpeg(bytes, facts);
    // No packets at all. Frames of audio come last, for a few bytes of anything may look like one.
    if (facts == KivStreamFacts()) ReadH264(bytes, facts);
    if (facts == KivStreamFacts()) TakeAudio(FindFrame(bytes, kFramesOfAudioFile), facts);
    return facts;
}
