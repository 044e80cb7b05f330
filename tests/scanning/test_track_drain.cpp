// The end of a streamed track scan through the C exports: after "Scan
// Acquire Stop" the library collects the instrument's last readings, and an
// instrument that never finishes, or does not take the stop, ends the scan
// with its reason within the documented bound and leaves the lock free.
#include <QElapsedTimer>
#include <QThread>

#include "scan_fixture.h"
#include "vireo2.h"

namespace vireo2::test {
namespace {

struct DrainCase {
    const char* name;
    sim::Fault fault;
    int code;
    const char* text;
};

void PrintTo(const DrainCase& c, std::ostream* os)
{
    *os << c.name;
}

class TrackDrain : public ScanTest, public ::testing::WithParamInterface<DrainCase> {
protected:
    // Position of the first "Scan Acquire Stop" in the record, or -1.
    int firstStop() const
    {
        const QList<QByteArray> commands = sim_.commands();
        for (int i = 0; i < commands.size(); ++i)
            if (commands.at(i).compare("Scan Acquire Stop", Qt::CaseInsensitive) == 0)
                return i;
        return -1;
    }
};

TEST_P(TrackDrain, EndsWithTheReasonWithinTheBound)
{
    sim_.faults().add(GetParam().fault);
    connectOnTrack();
    ASSERT_EQ(ScanConfig(24, 8.0f), 1) << lastError();
    ASSERT_EQ(ScanStart(), 1);
    ASSERT_EQ(execute("autoscanstart"), "<00>") << lastError();
    ASSERT_TRUE(sim_.engine().waitForCommand("Scan Acquire Stop", 20000));
    QElapsedTimer sinceStop;
    sinceStop.start();

    ASSERT_EQ(waitForScanEnd(10000), -1) << lastError();
    // 2 s of collecting, the abort's exchanges and this test's 50 ms polls.
    EXPECT_LT(sinceStop.elapsed(), 3500);
    EXPECT_EQ(GetLastErrorCode(), GetParam().code);
    EXPECT_STREQ(GetLastErrorString(), GetParam().text);

    // Polls after the stop stay few (50 ms apart while "more will follow"),
    // and the lock is free: an abort goes through at once.
    const int stop = firstStop();
    ASSERT_GE(stop, 0);
    const QList<QByteArray> commands = sim_.commands();
    int polls = 0;
    for (int i = stop; i < commands.size(); ++i)
        polls += commands.at(i) == "Scan Get Refls" ? 1 : 0;
    EXPECT_LT(polls, 150) << "polls in the 2 s after the stop";
    QElapsedTimer abort;
    abort.start();
    EXPECT_EQ(ScanAbort(), 1);
    EXPECT_LT(abort.elapsed(), 2000);
    EXPECT_EQ(ScanGetStatus(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Instruments, TrackDrain,
    ::testing::Values(
        DrainCase{"MoreForEver",
                  *sim::Fault::parse(QStringLiteral("\"Scan Get Refls\" reply=\"SCAN 0x05\" always since=\"Scan Acquire Stop\""),
                                     nullptr),
                  20506, "FAILED: Scan data did not end within 2000 ms of Scan Acquire Stop (more announced)"},
        DrainCase{"StreamsOnAfterTheStop", sim::Fault::on("Scan Acquire Stop").replying("SCAN 0x00").always(), 20506,
                  "FAILED: Scan data did not end within 2000 ms of Scan Acquire Stop (packets still arriving)"},
        DrainCase{"StopRefused", sim::Fault::on("Scan Acquire Stop").replying("SCAN 0x3A"), 0x3A,
                  "FAILED: Scan Acquire Stop Status Error 3A"}),
    [](const ::testing::TestParamInfo<DrainCase>& info) { return std::string(info.param.name); });

} // namespace
} // namespace vireo2::test
