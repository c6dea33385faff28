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

// How a file and what went out of it differ: bytes left out, and bytes in their place that are others.
struct Difference {
    std::size_t dropped = 0, changed = 0;

    Difference(const Bytes& file, const Bytes& sent, std::size_t mostDropped) {
        constexpr std::ptrdiff_t kSure = 8;
        auto                     at    = file.begin();
        for (auto next = sent.begin(); next != sent.end() && at != file.end();) {
            const auto from = at;
            if (*at != *next) {
                const auto reach = static_cast<std::ptrdiff_t>(mostDropped - dropped) + kSure;
                const auto end   = at + std::min(reach, file.end() - at);
                at               = std::search(at, end, next, next + std::min(kSure, sent.end() - next));
                changed += at == end;
                if (at == end) at = from;
            }
            dropped += static_cast<std::size_t>(at - from);
            ++at, ++next;
        }
        dropped += static_cast<std::size_t>(file.end() - at);
    }
};

// Whatever the size of the pieces that the output is taken in, it is the same.
TEST(ToolSplice, AccountsForEveryByteOfEveryKind) {
    const TempFolder folder;
    for (const Kind& kind : kKinds) {
        const Bytes once  = ReadWholeFile(Sample(kind.sample)); // files are read in blocks of 262144 bytes
        const Bytes whole = kind.end != 0 ? Join({once, once, once}) : once;
        const std::string file = folder.Write(kind.sample, whole);
        const auto        objects =
            RunTool(Splice(folder.Path("out"), {file, file, file}, {"--report=json"})).Objects();
        ASSERT_EQ(objects.size(), 3U) << kind.sample;
        const Bytes out = ReadWholeFile(folder.Path("out"));
        for (const char* chunk : {"1", "1048576"}) {
            RunTool(Splice("-", {file, file, file}, {"--chunk", chunk}), folder.Path("same"));
            EXPECT_TRUE(ReadWholeFile(folder.Path("same")) == out) << kind.sample << ' ' << chunk;
        }
        std::size_t at = 0;
        for (const auto& object : objects) {
            const auto figure  = [&](const char* key) { return object.at(key).get<std::size_t>(); };
            const auto dropped = figure("dropped_early") + figure("dropped_audio") + figure("dropped_video");
            const auto passed  = figure("taken") + figure("rewritten");
            EXPECT_EQ(object["path"], file);
            EXPECT_EQ(figure("size"), whole.size()) << object;
            EXPECT_EQ(passed + dropped, whole.size()) << object;
            EXPECT_EQ(figure("withheld") + figure("filled") + figure("failed_checks"), 0U) << object;
            EXPECT_LT(dropped, 50000U) << object;
            EXPECT_EQ(figure("seam"), at) << object;
            at += figure("header") + figure("rebuilt_audio");
            ASSERT_LE(at + passed, out.size()) << object;
            const Bytes      sent(out.data() + at, out.data() + at + passed);
            const Difference difference(whole, sent, dropped);
            EXPECT_EQ(difference.dropped, dropped) << object;
            EXPECT_LE(difference.changed, figure("rewritten")) << object;
            EXPECT_LE(figure("rewritten"), difference.changed * 8) << object;
            at += passed + figure("end");
        }
        EXPECT_EQ(out.size(), at) << kind.sample;
        EXPECT_EQ(objects[2]["end"], kind.end) << kind.sample;
    }
}

