// The extraction of stream headers: what is copied, what is left out, and where it stops.
#include "media.h"
#include "mpeg_builder.h"

namespace {

using namespace test;

Bytes GetHeader(const Bytes& stream) {
    static const TempFolder folder;
    CKivBitStream           s;
    CKivDynaBuffer          out("old", 3);
    s.SourceFromFile(folder.Write("stream", stream).c_str());
    s.SkipBits(13); // wherever the stream stands
    const int result = CMObjMpgSystemParser().getHeader(&s, &out);
    EXPECT_EQ(result, out.GetSize() != 0 ? 1 : 0);
    return Content(out);
}

const Bytes kStamp       = {0x21, 0, 1, 0, 1};
const Bytes kMpeg2Header = {0x81, 0x80, 5, 0x21, 0, 1, 0, 1, 0xFF};
const Bytes kFrame       = {0xFF, 0xFD, 0x90, 0x04};

// A packet whose length is told as it is, or as `length`.
Bytes Packet(int id, const Bytes& header, const Bytes& payload, int length = -1) {
    const auto bytes = static_cast<int>(header.size() + payload.size());
    return MpegBuilder().Code(id).Add({0, length < 0 ? bytes : length}).Add(header).Add(payload).Get();
}

TEST(StreamHeader, APackHeaderIsCopiedWithoutItsStuffing) {
    const Bytes none = MpegBuilder().Code(0xBA).Get();
    EXPECT_EQ(GetHeader(MpegBuilder().Mpeg1Pack().Fill(9).Get()), MpegBuilder().Mpeg1Pack().Get());
    EXPECT_EQ(GetHeader(MpegBuilder().Mpeg2Pack(5).Fill(9).Get()), MpegBuilder().Mpeg2Pack(0).Get());
    EXPECT_EQ(GetHeader(Join({none, Bytes(20, 0xFF)})), none);
}

TEST(StreamHeader, ASequenceHeaderBringsItsMatricesAndExtensions) {
    for (const auto& [intra, nonIntra] :
         {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
        const MpegBuilder sequence = MpegBuilder().Sequence(intra, nonIntra);
        EXPECT_EQ(GetHeader(MpegBuilder(sequence).Group(0, 0, 0).Get()), sequence.Get());
    }
    const Bytes sequence  = MpegBuilder().Sequence().Get();
    const Bytes extension = MpegBuilder().SequenceExtension().Get();
    const Bytes plain     = MpegBuilder().Code(0xB5).Add({0x2A, 1, 2, 3, 4}).Get(); // display extensions
    const Bytes colour    = MpegBuilder().Code(0xB5).Add({0x2B, 1, 1, 1, 1, 2, 3, 4}).Get();
    const Bytes other     = MpegBuilder().Code(0xB5).Get(); // of an unknown one only the code is taken
    const Bytes picture   = MpegBuilder().Picture().Get();
    EXPECT_EQ(
        GetHeader(Join(
            {{5, 5}, sequence, {0, 0}, extension, {0}, colour, plain, other, {0x3F, 7}, picture, extension})),
        Join({sequence, extension, colour, plain, other}));
}

TEST(StreamHeader, APacketEndsWithItsFirstSequenceOrFrameHeaderAndSaysSo) {
    const Bytes start    = MpegBuilder().Mpeg1Pack().SystemHeader({0xE0, 0xC0}).Get();
    const Bytes sequence = MpegBuilder().Sequence().Get();
    const Bytes buffered = Join({{0x60, 0x2E}, kStamp});
    const Bytes both     = {0x31, 0, 1, 0, 1, 0x11, 0, 1, 0, 1};
    for (const Bytes& header : {kStamp, buffered, both, kMpeg2Header}) {
        for (const std::size_t stuffing : {0U, 511U}) {
            const Bytes stuffed = Join({Bytes(stuffing, 0xFF), header});
            EXPECT_EQ(GetHeader(Join({start, Packet(0xE0, stuffed, sequence, 99),
                                      Packet(0xC0, stuffed, kFrame, 99), Bytes(9, 0xFF)})),
                      Join({start, Packet(0xE0, header, sequence), Packet(0xC0, header, kFrame)}));
        }
    }
    // what lies between the header and the sequence header is left out, and a sequence header too far away
    for (const std::size_t gap : {2U, 63999U, 64000U}) {
        EXPECT_EQ(GetHeader(Join({start, Packet(0xE0, kStamp, {}), Bytes(gap, 5), sequence})),
                  Join({start, Packet(0xE0, kStamp, gap < 64000 ? sequence : Bytes())}))
            << gap;
    }
    for (const Bytes& bad : {Bytes{0x0F}, Bytes(512, 0xFF)}) { // no time stamp; too much stuffing
        EXPECT_EQ(GetHeader(Join({start, Packet(0xE0, bad, sequence, 7), Packet(0xC0, bad, kStamp, 7)})),
                  Join({start, Packet(0xE0, {}, {}, 7), Packet(0xC0, {}, {}, 7)}));
    }
}

TEST(StreamHeader, AWholeProgramStreamGivesOnePacketOfEachStream) {
    const Bytes sequence = MpegBuilder().Sequence().SequenceExtension().Get();
    const Bytes systems  = MpegBuilder().SystemHeader({0xC1, 0xBD, 0xE2}).Get();
    const Bytes failing  = Packet(0xE2, {0x0F}, {}); // not taken
    const Bytes video    = Packet(0xE2, kStamp, sequence);
    const Bytes audio    = Packet(0xC1, kStamp, kFrame);
    const Bytes other    = Packet(0xC0, kStamp, kFrame);
    const Bytes gap      = Bytes(300, 0xFF);
    const Bytes pack     = MpegBuilder().Mpeg2Pack().Get();
    const Bytes stream =
        Join({Bytes(2), pack, systems, systems, failing, other, audio, gap, systems, video, video});
    const Bytes header = Join({pack, systems, systems, Packet(0xE2, {}, {}, 1), audio, video});
    EXPECT_EQ(GetHeader(stream), header);

    CKivBitStream s;
    Bytes         block = Join({stream, {0}}), dest(header.size(), 0xEE);
    const auto    room  = static_cast<int>(dest.size());
    s.SourceFromBuffer(block.data(), static_cast<int>(stream.size()));
    EXPECT_EQ(CMObjMpgTransportParser().getHeader(&s, dest.data(), room), 0);
    EXPECT_EQ(CMObjMpgSystemParser().getHeader(&s, dest.data(), room - 1), 0);
    EXPECT_EQ(dest, Bytes(header.size(), 0xEE));
    EXPECT_EQ(CMObjMpgSystemParser().getHeader(&s, dest.data(), room), room);
    EXPECT_EQ(dest, header);
}

TEST(StreamHeader, OtherStreamsGiveWhatTheyHave) {
    EXPECT_EQ(GetHeader(MpegBuilder().Picture().Sequence().Get()), Bytes());
    EXPECT_EQ(GetHeader(Bytes(70000, 0x55)), Bytes());
    const Bytes cut = MpegBuilder().Mpeg1Pack().SystemHeader({}).Add({0xC0, 0xE0}).Get();
    EXPECT_EQ(GetHeader(cut), cut) << "cut within the list of the system header";
}

Bytes Pat(unsigned pmtPid, int adaptation) {
    const Bytes section = {0, 0, 0xB0, 13, 0, 1, 0xC1, 0, 0, 0, 1};
    return MpegBuilder()
        .TransportPacket(0, true, Join({section, Big(0xE000U | pmtPid, 2)}), adaptation)
        .Get();
}

// In step and out of step, and wherever the reader's buffer ends. Without an adaptation field a PAT's PID is
// looked for four bytes too early, where this one has zeros.
TEST(StreamHeader, ATransportStreamGivesItsPatsAndPmt) {
    const Bytes other = MpegBuilder().TransportPacket(0x100, false, {}).Get(), unusable = Pat(0x1234, -1);
    const Bytes pmt = MpegBuilder().TransportPacket(0x1234, true, {1, 2, 3}).Get();
    for (int before = 0; before < 400; ++before) {
        const Bytes pat = Pat(0x1234, before % 151);
        const Bytes outOfStep(before % 3 == 0 ? static_cast<std::size_t>(before) : 0, 0xFF);
        ASSERT_EQ(
            GetHeader(Join({other, outOfStep, Repeat(other, before), unusable, pat, other, pat, pmt, other})),
            Join({pat, pat, pmt}))
            << before;
    }
    const Bytes pat = Pat(0x1234, 0);
    EXPECT_EQ(GetHeader(Join({other, pat, other, other})), pat) << "no PMT behind the PAT";
}

// Linear in the stream's length: it would take minutes if the header were copied for every kilobyte.
TEST(StreamHeader, AHostileStreamMayMakeItLongButNotSlow) {
    MpegBuilder b       = MpegBuilder().Mpeg1Pack().SystemHeader({0xE0});
    const Bytes failing = Packet(0xE0, {0x0F}, {});
    for (int i = 0; i < 2000000; ++i) b.Add(failing);
    EXPECT_GT(GetHeader(b.Get()).size(), 2000000U * 6);
}

class Searcher : public CMObjMpgSystemParser {
public:
    using CMObjMpgBaseParser::FindCode;
};

TEST(StreamHeader, SearchesLookAtSixtyFourThousandPlaces) {
    for (const auto& [gap, found] : {std::pair{7997U, 1}, {7998U, 0}}) {
        Bytes         bytes = Join({Bytes(gap, 0x55), {0, 0, 1, 0xB3, 0xFF}});
        CKivBitStream s;
        s.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size()) - 1);
        EXPECT_EQ(Searcher().FindCode(&s, 0x1B3, 16, 1), found) << gap;
    }
}

} // namespace
