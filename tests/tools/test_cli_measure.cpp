// `vireo2 measure` against the simulated instrument: what each output format
// holds, that the values are the instrument's reflectance in percent, and
// that the colour values belong to those spectra.
#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <cmath>

#include "cli_fixture.h"
#include "vireo2_colour.h"

namespace vireo2::test {
namespace {

constexpr int kD65_10 = 7;

class MeasureTest : public CliTest {
protected:
    void SetUp() override
    {
        CliTest::SetUp();
        ASSERT_TRUE(control("calibration valid").startsWith("SIM 0x00"));
    }
};

TEST_F(MeasureTest, JsonHoldsEveryConditionInPercentWithItsColourValues)
{
    const ProgramResult result = runAgainstSim("measure --json --illuminant d65/10");
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject document = jsonObject(result.out);
    EXPECT_EQ(document.value("illuminant").toString(), "D65/10");
    EXPECT_EQ(document.value("unit").toString(), "percent");
    EXPECT_EQ(document.value("instrument").toObject().value("serial").toString(), kSerial);

    const QJsonArray conditions = document.value("conditions").toArray();
    ASSERT_EQ(conditions.size(), 4);
    const QVector<double> expected = samplePercent();
    for (int c = 0; c < 4; ++c) {
        SCOPED_TRACE(c);
        const QJsonObject condition = conditions.at(c).toObject();
        EXPECT_EQ(condition.value("name").toString(), QStringLiteral("M%1").arg(c));
        const QJsonArray wavelengths = condition.value("wavelengths").toArray();
        ASSERT_EQ(wavelengths.size(), 31);
        EXPECT_EQ(wavelengths.first().toInt(), 400);
        EXPECT_EQ(wavelengths.last().toInt(), 700);
        std::vector<double> spectrum;
        for (const QJsonValue& value : condition.value("values").toArray())
            spectrum.push_back(value.toDouble());
        ASSERT_EQ(spectrum.size(), 31u);
        // M0..M2 of a sample without brighteners are its reflectance; M3
        // loses the surface reflection and reads lower.
        for (int i = 0; i < 31; ++i) {
            const double value = spectrum[size_t(i)];
            EXPECT_TRUE(c < 3 ? std::abs(value - expected.at(i)) < 1e-3 : value < expected.at(i)) << i << ": " << value;
        }
        // The colour values are those of this spectrum under the chosen illuminant.
        double lab[3] = {};
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), kD65_10, 0, lab), 1);
        const QJsonObject jsonLab = condition.value("lab").toObject();
        EXPECT_NEAR(jsonLab.value("L").toDouble(), lab[0], 2e-3);
        EXPECT_NEAR(jsonLab.value("a").toDouble(), lab[1], 2e-3);
        EXPECT_NEAR(jsonLab.value("b").toDouble(), lab[2], 2e-3);
        const QJsonObject lch = condition.value("lch").toObject();
        EXPECT_NEAR(lch.value("C").toDouble(), std::hypot(lab[1], lab[2]), 2e-3);
        const double hue = std::atan2(lab[2], lab[1]) * 180.0 / M_PI;
        EXPECT_NEAR(lch.value("h").toDouble(), hue < 0 ? hue + 360.0 : hue, 2e-3);
    }
}

