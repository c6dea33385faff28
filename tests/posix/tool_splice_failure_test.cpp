// What kiv splice leaves behind where writing or reading fails midway.
#include "media.h"
#include "tool_run.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <future>
#include <spawn.h>
#include <unistd.h>

namespace {

using namespace test;

TEST(ToolSplice, FollowsLinksAndMayJoinWithoutReport) {
    const TempFolder  folder;
    const std::string film = folder.Write("film", ReadWholeFile(kFilm)), made = folder.Path("made");
    fs::create_symlink("film", folder.Path("link"));
    EXPECT_EQ(RunTool({"splice", "-o", folder.Path("link"), film}).status, 2) << "the output is the input";
    fs::create_symlink("made", folder.Path("dangling"));
    EXPECT_EQ(RunTool({"splice", "-o", folder.Path("dangling"), film}, "/dev/full").status, 1);
    EXPECT_GT(fs::file_size(made), 3U);
}

// The film is as long as it takes: what lies behind it is a hole.
TEST(ToolSplice, LeavesNothingBehindWhenASignalEndsIt) {
    const TempFolder  folder;
    const std::string old = folder.Write("old", {1, 2, 3}), film = folder.Write("film", ReadWholeFile(kFilm));
    fs::resize_file(film, std::uintmax_t{1} << 36);
    fs::permissions(old, fs::perms{0600});
    // to a program that is started in the background some signals mean nothing, and so to what it starts
    sigset_t          all;
    posix_spawnattr_t attributes;
    ::sigfillset(&all);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    const std::string words = "ulimit -c 0; exec '" KIV_TOOL "' splice -o '" + old + "' '" + film + "' 2> '"
                              + folder.Path("said") + "'";
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) {
        const char* const shell[] = {"sh", "-c", words.c_str(), nullptr};
        pid_t             child   = 0;
        ASSERT_EQ(::posix_spawn(&child, "/bin/sh", nullptr, &attributes, const_cast<char**>(shell), environ),
                  0);
        for (bool writes = false; !writes;) {
            for (const fs::directory_entry& entry : fs::directory_iterator(folder.Path(""))) {
                if (!entry.path().filename().string().starts_with(".kiv-")) continue;
                EXPECT_EQ(entry.status().permissions(), fs::perms{0600}) << "while it is written";
                writes = entry.file_size() != 0;
            }
        }
        ::kill(child, signal);
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << ' ' << status;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 3) << "something is left";
        EXPECT_NE(ReadWholeText(folder.Path("said")).find("interrupted"), std::string::npos);
    }
    ::posix_spawnattr_destroy(&attributes);
    EXPECT_EQ(ReadWholeFile(old), (Bytes{1, 2, 3}));
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
