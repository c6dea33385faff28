// The MPEG audio parser: recognition, tags, measures by information frame and by counting, damage.
#include "media.h"
#include "mpeg_builder.h"

namespace {

using namespace test;

// Kilobits per second, 14 by index: Layers I to III of MPEG-1 (ISO/IEC 11172-3), I and the others of 13818-3.
constexpr unsigned kKbits[] = {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448,
                               32, 48, 56, 64,  80,  96,  112, 128, 160, 192, 224, 256, 320, 384,
                               32, 40, 48, 56,  64,  80,  96,  112, 128, 160, 192, 224, 256, 320,
                               32, 48, 56, 64,  80,  96,  112, 128, 144, 160, 176, 192, 224, 256,
                               8,  16, 24, 32,  40,  48,  56,  64,  80,  96,  112, 128, 144, 160};

struct AudioFormat {
    unsigned sampleRate = 44100, layer = 3, bitRateIndex = 9; // MPEG-1 Layer III: 128 kbit/s
    bool     mono = false, padded = false;

    bool IsMpeg1() const { return sampleRate >= 32000; }

    unsigned Kbits() const {
        return kKbits[14 * (IsMpeg1() ? layer : layer == 1 ? 4 : 5) + bitRateIndex - 15];
    }

    unsigned Samples() const { return layer == 1 ? 384 : layer == 3 && !IsMpeg1() ? 576 : 1152; }

    std::size_t Size() const {
        const unsigned slot = layer == 1 ? 4 : 1;
        return slot * (Samples() * Kbits() * 125 / slot / sampleRate + (padded ? 1 : 0));
    }

    Bytes Header() const {
        const unsigned version   = IsMpeg1() ? 3 : sampleRate < 16000 ? 0 : 2;
        const unsigned rateIndex = sampleRate % 11025 == 0 ? 0 : sampleRate % 12000 == 0 ? 1 : 2;
        return Big(0xFFE10000 | version << 19 | (4 - layer) << 17 | bitRateIndex << 12 | rateIndex << 10
                   | (padded ? 0x200 : 0) | (mono ? 0xC0 : 0));
    }

    // Frames with the same byte all over, which is no sync byte.
    Bytes Frames(std::size_t n) const {
        Bytes whole;
        for (; n > 0; --n) whole = Join({whole, Header(), Bytes(Size() - 4, 0x55)});
        return whole;
    }

    Bytes Xing(const char* id, std::size_t frames, std::size_t bytes) const {
        const std::size_t sideInformation = IsMpeg1() ? (mono ? 17 : 32) : (mono ? 9 : 17);
        return With(Frames(1), 4 + sideInformation, Join({Text(id), Big(3), Big(frames), Big(bytes)}));
    }

