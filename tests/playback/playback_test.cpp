// The playback libraries, with stand-ins for them beside this program: see standin.cpp.
#include "PlaybackLibrary.h"
#include "media.h"
#include "platform/executable.h"
#include "platform/library.h"

namespace {

using namespace test;
using kiv::PlaybackLibrary;
using kiv::platform::Library;

Media Parse(const TempFolder& folder, const char* name, std::string_view content) {
    CMObjParserMgr manager;
    return MediaOf(*manager.parse(folder.Write(name, Text(content)).c_str()));
}

TEST(PlaybackLibraries, OpenTheirRecordingsAndCloseThem) {
    const TempFolder folder;
    const auto       library = Library::Load("HikPlayM4"); // stays loaded, and with it its count
    ASSERT_TRUE(library);
    EXPECT_EQ(Parse(folder, "a.264", "HikPlayM4 12.5"), (Media{23, 312, 12.5, 8}));
    EXPECT_EQ(Parse(folder, "a.264", "dhplay 2 and more"), (Media{26, 50, 2, 68}));
    EXPECT_EQ(Parse(folder, "a.264", "another 2"), Media{});
    EXPECT_EQ(Parse(folder, "a.mpg", "HikPlayM4 12.5"), Media{}) << "asked by extension alone";
    for (const char* length : {"-1", "0", "nan", "inf", "-inf", "nothing", ""})
        EXPECT_EQ(Parse(folder, "a.264", std::string("HikPlayM4 ") + length), Media{}) << length;
    EXPECT_EQ(reinterpret_cast<int (*)()>(library->Find("HikPlayM4_OpenFiles"))(), 0);

    const std::string path = folder.Write("b.264", Text("dhplay 3"));
    CMObjH264Parser   parser;
    CKivBitStream     stream;
    parser.SetFileName(path.c_str());
    ASSERT_EQ(stream.SourceFromFile(path.c_str()), 1);
    EXPECT_EQ(parser.QuickCheck(&stream), kKivFmt_H264DhPlay);
    EXPECT_EQ(parser.GetDuration(), 0);
    EXPECT_EQ(parser.ParseFile(&stream), kKivFmt_H264DhPlay);
    EXPECT_EQ(parser.GetDurationOrigin(), kKivOrigin_Declared);
    EXPECT_EQ(parser.GetFramesOrigin(), kKivOrigin_Estimated);
    parser.SetFileName(nullptr);
    EXPECT_EQ(parser.ParseFile(&stream), kKivFmt_Unknown) << "no name, no library";
}

TEST(PlaybackLibraries, OnesThatLackAFunctionAreIgnored) {
    const TempFolder  folder;
    const std::string path = folder.Write("a.264", Text("dhplay 2"));
    const auto ask = [&](const PlaybackLibrary& l) { return kiv::AskPlaybackLibrary(l, path.c_str()); };
    const PlaybackLibrary whole = kiv::kPlaybackLibraries[1];
    EXPECT_EQ(ask(whole), 2);
    for (const auto member : {&PlaybackLibrary::name, &PlaybackLibrary::open, &PlaybackLibrary::length,
                              &PlaybackLibrary::close}) {
        PlaybackLibrary lacking = whole;
        lacking.*member         = "dhplay_NotThere";
        EXPECT_FALSE(ask(lacking)) << lacking.name << lacking.open << lacking.length << lacking.close;
    }
}

// One that lies in the working directory is not loaded; the same file beside the program would be.
TEST(PlaybackLibraries, AreNotTakenFromTheWorkingDirectory) {
    namespace fs = std::filesystem;
    const TempFolder folder;
    const fs::path   beside = kiv::platform::ExecutableFolder();
    const auto       named  = [](const char* name) {
        return KIV_LIBRARY_PREFIX + std::string(name) + KIV_LIBRARY_SUFFIX;
    };
    fs::copy_file(beside / named("dhplay"), folder.Path(named("planted")));
    const fs::path before = fs::current_path();
    fs::current_path(fs::path(folder.Path("")));
    EXPECT_FALSE(Library::Load("planted"));
    EXPECT_TRUE(Library::Load("dhplay"));
    fs::current_path(before);
}

} // namespace
