// The TR3 link against the simulated track: framing, timeouts, the
// repetition filter and the log lines; the track operations' checks.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QThread>

#include "default_instrument.h"
#include "engine_host.h"
#include "scanning/motion_profile.h"
#include "scanning/tr3_link.h"
#include "sim_server.h"
#include "track_rig.h"

namespace vireo2::test {
namespace {

class Tr3LinkTest : public ::testing::Test {
protected:
    explicit Tr3LinkTest(const QMap<QString, QString>& options = {{QStringLiteral("Options/ScanDebug"), QStringLiteral("1")}})
        : host(options), rig(std::make_shared<sim::TrackRig>()), track(sim::createTrack(rig))
    {
    }
    void SetUp() override
    {
        ASSERT_TRUE(track.start());
        ASSERT_TRUE(host.engine->connect(QString::fromLatin1(track.address())));
    }
    void TearDown() override { host.engine->disconnect(); }
    qint32 send(const char* command, QByteArray* reply = nullptr)
    {
        QByteArray ignored;
        return host.engine->exchange(QLatin1String(command), reply ? *reply : ignored);
    }

    EngineHost host;
    std::shared_ptr<sim::TrackRig> rig;
    sim::SimServer track;
};

TEST_F(Tr3LinkTest, StatusRepliesEndAtOnceDataRepliesGetOneShortFollowUpRead)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray reply;
    EXPECT_EQ(send("07xm", &reply), 0);
    EXPECT_EQ(reply, "<00>");
    EXPECT_LT(timer.restart(), 90) << "a status reply needs no second read";
    EXPECT_EQ(send("01pk", &reply), 0);
    EXPECT_EQ(reply, "1");
    const qint64 dataMs = timer.elapsed();
    EXPECT_GE(dataMs, 95);
    EXPECT_LT(dataMs, 600) << "the follow-up read ends after its own 100 ms";

    EXPECT_EQ(send("zz", &reply), 1) << "a refused command answers its status";
    EXPECT_TRUE(host.logText().contains(QStringLiteral("/5000 - **ERROR** - TR3SEND:zz - TR3RECV:<01>")));
    EXPECT_TRUE(host.logText().contains(QStringLiteral("/5000 - TR3SEND:01pk - TR3RECV:1")));
}

TEST_F(Tr3LinkTest, UnchangedPollRepliesAreLoggedOnce)
{
    track.faults().add(sim::Fault::on("QM").replying("5,1").repeated(3));
    send("QM");
    send("QM");
    send("QM");
    EXPECT_EQ(host.logText().count(QStringLiteral("TR3SEND:QM")), 1);
}

TEST_F(Tr3LinkTest, SilentTrackFailsTheExchangeWithTheTransportCode)
{
    track.faults().add(sim::Fault::on("xp").silently());
    EXPECT_NE(send("xp"), 0);
    EXPECT_NE(host.logHelper->errorCode(), 0);
    EXPECT_TRUE(host.logText().contains(QStringLiteral("**ERROR** - TR3SEND:xp")));
}

TEST_F(Tr3LinkTest, ReferenceReadingsAreChecked)
{
    struct Case {
        QByteArray first, second, error;
    } cases[] = {
        {"04,10", "14,50,0,60", "Invalid data from TR3: 04ps = 04,10"},
        {"04,20,0,10", "14,50,0,60", "Invalid data from TR3: 04ps = 04,20,0,10"},
        {"04,10,0,20", "14,15,0,60", "Invalid data from TR3: 14ps = 14,15,0,60"},
        {"04,10,0,20", "14,50,0,40", "Invalid data from TR3: 14ps = 14,50,0,40"},
        // Not a number: "nan" would pass the order checks.
        {"04,nan,0,20", "14,50,0,60", "Invalid data from TR3: 04ps = 04,nan,0,20"},
        {"04,10,0,20", "14,50,0,inf", "Invalid data from TR3: 14ps = 14,50,0,inf"},
        {"04,ten,0,20", "14,50,0,60", "Invalid data from TR3: 04ps = 04,ten,0,20"},
    };
    for (const Case& c : cases) {
        track.faults().add(sim::Fault::on("04ps").replying(c.first));
        track.faults().add(sim::Fault::on("14ps").replying(c.second));
        EXPECT_FALSE(host.engine->readReferences());
        EXPECT_EQ(host.logHelper->errorCode(), 0x501A);
        EXPECT_EQ(host.logHelper->errorText(), c.error);
        track.faults().clear();
    }
    track.faults().add(sim::Fault::on("04ps").replying("04,10,0,20"));
    track.faults().add(sim::Fault::on("14ps").replying("14,50,0,60"));
    EXPECT_TRUE(host.engine->readReferences());
    const auto refs = host.engine->references();
    EXPECT_EQ(refs[0], 10.0);
    EXPECT_EQ(refs[3], 60.0);
}

TEST_F(Tr3LinkTest, SpeedFollowsThePatchWidth)
{
    ASSERT_TRUE(host.engine->configure(10, 3.0));
    EXPECT_DOUBLE_EQ(host.engine->trackSpeed(), 45.0);
    EXPECT_DOUBLE_EQ(host.engine->sampleSpacing(), 0.5);
    ASSERT_TRUE(host.engine->configure(10, 20.0));
    EXPECT_DOUBLE_EQ(host.engine->trackSpeed(), 150.0);
    EXPECT_NEAR(host.engine->sampleSpacing(), 1.6667, 1e-4);
}

TEST_F(Tr3LinkTest, StopHaltsAMovingHeadAndSendsItHome)
{
    rig->traverse(100.0, 200.0);
    QThread::msleep(300);
    host.engine->setState(Vireo2Scanning::kScanning);
    EXPECT_TRUE(host.engine->stop());
    EXPECT_EQ(host.engine->state(), Vireo2Scanning::kStopped);
    const QList<QByteArray> sent = track.commands();
    EXPECT_EQ(sent.mid(sent.size() - 4), (QList<QByteArray>{"01pk", "xp", "01xm", "07xm"}));
}

TEST(MotionProfile, RampsCruiseAndBraking)
{
    // 100 mm/s, 100 ms (50 ticks) ramps, 1 s at speed.
    const MotionProfile motion{0.0, 50.0, 550.0, 600.0, 100.0, 0.0};
    EXPECT_DOUBLE_EQ(motion.position(-5.0), 0.0);
    EXPECT_DOUBLE_EQ(motion.position(50.0), 5.0);
    EXPECT_DOUBLE_EQ(motion.position(300.0), 55.0);
    EXPECT_DOUBLE_EQ(motion.position(600.0), 110.0);
    EXPECT_DOUBLE_EQ(motion.position(900.0), 110.0);
}

} // namespace
} // namespace vireo2::test
