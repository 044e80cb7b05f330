// Measuring and reading the spectra through the C exports. Every Measure
// pauses one second afterwards, so each case measures as little as it can.
#include <QElapsedTimer>
#include <cmath>

#include "instrument_fixture.h"
#include "instrument_spectra.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;
using vireo2::sim::SampleLibrary;

namespace {

const float kFloor = 0.0001f;

QVector<double> reference(const char* sample)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    return library.at(library.indexOf(QLatin1String(sample))).reflectance;
}

class MeasurementTest : public InstrumentTest {};

TEST_F(MeasurementTest, CalibrateMeasureAndReadFourSpectraAndTheAttributes)
{
    control(QStringLiteral("noise 0"));
    control(QStringLiteral("sample TCS09"));
    connectInstrument();
    EXPECT_EQ(GetCalStatus(), 1);
    ASSERT_TRUE(Calibrate()) << lastError();
    EXPECT_EQ(GetCalStatus(), 0);

    clearCommands();
    ASSERT_TRUE(Measure()) << lastError();
    EXPECT_TRUE(IsDataReady());
    EXPECT_FALSE(IsDataReady());

    ASSERT_EQ(GetAngles(), 4);
    ASSERT_EQ(GetWavelengths(), 31);
    for (int set = 0; set < 4; ++set)
        EXPECT_EQ(std::string(GetSpectralSetName(set)), "M" + std::to_string(set));
    const QVector<double> tcs09 = reference("TCS09");
    for (int band = 0; band < 31; ++band) {
        EXPECT_NEAR(GetSpectralData(0, band), tcs09.at(band), 1e-4) << band;
        // No brighteners: M0, M1 and M2 agree; the polarised M3 is darker.
        EXPECT_NEAR(GetSpectralData(1, band), tcs09.at(band), 1e-4) << band;
        EXPECT_NEAR(GetSpectralData(2, band), tcs09.at(band), 1e-4) << band;
        EXPECT_LT(GetSpectralData(3, band), GetSpectralData(1, band)) << band;
    }
    EXPECT_FLOAT_EQ(GetSpectralData(4, 0), -1.0f);
    EXPECT_FLOAT_EQ(GetSpectralData(0, 31), -1.0f);

    // The instrument is woken first (its firmware dozes), then measures, then
    // each condition is read and the calibration state refreshed.
    const QList<QByteArray> expected{"spectro system state",    "Meas Run",
                                     "Meas done?",              "measconfig get polarizer",
                                     "Meas Get Refls M0",       "Meas Get Refls M1",
                                     "Meas Get Refls M2",       "Meas Get Refls M3",
                                     "Cal Query Status"};
    QList<QByteArray> host = commands();
    host.removeAll("button triggered?");
    host.removeAll("meas done?");
    host.removeAll("scan done?");
    EXPECT_EQ(host.mid(0, expected.size()), expected);

    EXPECT_STREQ(GetMeasAttributes(),
                 "Mfg=Hueron:Model=Vireo2 Plus:Serial Number=2025VR2041217X:Mode=Reflectance:"
                 "Angles=M0 / M1 / M2 / M3:Calibration Status=Calibrated:Aperture=4.0mm:NetAdjuster=OFF");
}

TEST_F(MeasurementTest, BrightenedPaperReadsDifferentlyUnderEachCondition)
{
    connectCalibrated(QStringLiteral("OBA-WHITE"));
    ASSERT_TRUE(Measure()) << lastError();
    const int blue = 4;  // 440 nm, where brighteners emit
    EXPECT_GT(GetSpectralData(1, blue), GetSpectralData(0, blue) + 0.05f);  // M1 has the UV
    EXPECT_GT(GetSpectralData(0, blue), GetSpectralData(2, blue) + 0.02f);  // M2 has none
    EXPECT_LT(GetSpectralData(3, blue), GetSpectralData(1, blue));
    EXPECT_NEAR(GetSpectralData(0, 30), GetSpectralData(2, 30), 1e-4);  // red end: no emission
}

TEST_F(MeasurementTest, WithoutPolarizerThereAreThreeSetsAndValuesAreFloored)
{
    control(QStringLiteral("polarizer off"));
    connectCalibrated(QStringLiteral("TCS12"));
    ASSERT_TRUE(Measure()) << lastError();
    EXPECT_EQ(GetAngles(), 3);
    EXPECT_STREQ(GetSpectralSetName(3), "");
    EXPECT_FLOAT_EQ(GetSpectralData(3, 0), -1.0f);
    EXPECT_EQ(count("Meas Get Refls M3"), 0);

    control(QStringLiteral("polarizer on"));
    ASSERT_TRUE(Measure()) << lastError();
    ASSERT_EQ(GetAngles(), 4);
    // TCS12 reflects 2 % in the yellow; the polarised condition removes about
    // that much, and what would read zero or below reaches the host floored.
    int floored = 0;
    for (int band = 0; band < 31; ++band) {
        const float value = GetSpectralData(3, band);
        EXPECT_GE(value, kFloor);
        floored += value == kFloor ? 1 : 0;
    }
    EXPECT_GT(floored, 0);
    EXPECT_EQ(double(GetSpectralData(3, 17)), 9.999999747378752e-05);
}

