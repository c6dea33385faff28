// What the files of one stream must have in common.
#include "asf_builder.h"
#include "mpeg_builder.h"

#include <sstream>

namespace {

using namespace test;
namespace fs = std::filesystem;

std::string FactsOf(CKivBitStream& stream) {
    const KivStreamFacts facts = KivReadStreamFacts(&stream);
    std::ostringstream   text;
    text << facts.width << 'x' << facts.height << ' ' << facts.frameRate << '/' << facts.frameRatePer << ' '
         << facts.videoCodec << ' ' << facts.sound << ' ' << facts.audioLayer << ' ' << facts.audioFormat
         << ' ' << facts.samplesSecond << ' ' << facts.leastPacket << '-' << facts.mostPacket;
    return text.str();
}

std::string FactsOf(const Bytes& bytes) {
    return OfBlock(bytes, [](CKivBitStream& stream) { return FactsOf(stream); });
}

const std::string kNothing = "0x0 0/0 0 0 0 0 0 0-0";

TEST(StreamFacts, AreReadFromEveryKindOfSample) {
    const std::string film = "176x144 25/1 0 2 2 0 44100 0-0", silent = "176x144 25/1 0 1 0 0 0 0-0";
    const std::pair<const char*, std::string> rows[] = {
        {"mpeg1-system.mpg", film},
        {"mpeg1-system-silent.mpg", silent},
        {"mpeg2-program-dvd.mpg", film},
        {"mpeg2-in-mpeg1-packs.mpg", film},
        {"mpeg2-transport.ts", "176x144 25/1 843534413 2 2 0 44100 0-0"},
        {"video-cd.dat", film},
        {"mpeg2-video.m2v", "176x144 25/1 0 0 0 0 0 0-0"},
        {"h264.264", "176x144 25/1 0 0 0 0 0 0-0"},
        {"mp3-22050.mp3", "0x0 0/0 0 2 3 0 22050 0-0"},
        {"mp3-id3v2.mp3", "0x0 0/0 0 2 3 0 44100 0-0"},
        {"layer2.mp2", "0x0 0/0 0 2 2 0 44100 0-0"},
        {"avi-mjpeg-silent.avi", kNothing},
        {"empty.mpg", kNothing},
    };
    for (const auto& [sample, facts] : rows) {
        CKivBitStream stream;
        stream.SourceFromFile((fs::path(KIV_SAMPLES_DIR) / sample).string().c_str());
        EXPECT_EQ(FactsOf(stream), facts) << sample;
    }
    EXPECT_EQ(KivReadStreamFacts(nullptr), KivStreamFacts());
}

// 257 by 288 pixels.
Bytes SequenceHeader(int rate) {
    return {0, 0, 1, 0xB3, 0x10, 0x11, 0x20, static_cast<unsigned char>(rate), 0, 0, 0x20, 0};
}

TEST(StreamFacts, OfVideoTakeTheExtensionAndRefuseWhatIsForbidden) {
    const Bytes extension = {0, 0, 1, 0xB5, 0x10, 0, 0xA0, 0, 0, 0x21}; // sizes +4096, 2/2 of the rate
    EXPECT_EQ(FactsOf(SequenceHeader(4)), "257x288 30000/1001 0 0 0 0 0 0-0");
    EXPECT_EQ(FactsOf(Join({SequenceHeader(3), extension})), "4353x4384 25/1 0 0 0 0 0 0-0");
    for (const int rate : {0, 9, 15}) EXPECT_EQ(FactsOf(SequenceHeader(rate)), kNothing);
    EXPECT_EQ(FactsOf(With(SequenceHeader(3), 10, {0})), kNothing) << "without its marker bit";
}

TEST(StreamFacts, TellSoundThatIsNotMpegAndThatThereIsNone) {
    const auto subStream = [](int id, const Bytes& frame = {}) {
        return MpegBuilder()
            .Mpeg2Pack()
            .Pes(0xBD, {}, Join({{static_cast<unsigned char>(id), 1, 0, 1}, frame}))
            .Get();
    };
    const auto program = [](const Bytes& streams) { // its map behind an adaptation field
        const Bytes pat  = Join({{0, 0, 0xB0, 17, 0, 1, 1, 0, 0, 0, 0, 0xE0, 16, 0, 1, 0xE1, 0}, Bytes(4)});
        const Bytes head = {0, 2,    0xB0, static_cast<unsigned char>(13 + streams.size()), 0, 1, 1, 0, 0, 0,
                            0, 0xF0, 0};
        MpegBuilder b;
        b.TransportPacket(0, true, pat).TransportPacket(0x100, true, Join({head, streams, Bytes(4)}), 5);
        return b.TransportPacket(0x1FFF, false, {}).Get();
    };
    const Bytes video = {0x02, 0xE1, 1, 0xF0, 0}, unknown = {0x06, 0xE1, 2, 0xF0, 0},
                dts   = {0x06, 0xE1, 2, 0xF0, 5, 0x0A, 1, 0, 0x7B, 0};
    const auto  sound = [](std::uint8_t type) { return Bytes{type, 0xE1, 3, 0xF0, 0}; };
    const Bytes ac3 = {1, 0x0B, 0x77, 0, 0, 0x54}, eac3 = {0x0B, 0x77, 0, 0, 0xD0},
                aac = {0xFF, 0xF1, 0x50, 0}, dts32 = {0x7F, 0xFE, 0x80, 1, 0, 0, 0, 0, 0x0C},
                mpeg  = MpegBuilder().Pes(0xC0, {}, MpegBuilder().AudioFrame().AudioFrame().Get()).Get();
    const auto packet = [](const Bytes& frame) { // of the sound's stream
        return MpegBuilder().TransportPacket(0x103, true, MpegBuilder().Pes(0xBD, {}, frame).Get()).Get();
    };

    const struct {
        Bytes         bytes;
        KivSound      sound;
        unsigned long samplesSecond = 0;
    } rows[] = {
        {subStream(0x80), kKivSound_Ac3},
        {subStream(0x80, ac3), kKivSound_Ac3, 44100},
        {Join({subStream(0x80), subStream(0x20, ac3), subStream(0x81, ac3)}), kKivSound_Ac3, 44100},
        {subStream(0x8F), kKivSound_Dts},
        {subStream(0x88, Join({dts32, mpeg})), kKivSound_Dts, 32000}, // its data may hold any code
        {subStream(0xA0), kKivSound_Lpcm},
        {subStream(0xA0, {0, 0x10}), kKivSound_Lpcm, 96000},
        {subStream(0x20), kKivSound_None},
        {Join({subStream(0x20), subStream(0x87)}), kKivSound_Ac3},
        {Join({subStream(0x80), MpegBuilder().Pes(0xC0, {}, Bytes(9)).Get()}), kKivSound_Ac3},
        {MpegBuilder().Mpeg2Pack().Pes(0xC0, {}, Bytes(9)).Get(), kKivSound_Unknown},
        {program(video), kKivSound_None},
        {program(Join({video, sound(0x0F)})), kKivSound_Aac},
        {Join({program(Join({video, sound(0x0F)})), packet(aac)}), kKivSound_Aac, 44100},
        {Join({program(Join({video, sound(0x87)})), packet({}), packet(eac3)}), kKivSound_EAc3, 22050},
        {program(Join({video, sound(0x81), sound(0x0F)})), kKivSound_Ac3},
        {program(Join({unknown, sound(0x87)})), kKivSound_EAc3},
        {program(Join({video, unknown})), kKivSound_Unknown},
        {program(dts), kKivSound_Dts},
        {program({0x02, 0xE1, 1, 0xF0, 9}), kKivSound_Unknown}, // its descriptors go beyond the map
    };

    for (std::size_t i = 0; const auto& row : rows) {
        const auto facts =
            OfBlock(row.bytes, [](CKivBitStream& stream) { return KivReadStreamFacts(&stream); });
        EXPECT_TRUE(facts.sound == row.sound && facts.samplesSecond == row.samplesSecond)
            << "row " << i << ": " << FactsOf(row.bytes);
        ++i;
    }
    const Bytes whole = Join({program(Join({video, sound(0x81)})), packet(ac3)});
    for (std::size_t n = 0; n < whole.size(); ++n) FactsOf(With(whole, n, {0xFF}));
}

// A header object with another object between the two streams.
Bytes AsfHeader() {
    const Bytes video = Join({Little(320), Little(240), Bytes(19), Little(77), Bytes(20)});
    const Bytes audio = Join({Little(353, 2), Little(2, 2), Little(44100), Bytes(10)});
    return AsfHeaderObject(Join({AsfStreamObject(kAsfVideo, 1, video),
                                 AsfProperties{.packetSize = 3200, .mostPacketSize = 6400}.Get(),
                                 AsfStreamObject(kAsfAudio, 2, audio)}));
}

// Cut at every length, damaged at every byte: no size in it may lead astray.
TEST(StreamFacts, OfAsfAreThoseOfItsStreamsAndBearDamage) {
    const Bytes whole = AsfHeader();
    EXPECT_EQ(FactsOf(whole), "320x240 0/0 77 8 0 353 44100 3200-6400");
    for (std::size_t n = 0; n < whole.size(); ++n) {
        EXPECT_EQ(FactsOf(First(whole, n)) == kNothing, n < 30 + 129) << n;
        FactsOf(With(whole, n, {0xFF}));
        FactsOf(With(whole, n, {0}));
    }
}

} // namespace
