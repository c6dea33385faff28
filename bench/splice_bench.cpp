// Splicing cached files of 1 GiB together with the tool, beside `cat` of the same files: both as processes,
// by the processor time that they take.
#include "temp_folder.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>

namespace {

constexpr std::size_t kFileBytes = std::size_t{1} << 29; // two of them

// Two program streams: a sample over and over.
const std::string& Files() {
    static const test::TempFolder folder;
    static const std::string      files = [] {
        const test::Bytes sample =
            test::ReadWholeFile(std::filesystem::path(KIV_SAMPLES_DIR) / "mpeg2-program.vob");
        std::string names;
        for (const char* name : {"one.vob", "two.vob"}) {
            std::ofstream out(folder.Path(name), std::ios::binary);
            for (std::size_t size = 0; size < kFileBytes; size += sample.size()) {
                out.write(reinterpret_cast<const char*>(sample.data()),
                               static_cast<std::streamsize>(sample.size()));
            }
            names += ' ' + folder.Path(name);
        }
        return names;
    }();
    return files;
}

double ChildrenSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Run(benchmark::State& state, const std::string& command) {
    const std::string line = command + Files();
    for (auto _ : state) {
        const double before = ChildrenSeconds();
        if (std::system(line.c_str()) != 0) state.SkipWithError("the command failed");
        state.SetIterationTime(ChildrenSeconds() - before);
    }
}

BENCHMARK_CAPTURE(Run, ours, "> /dev/null " KIV_TOOL " splice -o /dev/null")
    ->Name("Splice 2 x 512 MiB/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK_CAPTURE(Run, reference, "> /dev/null cat")
    ->Name("Splice 2 x 512 MiB/reference")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

} // namespace
