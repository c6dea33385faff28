// The MPEG audio parser: recognition, tags, measures by information frame and by counting, damage.
#include "KivUtility.h"

#include "mpeg_audio_builder.h"
#include "mpeg_builder.h"

#include <gtest/gtest.h>

namespace {

using test::AudioFormat;
using test::Bytes;
using test::Identify;
using test::Join;
using test::Media;
using test::Text;

const AudioFormat kMp3;                                    // 44.1 kHz, 128 kbit/s, 417 bytes a frame
const AudioFormat kMp3Low{.bitRateIndex = 1};              // 32 kbit/s, 104 bytes
const AudioFormat kLayer2{.layer = 2, .bitRateIndex = 10}; // 192 kbit/s

Media MediaAs(const AudioFormat& format, unsigned long frames) {
    return {format.layer == 3 ? kKivFmt_Mp3 : kKivFmt_MpegAudio, frames,
            static_cast<float>(format.Seconds(static_cast<double>(frames))),
            frames == 0 ? 0 : format.BitRate()};
}

int TypeOf(const Bytes& bytes) { return Identify(bytes).type; }

// The MPEG audio parser alone, for what an earlier parser takes for itself.
int OwnTypeOf(Bytes bytes) {
    CKivBitStream  stream;
    CMObjMp3Parser parser;
    stream.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size()));
    return parser.ParseFile(&stream);
}

TEST(MpegAudioParser, MeasuresEveryRateOfEveryLayer) {
    for (const unsigned sampleRate :
         {44100U, 48000U, 32000U, 22050U, 24000U, 16000U, 11025U, 12000U, 8000U}) {
        for (unsigned layer = sampleRate < 16000 ? 3 : 1; layer <= 3; ++layer) {
            for (unsigned index = 1; index <= 14; ++index) {
                for (const bool odd : {false, true}) {
                    const AudioFormat format{sampleRate, layer, index, odd, odd};
                    ASSERT_EQ(test::IdentifyBlock(format.Frames(4)), MediaAs(format, 4))
                        << sampleRate << " Hz, layer " << layer << ", index " << index
                        << ", padded and mono: " << odd;
                }
            }
        }
    }
}

// Three headers in a row, or fewer frames that fill the file but for its tags. A frame that the end cuts
// counts from its whole header on.
TEST(MpegAudioParser, CountsWhatACutFileHolds) {
    const Bytes       whole = kMp3Low.Frames(6);
    const std::size_t frame = kMp3Low.Size();
    for (std::size_t size = 1; size <= whole.size(); ++size) {
        const unsigned long headers = (size - 4 + frame) / frame;
        const bool          enough  = size >= 4 && (headers >= 3 || size % frame == 0);
        ASSERT_EQ(test::IdentifyBlock(test::First(whole, size)), enough ? MediaAs(kMp3Low, headers) : Media{})
            << size;
    }
    for (const Bytes& tail : {test::Id3v1(), test::ApeTag(Bytes(50, 'i'))})
        EXPECT_EQ(Identify(Join({kMp3.Frames(1), tail})), MediaAs(kMp3, 1));
    EXPECT_EQ(TypeOf(Join({kMp3.Frames(2), Bytes(1)})), 0);
}

TEST(MpegAudioParser, RefusesHeadersThatAreNone) {
    ASSERT_EQ(TypeOf(kMp3.Frames(20)), kKivFmt_Mp3);
    for (const auto& [at, value, what] : {std::tuple{1, 0xF1, "AAC in ADTS"},
                                          {1, 0xF9, "AAC in ADTS, MPEG-2"},
                                          {1, 0xEB, "reserved version"},
                                          {1, 0xDB, "no sync"},
                                          {2, 0x00, "free format"},
                                          {2, 0xF0, "bit rate index 15"},
                                          {2, 0x9C, "reserved sampling rate"},
                                          {3, 0x02, "reserved emphasis"}}) {
        Bytes bytes = kMp3.Frames(20);
        for (std::size_t i = 0; i < 20; ++i)
            bytes[i * kMp3.Size() + static_cast<std::size_t>(at)] = static_cast<unsigned char>(value);
        EXPECT_EQ(TypeOf(bytes), 0) << what;
    }
    EXPECT_EQ(TypeOf(AudioFormat{.sampleRate = 11025, .layer = 2}.Frames(20)), 0) << "MPEG-2.5 is Layer III";
    // headers that do not agree
    for (const AudioFormat& other : {kLayer2, AudioFormat{.sampleRate = 48000}, AudioFormat{.mono = true}})
        EXPECT_EQ(TypeOf(Join({kMp3.Frames(2), other.Frames(2), kMp3.Frames(2)})), 0);
}

