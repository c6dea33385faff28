// From the raise of a signal until its listener has fetched it, for the ways in which a listener may wait;
// beside the plain way from thread to thread: a deque under a lock, with a condition variable.
//
// The time is that of the clock, taken on both sides: between the two are threads that have to be woken. The
// percentiles of all hand-overs of a run are printed as counters, in microseconds. A listener of ours looks
// at its mailbox and naps for 20 microseconds, unless the name says otherwise.
#include "KivSignal.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr Kiv_SIGNALS   kSignal = Kiv_SIGNALS{1};
constexpr Kiv_LISTENERS kSlot   = Kiv_LISTENERS{0};

// Hands the time of sending from one thread to another, again and again. `send` takes the time; whoever gets
// it calls `Arrived`.
class Course {
public:
    void Arrived(Clock::time_point sent) {
        m_took = std::chrono::duration<double>(Clock::now() - sent).count();
        m_arrived.release();
    }

    // `rescue` is called when nothing has come for too long.
    template <class Send, class Rescue> void Run(benchmark::State& state, Send send, Rescue rescue) {
        std::vector<double> times;
        double              lost = 0;
        for (auto _ : state) {
            std::this_thread::sleep_for(100us); // so that the others have gone back to wait
            send(Clock::now());
            while (!m_arrived.try_acquire_for(50ms)) {
                ++lost;
                rescue();
            }
            state.SetIterationTime(m_took);
            times.push_back(m_took * 1e6);
        }
        std::ranges::sort(times);
        const auto percentile = [&](double part) {
            return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
        };
        state.counters["p50"]  = percentile(0.5);
        state.counters["p90"]  = percentile(0.9);
        state.counters["p99"]  = percentile(0.99);
        state.counters["max"]  = times.back();
        state.counters["lost"] = lost;
    }

private:
    // not std::counting_semaphore, whose timed wait goes by slices of its own
    struct {
        std::mutex              lock;
        std::condition_variable changed;
        bool                    isSet = false;

        void release() {
            const std::lock_guard held(lock);
            isSet = true;
            changed.notify_one();
        }

        bool try_acquire_for(Clock::duration time) {
            std::unique_lock held(lock);
            if (!changed.wait_for(held, time, [&] { return isSet; })) return false;
            isSet = false;
            return true;
        }
    } m_arrived;

    double m_took = 0; // handed over by m_arrived
};

// `idle` is what the listener does between two looks at its mailbox, each of at most `waitMs`.
template <class Idle> void Ours(benchmark::State& state, int waitMs, Idle idle) {
    CKivSignalDispatcher         dispatcher;
    KivThread                    thread;
    CKivSignalHandlerDesc* const mailbox = dispatcher.addListener(kSlot, 1 << kSignal, &thread);
    Course                       course;
    dispatcher.StartUp();
    {
        std::jthread listener([&](const std::stop_token& stopped) {
            while (!stopped.stop_requested()) {
                Kiv_SIGNALS       signal{};
                Clock::time_point sent;
                if (mailbox->wait(waitMs) == 0)
                    idle();
                else if (mailbox->fetchSigcontext(&signal, &sent, sizeof sent) == 0 && signal == kSignal)
                    course.Arrived(sent);
            }
        });
        course.Run(
            state,
            [](Clock::time_point now) {
                g_theSignalRegistrar.raiseSignal(kSignal, kSlot, 1, &now, sizeof now);
            },
            [] { g_theSignalRegistrar.signal(); });
    }
}

void Reference(benchmark::State& state) {
    std::mutex                    lock;
    std::condition_variable       filled;
    std::deque<Clock::time_point> queue;
    Course                        course;
    const auto                    send = [&](Clock::time_point now) {
        const std::lock_guard held(lock);
        queue.push_back(now);
        filled.notify_one();
    };
    std::jthread listener([&](const std::stop_token&) {
        for (;;) {
            std::unique_lock held(lock);
            filled.wait(held, [&] { return !queue.empty(); });
            const Clock::time_point sent = queue.front();
            queue.pop_front();
            if (sent == Clock::time_point{}) return; // to end
            course.Arrived(sent);
        }
    });
    course.Run(state, send, [] {});
    send({});
}

BENCHMARK_CAPTURE(Ours, nap, 0, [] { std::this_thread::sleep_for(20us); })
    ->Name("Raise until fetched/ours")
    ->UseManualTime();
BENCHMARK(Reference)->Name("Raise until fetched/reference")->UseManualTime();
BENCHMARK_CAPTURE(Ours, yield, 0, [] { std::this_thread::yield(); })
    ->Name("Raise until fetched, yield instead of naps")
    ->UseManualTime();
BENCHMARK_CAPTURE(Ours, wait1, 1, [] {})->Name("Raise until fetched, wait(1)")->UseManualTime();
BENCHMARK_CAPTURE(Ours, wait10, 10, [] {})->Name("Raise until fetched, wait(10)")->UseManualTime();

} // namespace
