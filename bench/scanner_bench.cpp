// The search for start codes in real MPEG data, beside an SSE2 loop that tests 16 positions a turn.
#include "ByteScanner.h"

#include "temp_folder.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>

namespace {

using Find = std::size_t (*)(kiv::ByteSpan, std::size_t) noexcept;

std::size_t SixteenATurn(kiv::ByteSpan bytes, std::size_t from) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i one  = _mm_set1_epi8(1);
    std::size_t   at   = from;
    for (; at + 18 <= bytes.size(); at += 16) {
        const auto load = [&](std::size_t i) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(&bytes[at + i]));
        };
        const __m128i found =
            _mm_and_si128(_mm_and_si128(_mm_cmpeq_epi8(load(0), zero), _mm_cmpeq_epi8(load(1), zero)),
                          _mm_cmpeq_epi8(load(2), one));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(found));
        if (mask != 0) return at + static_cast<std::size_t>(std::countr_zero(mask));
    }
    for (; at + 2 < bytes.size(); ++at) {
        if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1) return at;
    }
    return bytes.size();
}

// The usual way without vectors, for comparison.
std::size_t ByMemchr(kiv::ByteSpan bytes, std::size_t from) noexcept {
    for (std::size_t at = from + 2; at < bytes.size(); ++at) {
        const void* one = std::memchr(&bytes[at], 1, bytes.size() - at);
        if (one == nullptr) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - bytes.data());
        if (bytes[at - 1] == 0 && bytes[at - 2] == 0) return at - 2;
    }
    return bytes.size();
}

void CountCodes(benchmark::State& state, const char* sample, Find find) {
    const test::Bytes bytes = test::ReadWholeFile(std::filesystem::path(KIV_SAMPLES_DIR) / sample);
    for (auto _ : state) {
        std::size_t codes = 0;
        for (std::size_t at = 0; (at = find(bytes, at)) < bytes.size(); ++at) ++codes;
        benchmark::DoNotOptimize(codes);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes.size()) * state.iterations());
}

BENCHMARK_CAPTURE(CountCodes, ours, "mpeg2-program.vob", kiv::FindStartCode)
    ->Name("Start codes, program stream/ours");
BENCHMARK_CAPTURE(CountCodes, sse2, "mpeg2-program.vob", SixteenATurn)
    ->Name("Start codes, program stream/reference");
BENCHMARK_CAPTURE(CountCodes, memchr, "mpeg2-program.vob", ByMemchr)
    ->Name("Start codes, program stream/memchr");
BENCHMARK_CAPTURE(CountCodes, ours, "mpeg2-video.m2v", kiv::FindStartCode)
    ->Name("Start codes, video stream/ours");
BENCHMARK_CAPTURE(CountCodes, sse2, "mpeg2-video.m2v", SixteenATurn)
    ->Name("Start codes, video stream/reference");
BENCHMARK_CAPTURE(CountCodes, memchr, "mpeg2-video.m2v", ByMemchr)->Name("Start codes, video stream/memchr");
BENCHMARK_CAPTURE(CountCodes, ours, "mpeg2-transport.ts", kiv::FindStartCode)
    ->Name("Start codes, transport stream/ours");
BENCHMARK_CAPTURE(CountCodes, sse2, "mpeg2-transport.ts", SixteenATurn)
    ->Name("Start codes, transport stream/reference");

} // namespace

#endif
