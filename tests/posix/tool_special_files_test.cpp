// The command line tool among files, names and streams that only POSIX systems have.
#include "media.h"
#include "tool_run.h"

#include <sys/stat.h>

namespace {

using namespace test;

TEST(ToolSpecialFiles, EachGetOneLineAndStopNothing) {
    const TempFolder folder;
    fs::create_symlink("/dev/null", folder.Path("a-device"));
    ASSERT_EQ(::mkfifo(folder.Path("b-fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", folder.Path("c-dangling"));
    fs::create_directory_symlink(".", folder.Path("up")); // followed only where it is asked for
    fs::copy_file(kFilm, folder.Path("z-film"));
    EXPECT_EQ(RunTool({"identify", "-r", "--json", folder.Path("")}).Objects().size(), 4U);
    const auto objects = RunTool({"identify", "-r", "--json", "-j", "3", folder.Path("up")}).Objects();
    for (std::size_t i = 0; const char* reason : {"a device", "a FIFO", "No such file"})
        EXPECT_NE(objects.at(i++).value("error", "").find(reason), std::string::npos) << reason;
    EXPECT_EQ(objects.at(3)["recognised"], true);
}

TEST(ToolNames, OfAnyBytesBreakNeitherTableNorJson) {
    const struct {
        std::string name, shown, utf8, bytes; // these where there are path_bytes
    } rows[] = {{"1\n\x1b[31m\x7f\\\"\u00e9\u202e", "1\\n\\x1b[31m\\x7f\\\\\"\u00e9\\xe2\\x80\\xae",
                 "1\n\x1b[31m\x7f\\\"\u00e9\u202e", "-"},
                {"2\xff\xc0\x80\xc3", "2\\xff\\xc0\\x80\\xc3", "2\uFFFD\uFFFD\uFFFD\uFFFD", "32ffc080c3"}};

    const TempFolder folder;
    for (const auto& row : rows) fs::copy_file(kFilm, folder.Path(row.name));
    const auto table   = RunTool({"identify", "-r", folder.Path("")}).out;
    const auto objects = RunTool({"identify", "-r", "--json", folder.Path("")}).Objects();
    for (std::size_t i = 0; const auto& [name, shown, utf8, bytes] : rows) {
        EXPECT_NE(table.find(folder.Path(shown) + '\n'), std::string::npos) << table;
        EXPECT_EQ(objects.at(i)["path"], folder.Path(utf8));
        EXPECT_TRUE(objects[i++].value("path_bytes", "-").ends_with(bytes)) << utf8;
    }
    const std::string name = folder.Path(rows[0].name); // with a newline
    EXPECT_EQ(RunTool({"identify", "-0", "--files-from", folder.Write("list", Text(name))}).status, 0);
    EXPECT_EQ(RunTool({"identify", "--files-from", folder.Write("list", Text(name + '\0'))}).status, 0);
}

TEST(ToolOutput, ThatBreaksIsSaid) {
    for (const Arguments& arguments : {Arguments{"header", kFilm, "-o", "-"},
                                       {"splice", kFilm, kFilm, "-o", "-"},
                                       {"identify", "-j", "4", "-r", KIV_SAMPLES_DIR}}) {
        const ToolResult result = RunTool(arguments, "/dev/full");
        EXPECT_EQ(result.status, 2) << arguments[0];
        EXPECT_EQ(result.problems, "kiv: standard output: No space left on device\n");
    }
    const ToolResult device = RunTool({"splice", kFilm, "-o", "/dev/full"});
    EXPECT_EQ(device.problems, "kiv: /dev/full: No space left on device\n");
}

// Also through a link, and the file's permissions stay.
TEST(ToolOutput, ReplacesAFileWholeOrNotAtAll) {
    for (const std::string command : {"header", "splice"}) {
        const TempFolder  folder;
        const fs::path    file = folder.Write("file", {1});
        const std::string link = folder.Path("link");
        fs::permissions(file, fs::perms{0640});
        fs::create_symlink("file", link);
        fs::create_hard_link(file, folder.Path("old"));
        const std::string words =
            "'" KIV_TOOL "' " + command + " '" + kFilm + "' -o '" + link + "' 2> /dev/null";
        EXPECT_EQ(std::system(("ulimit -f 0; " + words).c_str()) >> 8, 2) << command;
        EXPECT_EQ(ReadWholeFile(file), Bytes{1});
        EXPECT_EQ(RunTool({command, kFilm, "-o", link}).status, 0);
        EXPECT_GT(fs::file_size(file), 1U);
        EXPECT_EQ(fs::file_size(folder.Path("old")), 1U) << "never half written, as it would be in place";
        EXPECT_EQ(fs::status(file).permissions(), fs::perms{0640});
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 3)
            << "temporary files are left";
    }
    EXPECT_EQ(RunTool({"header", kFilm, "-o", "/dev/null"}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

} // namespace
