// The extraction of stream headers: what is copied, what is left out, and where it stops.
#include "KivUtility.h"

#include "media.h"
#include "mpeg_builder.h"

#include <gtest/gtest.h>

namespace {

using test::Bytes;
using test::Join;
using test::MpegBuilder;

Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

Bytes GetHeader(const Bytes& stream) {
    static const test::TempFolder folder;
    CKivBitStream                 s;
    CKivDynaBuffer                out("old", 3);
    s.SourceFromFile(folder.Write("stream", stream).c_str());
    s.SkipBits(13); // wherever the stream stands
    const int result = CMObjMpgSystemParser().getHeader(&s, &out);
    EXPECT_EQ(result, out.GetSize() != 0 ? 1 : 0);
    return Content(out);
}

// The protected extractors, one at a time on a memory block. A failure gives what was copied and a mark.
const Bytes kFailed = {'f', 'a', 'i', 'l', 'e', 'd'};

class Extractor : public CMObjMpgBaseParser {
public:
    using Extract = int (CMObjMpgBaseParser::*)(CKivBitStream*, CKivDynaBuffer*);

    Bytes Run(const MpegBuilder& stream, Extract extract) {
        Bytes          block = Join({stream.Get(), {0}});
        CKivBitStream  s;
        CKivDynaBuffer out;
        s.SourceFromBuffer(block.data(), static_cast<int>(stream.Size()));
        return (this->*extract)(&s, &out) != 0 ? Content(out) : Join({Content(out), kFailed});
    }

    Bytes Video(const MpegBuilder& stream) { return Run(stream, &Extractor::ExtractVideoPack); }

    Bytes Audio(const MpegBuilder& stream) { return Run(stream, &Extractor::ExtractAudioPack); }

    Bytes Pack(const MpegBuilder& stream) { return Run(stream, &Extractor::ExtractPackHeader); }

    Bytes Sequence(const MpegBuilder& stream) { return Run(stream, &Extractor::ExtractSequenceHeader); }

    using CMObjMpgBaseParser::FindCode;
    using CMObjMpgBaseParser::FindPID4PMT;

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream*, int) override { return kKivFmt_Unknown; }
};

const Bytes kStamp       = {0x21, 0, 1, 0, 1};
const Bytes kMpeg2Header = {0x81, 0x80, 5, 0x21, 0, 1, 0, 1, 0xFF};
const Bytes kFrame       = {0xFF, 0xFD, 0x90, 0x04};

// A packet whose length is told as it is, or as `length`.
Bytes Packet(int id, const Bytes& header, const Bytes& payload, int length = -1) {
    const auto bytes = static_cast<int>(header.size() + payload.size());
    return MpegBuilder().Code(id).Add({0, length < 0 ? bytes : length}).Add(header).Add(payload).Get();
}

TEST(StreamHeader, APackHeaderIsCopiedWithoutItsStuffing) {
    Extractor extractor;
    EXPECT_EQ(extractor.Pack(MpegBuilder().Mpeg1Pack().Fill(9)), MpegBuilder().Mpeg1Pack().Get());
    EXPECT_EQ(extractor.Pack(MpegBuilder().Mpeg2Pack(5).Fill(9)), MpegBuilder().Mpeg2Pack(0).Get());
    EXPECT_EQ(extractor.Pack(MpegBuilder().Code(0xBA).Fill(20)), MpegBuilder().Code(0xBA).Get());
}

