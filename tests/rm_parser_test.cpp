// The RealMedia parser: the forms of RealVideo in packets, what the header tells, and what wrong sizes do.
#include "measured.h"

namespace {

using namespace test;

const auto        kExpect = ExpectMeasured<CMObjRMParser>;
const std::string kNone   = "0: 0 none, 0 none";

Bytes Chunk(std::string_view id, const Bytes& content) {
    return Join({Text(id), Big(content.size() + 10), Bytes(2), content});
}

Bytes StreamChunk(std::string_view mime, unsigned number, unsigned ms, const Bytes& data = Bytes(8)) {
    const Bytes names = Join({{3}, Text("any"), Big(mime.size(), 1), Text(mime)});
    return Chunk("MDPR", Join({Big(number, 2), Bytes(24), Big(ms), names, Big(data.size()), data}));
}

const Bytes kVideo = Join({Bytes(4), Text("VIDORV20"), Bytes(10), Big(25 << 16)});

// A packet of either version, and within: a slice of a frame of 100 bytes, the last slice, a whole frame, one
// of several. Both length forms.
Bytes Packet(unsigned stream, unsigned ms, const Bytes& content, unsigned version = 0, unsigned group = 0) {
    const Bytes rest = Join({Big(group, 1), Bytes(version + 1), content});
    return Join({Big(version, 2), Big(rest.size() + 10, 2), Big(stream, 2), Big(ms), rest});
}

Bytes Slice(unsigned sequence, unsigned picture) {
    return Join({{0x02}, Big(sequence, 1), Big(100), Big(0x4000 | 30, 2), Big(picture, 1), Bytes(9, 0xFF)});
}

Bytes LastSlice(unsigned sequence, unsigned picture) {
    return Join(
        {{0x82}, Big(sequence | 0x80, 1), Big(0x4000 | 100, 2), Big(3), Big(picture, 1), Bytes(3, 0xFF)});
}

const Bytes kWhole = Join({{0x41, 0x07}, Bytes(5, 0xFF)});

Bytes OfSeveral(unsigned picture) {
    return Join({{0xC0}, Big(0x4000 | 4, 2), Big(0x4000 | 40, 2), Big(picture, 1), Bytes(4, 0xFF)});
}

struct RmFile {
    Bytes streams = Join(
        {StreamChunk("audio/x-pn-realaudio", 0, 1000), StreamChunk("video/x-pn-realvideo", 1, 2000, kVideo)});
    Bytes              packets = Join({Packet(1, 0, kWhole), Packet(0, 20, {1}), Packet(1, 40, kWhole, 1)});
    unsigned           ms = 1500, flags = 3, told = 3;
    unsigned long long dataSize = ~0ULL; // as it is

