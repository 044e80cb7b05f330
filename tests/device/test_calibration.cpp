// Calibration exports against the simulated instrument.
#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;

namespace {

const char* const kDirty = "FAILED calibrateStep: Incorrect or dirty White Calibration Standard.";

class CalibrationTest : public InstrumentTest {};

TEST_F(CalibrationTest, NothingRunsWhileDisconnected)
{
    EXPECT_FALSE(Calibrate());
    EXPECT_TRUE(hasError(0x500C, "FAILED calibrate: NOT Connected"));
    EXPECT_FALSE(CalibrateStep("White"));
    EXPECT_TRUE(hasError(0x500C, "FAILED calibrateStep: NOT Connected"));
    // The step name is checked first.
    EXPECT_FALSE(CalibrateStep("white"));
    EXPECT_TRUE(hasError(0x500E, "FAILED calibrateStep: Invalid Step"));
    EXPECT_EQ(GetCalStatus(), -1);
    EXPECT_EQ(GetLastErrorCode(), 0x501A);
    EXPECT_STREQ(GetCalPlaqSN(), "");
    // What a host shows before calibrating.
    EXPECT_STREQ(GetCalMode(), "Software");
    EXPECT_STREQ(GetCalibrationStandard(), "HUGA");
}

TEST_F(CalibrationTest, EachCalibrationCommandReachesTheInstrument)
{
    connectInstrument(false);
    EXPECT_EQ(GetCalStatus(), 1);
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));
    ASSERT_TRUE(Calibrate()) << lastError();
    EXPECT_EQ(GetCalStatus(), 0);
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));
    EXPECT_STREQ(GetCalPlaqSN(), "HUGA-58812");

    control(QStringLiteral("calibration needed"));
    EXPECT_EQ(GetCalStatus(), 1);
    // The one step offered is the one accepted; the run's status is recorded.
    ASSERT_TRUE(CalibrateStep(GetCalSteps())) << lastError();
    EXPECT_TRUE(hasError(0, "<00>"));
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));

    EXPECT_TRUE(BlackCal());
    EXPECT_TRUE(WhiteCal());
    EXPECT_EQ(commands().mid(commands().size() - 2), (QList<QByteArray>{"CalBlack", "CalWhite"}));
    script("calblack", "CALBLACK 0x91");
    EXPECT_FALSE(BlackCal());
    EXPECT_EQ(GetLastErrorCode(), 0x91);
}

TEST_F(CalibrationTest, FailedRunsRecordTheirCauseAndRefreshTheFlag)
{
    control(QStringLiteral("calibration valid"));
    connectInstrument(false);
    struct Case { const char* reply; int code; const char* message; };
    const Case cases[] = {{"CAL 0x8C", 0x8C, kDirty},
                          {"CAL 0x8D", 0x8D, kDirty},
                          {"CAL 0x42", 0x42, "FAILED calibrateStep: Code 66"},
                          {"CAL", -1, "FAILED calibrateStep: Communications Error."}};
    bool step = false;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reply);
        script("cal run", c.reply);
        clearCommands();
        EXPECT_FALSE((step = !step) ? CalibrateStep("White") : Calibrate());
        EXPECT_TRUE(hasError(c.code, c.message));
        // The state is asked again, except after an unreadable reply.
        EXPECT_EQ(count("Cal Query Status"), c.code == -1 ? 0 : 1);
    }
    // A dirty standard leaves the instrument uncalibrated.
    control(QStringLiteral("standard dirty"));
    EXPECT_FALSE(Calibrate());
    EXPECT_TRUE(hasError(0x8C, kDirty));
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));
}

TEST_F(CalibrationTest, StatusQueryReadsTheReplyValue)
{
    connectInstrument(false);
    struct Case { const char* reply; int result; int code; };
    // No value reads "NO VALUE FOUND": long enough, and no "OK" in it.
    const Case cases[] = {{"CAL 0x00 OK 24", 0, 0},  {"CAL 0x00 EXPIRED 0", 1, 0}, {"CAL 0x00", 1, 0},
                          {"CAL 0x00 K", 1, 0x501A}, {"CAL 0x86", 1, 0x86},       {"CAL 0x10", -1, 0x501A}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reply);
        script("cal query status", c.reply);
        EXPECT_EQ(GetCalStatus(), c.result);
        EXPECT_EQ(GetLastErrorCode(), c.code);
    }
    EXPECT_STREQ(GetLastErrorString(), "Cal Query Status returned invalid data");
}

} // namespace
