// Appending to an error stack that holds many records already, beside a deque under a recursive mutex.
#include "errStack.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace {

constexpr KivES_ERR_TYPE kType{2};
constexpr char           kText[] = "the session's socket was closed by the client";

// Each turn adds one record to a full stack, which drops its oldest for it.
void Ours(benchmark::State& state, int held) {
    CKivErrorStack stack(held);
    for (int i = 0; i < held; ++i) stack.AddErrMsg(kType, 6009, 0, kText);
    for (auto _ : state) benchmark::DoNotOptimize(stack.AddErrMsg(kType, 6009, 0, kText));
    if (stack.GetErrMsgCount() != held) state.SkipWithError("the stack has lost records");
}

void Reference(benchmark::State& state, int held) {
    struct Record {
        int           type;
        std::uint32_t rc;
        int           oEC;
        std::string   text;
    };

    std::recursive_mutex lock;
    std::deque<Record>   records;
    for (int i = 0; i < held; ++i) records.push_back({2, 6009, 0, kText});
    for (auto _ : state) {
        const std::lock_guard locked(lock);
        records.push_back({2, 6009, 0, kText});
        records.pop_front();
        benchmark::DoNotOptimize(records.size());
    }
}

BENCHMARK_CAPTURE(Ours, 10, 10)->Name("Add to an error stack of 10/ours");
BENCHMARK_CAPTURE(Reference, 10, 10)->Name("Add to an error stack of 10/reference");
BENCHMARK_CAPTURE(Ours, 1000, 1000)->Name("Add to an error stack of 1,000/ours");
BENCHMARK_CAPTURE(Reference, 1000, 1000)->Name("Add to an error stack of 1,000/reference");
BENCHMARK_CAPTURE(Ours, 100000, 100000)->Name("Add to an error stack of 100,000/ours");
BENCHMARK_CAPTURE(Reference, 100000, 100000)->Name("Add to an error stack of 100,000/reference");

} // namespace
