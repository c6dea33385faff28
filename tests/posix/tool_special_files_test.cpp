// The command line tool among files, names and streams that only POSIX systems have.
#include "media.h"
#include "tool_run.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <spawn.h>
#include <unistd.h>

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

// The most memory that `kiv identify` takes for the files, in bytes; 0 where it does not end as it should.
std::uint64_t MemoryToIdentify(const TempFolder& folder) {
    const std::string name    = folder.Path("");
    const char* const words[] = {KIV_TOOL, "identify", "--json", "-r", name.c_str(), nullptr};
    pid_t             child   = 0;
    int               status  = 0;
    rusage            used{};
    if (::posix_spawn(&child, KIV_TOOL, nullptr, nullptr, const_cast<char**>(words), environ) != 0) return 0;
    if (::wait4(child, &status, 0, &used) != child || !WIFEXITED(status) || WEXITSTATUS(status) > 1) return 0;
    return static_cast<std::uint64_t>(used.ru_maxrss) * 1024;
}

// Nothing that a file claims or seems to hold costs memory, and none of it is read for ever.
TEST(ToolSpecialFiles, AsLargeAndAsHollowAsTheyMayBeTakeLittleMemory) {
    constexpr std::uintmax_t kGiB = std::uintmax_t{1} << 30;
    const TempFolder         folder;
    for (const char* name : {"a.mpg", "a.vob", "a.ts", "a.mp3", "a.avi", "a.asf", "a.wmv", "a.rm", "a.mov",
                             "a.mp4", "a.264", "a.dat", "a"})
        fs::resize_file(folder.Write(name, {}), kGiB);
    fs::resize_file(folder.Write("tag.mp3", Join({Text("ID3"), {4, 0, 0, 0x7F, 0x7F, 0x7F, 0x7F}})), kGiB);
    const auto atom = [](const char* type, const Bytes& content, unsigned more = 0) {
        return Join({Big(content.size() + 8 + more), Text(type), content});
    };
    // a table of sample sizes with 2^30 entries
    const Bytes sizes = atom("stsz", Join({Bytes(8), Big(1U << 30)}), 1U << 31);
    const Bytes media = atom("mdia",
                             Join({atom("hdlr", Join({Bytes(8), Text("vide"), Bytes(12)})),
                                   atom("minf", atom("stbl", sizes, 1U << 31), 1U << 31)}),
                             1U << 31);
    const Bytes movie = atom("moov", atom("trak", media, 1U << 31), 1U << 31);
    for (const std::uintmax_t size : {std::uintmax_t{321}, 4 * kGiB})
        fs::resize_file(
            folder.Write(std::to_string(size) + ".mp4", Join({atom("ftyp", Text("isom")), movie})), size);
    const std::uint64_t memory = MemoryToIdentify(folder);
    EXPECT_GT(memory, 0U);
#if !defined(KIV_SANITIZED)
    EXPECT_LE(memory, 16U << 20);
#endif
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
    // a header is so short that only no room at all is too little, which ends sanitizers before they begin
    const std::pair<std::string, std::string> rows[] = {{"header", "trap '' XFSZ; ulimit -f 0; "},
                                                        {"splice", "ulimit -f 100; "}};
    for (const auto& [command, noRoom] : rows) {
        const TempFolder  folder;
        const fs::path    file = folder.Write("file", {1});
        const std::string link = folder.Path("link");
        fs::permissions(file, fs::perms{0640});
        fs::create_symlink("file", link);
        fs::create_hard_link(file, folder.Path("old"));
        std::string words = noRoom;
        words.append("'" KIV_TOOL "' ").append(command).append(" '").append(kFilm);
        words.append("' -o '").append(link).append("' 2> /dev/null");
        const int status = std::system(words.c_str()) >> 8;
        EXPECT_TRUE(status == 2 || (command == "header" && status != 0)) << command << ' ' << status;
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
