// `vireo2 measure` as a measuring run and `vireo2 convert`, against the
// simulated instrument. Every reading costs a second of the instrument's
// settle time, so the cases take as few as they can.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <cmath>
#include <lcms2.h>

#include "cli_fixture.h"
#include "fault_script.h"
#include "vireo2_colour.h"

namespace vireo2::test {
namespace {

constexpr int kD50_2 = 4;

class MeasuringRunTest : public CliTest {
protected:
    void SetUp() override
    {
        CliTest::SetUp();
        ASSERT_TRUE(control("calibration valid").startsWith("SIM 0x00"));
    }

    // A reading file as `measure --json` writes it, every condition a flat
    // spectrum of `percent`.
    QString flatReference(double percent)
    {
        QJsonArray values;
        for (int i = 0; i < 31; ++i)
            values.append(percent);
        QJsonArray conditions;
        for (int c = 0; c < 4; ++c)
            conditions.append(QJsonObject{{"name", QStringLiteral("M%1").arg(c)}, {"values", values}});
        const QString file = path("reference.json");
        QFile out(file);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(QJsonDocument(QJsonObject{{"unit", "percent"}, {"conditions", conditions}}).toJson());
        return file;
    }

    int commandCount(const char* command) const { return int(sim_->commands().count(command)); }

