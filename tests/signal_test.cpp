// The signal service: the ring, a mailbox, the dispatcher, and all of it at once.
#include "KivUtility.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

constexpr Kiv_SIGNALS   kSignal{7};
constexpr Kiv_LISTENERS kSlot{0};

// Takes a signal without another thread: a wait that times out leaves a waiter behind, who can be woken for
// the next wait. Null when there is none.
CKivSignalDesc* Take(CKivSignalRegistrar& registrar) {
    CKivSignalDesc* taken = nullptr;
    if (registrar.getNextSignal(&taken, 0) == 0) registrar.signal();
    if (taken == nullptr) registrar.getNextSignal(&taken, 0);
    return taken;
}

Bytes PayloadOf(CKivSignalDesc& signal) {
    void* data   = nullptr;
    int   length = 0;
    signal.getPayload(&data, &length);
    const auto* const bytes = static_cast<const unsigned char*>(data);
    return {bytes, bytes + length};
}

TEST(SignalRing, Holds127InTheOrderInWhichTheyWereRaised) {
    CKivSignalRegistrar registrar;
    unsigned long       raised = 0, taken = 0;
    EXPECT_EQ(Take(registrar), nullptr);
    for (int turn = 0; turn < 3; ++turn) { // round the ring
        while (registrar.raiseSignal(kSignal, Kiv_LISTENERS{5}, raised, &raised, sizeof raised) == 1)
            ++raised;
        ASSERT_EQ(raised - taken, 127U);
        for (int i = 0; i < 100; ++i, ++taken) {
            CKivSignalDesc* const signal = Take(registrar);
            ASSERT_TRUE(signal != nullptr && signal->GetSignal() == kSignal && signal->GetListener() == 5);
            EXPECT_EQ(signal->GetListenerMask(), taken);
            EXPECT_EQ(0, std::memcmp(PayloadOf(*signal).data(), &taken, sizeof taken));
        }
    }
}

TEST(SignalRing, KeepsPayloadsUpTo256Bytes) {
    const Bytes                                       bytes(300, 0xA5);
    constexpr std::tuple<int, bool, int, std::size_t> kRows[] = {
        {0, false, 1, 0},  {256, false, 1, 256}, {257, false, 0, 0}, {-1, false, 0, 0},
        {256, true, 1, 0}, {257, true, 0, 0},    {-1, true, 1, 0}};
    for (const auto& [length, isNull, result, kept] : kRows) {
        CKivSignalRegistrar registrar;
        const void* const   data = isNull ? nullptr : bytes.data();
        EXPECT_EQ(registrar.raiseSignal(kSignal, kSlot, 1, data, length), result) << length;
        CKivSignalDesc* signal = nullptr;
        EXPECT_EQ(registrar.getNextSignal(&signal, 0), 0) << "nobody waited when it was raised";
        signal = Take(registrar);
        ASSERT_EQ(signal != nullptr, result == 1) << length;
        if (signal != nullptr) {
            EXPECT_EQ(PayloadOf(*signal), Bytes(kept, 0xA5)) << length;
        }
    }
}

// A dispatcher that delivers by hand, with a listener at every slot who wants every signal.
struct SignalService : testing::Test {
    SignalService() {
        for (int slot = 1; slot < 6; ++slot) mailboxes.push_back(Add(slot, -1));
    }

    CKivSignalHandlerDesc* Add(int slot, long mask) {
        return dispatcher.addListener(static_cast<Kiv_LISTENERS>(slot), mask, &thread);
    }

    struct Dispatcher : CKivSignalDispatcher {
        using CKivSignalDispatcher::handleOneBatch;
    } dispatcher;

    KivThread                           thread;
    CKivSignalRegistrar                 registrar;
    CKivSignalHandlerDesc&              mailbox = *Add(0, -1);
    std::vector<CKivSignalHandlerDesc*> mailboxes{&mailbox};
    Kiv_SIGNALS                         fetched{99};
};

