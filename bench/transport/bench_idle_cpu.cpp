// CPU used by a connected, idle CEthernet over 10 s: the worker thread's own
// CPU time (from /proc, by its thread name), and the whole process's, which
// also holds the simulator's idle threads.
#include <QDir>
#include <QFile>
#include <QThread>
#include <cstdio>
#include <ctime>

#include "sim_server.h"
#include "transport/ethernet_transport.h"

namespace {

constexpr int kIdleSeconds = 10;

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Seconds on CPU of the threads named `name`, from /proc/self/task/*/schedstat;
// -1 when no such thread exists.
double threadCpuSeconds(const QByteArray& name)
{
    double total = -1;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& tid : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(tid + QStringLiteral("/comm")));
        if (!comm.open(QIODevice::ReadOnly) || comm.readAll().trimmed() != name)
            continue;
        QFile schedstat(tasks.filePath(tid + QStringLiteral("/schedstat")));
        if (!schedstat.open(QIODevice::ReadOnly))
            continue;
        const qint64 nanos = schedstat.readAll().split(' ').value(0).toLongLong();
        total = qMax(total, 0.0) + double(nanos) / 1e9;
    }
    return total;
}

} // namespace

int main()
{
    vireo2::sim::SimServer sim;
    if (!sim.start())
        return 1;
    vireo2::CEthernet transport;
    QByteArray reply;
    if (!transport.OpenPort(sim.address()) || !transport.SendReceive("version", reply, 1000, 0))
        return 1;

    const double workerStart = threadCpuSeconds("EthernetThread");
    const double processStart = processCpuSeconds();
    QThread::sleep(kIdleSeconds);
    const double worker = threadCpuSeconds("EthernetThread") - workerStart;
    const double process = processCpuSeconds() - processStart;

    std::printf("Transport layer only: CEthernet with the simulator in the same process. It leaves out the export frame,\n"
                "the operation lock, Transact, logging and the result buffer; bench/api measures what a host gets.\n\n");
    std::printf("connected and idle for %d s\n", kIdleSeconds);
    if (workerStart < 0) {
        std::printf("  worker thread not found in /proc\n");
    } else {
        std::printf("  EthernetThread CPU     %8.3f ms  = %.4f %% of one core   (goal < 1 %%)\n", worker * 1000,
                    worker / kIdleSeconds * 100);
    }
    std::printf("  whole process CPU      %8.3f ms  = %.4f %% of one core (simulator included)\n", process * 1000,
                process / kIdleSeconds * 100);
    std::printf("  still connected        %s\n", transport.IsConnected() ? "yes" : "no");
    return 0;
}
