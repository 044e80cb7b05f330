// Spectra to L*a*b* per second on one core, against a loop that only reads
// the same spectra and sums them (memory-bound baseline). Both run in the same
// process over the same data; the ratio is printed at the end.

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "colour/colorimetry.h"

namespace {

using namespace vireo2::colour;

// 65,536 spectra, 16 MB: larger than the caches, so the baseline streams memory.
constexpr int kSpectrumCount = 65536;
const char* const kBaselineName = "BM_ReadAndSumSpectra";
const char* const kLabName = "BM_SpectrumToLab";

const std::vector<double>& spectra()
{
    static const std::vector<double> data = [] {
        std::mt19937 generator(457);
        std::uniform_real_distribution<double> reflectance(0.0, 100.0);
        std::vector<double> values(static_cast<std::size_t>(kSpectrumCount) * kSpectrumLength);
        for (double& v : values)
            v = reflectance(generator);
        return values;
    }();
    return data;
}

void BM_ReadAndSumSpectra(benchmark::State& state)
{
    const double* data = spectra().data();
    for (auto _ : state) {
        for (int s = 0; s < kSpectrumCount; ++s) {
            const double* spectrum = data + static_cast<std::size_t>(s) * kSpectrumLength;
            double sum = 0.0;
            for (int i = 0; i < kSpectrumLength; ++i)
                sum += spectrum[i];
            benchmark::DoNotOptimize(sum);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSpectrumCount);
}

void BM_SpectrumToLab(benchmark::State& state)
{
    const double* data = spectra().data();
    const int index = static_cast<int>(state.range(0));
    for (auto _ : state) {
        for (int s = 0; s < kSpectrumCount; ++s) {
            Triple lab = SpectrumToLab(data + static_cast<std::size_t>(s) * kSpectrumLength, index, false);
            benchmark::DoNotOptimize(lab);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSpectrumCount);
}

BENCHMARK(BM_ReadAndSumSpectra)->Unit(benchmark::kMillisecond);
// D65/10 and F12/2 (the entry whose x row uses the storage rule).
BENCHMARK(BM_SpectrumToLab)->Arg(7)->Arg(14)->Unit(benchmark::kMillisecond);

// Console output plus the ratio of each conversion rate to the baseline rate.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        // With repetitions the median replaces the single runs.
        for (const Run& run : runs) {
            const auto rate = run.counters.find("items_per_second");
            const bool usable = run.run_type == Run::RT_Iteration || run.aggregate_name == "median";
            if (usable && rate != run.counters.end())
                rates_[run.run_name.str()] = rate->second.value;
        }
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const auto baseline = rates_.find(kBaselineName);
        if (baseline == rates_.end())
            return;
        for (const auto& [name, rate] : rates_) {
            if (name.rfind(kLabName, 0) == 0) {
                std::printf("%s: %.3g spectra/s, %.3g x slower than reading and summing (%.3g spectra/s)\n",
                            name.c_str(), rate, baseline->second / rate, baseline->second);
            }
        }
    }

private:
    std::map<std::string, double> rates_;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
