// H.264 and AVS elementary streams: what counts as a frame, how fast frames follow, what is no such stream.
#include "measured.h"

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

    // Zeros and ones, of which spaces set fields apart.
    Bits& Flags(std::string_view flags) {
        for (const char c : flags) {
            if (c != ' ') Put(1, c == '1' ? 1 : 0);
        }
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
        if (order == 1) {
            bits.Flags("0").Golomb(70000).Golomb(1).Golomb(255);
            for (unsigned i = 0; i < 255; ++i) bits.Golomb(i * 1000);
        }
        bits.Golomb(1).Flags("0").Golomb(widthLess1).Golomb(8).Flags(fields ? "00" : "1").Flags("1");
        bits.Flags(cropRight != 0 ? "1" : "0");
        if (cropRight != 0) bits.Golomb(0).Golomb(cropRight).Golomb(0).Golomb(0);
        bits.Flags(hasTime ? "1" : "0");
        if (hasTime) bits.Flags(beforeTime).Put(32, unitsInTick).Put(32, timeScale).Flags("1000000");
        return Nal(0x67, bits);
    }
};

Bytes Pps(unsigned number = 0, unsigned sequence = 0) {
    return Nal(0x68, Bits().Golomb(number).Golomb(sequence).Flags("0011"));
}

// frame_num has 4 bits; `fields` are field_pic_flag and bottom_field_flag, where the sequence has them.
Bytes Slice(unsigned firstMacroblock = 0, unsigned frameNum = 0, const char* fields = "", unsigned pps = 0,
            int header = 0x41) {
    const Bits begin = Bits().Golomb(firstMacroblock).Golomb(7).Golomb(pps).Put(4, frameNum);
    return Nal(header, Bits(begin).Flags(fields).Put(32, 0xFFFF));
}

const auto kExpect = ExpectMeasured<CMObjH264Parser>;

Bytes Stream(const Sps& sps, const Bytes& pictures = Repeat(Slice(), 50)) {
    return Join({sps.Get(), Pps(), pictures});
}

const std::string kNone = "0: 0 none, 0 none", kOneSecond = "18: 50 counted, 1 counted";

TEST(H264Parser, TakesTheRateFromTheSequenceParameters) {
    const std::string kAssumed = "18: 50 counted, 2 estimated";
    const Bytes       second   = Join({Sps{.number = 31, .timeScale = 50}.Get(), Pps(255, 31)});
    kExpect({
        {Stream({.level = 62, .order = 1, .cropRight = 8}), kOneSecond},
        {Stream({.profile = 100, .chroma = "010 11 0 1 1 1111111111111111 0000000"}), kOneSecond},
        // 4:4:4 has four lists more; a list ends at the delta -8
        {Stream({.profile = 244, .chroma = "00100 0 11 0 1 1 000010001 00000000000"}), kOneSecond},
        {Stream({.beforeTime = "1 11111111 00000000000000010000000000000001 11 1 1010 1 "
                               "000000000000000000000001 1 11 1"}),
         kOneSecond},
        // not told, told as what no level allows, told as nothing
        {Stream({.hasTime = false}), kAssumed},
        {Stream({.timeScale = 600}), "18: 50 counted, 0.166667 counted"},
        {Stream({.timeScale = 602}), kAssumed},
        {Stream({.timeScale = 0}), kAssumed},
        {Stream({.unitsInTick = 0}), kAssumed},
        // joined films each run at their own rate, whichever parameter sets they use
        {Join({Stream({}), Stream({.timeScale = 50})}), "18: 100 counted, 3 counted"},
        {Join({second, Stream({}), Repeat(Slice(0, 0, "", 255), 50)}), "18: 100 counted, 3 counted"},
        // pieces of a file, whose borders cut start codes
        {Stream({}, Repeat(Slice(), 100000)), "18: 100000 counted, 2000 counted"},
    });
}

TEST(H264Parser, CountsPicturesNotSlicesAndPairsOfFieldsOnce) {
    const std::string kOne = "18: 1 counted, 0.02 counted", kTwo = "18: 2 counted, 0.04 counted",
                      kThree = "18: 3 counted, 0.06 counted";
    const Sps   fields{.fields = true};
    const Bytes top = Slice(0, 3, "10"), bottom = Slice(0, 3, "11");
    kExpect({
        {Stream({}, Join({Slice(), Slice(1), Slice(40), Slice(0, 1, "", 0, 0x65), Slice(7, 1)})), kTwo},
        {Stream({}, Join({Slice(0, 0, "", 0, 0x42), Code(0x43), Code(0x44), Code(0x09), Code(0x06)})), kOne},
        {Stream({}, Join({Slice(), Slice(0, 0, "", 9)})), kOne}, // without its picture parameters
        {Stream(fields, Join({top, Slice(5, 3, "10"), bottom, bottom, top})), kTwo},
        {Stream(fields, Join({top, bottom, top, bottom, top})), kThree},
        {Stream(fields, Join({top, top})), kTwo},
        {Stream(fields, Join({top, Slice(0, 4, "11")})), kTwo}, // of two frames
        {Stream(fields, Join({top, Slice(0, 3, "0"), bottom})), kThree},
    });
}