TEST_F(SignalService, ReportsAnExactFitLikeACut) {
    const Bytes payload(100, 0xA5);
    for (const unsigned int size : {0U, 99U, 100U, 101U}) {
        Bytes buffer(size), expected(std::min(size, 100U), 0xA5);
        expected.resize(size);
        ASSERT_EQ(mailbox.deliverSignal(kSignal, payload.data(), 100), 1);
        EXPECT_EQ(mailbox.fetchSigcontext(&fetched, buffer.data(), size), size > 100 ? 1 : 0) << size;
        EXPECT_EQ(fetched, kSignal);
        EXPECT_EQ(buffer, expected);
        EXPECT_EQ(mailbox.fetchSigcontext(&fetched, nullptr, 0), 1); // it is empty again
        EXPECT_EQ(fetched, 0);
    }
}

TEST_F(SignalService, TakesOneSignalThatItsListenerWants) {
    for (const unsigned long mask : {0x80000002UL, 0x00000001UL, 0UL}) {
        mailbox.setSignalMask(mask);
        for (int number = -1; number <= 65; ++number) {
            const auto signal = static_cast<Kiv_SIGNALS>(number);
            const bool wanted = number >= 0 && number < 32 && (mask >> number & 1) != 0;
            EXPECT_EQ(mailbox.deliverSignal(signal, nullptr, 0), wanted ? 1 : 0) << number;
            if (!wanted || number == 0) continue;
            EXPECT_EQ(mailbox.deliverSignal(signal, nullptr, 0), 0) << "full";
            EXPECT_EQ(mailbox.wait(-1), 1);
            mailbox.fetchSigcontext(&fetched, nullptr, 0);
        }
    }
    mailbox.setSignalMask(0xFFFFFFFF);
    EXPECT_EQ(mailbox.deliverSignal(kSignal, "x", 257), 0);
    EXPECT_EQ(mailbox.deliverSignal(kSignal, "x", -1), 0);
    mailbox.removeListener();
    fetched = Kiv_SIGNALS{99};
    EXPECT_EQ(mailbox.deliverSignal(kSignal, nullptr, 0), 0);
    EXPECT_EQ(mailbox.fetchSigcontext(&fetched, nullptr, 0), 0);
    EXPECT_EQ(fetched, 99);
}

TEST_F(SignalService, WakesALaterWaitForOneThatTimedOut) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(mailbox.wait(20), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
    ASSERT_EQ(mailbox.deliverSignal(kSignal, nullptr, 0), 1);
    EXPECT_EQ(mailbox.wait(0), 1);
    mailbox.fetchSigcontext(&fetched, nullptr, 0);
    EXPECT_EQ(mailbox.wait(-1), 1); // by the wake that nobody has used
    EXPECT_EQ(mailbox.fetchSigcontext(&fetched, nullptr, 0), 1);
    EXPECT_EQ(fetched, 0);
    EXPECT_EQ(mailbox.wait(0), 0);
}

TEST_F(SignalService, IsDeliveredToBetweenTwoWaitsThatFollowAtOnce) {
    constexpr int     kDeliveries = 20;
    std::atomic<int>  turns       = 0;
    std::atomic<bool> quit        = false;
    auto              listener    = test::Start(1, [&](int) {
        for (; !quit; ++turns) {
            if (mailbox.wait(5) == 1) mailbox.fetchSigcontext(&fetched, nullptr, 0);
        }
    });
    int               passed      = 0; // turns that a delivery took
    for (int i = 0; i < kDeliveries; ++i) {
        test::Until([&, seen = turns.load()] { return turns >= seen + 2; });
        const int before = turns;
        mailbox.deliverSignal(kSignal, nullptr, 0);
        passed += turns - before;
    }
    quit = true;
    listener.clear();
    EXPECT_LE(passed, 3 * kDeliveries);
}

