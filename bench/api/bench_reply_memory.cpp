// Memory of a large reply, as a host sees it: a 60 MiB reply through
// SendCommand and through Execute (pass-through), against vireo2-sim in its
// own process. For each round: the host process's peak RSS during the call
// above what it held before (VmHWM after resetting it), what it still holds
// right after the call (the result text the host may read), and what it
// holds after the next text result on the same thread. The baseline is a
// plain send()/recv() client reading the same reply into one buffer; library
// and baseline alternate, 5 rounds, median and range. Linux only (/proc).
#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <memory>

#include "bench_stats.h"
#include "posix_bcp_client.h"
#include "sim_connection.h"
#include "vireo2.h"

using namespace vireo2::bench;

namespace {

constexpr int kRounds = 5;
constexpr double kReplyBytes = 60.0 * 1024 * 1024;
const char* const kCommand = "blob get 62914560";

// "VmRSS" or "VmHWM" of this process, in MiB.
double statusMiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1.0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(int(qstrlen(field)) + 1).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1.0;
}

// Makes VmHWM start again from the current RSS.
void resetPeak()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

struct Figures {
    Series peak, held, after;
};

// `call` takes the reply and keeps it readable; `next` is what the host does
// next (another text result, or the plain client closing). Figures are RSS
// above `start`, the process before its first large reply.
template <typename Call, typename Next>
void measure(double start, Figures& figures, Call&& call, Next&& next)
{
    resetPeak();
    if (!call()) {
        std::fprintf(stderr, "the call failed: %d %s\n", GetLastErrorCode(), GetLastErrorString());
        return;
    }
    figures.peak.add(statusMiB("VmHWM:") - start);
    figures.held.add(statusMiB("VmRSS:") - start);
    next();
    figures.after.add(statusMiB("VmRSS:") - start);
}

void row(const char* what, Figures& f)
{
    const double reply = kReplyBytes / (1024.0 * 1024.0);
    std::printf("| %-20s | %6.1f MiB (%.1f-%.1f) = %.2f x | %6.1f MiB (%.1f-%.1f) | %6.1f MiB (%.1f-%.1f) |\n", what,
                f.peak.median(), f.peak.least(), f.peak.most(), f.peak.median() / reply, f.held.median(),
                f.held.least(), f.held.most(), f.after.median(), f.after.least(), f.after.most());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SimProcess sim(simulatorProgram());
    if (!connectToSimulator(sim))
        return 1;
    SetConfiguration("STOP_POLL");
    const double start = statusMiB("VmRSS:");
    Figures sendCommand, execute, baseline;
    auto nextText = [] { SendCommand("blob get 16", 3000); };
    for (int round = 0; round < kRounds; ++round) {
        measure(start, sendCommand, [] { return *SendCommand(kCommand, 30000) != '\0'; }, nextText);
        measure(start, execute, [] { return *Execute(kCommand) != '\0'; }, nextText);
        auto raw = std::make_unique<PosixBcpClient>();
        if (!raw->connectTo(sim.port()))
            return 1;
        measure(start, baseline, [&raw] { return raw->exchange(kCommand) > 0; }, [&raw] { raw.reset(); });
    }
    std::printf("A 60 MiB reply: host RSS above the %.1f MiB it held before the first one (median and range of %d\n"
                "rounds; each round's peak counts from the RSS left by the rounds before)\n\n",
                start, kRounds);
    std::printf("| call | peak during the call (x reply) | held after it | after the next text result |\n"
                "|---|---|---|---|\n");
    row("SendCommand", sendCommand);
    row("Execute", execute);
    row("plain client", baseline);
    Disconnect();
    Connect();
    std::printf("\nAfter Disconnect and Connect: %.1f MiB above it\n", statusMiB("VmRSS:") - start);
    Disconnect();
    return 0;
}
