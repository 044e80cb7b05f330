// Track scans through the C exports: a real traverse of the simulated sheet,
// the streamed-data poll's status rows, the start's refusals, homing, and
// the raw track link.
#include <QElapsedTimer>
#include <QFile>
#include <QStringList>
#include <QTextStream>
#include <QThread>
#include <algorithm>
#include <cmath>

#include "instrument_spectra.h"
#include "scan_fixture.h"
#include "sheet_model.h"
#include "test_environment.h"
#include "vireo2.h"
#include "vireo2_colour.h"

namespace vireo2::test {
namespace {

std::vector<double> values(const char* text)
{
    std::vector<double> out;
    for (const QString& word : QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts))
        out.push_back(word.toDouble());
    return out;
}

class TrackScan : public ScanTest {
protected:
    void startTraverse(int patches, float width)
    {
        connectOnTrack();
        ASSERT_EQ(ScanConfig(patches, width), 1) << lastError();
        ASSERT_EQ(ScanStart(), 1);
        ASSERT_EQ(execute("autoscanstart"), "<00>") << lastError();
    }
};

// With scan debugging on, the engine writes what it recorded beside the log.
class RecordedTrackScan : public TrackScan {
protected:
    RecordedTrackScan() { env_.writeLogOptions({{QStringLiteral("Options/ScanDebug"), QStringLiteral("1")}}); }
};

TEST_F(RecordedTrackScan, TraverseOfTheDefaultSheetRecordsItAndFindsEveryPatch)
{
    const sim::SheetModel sheet = rig_->sheet();
    startTraverse(sheet.patchCount(), float(sheet.layout().patchWidth));
    EXPECT_EQ(ScanGetStatus(), 2);
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();
    EXPECT_EQ(ScanGetStatus(), 0) << "a terminal status is reported once";

    // The measurements as the engine recorded them (the scan file).
    QFile file(env_.dataDirectory() + QStringLiteral("000.csv"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList lines = QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_GT(lines.size(), 100);
    lines = lines.mid(2);
    double firstStamp = 0, lastStamp = 0, previous = -1;
    int blackReadings = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QStringList fields = lines.at(i).split(QLatin1Char(','));
        ASSERT_EQ(fields.size(), 1 + 31 + 1 + 8 + 3 * 31);
        const double stamp = fields.at(0).toDouble();
        const double position = fields.at(38).toDouble();
        const double lightness = fields.at(33).toDouble();
        if (i == 0)
            firstStamp = stamp;
        lastStamp = stamp;
        EXPECT_GE(position, previous) << "positions never go back";
        previous = position;
        if (std::abs(position - sheet.patchCentre(0)) < 2.0 && lightness < 25.0)
            ++blackReadings;
    }
    const double seconds = (lastStamp - firstStamp) * 0.002;
    EXPECT_NEAR(lines.size(), seconds * 90.0 + 1, seconds * 90.0 * 0.03);
    EXPECT_GE(blackReadings, 2) << "the black patch shows in the readings";
    EXPECT_NEAR(previous, 300.0, 1.0) << "the traverse runs the track's length";
    // "Patch Data Ready" follows the abort that sends the head home.
    for (int wait = 0; wait < 40 && !log().contains(QStringLiteral("Patch Data Ready")); ++wait)
        QThread::msleep(50);
    EXPECT_TRUE(log().contains(QStringLiteral("Patch Data Ready")));
    EXPECT_TRUE(log().contains(QStringLiteral("Sheet Edge = ")));

    // Every patch found, in order, with the sheet's colours.
    ASSERT_EQ(ScanGetCount(), sheet.patchCount());
    for (int p = 0; p < sheet.patchCount(); ++p) {
        const std::vector<double> measured = values(ScanGetData(p, 2));
        ASSERT_EQ(measured.size(), 31u);
        const QVector<double> truth = sim::measuredSpectrum(sheet.patch(p), sim::Condition::M2, 0, 0.0);
        double difference = 0;
        for (int i = 0; i < 31; ++i)
            difference += std::abs(measured[size_t(i)] - 100.0 * truth[i]) / 31.0;
        EXPECT_LT(difference, 1.0) << "patch " << p;
        EXPECT_EQ(ScanGetQuality(p), 0) << "patch " << p;
    }
    EXPECT_EQ(ScanGetQuality(-1), 0) << "nothing in doubt";
    EXPECT_EQ(ScanGetQuality(sheet.patchCount()), -1);
    // Edges are found at readings, 1.67 mm apart at 150 mm/s.
    EXPECT_NEAR(std::stod(execute("autoscansheetedge")), sheet.layout().edge, 2.0);
    EXPECT_NEAR(std::stod(execute("autoscanpatchoffset")), sheet.layout().margin, 2.0);
    EXPECT_NEAR(std::stod(execute("autoscansheetlength")), sheet.farEdge() - sheet.layout().edge, 3.5);

    // The saved traverse replays into the same patches.
    EXPECT_EQ(execute("scanfile"), "<00>") << lastError();
    EXPECT_EQ(ScanGetCount(), sheet.patchCount());
    EXPECT_EQ(execute("scanfile;nothing.csv"), "");
    EXPECT_EQ(lastError(), "20505 FAILED LoadStripDataFromFile: Unable to open data file");

    // Track-mode data: right-aligned in five characters, a blank after each.
    const std::string text = ScanGetData(0, 0);
    EXPECT_EQ(text.back(), ' ');
    EXPECT_EQ(ScanGetData(sheet.patchCount(), 0), std::string());
    EXPECT_EQ(lastError(), "20503 FAILED scanGetData: patchIndex out of range");
    EXPECT_EQ(ScanGetData(0, 4), std::string());
    EXPECT_EQ(lastError(), "20503 FAILED scanGetData: dataSet out of range");
}

// A scan told the wrong count or width still ends with patches, but its
// quality says it cannot be trusted, and the log says why.
TEST_F(TrackScan, ACountOrWidthTheSheetDoesNotHaveIsFlagged)
{
    const sim::SheetModel sheet = rig_->sheet();  // 24 patches of 8 mm
    startTraverse(30, 8.0f);
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();
    EXPECT_GT(ScanGetCount(), 0);
    EXPECT_NE(ScanGetQuality(-1) & VIREO2_SCAN_SHORT, 0) << ScanGetQuality(-1);
    EXPECT_NE(ScanGetQuality(-1) & VIREO2_SCAN_WIDTH_MISMATCH, 0) << ScanGetQuality(-1);
    EXPECT_TRUE(log().contains(QStringLiteral("Scan quality 0x"))) << log().toStdString();

    ASSERT_EQ(execute("gohome"), "<00>") << lastError();
    ASSERT_EQ(ScanConfig(sheet.patchCount(), 5.0f), 1);
    ASSERT_EQ(ScanStart(), 1);
    ASSERT_EQ(execute("autoscanstart"), "<00>") << lastError();
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();
    EXPECT_NE(ScanGetQuality(-1) & VIREO2_SCAN_WIDTH_MISMATCH, 0) << ScanGetQuality(-1);
}

// Hard sheets read end to end at a chosen sampling phase: tint ramps start
// (or, placed reversed, end) with a 10 % tint the walk takes for paper. Every
// patch comes back as the sheet's own, the one taken from the fitted grid
// says so, and nothing is suspect.
struct HardSheet {
    const char* name;
    bool reversed;
    double width;
    double phase;
};

class HardSheetScan : public TrackScan, public ::testing::WithParamInterface<HardSheet> {};

TEST_P(HardSheetScan, EveryPatchIsTheSheetsOwnOrSaysSo)
{
    QStringList names;
    for (const char* ink : {"yellow", "magenta"})
        for (int step = 1; step <= 10; ++step)
            names << QStringLiteral("tint:%1:%2").arg(QLatin1String(ink)).arg(0.1 * step);
    names << QStringLiteral("grey:0.02") << QStringLiteral("grey:0.022") << QStringLiteral("grey:0.025");
    if (GetParam().reversed)
        std::reverse(names.begin(), names.end());
    QString error;
    const sim::SheetModel sheet = *sim::SheetModel::fromNames(names, GetParam().width, &error);
    rig_->setSheet(sheet);
    rig_->setSamplingPhase(GetParam().phase);
    startTraverse(sheet.patchCount(), float(GetParam().width));
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();
    ASSERT_EQ(ScanGetCount(), sheet.patchCount());
    for (int p = 0; p < sheet.patchCount(); ++p) {
        const std::vector<double> measured = values(ScanGetData(p, 2));
        ASSERT_EQ(measured.size(), 31u);
        QVector<double> truth = sim::measuredSpectrum(sheet.patch(p), sim::Condition::M2, 0, 0.0);
        for (double& value : truth)
            value *= 100.0;
        double expected[3], read[3], de = 0.0;
        ASSERT_TRUE(Vireo2_SpectrumToLab(truth.constData(), 4, 0, expected));
        ASSERT_TRUE(Vireo2_SpectrumToLab(measured.data(), 4, 0, read));
        ASSERT_TRUE(Vireo2_DeltaE2000(expected, read, &de));
        EXPECT_LE(de, 1.0) << "patch " << p;
    }
    EXPECT_EQ(ScanGetQuality(-1) & VIREO2_SCAN_SUSPECT, 0) << ScanGetQuality(-1);
    const int light = GetParam().reversed ? sheet.patchCount() - 1 : 0;
    EXPECT_EQ(ScanGetQuality(light), VIREO2_SCAN_CORRECTED) << "the walk took the 10 % tint for paper";
    double header[9] = {};
    ASSERT_EQ(ScanGetPatchRecord(light, header, 9), 9);
    EXPECT_EQ(header[0], 2.0) << "Sync marks a record from the fitted grid";
}

INSTANTIATE_TEST_SUITE_P(Ramps, HardSheetScan,
                         ::testing::Values(HardSheet{"SixMillimetresPhase0", false, 6.0, 0.0},
                                           HardSheet{"SixMillimetresPhaseHalf", false, 6.0, 0.5},
                                           HardSheet{"ReversedSixMillimetresPhase08", true, 6.0, 0.8}),
                         [](const ::testing::TestParamInfo<HardSheet>& info) { return std::string(info.param.name); });

// Each status of "Scan Get Refls" that ends a scan, and what it leaves in
// the error record after the abort's own exchanges.
struct PollCase {
    const char* reply;
    int code;
    const char* text;
};

class StreamedPoll : public TrackScan, public ::testing::WithParamInterface<PollCase> {};

TEST_P(StreamedPoll, EndsTheScanAndKeepsTheCause)
{
    sim_.faults().add(sim::Fault::on("Scan Get Refls").replying(GetParam().reply));
    startTraverse(24, 8.0f);
    ASSERT_EQ(waitForScanEnd(10000), -1);
    EXPECT_EQ(GetLastErrorCode(), GetParam().code);
    EXPECT_STREQ(GetLastErrorString(), GetParam().text);
    EXPECT_GE(count("Scan Acquire Stop"), 1) << "the failure routine aborts the scan";
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, StreamedPoll,
    ::testing::Values(PollCase{"SCAN 0x37", 55, "FAILED: Status Error 37"},
                      PollCase{"SCAN 0x91", 20506, "FAILED: Instrument scan buffer overflow"},
                      PollCase{"SCAN 0x00", 20506, "FAILED: Scan data ended prematurely 0"},
                      PollCase{"SCAN 0x90 |{\"seq\":0,\"readings\":[{\"t\":1}]}", 20506,
                               "FAILED: Invalid scan data packet - reading 0 is not a time stamp with 31-value spectra"},
                      PollCase{"SCAN 0x90 |{\"seq\":0.5,\"readings\":[]}", 20506,
                               "FAILED: Invalid scan data packet - \"seq\" is not a whole number from 0"},
                      PollCase{"SCAN 0x90 |{\"seq\":0,\"readings\":[],\"readings\":[]}", 20506,
                               "FAILED: Invalid scan data packet - key \"readings\" appears twice in one object"}));

// No reply at all: the exchange fails (-1) and the scan with it; the cause
// is the transport's.
TEST_F(TrackScan, SilentInstrumentFailsTheScan)
{
    sim_.faults().add(sim::Fault::on("Scan Get Refls").silently());
    startTraverse(24, 8.0f);
    ASSERT_EQ(waitForScanEnd(20000), -1);
    EXPECT_EQ(lastError(), "20486 RecvPacket: Incorrect Packet length");
}

// "Nothing new" while the head still moves ends the streamed part: the
// instrument is stopped at once, what it took before the stop is collected,
// and the patches read so far are built, each where it belongs.
TEST_F(RecordedTrackScan, NothingNewEndsTheScanWithWhatWasRecorded)
{
    // Dark and saturated patches only: where the readings stop, no patch
    // can pass for the far margin's paper.
    QStringList names;
    for (int i = 0; i < 24; ++i)
        names << QStringList{QStringLiteral("black"), QStringLiteral("red"), QStringLiteral("blue"), QStringLiteral("green")}.at(i % 4);
    QString error;
    const sim::SheetModel sheet = sim::SheetModel::fromNames(names, 8.0, &error).value();
    rig_->setSheet(sheet);
    startTraverse(sheet.patchCount(), float(sheet.layout().patchWidth));
    // Once the head is past the tenth patch, the instrument has nothing new.
    const int passed = 10;
    const double cut = sheet.patchCentre(passed - 1) + sheet.layout().patchWidth / 2.0;
    while (rig_->positionAt(rig_->nowMs()) < cut && ScanGetStatus() == 2)
        QThread::msleep(5);
    sim_.faults().add(sim::Fault::on("Scan Get Refls").replying("SCAN 0x07"));
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();

    // The readings run on to where the instrument was stopped, short of the
    // far end of the row.
    QFile file(env_.dataDirectory() + QStringLiteral("000.csv"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_GT(lines.size(), 2);
    const double lastPosition = lines.last().split(QLatin1Char(',')).value(38).toDouble();
    EXPECT_GT(lastPosition, cut);
    EXPECT_LT(lastPosition, sheet.patchCentre(sheet.patchCount() - 2));
    // Patches read whole with readings beyond them (a reading is 1.7 mm on,
    // through a 2 mm aperture); the one the readings end in may be found or
    // not.
    int whole = 0;
    while (sheet.patchCentre(whole) + sheet.layout().patchWidth / 2.0 + 3.0 <= lastPosition)
        ++whole;

    // Every patch read whole, each with its own colour.
    const int found = ScanGetCount();
    EXPECT_GE(found, whole);
    EXPECT_LE(found, whole + 1);
    for (int p = 0; p < found; ++p) {
        const std::vector<double> measured = values(ScanGetData(p, 2));
        ASSERT_EQ(measured.size(), 31u);
        const QVector<double> truth = sim::measuredSpectrum(sheet.patch(p), sim::Condition::M2, 0, 0.0);
        double difference = 0;
        for (int i = 0; i < 31; ++i)
            difference += std::abs(measured[size_t(i)] - 100.0 * truth[i]) / 31.0;
        EXPECT_LT(difference, 1.0) << "patch " << p;
    }
}

// A data status with nothing after it is written to the log (the host's
// error record is not the place for a background poll's trouble) and the
// next poll carries on: every patch is still found.
TEST_F(TrackScan, PacketWithoutJsonIsRecordedAndTheScanGoesOn)
{
    sim_.faults().add(sim::Fault::on("Scan Get Refls").replying("SCAN 0x90 |{}"));
    startTraverse(24, 8.0f);
    ASSERT_EQ(waitForScanEnd(20000), 3) << lastError();
    EXPECT_EQ(ScanGetCount(), 24);
    EXPECT_EQ(log().count(QStringLiteral("**ERROR** Code 0x90 with no json packet\r\n")), 1) << log().toStdString();
    EXPECT_NE(GetLastErrorCode(), 20506);
}

// The paper acquisition ("autoscanconfig W 1") polls while the instrument
// announces more readings, for at most as long as the acquisition took; a
// track that keeps talking after the traverse command is drained for at
// most 1 s. Each ends with a timeout error instead of a hang.
TEST_F(TrackScan, EndlessReadingsAndAChatteringTrackAreGivenUp)
{
    connectOnTrack();
    sim_.faults().add(sim::Fault::on("Scan Get Refls").replying("SCAN 0x05").always());
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(execute("autoscanconfig;8;1"), "");
    EXPECT_LT(timer.elapsed(), 13000);
    EXPECT_EQ(GetLastErrorCode(), 0x5005);
    EXPECT_EQ(std::string(GetLastErrorString()).rfind("FAILED AutoScanConfig: readings still announced after ", 0), 0u)
        << lastError();
    sim_.faults().clear();

    // Forty more packets after the traverse's own reply, 40 ms apart (well
    // inside the drain's 100 ms reads, even on a busy machine).
    QByteArray chatter;
    QList<int> pieces{10};
    for (int i = 0; i < 40; ++i) {
        chatter += QByteArray("\x7e\0\0\0\x04<00>\x7f", 10);
        pieces << 10;
    }
    track_.faults().add(
        sim::Fault::on("150.00,300.0024xm").withGarbage(QByteArray(), chatter).splitInto(pieces, 40));
    ASSERT_EQ(ScanConfig(24, 8.0f), 1) << lastError();
    ASSERT_EQ(ScanStart(), 1);
    timer.restart();
    EXPECT_EQ(execute("autoscanstart"), "");
    EXPECT_LT(timer.elapsed(), 3000);
    EXPECT_EQ(lastError(), "20485 FAILED: TR3 still sending after 1000 ms");
    EXPECT_EQ(ScanGetStatus(), -1);
}

TEST_F(TrackScan, StartRefusals)
{
    connectOnTrack();
    ASSERT_EQ(ScanConfig(24, 8.0f), 1);
    sim_.faults().add(sim::Fault::on("Scan Acquire Start").replying("SCAN 0x1B"));
    EXPECT_EQ(execute("autoscanstart"), "");
    EXPECT_EQ(lastError(), "21253 Instrument battery charge is insufficient.");
    sim_.faults().add(sim::Fault::on("Scan Acquire Start").replying("SCAN 0x05"));
    EXPECT_EQ(execute("autoscanstart"), "");
    EXPECT_EQ(lastError(), "20507 Instrument Status Code <0x5X>.");
    EXPECT_EQ(ScanGetStatus(), -1);

    control(QStringLiteral("calibration needed"));
    EXPECT_EQ(execute("autoscanstart"), "");
    EXPECT_EQ(lastError(), "20489 Instrument requires calibration.");

    EXPECT_EQ(execute("autoscanconfig;2.5"), "");
    EXPECT_EQ(lastError(), "21249 FAILED AutoScanConfig: Invalid patch width (minimum = 3.0, maximum = 20.0)");
    EXPECT_EQ(ScanConfig(10, 2.995f), 1);
    EXPECT_EQ(ScanConfig(10, 20.02f), 0);
    EXPECT_EQ(lastError(), "21249 FAILED scanConfig: Invalid patch width");

    // A patch limit of 1 skips the traverse.
    EXPECT_EQ(execute("autoscanunusedpatches;1"), "<00>");
    EXPECT_EQ(execute("autoscanstart"), "<00>");
    EXPECT_EQ(ScanGetStatus(), 6);
}

// A track that does not answer fails the Connect with its reason and leaves
// the device disconnected: once the track answers, the next Connect works.
TEST_F(TrackScan, ConnectFailsWithoutTheTrack)
{
    track_.stop();
    ASSERT_EQ(execute("setmodel;vireotr3"), "<00>");
    control(QStringLiteral("calibration valid"));
    EXPECT_FALSE(Connect());
    EXPECT_EQ(std::string(GetLastErrorString()).rfind("Unable to connect to TR3 - ", 0), 0u) << lastError();
    EXPECT_FALSE(IsConnected());

    // The failed track step leaves the attempt marked as running for the
    // life of the process-wide device: even with the track back, later
    // Connects are refused and send nothing (ctest gives this case a process
    // of its own).
    ASSERT_TRUE(track_.start());
    ASSERT_TRUE(SetOption("tr3_address", track_.address().constData()));
    EXPECT_FALSE(Connect());
    EXPECT_FALSE(IsConnected());
    EXPECT_TRUE(track_.commands().isEmpty());
}

TEST_F(TrackScan, RawTrackCommandsAndHoming)
{
    connectOnTrack();
    EXPECT_EQ(execute("tr3;xp").rfind("XP, 0.00, 0.00, 300.00", 0), 0u);
    EXPECT_EQ(execute("tr3;zz"), "");
    EXPECT_EQ(GetLastErrorCode(), 1) << "the track's status stays as the error code";
    EXPECT_EQ(execute("charging;ON"), "<00>");
    ASSERT_FALSE(track_.commands().isEmpty());
    EXPECT_EQ(track_.commands().last(), "01BC");
    EXPECT_EQ(execute("gohome"), "<00>") << lastError();
    EXPECT_EQ(ScanGetStatus(), 0);
}

// The head never reports home: 120 polls of 250 ms, then state 7 and a
// true result with the reason in the error record.
TEST_F(TrackScan, HomingTimeout)
{
    connectOnTrack();
    trackControl(QStringLiteral("park stuck"));
    EXPECT_EQ(execute("gohome"), "<00>");
    EXPECT_EQ(ScanGetStatus(), 7);
    EXPECT_EQ(ScanGetStatus(), 7) << "7 is not terminal";
    EXPECT_EQ(lastError(), "7 Read head did not reach Home within 30 seconds.");
}

} // namespace
} // namespace vireo2::test
