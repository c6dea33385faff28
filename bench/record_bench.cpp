// Encoding and decoding a session record, beside a copy of as many bytes and one append of them.
#include "KivUtility.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

namespace {

constexpr int kSessionBytes = 548;

constexpr int kBatch = 64; // records that the buffer has room for

// Calls step(buffer) for a record at a time. Emptying the buffer is not timed.
template <class Step> void InBatches(benchmark::State& state, Step step) {
    CKivDynaBuffer buffer(kBatch * kSessionBytes);
    while (state.KeepRunningBatch(kBatch)) {
        for (int i = 0; i < kBatch; ++i) step(buffer);
        state.PauseTiming();
        buffer.ChopTail(0);
        state.ResumeTiming();
    }
}

const char* LastRecord(const CKivDynaBuffer& buffer) {
    return static_cast<const char*>(buffer.GetBufferPtr()) + buffer.GetSize() - kSessionBytes;
}

// As the sender and the receiver of a record do it: both convert.
void EncodeAndDecode(benchmark::State& state) {
    Kiv_STM_SESSION_INFO         session{}, received{};
    Kiv_STM_SESSION_INFO_WRAPPER sender(session), receiver(received);
    InBatches(state, [&](CKivDynaBuffer& buffer) {
        sender.toNetByteOrder();
        sender.getOutgoingStruct(buffer);
        receiver.setIncomingStruct(LastRecord(buffer), kSessionBytes);
        receiver.toHostByteOrder();
        benchmark::DoNotOptimize(received);
    });
}

void CopyAndAppend(benchmark::State& state) {
    std::array<char, kSessionBytes> session{}, received{};
    InBatches(state, [&](CKivDynaBuffer& buffer) {
        buffer.Append(session.data(), kSessionBytes);
        std::memcpy(received.data(), LastRecord(buffer), kSessionBytes);
        benchmark::DoNotOptimize(received);
    });
}

BENCHMARK(EncodeAndDecode)->Name("Session record, encode and decode/ours");
BENCHMARK(CopyAndAppend)->Name("Session record, encode and decode/reference");

} // namespace
