// The signal service: the ring, a mailbox, the dispatcher, and all of it at once.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr Kiv_SIGNALS   kSignal = Kiv_SIGNALS{7};
constexpr Kiv_LISTENERS kSlot   = Kiv_LISTENERS{0};

// Takes a signal without another thread: a wait that times out leaves a waiter behind, who can be woken for
// the next wait. Null when there is none.
CKivSignalDesc* Take(CKivSignalRegistrar& registrar) {
    CKivSignalDesc* taken = nullptr;
    if (registrar.getNextSignal(&taken, 0) == 0) registrar.signal();
    if (taken == nullptr) registrar.getNextSignal(&taken, 0);
    return taken;
}

std::vector<unsigned char> PayloadOf(CKivSignalDesc& signal) {
    void* data   = nullptr;
    int   length = 0;
    signal.getPayload(&data, &length);
    const auto* const bytes = static_cast<const unsigned char*>(data);
    return {bytes, bytes + length};
}

TEST(SignalRing, Holds127InTheOrderInWhichTheyWereRaised) {
    CKivSignalRegistrar registrar;
    const auto          raise = [&](int number) {
        return registrar.raiseSignal(kSignal, Kiv_LISTENERS{5}, static_cast<unsigned long>(number), &number,
                                              sizeof number);
    };
    EXPECT_EQ(Take(registrar), nullptr);
    int raised = 0, taken = 0;
    for (int turn = 0; turn < 3; ++turn) { // round the ring
        while (raise(raised) == 1) ++raised;
        ASSERT_EQ(raised - taken, 127);
        for (int i = 0; i < 100; ++i, ++taken) {
            CKivSignalDesc* const signal = Take(registrar);
            ASSERT_TRUE(signal != nullptr && signal->GetSignal() == kSignal && signal->GetListener() == 5);
            EXPECT_EQ(signal->GetListenerMask(), static_cast<unsigned long>(taken));
            EXPECT_EQ(0, std::memcmp(PayloadOf(*signal).data(), &taken, sizeof taken));
        }
    }
}

TEST(SignalRing, KeepsWhatWasRaisedWhileNobodyWaited) {
    CKivSignalRegistrar registrar;
    CKivSignalDesc*     taken = nullptr;
    EXPECT_EQ(registrar.raiseSignal(kSignal, kSlot, 1, nullptr, 0), 1);
    EXPECT_EQ(registrar.getNextSignal(&taken, 20), 0);
    EXPECT_NE(Take(registrar), nullptr);
}

TEST(SignalPayload, IsKeptUpTo256Bytes) {
    const std::vector<unsigned char> bytes(300, 0xA5);

    constexpr struct {
        int  length;
        bool isNull;
        int  result, kept;
    } kRows[] = {{0, false, 1, 0},   {1, false, 1, 1},  {256, false, 1, 256},
                 {257, false, 0, 0}, {-1, false, 0, 0}, {9, true, 1, 0},
                 {256, true, 1, 0},  {257, true, 0, 0}, {-1, true, 1, 0}};

    for (const auto& row : kRows) {
        CKivSignalRegistrar registrar;
        const void* const   data = row.isNull ? nullptr : bytes.data();
        EXPECT_EQ(registrar.raiseSignal(kSignal, kSlot, 1, data, row.length), row.result) << row.length;
        CKivSignalDesc* const signal = Take(registrar);
        ASSERT_EQ(signal != nullptr, row.result == 1) << row.length;
        if (signal == nullptr) continue;
        EXPECT_EQ(PayloadOf(*signal), std::vector(bytes.begin(), bytes.begin() + row.kept)) << row.length;
    }
}

// A mailbox that a listener has, with every signal wanted.
struct Mailbox : testing::Test {
    Mailbox() {
        mailbox.addListener(&thread);
        mailbox.setSignalMask(0xFFFFFFFF);
    }

    KivThread             thread;
    CKivSignalHandlerDesc mailbox;
    Kiv_SIGNALS           fetched{99};
};

TEST_F(Mailbox, ReportsAnExactFitLikeACut) {
    const std::vector<unsigned char> payload(100, 0xA5);
    for (const unsigned int size : {0U, 99U, 100U, 101U}) {
        std::vector<unsigned char> buffer(size);
        ASSERT_EQ(mailbox.deliverSignal(kSignal, payload.data(), 100), 1);
        EXPECT_EQ(mailbox.fetchSigcontext(&fetched, buffer.data(), size), size > 100 ? 1 : 0) << size;
        EXPECT_EQ(fetched, kSignal);
        for (unsigned int i = 0; i < size; ++i) EXPECT_EQ(buffer[i], i < 100 ? 0xA5 : 0) << size << ' ' << i;
        EXPECT_EQ(mailbox.fetchSigcontext(&fetched, nullptr, 0), 1); // it is empty again
        EXPECT_EQ(fetched, 0);
    }
}