    Bytes Get() const {
        const Bytes properties = Join({Bytes(20), Big(ms), Bytes(14), Big(flags, 2)});
        const Bytes data       = Join({Big(told), Bytes(4), packets});
        return Join({Chunk(".RMF", Bytes(8)), Chunk("PROP", properties), Chunk("CONT", Bytes(8)), streams,
                     Text("DATA"), Big(dataSize == ~0ULL ? data.size() + 10 : dataSize), Bytes(2), data});
    }
};

TEST(RealMediaParser, CountsFramesInPacketsOfEveryForm) {
    for (const auto& [packets, frames] : std::initializer_list<std::pair<Bytes, int>>{
             {Join({Packet(1, 0, Slice(1, 7)), Packet(1, 0, Slice(2, 7)), Packet(1, 0, LastSlice(3, 7))}), 1},
             {Join({Packet(1, 0, LastSlice(1, 7)), Packet(1, 0, LastSlice(1, 8))}), 2},
             {Packet(1, 0, Join({LastSlice(1, 7), OfSeveral(8), OfSeveral(9), Slice(1, 10)})), 4},
             {Join({Packet(1, 0, Slice(1, 7)), Packet(1, 0, Join({LastSlice(2, 7), kWhole}))}), 2},
             {Join({Packet(1, 0, Slice(2, 7)), Packet(1, 0, LastSlice(9, 8))}), 2}, // their firsts were lost
             {Packet(1, 0, {0x02, 0x01, 0x00}), 0},
             {Packet(2, 0, kWhole), 0},
         }) {
        const std::string measured = frames != 0 ? std::to_string(frames) + " counted" : "50 estimated";
        kExpect({{RmFile{.packets = packets}.Get(), "19: " + measured + ", 2 declared"}});
    }
}

TEST(RealMediaParser, MeasuresByTheBestThatTheFileTells) {
    const RmFile      usual;
    const std::string two = "19: 2 counted, 2 declared";
    const Bytes audio = StreamChunk("audio/x-pn-realaudio", 0, 0), many = Join({Text("MLTI"), Bytes(8)});
    const Bytes multiRate = StreamChunk("video/x-pn-multirate-realvideo", 1, 0, many),
                rates     = Join({Packet(1, 0, kWhole, 0, 2), Packet(1, 0, kWhole, 0, 4)});
    kExpect({
        {RmFile{.streams = multiRate, .packets = rates}.Get(), "19: 1 counted, 1.5 declared"},
        // live, and recordings broken off: the last frame lasts as long as the average
        {RmFile{.flags = 4, .dataSize = 18}.Get(), "19: 2 counted, 0.08 timestamps"},
        {RmFile{.streams = audio, .ms = 0, .dataSize = 0}.Get(), "19: 1 counted, 0.04 timestamps"},
        // damage: nothing leads on
        {RmFile{.packets = Join({usual.packets, Bytes(12), usual.packets})}.Get(),
         "19: 50 estimated, 2 declared"},
        {RmFile{.packets = Join({usual.packets, Bytes(8)})}.Get(), two}, // as some writers end
        // a size too large, told packets there; then one fewer there
        {RmFile{.dataSize = 9999}.Get(), two},
        {RmFile{.told = 4, .dataSize = 9999}.Get(), two + ", cut"},
        {RmFile{.told = 0, .dataSize = 0xFFFFFFFF}.Get(), two + ", cut"},
    });
}

TEST(RealMediaParser, MeasuresRealAudioOfBefore) {
    const Bytes v3 =
        Join({Text(".ra\xFD"), Big(3, 2), Big(22, 2), Bytes(10), Big(2000), Bytes(8), Bytes(2000)});
    const auto later = [](unsigned version) {
        return Join({Text(".ra\xFD"), Big(version, 2), Bytes(2), Text(".ra4"), Big(0), Bytes(2), Big(40),
                     Bytes(2), Big(38), Bytes(4), Big(114000), Bytes(20), Bytes(1900)});
    };
    kExpect({{v3, "19: 100 declared, 2 declared"},
             {First(v3, v3.size() - 20), "19: 99 declared, 1.98 declared, cut"},
             {later(4), "19: 50 declared, 1 declared"},
             {later(5), "19: 50 declared, 1 declared"},
             {later(6), kNone},
             {Text("rtsp://example.com/film.rm\n"), kNone}});
}

// Measured as far as it goes, and each size made wrong: chunks that lead nowhere are the last.
TEST(RealMediaParser, BearsCutsAndLyingSizes) {
    const auto  read  = [](const Bytes& bytes) { return MeasuredBlock<CMObjRMParser>(bytes); };
    const Bytes whole = RmFile().Get();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string measured = read(First(whole, size));
        ASSERT_EQ(measured.substr(0, 3), size < 18 + 50 ? "0: " : "19:") << size;
        ASSERT_TRUE(measured.ends_with(", cut") || size < whole.size() - RmFile().packets.size()) << size;
    }
    for (std::size_t at = 0; at + 4 < whole.size(); ++at) {
        for (const unsigned long long size : {0ULL, 9ULL, 10ULL, 0xFFFFFFFFULL, 0xFFFFFFFFULL - at})
            read(With(whole, at, Big(size)));
    }
}

} // namespace
