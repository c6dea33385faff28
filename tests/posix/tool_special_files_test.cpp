// The command line tool among files, names and streams that only POSIX systems have.
#include "tool_run.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace test;
namespace fs = std::filesystem;

const std::string kFilm = std::string(KIV_SAMPLES_DIR) + "/mpeg1-system.mpg";

// A socket that stands at `path` until its end.
class Socket {
public:
    explicit Socket(const std::string& path) : m_descriptor(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }

    Socket(const Socket&)            = delete;
    Socket& operator=(const Socket&) = delete;

    ~Socket() { ::close(m_descriptor); }

private:
    int m_descriptor;
};

TEST(ToolSpecialFiles, EachGetOneLineAndStopNothing) {
    const TempFolder folder;
    const Socket     socket(folder.Path("c-socket"));
    ASSERT_EQ(::mkfifo(folder.Path("b-fifo").c_str(), 0600), 0);
    fs::create_symlink("/dev/null", folder.Path("a-device"));
    fs::create_symlink("nowhere", folder.Path("d-dangling"));
    fs::create_symlink("e-loop", folder.Path("e-loop"));
    fs::copy_file(kFilm, folder.Path("z-film"));
    const ToolResult result = RunTool({"identify", "-r", "--json", "-j", "3", folder.Path("")});
    EXPECT_EQ(result.status, 2);
    const auto objects = result.Objects();
    ASSERT_EQ(objects.size(), 6u);
    const char* reasons[] = {"a device", "a FIFO", "a socket", "No such file", "symbolic links"};
    for (std::size_t i = 0; i < std::size(reasons); ++i) {
        EXPECT_NE(objects[i]["error"].get<std::string>().find(reasons[i]), std::string::npos) << objects[i];
        EXPECT_NE(result.problems.find(reasons[i]), std::string::npos);
    }
    EXPECT_EQ(objects[5]["recognised"], true);
    EXPECT_EQ(std::count(result.problems.begin(), result.problems.end(), '\n'), 5);
}

TEST(ToolSpecialFiles, LinksToFoldersInsideFoldersAreNotFollowed) {
    const TempFolder folder;
    fs::create_directory(folder.Path("inner"));
    fs::create_directory_symlink("..", folder.Path("inner/up"));
    fs::copy_file(kFilm, folder.Path("inner/film"));
    EXPECT_EQ(RunTool({"identify", "-r", "--json", folder.Path("")}).Objects().size(), 1u);
    EXPECT_EQ(RunTool({"identify", "-r", "--json", folder.Path("inner/up")}).Objects().size(), 1u)
        << "asked for";
}

TEST(ToolNames, OfAnyBytesBreakNeitherTableNorJson) {
    const struct {
        std::string name, shown, utf8;
        const char* bytes;
    } rows[] = {
        {"1\nkiv", "1\\nkiv", "1\nkiv", nullptr},
        {"2\x1b[31m\x7f", "2\\x1b[31m\\x7f", "2\x1b[31m\x7f", nullptr},
        {"3\xff\xc3", "3\\xff\\xc3", "3\xEF\xBF\xBD\xEF\xBF\xBD", "33ffc3"},
        {"4\xc0\x80", "4\\xc0\\x80", "4\xEF\xBF\xBD\xEF\xBF\xBD", "34c080"},
        {"5\\n\"", "5\\\\n\"", "5\\n\"", nullptr},
        {"6\xc3\xa9\xe2\x80\xae", "6\xc3\xa9\\xe2\\x80\\xae", "6\xc3\xa9\xe2\x80\xae", nullptr},
    };

    const TempFolder folder;
    for (const auto& row : rows) fs::copy_file(kFilm, folder.Path(row.name));
    const auto lines   = RunTool({"identify", "-r", folder.Path("")}).Lines();
    const auto objects = RunTool({"identify", "-r", "--json", folder.Path("")}).Objects();
    ASSERT_EQ(lines.size(), 1 + std::size(rows));
    ASSERT_EQ(objects.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_TRUE(lines[i + 1].ends_with(folder.Path(rows[i].shown))) << lines[i + 1];
        EXPECT_EQ(objects[i]["path"], folder.Path(rows[i].utf8));
        ASSERT_EQ(objects[i].contains("path_bytes"), rows[i].bytes != nullptr) << objects[i];
        if (rows[i].bytes != nullptr) {
            EXPECT_TRUE(objects[i]["path_bytes"].get<std::string>().ends_with(rows[i].bytes));
        }
    }
}

