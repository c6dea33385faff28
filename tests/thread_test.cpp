// Threads: beginning and end, copies, and suspensions that count.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

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
        for (const unsigned long before = count; count == before;) std::this_thread::yield();
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
    std::vector<std::jthread> joiners(8);
    for (std::jthread& joiner : joiners) {
        joiner = std::jthread([&] {
            thread.join();
            EXPECT_FALSE(thread.isAlive());
        });
    }
    finish.signal();
    joiners.clear();
    thread.join();
    thread.join(0);
    EXPECT_EQ(work.stops, 0);
}

TEST(Thread, JoiningItselfWaitsOutTheTime) {
    Clock::duration  waited{};
    const KivThread* self = nullptr;
    Work             work([&] {
        const auto begin = Clock::now();
        const_cast<KivThread*>(self)->join(20);
        waited = Clock::now() - begin;
    });
    KivThread        thread(&work);
    self = &thread;
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_GE(waited, 20ms);
}

TEST(Thread, StartsAgainAfterItsEndAndBeforeIt) {
    std::atomic<int> running = 0, ended = 0;
    Semaphore        finish;
    Work             work([&] {
        ++running;
        finish.wait();
        ++ended;
    });
    KivThread        thread(&work);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(thread.start());
    while (running < 3) std::this_thread::yield();
    finish.post(3);
    while (ended < 3) std::this_thread::yield();
    thread.join();
    finish.post(1);
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_EQ(ended, 4);
}

TEST(Thread, IsSharedByItsCopies) {
    std::atomic<bool> finish = false;
    Work              work([&] {
        while (!finish) std::this_thread::yield();
    });
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
        std::vector<std::jthread> others(3);
        for (std::jthread& other : others) {
            other = std::jthread([&] {
                for (int turn = 0; turn < 20; ++turn) {
                    counter.suspend();
                    counter.resume();
                }
            });
        }
        if (round % 2 == 0) counter.quit = true;
        others.clear();
        if (round % 2 != 0) counter.AwaitProgress();
    }
}

TEST(Suspension, OfTheThreadItself) {
    std::atomic<int> steps = 0;
    KivThread*       self  = nullptr;
    Work             work([&] {
        ++steps;
        self->suspend();
        ++steps;
    });
    KivThread        thread(&work);
    self = &thread;
    ASSERT_TRUE(thread.start());
    while (steps == 0) std::this_thread::yield();
    thread.join(20);
    EXPECT_EQ(steps, 1);
    while (thread.isAlive()) thread.resume();
    EXPECT_EQ(steps, 2);
    thread.suspend(); // one that has ended
    thread.join();
}

} // namespace
