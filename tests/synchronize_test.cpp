// Locks, semaphores, events, the condition mutex and the control variable, as threads meet them.
#include "KivUtility.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <set>
#include <string>
#include <tuple>

namespace {

TEST(Semaphore, CountsOneAtLeastForEachPostAndAllOrNothing) {
    for (const auto& [initial, posted, count] :
         {std::tuple{-5, 0, 1}, {-5, -3, 1}, {0, 4, 4}, {1, -0x7FFFFFFF - 1, 2}, {2, 0x7FFFFFFE, 2}}) {
        Semaphore semaphore(initial);
        semaphore.post(posted);
        for (int n = 0; n < count; ++n) semaphore.wait();
        std::atomic<bool> postedAgain = false;
        const auto        oneMore     = test::Start(1, [&](int) {
            semaphore.wait();
            EXPECT_TRUE(postedAgain) << "there was one too many";
        });
        test::Pause();
        postedAgain = true;
        semaphore.post(1);
    }
}

// There by an event and back by a semaphore, as often as the time allows where a turn is dear.
TEST(Event, HandsOverATokenThatASemaphoreReturns) {
    Event                 there(false, false);
    Semaphore             back;
    int                   token = 0; // guarded by the two
    const test::TimeLimit limit(10);
    const auto            partner  = test::Start(1, [&](int) {
        for (there.wait(); token >= 0; there.wait()) {
            ++token;
            back.post(1);
        }
    });
    int                   expected = 0;
    for (; expected < 1'000'000 && token == expected && !limit.IsOver(); expected += 2) {
        ++token;
        there.signal();
        back.wait();
    }
    EXPECT_EQ(token, expected);
    token = -1;
    there.signal();
}

TEST(Event, ReportsTheTimeOut) {
    Event automatic(false, true), manual(true, true);
    EXPECT_EQ(automatic.timedwait(-1), 0) << "for ever";
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(automatic.timedwait(0) + automatic.timedwait(50), 2) << "the first wait took the signal";
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(45));
    EXPECT_EQ(manual.timedwait(0) + manual.timedwait(0), 0) << "it lasts";
    for (Event* event : {&automatic, &automatic, &manual}) event->signal();
    EXPECT_EQ(automatic.timedwait(0) * 2 + automatic.timedwait(1), 1) << "two signals count as one";
    manual.pulse();
    EXPECT_EQ(manual.timedwait(0), 1);
}

TEST(Event, EndsTheWaitsUnderWayWhateverFollows) {
    const auto pulse = [](Event& event) { event.pulse(); };
    const auto both  = [](Event& event) { event.signal(), event.reset(); };
    for (const bool manualReset : {true, false}) {
        for (void (*const end)(Event&) : {+pulse, +both}) {
            Event            event(manualReset, false);
            std::atomic<int> ended   = 0;
            const auto       waiters = test::Start(4, [&](int) {
                event.wait();
                ++ended;
            });
            for (int turn = 1; ended < 4; ++turn) { // one that comes before they wait is for nobody
                test::Pause();
                end(event);
                ASSERT_LT(turn, 1000) << manualReset;
                ASSERT_TRUE(manualReset || ended <= turn) << "more than one at a time";
            }
            EXPECT_EQ(event.timedwait(0), 1) << "nothing is left behind";
        }
    }
}

TEST(ConditionMutex, KeepsTheCountOfAWaitThatTimedOut) {
    ConditionMutex  condition;
    const ScopeLock held(condition);
    condition.signal(); // for nobody
    condition.broadcast();
    EXPECT_EQ(condition.timedwait(5), 1) << "nothing was kept";
    condition.signal();
    condition.wait(); // at once
    EXPECT_EQ(condition.timedwait(5), 1);
}

TEST(ConditionMutex, LosesNothingBetweenProducersAndConsumers) {
    constexpr int   kConsumers = 4, kValues = 15000, kEnd = -1;
    ConditionMutex  condition;
    std::deque<int> queue;
    std::set<int>   received;
    auto            consumers = test::Start(kConsumers, [&](int n) {
        const ScopeLock held(condition);
        for (int value = 0; value != kEnd; received.insert(value)) {
            while (queue.empty()) condition.timedwait(n % 2 == 0 ? 1 : 0xFFFFFFFF);
            value = queue.front();
            queue.pop_front();
        }
    });
    const auto      put       = [&](int value) {
        const ScopeLock held(condition);
        queue.push_back(value);
        condition.signal();
    };
    test::Start(3, [&](int n) {
        for (int value = n; value < kValues; value += 3) put(value);
    });
    for (int n = 0; n < kConsumers; ++n) put(kEnd);
    consumers.clear();
    EXPECT_EQ(received.size(), std::size_t{kValues + 1});
}

TEST(ConditionMutex, WakesAllByABroadcast) {
    ConditionMutex    condition;
    std::atomic<int>  waiting = 0, awake = 0;
    std::atomic<bool> returned = false;
    const auto        wait     = [&](int) {
        const ScopeLock held(condition);
        ++waiting;
        condition.wait();
        ++awake;
    };
    const auto waiters = test::Start(5, wait);
    test::Until([&] { return waiting == 5; });
    const auto caller = test::Start(1, [&](int) {
        { const ScopeLock allWait(condition); }
        condition.broadcast();
        returned = true;
    });
    test::Until([&] { return awake == 5; });
    while (!returned) { // the last was faster: any wait that a signal ends tells the caller once more
        const auto late  = test::Start(1, wait);
        const int  after = awake + 1;
        test::Until([&] { return condition.signal(), awake == after; });
    }
}

