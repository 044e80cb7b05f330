// The chart's design as the reader relies on it: strips that fit their
// sheet and carry every patch once, identification codes read from either
// end, the doubts that must stop a read, the chart file read back as
// written, the PDF's pages and the CTI3 file's keywords and colours.
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextStream>
#include <gtest/gtest.h>
#include <lcms2.h>

#include "chart_identify.h"
#include "chart_layout.h"
#include "chart_measurements.h"
#include "chart_pdf.h"
#include "vireo2.h"
#include "vireo2_colour.h"

using namespace vireo2::cli::chart;

namespace {

// A CGATS patch set of `count` CMYK patches spread over the cube, the way
// targen writes one (ids 1..count, values in percent, an expected XYZ).
QString writePatchSet(const QTemporaryDir& dir, int count, const QString& name = QStringLiteral("set.ti1"))
{
    const QString path = dir.filePath(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    QTextStream out(&file);
    out << "CTI1\n\nCOLOR_REP \"CMYK\"\nNUMBER_OF_FIELDS 8\nBEGIN_DATA_FORMAT\n"
           "SAMPLE_ID CMYK_C CMYK_M CMYK_Y CMYK_K XYZ_X XYZ_Y XYZ_Z\nEND_DATA_FORMAT\n"
        << "NUMBER_OF_SETS " << count << "\nBEGIN_DATA\n";
    for (int i = 0; i < count; ++i) {
        const double c = (i * 37) % 101, m = (i * 53) % 101, y = (i * 71) % 101, k = (i * 13) % 101;
        const double lightness = 100.0 * (1 - 0.6 * c / 100) * (1 - 0.8 * m / 100) * (1 - 0.1 * y / 100) * (1 - 0.9 * k / 100);
        out << i + 1 << ' ' << c << ' ' << m << ' ' << y << ' ' << k << ' ' << lightness << ' ' << lightness << ' '
            << lightness << '\n';
    }
    out << "END_DATA\n";
    return path;
}

Chart layOutSet(const QTemporaryDir& dir, int count, LayoutOptions options = {})
{
    PatchSet set;
    EXPECT_EQ(readPatchSet(writePatchSet(dir, count), &set), QString());
    Chart chart;
    EXPECT_EQ(layOut(set, options, &chart), QString());
    return chart;
}

// What the track would read from a strip: black, paper and cyan as an
// offset press prints them, data patches neutral at their expected
// lightness, every reading steady.
QVector<ReadPatch> rowOf(const Chart& chart, int strip)
{
    QVector<ReadPatch> row;
    for (const Patch& p : chart.strip(strip)) {
        ReadPatch r;
        if (p.role == Role::Data) {
            r.lab[0] = 10.0 + 0.85 * expectedLightness(chart, p);
        } else {
            const double black[3] = {15, 0.5, 1}, paper[3] = {95, 1, -4}, cyan[3] = {55, -37, -50};
            const double* lab = p.device == chart.black() ? black : p.device == chart.paper() ? paper : cyan;
            std::copy(lab, lab + 3, r.lab);
        }
        row << r;
    }
    return row;
}

} // namespace

TEST(ChartLayout, StripsFitTheirSheetAndCarryEveryPatchOnceInContrastBetweenLeadInAndEnd)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 210);
    EXPECT_EQ(chart.strips, 6);
    EXPECT_EQ(codeSymbols({false, true, true, false}), (QVector<int>{Black, Cyan, PaperWhite, Cyan}));
    EXPECT_EQ(chart.stripsPerSheet, 11) << "as many 25 mm strips as fit across 297 mm";
    EXPECT_EQ(chart.sheets(), 1);
    QStringList ids;
    int fewest = 1000, most = 0;
    for (int s = 1; s <= chart.strips; ++s) {
        const QVector<Patch> strip = chart.strip(s);
        EXPECT_LE(2 * chart.margin + strip.size() * chart.patchWidth, chart.sheetLength) << "strip " << s;
        ASSERT_GE(strip.size(), kLeadPatches + kEndPatches);
        EXPECT_EQ(strip.first().device, chart.black());
        EXPECT_EQ(strip.at(1).device, chart.paper());
        EXPECT_EQ(strip.at(2).device, chart.cyan());
        EXPECT_EQ(strip.last().device, chart.black());
        EXPECT_EQ(strip.at(strip.size() - 2).device, chart.black());
        // The code never repeats the colour before it, so the patch finder
        // can re-align along it.
        for (int i = 3; i < kLeadPatches; ++i)
            EXPECT_NE(strip.at(i).device, strip.at(i - 1).device) << "strip " << s << " place " << i + 1;
        int data = 0;
        QVector<double> lightness;
        for (const Patch& p : strip)
            if (p.role == Role::Data) {
                ids << p.id;
                lightness << expectedLightness(chart, p);
                ++data;
            }
        // Dark and light take turns, the darkest first.
        for (int i = 1; i < lightness.size(); ++i)
            EXPECT_EQ(lightness[i] > lightness[i - 1], i % 2 == 1) << "strip " << s << " data patch " << i + 1;
        fewest = std::min(fewest, data);
        most = std::max(most, data);
    }
    EXPECT_LE(most - fewest, 1) << "patches are shared out evenly";
    QStringList expected;
    for (int i = 1; i <= 210; ++i)
        expected << QString::number(i);
    std::sort(ids.begin(), ids.end(), [](const QString& a, const QString& b) { return a.toInt() < b.toInt(); });
    EXPECT_EQ(ids, expected);

    const Chart narrow = layOutSet(dir, 1000, {5.0, 420.0, 297.0, 4});
    EXPECT_EQ(narrow.stripsPerSheet, 4);
    EXPECT_EQ(narrow.sheets(), (narrow.strips + 3) / 4);
    EXPECT_EQ(narrow.dataCount(), 1000);
}

