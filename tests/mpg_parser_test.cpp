// The MPEG parsers: which streams they recognise, how they measure, and that bulk searching changes nothing.
#include "KivUtility.h"

#include "media.h"
#include "mpeg_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using test::Bytes;
using test::MpegBuilder;

// The quick check of a memory block.
template <class Parser> int Quick(Bytes bytes) {
    bytes.push_back(0);
    CKivBitStream s;
    s.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size() - 1));
    return Parser().QuickCheck(&s);
}

MpegBuilder PackStream(std::size_t toSystem, std::size_t toSequence, int packByte = 0x31) {
    return MpegBuilder().Mpeg1Pack(packByte).Fill(toSystem).SystemHeader({}).Fill(toSequence).Sequence();
}

TEST(MpegRecognition, AVideoStreamStartsWithinThirtyTwoBytes) {
    EXPECT_EQ(Quick<CMObjMpg1VideoParser>(MpegBuilder().Sequence().Get()), 2);
    EXPECT_EQ(Quick<CMObjMpg1VideoParser>(MpegBuilder().Fill(31).Sequence().Get()), 2);
    EXPECT_EQ(Quick<CMObjMpg1VideoParser>(MpegBuilder().Fill(32).Sequence().Get()), 0);
}

// The counts run on: 8 bytes of the pack header, 8 of the system header, then what stands between.
TEST(MpegRecognition, ASystemStreamKeepsToItsTotals) {
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(PackStream(0, 0).Get()), 1);
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(PackStream(31 - 8, 0).Get()), 1);
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(PackStream(32 - 8, 0).Get()), 0);
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(PackStream(0, 8191 - 16).Get()), 1);
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(PackStream(0, 8192 - 16).Get()), 0);
    EXPECT_EQ(
        Quick<CMObjMpgSystemParser>(MpegBuilder().Fill(5).Mpeg2Pack(7).SystemHeader({}).Sequence().Get()), 1);
    EXPECT_EQ(Quick<CMObjMpgSystemParser>(MpegBuilder().Mpeg1Pack().Sequence().Get()), 0);
}

TEST(MpegRecognition, AnExtensionMakesItMpeg2AndThePackByteTellsWhich) {
    constexpr std::size_t kPassed = 8 + 8 + 8; // pack, system and sequence header without their codes
    for (const auto& [packByte, gap, type] : {std::tuple{0x31, 0, 4},
                                              {0x21, 0, 12},
                                              {0x44, 8703 - static_cast<int>(kPassed), 4},
                                              {0x31, 8704 - static_cast<int>(kPassed), 1}}) {
        const Bytes bytes = PackStream(0, 0, packByte)
                                .Fill(static_cast<std::size_t>(gap))
                                .SequenceExtension()
                                .Fill(9000)
                                .Get();
        EXPECT_EQ(Quick<CMObjMpgSystemParser>(bytes), type) << packByte << ' ' << gap;
    }
}

TEST(MpegRecognition, AVideoCdPackIsFoundAtEveryFifthByte) {
    const auto disc = [](std::size_t gap) {
        const Bytes riff = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'C', 'D', 'X', 'A'};
        return MpegBuilder().Add(riff).Fill(gap).Mpeg1Pack().Fill(40).Get();
    };
    for (const std::size_t gap : {0U, 5U, 5U * 32767})
        EXPECT_EQ(Quick<CMObjMpg1VcdParser>(disc(gap)), 3) << gap;
    for (const std::size_t gap : {1U, 2U, 3U, 4U, 6U, 5U * 32768})
        EXPECT_EQ(Quick<CMObjMpg1VcdParser>(disc(gap)), 0) << gap;
    Bytes other = disc(0);
    other[8]    = 'A';
    EXPECT_EQ(Quick<CMObjMpg1VcdParser>(other), 0);
}

TEST(MpegRecognition, ATransportStreamNeedsThreeSyncBytes) {
    const auto transport = [](std::size_t lead, bool extension) {
        MpegBuilder b;
        b.Fill(lead).TransportPacket(0, true, {}).TransportPacket(16, true, {});
        MpegBuilder video;
        video.Sequence();
        if (extension) video.SequenceExtension();
        return b.TransportPacket(17, true, video.Get()).Fill(9000).Get();
    };
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(0, true)), 13);
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(31, false)), 1);
    EXPECT_EQ(Quick<CMObjMpgTransportParser>(transport(32, true)), 0);
    for (const std::size_t sync : {188U, 376U}) {
        Bytes broken = transport(0, true);
        broken[sync] = 0x48;
        EXPECT_EQ(Quick<CMObjMpgTransportParser>(broken), 0) << sync;
    }
}

