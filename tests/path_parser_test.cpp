// Paths of every kind taken apart, the same on both platforms.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// "root;level|level|;file name;base name;extension"
std::string Shown(const CPathParser& parts) {
    CKivString shown(parts.GetRoot());
    shown + ";";
    for (int i = -1; i <= parts.GetLevelCount();
         ++i) { // those before the first and behind the last are empty
        shown + parts.GetLevel(i);
        if (i >= 0 && i < parts.GetLevelCount()) shown + "|";
    }
    return std::string(shown + ";" + parts.GetFileName() + ";" + parts.GetBaseName() + ";"
                       + parts.GetExtName());
}

TEST(PathParser, TakesEveryKindOfPathApart) {
    struct {
        const char* path;
        int         flag;
        const char* parts;
    } const rows[] = {
        {"/srv/media/clip.tar.gz", 0, "/;srv|media|;clip.tar.gz;clip.tar;gz"},
        {"C:\\media\\clip.MPG", 0, "C:\\;media|;clip.MPG;clip;MPG"},
        {"c:/media//old\\clip", 0, "c:/;media|old|;clip;clip;"},
        {"C:clip.mpg", 0, "C:;;clip.mpg;clip;mpg"},
        {"\\\\server\\share\\a\\b.avi", 0, "\\\\server\\share\\;a|;b.avi;b;avi"},
        {"//server/share", 1, "//server/share;;;;"},
        {"//tmp/clip.asf", 0, "//tmp/;;clip.asf;clip;asf"},
        {"//clip.asf", 0, "//;;clip.asf;clip;asf"},
        {"///tmp/x", 0, "///;tmp|;x;x;"},
        {"a/b.c/d", 0, ";a|b.c|;d;d;"},
        {"a/b/", 0, ";a|b|;;;"},
        {"a/b", 1, ";a|b|;;;"},
        {"C:", 1, "C:;;;;"},
        {"../.hidden", 0, ";..|;.hidden;;hidden"},
        {"dot.", 0, ";;dot.;dot;"},
        {"/", 0, "/;;;;"},
        {"", 0, ";;;;"},
        {nullptr, 0, ";;;;"},
    };

    for (const auto& row : rows) EXPECT_EQ(Shown(CPathParser(row.path, row.flag)), row.parts) << row.path;
}

} // namespace