    static std::array<double, 3> labOf(const QVector<double>& percent)
    {
        std::array<double, 3> lab{};
        Vireo2_SpectrumToLab(percent.constData(), kD50_2, 0, lab.data());
        return lab;
    }
};

// The differences printed per reading and as the mean are those of the
// instrument's sample against the reference: ΔE76 worked out here by hand,
// the other formulas through the library's functions.
TEST_F(MeasuringRunTest, DifferencesToAReferencePerReadingAndTheirMean)
{
    const ProgramResult result = runAgainstSim("-q measure --count 2 --reference " + flatReference(50.0));
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const auto sample = labOf(samplePercent());
    const auto reference = labOf(QVector<double>(31, 50.0));
    const double de76 = std::sqrt(std::pow(sample[0] - reference[0], 2) + std::pow(sample[1] - reference[1], 2)
                                  + std::pow(sample[2] - reference[2], 2));
    double de2000 = 0.0, cmc = 0.0;
    Vireo2_DeltaE2000(reference.data(), sample.data(), &de2000);
    Vireo2_DeltaECMC(reference.data(), sample.data(), 2.0, 1.0, &cmc);
    // M0..M2 read the sample exactly: every such row is the same.
    const QRegularExpression row(QStringLiteral("^ +M1 +([0-9.]+) +([0-9.]+) +([0-9.]+) +([0-9.]+)$"),
                                 QRegularExpression::MultilineOption);
    auto it = row.globalMatch(result.out);
    int rows = 0;
    while (it.hasNext()) {
        const auto match = it.next();
        EXPECT_NEAR(match.captured(1).toDouble(), de76, 0.011) << match.captured(0).toStdString();
        EXPECT_NEAR(match.captured(3).toDouble(), de2000, 0.011);
        EXPECT_NEAR(match.captured(4).toDouble(), cmc, 0.011);
        ++rows;
    }
    EXPECT_EQ(rows, 3) << "two readings and the mean\n" << result.out.toStdString();
    EXPECT_TRUE(result.out.contains("Mean colour difference over 2 readings"));
}

// --set-reference compares later readings with the first; --average gives
// mean and spread, and in JSON every reading, its differences (each with the
// number of its reading) and the mean.
TEST_F(MeasuringRunTest, SetReferenceAndAverageInJson)
{
    const QString chart = path("average.svg");
    const ProgramResult result =
        runAgainstSim("-q measure --count 3 --set-reference --average --json --plot " + chart);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    // The chart of the mean has a colour swatch per condition and the date.
    QFile svg(chart);
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
    const QString drawing = QString::fromUtf8(svg.readAll());
    EXPECT_EQ(drawing.count("class=\"swatch\""), 4);
    EXPECT_TRUE(drawing.contains(QRegularExpression("measured 20\\d\\d-\\d\\d-\\d\\d \\d\\d:\\d\\d")));
    EXPECT_FALSE(drawing.contains("fill=\"#808080\"")) << "a swatch fell back to grey";
    const QJsonObject document = jsonObject(result.out);
    const QJsonArray readings = document.value("readings").toArray();
    ASSERT_EQ(readings.size(), 3);
    EXPECT_EQ(readings.at(2).toObject().value("reading").toInt(), 3);
    const QJsonArray differences = document.value("differences").toArray();
    ASSERT_EQ(differences.size(), 2) << "the first reading is the reference";
    EXPECT_EQ(differences.at(0).toObject().value("reading").toInt(), 2);
    EXPECT_EQ(differences.at(1).toObject().value("reading").toInt(), 3);
    for (const auto& d : differences.first().toObject().value("conditions").toArray())
        EXPECT_LT(d.toObject().value("dE2000").toDouble(), 0.2) << "the same sample read twice";
    const QJsonObject average = document.value("average").toObject();
    const QJsonArray values = average.value("conditions").toArray().first().toObject().value("values").toArray();
    ASSERT_EQ(values.size(), 31);
    EXPECT_NEAR(values.at(10).toDouble(), samplePercent().at(10), 0.02);
    const QJsonObject xyz = average.value("conditions").toArray().first().toObject().value("xyz").toObject();
    EXPECT_GT(xyz.value("Y").toDouble(), 1.0);
}

// Two runs collect in one CSV log (a row per condition with its illuminant)
// and one CGATS file (a row per reading of one condition, with its number and
// time) that Little CMS reads back; a run under another illuminant or
// condition is refused before it measures; convert reads both files whole.
TEST_F(MeasuringRunTest, AppendedFilesCollectReadingsOfSeveralRunsAndStayTrue)
{
    const QString csv = path("day.csv");
    const QString cgats = path("day.cgats");
    for (int run = 0; run < 2; ++run) {
        const ProgramResult result = runAgainstSim("-q measure --append " + csv + " --cgats " + cgats);
        ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    }
    QFile file(csv);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray log = file.readAll();
    const QStringList lines = QString::fromUtf8(log).trimmed().split('\n');
    ASSERT_EQ(lines.size(), 1 + 2 * 4);
    EXPECT_TRUE(lines.first().startsWith("id,time,illuminant,condition,X,Y,Z,L,a,b,nm400,"));
    EXPECT_TRUE(lines.first().endsWith(",nm700"));
    EXPECT_TRUE(lines.at(1).startsWith("1,"));
    EXPECT_TRUE(lines.at(8).startsWith("2,"));
    EXPECT_EQ(lines.at(8).split(',').at(2), "D50/2");
    EXPECT_EQ(lines.at(8).split(',').at(3), "M3");
    EXPECT_EQ(lines.at(1).split(',').size(), 10 + 31);

    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(cgats).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 2.0) << "one row per reading";
    EXPECT_TRUE(QString::fromUtf8(cmsIT8GetProperty(it8, "MEASUREMENT_SOURCE")).contains("MeasurementCondition=M1"));
    EXPECT_STREQ(cmsIT8GetData(it8, "2", "READING"), "1") << "the first reading of the second run";
    EXPECT_TRUE(QString::fromUtf8(cmsIT8GetData(it8, "2", "TIME")).contains(QRegularExpression("^20\\d\\d-\\d\\d-\\d\\d \\d\\d:")));
    EXPECT_NEAR(cmsIT8GetDataDbl(it8, "2", "SPEC_500"), samplePercent().at(10), 1e-3);
    EXPECT_NEAR(cmsIT8GetDataDbl(it8, "1", "LAB_L"), labOf(samplePercent())[0], 2e-3);
    cmsIT8Free(it8);

