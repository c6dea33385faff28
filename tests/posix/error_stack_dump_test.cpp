// The error stack's dump: who may read it, and what is left of it when the process is killed.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(ErrorStackDump, HoldsEveryRecordAfterAKill) {
    const test::TempFolder folder;
    const std::string      file  = folder.Path("dump"), text(5000, 'x');
    const pid_t            child = ::fork();
    if (child == 0) {
        ::umask(0);
        CKivErrorStack stack(1);
        stack.OpenLog(file.c_str());
        for (const char* msg : {"a", text.c_str(), "b"}) stack.AddErrMsg({}, 0, 0, msg);
        ::kill(::getpid(), SIGKILL);
    }
    int status = 0;
    EXPECT_TRUE(::waitpid(child, &status, 0) == child && WIFSIGNALED(status));
    const auto dump = test::ReadWholeText(file);
    EXPECT_TRUE(std::count(dump.begin(), dump.end(), '\n') == 3 && dump.ends_with("Msg=b\n")) << dump;
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0640});
}

} // namespace
