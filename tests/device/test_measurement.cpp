// Measuring and reading the spectra through the C exports. Every Measure
// pauses one second afterwards, so each case measures as little as it can.
#include <QElapsedTimer>
#include <algorithm>
#include <iterator>

#include "instrument_fixture.h"
#include "instrument_spectra.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;
using vireo2::sim::SampleLibrary;

namespace {

QVector<double> reference(const char* sample)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    return library.at(library.indexOf(QLatin1String(sample))).reflectance;
}

class MeasurementTest : public InstrumentTest {};

TEST_F(MeasurementTest, MeasureReadsEachConditionIntoItsOwnSet)
{
    connectCalibrated(QStringLiteral("OBA-WHITE"));
    clearCommands();
    ASSERT_TRUE(Measure()) << lastError();
    EXPECT_TRUE(IsDataReady());
    EXPECT_FALSE(IsDataReady()) << "new data is reported once";

    // The instrument is woken first (its firmware dozes), then measures, then
    // each condition is read and the calibration state refreshed.
    QList<QByteArray> host = commands();
    for (const char* poll : {"button triggered?", "meas done?", "scan done?"})
        host.removeAll(poll);
    EXPECT_EQ(host, (QList<QByteArray>{"spectro system state", "Meas Run", "Meas done?", "measconfig get polarizer",
                                       "Meas Get Refls M0", "Meas Get Refls M1", "Meas Get Refls M2",
                                       "Meas Get Refls M3", "Cal Query Status"}));

    // Brightened paper tells the conditions apart: M2 has no UV and reads the
    // paper itself, M0 a little and M1 the full brightener emission at 440 nm,
    // M3 loses the surface reflection.
    ASSERT_EQ(GetAngles(), 4);
    const QVector<double> paper = reference("OBA-WHITE");
    for (int band = 0; band < 31; ++band)
        EXPECT_NEAR(GetSpectralData(2, band), paper.at(band), 1e-4) << band;
    EXPECT_GT(GetSpectralData(1, 4), GetSpectralData(0, 4) + 0.05f);
    EXPECT_GT(GetSpectralData(0, 4), GetSpectralData(2, 4) + 0.02f);
    EXPECT_NEAR(GetSpectralData(3, 30), GetSpectralData(1, 30) - 0.02f, 1.5e-4);
    EXPECT_FLOAT_EQ(GetSpectralData(4, 0), -1.0f);
    EXPECT_FLOAT_EQ(GetSpectralData(0, 31), -1.0f);

    // The bulk read gives the same values in one call, never more than the
    // caller's capacity, and refuses what the single read refuses.
    for (int set = 0; set < 4; ++set) {
        float whole[40];
        std::fill(std::begin(whole), std::end(whole), -7.0f);
        ASSERT_EQ(GetSpectralSetData(set, whole, 40), 31) << set;
        for (int band = 0; band < 31; ++band)
            EXPECT_EQ(whole[band], GetSpectralData(set, band)) << set << " " << band;
        EXPECT_EQ(whole[31], -7.0f) << "nothing written past the spectrum";
    }
    float few[3] = {-7.0f, -7.0f, -7.0f};
    EXPECT_EQ(GetSpectralSetData(1, few, 2), 2);
    EXPECT_EQ(few[1], GetSpectralData(1, 1));
    EXPECT_EQ(few[2], -7.0f);
    EXPECT_EQ(GetSpectralSetData(4, few, 3), -1);
    EXPECT_EQ(GetSpectralSetData(-1, few, 3), -1);
    EXPECT_EQ(GetSpectralSetData(0, nullptr, 31), -1);
    EXPECT_EQ(GetSpectralSetData(0, few, -5), -1);
    EXPECT_STREQ(GetMeasAttributes(),
                 "Mfg=Hueron:Model=Vireo2 Plus:Serial Number=2025VR2041217X:Mode=Reflectance:"
                 "Angles=M0 / M1 / M2 / M3:Calibration Status=Calibrated:Aperture=4.0mm:NetAdjuster=OFF");
}

TEST_F(MeasurementTest, WithoutPolarizerThreeSetsAreReadAndValuesAreFloored)
{
    connectCalibrated();
    // Only the exact "MEASCONFIG 0x00 1" reports the polarizer; a trailing
    // blank is enough to leave it out.
    script("measconfig get polarizer", "MEASCONFIG 0x00 1 ");
    QByteArray dark = "MEAS 0x00";
    for (int band = 0; band < 31; ++band)
        dark += band == 3 ? " -0.2" : " 0";
    script("meas get refls m1", dark);
    ASSERT_TRUE(Measure()) << lastError();
    EXPECT_EQ(GetAngles(), 3);
    EXPECT_STREQ(GetSpectralSetName(3), "");
    EXPECT_FLOAT_EQ(GetSpectralData(3, 0), -1.0f);
    EXPECT_EQ(count("Meas Get Refls M3"), 0);
    // Zero and below reach the host as the single-precision 0.0001.
    EXPECT_EQ(double(GetSpectralData(1, 0)), 9.999999747378752e-05);
    EXPECT_EQ(double(GetSpectralData(1, 3)), 9.999999747378752e-05);
    EXPECT_NEAR(GetSpectralData(0, 0), reference("TCS09").at(0), 1e-4);
}

