// Paths of every kind taken apart, the same on both platforms.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Row {
    const char* path;
    int         flag;
    const char* root;
    const char* levels; // each with a bar behind it
    const char* fileName;
    const char* baseName;
    const char* extension;
};

constexpr Row kRows[] = {
    {"clip.mpg", 0, "", "", "clip.mpg", "clip", "mpg"},
    {"/srv/media/clip.tar.gz", 0, "/", "srv|media|", "clip.tar.gz", "clip.tar", "gz"},
    {"C:\\media\\clip.MPG", 0, "C:\\", "media|", "clip.MPG", "clip", "MPG"},
    {"c:/media//old\\clip", 0, "c:/", "media|old|", "clip", "clip", ""},
    {"C:clip.mpg", 0, "C:", "", "clip.mpg", "clip", "mpg"},
    {"\\\\server\\share\\a\\b.avi", 0, "\\\\server\\share\\", "a|", "b.avi", "b", "avi"},
    {"//server/share", 1, "//server/share", "", "", "", ""},
    {"//tmp/clip.asf", 0, "//tmp/", "", "clip.asf", "clip", "asf"},
    {"//clip.asf", 0, "//", "", "clip.asf", "clip", "asf"},
    {"///tmp/x", 0, "///", "tmp|", "x", "x", ""},
    {"a/b.c/d", 0, "", "a|b.c|", "d", "d", ""},
    {"a/b/", 0, "", "a|b|", "", "", ""},
    {"a/b", 1, "", "a|b|", "", "", ""},
    {"C:", 1, "C:", "", "", "", ""},
    {"../.hidden", 0, "", "..|", ".hidden", "", "hidden"},
    {"dot.", 0, "", "", "dot.", "dot", ""},
    {"/", 0, "/", "", "", "", ""},
    {"", 0, "", "", "", "", ""},
    {nullptr, 0, "", "", "", "", ""},
};

TEST(PathParser, TakesEveryKindOfPathApart) {
    for (const Row& row : kRows) {
        const CPathParser parts(row.path, row.flag);
        std::string       levels;
        for (int i = 0; i < parts.GetLevelCount(); ++i) levels.append(parts.GetLevel(i)).append("|");
        EXPECT_STREQ(parts.GetRoot(), row.root) << row.path;
        EXPECT_EQ(levels, row.levels) << row.path;
        EXPECT_STREQ(parts.GetFileName(), row.fileName) << row.path;
        EXPECT_STREQ(parts.GetBaseName(), row.baseName) << row.path;
        EXPECT_STREQ(parts.GetExtName(), row.extension) << row.path;
        EXPECT_TRUE(parts.GetLevel(parts.GetLevelCount()) == "" && parts.GetLevel(-1) == "") << row.path;
    }
}

} // namespace