TEST_F(SignalService, DeliversToTheSlotsInTheMask) {
    dispatcher.handleOneBatch(nullptr);
    dispatcher.removeListener(Kiv_LISTENERS{4});
    EXPECT_EQ(dispatcher.addListener(Kiv_LISTENERS{4}, -1, nullptr), nullptr);
    EXPECT_EQ(Add(4, 0), mailboxes[4]);
    for (const int slot : {-1, 0, 5, 6}) EXPECT_EQ(Add(slot, -1), nullptr) << slot;
    for (const int slot : {-1, 6}) dispatcher.removeListener(static_cast<Kiv_LISTENERS>(slot));
    for (const unsigned long mask : {0x09UL, 0xFFFFFFC0UL, 0xFFFFFFFFUL, 0UL}) {
        registrar.raiseSignal(kSignal, kSlot, mask, nullptr, 0);
        dispatcher.handleOneBatch(Take(registrar));
        for (std::size_t slot = 0; slot < 6; ++slot) {
            mailboxes[slot]->fetchSigcontext(&fetched, nullptr, 0);
            EXPECT_EQ(fetched == kSignal, (mask >> slot & 1) != 0 && slot != 4) << mask << ' ' << slot;
        }
    }
}

TEST_F(SignalService, StartsUpWithZeroAndStartsAgain) {
    for (int turn = 0; turn < 3; ++turn) {
        EXPECT_EQ(dispatcher.StartUp(), 0);
        EXPECT_TRUE(dispatcher.isAlive());
        char text[9] = "";
        // again and again: what is raised while the dispatcher does not wait is not heard
        for (fetched = {}; fetched != kSignal; mailbox.fetchSigcontext(&fetched, text, sizeof text)) {
            g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 1, "x", 2);
            g_theSignalRegistrar.signal();
            mailbox.wait(1);
        }
        EXPECT_STREQ(text, "x");
        dispatcher.ack(turn);
        if (turn != 1) dispatcher.stop();
    }
}

TEST_F(SignalService, IsEndedWhileItDeliversToAListenerThatWaits) {
    std::atomic<int> steps    = 0;
    const auto       listener = test::Start(1, [&](int) {
        ++steps;
        mailbox.wait(-1);
        ++steps;
    });
    test::Until([&] { return steps == 1; });
    do {
        EXPECT_EQ(dispatcher.StartUp(), 0); // ends the one before
        g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 1, "x", 2);
    } while (steps == 1);
}

constexpr std::uint32_t kEach = 500; // signals a raiser raises in the stress

// The payload of one of them: its number, again and again.
using Token = std::array<std::uint32_t, 64>;

// Sees tokens, whole each, and none after a later one of its raiser.
struct Account {
    void See(const Token& token) {
        EXPECT_EQ(std::ranges::count(token, token[0]), 64);
        EXPECT_GE(token[0], std::exchange(least.at(token[0] / kEach), token[0] + 1));
        ++seen;
    }

    std::array<std::uint32_t, 8> least{};
    std::uint32_t                seen = 0;
};

TEST_F(SignalService, LosesAndMixesUpNothingThatItAccepted) {
    std::atomic<bool> quit      = false;
    const auto        listeners = test::Start(6, [&](int slot) {
        auto&   mine = *mailboxes[static_cast<std::size_t>(slot)];
        Account account;
        while (mine.wait(0) == 1 || !quit) {
            Kiv_SIGNALS signal{};
            Token       token{};
            mine.fetchSigcontext(&signal, &token, sizeof token);
            if (signal == kSignal)
                account.See(token);
            else
                std::this_thread::sleep_for(20us); // or the dispatcher waits for the mailbox
        }
        EXPECT_GT(account.seen, 0U);
    });
    const auto        raisers   = test::Start(8, [&](int raiser) {
        Token token{};
        for (std::uint32_t i = 0; i < kEach;) {
            token.fill(static_cast<std::uint32_t>(raiser) * kEach + i);
            if (registrar.raiseSignal(kSignal, kSlot, 0x3F, &token, sizeof token) == 1) {
                ++i;
            } else {
                registrar.signal(); // a full queue wakes nobody
                std::this_thread::yield();
            }
        }
    });
    Account           taken;
    for (CKivSignalDesc* signal = nullptr; taken.seen < 8 * kEach; registrar.signal()) {
        if (registrar.getNextSignal(&signal, 10) == 0) continue;
        Token token{};
        std::memcpy(&token, PayloadOf(*signal).data(), sizeof token);
        taken.See(token);
        dispatcher.handleOneBatch(signal);
    }
    quit = true;
}

} // namespace