TEST_F(MeasurementTest, FailedAndRefusedReadings)
{
    control(QStringLiteral("calibration valid"));
    connectInstrument();
    // 0x83 to 0x89 and 0x8E ask for a calibration; other statuses are shown as they are.
    script("meas run", "MEAS 0x83");
    EXPECT_FALSE(Measure());
    EXPECT_TRUE(hasError(0x5009, "FAILED Measure:  Needs Calibration"));
    EXPECT_FALSE(IsDataReady());
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));
    script("meas run", "MEAS 0x8A");
    EXPECT_FALSE(Measure());
    EXPECT_TRUE(hasError(0x8A, "FAILED Measure:  Code 0x8A"));

    // Fewer than 31 values (32 words) fail and name the condition; what was
    // read before stays readable.
    control(QStringLiteral("truncate M1 30"));
    EXPECT_FALSE(Measure());
    EXPECT_TRUE(hasError(0x5012, "FAILED readMeasurementData: Insufficient spectral data - Angle=M1"));
    EXPECT_FALSE(IsDataReady());
    EXPECT_GT(GetSpectralData(0, 0), 0.0f);
    EXPECT_FLOAT_EQ(GetSpectralData(1, 0), -1.0f);

    // A refused readout (0xB1) is a success without spectra.
    control(QStringLiteral("readout refuse"));
    clearCommands();
    EXPECT_TRUE(Measure()) << lastError();
    EXPECT_EQ(count("Meas Get Refls M1"), 0);
    EXPECT_FLOAT_EQ(GetSpectralData(0, 0), -1.0f);
}

TEST_F(MeasurementTest, ReadingTakenAtTheInstrumentArrivesWithinASecond)
{
    connectCalibrated();
    // Let the first polls pass so that the reading lands mid-cycle.
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    // The host's last error stays as it is while the reading is pulled in,
    // not even changing for a moment.
    EXPECT_FALSE(SetConfiguration("start_poll"));
    clearCommands();
    control(QStringLiteral("reading TCS05"));
    QElapsedTimer timer;
    timer.start();
    bool ready = false;
    while (!ready && timer.elapsed() < 3000) {
        ASSERT_TRUE(hasError(0x5017, "FAILED setConfiguration: Invalid Argument"));
        ready = IsDataReady();
    }
    ASSERT_TRUE(ready);
    EXPECT_LT(timer.elapsed(), 1200);
    EXPECT_EQ(GetAngles(), 4);
    EXPECT_NEAR(GetSpectralData(0, 10), reference("TCS05").at(10), 1e-4);
    EXPECT_TRUE(hasError(0x5017, "FAILED setConfiguration: Invalid Argument"));
    // "Reading taken" is read out before the check asks its next question.
    const QList<QByteArray> seen = commands();
    const int readout = int(seen.indexOf("Meas Get Refls M0"));
    ASSERT_GT(readout, 0);
    const int asked = int(seen.lastIndexOf("meas done?", readout));
    ASSERT_GE(asked, 0);
    EXPECT_FALSE(seen.mid(asked, readout - asked).contains("scan done?")) << seen.join(", ").constData();

    // A reading refused for an expired calibration clears the flag.
    control(QStringLiteral("calibration expired"));
    control(QStringLiteral("reading"));
    ASSERT_TRUE(eventually([] { return attributesSay("Calibration Status=Not Calibrated"); }));
    EXPECT_FALSE(IsDataReady());
}

TEST_F(MeasurementTest, PollTakesACalibrationAsLostOnlyFromStatus0x85)
{
    connectCalibrated();
    // The poll's range starts above the host measurement's (0x83).
    auto pollAnswers = [this](const QByteArray& reply) {
        script("meas done?", reply);
        ASSERT_TRUE(eventually([this] { return sim_.faults().size() == 0; }));
        clearCommands();
        ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000)) << "the check that got the reply has ended";
    };
    pollAnswers("MEAS 0x83");
    EXPECT_TRUE(attributesSay("Calibration Status=Calibrated"));
    pollAnswers("MEAS 0x8E");
    EXPECT_TRUE(attributesSay("Calibration Status=Not Calibrated"));
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
    EXPECT_FALSE(seen.mid(start, end - start + 1).contains("button triggered?"));
}

} // namespace