// A full parse as it is defined: one position a step, through the reader's public operations.
class StepByStep {
public:
    test::Media Measure(CKivBitStream& s) {
        s.BytesJump(0);
        bool going = Walk(s);
        if (going && !m_hasEnd) {
            s.BytesJump(s.GetFileSize() > 200000 ? s.GetFileSize() - 200000 : 0);
            going = Walk(s);
        }
        if (!going || !m_hasEnd || m_end <= m_start) return {};
        const auto   frames   = static_cast<unsigned long>((m_end - m_start) * 29.97 + m_pictures);
        const auto   duration = static_cast<float>(static_cast<double>(frames) * 0.0333667);
        const double bits     = static_cast<double>(s.GetFileSize()) * 8.0;
        return {2, frames, duration, static_cast<unsigned long>(bits / static_cast<double>(duration))};
    }

private:
    bool m_hasStart = false, m_hasEnd = false;
    int  m_start = 0, m_end = 0, m_pictures = 0;

    bool Walk(CKivBitStream& s) {
        for (int steps = 0; steps < 200000 && s.BitsEOF() == 0; ++steps) {
            switch (s.ShowBits(32)) {
            case 0x1BA:
                s.SkipBits(32);
                s.SkipBits(s.GetBits(2) == 1 ? 46 : 39);
                s.GetBits(22);
                s.BitsAlignment(8);
                break;
            case 0x1B8: {
                s.SkipBits(33);
                int time = static_cast<int>(s.GetBits(5)) * 60;
                time     = (time + static_cast<int>(s.GetBits(6))) * 60;
                s.SkipBits(1);
                time += static_cast<int>(s.GetBits(6));
                s.GetBits(6);
                if (s.BitsEOF() != 0) break; // cut by the end: no time
                s.BitsAlignment(8);
                m_pictures = 0;
                if (m_hasStart) {
                    m_hasEnd = true;
                    m_end    = time;
                    steps    = -1;
                } else {
                    m_hasStart = true;
                    m_start    = time;
                }
                break;
            }
            case 0x100:
                ++m_pictures;
                s.SkipBits(8);
                break;
            case 0x1B0: return false;
            default: s.SkipBits(8);
            }
        }
        return true;
    }
};

test::Media Parse(CKivBitStream& s) {
    CMObjMpg1VideoParser parser;
    parser.ParseFile(&s);
    return test::MediaOf(parser);
}

// What the parser finds in the file, which is what the model finds, there and in a memory block.
test::Media Measure(const Bytes& bytes, const std::string& what) {
    static const test::TempFolder folder;
    const std::string             path = folder.Write("stream", bytes);
    CKivBitStream                 stream, modelStream;
    stream.SourceFromFile(path.c_str());
    modelStream.SourceFromFile(path.c_str());
    const test::Media found = Parse(stream);
    EXPECT_EQ(found, StepByStep().Measure(modelStream)) << what;

    Bytes block = test::Join({bytes, {0}}), modelBlock = block;
    stream.SourceFromBuffer(block.data(), static_cast<int>(bytes.size()));
    modelStream.SourceFromBuffer(modelBlock.data(), static_cast<int>(bytes.size()));
    EXPECT_EQ(Parse(stream), StepByStep().Measure(modelStream)) << what << " in memory";
    return found;
}

TEST(MpegMeasuring, AgreesWithTheStepByStepWalkOnSamples) {
    int measured = 0;
    for (const auto& sample : test::Samples()) { // any stream behind a sequence header is taken for video
        const Bytes bytes = MpegBuilder().Sequence().Add(test::ReadWholeFile(sample)).Get();
        measured += Measure(bytes, sample.string()).type == 2 ? 1 : 0;
    }
    EXPECT_GT(measured, 5);
}

