// The command line tool as a user meets it: what it prints, what it ends with, what it leaves on the disk.
#include "KivUtility.h"
#include "tool_run.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace test;
namespace fs = std::filesystem;

std::string Sample(const char* name) { return std::string(KIV_SAMPLES_DIR) + "/" + name; }

std::vector<std::string> SampleNames() {
    std::vector<std::string> names;
    for (const fs::path& sample : Samples()) names.push_back(sample.string());
    return names;
}

std::vector<std::string> Joined(std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// The paths of the objects, in their order.
std::vector<fs::path> PathsOf(const ToolResult& result) {
    std::vector<fs::path> paths;
    for (const auto& object : result.Objects()) paths.emplace_back(object["path"].get<std::string>());
    return paths;
}

Bytes AsBytes(const std::string& text) { return {text.begin(), text.end()}; }

// A folder with files and folders whose names sort between each other's.
class Tree : public testing::Test {
protected:
    TempFolder            m_folder;
    std::vector<fs::path> m_files;

    void SetUp() override {
        for (const char* name : {"b/z.mpg", "b/a.mpg", "b/c/d.mpg", "b.mpg", "a.mpg", "b c.mpg", "z.mpg"}) {
            const fs::path path = m_folder.Path(name);
            fs::create_directories(path.parent_path());
            fs::copy_file(Sample("mpeg1-video.m1v"), path);
            m_files.push_back(path);
        }
        std::sort(m_files.begin(), m_files.end()); // component by component
    }
};

TEST(ToolIdentify, TellsOfEveryFileWhatTheLibraryTells) {
    const ToolResult result  = RunTool(Joined({"identify", "--json", "-j", "2"}, SampleNames()));
    const auto       objects = result.Objects();
    ASSERT_EQ(objects.size(), SampleNames().size()) << result.problems;
    EXPECT_EQ(result.status, 1) << "there are samples that are no media";
    EXPECT_EQ(result.problems, "");
    CMObjParserMgr manager;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const std::string name = SampleNames()[i];
        CMObjBaseParser*  told = manager.parse(name.c_str());
        EXPECT_EQ(objects[i]["path"], name);
        EXPECT_EQ(objects[i]["size"], told->GetFileSize()) << name;
        EXPECT_EQ(objects[i]["format"], static_cast<int>(told->GetMediaType())) << name;
        EXPECT_EQ(objects[i]["recognised"], told->GetMediaType() != kKivFmt_Unknown) << name;
        EXPECT_EQ(objects[i]["bit_rate"], told->GetBitRate()) << name;
        EXPECT_EQ(objects[i]["frames"], told->GetFrames()) << name;
        EXPECT_NEAR(objects[i]["duration"].get<double>(), told->GetDuration(), 0.0006) << name;
    }
}

TEST(ToolIdentify, ChecksQuicklyWithTheSameFormats) {
    const auto full  = RunTool(Joined({"identify", "--json"}, SampleNames())).Objects();
    const auto quick = RunTool(Joined({"identify", "--json", "--quick"}, SampleNames())).Objects();
    ASSERT_EQ(quick.size(), full.size());
    for (std::size_t i = 0; i < quick.size(); ++i) {
        for (const char* key : {"path", "size", "format", "abbreviation", "description", "media_type"}) {
            EXPECT_EQ(quick[i][key], full[i][key]) << full[i];
        }
        EXPECT_FALSE(quick[i].contains("bit_rate"));
    }
}

TEST(ToolIdentify, NamesTheMediaTypeAsAGuid) {
    const auto objects = RunTool({"identify", "--json", Sample("mpeg2-program.vob")}).Objects();
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0]["media_type"], "{E06D8022-DB46-11CF-B4D1-00805F6CBBEA}");
    EXPECT_EQ(objects[0]["abbreviation"], "MPG2");
}

TEST(ToolIdentify, PrintsTheSameWithAnyNumberOfThreads) {
    const TempFolder folder;
    std::string      list;
    for (int i = 0; i < 12; ++i) {
        for (const std::string& name : SampleNames()) list += name + "\nno such file\n";
    }
    const std::string listName = folder.Write("list", AsBytes(list));
    const ToolResult  one      = RunTool({"identify", "--files-from", listName});
    EXPECT_EQ(one.Lines().size(), 1 + 12 * SampleNames().size());
    for (const char* threads : {"8", "0"}) {
        const ToolResult many = RunTool({"identify", "-j", threads, "--files-from", listName});
        EXPECT_EQ(many.out, one.out);
        EXPECT_EQ(many.problems, one.problems);
    }
}

TEST_F(Tree, IsGoneThroughSortedByName) {
    const ToolResult result = RunTool({"identify", "-r", "--json", m_folder.Path("")});
    EXPECT_EQ(result.status, 0) << result.problems;
    EXPECT_EQ(PathsOf(result), m_files);
}

