// The file behind the registry: where and when it is made, who may share it, what is left alone.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using test::Bytes;

const char kKey[] = "SOFTWARE\\Halvorn\\KivServer";

Bytes RunSql(const std::string& file, const char* sql) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
    return test::ReadWholeFile(file);
}

bool Write(const std::string& name, long number, const char* key = kKey) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    return node.OpenNode(key, 1) == 1 && node.Update(name.c_str(), number) == 1;
}

// The number, or -1 when it is not there.
int Read(const std::string& name) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    int             number = -1;
    node.OpenNode(kKey, 0);
    node.ReadValue(name.c_str(), number, -1);
    return number;
}

// Runs `work` in a process of its own, which succeeds when that returns true.
pid_t Start(const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(work() ? 0 : 1);
    return child;
}

bool Succeeds(pid_t child) {
    int status = -1;
    return ::waitpid(child, &status, 0) == child && status == 0;
}

// What parent and children share.
void* const g_page   = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
auto&       g_shared = *new (g_page) std::atomic<long>(0);

struct RegistryStore : testing::Test {
    RegistryStore() { Use(file); }

    ~RegistryStore() override { Use(before); }

    static void Use(const std::string& path) { ::setenv("KIV_REGISTRY", path.c_str(), 1); }

    test::TempFolder folder;
    std::string      file   = folder.Path("registry.db");
    std::string      before = ::getenv("KIV_REGISTRY");
    CKivRegistryMgr  node{HKEY_LOCAL_MACHINE};
};

TEST_F(RegistryStore, IsMadeByTheFirstWriteAndByNothingElse) {
    Use(folder.Path("new/deep/registry.db"));
    EXPECT_TRUE(!node.OpenNode(kKey, 0) && node.OpenNode("", 0) && !node.Delete("missing"));
    EXPECT_FALSE(fs::exists(folder.Path("new")));
    EXPECT_EQ(node.Update("in the root", 1L), 1) << "the root that was opened before there was a store";
    EXPECT_EQ(fs::status(folder.Path("new/deep")).permissions(), fs::perms::owner_all);
}

