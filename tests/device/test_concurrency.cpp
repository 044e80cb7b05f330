// Many host threads at once against a link that keeps breaking: exports that
// go ahead without the lock after their short wait meet a transport that
// another thread is closing. Each call must end with a result and an error,
// never with a crash (the sanitizer builds run this too).
#include <QElapsedTimer>
#include <QThread>
#include <atomic>
#include <thread>
#include <vector>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

class ConcurrencyTest : public InstrumentTest {};

TEST_F(ConcurrencyTest, UnlockedExportsSurviveTheLinkClosingUnderThem)
{
    control(QStringLiteral("calibration valid"));
    // Trailing junk after every black calibration breaks the framing: the
    // failing exchange closes the port, whichever thread runs it, while the
    // main thread connects, measures and disconnects.
    sim_.faults().add(Fault::on("calblack").withGarbage(QByteArray(), "junk").always());

    std::atomic<bool> stop{false};
    std::atomic<int> calls{0};
    std::vector<std::thread> hosts;
    for (int t = 0; t < 8; ++t) {
        hosts.emplace_back([&, t] {
            while (!stop) {
                if (t % 2 == 0)
                    BlackCal();
                else
                    GetMeasAttributes();
                IsConnected();
                ++calls;
            }
        });
    }
    QElapsedTimer timer;
    timer.start();
    int cycles = 0;
    while (timer.elapsed() < 6000) {
        Connect();
        Measure();
        Disconnect();
        ++cycles;
    }
    stop = true;
    for (auto& host : hosts)
        host.join();
    EXPECT_GT(cycles, 3);
    EXPECT_GT(calls.load(), 100);

    // The library is still usable afterwards.
    sim_.faults().clear();
    ASSERT_TRUE(Connect()) << lastError();
    EXPECT_STRNE(GetMeasAttributes(), "");
    EXPECT_TRUE(BlackCal()) << lastError();
}

// The status thread's check is held up by an operation in progress while a
// host Measure waits out the 10 s lock: the failed wait disconnects, the
// check then finds the link gone and its thread ends with the lock held.
// The next locked export still fails after its wait, as a lock held by
// someone else does; that Disconnect frees the lock, and the instrument
// measures again after Connect.
TEST_F(ConcurrencyTest, LockLeftByAnEndedStatusThreadIsFreedByDisconnect)
{
    connectCalibrated();
    // The check waits 17 s before its first poll: by then the failed lock
    // wait has disconnected, and the poll finds the link gone.
    sim_.faults().add(Fault::on("button triggered?").withProgress(17000, 20000, 1000000));
    QElapsedTimer timer;
    timer.start();
    while (sim_.faults().size() > 0 && timer.elapsed() < 3000)
        QThread::msleep(5);
    ASSERT_EQ(sim_.faults().size(), 0) << "the check met the fault";
    QThread::msleep(20);  // its in-progress reply has arrived

    timer.restart();
    EXPECT_FALSE(Measure());
    EXPECT_GE(timer.elapsed(), 10000);
    EXPECT_EQ(count("Meas Run"), 0);
    const auto logSays = [this](const char* text) {
        QElapsedTimer waited;
        waited.start();
        while (!log().contains(QLatin1String(text)) && waited.elapsed() < 5000)
            QThread::msleep(20);
        return log().contains(QLatin1String(text));
    };
    ASSERT_TRUE(logSays("Status thread ended holding the operation lock"));

    timer.restart();
    EXPECT_TRUE(Disconnect());
    EXPECT_GE(timer.elapsed(), 10000);
    EXPECT_TRUE(hasError(20497, "FAILED LockPort"));
    EXPECT_TRUE(logSays("Operation lock left by an ended status thread released"));

    sim_.faults().clear();
    ASSERT_TRUE(Connect()) << lastError();
    timer.restart();
    EXPECT_TRUE(Measure()) << lastError();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_GT(GetSpectralData(0, 10), 0.0f);
}

} // namespace
