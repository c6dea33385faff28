// Time values: carry, borrow, clock. Triggers: whom a notification reaches.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <functional>
#include <string>

#include <sys/time.h>

namespace {

using Pair = std::pair<long, long>;

Pair Of(const KivTime& time) { return {time.GetSec(), time.GetUsec()}; }

TEST(Time, CarriesAllSecondsAndBorrowsOne) {
    const struct {
        KivTime a, b;
        Pair    sum, difference;
    } rows[] = {{{2, -700000}, {0, 0}, {2, -700000}, {1, 300000}},
                {{1, 0}, {0, 2500000}, {3, 500000}, {0, -1500000}},
                {{0, -600000}, {0, -600000}, {-1, -200000}, {0, 0}},
                {{INT_MAX, INT_MAX}, {1, 1}, {2147481501, -483648}, {INT_MAX - 1, INT_MAX - 1}},
                {{INT_MIN, INT_MIN}, {0, 1}, {2147481501, -483647}, {INT_MIN, INT_MAX}},
                {{INT_MIN, 0}, {0, 1}, {INT_MIN, 1}, {INT_MAX, 999999}},
                {1500, 999, {2, 499000}, {0, 501000}},
                {4294967295UL, 0, {4294967, 295000}, {4294967, 295000}}};

    for (const auto& [a, b, sum, difference] : rows) {
        KivTime added(a), subtracted(a);
        EXPECT_EQ(Of(added += b), sum) << a.GetSeconds();
        EXPECT_EQ(Of(subtracted -= b), difference) << a.GetSeconds();
    }
    EXPECT_EQ(Of(KivTime(0, 2500000) - KivTime(0, 600000)), Pair(1, 900000));
}

TEST(Time, IsOrderedByItsWholeValueAndReadFromTheClock) {
    const KivTime small(1, 999999), big(0, 2000000), same(2, 0), now;
    EXPECT_TRUE(small < big && small <= big && big > small && big >= small && !(big < small || small >= big));
    EXPECT_TRUE(big <= same && big >= same && !(big < same || big > same));
    EXPECT_DOUBLE_EQ(KivTime(-1, 1500).GetMiniSeconds(), -998.5);
    const struct timeval value = now;
    EXPECT_TRUE(Pair(value.tv_sec, value.tv_usec) == Of(now) && now.GetUsec() % 1000 == 0);
    const std::chrono::duration<double> since = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_TRUE(now.GetSeconds() <= since.count() && now.GetSeconds() > since.count() - 60)
        << now.GetSeconds();
}

using Action = std::function<void(char)>;

struct Named : Trigger {
    explicit Named(char letter) : name(letter) {}

    void OnNotify(Triggerable*, void* argument) override { (*static_cast<Action*>(argument))(name); }

    char name;
};

TEST(Triggers, AreNotifiedInOrderWhateverTheyDoToTheList) {
    std::string log;
    Triggerable source;
    Named       a('a'), b('b'), c('c');
    for (Named* trigger : {&a, &b, &a, &c, &a}) source.AddTrigger(*trigger);
    Action note   = [&](char name) { log += name; };
    Action change = [&](char name) {
        log += name;
        if (name == 'b') source.DeleteTrigger(a), source.NotifyTriggers(&note);
        if (name == 'c') source.DeleteTrigger(c), source.AddTrigger(a);
    };
    for (Action* action : {&change, &note, &change}) source.NotifyTriggers(action);
    EXPECT_EQ(log, "abbcca"
                   "ba"
                   "bb");
}

} // namespace