TEST(MpegAudioParser, RefusesTextNoiseAndTheAudioOfOtherFormats) {
    std::mt19937 random(11);
    for (int round = 0; round < 50; ++round) EXPECT_EQ(TypeOf(test::RandomBytes(random, 30000)), 0);
    EXPECT_EQ(TypeOf(Join({{0xFF, 0xFE}, Bytes(5000, 'T')})), 0);
    EXPECT_EQ(TypeOf(Bytes(70000, 0xFF)), 0);
    EXPECT_EQ(TypeOf(Bytes(70000, 0x00)), 0);

    const Bytes audio = kLayer2.Frames(30);
    for (const char* start : {"RIFF....WAVEfmt ", "....ftypisom", "....mdat", "OggS", ".RMF", "FLV"})
        EXPECT_EQ(OwnTypeOf(Join({Text(start), audio})), 0) << start;
    EXPECT_EQ(OwnTypeOf(Join({Text("something else"), audio})), kKivFmt_MpegAudio);
    const auto program = test::MpegBuilder().Fill(2000, 'x').Mpeg2Pack().Code(0xC0).Add({0, 0, 0x80, 0, 0});
    EXPECT_EQ(OwnTypeOf(Join({program.Get(), audio})), 0);
    EXPECT_EQ(OwnTypeOf(Join({test::MpegBuilder().Sequence().Fill(70, 'x').Get(), audio})), 0);
    // audio packets among others: a few frames in a row each
    Bytes packets;
    for (int i = 0; i < 20; ++i) packets = Join({packets, Bytes(100, 'v'), kLayer2.Frames(3)});
    EXPECT_EQ(OwnTypeOf(Join({packets, Bytes(100, 'v')})), 0);
}

TEST(MpegAudioParser, SkipsPaddingAndJunkUpToTheLimit) {
    constexpr std::size_t kLimit = 65536;
    const Media           media  = MediaAs(kMp3, 12);
    for (const unsigned value : {0x6AU, 0x00U, 0xFFU}) {
        const auto junk = static_cast<unsigned char>(value);
        for (const std::size_t size : {std::size_t{1}, std::size_t{32764}, kLimit})
            EXPECT_EQ(Identify(Join({Bytes(size, junk), kMp3.Frames(12)})), media) << size << " of " << value;
        EXPECT_EQ(TypeOf(Join({Bytes(kLimit + 1, junk), kMp3.Frames(12)})), 0) << value;
    }
    // behind junk more than three headers are asked for, behind padding not
    EXPECT_EQ(TypeOf(Join({Bytes(10, 'j'), kMp3.Frames(4), Bytes(10)})), 0);
    EXPECT_EQ(Identify(Join({Bytes(10, '\0'), kMp3.Frames(4), Bytes(10)})), MediaAs(kMp3, 4));
}

TEST(MpegAudioParser, LeavesTagsOut) {
    const Bytes picture = kLayer2.Frames(100); // more than the limit of junk, and frames by its looks
    const Bytes tag     = test::Id3v2(picture.size(), picture);
    const Bytes footed  = test::Id3v2(20, Bytes(20), true);
    const Media media   = MediaAs(kMp3, 12);
    const Bytes audio   = kMp3.Frames(12);
    EXPECT_EQ(Identify(Join({tag, audio})), media);
    EXPECT_EQ(Identify(Join({footed, tag, footed, audio, test::ApeTag(kMp3.Frames(3)), test::Id3v1()})),
              media);
    EXPECT_EQ(Identify(Join({tag, Bytes(65536, 'j'), audio})), media) << "the limit counts from the tags on";
    // what claims more than there is, or has a size of eight bits, is no tag
    EXPECT_EQ(Identify(Join({test::Id3v2(0x0FFFFFFF, {}), audio})), media);
    Bytes wrong = test::Id3v2(300, {});
    wrong[9] |= 0x80;
    EXPECT_EQ(Identify(Join({wrong, audio})), media);
    EXPECT_EQ(TypeOf(test::Id3v2(100, Bytes(100))), 0) << "a tag alone";
    // so is a tag behind that claims more, or the audio
    for (const std::size_t size : {std::size_t{0xFFFFFFFF}, audio.size(), audio.size() / 2}) {
        Bytes ape = test::ApeTag({});
        test::Put(ape, 32 + 12, test::Little(size));
        EXPECT_EQ(Identify(Join({audio, ape})), media) << size;
    }
    const Bytes footerOnly =
        Join({Text("APETAGEX"), test::Little(2000), test::Little(audio.size() + 33), Bytes(16)});
    EXPECT_EQ(Identify(Join({audio, footerOnly})), media);
}

// Frames of 104 and 417 bytes, four of each turn.
Bytes Variable(std::size_t turns) {
    Bytes bytes;
    for (; turns > 0; --turns) bytes = Join({bytes, kMp3Low.Frames(4), kMp3.Frames(4)});
    return bytes;
}

