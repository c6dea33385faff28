// The registry manager, on whichever registry the system has.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

const char kTestKey[] = "SOFTWARE\\Halvorn\\KivUtilityTest";

std::string Below(const std::string& name) { return std::string(kTestKey) + '\\' + name; }

std::vector<std::string> Items(const CKivStringList& list) {
    std::vector<std::string> items(static_cast<std::size_t>(list.GetCount()));
    std::generate(items.begin(), items.end(), [&list, i = 0]() mutable { return std::string(list[i++]); });
    return items;
}

std::vector<std::string> SubKeys(CKivRegistryMgr& node) {
    CKivStringList list;
    list.Add("what was in the list before");
    EXPECT_EQ(node.GetSubKeys(list), 1);
    return Items(list);
}

// A node of the tests' own, empty at the start and gone at the end.
class Registry : public testing::Test {
protected:
    void SetUp() override {
        Remove();
        ASSERT_EQ(node.OpenNode(kTestKey, 1), 1);
    }

    void TearDown() override { Remove(); }

    static void Remove() {
        CKivRegistryMgr all(HKEY_CURRENT_USER);
        EXPECT_TRUE(all.OpenNode(kTestKey, 0) == 0 || all.DeleteNode(1) == 1);
    }

    static bool Exists(const std::string& path) {
        return CKivRegistryMgr(HKEY_CURRENT_USER).OpenNode(path.c_str(), 0) == 1;
    }

    // One value of every kind, each named for what it is.
    void WriteOneOfEach() {
        const unsigned char bytes[] = {0x78, 0x56, 0x34, 0x12, 0xFF};
        ASSERT_EQ(node.Update("text", "seven"), 1);
        ASSERT_EQ(node.Update("abc", "abc"), 1);
        ASSERT_EQ(node.Update("number", 0x12345678L), 1);
        ASSERT_EQ(node.UpdateEx("4 bytes", bytes, 4), 1);
        ASSERT_EQ(node.UpdateEx("5 bytes", bytes, 5), 1);
        ASSERT_EQ(node.UpdateEx("no bytes", nullptr, 0), 1);
    }

    CKivRegistryMgr node{HKEY_CURRENT_USER};
};

TEST_F(Registry, NumberReadsTakeNumbersAndBlocksOfFourBytes) {
    WriteOneOfEach();

    const struct {
        const char*   name;
        unsigned long number;
        int           result;
    } rows[] = {{"missing", 7, 0},          {"text", 7, 1},    {"abc", 7, 1},     {"number", 0x12345678, 1},
                {"4 bytes", 0x12345678, 1}, {"5 bytes", 7, 1}, {"no bytes", 7, 1}};

    for (const auto& row : rows) {
        unsigned long n = 1;
        EXPECT_EQ(node.ReadValue(row.name, n, 7UL), row.result) << row.name;
        EXPECT_EQ(n, row.number) << row.name;
    }
}

TEST_F(Registry, NumbersKeepTheirLower32BitsAndTheirSign) {
    for (const long written : {0L, -1L, 0x7FFFFFFFL, -0x7FFFFFFFL - 1}) {
        unsigned long asLong     = 7;
        unsigned int  asUnsigned = 7;
        int           asInt      = 7;
        ASSERT_EQ(node.Update("n", written), 1);
        EXPECT_EQ(node.ReadValue("n", asLong, 3UL) + node.ReadValue("n", asUnsigned, 3U)
                      + node.ReadValue("n", asInt, 3),
                  3);
        EXPECT_EQ(asLong, static_cast<std::uint32_t>(written));
        EXPECT_EQ(asUnsigned, static_cast<std::uint32_t>(written));
        EXPECT_EQ(asInt, static_cast<int>(written));
    }
    int missing = 0;
    EXPECT_EQ(node.ReadValue("missing", missing, -5), 0);
    EXPECT_EQ(missing, -5);
}

