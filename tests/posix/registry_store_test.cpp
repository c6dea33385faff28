// The file behind the registry: where and when it is made, who may share it, what is left alone.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const char kKey[] = "SOFTWARE\\Halvorn\\KivServer";

std::string Content(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void SetContent(const std::string& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
}

void RunSql(const std::string& file, const char* sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
}

bool Write(const char* name, long number, const char* key = kKey) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    return node.OpenNode(key, 1) == 1 && node.Update(name, number) == 1;
}

// The number, or -1 when it is not there.
long Read(const char* name, const char* key = kKey) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    unsigned long   number = 0;
    return node.OpenNode(key, 0) == 1 && node.ReadValue(name, number, 0UL) == 1 ? static_cast<long>(number)
                                                                                : -1;
}

// Runs `work` in a process of its own, which succeeds when that returns true.
pid_t Start(const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(work() ? 0 : 1);
    return child;
}

bool Succeeds(pid_t child) {
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Gives up the superuser's rights, where there are any to give up.
void BecomeAnybody() {
    if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(2);
}

class RegistryStore : public testing::Test {
protected:
    RegistryStore() { Use(file); }

    ~RegistryStore() override { Use(before); }

    static void Use(const std::string& path) { ::setenv("KIV_REGISTRY", path.c_str(), 1); }

    std::string Made() {
        EXPECT_TRUE(Write("FsBitRate", 1024000));
        return Content(file);
    }

    test::TempFolder folder;
    std::string      file   = folder.Path("registry.db");
    std::string      before = ::getenv("KIV_REGISTRY");
};

TEST_F(RegistryStore, IsMadeByTheFirstWriteAndByNothingElse) {
    const std::string deep = folder.Path("new/deep/registry.db");
    Use(deep);
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    CKivStringList  list;
    EXPECT_EQ(node.OpenNode(kKey, 0), 0);
    EXPECT_EQ(node.OpenNode("", 0), 1) << "a root is always there";
    EXPECT_EQ(node.GetSubKeys(list), 1);
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(node.Delete("missing"), 0);
    EXPECT_FALSE(fs::exists(folder.Path("new")));

    EXPECT_EQ(node.Update("in the root", 1L), 1) << "the root that was opened before there was a store";
    for (const char* made : {"new", "new/deep"}) {
        EXPECT_EQ(fs::status(folder.Path(made)).permissions(), fs::perms::owner_all) << made;
    }
    EXPECT_TRUE(fs::exists(deep));
}

TEST_F(RegistryStore, IsOneFileWhileNobodyUsesIt) {
    Made();
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 1);
    EXPECT_EQ(Read("FsBitRate"), 1024000);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("")), {}), 1);
}

TEST_F(RegistryStore, AnEmptyFileIsAStoreToBe) {
    SetContent(file, "");
    EXPECT_EQ(Read("n"), -1);
    EXPECT_EQ(fs::file_size(file), 0U);
    EXPECT_TRUE(Write("n", 1));
    EXPECT_EQ(Read("n"), 1);
}