// A header object with the file properties alone, and the head of a data object.
Bytes AsfHead(unsigned char flags, unsigned packetBytes = 100) {
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
         Little(packetBytes),
         Little(packetBytes),
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

TEST(ToolSplice, RefusesWhatDoesNotFitAndLeavesTheOldFile) {
    const TempFolder  folder;
    const std::string film = folder.Write("film", ReadWholeFile(kFilm)), old = folder.Write("old", {1, 2, 3});
    fs::create_hard_link(film, folder.Path("same film"));
    const std::string small = folder.Write("small.asf", AsfHead(2)),
                      large = folder.Write("large.asf", AsfHead(2, 200)), none = folder.Write("none.ts", [] {
                          Bytes packets = ReadWholeFile(Sample("mpeg2-transport.ts"));
                          for (std::size_t i = 3; i < packets.size(); i += 188) // nowhere a 1 behind a 0
                              packets[i] &= 0xF0;
                          return packets;
                      }());

    const struct {
        Arguments   files;
        std::string out, problem;
    } rows[] = {
        {{"--force", kFilm, Sample("mpeg2-program.vob")}, old, "MPEG-2 program    "},
        {{"--force", kFilm, Sample("video-cd.dat")}, old, "Video CD          "},
        {{"--force", small, large}, old, "packet size       file\n100               "},
        {{"--force", large, small}, old, "packet size       file\n200               "},
        {{kFilm, Sample("mpeg1-system-no-b.mpg")},
         old,
         "width             height            file\n176               144"},
        {{Sample("mp3-22050.mp3"), Sample("mp3-cbr.mp3")}, old, "22050 Hz"},
        {{kFilm, Sample("mpeg1-system-silent.mpg")}, old, "sound             file\nMPEG layer II     "},
        {{Sample("mpeg1-system-silent.mpg"), kFilm}, old, "sound             file\nnone              "},
        {{Sample("avi-mpeg4-mp3.avi")}, old, "cannot be joined to others: AVI"},
        {{Sample("mpeg1-video.m1v")}, old, "cannot be joined to others: MPEG-1 video"},
        {{kFilm, Sample("text.txt")}, old, "cannot be joined to others: not recognised"},
        {{kFilm, folder.Path("none")}, old, "none: "},
        {{kFilm, folder.Path("")}, old, "is a folder"},
        {{kFilm, film}, film, "is the output as well"},
        {{film, kFilm}, folder.Path("./same film"), "is the output as well"},
        {{folder.Write("not.asf", ReadWholeFile(kFilm))}, old, "has no stream header"},
        {{Sample("mpeg2-transport.ts"), none}, old, "no place to join"},
        {{kFilm}, folder.Path("none/out"), "none"},
        {{kFilm}, "", "the output has no name"},
        {{kFilm, "--chunk", "0"}, old, "--chunk"},
        {{kFilm, "--chunk", "1048577"}, old, "--chunk"},
    };

    for (const auto& row : rows) {
        const ToolResult result = RunTool(Splice(row.out, row.files));
        EXPECT_EQ(result.status, 2) << row.problem;
        EXPECT_NE(result.problems.find(row.problem), std::string::npos) << result.problems;
        EXPECT_EQ(ReadWholeFile(old), (Bytes{1, 2, 3})) << row.problem;
        EXPECT_EQ(ReadWholeFile(film), ReadWholeFile(kFilm)) << row.problem;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 7) << "something is left";
    EXPECT_EQ(RunTool(Splice(old, {kFilm, Sample("mpeg1-system-no-b.mpg")}, {"--force"})).status, 0);
    EXPECT_GT(fs::file_size(old), 3U);
    const ToolResult onto = RunTool(Splice("-", {kFilm, film}), folder.Path("same film"));
    EXPECT_NE(onto.problems.find("is the output as well"), std::string::npos) << onto.problems;
}

// The first audio packet of the second file claims to be one of MPEG-2, and holds no frame.
TEST(ToolSplice, TellsOfFailedChecksInTheReportAlone) {
    const TempFolder  folder;
    const std::string one   = Sample("mpeg2-in-mpeg1-packs.mpg");
    const Bytes       bytes = ReadWholeFile(one), code = {0, 0, 1, 0xC0};
    const auto        at = std::search(bytes.begin(), bytes.end(), code.begin(), code.end()) - bytes.begin();
    const std::string two =
        folder.Write("two", With(bytes, static_cast<std::size_t>(at) + 6, Bytes(2042, 0x80)));
    Arguments command = Splice("-", {one, two});
    EXPECT_NE(RunTool(command, folder.Path("out")).problems.find("two: 1 checks failed"), std::string::npos);
    command.emplace_back("--report=json");
    const ToolResult result  = RunTool(command, folder.Path("out"));
    const auto       objects = ToolResult{0, result.problems, ""}.Objects();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(objects.at(0)["first_failed_check"], nullptr);
    EXPECT_EQ(objects.at(1)["first_failed_check"], "MpgConcat(353) : audioBuffer.GetSize() Failed");
}

} // namespace