TEST(ChartLayout, PatchSetsAndLayoutsThatCannotWorkAreRefusedWithAReason)
{
    QTemporaryDir dir;
    PatchSet set;
    ASSERT_EQ(readPatchSet(writePatchSet(dir, 20), &set), QString());
    Chart chart;
    EXPECT_TRUE(layOut(set, {8.0, 150.0, 297.0, 0}, &chart).contains(QStringLiteral("too few")));
    EXPECT_TRUE(layOut(set, {8.0, 420.0, 297.0, 12}, &chart).contains(QStringLiteral("do not fit")));
    PatchSet big;
    ASSERT_EQ(readPatchSet(writePatchSet(dir, 5000), &big), QString());
    EXPECT_TRUE(layOut(big, {20.0, 420.0, 297.0, 0}, &chart).contains(QStringLiteral("can be told apart")));

    const QString path = dir.filePath(QStringLiteral("bad.txt"));
    auto write = [&](const QByteArray& text) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    };
    write("CGATS.17\nNUMBER_OF_FIELDS 3\nBEGIN_DATA_FORMAT\nSAMPLE_ID LAB_L LAB_A\nEND_DATA_FORMAT\nNUMBER_OF_SETS 1\n"
          "BEGIN_DATA\n1 50 0\nEND_DATA\n");
    EXPECT_TRUE(readPatchSet(path, &set).contains(QStringLiteral("neither CMYK")));
    write("CGATS.17\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B\nEND_DATA_FORMAT\n"
          "NUMBER_OF_SETS 2\nBEGIN_DATA\nA 255 0 0\nA 0 0 0\nEND_DATA\n");
    EXPECT_TRUE(readPatchSet(path, &set).contains(QStringLiteral("repeated SAMPLE_ID")));
    write("CGATS.17\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B\nEND_DATA_FORMAT\n"
          "NUMBER_OF_SETS 2\nBEGIN_DATA\nA 255 51 0\nB 0 0 0\nEND_DATA\n");
    ASSERT_EQ(readPatchSet(path, &set), QString());
    EXPECT_EQ(set.colorRep, QStringLiteral("RGB"));
    EXPECT_EQ(set.patches.first().device, (QVector<double>{100.0, 20.0, 0.0})) << "0..255 is taken to percent";
    EXPECT_TRUE(readPatchSet(dir.filePath(QStringLiteral("none.ti1")), &set).contains(QStringLiteral("does not exist")));
}

TEST(ChartLayout, ChartFileReadsBackAsWritten)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 75, {6.0, 400.0, 200.0, 0});
    const QString path = dir.filePath(QStringLiteral("chart.ti2"));
    ASSERT_EQ(writeChart(chart, path), QString());
    Chart back;
    ASSERT_EQ(readChart(path, &back), QString());
    EXPECT_EQ(back.strips, chart.strips);
    EXPECT_EQ(back.stripsPerSheet, chart.stripsPerSheet);
    EXPECT_EQ(back.tag, chart.tag);
    EXPECT_DOUBLE_EQ(back.patchWidth, 6.0);
    EXPECT_DOUBLE_EQ(back.sheetLength, 400.0);
    ASSERT_EQ(back.patches.size(), chart.patches.size());
    for (int i = 0; i < chart.patches.size(); ++i) {
        EXPECT_EQ(back.patches[i].id, chart.patches[i].id);
        EXPECT_EQ(back.patches[i].role, chart.patches[i].role);
        EXPECT_EQ(back.patches[i].strip, chart.patches[i].strip);
        EXPECT_EQ(back.patches[i].place, chart.patches[i].place);
        EXPECT_EQ(back.patches[i].order, chart.patches[i].order);
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(back.patches[i].device[k], chart.patches[i].device[k], 1e-4);
    }
    // A patch set is not a chart: the reader needs the places.
    EXPECT_TRUE(readChart(writePatchSet(dir, 10), &back).contains(QStringLiteral("not a chart layout")));
}

