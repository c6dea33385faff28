// kiv splice as a user meets it.
#include "asf_builder.h"
#include "mpeg_builder.h"
#include "tool_run.h"

#include <cstring>

namespace {

using namespace test;

std::string Sample(const std::string& name) { return (fs::path(KIV_SAMPLES_DIR) / name).string(); }

Arguments Splice(const std::string& out, const Arguments& files, const Arguments& flags = {}) {
    Arguments words = {"splice", "-o", out};
    words.insert(words.end(), flags.begin(), flags.end());
    words.insert(words.end(), files.begin(), files.end());
    return words;
}

// Whatever the size of the pieces that the output is taken in, it is the same.
void ExpectEveryByteAccountedFor(const std::string& sample, std::size_t endBytes) {
    SCOPED_TRACE(sample);
    const TempFolder folder;
    const Bytes      whole =
        Repeat(ReadWholeFile(Sample(sample)), endBytes != 0 ? 3 : 1); // blocks have 262144 bytes
    const Arguments files(3, folder.Write(sample, whole));
    const auto      objects = RunTool(Splice(folder.Path("out"), files, {"--report=json"})).Objects();
    ASSERT_EQ(objects.size(), 3U);
    const Bytes out = ReadWholeFile(folder.Path("out"));
    for (const char* chunk : {"1", "1048576"}) {
        RunTool(Splice("-", files, {"--chunk", chunk}), folder.Path("same"));
        EXPECT_TRUE(ReadWholeFile(folder.Path("same")) == out) << chunk;
    }
    std::size_t at = 0;
    for (const auto& object : objects) {
        SCOPED_TRACE(object.dump());
        const auto figure  = [&](const char* key) { return object.at(key).get<std::size_t>(); };
        const auto dropped = figure("dropped_early") + figure("dropped_audio") + figure("dropped_video");
        const auto passed  = figure("taken") + figure("rewritten");
        EXPECT_EQ(object["path"], files[0]);
        EXPECT_EQ(figure("size"), whole.size());
        EXPECT_EQ(passed + dropped, whole.size());
        EXPECT_EQ(figure("withheld") + figure("filled") + figure("failed_checks"), 0U);
        EXPECT_LT(dropped, 50000U);
        EXPECT_EQ(figure("seam"), at);
        at += figure("header") + figure("rebuilt_audio") + passed;
        ASSERT_LE(at, out.size());
        const std::size_t half = whole.size() / 2; // the place to join lies in the other one
        EXPECT_EQ(std::memcmp(&whole[half], &out[at - (whole.size() - half)], whole.size() - half), 0);
        at += figure("end");
    }
    EXPECT_EQ(out.size(), at);
    EXPECT_EQ(objects[2]["end"], endBytes);
}

TEST(ToolSplice, AccountsForEveryByteOfEveryKind) {
    for (const char* sample : {"mpeg1-system.mpg", "mpeg1-system-silent.mpg", "mpeg2-program.vob",
                               "mpeg2-program-dvd.mpg", "mpeg2-in-mpeg1-packs.mpg", "video-cd.dat"})
        ExpectEveryByteAccountedFor(sample, 12);
    for (const char* sample :
         {"mpeg2-transport.ts", "mp3-cbr.mp3", "mp3-id3v2.mp3", "layer2.mp2", "h264.264"})
        ExpectEveryByteAccountedFor(sample, 0);
}

// Each stands first and last, for the last file's end is the stream's.
TEST(ToolSplice, FindsThePlaceToJoinAndAccountsForTheRest) {
    const TempFolder folder;
    Bytes            numbered = ReadWholeFile(Sample("mpeg2-transport.ts"));
    for (const unsigned i : {0U, 1U}) numbered[i * 188 + 3] = static_cast<unsigned char>(0x10 | i);
    Bytes tag = {'I', 'D', '3', 4, 0, 0, 0, 30, 0, 0}; // 491520 bytes, which look like sound
    while (tag.size() < 491530) tag = Join({tag, MpegBuilder().AudioFrame().AudioFrame().Get()});
    tag.resize(491530);
    const Bytes sound = ReadWholeFile(Sample("mp3-cbr.mp3"));
    Bytes       late  = ReadWholeFile(Sample("mpeg2-program-no-b.vob"));
    late.resize(37863); // the first audio in time is in the last pack

    const struct {
        std::string file;
        std::size_t size, least, most; // dropped
    } rows[] = {
        {folder.Write("a.ts", numbered), numbered.size(), 188, 20 * 188},
        {folder.Write("b.mp3", Join({tag, sound})), tag.size() + sound.size(), tag.size(), tag.size()},
        {folder.Write("c.vob", late), late.size(), 0, 2048},
        {folder.Write("d.mp3", Join({{'I', 'D', '3', 4, 0, 0, 0x7F, 0, 0, 0}, sound})), sound.size() + 10, 10,
         10},
    };

    for (const auto& row : rows) {
        const ToolResult result =
            RunTool(Splice("-", {row.file, row.file}, {"--report=json"}), folder.Path("out"));
        for (const auto& object : ToolResult{0, result.problems, ""}.Objects()) {
            SCOPED_TRACE(object.dump());
            const auto figure = [&](const char* key) { return object.at(key).get<std::size_t>(); };
            EXPECT_EQ(figure("taken") + figure("rewritten") + figure("dropped_early")
                          + figure("dropped_audio") + figure("dropped_video") + figure("withheld"),
                      row.size);
            EXPECT_EQ(figure("withheld"), 0U);
            const std::size_t dropped = figure("dropped_early") + figure("dropped_audio");
            EXPECT_TRUE(row.least <= dropped && dropped <= row.most);
        }
    }
}

// A header object with the file properties alone, and the head of a data object.
Bytes AsfHead(unsigned flags, unsigned packetBytes = 100) {
    const AsfProperties properties{.flags = flags, .packetSize = packetBytes};
    return Join({AsfHeaderObject(properties.Get()), kAsfData, Bytes(34)});
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

    const auto longHead = [](unsigned flags) { // longer than any piece in which packets are sought
        const Bytes padding = Join({Bytes(16, 7), Little(1500000, 8), Bytes(1500000 - 24)});
        return Join({AsfHeaderObject(Join({AsfProperties{.flags = flags, .packetSize = 100}.Get(), padding})),
                     kAsfData, Bytes(34)});
    };
    const std::string three = folder.Write("three.asf", Join({longHead(2), packets(1)}));
    EXPECT_EQ(RunTool(Splice(folder.Path("out"), {three, two})).status, 0);
    EXPECT_TRUE(ReadWholeFile(folder.Path("out"))
                == Join({longHead(1), packets(1), longHead(1), packets(5)}));
}

TEST(ToolSplice, RefusesWhatDoesNotFitAndLeavesTheOldFile) {
    const TempFolder  folder;
    const std::string film = folder.Write("film", ReadWholeFile(kFilm)), old = folder.Write("old", {1, 2, 3});
    fs::create_hard_link(film, folder.Path("same film"));
    const std::string small = folder.Write("small.asf", AsfHead(2)),
                      large = folder.Write("large.asf", AsfHead(2, 200));
    Bytes packets           = ReadWholeFile(Sample("mpeg2-transport.ts"));
    for (std::size_t i = 3; i < packets.size(); i += 188) packets[i] &= 0xF0; // nowhere a 1 behind a 0
    const std::string none = folder.Write("none.ts", packets);

    const struct {
        Arguments   files;
        std::string out, problem;
    } rows[] = {
        {{"--force", kFilm, Sample("mpeg2-program.vob")}, old, "MPEG-2 program    "},
        {{"--force", small, large}, old, "packet size       file\n100               "},
        {{kFilm, Sample("mpeg1-system-no-b.mpg")},
         old,
         "width             height            file\n176               144"},
        {{Sample("mp3-22050.mp3"), Sample("mp3-cbr.mp3")}, old, "22050 Hz"},
        {{kFilm, Sample("mpeg1-system-silent.mpg")}, old, "sound             file\nMPEG layer II     "},
        {{Sample("avi-mpeg4-mp3.avi")}, old, "cannot be joined to others: AVI"},
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