TEST_F(RegistryStore, WhatIsNoStoreIsLeftAsItWas) {
    const std::string        good     = Made();
    const std::string        other    = folder.Path("other.db");
    std::vector<std::string> contents = {"x", std::string(100'000, '\xFF'), good.substr(0, 100),
                                         good.substr(0, good.size() / 2),
                                         std::string(100, 'x') + good.substr(100)};
    for (const char* sql : {"CREATE TABLE key (id); PRAGMA user_version = 1",
                            "PRAGMA journal_mode = WAL; CREATE TABLE t (a)"}) {
        fs::remove(other);
        RunSql(other, sql);
        contents.push_back(Content(other));
    }
    fs::remove(other);
    RunSql(file, "PRAGMA user_version = 2");
    contents.push_back(Content(file));

    for (const auto& content : contents) {
        SetContent(file, content);
        CKivRegistryMgr root(HKEY_LOCAL_MACHINE);
        EXPECT_EQ(root.OpenNode("", 0), 0);
        EXPECT_EQ(root.CreateNode(""), 0);
        EXPECT_EQ(Read("FsBitRate"), -1);
        EXPECT_FALSE(Write("FsBitRate", 1));
        EXPECT_TRUE(Content(file) == content)
            << content.size() << " bytes beginning with " << content.substr(0, 15);
    }
    SetContent(file, good);
    EXPECT_EQ(Read("FsBitRate"), 1024000) << "a store that came back is a store";
}

// Every page but the first in turn; a write must not go by luck through the pages that are still whole.
TEST_F(RegistryStore, ADamagedPageStopsEveryWrite) {
    constexpr std::size_t kPage = 4096;
    const std::string     good  = Made();
    ASSERT_GT(good.size(), 3 * kPage);
    for (std::size_t at = kPage; at < good.size(); at += kPage) {
        std::string damaged = good;
        damaged.replace(at, 16, 16, '\x5A');
        SetContent(file, damaged);
        EXPECT_FALSE(Write("FsBitRate", 1)) << at;
        EXPECT_FALSE(Write("n", 1, "SOFTWARE\\Another")) << at;
        EXPECT_TRUE(Content(file) == damaged) << at;
    }
}

TEST_F(RegistryStore, WhereItCannotBeMadeOrWrittenEveryWriteFails) {
    Made();
    for (const std::string& path :
         {file + "/registry.db", file + "/folder/registry.db", folder.Path(""), std::string("/dev/null")}) {
        Use(path);
        EXPECT_FALSE(Write("n", 1)) << path;
        EXPECT_EQ(Read("n"), -1) << path;
    }
    Use(file);
    RunSql(file, "PRAGMA journal_mode = DELETE"); // a journal that a reader could do with
    fs::permissions(file, fs::perms(0444));
    for (const auto rights : {fs::perms(0777), fs::perms(0555)}) {
        fs::permissions(folder.Path(""), rights);
        EXPECT_TRUE(Succeeds(Start([&] {
            BecomeAnybody();
            return !Write("FsBitRate", 1) && Read("FsBitRate") == -1; // opened for both, or not at all
        })));
    }
    EXPECT_TRUE(Succeeds(Start([&] {
        BecomeAnybody();
        Use(folder.Path("new/registry.db"));
        return !Write("FsBitRate", 1);
    })));
    fs::permissions(folder.Path(""), fs::perms::owner_all);
    EXPECT_EQ(Read("FsBitRate"), 1024000);
}

TEST_F(RegistryStore, LiesInTheStateFolderWhenNothingNamesIt) {
    fs::permissions(folder.Path(""), fs::perms::all);

    const struct {
        const char* variable;
        const char* path;
    } rows[] = {{"XDG_STATE_HOME", "kivutility/registry.db"},
                {"HOME", ".local/state/kivutility/registry.db"}};

    for (const auto& row : rows) {
        EXPECT_TRUE(Succeeds(Start([&] {
            BecomeAnybody();
            for (const char* unset : {"KIV_REGISTRY", "XDG_STATE_HOME"}) ::unsetenv(unset);
            ::setenv(row.variable, folder.Path("").c_str(), 1);
            return Write("n", 1) && fs::exists(folder.Path(row.path));
        }))) << row.variable;
    }
}

TEST_F(RegistryStore, EachNodeStaysInTheStoreItWasOpenedIn) {
    CKivRegistryMgr first(HKEY_LOCAL_MACHINE);
    ASSERT_EQ(first.OpenNode(kKey, 1), 1);
    Use(folder.Path("second.db"));
    ASSERT_TRUE(Write("n", 2));
    ASSERT_EQ(first.Update("n", 1L), 1);
    EXPECT_EQ(Read("n"), 2);
    Use(file);
    EXPECT_EQ(Read("n"), 1);
}

TEST_F(RegistryStore, ANodeOfAFileThatWasReplacedFails) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    ASSERT_EQ(node.OpenNode(kKey, 1), 1);
    fs::remove(file);
    EXPECT_EQ(node.Update("n", 1L), 0) << "nobody would ever read it";
    ASSERT_TRUE(Write("n", 2));
    EXPECT_EQ(node.Update("n", 1L), 0);
    EXPECT_EQ(Read("n"), 2);
    EXPECT_EQ(node.OpenNode(kKey, 0), 1);
    EXPECT_EQ(node.Update("n", 3L), 1);
    EXPECT_EQ(Read("n"), 3);
}

