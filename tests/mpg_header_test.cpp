// The extraction of stream headers: what is copied, what is left out, and where it stops.
#include "KivUtility.h"

#include "mpeg_builder.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

using test::Bytes;
using test::MpegBuilder;

Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

struct Header {
    int   result;
    Bytes bytes;
};

Header GetHeader(const Bytes& stream) {
    test::TempFolder     folder;
    CKivBitStream        s;
    CKivDynaBuffer       out("old", 3);
    CMObjMpgSystemParser parser;
    s.SourceFromFile(folder.Write("stream", stream).c_str());
    s.SkipBits(13); // wherever the stream stands
    const int result = parser.getHeader(&s, &out);
    return {result, Content(out)};
}

// The protected extractors, one at a time on a memory block.
class Extractor : public CMObjMpgBaseParser {
public:
    using Extract = int (CMObjMpgBaseParser::*)(CKivBitStream*, CKivDynaBuffer*);

    Header Run(Bytes stream, Extract extract) {
        CKivBitStream  s;
        CKivDynaBuffer out;
        stream.push_back(0);
        s.SourceFromBuffer(stream.data(), static_cast<int>(stream.size() - 1));
        const int result = (this->*extract)(&s, &out);
        return {result, Content(out)};
    }

    Header Video(const Bytes& stream) { return Run(stream, &Extractor::ExtractVideoPack); }

    Header Audio(const Bytes& stream) { return Run(stream, &Extractor::ExtractAudioPack); }

    Header Pack(const Bytes& stream) { return Run(stream, &Extractor::ExtractPackHeader); }

    Header Sequence(const Bytes& stream) { return Run(stream, &Extractor::ExtractSequenceHeader); }

    using CMObjMpgBaseParser::FindCode;
    using CMObjMpgBaseParser::FindPID4PMT;

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream*, int) override { return kKivFmt_Unknown; }
};

Bytes Join(std::initializer_list<Bytes> pieces) {
    MpegBuilder b;
    for (const Bytes& piece : pieces) b.Add(piece);
    return b.Get();
}

const Bytes kStamp = {0x21, 0, 1, 0, 1};
const Bytes kFrame = {0xFF, 0xFD, 0x90, 0x04};

TEST(StreamHeader, APackHeaderIsCopiedWithoutItsStuffing) {
    Extractor extractor;
    EXPECT_EQ(extractor.Pack(MpegBuilder().Mpeg1Pack().Fill(9).Get()).bytes, MpegBuilder().Mpeg1Pack().Get());
    EXPECT_EQ(extractor.Pack(MpegBuilder().Mpeg2Pack(5).Fill(9).Get()).bytes,
              MpegBuilder().Mpeg2Pack(0).Get());
    EXPECT_EQ(extractor.Pack(MpegBuilder().Code(0xBA).Fill(20).Get()).bytes, MpegBuilder().Code(0xBA).Get());
}

TEST(StreamHeader, ASequenceHeaderBringsItsMatricesAndExtensions) {
    Extractor extractor;
    for (const bool intra : {false, true}) {
        for (const bool nonIntra : {false, true}) {
            const Bytes sequence = MpegBuilder().Sequence(intra, nonIntra).Get();
            EXPECT_EQ(extractor.Sequence(MpegBuilder().Add(sequence).Group(0, 0, 0).Get()).bytes, sequence);
        }
    }
    const Bytes plainDisplay  = MpegBuilder().Code(0xB5).Add({0x2A, 1, 2, 3, 4}).Get();
    const Bytes colourDisplay = MpegBuilder().Code(0xB5).Add({0x2B, 1, 1, 1, 1, 2, 3, 4}).Get();
    const Bytes extension     = MpegBuilder().SequenceExtension().Get();
    const Bytes sequence      = MpegBuilder().Sequence().Get();
    const Bytes stuffed       = Join({sequence, {0, 0}, extension, {0}, colourDisplay, plainDisplay});
    EXPECT_EQ(extractor.Sequence(MpegBuilder().Add(stuffed).Picture().Add(extension).Get()).bytes,
              Join({sequence, extension, colourDisplay, plainDisplay}));
    const Bytes other = MpegBuilder().Code(0xB5).Add({0x3F, 7, 7}).Get(); // of an unknown one only the code
    EXPECT_EQ(extractor.Sequence(Join({sequence, other})).bytes, Join({sequence, {0, 0, 1, 0xB5}}));
}

