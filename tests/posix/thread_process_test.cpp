// What threads have to do with the rest of a process: signals, priorities, and forks.
#include "KivUtility.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Worker : KivThread {
    explicit Worker(std::function<void()> toDo) : body(std::move(toDo)) {}

    void run() override { body(); }

    std::function<void()> body;
};

// Its parent's blocked signals are not its own: a server blocks them all in its workers.
TEST(ThreadOfAProcess, IsSuspendedWithSignalsBlockedAndKeepsItsErrno) {
    std::atomic<int>  turns = 0, changes = 0;
    std::atomic<bool> quit = false;
    Worker            worker([&] {
        for (errno = 4711; !quit; ++turns) changes += errno != 4711;
    });
    ::sigset_t        all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    ASSERT_TRUE(worker.start());
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    for (int i = 0; i < 100; ++i) {
        worker.suspend();
        worker.resume();
        test::Until([&, seen = turns.load()] { return turns != seen; });
    }
    quit = true;
    worker.join();
    EXPECT_EQ(changes, 0);
}

TEST(ThreadOfAProcess, RunsAtThePriorityThatTheSystemGrants) {
    constexpr int       kUnchanged = 99;
    constexpr int       kRows[][2] = {{KivThread::PRIORITY_NORMAL, 0},
                                      {KivThread::PRIORITY_LOW, 10},
                                      {-1, kUnchanged},
                                      {KivThread::PRIORITY_HIGH, -10},
                                      {3, kUnchanged}};
    std::atomic<::id_t> id         = 0;
    Event               finish(true, false);
    Worker              worker([&] {
        id = static_cast<::id_t>(::gettid());
        finish.wait();
    });
    ASSERT_TRUE(worker.start());
    test::Until([&] { return id != 0; });
    for (const auto& [priority, wanted] : kRows) {
        const int before = ::getpriority(PRIO_PROCESS, id);
        worker.setPriority(static_cast<KivThread::ThreadPriority>(priority));
        const int  nice      = ::getpriority(PRIO_PROCESS, id);
        const bool isRefused = wanted < before && nice == before; // to whoever may not raise a priority
        EXPECT_TRUE(nice == (wanted == kUnchanged ? before : wanted) || isRefused) << priority << ' ' << nice;
    }
    finish.signal();
    worker.join();
}

TEST(ThreadOfAProcess, HasEndedInAForkedOne) {
    ASSERT_EQ(g_theSignalDispatcher.StartUp(), 0);
    const ::pid_t child = ::fork();
    if (child == 0) {
        g_theSignalDispatcher.join();
        g_theSignalDispatcher.suspend();
        std::exit(g_theSignalDispatcher.isAlive() ? 1 : 0); // with the destructors
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(g_theSignalDispatcher.isAlive()); // in this one
    g_theSignalDispatcher.stop();
    g_theSignalRegistrar.signal();
    g_theSignalDispatcher.join();
}

} // namespace
