// The ASF parser: packets of every form, what the header tells, and what wrong sizes do.
#include "asf_builder.h"
#include "measured.h"

namespace {

using namespace test;

const auto kMeasured = Measured<CMObjASFParser>;

const Bytes kExtension = AsfGuid(0x5FBF03B5, 0xA92E, "\x8E\xE3\0\xC0\x0C\x20\x53\x65");
const Bytes kExtended  = Join({Little(0x14E6A5CB), Text("\x72\xC6\x32\x43\x83\x99\xA9\x69\x52\x06\x5B\x5A")});
const Bytes kVideo = AsfStreamObject(kAsfVideo, 1), kAudio = AsfStreamObject(kAsfAudio, 2);

// With a name and a payload extension in front of what it holds.
Bytes ExtensionObject(unsigned number, unsigned frameTime, const Bytes& held = {}) {
    const Bytes stream =
        Join({Bytes(48), Little(number, 2), Bytes(2), Little(frameTime, 8), Little(1, 2), Little(1, 2),
              Bytes(2), Little(3, 2), Bytes(3 + 18), Little(5), Bytes(5), held});
    return AsfObject(kExtension, Join({Bytes(22), AsfObject(kExtended, stream)}));
}

// A field by its length type.
Bytes Sized(unsigned value, unsigned type) { return Little(value, type == 3 ? 4 : type); }

struct Payload {
    unsigned stream = 1, offset = 0, ms = 0;
    Bytes    compressed = {}; // a compressed payload's media objects

    Bytes Get(unsigned properties, unsigned lengthType) const {
        const Bytes content = compressed.empty() ? Text("0123456") : compressed;
        const Bytes time    = Join({Little(7), Little(ms)});
        return Join({Little(stream | 0x80, 1), Sized(9, properties >> 4 & 3),
                     Sized(compressed.empty() ? offset : ms, properties >> 2 & 3),
                     Sized(compressed.empty() ? 8 : 1, properties & 3), compressed.empty() ? time : Bytes{20},
                     Sized(static_cast<unsigned>(content.size()), lengthType), content});
    }
};

constexpr unsigned    kUsual  = 0x5D; // as writers have it: 1, 4 and 1 bytes
constexpr std::size_t kPacket = 200;

// headTypes: the length types of sequence, padding and packet length, where the packet tells them.
Bytes Packet(const std::vector<Payload>& payloads, unsigned headTypes = 1 << 2, unsigned properties = kUsual,
             unsigned lengthType = 2, const Bytes& correction = {0x82, 0, 0}) {
    const unsigned padding = headTypes >> 2 & 3, length = headTypes >> 4 & 3;
    const bool     isSingle = lengthType == 0;
    Bytes          body     = isSingle ? Bytes() : Little(payloads.size() | lengthType << 6, 1);
    for (const Payload& payload : payloads) body = Join({body, payload.Get(properties, lengthType)});
    const auto head = [&](std::size_t pad, std::size_t all) {
        return Join({correction, Little(headTypes << 1 | (isSingle ? 0 : 1), 1), Little(properties, 1),
                     Sized(static_cast<unsigned>(all), length), Sized(5, headTypes & 3),
                     Sized(static_cast<unsigned>(pad), padding), Bytes(6), body});
    };
    const std::size_t used = head(0, 0).size(), told = padding != 0 ? kPacket : used;
    return Join({head(told - used, told), Bytes(kPacket - used, 0xEE)});
}

struct AsfFile {
    Bytes              streams  = Join({kAudio, kVideo});
    std::vector<Bytes> packets  = std::vector<Bytes>(3, Packet({{.ms = 3040}, {.stream = 2, .ms = 3000}}));
    AsfProperties      file     = {};
    std::size_t        dataSize = 1; // 1: as it is