std::string g_reports; // one a line, as they were shown

struct ControlVariableTest : testing::Test {
    ControlVariableTest() {
        KivSetPopUpHandler([](const char*, const char* text) { (g_reports += text) += '\n'; });
    }

    ~ControlVariableTest() override { KivSetPopUpHandler(nullptr); }

    std::string Status() {
        int count = -1, exclusive = -1;
        variable.GetStatus(count, exclusive);
        return std::to_string(count) + '/' + std::to_string(exclusive);
    }

    // Another thread has it shared from now on.
    void LockElsewhere() {
        test::Start(1, [&](int) { EXPECT_EQ(variable.Lock(0), 1); });
    }

    ControlVariable variable;
};

TEST_F(ControlVariableTest, RefusesAndReportsAPromotionBesideOthersButKeepsItsEntry) {
    EXPECT_EQ(variable.Lock(0), 1);
    LockElsewhere();
    EXPECT_EQ(Status(), "2/0");
    EXPECT_EQ(variable.Lock(1), 0);
    EXPECT_EQ(Status(), "3/0");
    variable.Unlock(1);
    variable.Unlock(0);
    EXPECT_EQ(Status(), "1/0");
    unsigned int thread        = 0;
    char         expected[256] = "";
    std::sscanf(g_reports.c_str(), "%*[^T]ThreadId 0x%x", &thread);
    std::snprintf(
        expected, sizeof expected,
        "KivSynchronizeUtil(282) : !problemFound Failed\nKivSynchronizeUtil(286) : ControlVariable::"
        "Unexpected Lock Promotion : ThreadId 0x%x (%d) Problem 1/3\n",
        thread, static_cast<int>(thread));
    EXPECT_EQ(std::exchange(g_reports, ""), expected);
}

TEST_F(ControlVariableTest, GivesItsHoldersAllTheyAskForAgain) {
    for (const int first : {0, 1}) {
        for (const int second : {0, 1}) {
            EXPECT_EQ(variable.Lock(first) + variable.Lock(second), 2);
            EXPECT_EQ(Status(), "2/" + std::to_string(first)) << "a sole sharer's promotion leaves it shared";
            variable.Unlock(second);
            variable.Unlock(first);
            EXPECT_EQ(Status(), "0/0");
        }
    }
    variable.Lock(1);
    test::Start(1, [&](int) { variable.Unlock(0); });
    EXPECT_EQ(Status(), "0/1") << "down by a stranger, who did not end the time alone";
    variable.Unlock(1);
    EXPECT_EQ(Status() + g_reports, "0/0") << "never below";
}

TEST_F(ControlVariableTest, KeepsNewSharersOutWhileSomebodyWaitsToHaveItAlone) {
    std::atomic<bool> written = false;
    variable.Lock(0);
    const auto writer = test::Start(1, [&](int) {
        const CtrlVarScopeLock held(&variable, 1);
        written = true;
    });
    test::Until([&] { return Status() == "1/1"; });
    const auto reader = test::Start(1, [&](int) {
        const CtrlVarScopeLock held(&variable, 0);
        EXPECT_TRUE(written);
    });
    test::Pause();
    EXPECT_EQ(Status(), "1/1");
    variable.Unlock(0);
}

TEST_F(ControlVariableTest, ReportsWhatIsTooMuchAndGoesOn) {
    for (int n = 0; n < ControlVariable_MAX_THREADS; ++n) variable.Lock(0);
    EXPECT_EQ(g_reports, "");
    LockElsewhere();
    EXPECT_EQ(variable.Lock(0), 1);
    EXPECT_EQ(Status(), "4098/0");
    for (int n = 0; n < ControlVariable_MAX_THREADS + 2; ++n) variable.Unlock(0);
    { const CtrlVarScopeLock none(nullptr, 1); }
    EXPECT_EQ(Status(), "0/0");
    EXPECT_EQ(std::exchange(g_reports, ""),
              "KivSynchronizeUtil(349) : m_count<ControlVariable_MAX_THREADS Failed\n"
              "KivSynchronizeUtil(261) : m_count<ControlVariable_MAX_THREADS Failed\n"
              "KivSynchronizeUtil(397) : pCV Failed\n");
}

TEST_F(ControlVariableTest, NeverLetsAWriterBesideAnyone) {
    constexpr int         kWriter = 1000; // weighs more than all readers
    std::atomic<int>      inside = 0, faults = 0;
    const test::TimeLimit limit(3);
    test::Start(32, [&](int thread) {
        for (int n = thread; n < 2000 && !limit.IsOver(); ++n) {
            const int              alone = n % 4 == 0 ? 1 : 0, weight = alone != 0 ? kWriter : 1;
            const CtrlVarScopeLock held(&variable, alone), again(&variable, 0);
            const int              others = inside.fetch_add(weight);
            if (others >= kWriter || (alone != 0 && others != 0)) ++faults;
            std::this_thread::yield();
            inside -= weight;
        }
    });
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(Status() + g_reports, "0/0");
}

} // namespace
