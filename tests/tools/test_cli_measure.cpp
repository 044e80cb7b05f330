// `vireo2 measure` against the simulated instrument: what each output format
// holds, that the values are the instrument's reflectance in percent, and
// that the colour values belong to those spectra.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <cmath>

#include "cli_fixture.h"
#include "vireo2_colour.h"

namespace vireo2::test {
namespace {

constexpr int kD50_2 = 4;
constexpr int kD65_10 = 7;

class MeasureTest : public CliTest {
protected:
    void SetUp() override
    {
        CliTest::SetUp();
        ASSERT_TRUE(control(QStringLiteral("calibration valid")).startsWith(QStringLiteral("SIM 0x00")));
    }

    QJsonObject measureJson(const QStringList& extra = {})
    {
        const ProgramResult result = vireo2AgainstSim(QStringList{QStringLiteral("measure"), QStringLiteral("--json")} + extra);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << result.out.toStdString();
        return document.object();
    }

    static std::vector<double> values(const QJsonObject& condition)
    {
        std::vector<double> out;
        for (const auto& value : condition.value(QStringLiteral("values")).toArray())
            out.push_back(value.toDouble());
        return out;
    }
};

TEST_F(MeasureTest, JsonHoldsEveryConditionInPercentWithItsColourValues)
{
    const QJsonObject document = measureJson();
    EXPECT_EQ(document.value(QStringLiteral("illuminant")).toString(), QStringLiteral("D50/2"));
    EXPECT_EQ(document.value(QStringLiteral("unit")).toString(), QStringLiteral("percent"));
    EXPECT_EQ(document.value(QStringLiteral("instrument")).toObject().value(QStringLiteral("serial")).toString(), kSerial);

    const QJsonArray conditions = document.value(QStringLiteral("conditions")).toArray();
    ASSERT_EQ(conditions.size(), 4);
    const QVector<double> expected = samplePercent();
    for (int c = 0; c < 4; ++c) {
        const QJsonObject condition = conditions.at(c).toObject();
        SCOPED_TRACE(c);
        EXPECT_EQ(condition.value(QStringLiteral("name")).toString(), QStringLiteral("M%1").arg(c));
        const QJsonArray wavelengths = condition.value(QStringLiteral("wavelengths")).toArray();
        ASSERT_EQ(wavelengths.size(), 31);
        EXPECT_EQ(wavelengths.first().toInt(), 400);
        EXPECT_EQ(wavelengths.last().toInt(), 700);

        const std::vector<double> spectrum = values(condition);
        ASSERT_EQ(spectrum.size(), 31u);
        // M0..M2 of a sample without brighteners are its reflectance; M3
        // loses the surface reflection and reads lower.
        for (int i = 0; i < 31; ++i) {
            if (c < 3)
                EXPECT_NEAR(spectrum[size_t(i)], expected.at(i), 1e-3) << i;
            else
                EXPECT_LT(spectrum[size_t(i)], expected.at(i) + 1e-3) << i;
        }

        double lab[3] = {};
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), kD50_2, 0, lab), 1);
        const QJsonObject jsonLab = condition.value(QStringLiteral("lab")).toObject();
        EXPECT_NEAR(jsonLab.value(QStringLiteral("L")).toDouble(), lab[0], 2e-3);
        EXPECT_NEAR(jsonLab.value(QStringLiteral("a")).toDouble(), lab[1], 2e-3);
        EXPECT_NEAR(jsonLab.value(QStringLiteral("b")).toDouble(), lab[2], 2e-3);
        const QJsonObject lch = condition.value(QStringLiteral("lch")).toObject();
        EXPECT_NEAR(lch.value(QStringLiteral("C")).toDouble(), std::hypot(lab[1], lab[2]), 2e-3);
        const double hue = std::atan2(lab[2], lab[1]) * 180.0 / M_PI;
        EXPECT_NEAR(lch.value(QStringLiteral("h")).toDouble(), hue < 0 ? hue + 360.0 : hue, 2e-3);
    }
}

TEST_F(MeasureTest, IlluminantOptionChangesTheColourValuesOnly)
{
    const QJsonObject document = measureJson({QStringLiteral("--illuminant"), QStringLiteral("d65/10")});
    EXPECT_EQ(document.value(QStringLiteral("illuminant")).toString(), QStringLiteral("D65/10"));
    const QJsonObject m0 = document.value(QStringLiteral("conditions")).toArray().at(0).toObject();
    const std::vector<double> spectrum = values(m0);
    ASSERT_EQ(spectrum.size(), 31u);
    double d65[3] = {}, d50[3] = {};
    ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), kD65_10, 0, d65), 1);
    ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), kD50_2, 0, d50), 1);
    const double b = m0.value(QStringLiteral("lab")).toObject().value(QStringLiteral("b")).toDouble();
    EXPECT_NEAR(b, d65[2], 2e-3);
    EXPECT_GT(std::abs(b - d50[2]), 0.1);
}

