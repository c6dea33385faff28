// The command line tool as a user meets it: what it prints, what it ends with, what it leaves on the disk.
#include "media.h"
#include "tool_run.h"

namespace {

using namespace test;

TEST(ToolIdentify, TellsInOrderWhatTheLibraryTellsWithAnyNumberOfThreads) {
    const TempFolder folder;
    std::string      names;
    for (int i = 0; i < 12; ++i)
        for (const fs::path& sample : Samples()) names += sample.string() + "\nno such file\n";
    const auto list     = folder.Write("list", Text(names));
    const auto identify = [&](const char* threads, const char* option) {
        return RunTool({"identify", "--json", option, "-j", threads, "--files-from", list});
    };
    const ToolResult one = identify("1", "--json"), many = identify("8", "--json");
    EXPECT_EQ(many.out + many.problems, one.out + one.problems);
    EXPECT_NE(one.out.find("{E06D8022-DB46-11CF-B4D1-00805F6CBBEA}"), std::string::npos) << "media types";

    const auto objects = one.Objects(), quick = identify("0", "--quick").Objects();
    ASSERT_EQ(objects.size(), 12 * 2 * Samples().size());
    CMObjParserMgr manager;
    for (std::size_t i = 0; const fs::path& sample : Samples()) {
        const Media told   = MediaOf(*manager.parse(sample.string().c_str()));
        const auto& object = objects[i];
        EXPECT_EQ((Media{object["format"], object["frames"], told.seconds, object["bit_rate"]}), told);
        EXPECT_NEAR(object["duration"].get<double>(), told.seconds, 0.0006) << object;
        EXPECT_EQ(object["path"], sample.string());
        EXPECT_EQ(object["size"], fs::file_size(sample)) << object;
        EXPECT_EQ(quick.at(i)["format"], int{manager.checkFormat(sample.string().c_str())}) << object;
        i += 2;
    }
}

TEST(ToolIdentify, TakesFoldersSortedByNameAndListsOfLinesOrNuls) {
    const TempFolder folder;
    std::string      lines, nuls;
    for (const char* name : {"a.mpg", "b/a.mpg", "b/c/d.mpg", "b/z.mpg", "b c.mpg", "b.mpg", "z.mpg"}) {
        const fs::path file = fs::path(folder.Path(name)).make_preferred();
        fs::create_directories(file.parent_path());
        fs::copy_file(kFilm, file);
        lines += "\n\n" + file.string(); // the last line may do without its end
        nuls += file.string() + '\0';
    }
    const ToolResult tree = RunTool({"identify", "-r", "--json", folder.Path("")});
    EXPECT_EQ(tree.Objects().size(), 7U);
    for (const std::string& text : {lines, nuls}) {
        const std::string list = folder.Write("list", Text(text));
        EXPECT_EQ(RunTool({"identify", "--json", "--files-from", list}).out, tree.out);
        EXPECT_EQ(RunTool({"identify", "--json", "--files-from", "-"}, "", list).out, tree.out);
    }
}

TEST(Tool, EndsWithTheWorstThatHappened) {
    const std::string none = "no such file", text = KIV_SAMPLES_DIR "/text.txt";
    EXPECT_EQ(RunTool({"--help"}).status, 0);
    EXPECT_EQ(RunTool({"identify", kFilm, text, kFilm}).status, 1);
    for (const Arguments& arguments : {Arguments(),
                                       {"identify", "-j", "x", kFilm},
                                       {"identify", KIV_SAMPLES_DIR, text},
                                       {"identify", "--files-from", none},
                                       {"header", none, "-o", "-"},
                                       {"header", kFilm, "-o", none + "/out"}}) {
        const ToolResult result = RunTool(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_NE(result.problems, "") << testing::PrintToString(arguments);
    }
}

TEST(ToolHeader, IsTheLibrarysToTheByteOrLeavesTheOldFile) {
    const TempFolder  folder;
    const std::string out = folder.Path("out"), piped = folder.Path("piped");
    for (const fs::path& sample : Samples()) { // some with line feeds, which a stream of text would not keep
        CKivBitStream        stream;
        CKivDynaBuffer       header;
        CMObjMpgSystemParser parser;
        stream.SourceFromFile(sample.string().c_str());
        const bool  has  = parser.getHeader(&stream, &header) != 0;
        const Bytes told = Content(header), old = {1, 2, 3};
        EXPECT_EQ(RunTool({"header", sample.string(), "-o", folder.Write("out", old)}).status, has ? 0 : 1);
        EXPECT_EQ(ReadWholeFile(out), has ? told : old) << sample;
        RunTool({"header", sample.string(), "-o", "-"}, piped);
        EXPECT_EQ(ReadWholeFile(piped), told) << sample;
    }
    const Bytes film = ReadWholeFile(kFilm);
    EXPECT_EQ(RunTool({"header", folder.Write("out", film), "-o", folder.Path("./out")}).status, 2);
    EXPECT_EQ(ReadWholeFile(out), film) << "the film itself";
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 2) << "temporary files are left";
}

} // namespace
