// `vireo2 scan` as a colour technician runs it: a track scan of the simulated
// default sheet into a CGATS file that another tool (Little CMS) reads, the
// strip chart, several sheets in one file, and a hand scan.
#include <QFile>
#include <QProcess>
#include <csignal>
#include <QJsonArray>
#include <QJsonObject>
#include <QXmlStreamReader>
#include <lcms2.h>

#include "cli_fixture.h"
#include "instrument_spectra.h"
#include "sheet_model.h"
#include "track_rig.h"
#include "vireo2_colour.h"

namespace vireo2::test {
namespace {

class CliScanTest : public CliTest {
protected:
    void SetUp() override
    {
        CliTest::SetUp();
        rig_ = std::make_shared<sim::TrackRig>();
        rig_->setLength(300.0);
        sim::DefaultInstrumentOptions options;
        options.calibrated = true;
        options.noise = 0.0;
        sim_ = std::make_unique<sim::SimServer>(sim::createDefaultInstrument(options, rig_));
        ASSERT_TRUE(sim_->start(0));
        track_ = std::make_unique<sim::SimServer>(sim::createTrack(rig_));
        ASSERT_TRUE(track_->start(0));
    }
    QString trackAddress() const { return QStringLiteral("127.0.0.1:%1").arg(track_->port()); }

    std::shared_ptr<sim::TrackRig> rig_;
    std::unique_ptr<sim::SimServer> track_;
};

TEST_F(CliScanTest, TrackScanWritesCgatsThatLittleCmsReadsAndAStripChart)
{
    const QString cgats = path(QStringLiteral("strip.cgats"));
    const QString chart = path(QStringLiteral("strip.svg"));
    const ProgramResult result = vireo2AgainstSim(
        {"scan", "--track", trackAddress(), "--json", "--condition", "M2", "--cgats", cgats, "--plot", chart});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonArray patches = jsonObject(result.out).value(QStringLiteral("patches")).toArray();
    const sim::SheetModel sheet = rig_->sheet();
    ASSERT_EQ(patches.size(), sheet.patchCount());

    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(cgats).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), double(sheet.patchCount()));
    for (int p = 0; p < sheet.patchCount(); ++p) {
        const QByteArray id = QByteArray::number(p + 1);
        QVector<double> truth = sim::measuredSpectrum(sheet.patch(p), sim::Condition::M2, 0, 0.0);
        for (double& value : truth)
            value *= 100.0;
        double lab[3];
        ASSERT_TRUE(Vireo2_SpectrumToLab(truth.constData(), 4, 0, lab));
        const double read[3] = {cmsIT8GetDataDbl(it8, id.constData(), "LAB_L"), cmsIT8GetDataDbl(it8, id.constData(), "LAB_A"),
                                cmsIT8GetDataDbl(it8, id.constData(), "LAB_B")};
        double de = 0;
        ASSERT_TRUE(Vireo2_DeltaE2000(lab, read, &de));
        EXPECT_LT(de, 1.0) << "patch " << p + 1;
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "SPEC_550"), truth[15], 1.0);
        EXPECT_NEAR(patches.at(p).toObject().value(QStringLiteral("lab")).toArray().at(0).toDouble(), read[0], 1e-3);
    }
    cmsIT8Free(it8);

    QFile svg(chart);
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&svg);
    int rects = 0;
    while (!xml.atEnd())
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == QLatin1String("rect"))
            ++rects;
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    EXPECT_GE(rects, 1 + 3 * sheet.patchCount()) << "background, then a swatch and two bars per patch";

    // Rows of another condition, or spot readings, would make the header
    // false: refused before the head moves.
    for (const QStringList& other : {QStringList{"scan", "--track", trackAddress(), "--cgats", cgats},
                                     QStringList{"measure", "--condition", "M2", "--cgats", cgats}}) {
        const ProgramResult refused = vireo2AgainstSim(other);
        EXPECT_EQ(refused.exitCode, 1) << other.join(' ').toStdString();
        EXPECT_TRUE(refused.err.contains("holds strip readings of M2 under D50/2")) << refused.err.toStdString();
    }

    // A second sheet continues the file's sample ids.
    const ProgramResult again =
        vireo2AgainstSim({"scan", "-q", "--track", trackAddress(), "--sheet", "1", "--condition", "M2", "--cgats", cgats});
    ASSERT_EQ(again.exitCode, 0) << again.err.toStdString();
    it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(cgats).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 2.0 * sheet.patchCount());
    EXPECT_STREQ(cmsIT8GetData(it8, QByteArray::number(2 * sheet.patchCount()).constData(), "SAMPLE_NAME"),
                 QByteArray("S1P%1").replace("%1", QByteArray::number(sheet.patchCount())).constData());
    cmsIT8Free(it8);
}