    const int measured = commandCount("Meas Run");
    for (const char* options : {"--illuminant D65/10 --cgats ", "--condition M2 --cgats ", "--illuminant D65/10 --append "}) {
        const QString target = QString::fromLatin1(options).contains("append") ? csv : cgats;
        const ProgramResult refused = runAgainstSim(QStringLiteral("-q measure ") + options + target);
        EXPECT_EQ(refused.exitCode, 1) << options;
        EXPECT_TRUE(refused.err.contains(" holds ")) << refused.err.toStdString();
    }
    EXPECT_EQ(commandCount("Meas Run"), measured) << "refused before measuring";
    ASSERT_TRUE(file.seek(0));
    EXPECT_EQ(file.readAll(), log) << "the log is untouched";

    // The CGATS file serves as a reference: the same sample reads as no difference.
    const ProgramResult compared = runAgainstSim("-q measure --json --reference " + cgats);
    ASSERT_EQ(compared.exitCode, 0) << compared.err.toStdString();
    const QJsonArray differences = jsonObject(compared.out).value("differences").toArray();
    ASSERT_EQ(differences.size(), 1) << "the reference holds M1";
    EXPECT_LT(differences.first().toObject().value("dE76").toDouble(), 0.1);

    // convert reads every reading of the log and writes them as CGATS.
    const QString converted = path("day-d65.cgats");
    const ProgramResult conversion = run("convert " + csv + " --illuminant D65/10 --json --cgats " + converted);
    ASSERT_EQ(conversion.exitCode, 0) << conversion.err.toStdString();
    EXPECT_EQ(jsonObject(conversion.out).value("readings").toArray().size(), 2);
    it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(converted).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 2.0);
    EXPECT_TRUE(QString::fromUtf8(cmsIT8GetProperty(it8, "MEASUREMENT_SOURCE")).contains("Illumination=D65 ObserverAngle=10"));
    cmsIT8Free(it8);
    EXPECT_EQ(jsonObject(run("convert " + cgats + " --json").out).value("readings").toArray().size(), 2);
}

// The button trigger takes what the instrument measured on its own; the key
// trigger measures on Enter; q ends either run.
TEST_F(MeasuringRunTest, ButtonAndKeyTriggers)
{
    QProcess button;
    placeInTest(button);
    button.start(VIREO2_CLI_PROGRAM, {"--tcp", simAddress(), "measure", "--trigger", "button", "--json"});
    ASSERT_TRUE(button.waitForStarted());
    QByteArray prompt;
    for (int i = 0; i < 100 && !prompt.contains("press the instrument's button"); ++i) {
        button.waitForReadyRead(100);
        prompt += button.readAllStandardError();
    }
    ASSERT_TRUE(prompt.contains("press the instrument's button")) << prompt.toStdString();
    ASSERT_TRUE(control("reading TCS05").startsWith("SIM 0x00"));
    ASSERT_TRUE(button.waitForFinished(10000));
    EXPECT_EQ(button.exitCode(), 0) << button.readAllStandardError().toStdString();
    const QJsonObject reading = jsonObject(QString::fromUtf8(button.readAllStandardOutput()));
    EXPECT_EQ(reading.value("conditions").toArray().size(), 4);
    EXPECT_EQ(commandCount("Meas Run"), 0) << "the host never measured";

    // q ends a run that waits for the button, with what was read kept.
    QProcess quit;
    placeInTest(quit);
    quit.start(VIREO2_CLI_PROGRAM, {"--tcp", simAddress(), "-q", "measure", "--count", "3", "--trigger", "button"});
    ASSERT_TRUE(quit.waitForStarted());
    QByteArray waiting;
    for (int i = 0; i < 100 && !waiting.contains("press the instrument's button"); ++i) {
        quit.waitForReadyRead(100);
        waiting += quit.readAllStandardError();
    }
    ASSERT_TRUE(control("reading TCS05").startsWith("SIM 0x00"));
    QByteArray shown;
    for (int i = 0; i < 100 && !shown.contains("Reading 1,"); ++i) {
        quit.waitForReadyRead(100);
        shown += quit.readAllStandardOutput();
    }
    quit.write("q\n");
    ASSERT_TRUE(quit.waitForFinished(10000));
    EXPECT_EQ(quit.exitCode(), 0) << quit.readAllStandardError().toStdString();
    shown += quit.readAllStandardOutput();
    EXPECT_TRUE(shown.contains("Reading 1,")) << shown.toStdString();
    EXPECT_FALSE(shown.contains("Reading 2,"));

    QProcess key;
    placeInTest(key);
    key.start(VIREO2_CLI_PROGRAM, {"--tcp", simAddress(), "-q", "measure", "--count", "3", "--trigger", "key"});
    ASSERT_TRUE(key.waitForStarted());
    key.write("\nq\n");
    key.closeWriteChannel();
    ASSERT_TRUE(key.waitForFinished(10000));
    EXPECT_EQ(key.exitCode(), 0);
    const QString out = QString::fromUtf8(key.readAllStandardOutput());
    EXPECT_TRUE(out.contains("Reading 1,")) << out.toStdString();
    EXPECT_FALSE(out.contains("Reading 2,"));
    EXPECT_EQ(commandCount("Meas Run"), 1);
}