TEST(StreamHeader, AVideoPacketEndsWithItsSequenceHeaderAndSaysSo) {
    Extractor   extractor;
    const Bytes sequence = MpegBuilder().Sequence().Get();
    const auto  packet   = [](const Bytes& header) {
        return MpegBuilder().Code(0xE0).Add({0x12, 0x34}).Add(header);
    };
    const auto expected = [&](const Bytes& header) {
        Bytes bytes = packet(header).Add(sequence).Get();
        bytes[4]    = 0;
        bytes[5]    = static_cast<unsigned char>(bytes.size() - 6);
        return bytes;
    };
    const Bytes buffered = Join({{0x60, 0x2E}, kStamp});
    const Bytes both     = {0x31, 0, 1, 0, 1, 0x11, 0, 1, 0, 1};
    for (const Bytes& header : {kStamp, buffered, both}) {
        EXPECT_EQ(extractor.Video(packet(header).Fill(40).Add(sequence).Get()).bytes, expected(header));
        EXPECT_EQ(extractor.Video(packet(Join({Bytes(511, 0xFF), header})).Add(sequence).Get()).bytes,
                  expected(header));
    }
    const Bytes mpeg2 = {0x81, 0x80, 5, 0x21, 0, 1, 0, 1, 0xFF};
    EXPECT_EQ(extractor.Video(packet(mpeg2).Add(sequence).Get()).bytes, expected(mpeg2));
    EXPECT_EQ(extractor.Video(packet({0x0F}).Add(sequence).Get()).result, 0) << "no time stamp";
    EXPECT_EQ(extractor.Video(packet(Join({Bytes(512, 0xFF), kStamp})).Add(sequence).Get()).result, 0);
    EXPECT_EQ(extractor.Video(packet(kStamp).Fill(64000).Add(sequence).Get()).bytes.size(), 6 + kStamp.size())
        << "a sequence header too far away is left out";
}

TEST(StreamHeader, AnAudioPacketEndsWithItsFirstFrameHeader) {
    Extractor  extractor;
    const auto packet = [](const Bytes& header) {
        return MpegBuilder().Code(0xC0).Add({0x12, 0x34}).Add(header).Add(kFrame).Fill(9);
    };
    const auto expected = [](const Bytes& header) {
        return MpegBuilder()
            .Code(0xC0)
            .Add({0, static_cast<int>(header.size() + 4)})
            .Add(header)
            .Add(kFrame)
            .Get();
    };
    const Bytes mpeg2 = {0x81, 0x80, 5, 0x21, 0, 1, 0, 1, 0xFF, 0xFF}; // FF FF is no frame yet
    EXPECT_EQ(extractor.Audio(packet(kStamp).Get()).bytes, expected(kStamp));
    EXPECT_EQ(extractor.Audio(packet(Join({{0xFF, 0xFF}, kStamp})).Get()).bytes, expected(kStamp));
    const Bytes last(mpeg2.begin(), mpeg2.end() - 1); // its last FF and the frame's first make no sync either
    EXPECT_EQ(extractor.Audio(packet(mpeg2).Get()).bytes, expected(mpeg2));
    EXPECT_EQ(extractor.Audio(packet({0x0F}).Get()).result, 0);
}

TEST(StreamHeader, AWholeProgramStreamGivesOnePacketOfEachStream) {
    const Bytes sequence = MpegBuilder().Sequence().SequenceExtension().Get();
    const Bytes systems  = MpegBuilder().SystemHeader({0xC1, 0xBD, 0xE2}).Get();
    const auto  video    = [&](int length) {
        return MpegBuilder().Code(0xE2).Add({0, length}).Add(kStamp).Add(sequence).Get();
    };
    const auto audio = [&](int id, int length) {
        return MpegBuilder().Code(id).Add({0, length}).Add(kStamp).Add(kFrame).Get();
    };
    const Bytes stream = MpegBuilder()
                             .Fill(3, 0)
                             .Mpeg2Pack(3)
                             .Add(systems)
                             .Add(systems)
                             .Add(MpegBuilder().Code(0xE2).Add({0, 1, 0x0F}).Get()) // fails: not taken
                             .Add(audio(0xC0, 99))
                             .Add(audio(0xC1, 99))
                             .Fill(300)
                             .Mpeg2Pack()
                             .Add(systems)
                             .Add(video(99))
                             .Add(video(99))
                             .Get();
    const Header header = GetHeader(stream);
    EXPECT_EQ(header.result, 1);
    const Bytes failed = {0, 0, 1, 0xE2, 0, 1};
    const int   length = static_cast<int>(kStamp.size() + sequence.size());
    EXPECT_EQ(header.bytes, Join({MpegBuilder().Mpeg2Pack().Get(), systems, systems, failed, audio(0xC1, 9),
                                  video(length)}));

    CKivBitStream s;
    Bytes         block = Join({stream, {0}});
    Bytes         dest(header.bytes.size(), 0xEE);
    s.SourceFromBuffer(block.data(), static_cast<int>(stream.size()));
    CMObjMpgSystemParser parser;
    EXPECT_EQ(parser.getHeader(&s, dest.data(), static_cast<int>(dest.size()) - 1), 0);
    EXPECT_EQ(dest[0], 0xEE);
    EXPECT_EQ(parser.getHeader(&s, dest.data(), static_cast<int>(dest.size())),
              static_cast<int>(dest.size()));
    EXPECT_EQ(dest, header.bytes);
    CMObjMpgTransportParser transport;
    EXPECT_EQ(transport.getHeader(&s, dest.data(), static_cast<int>(dest.size())), 0);
}