TEST(ToolOutput, ThatBreaksIsSaid) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"identify", kFilm},
          {"identify", "-j", "4", "-r", "--json", KIV_SAMPLES_DIR},
          {"header", kFilm, "-o", "-"},
          {"--help"}}) {
        const ToolResult result = RunTool(arguments, {.input = "", .output = "/dev/full"});
        EXPECT_EQ(result.status, 2) << arguments[0];
        EXPECT_EQ(result.problems, "kiv: standard output: No space left on device\n");
    }
}

TEST(ToolOutput, IsWrittenIntoADeviceAndNotOverIt) {
    EXPECT_EQ(RunTool({"header", kFilm, "-o", "/dev/null"}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(ToolOutput, ReplacesTheFileBehindALinkAndKeepsItsPermissions) {
    const TempFolder folder;
    const fs::path   file = folder.Write("file", {1});
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("file", folder.Path("link"));
    EXPECT_EQ(RunTool({"header", kFilm, "-o", folder.Path("link")}).status, 0);
    EXPECT_TRUE(fs::is_symlink(folder.Path("link")));
    EXPECT_GT(fs::file_size(file), 1u);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

// No file of this process and its children gets beyond so many bytes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : m_onExcess(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }

    FileSizeLimit(const FileSizeLimit&)            = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_onExcess);
    }

private:
    void (*m_onExcess)(int);
    rlimit m_before{};
};

TEST(ToolOutput, ThatDoesNotFitLeavesTheOldFileAndNothingElse) {
    const TempFolder  folder;
    const std::string out    = folder.Write("out", {1, 2, 3});
    const int         status = [&] {
        const FileSizeLimit limit(64);
        return RunTool({"header", kFilm, "-o", out}).status;
    }();
    EXPECT_EQ(status, 2);
    EXPECT_EQ(ReadWholeFile(out), (Bytes{1, 2, 3}));
    EXPECT_EQ(NamesIn(folder.Path("")), std::vector<std::string>{"out"});
}

// What `kiv identify FILE` prints on a terminal of so many columns.
std::string OnTerminal(std::size_t columns, const std::string& file) {
    winsize size{
        .ws_row = 24, .ws_col = static_cast<unsigned short>(columns), .ws_xpixel = 0, .ws_ypixel = 0};
    int       terminal = -1;
    const int child    = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        ::execl(KIV_TOOL, "kiv", "identify", file.c_str(), nullptr);
        ::_exit(127);
    }
    std::string text;
    char        block[4096];
    for (ssize_t got = 0; (got = ::read(terminal, block, sizeof block)) > 0;) {
        text.append(block, static_cast<std::size_t>(got));
    }
    ::close(terminal);
    ::waitpid(child, nullptr, 0);
    return text;
}

TEST(ToolTable, FitsTheTerminalAndKeepsTheEndOfAName) {
    const TempFolder  folder;
    const std::string name(60, 'x');
    fs::copy_file(kFilm, folder.Path(name + "-end"));
    for (const std::size_t columns : {80U, 81U, 100U, 132U}) {
        std::istringstream text(OnTerminal(columns, folder.Path(name + "-end")));
        std::size_t        lines = 0;
        for (std::string line; std::getline(text, line); ++lines) EXPECT_LE(line.size(), columns + 1) << line;
        EXPECT_EQ(lines, 2u);
        EXPECT_NE(text.str().find("-end"), std::string::npos);
    }
}

} // namespace
