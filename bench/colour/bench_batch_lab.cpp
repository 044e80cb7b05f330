// Spectra to CIE L*a*b* through the public exports, against a loop that only
// reads and sums the same spectra: 1,000,000 spectra (248 MB, far beyond the
// last-level cache), the three loops alternated round by round in one
// process, median and spread of 7 rounds. Prints the throughput of the batch
// export Vireo2_SpectraToLab, of Vireo2_SpectrumToLab called per spectrum,
// and their ratios to the read-and-sum baseline, in wall time and in the
// thread's own CPU time (on a shared machine the wall time also counts the
// time slices other processes take; the CPU time counts this thread's work,
// its waits on memory included).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

#include "vireo2_colour.h"

namespace {

constexpr int kCount = 1000000;
constexpr int kRounds = 7;
constexpr int kD50 = 4;

using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double spread(const std::vector<double>& values)
{
    return *std::max_element(values.begin(), values.end()) - *std::min_element(values.begin(), values.end());
}

struct Series {
    const char* name;
    std::vector<double> times;
    std::vector<double> cpuTimes;
    double median() const { return ::median(times); }
    double spread() const { return ::spread(times); }
    double cpuMedian() const { return ::median(cpuTimes); }

    // Times `loop` in wall and thread CPU time.
    template <typename Loop>
    void time(Loop&& loop)
    {
        const double cpuStart = threadCpuSeconds();
        const auto start = Clock::now();
        loop();
        times.push_back(seconds(start));
        cpuTimes.push_back(threadCpuSeconds() - cpuStart);
    }
};

} // namespace

int main()
{
    std::vector<double> spectra(size_t(kCount) * 31);
    std::mt19937 generator(457);
    std::uniform_real_distribution<double> reflectance(0.0, 100.0);
    for (double& v : spectra)
        v = reflectance(generator);
    std::vector<double> lab(size_t(kCount) * 3);
    volatile double sink = 0.0;

    Series baseline{"read and sum", {}}, batch{"Vireo2_SpectraToLab", {}}, single{"Vireo2_SpectrumToLab", {}};
    for (int round = 0; round < kRounds; ++round) {
        baseline.time([&] {
            double sum = 0.0;
            for (size_t k = 0; k < size_t(kCount); ++k) {
                double s = 0.0;
                for (int i = 0; i < 31; ++i)
                    s += spectra[31 * k + size_t(i)];
                sum += s;
            }
            sink = sink + sum;
        });
        batch.time([&] { Vireo2_SpectraToLab(spectra.data(), kCount, kD50, lab.data()); });
        sink = sink + lab[3];
        single.time([&] {
            for (size_t k = 0; k < size_t(kCount); ++k)
                Vireo2_SpectrumToLab(spectra.data() + 31 * k, kD50, 0, lab.data() + 3 * k);
        });
        sink = sink + lab[3];
    }
    std::printf("spectra -> L*a*b* (D50/2), %d spectra (%.0f MB), %d rounds alternated, through the exports\n",
                kCount, spectra.size() * 8.0 / 1e6, kRounds);
    for (const Series* s : {&baseline, &batch, &single})
        std::printf("  %-22s median %7.1f ms (spread %5.1f ms)  %6.1f M spectra/s  ratio to baseline %.2f"
                    "  (CPU %6.1f ms, ratio %.2f)\n",
                    s->name, s->median() * 1e3, s->spread() * 1e3, kCount / s->median() / 1e6,
                    baseline.median() / s->median(), s->cpuMedian() * 1e3, baseline.cpuMedian() / s->cpuMedian());
    return 0;
}