TEST(H264Parser, RefusesWhatIsNoSuchStream) {
    const Bytes good = Stream({});
    for (const Sps& sps :
         {Sps{.profile = 67}, Sps{.level = 8}, Sps{.level = 63}, Sps{.number = 32}, Sps{.order = 3},
          Sps{.widthLess1 = 1055}, Sps{.cropRight = 88}, Sps{.number = 0xFFFFFFFE}})
        kExpect({{Stream(sps), kNone}});
    for (const int code : {0x00, 0xB3, 0xBA, 0xE0, 0x80}) kExpect({{Join({Code(code), good}), kNone}});
    kExpect({
        {Join({Pps(), Slice(), Sps{}.Get()}), kNone}, // no slice behind the parameters
        {Join({Bytes(4096), good}), kOneSecond},      // leading zeros
        {Join({Bytes(4097), good}), kNone},
        {Join({{1}, good}), kNone}, // some file that holds a stream
    });
    // a file that its name says to be one may be cut at its front
    const TempFolder folder;
    CMObjParserMgr   manager;
    const auto       frames = [&](const Bytes& bytes) {
        return manager.parse(folder.Write("cut.264", bytes).c_str())->GetFrames();
    };
    EXPECT_EQ(frames(Join({Bytes(9999, 1), Slice(), good})), 50U);
    EXPECT_EQ(frames(Join({Bytes((1 << 20) + 1, 1), good})), 0U);
}

// Cut anywhere, and with lying counts: read as far as it goes, or refused.
TEST(H264Parser, BearsCutsAndRunsOfZeros) {
    const auto        read   = [](const Bytes& bytes) { return MeasuredBlock<CMObjH264Parser>(bytes); };
    const Bytes       whole  = Stream({.profile = 100, .chroma = "010 11 0 0", .order = 1}, Slice());
    const std::string honest = read(whole);
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const std::string film = read(First(whole, size));
        ASSERT_TRUE(film == kNone || (film == honest && size + 8 > whole.size())) << size << ": " << film;
    }
    for (std::size_t at = 4; at < whole.size(); ++at) read(With(whole, at, Bytes(whole.size() - at)));
    read(Repeat(Code(0x67), 20000));
    read(Join({whole, Repeat(Code(0x67), 20000), Repeat(Code(0x41), 20000)}));
}

struct Avs {
    unsigned profile = 0x20, chroma = 1, precision = 1, aspect = 1, rate = 3, markers = 3;

    Bytes Get() const {
        Bits bits;
        bits.Put(8, profile).Put(8, 0x40).Put(1, 1).Put(14, 720).Put(14, 576);
        bits.Put(2, chroma).Put(3, precision).Put(4, aspect).Put(4, rate).Put(18, 5000);
        bits.Put(1, markers >> 1).Put(13, 0).Put(1, markers & 1).Put(18, 99).Put(3, 0);
        return Join({Code(0xB0), bits.Get()});
    }
};

Bytes AvsPicture(int code) {
    return Join({Code(code), Bytes(9, 0x5A), Code(0), Bytes(5, 7), Code(0xAF), Bytes(5, 7)});
}

TEST(AvsParser, CountsPictureHeaders) {
    const Bytes group = Join({AvsPicture(0xB3), Code(0xB5), Bytes(4, 9), Repeat(AvsPicture(0xB6), 24)});
    const Bytes visual =
        Join({Code(0xB0), {1}, Code(0xB5), {9}, Code(0), Code(0x20), Bytes(9, 1), Code(0xB3), Code(0xB6)});
    kExpect({
        {Join({Avs{}.Get(), group, Code(0xB1)}), "24: 25 counted, 1 counted"},
        {Join({Avs{.rate = 6}.Get(), group, Avs{}.Get(), group}), "24: 50 counted, 1.5 counted"},
        {group, kNone},                           // MPEG video's codes, and no sequence header
        {Join({Avs{}.Get(), Code(0xB3)}), kNone}, // no slice
        // MPEG-4 visual: its sequence and picture codes are the same
        {Join({visual, Bytes(50, 1), Code(0xB6), Bytes(50, 1)}), kNone},
    });
    for (const Avs& bad :
         {Avs{.profile = 0}, Avs{.chroma = 0}, Avs{.chroma = 3}, Avs{.precision = 2}, Avs{.aspect = 0},
          Avs{.rate = 0}, Avs{.rate = 9}, Avs{.markers = 1}, Avs{.markers = 2}})
        kExpect({{Join({bad.Get(), group}), kNone}});
    for (const int code : {0xB4, 0xB8, 0xBA, 0xE0})
        kExpect({{Join({Avs{}.Get(), Code(code), group}), kNone}});
}

} // namespace
