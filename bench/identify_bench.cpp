// Identification: the full parse of a large program stream beside reading it, and the quick check of many
// small files beside opening them.
#include "KivUtility.h"

#include "temp_folder.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

namespace {

constexpr std::size_t kLargeFile  = std::size_t{1} << 30;
constexpr int         kSmallFiles = 300;

// A program stream of 1 GiB: a sample over and over. Its group headers lie as those of one long recording do,
// and the last one is later than the first.
const std::string& LargeProgramStream() {
    static const test::TempFolder folder;
    static const std::string      path = [] {
        const test::Bytes sample =
            test::ReadWholeFile(std::filesystem::path(KIV_SAMPLES_DIR) / "mpeg2-program.vob");
        std::ofstream out(folder.Path("large.mpg"), std::ios::binary);
        for (std::size_t size = 0; size < kLargeFile; size += sample.size()) {
            out.write(reinterpret_cast<const char*>(sample.data()),
                           static_cast<std::streamsize>(sample.size()));
        }
        return folder.Path("large.mpg");
    }();
    return path;
}

void FullParse(benchmark::State& state) {
    const std::string& path = LargeProgramStream();
    for (auto _ : state) {
        CMObjParserMgr manager;
        if (manager.parse(path.c_str())->GetFrames() == 0) state.SkipWithError("not measured");
    }
}

void ReadBlocks(benchmark::State& state) {
    const std::string&               path = LargeProgramStream();
    std::array<unsigned char, 32768> block{};
    for (auto _ : state) {
        const int file = ::open(path.c_str(), O_RDONLY);
        while (::read(file, block.data(), block.size()) > 0) benchmark::DoNotOptimize(block);
        ::close(file);
    }
}

// The samples, copied until there are some hundred files.
const std::vector<std::string>& SmallFiles() {
    static const test::TempFolder         folder;
    static const std::vector<std::string> paths = [] {
        std::vector<std::string> made;
        const auto               samples = test::Samples();
        for (std::size_t i = 0; i < kSmallFiles; ++i) {
            const auto& sample = samples[i % samples.size()];
            made.push_back(
                folder.Write(std::to_string(i) + sample.extension().string(), test::ReadWholeFile(sample)));
        }
        return made;
    }();
    return paths;
}

void QuickCheck(benchmark::State& state) {
    const auto&    paths = SmallFiles();
    CMObjParserMgr manager;
    for (auto _ : state) {
        for (const auto& path : paths) benchmark::DoNotOptimize(manager.checkFormat(path.c_str()));
    }
    state.SetItemsProcessed(state.iterations() * kSmallFiles);
}

void OpenStatReadClose(benchmark::State& state) {
    const auto&                     paths = SmallFiles();
    std::array<unsigned char, 4096> block{};
    for (auto _ : state) {
        for (const auto& path : paths) {
            struct stat status {};

            const int file = ::open(path.c_str(), O_RDONLY);
            benchmark::DoNotOptimize(::fstat(file, &status));
            benchmark::DoNotOptimize(::read(file, block.data(), block.size()));
            ::close(file);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSmallFiles);
}

BENCHMARK(FullParse)->Name("Full parse of 1 GiB/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBlocks)->Name("Full parse of 1 GiB/reference")->Unit(benchmark::kMillisecond);
BENCHMARK(QuickCheck)->Name("Quick check of small files/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenStatReadClose)->Name("Quick check of small files/reference")->Unit(benchmark::kMicrosecond);

} // namespace
