// The registry manager, on whichever registry the system has.
#include "KivUtility.h"

#include "own_key.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

constexpr char kTestKey[] = "SOFTWARE\\Halvorn\\KivUtilityTest";

std::string PathOf(const std::string& name) { return kTestKey + name; }

struct Manager : CKivRegistryMgr {
    Manager() : CKivRegistryMgr(HKEY_CURRENT_USER) {}

    int Open(const std::string& name, int create = 1) { return OpenNode(PathOf(name).c_str(), create); }

    // As a server derives it: off until the server says otherwise.
    void SwitchOff() { m_enabled = 0; }

    std::string SubKeys() {
        CKivStringList list;
        std::string    all;
        list.Add("what was in the list before");
        EXPECT_EQ(GetSubKeys(list), 1);
        for (int i = 0; i < list.GetCount(); ++i) all.append(list[i]).append(1, ' ');
        return all;
    }
};

struct Registry : testing::Test {
    Registry() { EXPECT_EQ(node.Open(""), 1); }

    const test::OwnKey own{HKEY_CURRENT_USER, kTestKey};
    Manager            node;
};

TEST_F(Registry, EveryReadTakesItsTypeAndWhatFitsAndElseTheDefault) {
    const unsigned char written[] = {0x78, 0x56, 0x34, 0x12, 0xFF};
    EXPECT_TRUE(node.Update("text", "one") && node.Update("number", 0x12345678L)
                && node.UpdateEx("empty", nullptr, 0));
    EXPECT_TRUE(node.UpdateEx("4 bytes", written, 4) && node.UpdateEx("5 bytes", written, 5));

    const std::tuple<const char*, unsigned long, unsigned int, unsigned long, const char*> rows[] = {
        {"missing", 0, 0, 7, "def"},          {"text", 1, 4, 7, "one"},
        {"NUMBER", 4, 4, 0x12345678, "def"},  {"empty", 3, 0, 7, "def"},
        {"4 bytes", 3, 4, 0x12345678, "def"}, {"5 bytes", 3, 5, 7, "def"}};

    for (const auto& [name, type, bytes, number, text] : rows) {
        SCOPED_TRACE(name);
        const int      found = type != 0;
        unsigned long  n = 1, ofType = 0;
        unsigned int   size       = 0;
        char           buffer[16] = "before";
        unsigned char  read[8];
        unsigned char* data = read;
        CKivString     string;
        EXPECT_EQ(node.ReadValue(name, n, 7UL) + node.GetValueType(name, ofType, size), 2 * found);
        EXPECT_TRUE(n == number && ofType == type && size == bytes) << n << ' ' << ofType << ' ' << size;
        EXPECT_EQ(node.ReadValue(name, buffer, "def") + node.ReadValue(name, string, "def"), 2 * found);
        EXPECT_TRUE(std::string(text) == buffer && string == text) << buffer << ' ' << string;
        EXPECT_TRUE(node.GetKeyBytes(name, size) == (type == 3) && size == (type == 3 ? bytes : 0)) << size;
        for (unsigned int room = 0; room <= sizeof read; ++room) {
            const bool fits = found != 0 && room >= bytes;
            EXPECT_EQ(node.ReadValueEx(name, &data, size = room), fits) << room;
            EXPECT_EQ(size, fits ? bytes : room);
        }
        EXPECT_TRUE(size != 5 || std::equal(read, read + 5, written));
    }
}

TEST_F(Registry, SizedTextReadsStayInTheirBuffer) {
    const auto read = [&](const char* name, unsigned int size, const char* def) {
        char      buffer[16] = "before";
        const int result     = node.ReadValue(name, buffer, size, def);
        return std::to_string(result) + buffer + ' ';
    };
    EXPECT_TRUE(node.Update("text", "one") && node.Update("number", 1L));
    EXPECT_EQ(read("text", 4, "abcd") + read("text", 4, "d") + read("text", 5, "d"), "0before 1d 1one ");
    EXPECT_EQ(read("none", 4, "abcd") + read("none", 4, "def") + read("number", 4, "d"), "0before 1def 1d ");
    EXPECT_EQ(read("none", 4, nullptr) + read("text", 5, nullptr) + read("text", 0, ""),
              "0before 1one 0before ");
}

TEST_F(Registry, AValueIsReplacedWhateverItWasAndNumbersKeep32BitsAndTheirSign) {
    int           asInt  = 0;
    unsigned long asLong = 0;
    EXPECT_TRUE(node.Update(nullptr, "the default value") && node.Update("", -0x7FFFFFFFL));
    EXPECT_EQ(node.ReadValue(nullptr, asLong, 3UL) + node.ReadValue("", asInt, 3), 2);
    EXPECT_TRUE(asLong == 0x80000001 && asInt == -0x7FFFFFFF) << asLong << ' ' << asInt;
    EXPECT_TRUE(node.Delete(nullptr) && !node.Delete("") && !node.ReadValue("", asInt, -5) && asInt == -5);
}

