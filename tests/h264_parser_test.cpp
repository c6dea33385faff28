// H.264 and AVS elementary streams: what counts as a frame, how fast frames follow, what is no such stream.
#include "media.h"

#include <cstdint>

namespace {

using namespace test;

// Writes fields, most significant bit first.
class Bits {
public:
    Bits& Put(int n, unsigned value) {
        m_bytes.resize((m_size + static_cast<std::size_t>(n) + 7) / 8);
        KivSetBufferBits(m_bytes.data(), m_size, n, value);
        m_size += static_cast<std::size_t>(n);
        return *this;
    }

    Bits& Flags(std::string_view zerosAndOnes) {
        for (const char c : zerosAndOnes) Put(1, c == '1' ? 1 : 0);
        return *this;
    }

    // ue(v); below 2^32 - 1
    Bits& Golomb(unsigned value) {
        int length = 0;
        while ((value + 1) >> length > 1) ++length;
        return (length > 0 ? Put(length, 0) : *this).Put(length + 1, value + 1);
    }

    const Bytes& Get() const { return m_bytes; }

private:
    Bytes       m_bytes;
    std::size_t m_size = 0;
};

Bytes Code(int value) { return Join({{0, 0, 1}, {static_cast<unsigned char>(value)}}); }

// A NAL unit with its emulation prevention.
Bytes Nal(int header, const Bits& bits) {
    Bytes nal = Code(header);
    for (const unsigned char byte : Join({bits.Get(), {0x80}})) {
        if (nal.size() > 5 && byte <= 3 && nal.back() == 0 && nal[nal.size() - 2] == 0) nal.push_back(3);
        nal.push_back(byte);
    }
    return nal;
}

struct Sps {
    unsigned    profile = 66, level = 30, number = 0;
    const char* chroma      = "";    // what a high profile adds
    unsigned    order       = 2;     // pic_order_cnt_type
    unsigned    widthLess1  = 10;    // in macroblocks
    bool        fields      = false; // may be pictures
    unsigned    cropRight   = 0;     // in units of 2
    bool        hasTime     = true;
    const char* beforeTime  = "00001"; // of the usability information, up to timing_info_present_flag
    unsigned    unitsInTick = 1, timeScale = 100;

    Bytes Get() const {
        Bits bits;
        bits.Put(8, profile).Put(8, 0).Put(8, level).Golomb(number).Flags(chroma);
        bits.Golomb(0).Golomb(order);
        if (order == 0) bits.Golomb(2);
        if (order == 1) {
            bits.Flags("0").Golomb(70000).Golomb(1).Golomb(255);
            for (unsigned i = 0; i < 255; ++i) bits.Golomb(i * 1000);
        }
        bits.Golomb(1).Flags("0").Golomb(widthLess1).Golomb(8).Flags(fields ? "00" : "1").Flags("1");
        bits.Flags(cropRight != 0 ? "1" : "0");
        if (cropRight != 0) bits.Golomb(0).Golomb(cropRight).Golomb(0).Golomb(0);
        bits.Flags(hasTime ? "1" : "0");
        if (hasTime) {
            bits.Flags(beforeTime).Put(32, unitsInTick).Put(32, timeScale).Flags("1000000");
        }
        return Nal(0x67, bits);
    }
};

Bytes Pps(unsigned number = 0, unsigned sequence = 0) {
    return Nal(0x68, Bits().Golomb(number).Golomb(sequence).Flags("0011"));
}

// frame_num has 4 bits; `fields` are field_pic_flag and bottom_field_flag, where the sequence has them.
Bytes Slice(unsigned firstMacroblock = 0, unsigned frameNum = 0, const char* fields = "", unsigned pps = 0,
            int header = 0x41) {
    return Nal(
        header,
        Bits().Golomb(firstMacroblock).Golomb(7).Golomb(pps).Put(4, frameNum).Flags(fields).Put(32, 0xFFFF));
}

struct Film {
    int              type    = 0;
    unsigned long    frames  = 0;
    float            seconds = 0;
    KivMeasureOrigin origin  = kKivOrigin_None; // of the seconds