TEST(MpegMeasuring, AgreesWithTheStepByStepWalkOnMixedCodes) {
    std::mt19937 random(4);
    const auto   pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
    for (int round = 0; round < 60; ++round) {
        MpegBuilder b;
        b.Sequence();
        const unsigned gaps = pick(3) == 0 ? 60000 : 300;
        for (unsigned i = 0; i < 60; ++i) {
            switch (pick((round % 4 == 0 ? 9 : 8))) {
            case 0: b.Group(pick(24), pick(60), pick(60)); break;
            case 1: b.Group(1, 0, i, 3); break;
            case 2: b.Mpeg1Pack(); break;
            case 3: b.Mpeg2Pack(static_cast<int>(pick(8))); break;
            case 4: b.Code(static_cast<int>(pick(0xB0))); break;
            case 5: b.Fill(pick(5), 0); break;
            case 6: b.Picture(); break;
            case 7: b.Fill(pick(gaps), static_cast<unsigned char>(pick(3))); break;
            default: b.Code(0xB0 + static_cast<int>(pick(16)));
            }
        }
        Bytes bytes = b.Get();
        bytes.resize(bytes.size() - pick(12)); // cut within the last code
        Measure(bytes, "round " + std::to_string(round));
    }
}

TEST(MpegMeasuring, GivesUpAfterTwoHundredThousandStepsWithoutATime) {
    constexpr std::size_t kBefore = 12 + 1; // steps on the sequence and the first group header

    const struct {
        std::size_t firstGap, secondGap;
        unsigned    seconds;
    } rows[] = {{199999 - kBefore, 199999, 40}, // a new end time starts the count afresh
                {199999 - kBefore, 200000, 10},
                {200000 - kBefore, 10, 0}};

    for (const auto& row : rows) {
        const Bytes bytes = MpegBuilder()
                                .Sequence()
                                .Group(0, 0, 0)
                                .Fill(row.firstGap)
                                .Group(0, 0, 10)
                                .Fill(row.secondGap)
                                .Group(0, 0, 40)
                                .Fill(300000)
                                .Get();
        EXPECT_EQ(Measure(bytes, "gaps").frames, static_cast<unsigned long>(row.seconds * 29.97));
    }
    // the last 200000 bytes are searched when the first walk found no end time
    const Bytes tail =
        MpegBuilder().Sequence().Group(0, 0, 0).Fill(500000).Group(0, 1, 0).Picture().Picture().Get();
    EXPECT_EQ(Measure(tail, "tail").frames, static_cast<unsigned long>(60 * 29.97 + 2));
}

TEST(MpegMeasuring, TimesThatDoNotAdvanceAndReservedCodesFail) {
    const MpegBuilder start = MpegBuilder().Sequence().Group(1, 0, 1);
    EXPECT_EQ(Measure(MpegBuilder(start).Group(1, 0, 2).Get(), "a second").frames, 29U);
    for (const MpegBuilder& b : {start, MpegBuilder(start).Group(1, 0, 1), MpegBuilder(start).Group(1, 0, 0),
                                 MpegBuilder(start).Group(1, 0, 2).Code(0xB0)}) {
        EXPECT_EQ(Measure(b.Get(), "no time").type, 0);
    }
}

// By what the last packet, and of Video CD the wrapper, tells of its length.
TEST(MpegMeasuring, SeesThatAFileWasCut) {
    const auto isCut = [](const Bytes& bytes) {
        CMObjParserMgr         manager;
        CMObjBaseParser* const parser = manager.parse(bytes.data(), static_cast<int>(bytes.size()));
        EXPECT_GT(parser->GetFrames(), 0U);
        return parser->IsTruncated();
    };
    for (const char* name : {"mpeg2-transport.ts", "mpeg1-system.mpg", "mpeg2-program-dvd.mpg",
                             "mpeg2-program.vob", "video-cd.dat"}) {
        const Bytes whole = test::ReadWholeFile(std::filesystem::path(KIV_SAMPLES_DIR) / name);
        const auto  first = [&](std::size_t n) {
            return Bytes(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(n));
        };
        for (const unsigned less : {1U, 7U, 100U, 1000U})
            EXPECT_TRUE(isCut(first(less))) << name << " less " << less;
        const std::size_t wholePackets = std::string(name).ends_with(".ts") ? 188 * 9 : 0;
        EXPECT_FALSE(isCut(first(wholePackets))) << name << " less whole packets";
        Bytes padded = whole;
        padded.resize(whole.size() + 188 * 9);
        EXPECT_FALSE(isCut(padded)) << name << " with zeros behind";
    }
}

} // namespace
