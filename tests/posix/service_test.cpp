// Starting services through a program that stands in for systemctl.
#include "platform/service.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

namespace {

namespace fs = std::filesystem;
using kiv::platform::StartSystemService;

struct Service : testing::Test {
    // A program with this body, which finds its folder in $here.
    std::string Manager(const std::string& body) const {
        const std::string text = "#!/bin/sh\nhere='" + folder.Path("") + "'\n" + body;
        std::string       path = folder.Write("manager", {text.begin(), text.end()});
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }

    test::TempFolder folder;
};

TEST_F(Service, IsAskedForByNameWithoutAShellAndInACleanEnvironment) {
    const std::string manager = Manager(
        "printf '%s|' \"$@\" > $here/args; env | sort > $here/env; ls /proc/self/fd | wc -l > $here/fds");
    ::setenv("KIV_TEST_SECRET", "x", 1);
    EXPECT_TRUE(StartSystemService("dss@a\\x2db.service", 10'000, manager.c_str()));
    EXPECT_EQ(test::ReadWholeText(folder.Path("args")), "--no-ask-password|start|--|dss@a\\x2db.service|");
    EXPECT_EQ(test::ReadWholeText(folder.Path("env")).find("KIV_TEST_SECRET"), std::string::npos);
    EXPECT_EQ(test::ReadWholeText(folder.Path("fds")), "4\n")
        << "the three streams and the folder that ls reads";
}

TEST_F(Service, ThatDoesNotStartIsAFailure) {
    EXPECT_FALSE(StartSystemService("dss", 10'000, Manager("exit 5").c_str()));
    EXPECT_FALSE(StartSystemService("dss", 10'000, Manager("kill -9 $$").c_str()));
    EXPECT_FALSE(StartSystemService("dss", 10'000, folder.Path("none").c_str()));
}

TEST_F(Service, WhoseNameIsNoneIsNotAskedFor) {
    const std::string manager = Manager("touch $here/asked");
    for (const char* name : {"", "-h", "a b", "*", "a/b", "a;b", "a\n"})
        EXPECT_FALSE(StartSystemService(name, 10'000, manager.c_str())) << name;
    EXPECT_FALSE(fs::exists(folder.Path("asked")));
}

TEST_F(Service, ThatTakesTooLongIsGivenUp) {
    const std::string manager = Manager("echo $$ > $here/pid; exec sleep 60");
    const auto        from    = std::chrono::steady_clock::now();
    EXPECT_FALSE(StartSystemService("dss", 2000, manager.c_str()));
    EXPECT_GE(std::chrono::steady_clock::now() - from, std::chrono::milliseconds(2000));
    const int process = std::stoi(test::ReadWholeText(folder.Path("pid")));
    EXPECT_TRUE(::kill(process, 0) != 0 && errno == ESRCH) << "it was ended";
}

} // namespace