TEST_F(MeasureTest, TableShowsWavelengthRowsAndColourRowsPerCondition)
{
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("measure")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList lines = result.out.split(QLatin1Char('\n'));

    const QRegularExpression wavelengthRow(QStringLiteral("^\\s+(\\d{3})(\\s+\\d+\\.\\d\\d){4}$"));
    QList<int> wavelengths;
    for (const QString& line : lines) {
        const auto match = wavelengthRow.match(line);
        if (match.hasMatch())
            wavelengths << match.captured(1).toInt();
    }
    ASSERT_EQ(wavelengths.size(), 31);
    EXPECT_EQ(wavelengths.first(), 400);
    EXPECT_EQ(wavelengths.last(), 700);

    EXPECT_TRUE(result.out.contains(QStringLiteral("D50/2\u00B0")));
    for (const char* label : {"L*", "a*", "b*", "C*", "h"}) {
        const QRegularExpression colourRow(QStringLiteral("^\\s+%1(\\s+-?\\d+\\.\\d\\d){4}$")
                                               .arg(QRegularExpression::escape(QString::fromLatin1(label))));
        EXPECT_EQ(lines.filter(colourRow).size(), 1) << label;
    }
    // Progress goes to stderr, never into the results.
    EXPECT_TRUE(result.err.contains(QStringLiteral("Measuring...")));
    EXPECT_FALSE(result.out.contains(QStringLiteral("Measuring")));
}

TEST_F(MeasureTest, CsvHasAHeaderAndOneRowPerWavelength)
{
    control(QStringLiteral("polarizer off"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("measure"), QStringLiteral("--csv")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    QStringList rows = result.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(rows.size(), 32);
    // Without the polariser the instrument reports three conditions.
    EXPECT_EQ(rows.takeFirst(), QStringLiteral("wavelength_nm,M0,M1,M2"));
    const QVector<double> expected = samplePercent();
    for (int i = 0; i < 31; ++i) {
        const QStringList cells = rows.at(i).split(QLatin1Char(','));
        ASSERT_EQ(cells.size(), 4) << rows.at(i).toStdString();
        EXPECT_EQ(cells.at(0).toInt(), 400 + 10 * i);
        for (int c = 1; c < 4; ++c)
            EXPECT_NEAR(cells.at(c).toDouble(), expected.at(i), 1e-3);
    }
}

TEST_F(MeasureTest, PlotWritesAChartWithAxesLegendAndOneCurvePerCondition)
{
    const QString chart = path(QStringLiteral("spectra.svg"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("-q"), QStringLiteral("measure"), QStringLiteral("--plot"), chart});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.isEmpty()) << "quiet run wrote: " << result.err.toStdString();

    QFile file(chart);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QStringList texts;
    QList<QStringList> curves;
    bool rootIsSvg = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("svg"))
            rootIsSvg = true;
        else if (xml.name() == QLatin1String("polyline"))
            curves << xml.attributes().value(QStringLiteral("points")).toString().split(QLatin1Char(' '));
        else if (xml.name() == QLatin1String("text"))
            texts << xml.readElementText();
    }
    ASSERT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    EXPECT_TRUE(rootIsSvg);

    ASSERT_EQ(curves.size(), 4);
    for (const QStringList& points : curves) {
        ASSERT_EQ(points.size(), 31);
        double previousX = -1;
        for (const QString& point : points) {
            const double x = point.section(QLatin1Char(','), 0, 0).toDouble();
            EXPECT_GT(x, previousX); // wavelengths ascend left to right
            previousX = x;
        }
    }
    // M0 and M2 read the same spectrum, so their curves coincide.
    EXPECT_EQ(curves.at(0), curves.at(2));
    EXPECT_NE(curves.at(0), curves.at(3));

    for (const char* label : {"Wavelength (nm)", "Reflectance (%)", "400", "550", "700", "0", "50", "100", "M0", "M1",
                              "M2", "M3"})
        EXPECT_TRUE(texts.contains(QString::fromUtf8(label))) << label;
    EXPECT_TRUE(texts.filter(kSerial).size() >= 1) << "the title names the instrument";
}

TEST_F(MeasureTest, UncalibratedInstrumentFailsWithTheLibraryErrorAndWritesNoChart)
{
    control(QStringLiteral("calibration needed"));
    const QString chart = path(QStringLiteral("never.svg"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("measure"), QStringLiteral("--plot"), chart});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("error 20489: FAILED Measure:  Needs Calibration")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("vireo2 calibrate"))) << "a hint names the remedy";
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_FALSE(QFile::exists(chart));
}

TEST_F(MeasureTest, RefusedReadoutIsReportedAsNoSpectra)
{
    control(QStringLiteral("readout refuse"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("measure")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("no spectra"))) << result.err.toStdString();
    EXPECT_TRUE(result.out.isEmpty());
}

TEST_F(MeasureTest, ContradictoryOrUnknownOptionsAreUsageErrors)
{
    const ProgramResult both = vireo2AgainstSim({QStringLiteral("measure"), QStringLiteral("--json"), QStringLiteral("--csv")});
    EXPECT_EQ(both.exitCode, 2);
    const ProgramResult illuminant =
        vireo2AgainstSim({QStringLiteral("measure"), QStringLiteral("--illuminant"), QStringLiteral("D55/2")});
    EXPECT_EQ(illuminant.exitCode, 2);
    EXPECT_TRUE(illuminant.err.contains(QStringLiteral("D65/10"))) << "the valid names are listed";
    // Neither reached the instrument.
    EXPECT_FALSE(sim_->waitForCommand("Meas Run", 0));
}

} // namespace
} // namespace vireo2::test