TEST(ChartIdentify, StripsAreKnownFromEitherEndAndStrangersAreNot)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 210);
    for (int s = 1; s <= chart.strips; ++s) {
        QVector<ReadPatch> row = rowOf(chart, s);
        Identity forward = identify(chart, row);
        EXPECT_EQ(forward.verdict, Identity::Identified);
        EXPECT_EQ(forward.strip, s);
        EXPECT_FALSE(forward.reversed);
        EXPECT_EQ(forward.doubt, QString());
        std::reverse(row.begin(), row.end());
        const Identity backward = identify(chart, row);
        EXPECT_EQ(backward.strip, s);
        EXPECT_TRUE(backward.reversed);
        EXPECT_EQ(backward.doubt, QString());
    }

    // A lost lead-in shifts every patch: the code no longer reads.
    QVector<ReadPatch> shifted = rowOf(chart, 3);
    shifted.removeFirst();
    EXPECT_EQ(identify(chart, shifted).verdict, Identity::Unknown);
    // A strip one patch short: identified code, but the count is wrong.
    QVector<ReadPatch> shortRow = rowOf(chart, 3);
    shortRow.remove(20);
    const Identity shortened = identify(chart, shortRow);
    EXPECT_EQ(shortened.verdict, Identity::Unknown);
    EXPECT_TRUE(shortened.why.contains(QStringLiteral("strip 3"))) << shortened.why.toStdString();

    // The same strip of a chart with the other tag is a stranger.
    Chart other = chart;
    other.tag = 1 - chart.tag;
    EXPECT_EQ(identify(other, rowOf(chart, 2)).verdict, Identity::Unknown);
}

TEST(ChartIdentify, StripsThatReadUnlikeTheirDeviceValuesOrUnsteadilyAreDoubted)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 210);
    // Data patches in the wrong order (a shifted grid inside the strip).
    QVector<ReadPatch> row = rowOf(chart, 4);
    QVector<double> data;
    for (int i = kLeadPatches; i < row.size() - kEndPatches; ++i)
        data << row[i].lab[0];
    std::rotate(data.begin(), data.begin() + 1, data.end());
    for (int i = kLeadPatches; i < row.size() - kEndPatches; ++i)
        row[i].lab[0] = data[i - kLeadPatches];
    Identity identity = identify(chart, row);
    EXPECT_EQ(identity.strip, 4);
    EXPECT_TRUE(identity.doubt.contains(QStringLiteral("do not read like"))) << identity.doubt.toStdString();

    row = rowOf(chart, 4);
    row[20].ripple = 2 * kUnsteadyRipple;
    identity = identify(chart, row);
    EXPECT_TRUE(identity.doubt.contains(QStringLiteral("patch 21"))) << identity.doubt.toStdString();

    // The library's own flags count, and on a reversed strip they are
    // numbered from the lead-in end like every other patch.
    row = rowOf(chart, 4);
    row[5].quality = VIREO2_SCAN_UNCERTAIN;
    std::reverse(row.begin(), row.end());
    identity = identify(chart, row);
    EXPECT_TRUE(identity.reversed);
    EXPECT_TRUE(identity.doubt.contains(QStringLiteral("the scan doubts patch 6 "))) << identity.doubt.toStdString();
    row = rowOf(chart, 4);
    row[5].quality = VIREO2_SCAN_CORRECTED;
    EXPECT_EQ(identify(chart, row).doubt, QString()) << "a corrected patch is no doubt by itself";

    EXPECT_NEAR(rankCorrelation({1, 2, 3, 4}, {10, 20, 30, 40}), 1.0, 1e-12);
    EXPECT_NEAR(rankCorrelation({1, 2, 3, 4}, {40, 30, 20, 10}), -1.0, 1e-12);
}