// Of a damaged store every page but the first in turn; a write must not go by luck through the whole ones.
TEST_F(RegistryStore, WhatIsNoStoreOrADamagedOneIsLeftAsItWas) {
    EXPECT_TRUE(Write("n", 1024000));
    const Bytes        good     = test::ReadWholeFile(file);
    std::vector<Bytes> contents = {{'x'}, Bytes(100'000, 0xFF), {&good[0], &good.at(3 * 4096)}};
    contents.push_back(RunSql(folder.Path("other.db"), "PRAGMA journal_mode = WAL; PRAGMA user_version = 1"));
    contents.push_back(RunSql(file, "PRAGMA user_version = 2"));
    const std::size_t foreign = contents.size();
    for (std::size_t at = 4096; at < good.size(); at += 4096) {
        std::fill_n(&contents.emplace_back(good)[at], 16, '\x5A');
    }
    for (std::size_t i = 0; i < contents.size(); ++i) {
        folder.Write("registry.db", contents[i]);
        EXPECT_FALSE(Write("n", 1) || Write("n", 1, "SOFTWARE\\Another")) << i;
        EXPECT_TRUE(i >= foreign || (!node.OpenNode("", 0) && !node.CreateNode("") && Read("n") == -1)) << i;
        EXPECT_TRUE(test::ReadWholeFile(file) == contents[i]) << i;
    }
}

TEST_F(RegistryStore, WhereItCannotBeMadeOrWrittenEveryWriteFails) {
    EXPECT_TRUE(Write("n", 1024000));
    RunSql(file, "PRAGMA journal_mode = DELETE"); // a journal that a reader could do with
    fs::permissions(file, fs::perms(0444));
    fs::permissions(folder.Path(""), fs::perms(0555));
    for (const char* name : {"registry.db", "registry.db/below", "", "new/registry.db"}) {
        Use(folder.Path(name));
        EXPECT_TRUE(Succeeds(Start([] { // not as the superuser, whom nothing stops
            return (::geteuid() != 0 || ::setuid(65534) == 0) && !Write("n", 1) && Read("n") == -1;
        }))) << name;
    }
    fs::permissions(folder.Path(""), fs::perms::owner_all);
    Use(file);
    EXPECT_EQ(Read("n"), 1024000);
}

TEST_F(RegistryStore, AKeyDirectlyUnderTheRootIsNotDeletedHoweverItIsSpelt) {
    for (const char* path : {"first", "first\\"})
        EXPECT_TRUE(node.OpenNode(path, 1) && !node.DeleteNode(0) && !node.DeleteNode(1)) << path;
}

TEST_F(RegistryStore, ATextNeedsNoTerminator) {
    CKivString text;
    EXPECT_TRUE(node.OpenNode(kKey, 1) && node.Update("text", "def"));
    RunSql(file, "UPDATE value SET data = x'616263'");
    EXPECT_TRUE(node.ReadValue("text", text, "def") == 1 && text == "abc") << text;
}

// The node was open at the fork, with another thread at work; the parent, last to close for all it knows,
// clears up before the children go on with it and then make and fill a second store.
TEST_F(RegistryStore, ManyProcessesShareANodeOfBeforeTheForkAndMakeAStoreTogether) {
    std::atomic<bool> done = false;
    pid_t             children[4];
    g_shared = 0;
    EXPECT_EQ(node.OpenNode(kKey, 1), 1);
    std::thread beside([&] {
        while (!done) EXPECT_TRUE(Write("beside", 1));
    });
#if defined(KIV_ADDRESS_SANITIZER)
    done = true; // this sanitizer's own allocator does not survive a fork beside a thread that allocates
    beside.join();
#endif
    for (int process = 0; process < 4; ++process) {
        children[process] = Start([&] {
            while (g_shared == 0) std::this_thread::yield();
            bool good = node.Update("n", 1L) == 1;
            Use(folder.Path("second.db"));
            for (int i = process; good && i < 60; i += 4) good = Write(std::to_string(i), i);
            return good;
        });
    }
    done = true;
    if (beside.joinable()) beside.join();
    EXPECT_EQ(node.CloseNode(), 1);
    g_shared = 1;
    for (const pid_t child : children) EXPECT_TRUE(Succeeds(child));
    EXPECT_EQ(Read("n"), 1);
    Use(folder.Path("second.db"));
    for (int i = 0; i < 60; ++i) EXPECT_EQ(Read(std::to_string(i)), i);
}

// The child looks while the parent is in the middle, and again when it is done; a thread of the parent, which
// begins to look in the middle too, has to wait.
TEST_F(RegistryStore, OthersSeeATransactionWholeOrNotAtAll) {
    const auto waitFor = [](long step) {
        while (g_shared < step) std::this_thread::yield();
    };
    const auto isBoth = [](int number) { return Read("n") == number && Read("m") == number; };
    EXPECT_TRUE(Write("n", 1) && Write("m", 1));
    g_shared          = 0;
    const pid_t child = Start([&] {
        waitFor(1);
        const bool isOld = isBoth(1);
        g_shared         = 2;
        waitFor(3);
        return isOld && isBoth(2);
    });
    std::thread reader;
    {
        CKivRegistryTransaction all(kKivRegistry_Change);
        EXPECT_TRUE(Write("n", 2));
        reader = std::thread([&] {
            g_shared = 1;
            EXPECT_TRUE(isBoth(2));
        });
        waitFor(2);
        EXPECT_TRUE(Write("m", 2) && all.Commit());
    }
    g_shared = 3;
    reader.join();
    EXPECT_TRUE(Succeeds(child));
}

// SQLite gives a transaction up by itself when there is no room; here a fork makes it lose its connection.
TEST_F(RegistryStore, NothingIsKeptOfATransactionThatTheStoreLost) {
    EXPECT_TRUE(Write("n", 1));
    CKivRegistryTransaction all(kKivRegistry_Change);
    EXPECT_TRUE(Write("n", 2) && node.OpenNode(kKey, 0));
    EXPECT_TRUE(Succeeds(Start([] { return true; })));
    EXPECT_FALSE(Write("m", 2) || node.Update("m", 2L) || all.Commit());
    EXPECT_TRUE(Read("n") == 1 && Read("m") == -1 && Write("n", 3));
}

// The child tells of each write after it returned; what it told of is there, whenever it is killed.
TEST_F(RegistryStore, KeepsWhatAWriterWroteBeforeItWasKilled) {
    g_shared          = 0;
    const pid_t child = Start([] {
        while (Write("n", g_shared + 1)) ++g_shared;
        return (g_shared = -1) == 0;
    });
    while (g_shared >= 0 && g_shared < 20) std::this_thread::yield();
    ::kill(child, SIGKILL);
    EXPECT_FALSE(Succeeds(child));
    EXPECT_TRUE(g_shared >= 20 && (Read("n") == g_shared || Read("n") == g_shared + 1)) << g_shared;
    EXPECT_TRUE(Write("n", 0)) << "and the store is whole";
}

} // namespace
