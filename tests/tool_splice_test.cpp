// kiv splice as a user meets it.
#include "media.h"
#include "tool_run.h"

namespace {

using namespace test;

std::string Sample(const std::string& name) { return (fs::path(KIV_SAMPLES_DIR) / name).string(); }

Arguments Splice(const std::string& out, const Arguments& files, const Arguments& flags = {}) {
    Arguments words = {"splice", "-o", out};
    words.insert(words.end(), flags.begin(), flags.end());
    words.insert(words.end(), files.begin(), files.end());
    return words;
}

struct Kind {
    std::string sample;
    std::size_t end; // bytes that the stream ends with
};

const Kind kKinds[] = {
    {"mpeg1-system.mpg", 12},
    {"mpeg1-system-silent.mpg", 12},
    {"mpeg2-program.vob", 12},
    {"mpeg2-program-dvd.mpg", 12},
    {"mpeg2-in-mpeg1-packs.mpg", 12},
    {"mpeg2-transport.ts", 0},
    {"video-cd.dat", 12},
    {"mp3-cbr.mp3", 0},
    {"mp3-id3v2.mp3", 0},
    {"layer2.mp2", 0},
};

TEST(ToolSplice, AccountsForEveryByteOfEveryKind) {
    const TempFolder folder;
    for (const Kind& kind : kKinds) {
        const std::string file = Sample(kind.sample);
        const auto        objects =
            RunTool(Splice(folder.Path("out"), {file, file, file}, {"--report=json"})).Objects();
        ASSERT_EQ(objects.size(), 3U) << kind.sample;
        std::size_t at = 0;
        for (const auto& object : objects) {
            const auto figure = [&](const char* key) { return object.at(key).get<std::size_t>(); };
            EXPECT_EQ(object["path"], file);
            EXPECT_EQ(figure("size"), fs::file_size(file)) << object;
            EXPECT_EQ(figure("taken") + figure("dropped_early") + figure("dropped_audio")
                          + figure("dropped_video"),
                      figure("size"))
                << object;
            EXPECT_GT(figure("taken"), figure("size") * 8 / 10) << object;
            EXPECT_EQ(figure("withheld"), 0U) << object;
            EXPECT_EQ(figure("seam"), at) << object;
            EXPECT_EQ(figure("failed_checks"), 0U) << object;
            at += figure("header") + figure("rebuilt_audio") + figure("taken");
        }
        EXPECT_EQ(fs::file_size(folder.Path("out")), at + kind.end) << kind.sample;
    }
}

TEST(ToolSplice, MakesTheSameOfAnyChunk) {
    const TempFolder folder;
    for (const Kind& kind : kKinds) {
        const Arguments files = {Sample(kind.sample), Sample(kind.sample)};
        RunTool(Splice(folder.Path("usual"), files));
        const Bytes usual = ReadWholeFile(folder.Path("usual"));
        for (const char* chunk : {"1", "188", "65536", "1048576"}) {
            EXPECT_EQ(RunTool(Splice("-", files, {"--chunk", chunk}), folder.Path("out")).status, 0);
            EXPECT_TRUE(ReadWholeFile(folder.Path("out")) == usual) << kind.sample << ' ' << chunk;
        }
    }
    for (const char* chunk : {"0", "-1", "1048577", "x"})
        EXPECT_EQ(RunTool(Splice("-", {kFilm}, {"--chunk", chunk}), folder.Path("out")).status, 2) << chunk;
}

// The blocks that files are read in have 262144 bytes.
TEST(ToolSplice, JoinsFilesOfManyBlocks) {
    const TempFolder  folder;
    const Bytes       once  = ReadWholeFile(Sample("mpeg2-program.vob"));
    const Bytes       whole = Join({once, once, once, once, once});
    const std::string file  = folder.Write("big", whole);
    RunTool(Splice(folder.Path("out"), {file, file}));
    const Bytes made = ReadWholeFile(folder.Path("out"));
    EXPECT_TRUE(std::equal(whole.end() - 800000, whole.end(), made.end() - 12 - 800000));
    EXPECT_EQ(std::search(made.begin(), made.end(), whole.end() - 800000, whole.end()) - made.begin(),
              static_cast<std::ptrdiff_t>((made.size() - 12) / 2) - 800000);
}

// A header object with the file properties alone, and the head of a data object.
Bytes AsfHead(unsigned char flags) {
    const Bytes tail = {0xCF, 0x11, 0xA6, 0xD9, 0, 0xAA, 0, 0x62, 0xCE, 0x6C};
    return Join(
        {{0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66},
         tail,
         Little(134, 8),
         Bytes(6),
         {0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11, 0x8E, 0xE4, 0, 0xC0, 0x0C, 0x20, 0x53, 0x65},
         Little(104, 8),
         Bytes(64),
         {flags, 0, 0, 0},
         Little(100),
         Little(100),
         Little(1),
         {0x36, 0x26, 0xB2, 0x75, 0x8E, 0x66},
         tail,
         Bytes(34)});
}

TEST(ToolSplice, SendsTheFirstHeaderOfAsfAheadOfEachFilesPackets) {
    const TempFolder folder;
    const auto       packets = [](unsigned char fill) {
        const Bytes packet = With(Bytes(100, fill), 0, {0x82, 0, 0});
        return Join({packet, packet, packet});
    };
    const std::string one = folder.Write("one.asf", Join({AsfHead(2), packets(1)})),
                      two = folder.Write("two.wmv", Join({AsfHead(2), Bytes(7), packets(5)}));
    EXPECT_EQ(RunTool(Splice(folder.Path("out"), {one, two})).status, 0);
    EXPECT_EQ(ReadWholeFile(folder.Path("out")), Join({AsfHead(1), packets(1), AsfHead(1), packets(5)}));
}

TEST(ToolSplice, RefusesWhatDoesNotFitBeforeAnythingIsWritten) {
    const TempFolder  folder;
    const std::string film = folder.Write("film", ReadWholeFile(kFilm)), old = folder.Write("old", {1, 2, 3});
    fs::create_hard_link(film, folder.Path("same film"));

    const struct {
        Arguments   files;
        std::string out, problem;
    } rows[] = {
        {{kFilm, Sample("mpeg2-program.vob")}, old, "is MPEG-2 program, and"},
        {{kFilm, Sample("video-cd.dat")}, old, "is Video CD, and"},
        {{kFilm, Sample("mpeg1-system-no-b.mpg")},
         old,
         "width             height            file\n176               144"},
        {{Sample("mp3-22050.mp3"), Sample("mp3-cbr.mp3")}, old, "22050 Hz"},
        {{Sample("avi-mpeg4-mp3.avi")}, old, "cannot be joined to others: AVI"},
        {{Sample("mpeg1-video.m1v")}, old, "cannot be joined to others: MPEG-1 video"},
        {{kFilm, Sample("text.txt")}, old, "cannot be joined to others: not recognised"},
        {{kFilm, folder.Path("none")}, old, "none: "},
        {{kFilm, folder.Path("")}, old, "is a folder"},
        {{kFilm, film}, film, "is the output as well"},
        {{film, kFilm}, folder.Path("./same film"), "is the output as well"},
        {{folder.Write("not.asf", ReadWholeFile(kFilm))}, old, "has no stream header"},
        {{kFilm}, folder.Path("none/out"), "none"},
    };

    for (const auto& row : rows) {
        const ToolResult result = RunTool(Splice(row.out, row.files));
        EXPECT_EQ(result.status, 2) << row.problem;
        EXPECT_NE(result.problems.find(row.problem), std::string::npos) << result.problems;
        EXPECT_EQ(ReadWholeFile(old), (Bytes{1, 2, 3})) << row.problem;
        EXPECT_EQ(ReadWholeFile(film), ReadWholeFile(kFilm)) << row.problem;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 4) << "something is left";
    EXPECT_EQ(RunTool(Splice(old, {kFilm, Sample("mpeg1-system-no-b.mpg")}, {"--force"})).status, 0);
    EXPECT_GT(fs::file_size(old), 3U);
}

// No program stream goes on without a pack: what was made of the first file by then is taken back.
TEST(ToolSplice, LeavesTheOldFileWhenALaterOneCannotBeJoined) {
    const TempFolder  folder;
    const std::string old = folder.Write("old", {1, 2, 3}), none = folder.Write("none.ts", [] {
        Bytes packets = ReadWholeFile(Sample("mpeg2-transport.ts"));
        for (std::size_t i = 3; i < packets.size(); i += 188) packets[i] &= 0xF0; // nowhere a 1 behind a 0
        return packets;
    }());
    const ToolResult  result = RunTool(Splice(old, {Sample("mpeg2-transport.ts"), none}));
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.problems.find("no place to join"), std::string::npos) << result.problems;
    EXPECT_EQ(ReadWholeFile(old), (Bytes{1, 2, 3}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 2) << "something is left";
}

} // namespace
