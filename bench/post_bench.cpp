// Posting a short event to a console window, beside the plain way: a copy of the record and an envelope on a
// locked queue.
#include "KivSvrPostMsg.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>

namespace {

constexpr char kText[]   = "session 4711 opened";
constexpr int  kBatch    = 8000; // below what a queue holds
constexpr auto kSeverity = kKivEvent_Information;

// Posts once a turn and drains the queue between batches, off the clock.
template <class Post, class Drain> void PostInBatches(benchmark::State& state, Post post, Drain drain) {
    int inQueue = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(post());
        if (++inQueue < kBatch) continue;
        state.PauseTiming();
        drain();
        inQueue = 0;
        state.ResumeTiming();
    }
    drain();
}

void Ours(benchmark::State& state) {
    KivMessageWindow window;
    g_theSvrPostMsg.Register(window.GetHandle(), 1);
    bool       allPosted = true;
    const auto drain     = [&] {
        for (KivWindowMessage message{}; window.Get(message, 0);) CSvrPostMsg::DisposeMsg(message.wParam);
    };
    PostInBatches(
        state, [&] { return allPosted &= Kiv_RaiseEvent(kKivSys_StreamingFs, 1, kSeverity, kText) == 1; },
        drain);
    g_theSvrPostMsg.UnRegister();
    drain();
    if (!allPosted) state.SkipWithError("an event was refused");
}

void Reference(benchmark::State& state) {
    struct Envelope {
        int                                type;
        std::unique_ptr<Kiv_EVENTLOG_INFO> payload;
    };

    std::mutex                            lock;
    std::deque<std::unique_ptr<Envelope>> queue;
    PostInBatches(
        state,
        [&] {
            Kiv_EVENTLOG_INFO event{
                kKivSys_StreamingFs, 1, kSeverity, static_cast<std::uint32_t>(std::time(nullptr)), "", 0};
            std::memcpy(event.text, kText, sizeof kText);
            auto envelope = std::make_unique<Envelope>(
                Envelope{Kiv_SPMSG_EVENTLOG, std::make_unique<Kiv_EVENTLOG_INFO>(event)});
            const std::lock_guard held(lock);
            queue.push_back(std::move(envelope));
            return queue.size();
        },
        [&] { queue.clear(); });
}

BENCHMARK(Ours)->Name("Post an event/ours");
BENCHMARK(Reference)->Name("Post an event/reference");

} // namespace