TEST_F(RegistryStore, ManyProcessesMakeAndFillItTogether) {
    constexpr int kProcesses = 6;
    constexpr int kKeys      = 20;
    int           start[2];
    ASSERT_EQ(::pipe(start), 0);
    pid_t children[kProcesses] = {};
    for (int process = 0; process < kProcesses; ++process) {
        children[process] = Start([&] {
            const std::string name = "of process " + std::to_string(process);
            char              none = 0;
            ::close(start[1]);
            if (::read(start[0], &none, 1) != 0) return false; // until all are there
            for (int key = 0; key < kKeys; ++key) {
                const std::string path = "SOFTWARE\\shared\\" + std::to_string(key);
                if (!Write(name.c_str(), key, path.c_str()) || Read(name.c_str(), path.c_str()) != key)
                    return false;
            }
            return true;
        });
    }
    ::close(start[0]);
    ::close(start[1]);
    for (const pid_t child : children) EXPECT_TRUE(Succeeds(child));
    for (int key = 0; key < kKeys; ++key) {
        for (int process = 0; process < kProcesses; ++process) {
            EXPECT_EQ(Read(("of process " + std::to_string(process)).c_str(),
                           ("SOFTWARE\\shared\\" + std::to_string(key)).c_str()),
                      key);
        }
    }
}

// Both go on with the node that was open at the fork, with another thread of the parent at work all the time.
TEST_F(RegistryStore, SurvivesAFork) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    ASSERT_EQ(node.OpenNode(kKey, 1), 1);
    std::atomic<bool> done = false;
    std::atomic<long> written{0};
    std::thread       beside([&] {
        while (!done) EXPECT_TRUE(Write("beside", ++written));
    });
    for (int i = 0; i < 20; ++i) {
        const std::string name  = "of child " + std::to_string(i);
        const pid_t       child = Start(
            [&] { return node.Update(name.c_str(), static_cast<long>(i)) == 1 && node.CloseNode() == 1; });
        EXPECT_EQ(node.Update("of parent", static_cast<long>(i)), 1);
        EXPECT_TRUE(Succeeds(child));
        EXPECT_EQ(Read(name.c_str()), i);
    }
    done = true;
    beside.join();
    EXPECT_EQ(Read("beside"), written);
    EXPECT_EQ(Read("of parent"), 19);
}

// The parent, last to close for all it knows, clears up; the child's node must not be left hanging in the
// air.
TEST_F(RegistryStore, AChildGoesOnAfterItsParentClosed) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    int             closed[2];
    ASSERT_EQ(::pipe(closed), 0);
    ASSERT_EQ(node.OpenNode(kKey, 1), 1);
    ASSERT_EQ(node.Update("of parent", 1L), 1);
    const pid_t child = Start([&] {
        char none = 0;
        ::close(closed[1]);
        return ::read(closed[0], &none, 1) == 0 && node.Update("of child", 2L) == 1;
    });
    EXPECT_EQ(node.CloseNode(), 1);
    ::close(closed[0]);
    ::close(closed[1]);
    EXPECT_TRUE(Succeeds(child));
    EXPECT_EQ(Read("of parent"), 1);
    EXPECT_EQ(Read("of child"), 2);
}

// The child tells of each write after it returned; what it told of is there, whenever it is killed.
TEST_F(RegistryStore, KeepsWhatAWriterWroteBeforeItWasKilled) {
    for (int round = 1; round <= 5; ++round) {
        int told[2];
        ASSERT_EQ(::pipe(told), 0);
        const pid_t child = Start([&] {
            for (long i = 1;; ++i) {
                if (!Write("n", i) || ::write(told[1], &i, sizeof i) != sizeof i) return false;
            }
        });
        ::close(told[1]);
        long last = 0;
        for (int i = 0; i < 3 * round; ++i)
            ASSERT_EQ(::read(told[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        while (::read(told[0], &last, sizeof last) == sizeof last) {
        }
        ::close(told[0]);
        const long found = Read("n");
        EXPECT_TRUE(found == last || found == last + 1) << found << " after " << last;
        EXPECT_TRUE(Write("n", 0)) << "and the store is whole";
    }
}

} // namespace
