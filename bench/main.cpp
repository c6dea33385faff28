// Runs the benchmarks and closes with the table of ratios: each figure over the reference of the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

// Benchmarks are named SUBJECT/ours/..., SUBJECT/reference/... with the same rest.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
            ConsoleReporter::ReportRuns({run});
            // "manual_time" where other processes are measured, "real_time" where threads wait for each other
            const bool measured = !run.run_name.time_type.empty();
            m_medians[run.run_name.function_name] =
                measured ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        }
    }

    void Finalize() override {
        std::printf("\n%-52s %10s\n", "time over the reference (medians)", "ratio");
        for (const auto& [name, time] : m_medians) {
            const std::size_t at = name.find("/ours");
            if (at == std::string::npos) continue;
            const auto reference = m_medians.find(std::string(name).replace(at, 5, "/reference"));
            if (reference == m_medians.end()) continue;
            std::printf("%-52s %10.2f\n", std::string(name).erase(at, 5).c_str(), time / reference->second);
        }
    }

private:
    std::map<std::string, double> m_medians;
};

} // namespace

int main(int argc, char** argv) {
    // a noisy machine hits both sides alike when their repetitions alternate
    std::string defaults[] = {"--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_report_aggregates_only=true"};
    std::vector<char*> arguments = {argv[0]};
    for (std::string& option : defaults) arguments.push_back(option.data());
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