unsigned long AverageRate(std::size_t bytes, double frames) {
    return static_cast<unsigned long>(static_cast<double>(bytes) * 8 / kMp3.Seconds(frames));
}

TEST(MpegAudioParser, GivesTheAverageOfAVariableBitRate) {
    const Media media = Identify(Variable(5));
    EXPECT_EQ(media.frames, 40U);
    EXPECT_FLOAT_EQ(media.seconds, static_cast<float>(kMp3.Seconds(40)));
    EXPECT_EQ(media.bitRate, AverageRate(Variable(5).size(), 40));
}

// 40 frames that claim to be 41: believed while the bytes agree, so that one sees what was believed.
TEST(MpegAudioParser, BelievesAnInformationFrameThatAgreesWithTheFile) {
    const Bytes    audio     = Variable(5);
    const unsigned size      = static_cast<unsigned>(audio.size() + kMp3.Size());
    const auto     framesFor = [&](const Bytes& information, const Bytes& behind = {}) {
        return Identify(Join({information, audio, behind})).frames;
    };
    EXPECT_EQ(framesFor(kMp3.Xing("Xing", 41, size)), 41U);
    EXPECT_EQ(framesFor(kMp3.Xing("Xing", 41, size), test::Id3v1()), 41U);
    EXPECT_EQ(framesFor(kMp3.Vbri(41, size)), 41U);
    EXPECT_EQ(framesFor(kMp3.Vbri(41, size - static_cast<unsigned>(kMp3.Size()))), 41U);
    EXPECT_EQ(Identify(Join({kMp3.Xing("Xing", 40, size), audio})).bitRate, AverageRate(audio.size(), 40));

    for (const auto& [frames, bytes, what] : {std::tuple{41U, size + 1, "cut"},
                                              {41U, size - 418, "joined"},
                                              {41U, 0U, "of unknown length"},
                                              {0U, size, "without frames"},
                                              {9U, size, "more than a frame holds"},
                                              {0xFFFFFFFFU, size, "less than a frame needs"}}) {
        EXPECT_EQ(framesFor(kMp3.Xing("Xing", frames, bytes)), 40U) << what;
        EXPECT_EQ(framesFor(kMp3.Vbri(frames, bytes)), 40U) << what;
    }
    EXPECT_EQ(framesFor(kMp3.Xing("Info", 41, size)), 40U) << "a constant rate that is none";
}

TEST(MpegAudioParser, DoesNotCountInformationFrames) {
    for (const AudioFormat& format :
         {AudioFormat{.bitRateIndex = 5}, AudioFormat{.bitRateIndex = 5, .mono = true},
          AudioFormat{.sampleRate = 22050}, AudioFormat{.sampleRate = 11025, .mono = true}}) {
        AudioFormat large       = format; // as encoders make it, to hold what it tells
        large.bitRateIndex      = 12;
        const Bytes audio       = format.Frames(20);
        const Bytes information = large.Xing("Info", 20, static_cast<unsigned>(audio.size() + large.Size()));
        EXPECT_EQ(Identify(Join({information, audio})), MediaAs(format, 20)) << "believed";
        EXPECT_EQ(Identify(Join({information, audio, information, audio})), MediaAs(format, 40)) << "counted";
        EXPECT_EQ(Identify(Join({large.Vbri(0, 0), audio})), MediaAs(format, 20));
    }
    EXPECT_EQ(Identify(kMp3.Xing("Info", 0, 0)), MediaAs(kMp3, 0)) << "nothing but an information frame";
}

TEST(MpegAudioParser, GoesOnBehindDamage) {
    std::mt19937 random(3);
    const Bytes  half = kMp3.Frames(30);
    for (const std::size_t size : {1U, 3U, 500U, 40000U, 200000U}) {
        const Bytes noise = test::RandomBytes(random, size);
        ASSERT_EQ(Identify(Join({half, noise, half, noise})), MediaAs(kMp3, 60)) << size;
    }
    EXPECT_EQ(Identify(Join({half, Bytes(99, 'n'), kMp3.Frames(1)})), MediaAs(kMp3, 31)) << "one frame more";
    // a lone header in the noise is no frame, nor is one of another stream
    const Bytes lone =
        Join({Bytes(700, 'n'), kMp3.Header(), Bytes(700, 'n'), kLayer2.Frames(5), Bytes(9, 'n')});
    EXPECT_EQ(Identify(Join({half, lone, half})), MediaAs(kMp3, 60));
    Bytes damaged                 = Join({half, half});
    damaged[20 * kMp3.Size() + 1] = 0;
    EXPECT_EQ(Identify(damaged), MediaAs(kMp3, 59)) << "the frame whose header was hit is lost";
    damaged.erase(damaged.begin(), damaged.begin() + 200);
    EXPECT_EQ(Identify(damaged), MediaAs(kMp3, 58)) << "and the one whose start is missing";
}

} // namespace
