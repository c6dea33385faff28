// What kiv splice leaves behind where writing or reading fails midway.
#include "media.h"
#include "tool_run.h"

#include <sys/stat.h>

#include <future>

namespace {

using namespace test;

TEST(ToolSplice, LeavesTheOldFileWhereTheDiskIsFull) {
    const TempFolder  folder;
    const std::string old = folder.Write("old", {1, 2, 3}), link = folder.Path("link");
    const std::string film = folder.Write("film", ReadWholeFile(kFilm));
    fs::create_symlink("film", link);
    EXPECT_EQ(RunTool({"splice", "-o", link, film}).status, 2) << "the output is the input behind a link";
    const std::string words = "'" KIV_TOOL "' splice -o '" + old + "' '" + kFilm + "' 2> /dev/null";
    EXPECT_NE(std::system(("trap '' XFSZ; ulimit -f 100; " + words).c_str()), 0);
    EXPECT_EQ(ReadWholeFile(old), (Bytes{1, 2, 3}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 3) << "something is left";
    for (const Arguments& out : {Arguments{"-o", "/dev/full"}, {"-o", "-"}}) {
        Arguments command = {"splice", kFilm, kFilm};
        command.insert(command.end(), out.begin(), out.end());
        const ToolResult result = RunTool(command, "/dev/full");
        EXPECT_EQ(result.status, 2) << out[1];
        EXPECT_NE(result.problems.find("No space left on device"), std::string::npos) << result.problems;
    }
}

// The tool has looked at its inputs when it waits for whoever reads the FIFO.
TEST(ToolSplice, SaysThatAnInputHasBecomeShorter) {
    const TempFolder  folder;
    const Bytes       once = ReadWholeFile(kFilm); // as often as more than a block and what the FIFO holds
    const std::string film = folder.Write("film", Join({once, once, once, once, once, once})),
                      fifo = folder.Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    auto result = std::async(std::launch::async, [&] { return RunTool({"splice", "-o", fifo, film}); });
    std::ifstream reader(fifo); // waits for the tool in its turn
    fs::resize_file(film, 50000);
    while (reader.ignore(1 << 16)) {
    }
    const ToolResult ended = result.get();
    EXPECT_EQ(ended.status, 2);
    EXPECT_NE(ended.problems.find("become shorter"), std::string::npos) << ended.problems;
}

} // namespace