    bool operator==(const Film&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Film& f) {
        return out << f.type << ": " << f.frames << " frames, " << f.seconds << " s, " << f.origin;
    }
};

Film Read(Bytes bytes, const char* name = nullptr) {
    bytes.push_back(0); // the spare byte of a block
    const auto      size = static_cast<int>(bytes.size() - 1);
    CKivBitStream   stream, again;
    CMObjH264Parser parser, quick;
    parser.SetFileName(name);
    quick.SetFileName(name);
    stream.SourceFromBuffer(bytes.data(), size);
    again.SourceFromBuffer(bytes.data(), size);
    const int type = parser.ParseFile(&stream);
    EXPECT_EQ(type, quick.QuickCheck(&again)) << "quick and full disagree";
    EXPECT_EQ(type, parser.GetMediaType());
    return {type, parser.GetFrames(), parser.GetDuration(), parser.GetDurationOrigin()};
}

Bytes Stream(const Sps& sps, const Bytes& pictures = Repeat(Slice(), 50)) {
    return Join({sps.Get(), Pps(), pictures});
}

constexpr Film kOneSecond{kKivFmt_H264Mp4, 50, 1, kKivOrigin_Counted};
constexpr Film kAssumed{kKivFmt_H264Mp4, 50, 2, kKivOrigin_Estimated};

TEST(H264Parser, TakesTheRateFromTheSequenceParameters) {
    EXPECT_EQ(Read(Stream({})), kOneSecond);
    EXPECT_EQ(Read(Stream({.level = 62, .order = 1, .cropRight = 8})), kOneSecond);
    EXPECT_EQ(Read(Stream({.profile = 100,
                           .chroma  = ("010"
                                       "11"
                                       "0"
                                       "1"
                                       "1"
                                       "1111111111111111"
                                       "0000000")})),
              kOneSecond);
    EXPECT_EQ(Read(Stream({.profile = 244,
                           .chroma  = ("00100"
                                       "0"
                                       "11"
                                       "0"
                                       "1"
                                       "1"
                                       "000010001"
                                       "00000000000")})),
              kOneSecond)
        << "4:4:4 has four lists more; a list ends at the delta -8";
    EXPECT_EQ(Read(Stream({.beforeTime = "1"
                                         "11111111"
                                         "00000000000000010000000000000001"
                                         "11"
                                         "1"
                                         "1010"
                                         "1"
                                         "000000000000000000000001"
                                         "1"
                                         "11"
                                         "1"})),
              kOneSecond);
    EXPECT_EQ(Read(Stream({.unitsInTick = 1001, .timeScale = 60000})).seconds, 50 * 1001 / 30000.F);
    // not told, told as what no level allows, told as nothing
    for (const Sps& sps :
         {Sps{.hasTime = false}, Sps{.timeScale = 602}, Sps{.timeScale = 0}, Sps{.unitsInTick = 0}})
        EXPECT_EQ(Read(Stream(sps)), kAssumed);
    EXPECT_EQ(Read(Stream({.timeScale = 600})).seconds, 50 / 300.F);
    // joined films each run at their own rate, whichever parameter sets they use
    EXPECT_EQ(Read(Join({Stream({}), Stream({.timeScale = 50})})).seconds, 3);
    const Bytes second = Join({Sps{.number = 31, .timeScale = 50}.Get(), Pps(255, 31)});
    EXPECT_EQ(Read(Join({second, Stream({}), Repeat(Slice(0, 0, "", 255), 50)})).seconds, 3);
}

TEST(H264Parser, CountsPicturesNotSlicesAndPairsOfFieldsOnce) {
    const Sps  frames{}, fields{.fields = true};
    const auto count = [](const Sps& sps, const Bytes& pictures) {
        return Read(Stream(sps, pictures)).frames;
    };
    EXPECT_EQ(count(frames, Join({Slice(), Slice(1), Slice(40), Slice(0, 1, "", 0, 0x65), Slice(7, 1)})), 2U);
    EXPECT_EQ(count(frames, Join({Slice(0, 0, "", 0, 0x42), Code(0x43), Code(0x44), Code(0x09), Code(0x06)})),
              1U);
    EXPECT_EQ(count(frames, Join({Slice(), Slice(0, 0, "", 9)})), 1U) << "without its picture parameters";
    const Bytes top = Slice(0, 3, "10"), bottom = Slice(0, 3, "11");
    EXPECT_EQ(count(fields, Join({top, Slice(5, 3, "10"), bottom, bottom, top})), 2U);
    EXPECT_EQ(count(fields, Join({top, bottom, top, bottom, top})), 3U);
    EXPECT_EQ(count(fields, Join({top, top})), 2U);
    EXPECT_EQ(count(fields, Join({top, Slice(0, 4, "11")})), 2U) << "of two frames";
    EXPECT_EQ(count(fields, Join({top, Slice(0, 3, "0"), bottom})), 3U) << "a frame between";
}

TEST(H264Parser, RefusesWhatIsNoSuchStream) {
    const Bytes good = Stream({});
    for (const Sps& sps :
         {Sps{.profile = 67}, Sps{.level = 8}, Sps{.level = 63}, Sps{.number = 32}, Sps{.order = 3},
          Sps{.widthLess1 = 1055}, Sps{.cropRight = 88}, Sps{.number = 0xFFFFFFFE}})
        EXPECT_EQ(Read(Stream(sps)), Film{});
    for (const int code : {0x00, 0xB3, 0xBA, 0xB8, 0xE0, 0x80, 0x40})
        EXPECT_EQ(Read(Join({Code(code), good})), Film{});
    EXPECT_EQ(Read(Join({Pps(), Slice(), Sps{}.Get()})), Film{}) << "no slice behind the parameters";
    EXPECT_EQ(Read(Join({Sps{}.Get(), Slice()})), Film{});
    EXPECT_EQ(Read(Join({Bytes(4096), good})), kOneSecond) << "leading zeros";
    EXPECT_EQ(Read(Join({Bytes(4097), good})), Film{});
    EXPECT_EQ(Read(Join({{1}, good})), Film{}) << "some file that holds a stream";
    EXPECT_EQ(Read(Join({Bytes(9999, 1), Slice(), good}), "none/cut.264"), kOneSecond) << "cut at its front";
    EXPECT_EQ(Read(Join({Bytes((1 << 20) + 1, 1), good}), "none/late.264"), Film{});
}

// A file is read in pieces, whose borders cut start codes.
TEST(H264Parser, FindsStartCodesAcrossThePiecesOfAFile) {
    const TempFolder folder;
    CKivBitStream    file;
    CMObjH264Parser  parser;
    file.SourceFromFile(folder.Write("a.264", Stream({}, Repeat(Slice(), 100000))).c_str());
    EXPECT_EQ(parser.ParseFile(&file), kKivFmt_H264Mp4);
    EXPECT_EQ(parser.GetFrames(), 100000U);
}

// Cut anywhere, and with lying counts: read as far as it goes, or refused.
TEST(H264Parser, BearsCutsAndRunsOfZeros) {
    const Bytes whole = Stream({.profile = 100,
                                .chroma  = "010"
                                           "11"
                                           "0"
                                           "0",
                                .order   = 1},
                               Slice());
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const Film film = Read(First(whole, size));
        ASSERT_TRUE(film == Film{} || (film.frames <= 1 && size + 8 > whole.size())) << size << ": " << film;
    }
    for (std::size_t at = 4; at < whole.size(); ++at) Read(With(whole, at, Bytes(whole.size() - at)));
    Read(Repeat(Code(0x67), 20000));
    Read(Join({whole, Repeat(Code(0x67), 20000), Repeat(Code(0x41), 20000)}));
}