TEST_F(Registry, TextReadsFallBackToTheDefault) {
    WriteOneOfEach();

    const struct {
        const char* name;
        const char* text;
        int         result;
    } rows[] = {{"missing", "def", 0}, {"text", "seven", 1}, {"number", "def", 1}, {"4 bytes", "def", 1}};

    for (const auto& row : rows) {
        char       buffer[16] = "before";
        CKivString string("before");
        EXPECT_EQ(node.ReadValue(row.name, buffer, "def"), row.result) << row.name;
        EXPECT_EQ(node.ReadValue(row.name, string, "def"), row.result) << row.name;
        EXPECT_STREQ(buffer, row.text) << row.name;
        EXPECT_STREQ(string, row.text) << row.name;
    }
    char       buffer[16] = "before";
    CKivString string("before");
    EXPECT_EQ(node.ReadValue("missing", buffer, nullptr), 0);
    EXPECT_EQ(node.ReadValue("missing", string, nullptr), 0);
    EXPECT_STREQ(buffer, "before");
    EXPECT_STREQ(string, "before");
}

TEST_F(Registry, SizedTextReadsStayInTheirBuffer) {
    WriteOneOfEach();

    const struct {
        const char*  name;
        unsigned int size;
        int          result;
        const char*  def;
        const char*  text;
    } rows[] = {
        {"missing", 4, 0, "abcd", "before"},
        {"missing", 4, 1, "def", "def"},
        {"abc", 4, 1, "d", "d"},
        {"abc", 5, 1, "d", "abc"},
        {"number", 4, 1, "d", "d"},
        {"number", 4, 0, "abcd", "before"},
        {"abc", 4, 0, "abcd", "before"},
        {"abc", 0, 0, "", "before"},
        {"missing", 4, 0, nullptr, "before"},
        {"abc", 5, 1, nullptr, "abc"},
        {"missing", 1, 1, "", ""},
    };

    for (const auto& row : rows) {
        char buffer[16] = "before";
        EXPECT_EQ(node.ReadValue(row.name, buffer, row.size, row.def), row.result)
            << row.name << ' ' << row.size;
        EXPECT_STREQ(buffer, row.text) << row.name << ' ' << row.size;
    }
}

TEST_F(Registry, BytesOfAnyTypeAreReadWhereTheyFit) {
    WriteOneOfEach();

    const struct {
        const char*   name;
        unsigned long type;
        unsigned int  size;
    } rows[] = {{"text", 1, 6}, {"number", 4, 4}, {"4 bytes", 3, 4}, {"5 bytes", 3, 5}, {"no bytes", 3, 0}};

    for (const auto& row : rows) {
        unsigned char  buffer[8];
        unsigned char* data = buffer;
        for (unsigned int room = 0; room <= sizeof buffer; ++room) {
            unsigned int size = room;
            EXPECT_EQ(node.ReadValueEx(row.name, &data, size), room >= row.size) << row.name << ' ' << room;
            EXPECT_EQ(size, room >= row.size ? row.size : room) << row.name;
        }
        unsigned long type   = 0;
        unsigned int  size   = 0;
        unsigned int  length = 99;
        EXPECT_EQ(node.GetValueType(row.name, type, size), 1) << row.name;
        EXPECT_EQ(type, row.type) << row.name;
        EXPECT_EQ(size, row.size) << row.name;
        EXPECT_EQ(node.GetKeyBytes(row.name, length), row.type == 3) << row.name;
        EXPECT_EQ(length, row.type == 3 ? row.size : 0) << row.name;
    }
    unsigned char  buffer[5] = {};
    unsigned char* data      = buffer;
    unsigned int   size      = 5;
    ASSERT_EQ(node.ReadValueEx("5 bytes", &data, size), 1);
    EXPECT_EQ(std::string(buffer, buffer + 5), "\x78\x56\x34\x12\xFF");
    EXPECT_EQ(node.ReadValueEx("missing", &data, size), 0);
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(node.GetKeyBytes("missing", size), 0);
    EXPECT_EQ(size, 0U);
}

TEST_F(Registry, AValueIsReplacedWhateverItWas) {
    WriteOneOfEach();
    unsigned long n = 0;
    ASSERT_EQ(node.Update("TEXT", 5L), 1);
    EXPECT_EQ(node.ReadValue("text", n, 0UL), 1);
    EXPECT_EQ(n, 5U);
    ASSERT_EQ(node.Delete("text"), 1);
    EXPECT_EQ(node.Delete("text"), 0);
    EXPECT_EQ(node.ReadValue("text", n, 7UL), 0);
}

