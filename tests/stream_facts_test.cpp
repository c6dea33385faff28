// What the files of one stream must have in common.
#include "media.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, const KivStreamFacts& facts) {
    return out << facts.width << 'x' << facts.height << ' ' << facts.frameRate << '/' << facts.frameRatePer
               << " layer " << facts.audioLayer << ' ' << facts.audioFormat << ' ' << facts.samplesSecond;
}

namespace {

using namespace test;
namespace fs = std::filesystem;

// Of a block exactly as long as it is, but for the byte that a stream may look at.
KivStreamFacts FactsOf(Bytes bytes) {
    const int size = static_cast<int>(bytes.size());
    bytes.push_back(0);
    bytes.shrink_to_fit();
    CKivBitStream stream;
    stream.SourceFromBuffer(bytes.data(), size);
    return KivReadStreamFacts(&stream);
}

KivStreamFacts Film(unsigned long width, unsigned long height, unsigned long layer) {
    KivStreamFacts facts;
    facts.width         = width;
    facts.height        = height;
    facts.frameRate     = 25;
    facts.frameRatePer  = 1;
    facts.audioLayer    = layer;
    facts.samplesSecond = layer != 0 ? 44100 : 0;
    return facts;
}

KivStreamFacts Sound(unsigned long layer, unsigned long samplesSecond) {
    KivStreamFacts facts;
    facts.audioLayer    = layer;
    facts.samplesSecond = samplesSecond;
    return facts;
}

TEST(StreamFacts, AreReadFromEveryKindOfSample) {
    const struct {
        const char*    sample;
        KivStreamFacts facts;
    } rows[] = {
        {"mpeg1-system.mpg", Film(176, 144, 2)},
        {"mpeg1-system-no-b.mpg", Film(160, 112, 2)},
        {"mpeg1-system-silent.mpg", Film(176, 144, 0)},
        {"mpeg2-program.vob", Film(176, 144, 2)},
        {"mpeg2-program-dvd.mpg", Film(176, 144, 2)},
        {"mpeg2-in-mpeg1-packs.mpg", Film(176, 144, 2)},
        {"mpeg2-transport.ts", Film(176, 144, 2)},
        {"video-cd.dat", Film(176, 144, 2)},
        {"mpeg2-video.m2v", Film(176, 144, 0)},
        {"mp3-22050.mp3", Sound(3, 22050)},
        {"mp3-id3v2.mp3", Sound(3, 44100)},
        {"layer2.mp2", Sound(2, 44100)},
        {"avi-mjpeg-silent.avi", {}},
        {"text.txt", {}},
        {"empty.mpg", {}},
    };

    for (const auto& row : rows) {
        CKivBitStream stream;
        stream.SourceFromFile((fs::path(KIV_SAMPLES_DIR) / row.sample).string().c_str());
        EXPECT_EQ(KivReadStreamFacts(&stream), row.facts) << row.sample;
    }
    EXPECT_EQ(KivReadStreamFacts(nullptr), KivStreamFacts());
}

// 257 by 288 pixels.
Bytes SequenceHeader(int rate) {
    return {0, 0, 1, 0xB3, 0x10, 0x11, 0x20, static_cast<unsigned char>(rate), 0, 0, 0x20, 0, 0, 0, 0, 0};
}

TEST(StreamFacts, OfVideoTakeTheExtensionAndRefuseWhatIsForbidden) {
    const Bytes          extension = {0,    0,    1, 0xB5, 0x10,
                                      0x00, 0xA0, 0, 0,    0x21}; // sizes +4096, 2 of 2 times the rate
    const KivStreamFacts plain     = FactsOf(SequenceHeader(4));
    EXPECT_EQ(plain.width, 0x101U);
    EXPECT_EQ(plain.height, 0x120U);
    EXPECT_EQ(plain.frameRate, 30000U);
    EXPECT_EQ(plain.frameRatePer, 1001U);
    const KivStreamFacts extended = FactsOf(Join({First(SequenceHeader(3), 12), extension}));
    EXPECT_EQ(extended.width, 0x1101U);
    EXPECT_EQ(extended.height, 0x1120U);
    EXPECT_EQ(extended.frameRate, 25U);
    EXPECT_EQ(extended.frameRatePer, 1U);
    for (const int rate : {0, 9, 15}) EXPECT_EQ(FactsOf(SequenceHeader(rate)), KivStreamFacts());
    EXPECT_EQ(FactsOf(With(SequenceHeader(3), 10, {0})), KivStreamFacts()) << "without its marker bit";
}

// A header object with a file properties object between the two streams.
Bytes AsfHeader() {
    const Bytes header = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11,
                          0xA6, 0xD9, 0,    0xAA, 0,    0x62, 0xCE, 0x6C};
    const Bytes stream = {0x91, 0x07, 0xDC, 0xB7, 0xB7, 0xA9, 0xCF, 0x11,
                          0x8E, 0xE6, 0,    0xC0, 0x0C, 0x20, 0x53, 0x65};
    const Bytes kind   = {0xCF, 0x11, 0xA8, 0xFD, 0, 0x80, 0x5F, 0x5C, 0x44, 0x2B};
    const Bytes video  = Join({stream,
                               Little(78 + 51, 8),
                               {0xC0, 0xEF, 0x19, 0xBC, 0x4D, 0x5B},
                               kind,
                               Bytes(38),
                               Little(320),
                               Little(240),
                               Bytes(3 + 16),
                               Text("WMV2"),
                               Bytes(20)});
    const Bytes audio  = Join({stream,
                               Little(78 + 18, 8),
                               {0x40, 0x9E, 0x69, 0xF8, 0x4D, 0x5B},
                               kind,
                               Bytes(38),
                               Little(0x161, 2),
                               Little(2, 2),
                               Little(44100),
                               Bytes(10)});
    const Bytes other  = Join({Bytes(16, 7), Little(30, 8), Bytes(6)});
    return Join(
        {header, Little(30 + video.size() + other.size() + audio.size(), 8), Bytes(6), video, other, audio});
}

TEST(StreamFacts, OfAsfAreThoseOfItsStreams) {
    const KivStreamFacts facts = FactsOf(AsfHeader());
    EXPECT_EQ(facts.width, 320U);
    EXPECT_EQ(facts.height, 240U);
    EXPECT_EQ(facts.videoCodec, 0x32564D57U);
    EXPECT_EQ(facts.audioFormat, 0x161U);
    EXPECT_EQ(facts.samplesSecond, 44100U);
}

// Cut at every length, damaged at every byte: no size in it may lead astray.
TEST(StreamFacts, BearCutAndDamagedHeaders) {
    const Bytes film = First(ReadWholeFile(fs::path(KIV_SAMPLES_DIR) / "mpeg1-system.mpg"), 4096);
    for (const Bytes& whole : {AsfHeader(), film}) {
        for (std::size_t n = 0; n < whole.size(); ++n) {
            if (n < 600) FactsOf(First(whole, n));
            FactsOf(With(whole, n, {0xFF}));
            FactsOf(With(whole, n, {0}));
        }
    }
    EXPECT_EQ(FactsOf(First(AsfHeader(), 30 + 100)).width, 0U) << "a stream's object that is cut";
}

} // namespace