TEST_F(MeasureTest, TableShowsEveryConditionAndThePlotDrawsIt)
{
    const QString chart = path("spectra.svg");
    const ProgramResult result = runAgainstSim("measure --plot " + chart);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList lines = result.out.split('\n');
    const QStringList rows = lines.filter(QRegularExpression("^\\s+\\d{3}(\\s+\\d+\\.\\d\\d){4}$"));
    ASSERT_EQ(rows.size(), 31);
    EXPECT_EQ(rows.first().trimmed().section(' ', 0, 0), "400");
    EXPECT_EQ(rows.last().trimmed().section(' ', 0, 0), "700");
    EXPECT_TRUE(result.out.contains("D50/2\u00B0")) << "the default illuminant";
    for (const char* label : {"L*", "a*", "b*", "C*", "h"}) {
        const QString row = QStringLiteral("^\\s+%1(\\s+-?\\d+\\.\\d\\d){4}$").arg(QRegularExpression::escape(label));
        EXPECT_EQ(lines.filter(QRegularExpression(row)).size(), 1) << label;
    }
    // Progress goes to stderr, never into the results.
    EXPECT_TRUE(result.err.contains("Measuring..."));
    EXPECT_FALSE(result.out.contains("Measuring"));

    QFile file(chart);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    ASSERT_TRUE(xml.readNextStartElement());
    EXPECT_EQ(xml.name(), QLatin1String("svg"));
    QStringList texts;
    QList<QStringList> curves;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("polyline"))
            curves << xml.attributes().value("points").toString().split(' ');
        else if (xml.name() == QLatin1String("text"))
            texts << xml.readElementText();
    }
    ASSERT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    ASSERT_EQ(curves.size(), 4);
    for (const QStringList& points : curves) {
        ASSERT_EQ(points.size(), 31);
        for (int i = 1; i < points.size(); ++i)  // wavelengths ascend left to right
            EXPECT_GT(points.at(i).section(',', 0, 0).toDouble(), points.at(i - 1).section(',', 0, 0).toDouble());
    }
    // M0 and M2 read the same spectrum, so their curves coincide.
    EXPECT_EQ(curves.at(0), curves.at(2));
    EXPECT_NE(curves.at(0), curves.at(3));
    for (const char* label : {"Wavelength (nm)", "Reflectance (%)", "400", "550", "700", "0", "50", "100", "M0", "M1",
                              "M2", "M3"})
        EXPECT_TRUE(texts.contains(label)) << label;
    EXPECT_FALSE(texts.filter(kSerial).isEmpty()) << "the title names the instrument";
}

TEST_F(MeasureTest, QuietCsvRunHasAHeaderAndOneRowPerWavelength)
{
    control("polarizer off");
    const QString chart = path("three.svg");
    const ProgramResult result = runAgainstSim("--quiet measure --csv --plot " + chart);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.isEmpty()) << "a quiet run writes no progress: " << result.err.toStdString();
    EXPECT_TRUE(QFile::exists(chart));
    QStringList rows = result.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(rows.size(), 32);
    // Without the polariser the instrument reports three conditions.
    EXPECT_EQ(rows.takeFirst(), "wavelength_nm,M0,M1,M2");
    const QVector<double> expected = samplePercent();
    for (int i = 0; i < 31; ++i) {
        const QStringList cells = rows.at(i).split(',');
        ASSERT_EQ(cells.size(), 4) << rows.at(i).toStdString();
        EXPECT_EQ(cells.at(0).toInt(), 400 + 10 * i);
        for (int c = 1; c < 4; ++c)
            EXPECT_NEAR(cells.at(c).toDouble(), expected.at(i), 1e-3);
    }
}

TEST_F(MeasureTest, FailuresExitWithTheReasonAndWriteNoChart)
{
    control("calibration needed");
    const QString chart = path("never.svg");
    const ProgramResult uncalibrated = runAgainstSim("measure --plot " + chart);
    EXPECT_EQ(uncalibrated.exitCode, 1);
    EXPECT_TRUE(uncalibrated.err.contains("the instrument needs a white calibration"))
        << uncalibrated.err.toStdString();
    EXPECT_TRUE(uncalibrated.err.contains("vireo2 calibrate")) << "a hint names the remedy";
    EXPECT_TRUE(uncalibrated.out.isEmpty());
    EXPECT_FALSE(QFile::exists(chart));

    // A refused readout is a measurement without spectra.
    control("calibration valid");
    control("readout refuse");
    const ProgramResult refused = runAgainstSim("measure");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("the instrument refused to hand out its reading")) << refused.err.toStdString();
    EXPECT_FALSE(refused.err.contains("calibrate")) << "a refusal is not a calibration fault";
    EXPECT_TRUE(refused.out.isEmpty());
}

} // namespace
} // namespace vireo2::test
