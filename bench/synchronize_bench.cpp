// The locks beside those of the standard library.
#include "KivSynchronizeUtil.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>
#include <thread>

namespace {

// --- one lock, by one thread and by two at once; what it guards keeps it honest

template <class Lockable> void LockUnlock(benchmark::State& state) {
    static Lockable lock;
    static long     guarded = 0;
    for (auto _ : state) {
        lock.lock();
        benchmark::DoNotOptimize(++guarded);
        lock.unlock();
    }
}

BENCHMARK(LockUnlock<Mutex>)->Name("Lock and unlock/ours");
BENCHMARK(LockUnlock<std::recursive_mutex>)->Name("Lock and unlock/reference");
BENCHMARK(LockUnlock<Mutex>)->Name("Lock and unlock, contended/ours")->Threads(2)->UseRealTime();
BENCHMARK(LockUnlock<std::recursive_mutex>)
    ->Name("Lock and unlock, contended/reference")
    ->Threads(2)
    ->UseRealTime();

// --- a token to another thread and back

class StandardEvent {
public:
    StandardEvent(bool, bool) {}

    void wait() {
        std::unique_lock held(m_lock);
        m_changed.wait(held, [&] { return m_signalled; });
        m_signalled = false;
    }

    void signal() {
        {
            const std::lock_guard held(m_lock);
            m_signalled = true;
        }
        m_changed.notify_one();
    }

private:
    std::mutex              m_lock;
    std::condition_variable m_changed;
    bool                    m_signalled = false;
};

template <class AutoEvent> void PingPong(benchmark::State& state) {
    AutoEvent         ping(false, false), pong(false, false);
    std::atomic<bool> goOn = true;
    std::thread       partner([&] {
        for (ping.wait(); goOn; ping.wait()) pong.signal();
    });
    for (auto _ : state) {
        ping.signal();
        pong.wait();
    }
    goOn = false;
    ping.signal();
    partner.join();
}

BENCHMARK(PingPong<Event>)->Name("Event, there and back/ours")->UseRealTime();
BENCHMARK(PingPong<StandardEvent>)->Name("Event, there and back/reference")->UseRealTime();

// --- a lock shared by one thread

void ShareOurs(benchmark::State& state) {
    ControlVariable lock;
    for (auto _ : state) {
        lock.Lock(0);
        benchmark::ClobberMemory();
        lock.Unlock(0);
    }
}

void ShareReference(benchmark::State& state) {
    std::shared_mutex lock;
    for (auto _ : state) {
        lock.lock_shared();
        benchmark::ClobberMemory();
        lock.unlock_shared();
    }
}

BENCHMARK(ShareOurs)->Name("Lock and unlock, shared/ours");
BENCHMARK(ShareReference)->Name("Lock and unlock, shared/reference");

} // namespace
