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
    const std::string      file = folder.Path("dump");
    for (std::size_t records = 1; records <= 20; ++records) {
        const std::string msg(records * 500, 'x');
        const pid_t       child = ::fork();
        if (child == 0) {
            ::umask(0);
            CKivErrorStack stack(1);
            stack.OpenLog(file.c_str());
            for (std::size_t i = 0; i < records; ++i) stack.AddErrMsg({}, 0, 0, msg.c_str());
            ::kill(::getpid(), SIGKILL);
        }
        int status = 0;
        EXPECT_TRUE(::waitpid(child, &status, 0) == child && WIFSIGNALED(status));
        const auto text = test::ReadWholeText(file);
        EXPECT_TRUE(std::count(text.begin(), text.end(), '\n') == int(records) && text.ends_with(msg + '\n'));
    }
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0640});
}

} // namespace