struct Avs {
    unsigned profile = 0x20, chroma = 1, precision = 1, aspect = 1, rate = 3, markers = 3;

    Bytes Get() const {
        Bits bits;
        bits.Put(8, profile)
            .Put(8, 0x40)
            .Put(1, 1)
            .Put(14, 720)
            .Put(14, 576)
            .Put(2, chroma)
            .Put(3, precision);
        bits.Put(4, aspect)
            .Put(4, rate)
            .Put(18, 5000)
            .Put(1, markers >> 1)
            .Put(12, 0)
            .Put(1, 0)
            .Put(1, markers & 1)
            .Put(18, 99);
        return Join({Code(0xB0), bits.Put(3, 0).Get()});
    }
};

Bytes AvsPicture(int code) {
    return Join({Code(code), Bytes(9, 0x5A), Code(0), Bytes(5, 7), Code(0xAF), Bytes(5, 7)});
}

TEST(AvsParser, CountsPictureHeaders) {
    const Bytes group = Join({AvsPicture(0xB3), Code(0xB5), Bytes(4, 9), Repeat(AvsPicture(0xB6), 24)});
    EXPECT_EQ(Read(Join({Avs{}.Get(), group, Code(0xB1)})), (Film{kKivFmt_Avs, 25, 1, kKivOrigin_Counted}));
    EXPECT_EQ(Read(Join({Avs{.rate = 6}.Get(), group, Avs{}.Get(), group})).seconds, 1.5F);
    for (const Avs& bad :
         {Avs{.profile = 0}, Avs{.chroma = 0}, Avs{.chroma = 3}, Avs{.precision = 2}, Avs{.aspect = 0},
          Avs{.rate = 0}, Avs{.rate = 9}, Avs{.markers = 1}, Avs{.markers = 2}})
        EXPECT_EQ(Read(Join({bad.Get(), group})), Film{});
    EXPECT_EQ(Read(group), Film{}) << "MPEG video's codes, and no sequence header";
    EXPECT_EQ(Read(Join({Avs{}.Get(), Code(0xB3)})), Film{}) << "no slice";
    for (const int code : {0xB4, 0xB8, 0xBA, 0xE0})
        EXPECT_EQ(Read(Join({Avs{}.Get(), Code(code), group})), Film{});
    // MPEG-4 visual: its sequence and picture codes are the same
    const Bytes visual =
        Join({Code(0xB0), {1}, Code(0xB5), {9}, Code(0), Code(0x20), Bytes(9, 1), Code(0xB3), Code(0xB6)});
    EXPECT_EQ(Read(Join({visual, Bytes(50, 1), Code(0xB6), Bytes(50, 1)})), Film{});
}

} // namespace