    Bytes Get() const {
        Bytes data = Bytes(26);
        for (const Bytes& packet : packets) data = Join({data, packet});
        return Join({AsfHeaderObject(Join({file.Get(), streams})), kAsfData,
                     Little(dataSize == 1 ? data.size() + 24 : dataSize, 8), data});
    }
};

// A single payload, which reaches to the padding, and several; only the one at offset 0 begins a frame.
TEST(AsfParser, CountsMediaObjectsInPacketsOfEveryForm) {
    const auto expectTwo = [](unsigned head, unsigned properties, unsigned lengthType) {
        const bool isSingle = lengthType == 0, hasNoEnd = (head >> 2) == 0; // but the packet's own
        if ((properties & 3) == 0 || (properties >> 2 & 3) == 0 || (isSingle && hasNoEnd)) return;
        std::vector<Payload> payloads = {{.offset = 7}, {.ms = 5}};
        if (isSingle) payloads.erase(payloads.begin());
        const Bytes correction = head % 2 == 0 ? Bytes() : Bytes{0x82, 0, 0};
        const Bytes packet     = Packet(payloads, head, properties, lengthType, correction);
        EXPECT_EQ(kMeasured(AsfFile{.packets = {packet, packet}}.Get(), {}), "8: 2 counted, 2 declared")
            << head << ' ' << properties << ' ' << lengthType;
    };
    for (unsigned head = 0; head < 64; ++head) expectTwo(head, kUsual, head % 4);
    for (unsigned types = 0; types < 256; ++types) expectTwo(1 << 2, types >> 2 | 0x40, types & 3);
}

TEST(AsfParser, MeasuresByTheBestThatTheFileTells) {
    const Payload            blocks{.ms = 3000, .compressed = {2, 0, 0, 0, 1, 0}}; // one of them has no bytes
    const Bytes              second     = Packet({{.ms = 3040}, {.stream = 2, .ms = 3500}});
    const std::vector<Bytes> times      = {Packet({{.ms = 3000}, {.stream = 2, .ms = 2900}}), second};
    const std::vector<Bytes> ownLengths = {First(Packet({{}}, 0x24), 200), Packet({{}}, 0x24)};
    const Bytes              estimated  = Join({kVideo, ExtensionObject(1, 400000)});
    const Bytes              opaque = With(second, 0, {0x92}), badLengths = With(second, 0, {0xA2}),
                tooMany                          = With(second, 14, {0xBF});
    const std::pair<AsfFile, const char*> rows[] = {
        {{}, "8: 3 counted, 2 declared"},
        {{.streams = kAudio}, "8: 3 counted, 2 declared"},
        {{.streams = AsfStreamObject(kAsfAudio, 0)}, "8: 0 none, 2 declared"},
        {{.streams = ExtensionObject(1, 400000, kVideo)}, "8: 3 counted, 2 declared"},
        // damage costs its own packet only
        {{.packets = {opaque, second, badLengths, tooMany, second}}, "8: 3 counted, 2 declared"},
        {{.packets = {Packet({blocks})}}, "8: 2 counted, 2 declared"},
        // nothing to count
        {{.streams = estimated, .file = {.packetSize = 127}}, "8: 50 estimated, 2 declared"},
        {{.file = {.packetSize = 0}}, "8: 0 none, 2 declared"},
        {{.packets = ownLengths, .file = {.packetSize = 0, .mostPacketSize = 4000}},
         "8: 2 counted, 2 declared"},
        // broadcasts, and recordings broken off: 2.9 to 3.5 s and the average of each stream, 0.6 s
        {{.packets = times, .file = {.seconds = 3}, .dataSize = 50}, "8: 2 counted, 1.2 timestamps"},
        {{.packets = times, .file = {.flags = 1, .fileSize = SIZE_MAX}, .dataSize = 0},
         "8: 2 counted, 1.2 timestamps"},
        // what passes the end
        {{.file = {.fileSize = 9999999}}, "8: 3 counted, 2 declared, cut"},
        {{.dataSize = SIZE_MAX}, "8: 3 counted, 2 declared, cut"},
    };
    for (const auto& [file, measured] : rows) EXPECT_EQ(kMeasured(file.Get(), {}), measured);
}

TEST(AsfParser, KeepsTheTypeOfTheExtension) {
    EXPECT_EQ(kMeasured(AsfFile().Get(), kKivFmt_Wmv), "20: 3 counted, 2 declared");
    EXPECT_EQ(kMeasured(AsfFile().Get(), kKivFmt_AsfStream), "8: 3 counted, 2 declared");
    TempFolder     folder;
    CMObjParserMgr manager;
    for (const auto& [name, type] : {std::pair{"a.asf", 8}, {"a.WMA", 20}}) {
        for (const Bytes& content :
             {AsfFile().Get(), Text("none of it"), With(AsfFile().Get(), 30, kAsfStream)})
            EXPECT_EQ(manager.parse(folder.Write(name, content).c_str())->GetMediaType(), type) << name;
    }
}

// Measured as far as it goes, and each size made wrong: objects that lead nowhere end the header.
TEST(AsfParser, BearsCutsAndLyingSizes) {
    const Bytes nested =
        AsfObject(kExtension, Join({Bytes(22), ExtensionObject(1, 9), ExtensionObject(1, 9)}));
    const Bytes whole = AsfFile{.streams = Join({AsfFile().streams, nested})}.Get();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string measured = kMeasured(First(whole, size), {});
        const std::size_t frames =
            size < whole.size() - 3 * kPacket ? 0 : 3 - (whole.size() - size + kPacket - 1) / kPacket;
        ASSERT_EQ(measured.substr(0, 4), size < 134 ? "0: 0" : "8: " + std::to_string(frames)) << size;
        ASSERT_EQ(measured.ends_with(", cut"), size >= 134) << size;
    }
    for (std::size_t at = 16; at < whole.size() - 3 * kPacket - 8; ++at) {
        for (const unsigned long long size : {0ULL, 23ULL, 24ULL, ~0ULL, 0ULL - at})
            kMeasured(With(whole, at, Little(size, 8)), {});
    }
}

} // namespace
