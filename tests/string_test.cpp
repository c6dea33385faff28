// Strings and string lists, above all where they behave unlike others.
#include "KivUtility.h"

#include <gtest/gtest.h>

namespace {

TEST(String, NullAndCountZeroGiveTheEmptyText) {
    for (const CKivString& s : {CKivString(nullptr), CKivString("abc", 0), CKivString(nullptr, 3)})
        EXPECT_STREQ(s, "");
    EXPECT_TRUE(CKivStringW(static_cast<const unsigned short*>(nullptr)) == CKivStringW());
}

TEST(String, PlusAppendsTextAndNumbersInPlace) {
    CKivString  s("a");
    CKivString& result = s + 5 + -12L + CKivString("y") + s + static_cast<const char*>(s);
    EXPECT_EQ(&result, &s);
    EXPECT_STREQ(s, "a5-12ya5-12ya5-12ya5-12y");
    CKivString numbers;
    EXPECT_STREQ(numbers + 0 + 1U + 2UL + -3LL + 4.9 + sizeof(char), "012-341");

    const unsigned short units[] = {0x20AC, 0}, joined[] = {0x20AC, 0x20AC, 0x20AC, 0};
    CKivStringW          wide(units);
    EXPECT_TRUE((wide + wide + units) == joined && wide != units);
}

TEST(String, CountedCopiesKeepBytesBehindANul) {
    CKivString s("ab\0cd", 5);
    EXPECT_EQ(static_cast<const char*>(s)[3], 'c');
    EXPECT_FALSE(s.Assign("xyz", -1));
    EXPECT_STREQ(s, "ab");
    EXPECT_TRUE(s.Assign("xyz", 2) && s == "xy");
    EXPECT_TRUE(s.Assign("xyz", 0) && s == "");
}

TEST(String, SetIdxCharMayOverwriteTheTerminatorAndNoMore) {
    CKivString s("abc");
    EXPECT_FALSE(s.SetIdxChar(-1, 'x') || s.SetIdxChar(4, 'x'));
    EXPECT_TRUE(s.SetIdxChar(3, 'x') && !s.SetIdxChar(4, 'x'));
    EXPECT_TRUE(s == "abcx" && CKivString(s) == "abcx");
}

TEST(String, WidthsConvertBySignExtensionAndTruncation) {
    EXPECT_EQ(static_cast<const unsigned short*>(Convert8BitsTo16BitsString("\xE9"))[0], 0xFFE9);
    const unsigned short euro[] = {0x20AC, '1', 0};
    EXPECT_STREQ(Convert16BitsTo8BitsString(euro), "\254\061");
}

TEST(StringList, GrowsByFiftyAndRemovesInOrder) {
    CKivStringList list;
    for (int i = 0; i < 51; ++i) {
        list.Add(std::to_string(i).c_str());
        EXPECT_EQ(list.GetCapacity(), i < 50 ? 50 : 100);
    }
    EXPECT_FALSE(list.Remove(-1) || list.Remove(51));
    EXPECT_TRUE(list.Remove(1));
    EXPECT_TRUE(list[0] == "0" && list[1] == "2" && list[49] == "50" && list[50] == "" && list[-1] == "");
    list.Reset();
    EXPECT_EQ(list.GetCount() + list.GetCapacity(), 0);
}

// Both lists of a shallow copy may go, in either order, and a change to a text shows in both.
TEST(StringList, CopiesShareTheirItems) {
    auto first = std::make_unique<CKivStringList>();
    for (const char* text : {"a", "b"}) first->Add(text);
    // a move is a copy
    CKivStringList second(std::move(*first)); // NOLINT(performance-move-const-arg)
    (*first)[1] = "changed";
    first->Remove(0);
    first.reset();
    EXPECT_TRUE(second.GetCount() == 2 && second[0] == "changed" && second[1] == "");
}

TEST(StringList, SplittingAtTabsRepeatsAnEmptyField) {
    CKivStringList    list;
    const char* const rows[][2] = {{"", ""},       {"a\tb\t", "a|b|"}, {"a\t\tb", "a|a|b|"},
                                   {"\ta", "|a|"}, {"\t\t", "||"},     {"ab\tc\t\t\t", "ab|c|c|c|"}};
    for (const auto& [line, joined] : rows) {
        CKivString items;
        for (int i = 0, count = BreakTabbedCharLineToStringList(line, list); i < count; ++i)
            items + list[i] + "|";
        EXPECT_STREQ(items, joined);
    }
    EXPECT_EQ(BreakTabbedCharLineToStringList(nullptr, list), 0);
    list.Add("its\town");
    EXPECT_EQ(BreakTabbedCharLineToStringList(list[0], list), 2);
}

} // namespace