TEST_F(Mailbox, TakesOneSignalThatItsListenerWants) {
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

TEST_F(Mailbox, WakesALaterWaitForOneThatTimedOut) {
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

// Delivers by hand.
struct Dispatcher : CKivSignalDispatcher {
    using CKivSignalDispatcher::handleOneBatch;
};

TEST(SignalDispatcher, DeliversToTheSlotsInTheMask) {
    CKivSignalRegistrar                   registrar;
    Dispatcher                            dispatcher;
    KivThread                             listener;
    std::array<CKivSignalHandlerDesc*, 6> mailboxes{};
    const auto                            full = [&](std::size_t slot) {
        Kiv_SIGNALS signal{};
        mailboxes[slot]->fetchSigcontext(&signal, nullptr, 0);
        return signal == kSignal;
    };
    for (int slot = 0; slot < 6; ++slot) {
        mailboxes[static_cast<std::size_t>(slot)] =
            dispatcher.addListener(static_cast<Kiv_LISTENERS>(slot), slot == 4 ? 0 : -1, &listener);
        ASSERT_NE(mailboxes[static_cast<std::size_t>(slot)], nullptr);
        EXPECT_EQ(dispatcher.addListener(static_cast<Kiv_LISTENERS>(slot), -1, &listener), nullptr);
    }
    dispatcher.handleOneBatch(nullptr);
    for (const unsigned long mask : {0x09UL, 0xFFFFFFC0UL, 0xFFFFFFFFUL, 0UL}) {
        registrar.raiseSignal(kSignal, kSlot, mask, nullptr, 0);
        dispatcher.handleOneBatch(Take(registrar));
        for (std::size_t slot = 0; slot < 6; ++slot)
            EXPECT_EQ(full(slot), (mask >> slot & 1) != 0 && slot != 4) << mask << ' ' << slot;
    }
    dispatcher.removeListener(kSlot);
    EXPECT_EQ(dispatcher.addListener(kSlot, -1, nullptr), nullptr);
    EXPECT_EQ(dispatcher.addListener(kSlot, -1, &listener), mailboxes[0]);
    for (const int slot : {-1, 6, 32}) {
        EXPECT_EQ(dispatcher.addListener(static_cast<Kiv_LISTENERS>(slot), -1, &listener), nullptr) << slot;
        dispatcher.removeListener(static_cast<Kiv_LISTENERS>(slot));
    }
}

// Raises one until it can be fetched: raised while the dispatcher does not wait it is not heard.
std::string RaiseUntilFetched(CKivSignalHandlerDesc& mailbox) {
    std::array<char, 9> text{};
    for (Kiv_SIGNALS signal{}; signal != kSignal; mailbox.fetchSigcontext(&signal, text.data(), 9)) {
        g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 1, "x", 2);
        g_theSignalRegistrar.signal();
        mailbox.wait(1);
    }
    return text.data();
}

TEST(SignalDispatcher, StartsUpWithZeroAndStartsAgain) {
    KivThread              listener;
    CKivSignalDispatcher   dispatcher;
    CKivSignalHandlerDesc* mailbox = dispatcher.addListener(kSlot, 1 << kSignal, &listener);
    for (int turn = 0; turn < 3; ++turn) {
        EXPECT_EQ(dispatcher.StartUp(), 0);
        EXPECT_TRUE(dispatcher.isAlive());
        EXPECT_EQ(RaiseUntilFetched(*mailbox), "x");
        dispatcher.ack(turn);
        if (turn != 1) dispatcher.stop();
    }
    while (Take(g_theSignalRegistrar) != nullptr) {
    }
}

TEST(SignalDispatcher, IsEndedWhileItDeliversToAListenerThatWaits) {
    struct Listener : KivThread {
        void run() override { mailbox->wait(-1); }

        CKivSignalHandlerDesc* mailbox = nullptr;
    } listener;

    CKivSignalDispatcher dispatcher;
    listener.mailbox = dispatcher.addListener(kSlot, -1, &listener);
    ASSERT_TRUE(listener.start());
    do {
        EXPECT_EQ(dispatcher.StartUp(), 0); // ends the one before
        g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 1, nullptr, 0);
    } while (listener.isAlive());
    listener.join();
}