    Bytes Vbri(std::size_t frames, std::size_t bytes) const {
        return With(Frames(1), 4 + 32, Join({Text("VBRI"), Bytes(6), Big(bytes), Big(frames)}));
    }
};

// 128 kbit/s and 417 bytes a frame, 32 kbit/s and 104 bytes, 192 kbit/s and 626 bytes.
const AudioFormat kMp3, kMp3Low{.bitRateIndex = 1}, kLayer2{.layer = 2, .bitRateIndex = 10};

// Frames that are so many bytes together, or all of one bit rate.
Media MediaAs(const AudioFormat& format, unsigned long frames, double bytes = 0) {
    const int    type    = format.layer == 3 ? kKivFmt_Mp3 : kKivFmt_MpegAudio;
    const double seconds = static_cast<double>(frames) * format.Samples() / format.sampleRate;
    const double rate    = bytes > 0 ? bytes * 8 / seconds : 1000.0 * format.Kbits();
    return {type, frames, static_cast<float>(seconds), static_cast<unsigned long>(rate)};
}

Bytes Id3v2(const Bytes& content) {
    const std::size_t n = content.size(), septets = (n & 0x1FC000) << 2 | (n & 0x3F80) << 1 | (n & 0x7F);
    return Join({Text("ID3"), {4, 0, 0}, Big(septets), content});
}

const Bytes kId3v1 = Join({Text("TAG"), Bytes(125, 'x')});

// With header and footer, and a size that covers the items and the footer.
Bytes ApeTag(const Bytes& items, std::size_t size) {
    const Bytes mark = Join({Text("APETAGEX"), Little(2000), Little(size), Little(1)});
    return Join({mark, Little(0xA0000000), Bytes(8), items, mark, Little(0x80000000), Bytes(8)});
}

TEST(MpegAudioParser, MeasuresEveryRateOfEveryLayer) {
    for (const unsigned rate : {44100U, 48000U, 32000U, 22050U, 24000U, 16000U, 11025U, 12000U, 8000U}) {
        for (unsigned i = rate < 16000 ? 2 * 28 : 0; i < 3 * 28; ++i) {
            const AudioFormat format{rate, 1 + i / 28, 1 + i % 14, i % 28 < 14, i % 28 < 14};
            ASSERT_EQ(IdentifyBlock(format.Frames(4)), MediaAs(format, 4)) << rate << " Hz, " << i;
        }
    }
}

// Three headers in a row, or fewer frames that fill the file but for its tags. A frame that the end cuts
// counts from its whole header on.
TEST(MpegAudioParser, CountsWhatACutFileHolds) {
    const Bytes whole = kMp3Low.Frames(6);
    for (std::size_t size = 1, frame = kMp3Low.Size(); size <= whole.size(); ++size) {
        const unsigned long headers = (size - 4 + frame) / frame;
        const bool          enough  = size >= 4 && (headers >= 3 || size % frame == 0);
        ASSERT_EQ(IdentifyBlock(First(whole, size)), enough ? MediaAs(kMp3Low, headers) : Media{}) << size;
    }
}

TEST(MpegAudioParser, RefusesWhatIsNone) {
    // ADTS of MPEG-4 and -2, reserved version, no sync; free format, index 15, reserved rate and emphasis
    for (const unsigned header :
         {0xFFF19000, 0xFFF99000, 0xFFEB9000, 0xFFDB9000, 0xFFFB0000, 0xFFFBF000, 0xFFFB9C00, 0xFFFB9002}) {
        Bytes bytes = kMp3.Frames(20);
        for (std::size_t at = 0; at < bytes.size(); at += kMp3.Size()) bytes = With(bytes, at, Big(header));
        EXPECT_EQ(Identify(bytes), Media{}) << std::hex << header;
    }
    EXPECT_EQ(Identify(AudioFormat{.sampleRate = 11025, .layer = 2}.Frames(20)), Media{});
    for (const AudioFormat& other : {kLayer2, AudioFormat{.sampleRate = 48000}, AudioFormat{.mono = true}})
        EXPECT_EQ(Identify(kMp3.Frames(2), other.Frames(2), kMp3.Frames(2)), Media{}) << other.layer;
    std::mt19937 random(11);
    for (int round = 0; round < 50; ++round) EXPECT_EQ(Identify(RandomBytes(random, 30000)), Media{});

    // audio of other formats
    const Bytes audio = kLayer2.Frames(30);
    for (const char* start : {"RIFF....WAVEfmt ", "....ftypisom", "....mdat", "OggS", ".RMF", "FLV"})
        EXPECT_EQ(Identify(Text(start), audio), Media{}) << start;
    for (const MpegBuilder& start : {MpegBuilder().Mpeg2Pack(), MpegBuilder().Sequence()})
        EXPECT_EQ(Identify(Bytes(2000, 'x'), start.Get(), audio), Media{});
    EXPECT_EQ(Identify(Text("something else"), audio), MediaAs(kLayer2, 30));
}

TEST(MpegAudioParser, FindsTheFramesAmongTagsJunkAndDamage) {
    const Bytes audio = kMp3.Frames(12), one = kMp3.Frames(1), junk(10, 'j'), most(65536, 'j');
    const Media twelve = MediaAs(kMp3, 12);
    // a tag longer than the limit of junk, with frames by its looks; one with a footer
    const Bytes tag = Id3v2(kLayer2.Frames(110)), footed = With(Id3v2(Bytes(30)), 5, {0x10, 0, 0, 0, 20});
    EXPECT_EQ(Identify(one, kId3v1), MediaAs(kMp3, 1)) << "fills the file";
    EXPECT_EQ(Identify(footed, tag, footed, audio, ApeTag(audio, audio.size() + 32), kId3v1), twelve);
    // what claims more than there is, has a size of eight bits, or claims the audio is no tag
    EXPECT_EQ(Identify(With(Id3v2({}), 6, Bytes(4, 0x7F)), audio), twelve);
    EXPECT_EQ(Identify(With(Id3v2({}), 9, {0x80}), audio), twelve);
    EXPECT_EQ(Identify(audio, ApeTag({}, audio.size() / 2)), twelve);
    EXPECT_EQ(Identify(tag, audio, Text("APETAGEX"), Little(2000), Little(6000), Bytes(16)), twelve);
    // the limit counts from the tags on; junk, unlike padding, asks for more than three headers behind it
    EXPECT_EQ(Identify(tag, most, audio), twelve);
    EXPECT_EQ(Identify(tag, most, Bytes(1), audio), Media{});
    EXPECT_EQ(Identify(Bytes(65536), audio), twelve);
    EXPECT_EQ(Identify(Bytes(65537), audio), Media{});
    EXPECT_EQ(Identify(junk, kMp3.Frames(4), Bytes(10)), Media{});
    EXPECT_EQ(Identify(Bytes(10), kMp3.Frames(4), Bytes(10)), MediaAs(kMp3, 4));
    // a lone header in the damage is no frame, nor is one of another stream; one whose header was hit is lost
    EXPECT_EQ(Identify(audio, most, kMp3.Header(), most, kLayer2.Frames(5), junk, one), MediaAs(kMp3, 13));
    EXPECT_EQ(Identify(With(audio, 5 * kMp3.Size() + 1, {0}), audio), MediaAs(kMp3, 23));
    // a stream of another kind that lasts is one that was joined
    for (const Bytes& between : {Bytes(), junk, footed}) {
        const Media joined = Identify(audio, between, kLayer2.Frames(12), audio, kLayer2.Frames(3));
        EXPECT_EQ(joined.frames, 39U);
        EXPECT_NEAR(joined.seconds, MediaAs(kMp3, 24).seconds + MediaAs(kLayer2, 15).seconds, 0.001);
    }
}

// 40 frames that claim to be 41: believed while the bytes agree, so that one sees what was believed.
TEST(MpegAudioParser, BelievesAnInformationFrameThatAgreesWithTheFile) {
    Bytes audio; // of variable bit rate
    for (int i = 0; i < 5; ++i) audio = Join({audio, kMp3Low.Frames(4), kMp3.Frames(4)});
    const unsigned least = static_cast<unsigned>(audio.size()), most = least + 417;
    const Media    believed = MediaAs(kMp3, 41, least), counted = MediaAs(kMp3, 40, least);
    EXPECT_EQ(Identify(kMp3.Xing("Xing", 41, most), audio, kId3v1), believed);
    EXPECT_EQ(Identify(kMp3.Vbri(41, least), audio), believed);
    EXPECT_EQ(Identify(kMp3.Xing("Info", 41, most), audio), counted) << "a constant rate that is none";
    // cut, joined, of unknown length, without frames, more than a frame holds, less than one needs
    for (const auto& [frames, bytes] :
         {std::pair{41U, most + 1}, {41U, least - 1}, {41U, 0U}, {0U, most}, {9U, most}, {~0U, most}}) {
        EXPECT_EQ(Identify(kMp3.Xing("Xing", frames, bytes), audio), counted) << frames;
        EXPECT_EQ(Identify(kMp3.Vbri(frames, bytes), audio), counted) << frames;
    }
}

TEST(MpegAudioParser, DoesNotCountInformationFrames) {
    for (AudioFormat large :
         {AudioFormat{}, {.mono = true}, {.sampleRate = 22050}, {.sampleRate = 11025, .mono = true}}) {
        const AudioFormat format = large;
        large.bitRateIndex       = 12; // as encoders make it, to hold what it tells
        const Bytes audio = format.Frames(20), told = large.Xing("Info", 20, audio.size() + large.Size());
        EXPECT_EQ(Identify(told, audio), MediaAs(format, 20)) << "believed";
        EXPECT_EQ(Identify(told, audio, told, audio), MediaAs(format, 40)) << "counted";
        EXPECT_EQ(Identify(large.Vbri(0, 0), audio), MediaAs(format, 20));
    }
    EXPECT_EQ(Identify(kMp3.Xing("Info", 0, 0)), (Media{kKivFmt_Mp3})) << "nothing but an information frame";
}

} // namespace
