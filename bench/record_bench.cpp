// Encoding and decoding a session record, beside a copy of as many bytes and one append of them.
#include "KivUtility.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

namespace {

constexpr int kSessionBytes = 548;

// Room for the appends of one batch: emptying the buffer is part of neither side.
constexpr int kBatch = 64;

template <class Step> void InBatches(benchmark::State& state, Step step) {
    CKivDynaBuffer buffer(kBatch * kSessionBytes);
    int            left = kBatch;
    for (auto _ : state) {
        if (left-- == 0) {
            buffer.ChopTail(0);
            left = kBatch - 1;
        }
        step(buffer);
    }
}

void EncodeAndDecode(benchmark::State& state) {
    Kiv_STM_SESSION_INFO         session{}, received{};
    Kiv_STM_SESSION_INFO_WRAPPER sender(session), receiver(received);
    InBatches(state, [&](CKivDynaBuffer& buffer) {
        sender.getOutgoingStruct(buffer);
        const auto* end = static_cast<const char*>(buffer.GetBufferPtr()) + buffer.GetSize();
        receiver.setIncomingStruct(end - kSessionBytes, kSessionBytes);
        benchmark::DoNotOptimize(received);
    });
}

void CopyAndAppend(benchmark::State& state) {
    std::array<char, kSessionBytes> session{}, received{};
    InBatches(state, [&](CKivDynaBuffer& buffer) {
        buffer.Append(session.data(), kSessionBytes);
        const auto* end = static_cast<const char*>(buffer.GetBufferPtr()) + buffer.GetSize();
        std::memcpy(received.data(), end - kSessionBytes, kSessionBytes);
        benchmark::DoNotOptimize(received);
    });
}

BENCHMARK(EncodeAndDecode)->Name("Session record, encode and decode/ours");
BENCHMARK(CopyAndAppend)->Name("Session record, encode and decode/reference");

} // namespace