TEST_F(Tree, IsAProblemWithoutRecursion) {
    const ToolResult result = RunTool({"identify", "--json", m_folder.Path("b"), m_files[0].string()});
    EXPECT_EQ(result.status, 2);
    const auto objects = result.Objects();
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_TRUE(objects[0].contains("error"));
    EXPECT_EQ(objects[1]["abbreviation"], "MPG1V");
}

TEST_F(Tree, IsNamedByALineOrANul) {
    std::string lines = "\n\n", nuls;
    for (const fs::path& file : m_files) {
        lines += file.string() + "\n";
        nuls += file.string() + '\0';
    }
    lines.pop_back(); // the last line may do without its end
    for (const std::string& text : {lines, nuls}) {
        const std::string list = m_folder.Write("list", AsBytes(text));
        EXPECT_EQ(PathsOf(RunTool({"identify", "--json", "--files-from", list})), m_files);
        EXPECT_EQ(
            PathsOf(RunTool({"identify", "--json", "--files-from", "-"}, {.input = list, .output = ""})),
            m_files);
    }
}

TEST(Tool, EndsWithTheWorstThatHappened) {
    const TempFolder  folder;
    const std::string film = Sample("mpeg1-system.mpg"), text = Sample("text.txt"), out = folder.Path("out");

    const struct {
        std::vector<std::string> arguments;
        int                      status;
    } rows[] = {
        {{"--help"}, 0},
        {{"--version"}, 0},
        {{"identify", "--help"}, 0},
        {{"identify", film}, 0},
        {{"identify", film, text, film}, 1},
        {{"identify", Sample("empty.mpg")}, 1},
        {{"identify", text, "no such file", film}, 2},
        {{"identify", "--files-from", "no such list"}, 2},
        {{"header", film, "-o", out}, 0},
        {{"header", text, "-o", out}, 1},
        {{"header", "no such file", "-o", out}, 2},
        {{"header", film, "-o", folder.Path("no such folder/out")}, 2},
        {{"header", film, "-o", folder.Path("")}, 2},
        {{}, 2},
        {{"identify"}, 2},
        {{"identify", "-j", "x", film}, 2},
        {{"no such command"}, 2},
    };

    for (const auto& row : rows) {
        const ToolResult result = RunTool(row.arguments);
        EXPECT_EQ(result.status, row.status) << testing::PrintToString(row.arguments) << result.problems;
        const bool says = !result.problems.empty();
        EXPECT_EQ(says, row.status == 2 || (row.status == 1 && row.arguments[0] == "header"))
            << result.problems;
    }
}

TEST(ToolHeader, IsTheLibrarysToTheByte) {
    const TempFolder  folder;
    const std::string out = folder.Path("out");
    for (const std::string& name : SampleNames()) {
        CKivBitStream        stream;
        CKivDynaBuffer       header;
        CMObjMpgSystemParser parser;
        stream.SourceFromFile(name.c_str());
        const bool  has = parser.getHeader(&stream, &header) != 0;
        const auto* at  = static_cast<const unsigned char*>(header.GetBufferPtr());
        EXPECT_EQ(RunTool({"header", name, "-o", out}).status, has ? 0 : 1) << name;
        if (has) {
            EXPECT_EQ(ReadWholeFile(out), Bytes(at, at + header.GetSize())) << name;
        }
    }
    EXPECT_EQ(NamesIn(folder.Path("")), std::vector<std::string>{"out"}) << "no temporary file is left";
}

TEST(ToolHeader, GoesToStandardOutputByteForByte) {
    const TempFolder folder;
    // a sequence header full of line feeds, which text would not keep
    const Bytes header = {0, 0, 1, 0xB3, 10, 10, 10, 13, 10, 10, 10, 0};
    Bytes       video  = header;
    video.insert(video.end(), {0, 0, 1, 0xB8, 0, 0, 0, 0, 0, 0, 1, 0});
    const ToolResult result = RunTool({"header", folder.Write("video.m1v", video), "-o", "-"});
    EXPECT_EQ(result.status, 0) << result.problems;
    EXPECT_EQ(result.outBytes, header);
}

TEST(ToolHeader, LeavesTheOldFileWhereThereIsNoNewOne) {
    const TempFolder  folder;
    const Bytes       old  = {1, 2, 3};
    const std::string out  = folder.Write("out", old);
    const std::string film = folder.Write("film", ReadWholeFile(Sample("mpeg1-system.mpg")));
    EXPECT_EQ(RunTool({"header", Sample("text.txt"), "-o", out}).status, 1);
    EXPECT_EQ(ReadWholeFile(out), old);
    EXPECT_EQ(RunTool({"header", film, "-o", folder.Path("./film")}).status, 2) << "the film itself";
    EXPECT_EQ(ReadWholeFile(film), ReadWholeFile(Sample("mpeg1-system.mpg")));
    const ToolResult result = RunTool({"header", "--json", film, "-o", out});
    EXPECT_EQ(result.Objects().at(0)["size"], ReadWholeFile(out).size());
    EXPECT_EQ(NamesIn(folder.Path("")), (std::vector<std::string>{"film", "out"}));
}

} // namespace
