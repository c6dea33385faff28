// Strings and string lists, above all where they behave unlike others.
#include "KivUtility.h"

#include <gtest/gtest.h>

namespace {

TEST(String, NullAndCountZeroGiveTheEmptyText) {
    for (const CKivString& s :
         {CKivString(), CKivString(nullptr), CKivString("abc", 0), CKivString(nullptr, 3)}) {
        EXPECT_TRUE(s == "");
        EXPECT_NE(static_cast<const char*>(s), nullptr);
    }
    const unsigned short units[] = {'a', 'b', 0};
    EXPECT_TRUE(CKivStringW(units, 0) == CKivStringW());
    EXPECT_TRUE(CKivStringW(static_cast<const unsigned short*>(nullptr)) == CKivStringW());
}

TEST(String, PlusAppendsInPlace) {
    CKivString  s("a");
    CKivString& result = s + 5 + -12L + "x" + CKivString("y") + s;
    EXPECT_EQ(&result, &s);
    EXPECT_TRUE(s == "a5-12xya5-12xy");
    s + static_cast<const char*>(s);
    EXPECT_TRUE(s == "a5-12xya5-12xya5-12xya5-12xy");
    CKivString numbers;
    numbers + 0 + 1U + 2UL + -3LL + 4.9 + sizeof(char);
    EXPECT_TRUE(numbers == "012-341");

    const unsigned short units[] = {0x20AC, 0xFFFF, 0};
    CKivStringW          wide(units);
    wide + wide + units;
    const unsigned short joined[] = {0x20AC, 0xFFFF, 0x20AC, 0xFFFF, 0x20AC, 0xFFFF, 0};
    EXPECT_TRUE(wide == joined);
    EXPECT_TRUE(wide != units);
}

TEST(String, CountedCopiesKeepBytesBehindANul) {
    CKivString s("ab\0cd", 5);
    EXPECT_TRUE(s == "ab");
    EXPECT_EQ(static_cast<const char*>(s)[3], 'c');
    EXPECT_FALSE(s.Assign("xyz", -1));
    EXPECT_TRUE(s == "ab");
    EXPECT_TRUE(s.Assign("xyz", 2));
    EXPECT_TRUE(s == "xy");
    EXPECT_TRUE(s.Assign("xyz", 0));
    EXPECT_TRUE(s == "");
}

TEST(String, SetIdxCharMayOverwriteTheTerminatorAndNoMore) {
    CKivString s("abc");
    EXPECT_FALSE(s.SetIdxChar(-1, 'x'));
    EXPECT_FALSE(s.SetIdxChar(4, 'x'));
    EXPECT_TRUE(s.SetIdxChar(3, 'x'));
    EXPECT_FALSE(s.SetIdxChar(4, 'x'));
    EXPECT_TRUE(s == "abcx");
    EXPECT_TRUE(CKivString(s) == "abcx");
    EXPECT_TRUE(s.SetIdxChar(1, '\0'));
    EXPECT_FALSE(s.SetIdxChar(2, 'x'));
}

TEST(String, WidthsConvertBySignExtensionAndTruncation) {
    EXPECT_EQ(static_cast<const unsigned short*>(Convert8BitsTo16BitsString("\xE9"))[0], 0xFFE9);
    const unsigned short euro[] = {0x20AC, 'b', 0};
    EXPECT_TRUE(Convert16BitsTo8BitsString(euro)
                == "\xAC"
                   "b");
}

TEST(StringList, GrowsByFiftyAndRemovesInOrder) {
    CKivStringList list;
    for (int i = 0; i < 51; ++i) {
        EXPECT_TRUE(list.Add(std::to_string(i).c_str()));
        EXPECT_EQ(list.GetCapacity(), i < 50 ? 50 : 100);
    }
    EXPECT_FALSE(list.Remove(-1));
    EXPECT_FALSE(list.Remove(51));
    EXPECT_TRUE(list.Remove(1));
    EXPECT_TRUE(list[0] == "0" && list[1] == "2" && list[49] == "50");
    EXPECT_TRUE(list[50] == "" && list[-1] == "");
    EXPECT_EQ(list.GetCount(), 50);
    EXPECT_EQ(list.GetCapacity(), 100);
    EXPECT_TRUE(list.Reset());
    EXPECT_EQ(list.GetCapacity(), 0);
}

// Both lists of a shallow copy may go, in either order, and a change to a text shows in both.
TEST(StringList, CopiesShareTheirItems) {
    auto first = std::make_unique<CKivStringList>();
    first->Add("a");
    first->Add("b");
    CKivStringList second(*first);
    EXPECT_EQ(&second[0], &(*first)[0]);
    (*first)[1] = "changed";
    EXPECT_TRUE(second[1] == "changed");
    CKivStringList moved(std::move(second));
    EXPECT_TRUE(second[1] == "changed") << "a move is a copy"; // NOLINT(bugprone-use-after-move)
    first->Remove(0);
    first.reset();
    EXPECT_EQ(second.GetCount(), 2);
    EXPECT_TRUE(second[0] == "changed" && second[1] == "");
}

TEST(StringList, SplittingAtTabsRepeatsAnEmptyField) {
    const struct {
        const char*              line;
        std::vector<std::string> items;
    } rows[] = {{nullptr, {}},
                {"", {}},
                {"a\tb", {"a", "b"}},
                {"a\tb\t", {"a", "b"}},
                {"a\t\tb", {"a", "a", "b"}},
                {"\ta", {"", "a"}},
                {"\t\t", {"", ""}},
                {"ab\tc\t\t\t", {"ab", "c", "c", "c"}}};

    CKivStringList list;
    list.Add("its\town");
    EXPECT_EQ(BreakTabbedCharLineToStringList(list[0], list), 2);
    for (const auto& row : rows) {
        EXPECT_EQ(BreakTabbedCharLineToStringList(row.line, list), static_cast<int>(row.items.size()));
        for (int i = 0; i < list.GetCount(); ++i) {
            EXPECT_STREQ(list[i], row.items[static_cast<std::size_t>(i)].c_str()) << row.line;
        }
    }
}

} // namespace
