// Bit fields of mixed widths, beside a plain 64-bit shift reader over memory.
#include "KivBitStream.h"

#include "temp_folder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <random>

namespace {

constexpr int kBytes = 30000; // within one fill of a file source, so that both sides only read memory

// The widths of a pack, a packet and a sequence header, one after the other.
constexpr std::array<unsigned char, 30> kHeaderWidths = {32, 2, 3,  1, 15, 1, 15, 1, 9, 1, 22, 1,  1, 5, 3,
                                                         24, 8, 16, 2, 2,  1, 1,  8, 5, 3, 12, 12, 4, 4, 18};

// Widths that no branch predictor knows by heart.
std::vector<unsigned char> RandomWidths() {
    std::mt19937               random(1);
    std::vector<unsigned char> widths(4096);
    for (auto& width : widths) width = static_cast<unsigned char>(1 + random() % 32);
    return widths;
}

std::vector<unsigned char> HeaderWidths() { return {kHeaderWidths.begin(), kHeaderWidths.end()}; }

test::Bytes Content() {
    std::mt19937 random(2);
    return test::RandomBytes(random, kBytes + 8);
}

// What one writes who has a block of memory with 8 spare bytes and needs neither files nor an end.
class PlainReader {
public:
    explicit PlainReader(const unsigned char* data) : m_data(data) {}

    std::uint64_t Get(unsigned n) {
        std::uint64_t word = 0;
        std::memcpy(&word, m_data + m_position / 8, sizeof word);
        word = __builtin_bswap64(word) << (m_position % 8) >> (64 - n);
        m_position += n;
        return word;
    }

    std::uint64_t Position() const { return m_position; }

private:
    const unsigned char* m_data;
    std::uint64_t        m_position = 0;
};

void Reference(benchmark::State& state, const std::vector<unsigned char>& widths) {
    const test::Bytes bytes  = Content();
    std::int64_t      fields = 0;
    for (auto _ : state) {
        PlainReader   reader(bytes.data());
        std::uint64_t sum = 0;
        for (std::size_t i = 0; reader.Position() + 32 <= kBytes * 8ULL;
             i             = i + 1 == widths.size() ? 0 : i + 1) {
            sum += reader.Get(widths[i]);
            ++fields;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(fields);
}

void Ours(benchmark::State& state, const std::vector<unsigned char>& widths, bool fromFile) {
    test::TempFolder  folder;
    test::Bytes       bytes  = Content();
    const std::string path   = folder.Write("bytes", bytes);
    std::int64_t      fields = 0;
    CKivBitStream     s;
    fromFile ? s.SourceFromFile(path.c_str()) : s.SourceFromBuffer(bytes.data(), kBytes);
    for (auto _ : state) {
        s.BytesJump(0);
        const unsigned long long start = s.GetOutBitCount();
        std::uint64_t            sum   = 0;
        for (std::size_t i = 0; s.GetOutBitCount() - start + 32 <= kBytes * 8ULL;
             i             = i + 1 == widths.size() ? 0 : i + 1) {
            sum += s.GetBits(widths[i]);
            ++fields;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(fields);
}

BENCHMARK_CAPTURE(Ours, header, HeaderWidths(), false)->Name("GetBits, header fields/ours");
BENCHMARK_CAPTURE(Reference, header, HeaderWidths())->Name("GetBits, header fields/reference");
BENCHMARK_CAPTURE(Ours, random, RandomWidths(), false)->Name("GetBits, random widths/ours");
BENCHMARK_CAPTURE(Reference, random, RandomWidths())->Name("GetBits, random widths/reference");
BENCHMARK_CAPTURE(Ours, file, RandomWidths(), true)->Name("GetBits, random widths, file/ours");
BENCHMARK_CAPTURE(Reference, file, RandomWidths())->Name("GetBits, random widths, file/reference");

} // namespace
