// The MPEG parsers: which streams they recognise, how they measure, and that bulk searching changes nothing.
#include "media.h"
#include "mpeg_builder.h"

namespace {

using namespace test;

// The quick check of a memory block.
template <class Parser> int Quick(const Bytes& bytes) {
    return OfBlock(bytes, [](CKivBitStream& stream) { return Parser().QuickCheck(&stream); });
}

MpegBuilder PackStream(std::size_t toSystem, std::size_t toSequence, int packByte = 0x31) {
    return MpegBuilder().Mpeg1Pack(packByte).Fill(toSystem).SystemHeader({}).Fill(toSequence).Sequence();
}

TEST(MpegRecognition, AVideoStreamStartsWithinThirtyTwoBytes) {
    EXPECT_EQ(Quick<CMObjMpg1VideoParser>(MpegBuilder().Fill(31).Sequence().Get()), 2);
    EXPECT_EQ(Quick<CMObjMpg1VideoParser>(MpegBuilder().Fill(32).Sequence().Get()), 0);
}

// The counts run on: 8 bytes of the pack header, 8 of the system header, then what stands between. An
// extension makes it MPEG-2, and the pack byte tells which.
TEST(MpegRecognition, ASystemStreamKeepsToItsTotals) {
    constexpr std::size_t kPassed       = 8 + 8 + 8; // pack, system and sequence header without their codes
    const auto            withExtension = [](int packByte, std::size_t gap) {
        return PackStream(0, 0, packByte).Fill(gap).SequenceExtension().Fill(9000);
    };
    for (const auto& [stream, type] : {
             std::pair{PackStream(31 - 8, 0), 1},
             {PackStream(32 - 8, 0), 0},
             {PackStream(0, 8191 - 16), 1},
             {PackStream(0, 8192 - 16), 0},
             {MpegBuilder().Fill(5).Mpeg2Pack(7).SystemHeader({}).Sequence(), 1},
             {MpegBuilder().Mpeg1Pack().Sequence(), 0},
             {withExtension(0x31, 0), 4},
             {withExtension(0x21, 0), 12},
             {withExtension(0x44, 8703 - kPassed), 4},
             {withExtension(0x31, 8704 - kPassed), 1},
         })
        EXPECT_EQ(Quick<CMObjMpgSystemParser>(stream.Get()), type) << stream.Size() << " bytes";
}

TEST(MpegRecognition, AVideoCdPackIsFoundAtEveryFifthByte) {
    const auto disc = [](std::size_t gap) {
        const Bytes riff = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'C', 'D', 'X', 'A'};
        return MpegBuilder().Add(riff).Fill(gap).Mpeg1Pack().Fill(40).Get();
    };
    for (const std::size_t gap : {0U, 5U, 5U * 32767})
        EXPECT_EQ(Quick<CMObjMpg1VcdParser>(disc(gap)), 3) << gap;
    for (const std::size_t gap : {1U, 4U, 6U, 5U * 32768})
        EXPECT_EQ(Quick<CMObjMpg1VcdParser>(disc(gap)), 0) << gap;
    EXPECT_EQ(Quick<CMObjMpg1VcdParser>(With(disc(0), 8, {'A'})), 0);
}

TEST(MpegRecognition, ATransportStreamNeedsThreeSyncBytes) {
    const auto transport = [](std::size_t lead, bool extension) {
        MpegBuilder b, video = MpegBuilder().Sequence();
        if (extension) video.SequenceExtension();
        b.Fill(lead).TransportPacket(0, true, {}).TransportPacket(16, true, {});
        return b.TransportPacket(17, true, video.Get()).Fill(9000).Get();
    };
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(0, true)), 13);
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(31, false)), 1);
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(32, true)), 0);
    for (const std::size_t sync : {188U, 376U})
        EXPECT_EQ(Quick<CMObjMpgTransportParser>(With(transport(0, true), sync, {0x48})), 0) << sync;
}

// So many seconds lie between the first and the last group header, and pictures behind that: the fixed rate
// makes frames of both. Without a second nothing is measured.
void ExpectMeasures(const Bytes& bytes, int seconds, int pictures, const std::string& what) {
    const auto   frames   = static_cast<unsigned long>(seconds * 29.97 + pictures);
    const auto   duration = static_cast<float>(static_cast<double>(frames) * 0.0333667);
    const double rate     = static_cast<double>(bytes.size()) * 8 / static_cast<double>(duration);
    const Media  expected =
        seconds > 0 ? Media{2, frames, duration, static_cast<unsigned long>(rate)} : Media{};
    const auto parse = [](CKivBitStream& stream) {
        CMObjMpg1VideoParser parser;
        parser.ParseFile(&stream);
        return MediaOf(parser);
    };
    static const TempFolder folder;
    EXPECT_EQ(OfFile(folder.Write("stream", bytes), parse), expected) << what;
    EXPECT_EQ(OfBlock(bytes, parse), expected) << what << " in memory";
}

