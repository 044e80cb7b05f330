// Many host threads at once against a link that keeps breaking: exports that
// go ahead without the lock after their short wait meet a transport that
// another thread is closing. Each call must end with a result and an error,
// never with a crash (the sanitizer builds run this too).
#include <QElapsedTimer>
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

} // namespace