TEST(StreamHeader, OtherStreamsGiveWhatTheyHave) {
    EXPECT_EQ(GetHeader(MpegBuilder().Fill(9, 0x55).Sequence().Picture().Get()).bytes,
              MpegBuilder().Sequence().Get());
    EXPECT_EQ(GetHeader(MpegBuilder().Fill(9, 0x55).Picture().Sequence().Get()).result, 0);
    EXPECT_EQ(GetHeader(MpegBuilder().Mpeg1Pack().Fill(70000).Get()).bytes, MpegBuilder().Mpeg1Pack().Get());
    EXPECT_EQ(GetHeader({}).result, 0);
    EXPECT_EQ(GetHeader(Bytes(70000, 0x55)).result, 0);
    // cut within the list of the system header: what is there
    const Bytes cut = MpegBuilder().Mpeg1Pack().SystemHeader({}).Add({0xC0, 0xE0}).Get();
    EXPECT_EQ(GetHeader(cut).bytes, cut);
}

// A PAT whose adaptation field moves the PID of the PMT, then packets up to the PMT, wherever the reader's
// buffer ends.
TEST(StreamHeader, ATransportStreamGivesItsPatAndPmt) {
    const auto pat = [](unsigned pid, int adaptation) {
        const Bytes section = {0,
                               0,
                               0xB0,
                               13,
                               0,
                               1,
                               0xC1,
                               0,
                               0,
                               0,
                               1,
                               static_cast<unsigned char>(0xE0 | pid >> 8),
                               static_cast<unsigned char>(pid)};
        return MpegBuilder().TransportPacket(0, true, section, adaptation).Get();
    };
    const Bytes pmt   = MpegBuilder().TransportPacket(0x1234, true, {1, 2, 3}).Get();
    const Bytes other = MpegBuilder().TransportPacket(0x100, false, {}).Get();
    Extractor   extractor;
    for (const int adaptation : {-1, 0, 7, 150}) {
        Bytes         packet = Join({pat(0x1234, adaptation), {0}});
        CKivBitStream s;
        unsigned long pid = 99;
        s.SourceFromBuffer(packet.data(), 188);
        // without an adaptation field the PID is looked for four bytes too early, where this PAT has zeros
        EXPECT_EQ(extractor.FindPID4PMT(&s, nullptr, pid), adaptation < 0 ? 0 : 1);
        EXPECT_EQ(pid, adaptation < 0 ? 0U : 0x1234U);
    }
    for (std::size_t before = 0; before < 400; ++before) {
        MpegBuilder b;
        b.Add(other);
        if (before % 3 == 0) b.Fill(before); // out of step
        for (std::size_t i = 0; i < before; ++i) b.Add(other);
        b.Add(pat(0x1234, -1)).Add(pat(0x1234, 7)).Add(other).Add(pat(0x1234, 7)).Add(pmt).Add(other);
        const Header header = GetHeader(b.Get());
        ASSERT_EQ(header.bytes, Join({pat(0x1234, 7), pat(0x1234, 7), pmt})) << before;
    }
    EXPECT_EQ(GetHeader(Join({other, pat(0x1234, 0), other, other})).bytes, pat(0x1234, 0))
        << "no PMT behind the PAT";
    EXPECT_EQ(GetHeader(Join({other, other, other, other})).result, 0);
}

TEST(StreamHeader, SearchesLookAtSixtyFourThousandPlaces) {
    Extractor extractor;
    for (const auto& [gap, bits, step, code, found] : {std::tuple{63999, 32, 8, 0x1B3UL, 1},
                                                       {64000, 32, 8, 0x1B3UL, 0},
                                                       {63999, 24, 8, 1UL, 1},
                                                       {64000, 24, 8, 1UL, 0},
                                                       {7997, 16, 1, 0x1B3UL, 1},
                                                       {7998, 16, 1, 0x1B3UL, 0}}) {
        Bytes bytes = MpegBuilder().Fill(static_cast<std::size_t>(gap), 0x55).Code(0xB3).Fill(4).Get();
        CKivBitStream s;
        s.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size()) - 1);
        EXPECT_EQ(extractor.FindCode(&s, code, bits, step), found) << gap << ' ' << bits;
    }
}

} // namespace
