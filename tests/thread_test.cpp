// Threads: beginning and end, copies, and suspensions that count.
#include "KivUtility.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Runs what it is given, and counts how often it was asked to stop.
struct Work : KivRunnable {
    explicit Work(std::function<void()> toDo) : body(std::move(toDo)) {}

    void run() override { body(); }

    void stop() override { ++stops; }

    std::function<void()> body;
    std::atomic<int>      stops = 0;
};

// A thread that counts as fast as it can.
struct Counter : KivThread {
    ~Counter() override {
        quit = true;
        while (isAlive()) resume();
        join();
    }

    void run() override {
        while (!quit) ++count;
    }

    void AwaitProgress() const {
        test::Until([&, before = count.load()] { return count != before; });
    }

    bool StandsStill() const {
        const unsigned long before = count;
        std::this_thread::sleep_for(20ms);
        return count == before;
    }

    std::atomic<unsigned long> count = 0;
    std::atomic<bool>          quit  = false;
};

TEST(Thread, ThatWasNeverStartedDoesNothing) {
    Work work([] { FAIL() << "nobody started it"; });
    {
        KivThread thread(&work);
        thread.join(0);
        thread.join();
        thread.suspend();
        thread.resume();
        thread.setPriority(KivThread::PRIORITY_LOW);
        EXPECT_FALSE(thread.isAlive() || KivThread(thread).isAlive());
    }
    EXPECT_EQ(work.stops, 0);
}

TEST(Thread, IsJoinedByAnyNumberAtAnyTime) {
    Event     finish(true, false);
    Work      work([&] { finish.wait(); });
    KivThread thread(&work);
    ASSERT_TRUE(thread.start());
    for (const int ms : {0, 1, 30}) {
        const auto begin = Clock::now();
        thread.join(ms);
        EXPECT_TRUE(thread.isAlive() && Clock::now() - begin >= std::chrono::milliseconds(ms)) << ms;
    }
    auto joiners = test::Start(8, [&](int) {
        thread.join();
        EXPECT_FALSE(thread.isAlive());
    });
    finish.signal();
    joiners.clear();
    thread.join();
    thread.join(0);
    EXPECT_EQ(work.stops, 0);
}

TEST(Thread, StartsAgainAfterItsEndAndBeforeIt) {
    std::atomic<int> ended = 0;
    Semaphore        finish;
    Work             work([&] {
        finish.wait();
        ++ended;
    });
    KivThread        thread(&work);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(thread.start());
    finish.post(3);
    test::Until([&] { return ended == 3; });
    thread.join();
    finish.post(1);
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_EQ(ended, 4);
}

TEST(Thread, IsSharedByItsCopies) {
    std::atomic<bool> finish = false;
    Work              work([&] { test::Until([&] { return finish.load(); }); });
    KivThread         original(&work), assigned;
    ASSERT_TRUE(original.start());
    {
        KivThread copy(original);
        assigned = copy;
        assigned = *&assigned; // its own handle must outlive this
        copy.suspend();
    }
    EXPECT_EQ(work.stops, 1);
    EXPECT_TRUE(original.isAlive() && assigned.isAlive());
    finish = true;
    assigned.resume();
    assigned.join();
    EXPECT_FALSE(original.isAlive() || assigned.isAlive());
}

TEST(Suspension, CountsUpTo127) {
    for (const int suspensions : {1, 2, 127, 130}) {
        Counter counter;
        counter.resume(); // too many are not kept, neither before the start
        ASSERT_TRUE(counter.start());
        counter.resume(); // nor after it
        for (int i = 0; i < suspensions; ++i) counter.suspend();
        EXPECT_TRUE(counter.StandsStill()) << suspensions;
        for (int i = 1; i < std::min(suspensions, 127); ++i) counter.resume();
        EXPECT_TRUE(counter.StandsStill()) << suspensions;
        counter.resume();
        counter.AwaitProgress();
    }
}

TEST(Suspension, StopsAThreadBeforeItReturns) {
    Counter counter;
    ASSERT_TRUE(counter.start());
    for (int i = 0; i < 300; ++i) {
        counter.suspend();
        const unsigned long before = counter.count;
        for (int look = 0; look < 1000; ++look) ASSERT_EQ(counter.count, before) << i;
        counter.resume();
    }
    counter.AwaitProgress();
}

TEST(Suspension, MayComeFromManyThreadsAndAtTheEnd) {
    for (int round = 0; round < 30; ++round) {
        Counter counter;
        ASSERT_TRUE(counter.start());
        auto others = test::Start(3, [&](int) {
            for (int turn = 0; turn < 20; ++turn) {
                counter.suspend();
                counter.resume();
            }
        });
        if (round % 2 == 0) counter.quit = true;
        others.clear();
        if (round % 2 != 0) counter.AwaitProgress();
    }
}

TEST(Thread, MayJoinAndSuspendItself) {
    std::atomic<int> steps = 0;
    Clock::duration  waited{};
    KivThread*       self = nullptr;
    Work             work([&] {
        const auto begin = Clock::now();
        self->join(20);
        waited = Clock::now() - begin;
        ++steps;
        self->suspend();
        ++steps;
    });
    KivThread        thread(&work);
    self = &thread;
    ASSERT_TRUE(thread.start());
    test::Until([&] { return steps != 0; });
    thread.join(20);
    EXPECT_EQ(steps, 1);
    while (thread.isAlive()) thread.resume();
    EXPECT_EQ(steps, 2);
    EXPECT_GE(waited, 20ms) << "it waited for itself as long as it was told";
    thread.suspend(); // one that has ended
    thread.join();
}

} // namespace