// A PDF reader finds each object at the offset the cross-reference table
// gives; the pages have the sheet's size in points and name their strips.
TEST(ChartPdf, PagesHaveTheSheetsSizeAndTheirStripsAreLabelled)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 300, {8.0, 420.0, 120.0, 0});
    ASSERT_EQ(chart.stripsPerSheet, 4);
    const QByteArray pdf = chartPdf(chart, QStringLiteral("test (chart)"));
    ASSERT_TRUE(pdf.startsWith("%PDF-1.4"));
    const int xref = pdf.mid(pdf.lastIndexOf("startxref") + 10).trimmed().split('\n').first().toInt();
    ASSERT_TRUE(pdf.mid(xref).startsWith("xref\n0 "));
    const QList<QByteArray> lines = pdf.mid(xref).split('\n');
    const int objects = lines.at(1).split(' ').at(1).toInt() - 1;
    for (int i = 1; i <= objects; ++i) {
        const int offset = lines.at(2 + i).left(10).toInt();
        EXPECT_TRUE(pdf.mid(offset).startsWith(QByteArray::number(i) + " 0 obj")) << "object " << i;
    }
    EXPECT_EQ(pdf.count("/Type /Page "), chart.sheets());
    EXPECT_EQ(pdf.count("/MediaBox [0 0 1190.5512 340.1575]"), chart.sheets()) << "420 x 120 mm in points";
    EXPECT_EQ(pdf.count(" re f\n"), chart.patches.size());
    EXPECT_EQ(pdf.count(" k\n"), chart.patches.size()) << "CMYK device values, no conversion";
    EXPECT_TRUE(pdf.contains("(Sheet 2  strip 3  \\(strip 7 of"));
    EXPECT_TRUE(pdf.contains("(test \\(chart\\) - sheet 1 of "));
}

TEST(ChartMeasurements, Cti3FileCarriesTheKeywordsAndColoursProfilersRead)
{
    QTemporaryDir dir;
    const Chart chart = layOutSet(dir, 40);
    ChartReading reading;
    reading.condition = 2;
    for (int s = 1; s <= chart.strips; ++s) {
        QVector<QVector<double>> spectra;
        for (const Patch& p : chart.strip(s))
            spectra << QVector<double>(31, p.place % 2 ? 80.0 : 20.0 + s);
        reading.strips.insert(s, spectra);
    }
    const QString path = dir.filePath(QStringLiteral("out.ti3"));
    ASSERT_EQ(writeTi3(chart, reading, path), QString());
    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(path).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_STREQ(cmsIT8GetSheetType(it8), "CTI3");
    EXPECT_STREQ(cmsIT8GetProperty(it8, "DEVICE_CLASS"), "OUTPUT");
    EXPECT_STREQ(cmsIT8GetProperty(it8, "COLOR_REP"), "CMYK_XYZ");
    EXPECT_EQ(QByteArray(cmsIT8GetProperty(it8, "SPECTRAL_BANDS")).toInt(), 31);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 40.0);
    for (int row = 0; row < 40; ++row)
        EXPECT_EQ(QByteArray(cmsIT8GetDataRowCol(it8, row, 0)), QByteArray::number(row + 1)) << "in the set's order";
    for (const Patch& p : chart.patches) {
        if (p.role != Role::Data)
            continue;
        const QByteArray id = p.id.toLatin1();
        const QVector<double>& spectrum = reading.strips.value(p.strip).at(p.place - 1);
        double xyz[3], lab[3];
        Vireo2_SpectrumToXYZ(spectrum.constData(), 4, xyz);
        Vireo2_XYZToLab(xyz, 4, lab);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "XYZ_Y"), xyz[1], 1e-4) << "patch " << p.id.toStdString();
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "LAB_L"), lab[0], 1e-4);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "SPEC_550"), spectrum[15], 1e-4);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "CMYK_M"), p.device[1], 1e-4);
    }
    cmsIT8Free(it8);

    // Progress survives a round trip; a missing strip is never filled in.
    const QString progress = dir.filePath(QStringLiteral("out.ti3.progress"));
    reading.chartDigest = QStringLiteral("abc");
    reading.strips.remove(2);
    ASSERT_EQ(saveProgress(reading, progress), QString());
    ChartReading back;
    ASSERT_EQ(loadProgress(progress, &back), QString());
    EXPECT_EQ(back.strips, reading.strips);
    EXPECT_EQ(back.condition, 2);
    EXPECT_TRUE(writeTi3(chart, back, path).contains(QStringLiteral("strip 2 has not been read")));
}