TEST_F(Registry, ANullAndAnEmptyNameAreTheDefaultValue) {
    CKivString text;
    ASSERT_EQ(node.Update(nullptr, "by null"), 1);
    EXPECT_EQ(node.ReadValue("", text, "def"), 1);
    EXPECT_STREQ(text, "by null");
    EXPECT_EQ(node.Delete(""), 1);
    EXPECT_EQ(node.ReadValue(nullptr, text, "def"), 0);
}

TEST_F(Registry, NamesKeepTheirCaseAndAreFoundInAnyCase) {
    for (const char* name : {"gamma", "Beta", "alpha", "Delta"}) {
        CKivRegistryMgr(HKEY_CURRENT_USER).OpenNode(Below(name).c_str(), 1);
        ASSERT_EQ(node.Update(name, name), 1);
    }
    EXPECT_EQ(SubKeys(node), (std::vector<std::string>{"alpha", "Beta", "Delta", "gamma"}));
    EXPECT_TRUE(Exists(Below("BETA")));

    CKivStringList list;
    CKivString     text;
    EXPECT_EQ(node.GetValueNames(list), 1);
    auto names = Items(list);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"Beta", "Delta", "alpha", "gamma"}));
    EXPECT_EQ(node.ReadValue("bETA", text, ""), 1);
    EXPECT_STREQ(text, "Beta");
}

TEST_F(Registry, OneNodeIsOpenAtATime) {
    EXPECT_EQ(node.OpenNode(Below("missing").c_str(), 0), 0);
    EXPECT_EQ(node.Update("n", 1L), 0) << "the node before it was closed";
    EXPECT_EQ(node.OpenNode(Below("a\\b\\c").c_str(), 1), 1);
    EXPECT_TRUE(Exists(Below("a\\b")));
    EXPECT_EQ(node.CreateNode(Below(std::string(256, 'x')).c_str()), 0);
    EXPECT_EQ(node.Update("in c", 1L), 1) << "a node that could not be made leaves the one before it open";
    EXPECT_EQ(node.CreateNode(Below("d").c_str()), 1);
    EXPECT_EQ(node.Update("in d", 1L), 1);
    EXPECT_EQ(node.CloseNode(), 1);
    EXPECT_EQ(node.CloseNode(), 1);
    EXPECT_TRUE(SubKeys(node).empty());
    EXPECT_EQ(node.DeleteNode(1), 0);

    unsigned long n = 0;
    ASSERT_EQ(node.OpenNode(Below("d").c_str(), 0), 1);
    EXPECT_EQ(node.ReadValue("in d", n, 0UL), 1);
    EXPECT_EQ(node.ReadValue("in c", n, 0UL), 0);
}

TEST_F(Registry, ANodeWithSubKeysIsDeletedOnlyRecursively) {
    for (const char* path : {"top\\a\\deep\\deeper", "top\\b", "topmost"}) {
        CKivRegistryMgr(HKEY_CURRENT_USER).OpenNode(Below(path).c_str(), 1);
    }
    ASSERT_EQ(node.OpenNode(Below("top").c_str(), 0), 1);
    EXPECT_EQ(node.DeleteNode(0), 0);
    EXPECT_EQ(SubKeys(node), (std::vector<std::string>{"a", "b"})) << "and the node is still open";
    EXPECT_EQ(node.DeleteNode(1), 1);
    EXPECT_EQ(node.Update("n", 1L), 0) << "and the node is closed";
    EXPECT_FALSE(Exists(Below("top")));
    EXPECT_TRUE(Exists(Below("topmost")));

    ASSERT_EQ(node.OpenNode(Below("topmost").c_str(), 0), 1);
    EXPECT_EQ(node.DeleteNode(0), 1);
    EXPECT_FALSE(Exists(Below("topmost")));
}

