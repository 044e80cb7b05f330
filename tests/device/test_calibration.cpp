// Calibration exports against the simulated instrument.
#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

bool attributesSay(const char* text)
{
    return std::string(GetMeasAttributes()).find(text) != std::string::npos;
}

class CalibrationTest : public InstrumentTest {
protected:
    void connectQuietly()
    {
        connectInstrument();
        ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    }
};

TEST_F(CalibrationTest, FixedAnswers)
{
    EXPECT_STREQ(GetCalSteps(), "White");
    EXPECT_STREQ(GetCalMode(), "Software");
    EXPECT_STREQ(GetCalibrationStandard(), "HUGA");
    EXPECT_FALSE(SetCalMode());
    EXPECT_EQ(GetCalProgress(), -1);
    EXPECT_FALSE(AbortCalibration());
}

TEST_F(CalibrationTest, NothingRunsWhileDisconnected)
{
    EXPECT_FALSE(Calibrate());
    EXPECT_EQ(GetLastErrorCode(), 0x500C);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrate: NOT Connected");
    EXPECT_FALSE(CalibrateStep("White"));
    EXPECT_EQ(GetLastErrorCode(), 0x500C);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: NOT Connected");
    // The step name is checked first.
    EXPECT_FALSE(CalibrateStep("white"));
    EXPECT_EQ(GetLastErrorCode(), 0x500E);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: Invalid Step");
    EXPECT_EQ(GetCalStatus(), -1);
    EXPECT_EQ(GetLastErrorCode(), 0x501A);
    EXPECT_STREQ(GetCalPlaqSN(), "");
}

TEST_F(CalibrationTest, CalibrateBringsTheInstrumentIntoCalibration)
{
    connectQuietly();
    EXPECT_EQ(GetCalStatus(), 1);
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));
    ASSERT_TRUE(Calibrate()) << lastError();
    EXPECT_EQ(GetCalStatus(), 0);
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));
    EXPECT_STREQ(GetCalPlaqSN(), "HUGA-58812");
}

TEST_F(CalibrationTest, CalibrateStepShowsTheRunStatus)
{
    connectQuietly();
    ASSERT_TRUE(CalibrateStep("White tile")) << lastError();
    EXPECT_EQ(GetLastErrorCode(), 0);
    EXPECT_STREQ(GetLastErrorString(), "<00>");
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));
}

TEST_F(CalibrationTest, DirtyStandardFailsAndRefreshesTheFlag)
{
    connectQuietly();
    ASSERT_TRUE(Calibrate());
    control(QStringLiteral("standard dirty"));
    clearCommands();
    EXPECT_FALSE(Calibrate());
    EXPECT_EQ(GetLastErrorCode(), 0x8C);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: Incorrect or dirty White Calibration Standard.");
    EXPECT_EQ(commands(), (QList<QByteArray>{"Cal Run", "Cal Query Status"}));
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));

    EXPECT_FALSE(CalibrateStep("White"));
    EXPECT_EQ(GetLastErrorCode(), 0x8C);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: Incorrect or dirty White Calibration Standard.");

    control(QStringLiteral("standard clean"));
    EXPECT_TRUE(Calibrate());
}

TEST_F(CalibrationTest, OtherRunStatusesAndUnreadableReplies)
{
    connectQuietly();
    ASSERT_TRUE(Calibrate());
    sim_.faults().add(Fault::on("cal run").replying("CAL 0x42"));
    EXPECT_FALSE(Calibrate());
    EXPECT_EQ(GetLastErrorCode(), 0x42);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: Code 66");

    // An unreadable reply is a communications error and leaves the flag.
    sim_.faults().add(Fault::on("cal run").replying("CAL"));
    clearCommands();
    EXPECT_FALSE(CalibrateStep("White"));
    EXPECT_EQ(GetLastErrorCode(), -1);
    EXPECT_STREQ(GetLastErrorString(), "FAILED calibrateStep: Communications Error.");
    EXPECT_EQ(count("Cal Query Status"), 0);
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));
}

TEST_F(CalibrationTest, StatusQueryReadsTheReplyValue)
{
    connectQuietly();
    auto statusFor = [this](const QByteArray& reply) {
        sim_.faults().add(Fault::on("cal query status").replying(reply));
        return GetCalStatus();
    };
    EXPECT_EQ(statusFor("CAL 0x00 OK 24"), 0);
    EXPECT_EQ(statusFor("CAL 0x00 EXPIRED 0"), 1);
    // No value reads "NO VALUE FOUND": long enough, and no "OK" in it.
    EXPECT_EQ(statusFor("CAL 0x00"), 1);
    EXPECT_EQ(statusFor("CAL 0x00 K"), 1);
    EXPECT_EQ(GetLastErrorCode(), 0x501A);
    EXPECT_STREQ(GetLastErrorString(), "Cal Query Status returned invalid data");
    EXPECT_EQ(statusFor("CAL 0x86"), 1);
    EXPECT_EQ(GetLastErrorCode(), 0x86);
    EXPECT_EQ(statusFor("CAL 0x10"), -1);
    EXPECT_EQ(GetLastErrorCode(), 0x501A);
}

TEST_F(CalibrationTest, CalibrationExpiresAfterItsLifetime)
{
    control(QStringLiteral("calibration lifetime 1"));
    connectQuietly();
    ASSERT_TRUE(Calibrate());
    EXPECT_EQ(GetCalStatus(), 0);
    ASSERT_TRUE(eventually([] { return GetCalStatus() == 1; }, 2500));
    EXPECT_EQ(GetLastErrorCode(), 0x86);
}

TEST_F(CalibrationTest, WhiteAndBlackCalibrationCommands)
{
    connectQuietly();
    EXPECT_TRUE(BlackCal());
    EXPECT_TRUE(WhiteCal());
    EXPECT_EQ(commands().mid(commands().size() - 2), (QList<QByteArray>{"CalBlack", "CalWhite"}));
    sim_.faults().add(Fault::on("calblack").replying("CALBLACK 0x91"));
    EXPECT_FALSE(BlackCal());
    EXPECT_EQ(GetLastErrorCode(), 0x91);
}

} // namespace
