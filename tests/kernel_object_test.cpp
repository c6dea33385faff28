// The contract of the kernel's objects where no exported class shows it, the same on every system.
#include "platform/kernelobject.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

using namespace kiv::platform;

TEST(KernelObject, ThatCouldNotBeMadeFailsEveryWaitAtOnce) {
    for (const std::uint32_t ms : {0U, 1000U, kForever}) EXPECT_EQ(WaitFor(nullptr, ms), Wait::Failed);
    for (const auto operation : {Release, Set, Pulse, Reset, Close}) operation(nullptr);
    Post(nullptr, 1);
}

// Waits whose time runs out meet tokens on their way: each token is taken once, or still there.
TEST(KernelObject, NoTokenIsLostToATimeOut) {
    const HANDLE          semaphore = NewSemaphore(0);
    std::atomic<int>      posted = 0, taken = 0;
    const test::TimeLimit limit(2);
    const auto            take = [&](std::uint32_t ms) { return WaitFor(semaphore, ms) == Wait::Signalled; };
    auto                  takers = test::Start(3, [&](int) {
        while (!limit.IsOver()) taken += take(1) ? 1 : 0;
    });
    for (; !limit.IsOver(); ++posted) {
        Post(semaphore, 1);
        if (posted % 8 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    takers.clear();
    while (take(0)) ++taken;
    EXPECT_EQ(taken, posted);
    Close(semaphore);
}

TEST(KernelObject, MutexIsItsOwnersUntilHeReleasesItAsOftenAsHeTookItOrEnds) {
    const HANDLE mutex   = NewMutex();
    const auto   another = [&](Wait expected) {
        test::Start(1, [&](int) {
            Release(mutex); // a stranger's
            for (const std::uint32_t ms : {0U, 2U}) EXPECT_EQ(WaitFor(mutex, ms), expected);
        });
    };
    for (const std::uint32_t ms : {0U, kForever}) EXPECT_EQ(WaitFor(mutex, ms), Wait::Signalled);
    another(Wait::TimedOut);
    Release(mutex);
    another(Wait::TimedOut);
    auto waiters = test::Start(3, [&](int) { EXPECT_EQ(WaitFor(mutex, kForever), Wait::Signalled); });
    test::Pause();
    Release(mutex);
    waiters.clear(); // each had it when it ended
    another(Wait::Signalled);
    EXPECT_EQ(WaitFor(mutex, kForever), Wait::Signalled) << "from one who took it twice";
    another(Wait::TimedOut);
    Close(mutex); // ours
}

} // namespace