TEST_F(Registry, ANodeThatIsDeletedWhileOpenStaysDead) {
    CKivRegistryMgr other(HKEY_CURRENT_USER);
    ASSERT_EQ(node.OpenNode(Below("shared").c_str(), 1), 1);
    ASSERT_EQ(node.Update("n", 1L), 1);
    ASSERT_EQ(other.OpenNode(Below("shared").c_str(), 0), 1);
    ASSERT_EQ(other.DeleteNode(0), 1);

    unsigned long n = 0;
    EXPECT_EQ(node.Update("n", 2L), 0);
    EXPECT_EQ(node.ReadValue("n", n, 7UL), 0);
    EXPECT_EQ(node.Delete("n"), 0);
    EXPECT_FALSE(Exists(Below("shared")));
    ASSERT_EQ(other.OpenNode(Below("shared").c_str(), 1), 1);
    EXPECT_EQ(node.Update("n", 2L), 0) << "a new key of the old name is another key";
    EXPECT_EQ(other.ReadValue("n", n, 7UL), 0);
}

// A manager as a server derives it: off until the server says otherwise.
struct SwitchedOff : CKivRegistryMgr {
    SwitchedOff() : CKivRegistryMgr(HKEY_CURRENT_USER) { m_enabled = 0; }
};

TEST_F(Registry, AManagerThatIsOffTouchesNothingAndSucceeds) {
    SwitchedOff    off;
    unsigned long  n    = 5;
    unsigned char* data = nullptr;
    unsigned int   size = 6;
    CKivStringList list;
    list.Add("kept");
    EXPECT_EQ(off.OpenNode(Below("off").c_str(), 1), 0);
    EXPECT_EQ(off.CreateNode(Below("off").c_str()), 1);
    EXPECT_EQ(off.Update("n", 1L) + off.Update("n", "1") + off.UpdateEx("n", nullptr, 9), 3);
    EXPECT_EQ(off.ReadValue("n", n, 7UL) + off.ReadValueEx("n", &data, size) + off.GetKeyBytes("n", size), 3);
    EXPECT_EQ(off.Delete("n") + off.DeleteNode(1) + off.CloseNode() + off.GetSubKeys(list), 4);
    EXPECT_EQ(n, 5U);
    EXPECT_EQ(size, 6U);
    EXPECT_EQ(list.GetCount(), 1);
    EXPECT_FALSE(Exists(Below("off")));

    EXPECT_EQ(off.OpenOtherReg(Below("off").c_str(), 1), 1);
    EXPECT_EQ(off.Update("n", 1L), 1);
    EXPECT_TRUE(Exists(Below("off")));
}

TEST_F(Registry, ReadersBesideAWriterSeeOneTextOrTheOther) {
    const std::string brief(3, 'b');
    const std::string lengthy(3000, 'l');
    std::atomic<bool> done = false;
    ASSERT_EQ(node.Update("text", brief.c_str()), 1);

    std::thread readers[3];
    for (auto& reader : readers) {
        reader = std::thread([&] {
            CKivRegistryMgr reading(HKEY_CURRENT_USER);
            ASSERT_EQ(reading.OpenNode(kTestKey, 0), 1);
            while (!done) {
                CKivString text;
                ASSERT_EQ(reading.ReadValue("text", text, "default"), 1);
                ASSERT_TRUE(text == brief.c_str() || text == lengthy.c_str()) << text;
            }
        });
    }
    for (int i = 0; i < 100; ++i) EXPECT_EQ(node.Update("text", (i % 2 == 0 ? lengthy : brief).c_str()), 1);
    done = true;
    for (auto& reader : readers) reader.join();
}

TEST_F(Registry, ManagersInManyThreadsWorkSideBySide) {
    std::thread threads[4];
    for (int thread = 0; thread < 4; ++thread) {
        threads[thread] = std::thread([thread] {
            for (int i = 0; i < 10; ++i) {
                CKivRegistryMgr own(HKEY_CURRENT_USER);
                EXPECT_EQ(own.OpenNode(Below("NIC" + std::to_string(i)).c_str(), 1), 1);
                EXPECT_EQ(own.Update(("of thread " + std::to_string(thread)).c_str(), 1L), 1);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(SubKeys(node).size(), 10U);
    for (const auto& subKey : SubKeys(node)) {
        CKivStringList names;
        ASSERT_EQ(node.OpenNode(Below(subKey).c_str(), 0), 1);
        node.GetValueNames(names);
        EXPECT_EQ(names.GetCount(), 4) << subKey;
    }
}

} // namespace