TEST(MpegMeasuring, FindsTheTimesAmongAnyCodes) {
    std::mt19937 random(4);
    const auto   pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
    for (int round = 0; round < 60; ++round) {
        MpegBuilder    b       = MpegBuilder().Sequence().Group(0, 0, 0);
        const unsigned gaps    = pick(3) == 0 ? 3000 : 20;
        unsigned       seconds = 0, pictures = 0;
        for (int i = 0; i < 60; ++i) {
            switch (pick(7)) {
            case 0:
                seconds  = 1 + pick(86399);
                pictures = 0;
                b.Group(seconds / 3600, seconds / 60 % 60, seconds % 60, pick(64));
                break;
            case 1: b.Mpeg1Pack(); break;
            case 2: b.Mpeg2Pack(static_cast<int>(pick(8))); break;
            case 3: b.Code(1 + static_cast<int>(pick(0xAF))); break; // a slice
            case 4: b.Fill(pick(5), 0); break;
            case 5: b.Fill(pick(gaps), 3); break;
            default: b.Picture(); ++pictures;
            }
        }
        ExpectMeasures(b.Get(), static_cast<int>(seconds), static_cast<int>(pictures),
                       "round " + std::to_string(round));
    }
}

TEST(MpegMeasuring, GivesUpAfterTwoHundredThousandStepsWithoutATime) {
    constexpr int kBefore = 12 + 1; // steps on the sequence and the first group header
    for (const auto& [firstGap, secondGap, seconds] :
         {std::tuple{199999 - kBefore, 199999, 40}, // a new end time starts the count afresh
          {199999 - kBefore, 200000, 10},
          {200000 - kBefore, 10, 0}}) {
        MpegBuilder b = MpegBuilder().Sequence().Group(0, 0, 0).Fill(static_cast<std::size_t>(firstGap));
        b.Group(0, 0, 10).Fill(static_cast<std::size_t>(secondGap)).Group(0, 0, 40).Fill(300000);
        ExpectMeasures(b.Get(), seconds, 0, "gaps");
    }
    // the last 200000 bytes are searched when the first walk found no end time
    MpegBuilder tail = MpegBuilder().Sequence().Group(0, 0, 0).Fill(500000).Group(0, 1, 0);
    ExpectMeasures(tail.Picture().Picture().Get(), 60, 2, "tail");
}

TEST(MpegMeasuring, TimesThatDoNotAdvanceAndReservedCodesFail) {
    const MpegBuilder start = MpegBuilder().Sequence().Group(1, 0, 1);
    for (const MpegBuilder& b : {start, MpegBuilder(start).Group(1, 0, 1), MpegBuilder(start).Group(1, 0, 0),
                                 MpegBuilder(start).Group(1, 0, 2).Code(0xB0)})
        ExpectMeasures(b.Get(), 0, 0, "no time");
    const Bytes whole = MpegBuilder(start).Group(1, 0, 2).Picture().Group(1, 0, 9).Get();
    ExpectMeasures(whole, 8, 0, "whole");
    // the last group header's time does not count when cut; a block is read one byte beyond
    for (std::size_t less = 2; less <= 8; ++less)
        ExpectMeasures(First(whole, whole.size() - less), 1, 1, std::to_string(less) + " bytes less");
}

// By what the last packet, and of Video CD the wrapper, tells of its length.
TEST(MpegMeasuring, SeesThatAFileWasCut) {
    CMObjParserMgr manager;
    const auto     isCut = [&](const Bytes& bytes) {
        CMObjBaseParser* const parser = manager.parse(bytes.data(), static_cast<int>(bytes.size()));
        EXPECT_GT(parser->GetFrames(), 0U);
        return parser->IsTruncated();
    };
    for (const char* name : {"mpeg2-transport.ts", "mpeg1-system.mpg", "mpeg2-program-dvd.mpg",
                             "mpeg2-program.vob", "video-cd.dat"}) {
        const Bytes whole = SampleBytes(name);
        for (const unsigned less : {1U, 7U, 100U, 1000U})
            EXPECT_TRUE(isCut(First(whole, whole.size() - less))) << name << " less " << less;
        const std::size_t wholePackets = std::string(name).ends_with(".ts") ? 188 * 9 : 0;
        EXPECT_FALSE(isCut(First(whole, whole.size() - wholePackets))) << name << " less whole packets";
        EXPECT_FALSE(isCut(Join({whole, Bytes(188 * 9)}))) << name << " with zeros behind";
    }
}

} // namespace