TEST(SignalService, DeliversBetweenTwoWaitsThatFollowAtOnce) {
    constexpr int          kDeliveries = 20;
    CKivSignalDispatcher   dispatcher;
    KivThread              nobody;
    CKivSignalHandlerDesc* mailbox = dispatcher.addListener(Kiv_LISTENERS{0}, 2, &nobody);
    std::atomic<int>       turns   = 0;
    std::atomic<bool>      quit    = false;
    std::thread            listener([&] {
        for (Kiv_SIGNALS signal{}; !quit; ++turns) {
            if (mailbox->wait(5) == 1) mailbox->fetchSigcontext(&signal, nullptr, 0);
        }
    });
    int                    passed = 0; // turns that a delivery took
    for (int i = 0; i < kDeliveries; ++i) {
        for (const int seen = turns; turns < seen + 2;) std::this_thread::yield();
        const int before = turns;
        mailbox->deliverSignal(Kiv_SIGNALS{1}, nullptr, 0);
        passed += turns - before;
    }
    quit = true;
    listener.join();
    EXPECT_LE(passed, 3 * kDeliveries);
}

// What the stress raises: who, which one, and bytes that follow from both.
struct Token {
    std::uint32_t raiser, number;

    std::vector<unsigned char> Bytes() const {
        std::vector<unsigned char> bytes(sizeof *this + (raiser * 31 + number) % (257 - sizeof *this),
                                         static_cast<unsigned char>(raiser * 16 + number));
        std::memcpy(bytes.data(), this, sizeof *this);
        return bytes;
    }

    // The token that these are the bytes of.
    static Token Of(const std::vector<unsigned char>& bytes) {
        Token token{~0U, ~0U};
        if (bytes.size() >= sizeof token) std::memcpy(&token, bytes.data(), sizeof token);
        EXPECT_TRUE(token.raiser < 8 && bytes == token.Bytes());
        return token;
    }
};

// Takes all there is, in the order in which each raiser raised it.
struct AccountingDispatcher : CKivSignalDispatcher {
    void run() override {
        while (!quit) {
            CKivSignalDesc* signal = nullptr;
            if (g_theSignalRegistrar.getNextSignal(&signal, 10) == 0) continue;
            const Token token = Token::Of(PayloadOf(*signal));
            EXPECT_EQ(token.number, next.at(token.raiser)++);
            handleOneBatch(signal);
            ++taken;
        }
    }

    std::atomic<bool>            quit  = false;
    std::atomic<int>             taken = 0;
    std::array<std::uint32_t, 8> next{};
};

// Fetches what it finds, whole and never an older one after a newer.
struct Listener : KivThread {
    void run() override {
        std::vector<unsigned char>   buffer;
        std::array<std::uint32_t, 8> least{};
        while (!quit) {
            if (mailbox->wait(0) == 0) {
                std::this_thread::sleep_for(20us); // or the dispatcher waits for the mailbox
                continue;
            }
            Kiv_SIGNALS signal{};
            buffer.assign(257, 0);
            EXPECT_EQ(mailbox->fetchSigcontext(&signal, buffer.data(), 257), 1);
            if (signal == 0) continue; // a wake for a wait before
            Token token{};
            std::memcpy(&token, buffer.data(), sizeof token);
            buffer.resize(Token{token}.Bytes().size());
            Token::Of(buffer);
            EXPECT_GE(token.number, least.at(token.raiser));
            least[token.raiser] = token.number + 1;
            ++fetched;
        }
    }

    CKivSignalHandlerDesc* mailbox = nullptr;
    std::atomic<bool>      quit    = false;
    std::atomic<int>       fetched = 0;
};

TEST(SignalService, LosesAndMixesUpNothingThatItAccepted) {
    constexpr int           kEach = 500;
    AccountingDispatcher    dispatcher;
    std::array<Listener, 6> listeners;
    for (int slot = 0; slot < 6; ++slot) {
        Listener& listener = listeners[static_cast<std::size_t>(slot)];
        listener.mailbox = dispatcher.addListener(static_cast<Kiv_LISTENERS>(slot), 1 << kSignal, &listener);
        ASSERT_TRUE(listener.start());
    }
    ASSERT_EQ(dispatcher.StartUp(), 0);
    std::vector<std::jthread> raisers;
    for (std::uint32_t raiser = 0; raiser < 8; ++raiser) {
        raisers.emplace_back([raiser] {
            for (std::uint32_t number = 0; number < kEach; ++number) {
                const auto bytes = Token{raiser, number}.Bytes();
                while (g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 0x3F, bytes.data(),
                                                        static_cast<int>(bytes.size()))
                       == 0) {
                    g_theSignalRegistrar.signal(); // a full queue wakes nobody
                    std::this_thread::yield();
                }
            }
        });
    }
    raisers.clear();
    while (dispatcher.taken < 8 * kEach) {
        g_theSignalRegistrar.signal();
        std::this_thread::yield();
    }
    for (Listener& listener : listeners) {
        listener.quit = true;
        listener.join();
        EXPECT_GT(listener.fetched, 0);
    }
    dispatcher.quit = true;
    dispatcher.join();
}

} // namespace
