// Measures, against vireo2-sim in its own process:
//  - the time from Connect to connected, against the time of the same seven
//    identification exchanges sent one by one through SendCommand (baseline);
//  - the CPU the library uses over 10 s while connected and idle, with the
//    status poll on, against the same with polling stopped (baseline).
// Usage: bench_device_connection [connect rounds] [idle seconds]
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

#include "test_environment.h"
#include "vireo2.h"

namespace {

double processCpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// Starts the simulator on a free port and returns "127.0.0.1:<port>".
QByteArray startSimulator(QProcess& sim)
{
    sim.start(QStringLiteral(VIREO2_SIM_PROGRAM), {QStringLiteral("--port"), QStringLiteral("0")});
    if (!sim.waitForStarted(5000))
        return QByteArray();
    QByteArray output;
    const QRegularExpression listening(QStringLiteral("listening on (127\\.0\\.0\\.1:\\d+)"));
    while (sim.waitForReadyRead(5000)) {
        output += sim.readAllStandardOutput();
        const auto match = listening.match(QString::fromUtf8(output));
        if (match.hasMatch())
            return match.captured(1).toUtf8();
    }
    return QByteArray();
}

// CPU share of one core used by this process over `seconds`.
double idleCpuShare(int seconds)
{
    const double cpuBefore = processCpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QThread::sleep(unsigned(seconds));
    return (processCpuSeconds() - cpuBefore) / (double(wall.nsecsElapsed()) / 1e9);
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 20;
    const int idleSeconds = argc > 2 ? std::max(1, atoi(argv[2])) : 10;

    vireo2::test::TestEnvironment env;
    QProcess sim;
    const QByteArray address = startSimulator(sim);
    if (address.isEmpty()) {
        std::fprintf(stderr, "cannot start %s\n", VIREO2_SIM_PROGRAM);
        return 1;
    }
    SetOption("connection_method", "TCP");
    SetOption("device_ip_address", address.constData());

    std::vector<double> connectMs, exchangesMs;
    const char* identification[] = {"version", "meas done?", "scan done?", "SerialNum Get Inst",
                                    "Cal Query Status", "MeasConfig Get APERTURE", "version get"};
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        if (!Connect()) {
            std::fprintf(stderr, "Connect failed: %d %s\n", GetLastErrorCode(), GetLastErrorString());
            return 1;
        }
        connectMs.push_back(double(timer.nsecsElapsed()) / 1e6);
        SetConfiguration("STOP_POLL");
        QThread::msleep(250);
        timer.restart();
        for (const char* command : identification)
            SendCommand(command, 3000);
        exchangesMs.push_back(double(timer.nsecsElapsed()) / 1e6);
        Disconnect();
    }

    if (!Connect()) {
        std::fprintf(stderr, "Connect failed: %d %s\n", GetLastErrorCode(), GetLastErrorString());
        return 1;
    }
    QThread::msleep(500);
    const double polling = idleCpuShare(idleSeconds);
    SetConfiguration("STOP_POLL");
    QThread::msleep(250);
    const double quiet = idleCpuShare(idleSeconds);
    Disconnect();
    sim.kill();
    sim.waitForFinished(2000);

    std::printf("connect to connected: median %.1f ms, min %.1f ms over %d rounds\n", median(connectMs),
                *std::min_element(connectMs.begin(), connectMs.end()), rounds);
    std::printf("baseline, the 7 identification exchanges alone: median %.2f ms (connect / baseline = %.1f)\n",
                median(exchangesMs), median(connectMs) / median(exchangesMs));
    std::printf("idle connected CPU over %d s: %.3f %% of one core with polling, %.3f %% with polling stopped\n",
                idleSeconds, 100.0 * polling, 100.0 * quiet);
    return 0;
}