// Each reading is printed when it is taken; a reading that fails ends the
// run with the earlier ones on screen and in the file.
TEST_F(MeasuringRunTest, ReadingsShowAsTakenAndAFailureKeepsThem)
{
    const QString cgats = path("run.cgats");
    QProcess key;
    placeInTest(key);
    key.start(VIREO2_CLI_PROGRAM,
              {"--tcp", simAddress(), "-q", "measure", "--count", "3", "--trigger", "key", "--cgats", cgats});
    ASSERT_TRUE(key.waitForStarted());
    key.write("\n");
    QByteArray out;
    for (int i = 0; i < 100 && !out.contains("Reading 1,"); ++i) {
        key.waitForReadyRead(100);
        out += key.readAllStandardOutput();
    }
    ASSERT_TRUE(out.contains("Reading 1,")) << "the first reading shows before the second is asked for";
    sim_->faults().add(sim::Fault::on("meas run").replying("MEAS 0x8A"));
    key.write("\n");
    key.closeWriteChannel();
    ASSERT_TRUE(key.waitForFinished(10000));
    EXPECT_EQ(key.exitCode(), 1);
    out += key.readAllStandardOutput();
    EXPECT_FALSE(out.contains("Reading 2,"));
    const QString err = QString::fromUtf8(key.readAllStandardError());
    EXPECT_TRUE(err.contains("status 0x8A")) << err.toStdString();
    EXPECT_TRUE(err.contains("the run stopped after 1 of 3 readings")) << err.toStdString();
    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(cgats).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 1.0);
    cmsIT8Free(it8);
}

// convert recomputes a saved reading under another illuminant, exactly as
// the colour functions give it; usage mistakes are refused.
TEST_F(MeasuringRunTest, ConvertRecomputesUnderAnotherIlluminant)
{
    const QString reference = flatReference(50.0);
    const ProgramResult result = run("convert " + reference + " --illuminant F11/10 --json");
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject condition = jsonObject(result.out).value("conditions").toArray().at(2).toObject();
    double lab[3];
    const QVector<double> flat(31, 50.0);
    Vireo2_SpectrumToLab(flat.constData(), 13, 0, lab);
    EXPECT_NEAR(condition.value("lab").toObject().value("a").toDouble(), lab[1], 1e-4);
    EXPECT_EQ(jsonObject(result.out).value("illuminant").toString(), "F11/10");

    EXPECT_EQ(run("convert " + reference + " --illuminant D55/2").exitCode, 2);
    EXPECT_EQ(run("convert").exitCode, 2);
    EXPECT_EQ(run("convert " + path("missing.json")).exitCode, 1);
    EXPECT_EQ(runAgainstSim("measure --count 0").exitCode, 2);
    EXPECT_EQ(runAgainstSim("measure --trigger foot").exitCode, 2);
    EXPECT_EQ(runAgainstSim("measure --count 2 --csv").exitCode, 2);
}

} // namespace
} // namespace vireo2::test