TEST_F(MeasurementTest, NeedsCalibrationAndOtherStatusesOfMeasRun)
{
    connectInstrument();
    ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    EXPECT_FALSE(Measure());
    EXPECT_EQ(GetLastErrorCode(), 0x5009);
    EXPECT_STREQ(GetLastErrorString(), "FAILED Measure:  Needs Calibration");
    EXPECT_FALSE(IsDataReady());

    sim_.faults().add(Fault::on("meas run").replying("MEAS 0x8A"));
    EXPECT_FALSE(Measure());
    EXPECT_EQ(GetLastErrorCode(), 0x8A);
    EXPECT_STREQ(GetLastErrorString(), "FAILED Measure:  Code 0x8A");
}

TEST_F(MeasurementTest, RefusedReadoutSucceedsWithoutSpectra)
{
    connectCalibrated();
    control(QStringLiteral("readout refuse"));
    clearCommands();
    EXPECT_TRUE(Measure()) << lastError();
    EXPECT_EQ(count("Meas Get Refls M1"), 0);
    EXPECT_FLOAT_EQ(GetSpectralData(0, 0), -1.0f);
}

TEST_F(MeasurementTest, ShortReflectanceReplyNamesTheCondition)
{
    connectCalibrated();
    control(QStringLiteral("truncate M1 30"));
    EXPECT_FALSE(Measure());
    EXPECT_EQ(GetLastErrorCode(), 0x5012);
    EXPECT_STREQ(GetLastErrorString(), "FAILED readMeasurementData: Insufficient spectral data - Angle=M1");
    EXPECT_FALSE(IsDataReady());
    // What was read before the short reply stays readable.
    EXPECT_NEAR(GetSpectralData(0, 0), reference("TCS09").at(0), 1e-4);
    EXPECT_FLOAT_EQ(GetSpectralData(1, 0), -1.0f);
}

TEST_F(MeasurementTest, SleepingInstrumentIsWokenBeforeMeasuring)
{
    connectCalibrated();
    control(QStringLiteral("wake time 200"));
    control(QStringLiteral("sleep"));
    clearCommands();
    ASSERT_TRUE(Measure()) << lastError();
    EXPECT_EQ(count("spectro system wake"), 1);
    EXPECT_GE(count("spectro system state"), 2);
}

TEST_F(MeasurementTest, OldFirmwareIsNotWokenFirst)
{
    // Firmware before 1.1 / build 192 does not doze, so nothing wakes it.
    control(QStringLiteral("firmware 1.0.150"));
    connectCalibrated();
    control(QStringLiteral("sleep"));
    EXPECT_FALSE(Measure());
    EXPECT_EQ(count("spectro system state"), 0);
    EXPECT_EQ(GetLastErrorCode(), 0x8B);
}

TEST_F(MeasurementTest, ReadingTakenAtTheInstrumentArrivesWithinASecond)
{
    connectCalibrated();
    // Let the first polls pass so that the reading lands mid-cycle.
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    control(QStringLiteral("reading TCS05"));
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(eventually([] { return IsDataReady(); }, 1500));
    EXPECT_LT(timer.elapsed(), 1000);
    EXPECT_EQ(GetAngles(), 4);
    EXPECT_NEAR(GetSpectralData(0, 10), reference("TCS05").at(10), 1e-4);
    // Background readings never touch the host's error record.
    EXPECT_STREQ(GetLastErrorString(), "<00>");
}

TEST_F(MeasurementTest, ButtonReadingWithExpiredCalibrationClearsTheFlag)
{
    connectCalibrated();
    control(QStringLiteral("calibration expired"));
    control(QStringLiteral("reading"));
    ASSERT_TRUE(eventually([] {
        return std::string(GetMeasAttributes()).find("Calibration Status=Not Calibrated") != std::string::npos;
    }));
    EXPECT_FALSE(IsDataReady());
}

TEST_F(MeasurementTest, HostMeasureIsNeverHeldUpByThePoll)
{
    connectCalibrated();
    control(QStringLiteral("measure time 600"));
    // A slow instrument: each poll answer takes 150 ms.
    sim_.faults().add(Fault::on("button triggered?").delayedBy(150).always());
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    clearCommands();
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(Measure()) << lastError();
    // At most one poll round runs before the host gets the lock; none while
    // it holds it.
    EXPECT_LT(timer.elapsed(), 600 + 1000 + 700);
    const QList<QByteArray> seen = commands();
    const int start = seen.indexOf("Meas Run");
    const int end = seen.lastIndexOf("Cal Query Status");
    ASSERT_GE(start, 0);
    ASSERT_GT(end, start);
    for (int i = start; i <= end; ++i)
        EXPECT_NE(seen.at(i), QByteArray("button triggered?"));
}

} // namespace