// Ctrl-C during a traverse stops the scan cleanly: the head is home when the
// program ends, and the sheet scanned before stays in the file.
TEST_F(CliScanTest, CtrlCStopsTheScanWithTheHeadHomeAndKeepsEarlierSheets)
{
    const QString cgats = path(QStringLiteral("strip.cgats"));
    QProcess scan;
    placeInTest(scan);
    scan.start(VIREO2_CLI_PROGRAM,
               {"--tcp", simAddress(), "scan", "--track", trackAddress(), "--sheets", "2", "--cgats", cgats});
    ASSERT_TRUE(scan.waitForStarted());
    scan.closeWriteChannel();
    QByteArray err;
    for (int i = 0; i < 300 && !err.contains("Scanning sheet 1"); ++i) {
        scan.waitForReadyRead(100);
        err += scan.readAllStandardError();
    }
    ASSERT_TRUE(err.contains("Scanning sheet 1")) << err.toStdString();
    ::kill(pid_t(scan.processId()), SIGINT);
    ASSERT_TRUE(scan.waitForFinished(60000));
    err += scan.readAllStandardError();
    EXPECT_EQ(scan.exitCode(), 130) << err.toStdString();
    EXPECT_TRUE(err.contains("interrupted during sheet 1; the read head was sent home")) << err.toStdString();
    EXPECT_TRUE(rig_->atHome());
    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(cgats).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), double(rig_->sheet().patchCount())) << "sheet 0 is kept";
    cmsIT8Free(it8);
}

// A strip read with more patches than the sheet has: the patches still come
// out, with a warning naming the doubt and exit status 3, or 0 when the user
// accepts a suspect scan.
TEST_F(CliScanTest, SuspectTrackScanWarnsAndFailsUnlessAccepted)
{
    const ProgramResult suspect = vireo2AgainstSim({"scan", "--track", trackAddress(), "--patches", "30", "--json"});
    EXPECT_EQ(suspect.exitCode, 3) << suspect.err.toStdString();
    EXPECT_TRUE(suspect.err.contains(QStringLiteral("warning: sheet 0: only "))) << suspect.err.toStdString();
    const QJsonObject json = jsonObject(suspect.out);
    EXPECT_FALSE(json.value(QStringLiteral("warnings")).toArray().isEmpty());
    EXPECT_FALSE(json.value(QStringLiteral("patches")).toArray().isEmpty());

    const ProgramResult accepted =
        vireo2AgainstSim({"scan", "-q", "--track", trackAddress(), "--patches", "30", "--accept-suspect"});
    EXPECT_EQ(accepted.exitCode, 0) << accepted.err.toStdString();
    EXPECT_TRUE(accepted.err.contains(QStringLiteral("warning:"))) << "warnings are printed even when accepted";
}

TEST_F(CliScanTest, HandScanAndItsFailures)
{
    // The operator scans once the instrument shows its scan screen.
    QProcess scan;
    placeInTest(scan);
    scan.start(QStringLiteral(VIREO2_CLI_PROGRAM), {"--tcp", simAddress(), "scan", "--patches", "6", "--csv"});
    ASSERT_TRUE(sim_->waitForCommand("video targeting on", 20000));
    control(QStringLiteral("scan 6 TCS09"));
    ASSERT_TRUE(scan.waitForFinished(20000));
    ASSERT_EQ(scan.exitCode(), 0) << scan.readAllStandardError().toStdString();
    const QStringList rows = QString::fromUtf8(scan.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(rows.size(), 7);
    // Factors from the instrument, percent in the output.
    const QVector<double> truth = sim::measuredSpectrum(sim::SheetModel::namedSample(QStringLiteral("TCS09")).value(),
                                                        sim::Condition::M1, 0, 0.0);
    EXPECT_NEAR(rows.at(1).split(QLatin1Char(',')).at(9).toDouble(), 100.0 * truth[0], 0.01);

    const ProgramResult nothing = vireo2AgainstSim({"scan", "--wait", "1"});
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_TRUE(nothing.err.contains(QStringLiteral("no scan arrived within 1 s"))) << nothing.err.toStdString();
    // q ends the wait at once.
    const ProgramResult stopped = vireo2WithInput({"scan", "--wait", "60"}, "q\n");
    EXPECT_EQ(stopped.exitCode, 1);
    EXPECT_TRUE(stopped.err.contains(QStringLiteral("stopped (q)"))) << stopped.err.toStdString();
    EXPECT_EQ(vireo2AgainstSim({"scan", "--width", "2"}).exitCode, 2);
    EXPECT_EQ(vireo2AgainstSim({"scan", "--condition", "M7"}).exitCode, 2);
}

} // namespace
} // namespace vireo2::test
