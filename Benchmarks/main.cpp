#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Timings.h"

namespace nimbe {
namespace {

/// Keeps the times of each name's repetitions instead of printing them.
class Keeper final : public benchmark::BenchmarkReporter {
public:
    std::map<std::string, std::vector<double>> times;

    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            times[run.run_name.function_name].push_back(
                run.real_accumulated_time / static_cast<double>(run.iterations));
        }
    }
};

} // namespace

void Timings::add(const std::string& name, std::function<Work()> prepare, Effort effort) {
    auto* added = benchmark::RegisterBenchmark(
        name.c_str(), [prepare = std::move(prepare)](benchmark::State& state) {
            const Work work = prepare();
            for (auto step : state) {
                (void)step;
                work();
            }
        });
    switch (effort) {
    case Effort::careful: added->MinTime(0.05)->Repetitions(7); break;
    case Effort::quick: added->MinTime(0.003)->Repetitions(3); break;
    case Effort::once: added->Iterations(1); break;
    }
}

void Timings::run() {
    Keeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    for (auto& [name, times] : keeper.times) {
        std::sort(times.begin(), times.end());
        results[name] = times[times.size() / 2];
    }
    benchmark::ClearRegisteredBenchmarks();
}

} // namespace nimbe

/// All figures, or those of one area: nimbe-bench [text|history|sync|mcp|speech|language|desktop].
int main(int count, char** arguments) {
    int argc = 2;
    // Repetitions of different work take turns, so that a busy moment of the
    // machine falls on all of them.
    char program[] = "nimbe-bench";
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char* argv[] = {program, interleave, nullptr};
    benchmark::Initialize(&argc, argv);
    const std::string which = count > 1 ? arguments[1] : "";
    if (which.empty() || which == "text") nimbe::benchmarkText();
    if (which.empty() || which == "history") nimbe::benchmarkHistory();
    if (which.empty() || which == "sync") nimbe::benchmarkSync();
    if (which.empty() || which == "mcp") nimbe::benchmarkMCP();
    if (which.empty() || which == "speech") nimbe::benchmarkSpeech();
    if (which.empty() || which == "language") nimbe::benchmarkLanguage();
    if (which.empty() || which == "desktop") nimbe::benchmarkDesktop();
    return 0;
}
