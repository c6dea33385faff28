// The parser manager: which parser a file or block gets, who owns it, and what hostile input does to it.
#include "media.h"
#include "mpeg_builder.h"

#include <cstdlib>

namespace {

using namespace test;

template <class Parser> bool Is(CMObjBaseParser* parser) { return dynamic_cast<Parser*>(parser) != nullptr; }

TEST(ParserManager, TheExtensionAloneDecidesForDedicatedParsers) {
    const TempFolder folder;
    CMObjParserMgr   manager;
    const auto       parse = [&](const char* name) {
        return manager.parse(folder.Write(name, SampleBytes("text.txt")).c_str());
    };
    for (const auto& [name, type] : {std::pair{"clip.asf", 8}, {"song.WMA", 20}, {"clip.wmv", 20}}) {
        EXPECT_TRUE(Is<CMObjASFParser>(parse(name)));
        EXPECT_EQ(parse(name)->GetMediaType(), type) << name;
    }
    EXPECT_TRUE(Is<CMObjRMParser>(parse("clip.RMVB")) && Is<CMObjRMParser>(parse("a.ra")));
    EXPECT_TRUE(Is<CMObjQTParser>(parse("clip.mov")) && Is<CMObjQTParser>(parse("clip.qt")));
    EXPECT_TRUE(Is<CMObjH264Parser>(parse("clip.264")));
    EXPECT_TRUE(Is<CMObjMpeg4Parser>(parse("clip.mp4")));
    EXPECT_TRUE(Is<CMObjUnknownParser>(parse("clip.mpg")));
}

TEST(ParserManager, ContentDecidesForAllOthers) {
    CMObjParserMgr manager;
    for (const auto& [name, type] : {std::pair{"avi-mpeg4-mp3.avi", 7},
                                     {"mpeg1-video.m1v", 2},
                                     {"video-cd.dat", 3},
                                     {"mpeg1-system.mpg", 1},
                                     {"mpeg2-program.vob", 4},
                                     {"mpeg2-in-mpeg1-packs.mpg", 12},
                                     {"mpeg2-transport.ts", 13},
                                     {"mp3-cbr.mp3", 6},
                                     {"layer2.mp2", 5},
                                     {"picture.png", 0}}) {
        const Bytes block = SampleBytes(name);
        EXPECT_EQ(Identify(block).type, type) << name;
        EXPECT_EQ(manager.parse(block.data(), static_cast<int>(block.size()))->GetFileSize(), block.size());
        EXPECT_EQ(block, SampleBytes(name)) << "the caller's block stays as it was";
    }
    // which the quick check does not ask for
    for (const auto& [name, type] : {std::pair{"mp4-h264-aac.mp4", 17}, {"h264.264", 18}}) {
        const Bytes block = SampleBytes(name);
        const int   size  = static_cast<int>(block.size());
        EXPECT_EQ(manager.parse(block.data(), size)->GetMediaType(), type) << name;
        EXPECT_EQ(manager.checkFormat(block.data(), size), 0) << name;
    }
}

TEST(ParserManager, WhatCannotBeOpenedIsUnknownAndUnread) {
    const TempFolder  folder;
    CMObjParserMgr    manager;
    const std::string none = folder.Path("none.mp4");
    EXPECT_TRUE(Is<CMObjUnknownParser>(manager.parse(nullptr, 0)));
    EXPECT_TRUE(Is<CMObjUnknownParser>(manager.parse(nullptr)));
    EXPECT_TRUE(Is<CMObjUnknownParser>(manager.parse(none.c_str())));
    EXPECT_EQ(manager.parse(none.c_str())->GetFileSize(), 0U);
    const Bytes byte(1, 'x');
    EXPECT_EQ(manager.parse(byte.data(), 1)->GetFileSize(), 1U);
    const auto check = [&](const char* name) {
        return manager.checkFormat(folder.Write(name, SampleBytes("mpeg1-system.mpg")).c_str());
    };
    EXPECT_EQ(check("real.asf"), 0) << "never read";
    EXPECT_EQ(check("real.wmv"), 1);
    EXPECT_EQ(manager.checkFormat(none.c_str()) + manager.checkFormat(nullptr), 0);
    EXPECT_EQ(manager.checkFormat(nullptr, 5) + manager.checkBitStreamFormat(nullptr), 0);
}

// An AVI's main header wins over the MPEG codes in its data, video over a pack that follows.
TEST(ParserManager, TheEarlierParserWinsATie) {
    const Bytes mpeg = MpegBuilder().Mpeg1Pack().SystemHeader({}).Sequence().Get();
    EXPECT_EQ(Identify(SampleBytes("avi-mjpeg-silent.avi"), mpeg).type, 7);
    CMObjParserMgr manager;
    const Bytes    both = Join({mpeg, Bytes(10, 0xFF)}); // the sequence header lies within 32 bytes
    EXPECT_EQ(manager.checkFormat(both.data(), static_cast<int>(both.size())), 2);
}

TEST(ParserManager, TheConfiguredBitRateIsReadEachTime) {
    CMObjUnknownParser parser;
    CKivRegistryMgr    registry(HKEY_LOCAL_MACHINE);
    ASSERT_EQ(registry.OpenNode("SOFTWARE\\Halvorn\\KivServer", 1), 1);
    registry.Delete("FsBitRate");
    EXPECT_EQ(parser.GetRegBitRate(), 1024000U);
    ASSERT_EQ(registry.Update("FsBitRate", 4000000L), 1);
    EXPECT_EQ(parser.GetRegBitRate(), 4000000U);
    registry.Update("FsBitRate", "fast");
    EXPECT_EQ(parser.GetRegBitRate(), 1024000U);
    EXPECT_EQ(registry.Delete("FsBitRate"), 1);
}

// Every parser, quick and full, on a block that is exactly as long as it says, but for the byte behind it.
template <class... Parsers> void ParseWith(const Bytes& bytes) {
    const auto parse = [&](CMObjBaseParser&& parser) {
        for (const auto ask : {&CMObjBaseParser::QuickCheck, &CMObjBaseParser::ParseFile}) {
            const int type = OfBlock(bytes, [&](CKivBitStream& stream) { return (parser.*ask)(&stream); });
            ASSERT_TRUE(type == 0 || type == parser.GetMediaType());
        }
    };
    (parse(Parsers()), ...);
}

constexpr auto ParseWithAll =
    ParseWith<CMObjAviParser, CMObjMpg1VideoParser, CMObjMpg1VcdParser, CMObjMpgSystemParser,
              CMObjMpgTransportParser, CMObjMp3Parser, CMObjMpeg4Parser, CMObjH264Parser, CMObjASFParser,
              CMObjQTParser, CMObjRMParser, CMObjUnknownParser>;

// Every cut within the headers, and ever fewer further on. KIV_EVERY_TRUNCATION=1 leaves none out, and takes
// its time.
TEST(HostileInput, EveryParserEndsOnTruncatedSamples) {
    const bool all = std::getenv("KIV_EVERY_TRUNCATION") != nullptr;
    for (const auto& sample : Samples()) {
        const Bytes bytes = ReadWholeFile(sample);
        for (std::size_t size = 1; size <= bytes.size(); size += all || size < 300 ? 1 : 1 + size / 8)
            ParseWithAll(First(bytes, size));
    }
}

TEST(HostileInput, EveryParserEndsOnRandomAndDamagedBytes) {
    std::mt19937 random(5);
    for (int round = 0; round < 60; ++round) ParseWithAll(RandomBytes(random, 1 + random() % 20000));
    for (const auto& sample : Samples()) {
        const Bytes whole = ReadWholeFile(sample);
        for (int round = 0; round < 8 && whole.size() > 200; ++round) {
            Bytes damaged = First(whole, std::min<std::size_t>(whole.size(), 12000));
            for (const std::size_t within : {std::size_t{200}, damaged.size()}) {
                for (int i = 0; i < 10; ++i)
                    damaged[random() % within] = static_cast<unsigned char>(random());
            }
            ParseWithAll(damaged);
        }
    }
}

} // namespace