TEST(StreamHeader, ASequenceHeaderBringsItsMatricesAndExtensions) {
    Extractor extractor;
    for (const auto& [intra, nonIntra] :
         {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
        const MpegBuilder sequence = MpegBuilder().Sequence(intra, nonIntra);
        EXPECT_EQ(extractor.Sequence(MpegBuilder(sequence).Group(0, 0, 0)), sequence.Get());
    }
    const Bytes sequence  = MpegBuilder().Sequence().Get();
    const Bytes extension = MpegBuilder().SequenceExtension().Get();
    const Bytes plain     = MpegBuilder().Code(0xB5).Add({0x2A, 1, 2, 3, 4}).Get(); // display extensions
    const Bytes colour    = MpegBuilder().Code(0xB5).Add({0x2B, 1, 1, 1, 1, 2, 3, 4}).Get();
    const Bytes other     = MpegBuilder().Code(0xB5).Get(); // of an unknown one only the code is taken
    EXPECT_EQ(extractor.Sequence(MpegBuilder()
                                     .Add(Join({sequence, {0, 0}, extension, {0}, colour, plain, other}))
                                     .Add({0x3F, 7})
                                     .Picture()
                                     .Add(extension)),
              Join({sequence, extension, colour, plain, other}));
}

TEST(StreamHeader, APacketEndsWithItsFirstSequenceOrFrameHeaderAndSaysSo) {
    Extractor   extractor;
    const Bytes sequence = MpegBuilder().Sequence().Get();
    const Bytes buffered = Join({{0x60, 0x2E}, kStamp});
    const Bytes both     = {0x31, 0, 1, 0, 1, 0x11, 0, 1, 0, 1};
    for (const Bytes& header : {kStamp, buffered, both, kMpeg2Header}) {
        for (const std::size_t stuffing : {0U, 511U}) {
            const Bytes stuffed = Join({Bytes(stuffing, 0xFF), header});
            EXPECT_EQ(extractor.Video(MpegBuilder().Add(Packet(0xE0, stuffed, sequence, 99)).Fill(9)),
                      Packet(0xE0, header, sequence));
            EXPECT_EQ(extractor.Audio(MpegBuilder().Add(Packet(0xC0, stuffed, kFrame, 99)).Fill(9)),
                      Packet(0xC0, header, kFrame));
        }
    }
    // what lies between the header and the sequence header is left out, and a sequence header too far away
    EXPECT_EQ(extractor.Video(MpegBuilder().Add(Packet(0xE0, kStamp, Join({{5, 5}, sequence})))),
              Packet(0xE0, kStamp, sequence));
    EXPECT_EQ(extractor.Video(MpegBuilder().Add(Packet(0xE0, kStamp, {})).Fill(64000).Add(sequence)),
              Packet(0xE0, kStamp, {}));
    for (const Bytes& bad : {Bytes{0x0F}, Bytes(512, 0xFF)}) { // no time stamp; too much stuffing
        EXPECT_EQ(extractor.Video(MpegBuilder().Add(Packet(0xE0, bad, sequence, 7))),
                  Join({Packet(0xE0, {}, {}, 7), kFailed}));
        EXPECT_EQ(extractor.Audio(MpegBuilder().Add(Packet(0xC0, bad, kStamp, 7))),
                  Join({Packet(0xC0, {}, {}, 7), kFailed}));
    }
}

TEST(StreamHeader, AWholeProgramStreamGivesOnePacketOfEachStream) {
    const Bytes sequence = MpegBuilder().Sequence().SequenceExtension().Get();
    const Bytes systems  = MpegBuilder().SystemHeader({0xC1, 0xBD, 0xE2}).Get();
    const Bytes failing  = Packet(0xE2, {0x0F}, {}); // not taken
    const Bytes video    = Packet(0xE2, kStamp, sequence);
    const Bytes audio    = Packet(0xC1, kStamp, kFrame);
    const Bytes stream   = Join({{0, 0},
                                 MpegBuilder().Mpeg2Pack(3).Get(),
                                 systems,
                                 systems,
                                 failing,
                                 Packet(0xC0, kStamp, kFrame),
                                 audio,
                                 Bytes(300, 0xFF),
                                 systems,
                                 video,
                                 video});
    const Bytes header =
        Join({MpegBuilder().Mpeg2Pack().Get(), systems, systems, Packet(0xE2, {}, {}, 1), audio, video});
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
    const Bytes pack = MpegBuilder().Mpeg1Pack().Get(), sequence = MpegBuilder().Sequence().Get();
    EXPECT_EQ(GetHeader(Join({{5, 5}, sequence, pack})), sequence);
    EXPECT_EQ(GetHeader(MpegBuilder().Picture().Sequence().Get()), Bytes());
    EXPECT_EQ(GetHeader(Join({pack, Bytes(70000, 0xFF)})), pack);
    EXPECT_EQ(GetHeader(Bytes(70000, 0x55)), Bytes());
    const Bytes cut = MpegBuilder().Mpeg1Pack().SystemHeader({}).Add({0xC0, 0xE0}).Get();
    EXPECT_EQ(GetHeader(cut), cut) << "cut within the list of the system header";
}

Bytes Pat(unsigned pmtPid, int adaptation) {
    const Bytes section = {0, 0, 0xB0, 13, 0, 1, 0xC1, 0, 0, 0, 1};
    return MpegBuilder()
        .TransportPacket(0, true, Join({section, test::Big(0xE000U | pmtPid, 2)}), adaptation)
        .Get();
}

TEST(StreamHeader, APatTellsThePidOfThePmtBehindAnAdaptationField) {
    for (const int adaptation : {-1, 0, 7, 150}) {
        Bytes         packet = Join({Pat(0x1234, adaptation), {0}});
        CKivBitStream s;
        unsigned long pid = 99;
        s.SourceFromBuffer(packet.data(), 188);
        // without an adaptation field the PID is looked for four bytes too early, where this PAT has zeros
        EXPECT_EQ(Extractor().FindPID4PMT(&s, nullptr, pid), adaptation < 0 ? 0 : 1);
        EXPECT_EQ(pid, adaptation < 0 ? 0U : 0x1234U);
    }
}

// In step and out of step, and wherever the reader's buffer ends.
TEST(StreamHeader, ATransportStreamGivesItsPatsAndPmt) {
    const Bytes pat = Pat(0x1234, 7), other = MpegBuilder().TransportPacket(0x100, false, {}).Get();
    const Bytes pmt = MpegBuilder().TransportPacket(0x1234, true, {1, 2, 3}).Get();
    for (std::size_t before = 0; before < 400; ++before) {
        MpegBuilder b;
        b.Add(other).Fill(before % 3 == 0 ? before : 0);
        for (std::size_t i = 0; i < before; ++i) b.Add(other);
        b.Add(Join({Pat(0x1234, -1), pat, other, pat, pmt, other}));
        ASSERT_EQ(GetHeader(b.Get()), Join({pat, pat, pmt})) << before;
    }
    EXPECT_EQ(GetHeader(Join({other, pat, other, other})), pat) << "no PMT behind the PAT";
}

// Linear in the stream's length: it would take minutes if the header were copied for every kilobyte.
TEST(StreamHeader, AHostileStreamMayMakeItLongButNotSlow) {
    MpegBuilder b       = MpegBuilder().Mpeg1Pack().SystemHeader({0xE0});
    const Bytes failing = Packet(0xE0, {0x0F}, {});
    for (int i = 0; i < 2000000; ++i) b.Add(failing);
    EXPECT_GT(GetHeader(b.Get()).size(), 2000000U * 6);
}

TEST(StreamHeader, SearchesLookAtSixtyFourThousandPlaces) {
    for (const auto& [gap, bits, step, code, found] : {std::tuple{63999, 32, 8, 0x1B3UL, 1},
                                                       {64000, 24, 8, 1UL, 0},
                                                       {7997, 16, 1, 0x1B3UL, 1},
                                                       {7998, 16, 1, 0x1B3UL, 0}}) {
        Bytes bytes = MpegBuilder().Fill(static_cast<std::size_t>(gap), 0x55).Code(0xB3).Fill(4).Get();
        CKivBitStream s;
        s.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size()) - 1);
        EXPECT_EQ(Extractor().FindCode(&s, code, bits, step), found) << gap << ' ' << bits;
    }
}

} // namespace
