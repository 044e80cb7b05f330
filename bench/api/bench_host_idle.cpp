// CPU used by a host process whose library sits idle: connected with the
// status poll on, connected with it stopped, and disconnected. The whole
// host process is measured (every library thread), with vireo2-sim in its
// own process; each state is measured in 5 rounds of 2 s, median and range
// as a percentage of one core.
#include <QCoreApplication>
#include <QThread>
#include <cstdio>
#include <ctime>

#include "bench_stats.h"
#include "sim_connection.h"
#include "vireo2.h"

using namespace vireo2::bench;

namespace {

constexpr int kRounds = 5;
constexpr int kRoundMs = 2000;

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

void measure(const char* state)
{
    Series percent;
    for (int round = 0; round < kRounds; ++round) {
        const double before = processCpuSeconds();
        QThread::msleep(kRoundMs);
        percent.add((processCpuSeconds() - before) / (kRoundMs / 1000.0) * 100.0);
    }
    std::printf("| %-32s | %6.3f %% (%.3f-%.3f) |\n", state, percent.median(), percent.least(), percent.most());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SimProcess sim(simulatorProgram());
    if (!connectToSimulator(sim))
        return 1;
    std::printf("Idle host process, through the exports, vireo2-sim in its own process\n\n");
    std::printf("| state | CPU, %% of one core |\n|---|---|\n");
    QThread::msleep(500);
    measure("connected, status poll on");
    SetConfiguration("STOP_POLL");
    QThread::msleep(300);
    measure("connected, status poll stopped");
    Disconnect();
    QThread::msleep(300);
    measure("disconnected");
    return 0;
}