TEST_F(Registry, OneNodeIsOpenAtATime) {
    unsigned long n = 0;
    EXPECT_FALSE(node.Open("\\missing", 0) || node.Update("n", 1L)) << "the node before it was closed";
    EXPECT_TRUE(node.Open("\\c") && !node.CreateNode(PathOf("\\" + std::string(256, 'x')).c_str())
                && node.Update("in c", 1L))
        << "c is left open";
    EXPECT_TRUE(node.CreateNode(PathOf("\\d").c_str()) && node.Update("in d", 1L));
    EXPECT_TRUE(node.CloseNode() && node.CloseNode() && !node.DeleteNode(1));
    EXPECT_TRUE(node.Open("\\d", 0) && node.ReadValue("in d", n, 0UL) && !node.ReadValue("in c", n, 0UL));
}

TEST_F(Registry, ANodeWithSubKeysIsDeletedOnlyRecursively) {
    for (const char* path : {"\\top\\gamma\\deep\\deeper", "\\top\\Beta", "\\top\\alpha", "\\topmost"}) {
        EXPECT_EQ(node.Open(path), 1);
    }
    EXPECT_TRUE(node.Open("\\TOP", 0) && !node.DeleteNode(0));
    EXPECT_EQ(node.SubKeys(), "alpha Beta gamma ") << "and the node is still open";
    EXPECT_TRUE(node.DeleteNode(1) && !node.Update("n", 1L)) << "and the node is closed";
    EXPECT_TRUE(!node.Open("\\top", 0) && node.Open("\\topmost", 0));
    EXPECT_TRUE(node.DeleteNode(0) && !node.Open("\\topmost", 0));
}

TEST_F(Registry, ANodeThatIsDeletedWhileOpenStaysDead) {
    unsigned long n = 0;
    Manager       other;
    EXPECT_TRUE(node.Open("\\shared") && node.Update("n", 1L));
    EXPECT_TRUE(other.Open("\\shared", 0) && other.DeleteNode(0));
    EXPECT_FALSE(node.Update("n", 2L) || node.ReadValue("n", n, 7UL) || node.Delete("n"));
    EXPECT_TRUE(!other.Open("\\shared", 0) && other.Open("\\shared"));
    EXPECT_FALSE(node.Update("n", 2L) || other.ReadValue("n", n, 7UL)) << "a new key of the name is another";
}

TEST_F(Registry, AManagerThatIsOffTouchesNothingAndSucceeds) {
    const std::string path = PathOf("\\off");
    Manager           off;
    unsigned long     n = 5;
    off.SwitchOff();
    EXPECT_EQ(off.Open("\\off"), 0);
    EXPECT_EQ(off.CreateNode(path.c_str()) + off.Update("n", 1L) + off.Update("n", "1"), 3);
    EXPECT_EQ(off.ReadValue("n", n, 7UL) + off.Delete("n") + off.DeleteNode(1) + off.CloseNode(), 4);
    EXPECT_TRUE(n == 5 && node.SubKeys().empty());
    EXPECT_TRUE(off.OpenOtherReg(path.c_str(), 1) && off.Update("n", 1L));
    EXPECT_EQ(node.SubKeys(), "off ");
}

// Where nothing can be undone, what was done stays.
TEST_F(Registry, ATransactionIsKeptWhenItIsCommittedAndElseUndone) {
    const bool keeps  = CKivRegistryTransaction::CanUndo() == 0;
    const auto Change = [](const char* key, bool commit) {
        CKivRegistryTransaction all(kKivRegistry_Create);
        Manager                 changing;
        EXPECT_TRUE(all.IsOpen() && changing.Open(key) && changing.Update("n", 1L));
        return !commit || (all.Commit() == 1 && all.Commit() == 0);
    };
    EXPECT_TRUE(Change("\\kept", true) && Change("\\undone", false));
    EXPECT_EQ(node.SubKeys(), keeps ? "kept undone " : "kept ");
    {
        CKivRegistryTransaction outer(kKivRegistry_Change);
        EXPECT_TRUE(Change("\\inner", true));
        EXPECT_NE(node.SubKeys().find("inner"), std::string::npos) << "seen by who does it";
        EXPECT_TRUE(Change("\\failed", false));
        EXPECT_EQ(outer.Commit(), keeps) << "a part that was undone dooms the whole";
    }
    EXPECT_EQ(node.SubKeys(), keeps ? "failed inner kept undone " : "kept ");
    EXPECT_TRUE(Change("\\later", true) && node.Open("\\later", 0));
}

TEST_F(Registry, ReadersBesideAWriterSeeOneTextOrTheOther) {
    const std::string texts[] = {"brief", std::string(3000, 'l')};
    std::atomic<bool> done    = false;
    ASSERT_EQ(node.Update("text", texts[0].c_str()), 1);
    const auto read = [&] {
        Manager reading;
        for (reading.Open("", 0); !done;) {
            CKivString text;
            ASSERT_EQ(reading.ReadValue("text", text, "default"), 1);
            ASSERT_TRUE(text == texts[0].c_str() || text == texts[1].c_str()) << text;
        }
    };
    std::thread readers[] = {std::thread(read), std::thread(read), std::thread(read)};
    for (int i = 1; i <= 50; ++i) EXPECT_EQ(node.Update("text", texts[i % 2].c_str()), 1);
    done = true;
    for (auto& reader : readers) reader.join();
}

} // namespace
