// What a host gets from an exchange: short commands and 1 KB, 100 KB and
// 10 MB replies through the public exports (SendCommand, and Execute passing
// the command on), against a plain send()/recv() BCP client doing the same
// exchanges on a blocking socket (posix_bcp_client.h). vireo2-sim runs in its
// own process, keeps the last blob it built and its packet, and writes a large
// packet straight from there, so after one untimed warm-up exchange each side
// gets a reply that is ready; library and baseline calls alternate round by
// round; each figure is the median (and range) of 15 rounds. Also the host
// process's peak RSS after the 10 MB replies.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdio>
#include <sys/resource.h>

#include "bench_stats.h"
#include "posix_bcp_client.h"
#include "sim_connection.h"
#include "vireo2.h"

using namespace vireo2::bench;

namespace {

constexpr int kRounds = 15;

double peakRssMb()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

template <typename F>
double millis(F&& call)
{
    return timedSeconds(call) * 1e3;
}

void report(const char* what, int repeats, double bytes, Series& library, Series& baseline)
{
    const double ratio = baseline.median() / library.median();
    if (bytes > 0) {
        std::printf("| %-26s | %8.1f MB/s (%.1f-%.1f) | %8.1f MB/s (%.1f-%.1f) | %.2f |\n", what,
                    bytes / library.median() / 1e3, bytes / library.most() / 1e3, bytes / library.least() / 1e3,
                    bytes / baseline.median() / 1e3, bytes / baseline.most() / 1e3, bytes / baseline.least() / 1e3, ratio);
    } else {
        std::printf("| %-26s | %8.1f us (%.1f-%.1f) | %8.1f us (%.1f-%.1f) | %.2f |\n", what,
                    library.median() * 1e3 / repeats, library.least() * 1e3 / repeats, library.most() * 1e3 / repeats,
                    baseline.median() * 1e3 / repeats, baseline.least() * 1e3 / repeats, baseline.most() * 1e3 / repeats,
                    ratio);
    }
}

// One command through the library and through the raw client, `repeats`
// times per round, alternating.
void compare(const char* what, const QByteArray& command, int repeats, double replyBytes, bool viaExecute,
             PosixBcpClient& raw)
{
    Series library, baseline;
    const QByteArray executeLine = command;  // unknown words pass through as they stand
    // One untimed exchange each first: the simulator builds a blob the first
    // time it is asked for, and neither side should pay for that.
    viaExecute ? Execute(executeLine.constData()) : SendCommand(command.constData(), 10000);
    raw.exchange(command);
    for (int round = 0; round < kRounds; ++round) {
        library.add(millis([&] {
            for (int i = 0; i < repeats; ++i) {
                const char* reply = viaExecute ? Execute(executeLine.constData()) : SendCommand(command.constData(), 10000);
                if (!reply || !*reply)
                    return false;
            }
            return true;
        }));
        baseline.add(millis([&] {
            for (int i = 0; i < repeats; ++i)
                if (raw.exchange(command) < 0)
                    return false;
            return true;
        }));
    }
    report(what, repeats, replyBytes, library, baseline);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SimProcess sim(simulatorProgram());
    if (!connectToSimulator(sim))
        return 1;
    SetConfiguration("STOP_POLL");  // the status poll would share the socket's time
    PosixBcpClient raw;
    if (!raw.connectTo(sim.port()))
        return 1;

    const double rssBefore = peakRssMb();
    std::printf("Through the exports against vireo2-sim in its own process; baseline: a plain BCP client\n");
    std::printf("(median and range of %d alternated rounds; ratio = baseline time / library time, 1.00 = as fast)\n\n", kRounds);
    std::printf("| exchange | library | baseline | ratio |\n|---|---|---|---|\n");
    compare("short, SendCommand", "blob get 16", 200, 0, false, raw);
    compare("short, Execute", "blob get 16", 200, 0, true, raw);
    compare("1 KB, SendCommand", "blob get 1000", 100, 1000 * 100, false, raw);
    compare("100 KB, SendCommand", "blob get 100000", 20, 100000 * 20, false, raw);
    compare("10 MB, SendCommand", "blob get 10000000", 8, 8e7, false, raw);
    const double rssSendCommand = peakRssMb();
    compare("10 MB, Execute", "blob get 10000000", 8, 8e7, true, raw);
    std::printf("\nPeak RSS of the host process (reply 10 MB; the baseline's own buffer included): %.0f MB before the\n"
                "large replies, %.0f MB after the SendCommand rounds, %.0f MB after the Execute rounds\n",
                rssBefore, rssSendCommand, peakRssMb());
    Disconnect();
    return 0;
}
