// The simulator's printer and its chart beside the track: how device values
// print, that the truth it answers is what lies on the sheet, and how the
// operator's part (next strip, auto-next, misplaced and smudged strips)
// changes the sheet under the read head.
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <gtest/gtest.h>

#include "chart_track.h"
#include "default_instrument.h"
#include "printed_chart.h"
#include "printer_model.h"

using namespace vireo2::sim;

namespace {

double mean(const QVector<double>& values)
{
    double sum = 0;
    for (double v : values)
        sum += v;
    return sum / values.size();
}

double largestDifference(const QVector<double>& a, const QVector<double>& b)
{
    double largest = a.size() == b.size() ? 0.0 : 1e9;
    for (int i = 0; i < std::min(a.size(), b.size()); ++i)
        largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

// Two strips of a chart layout: strip 1 black, paper, then ten K steps;
// strip 2 black, paper, then cyan, magenta and yellow solids.
QString writeChart(const QTemporaryDir& dir)
{
    const QString path = dir.filePath(QStringLiteral("chart.ti2"));
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    QTextStream out(&file);
    QStringList rows;
    auto row = [&](int strip, int place, const QString& cmyk) {
        rows << QStringLiteral("%1-%2 %1 %2 %3").arg(strip).arg(place).arg(cmyk);
    };
    row(1, 1, "0 0 0 100");
    row(1, 2, "0 0 0 0");
    for (int i = 0; i < 10; ++i)
        row(1, 3 + i, QStringLiteral("0 0 0 %1").arg(10 * i));
    row(2, 1, "0 0 0 100");
    row(2, 2, "0 0 0 0");
    row(2, 3, "100 0 0 0");
    row(2, 4, "0 100 0 0");
    row(2, 5, "0 0 100 0");
    out << "CTI2\n\nCOLOR_REP \"CMYK\"\nCHART_PATCH_WIDTH_MM \"8\"\nCHART_SHEET_LENGTH_MM \"200\"\n"
           "CHART_MARGIN_MM \"12\"\nNUMBER_OF_FIELDS 7\nBEGIN_DATA_FORMAT\n"
           "SAMPLE_ID STRIP STRIP_PATCH CMYK_C CMYK_M CMYK_Y CMYK_K\nEND_DATA_FORMAT\nNUMBER_OF_SETS "
        << rows.size() << "\nBEGIN_DATA\n" << rows.join('\n') << "\nEND_DATA\n";
    return path;
}

} // namespace

TEST(PrinterModel, InkDarkensSmoothlyWithDotGainAndRgbPrintsOnTheSameInks)
{
    for (const QString& name : PrinterModel::names()) {
        const PrinterModel printer = *PrinterModel::named(name);
        EXPECT_LT(largestDifference(printer.print({0, 0, 0, 0})->reflectance, printer.paper().reflectance), 1e-12)
            << name.toStdString();
        for (int ink = 0; ink < 4; ++ink) {
            double previous = 2.0;
            for (int step = 0; step <= 10; ++step) {
                QVector<double> device(4, 0.0);
                device[ink] = 10.0 * step;
                const double level = mean(printer.print(device)->reflectance);
                EXPECT_LT(level, previous + 1e-12) << name.toStdString() << " ink " << ink << " at " << 10 * step;
                previous = level;
            }
        }
        // Half-tone K prints darker than half paper and half solid: the
        // dots spread and light strays under them.
        const double paper = mean(printer.paper().reflectance);
        const double solid = mean(printer.print({0, 0, 0, 100})->reflectance);
        EXPECT_LT(mean(printer.print({0, 0, 0, 50})->reflectance), (paper + solid) / 2) << name.toStdString();
        EXPECT_LT(largestDifference(printer.print({100, 100, 100})->reflectance, printer.paper().reflectance), 1e-12);
        EXPECT_LT(mean(printer.print({0, 0, 0})->reflectance), 0.05);
    }
    EXPECT_FALSE(PrinterModel::named(QStringLiteral("laser")));
    EXPECT_FALSE(PrinterModel::named(QStringLiteral("offset"))->print({1, 2}));
}

TEST(PrintedChart, TruthIsWhatLiesOnTheSheetAndStripsTurnEndForEnd)
{
    QTemporaryDir dir;
    const QString path = writeChart(dir);
    const PrinterModel printer = *PrinterModel::named(QStringLiteral("offset"));
    QString error;
    const auto chart = PrintedChart::fromFile(path, printer, &error);
    ASSERT_TRUE(chart) << error.toStdString();
    ASSERT_EQ(chart->stripCount(), 2);
    EXPECT_EQ(chart->patchCount(1), 12);

    PrintedChart::Placement placement;
    placement.strip = 2;
    const SheetModel sheet = chart->sheet(placement, 30.0);
    ASSERT_EQ(sheet.patchCount(), 5);
    EXPECT_DOUBLE_EQ(sheet.patchCentre(0), 30.0 + 12.0 + 4.0);
    EXPECT_DOUBLE_EQ(sheet.farEdge(), 30.0 + 200.0) << "the sheet keeps its length";
    const auto table = readDeviceTable(path, &error);
    ASSERT_TRUE(table);
    const QByteArray truth = printerTruth(*table, printer, Condition::M2);
    EXPECT_TRUE(truth.contains("SPEC_700"));
    // Cyan, strip 2 place 3, is row 15 of the file.
    EXPECT_EQ(sheet.patch(2).reflectance, printer.print(table->samples.at(14).device)->reflectance);

    placement.reversed = true;
    const SheetModel reversed = chart->sheet(placement, 30.0);
    EXPECT_EQ(reversed.patch(0).reflectance, sheet.patch(4).reflectance);
    EXPECT_DOUBLE_EQ(reversed.farEdge(), sheet.farEdge());
    EXPECT_GT(reversed.patchCentre(0), sheet.patchCentre(0)) << "the long margin now comes first";

    placement.reversed = false;
    placement.smudged = {3};
    const SheetModel smudged = chart->sheet(placement, 30.0);
    EXPECT_EQ(smudged.patchCount(), 4 * 5);
    EXPECT_LT(mean(smudged.patch(8).reflectance), mean(smudged.patch(11).reflectance)) << "the smear fades out";
    EXPECT_EQ(smudged.patch(12).reflectance, sheet.patch(3).reflectance);

    QFile broken(dir.filePath(QStringLiteral("broken.ti2")));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("CTI2\nNUMBER_OF_FIELDS 7\nBEGIN_DATA_FORMAT\nSAMPLE_ID STRIP STRIP_PATCH CMYK_C CMYK_M CMYK_Y CMYK_K\n"
                 "END_DATA_FORMAT\nNUMBER_OF_SETS 2\nBEGIN_DATA\na 1 1 0 0 0 0\nb 1 3 0 0 0 0\nEND_DATA\n");
    broken.close();
    EXPECT_FALSE(PrintedChart::fromFile(broken.fileName(), printer, &error));
    EXPECT_TRUE(error.contains(QStringLiteral("gaps"))) << error.toStdString();
}

TEST(ChartTrack, NextStripComesAfterATraverseOnceTheHeadIsHomeAndMistakesHappenOnce)
{
    QTemporaryDir dir;
    const PrinterModel printer = *PrinterModel::named(QStringLiteral("offset"));
    QString error;
    auto chart = PrintedChart::fromFile(writeChart(dir), printer, &error);
    ASSERT_TRUE(chart);
    auto rig = std::make_shared<TrackRig>();
    ChartTrack track(createTrack(rig), rig, *chart, true);
    EXPECT_EQ(rig->sheet().patchCount(), 12);
    EXPECT_EQ(track.control(QStringLiteral("SIM sheet status")), QStringLiteral("SIM 0x00 strip 1 of 2"));

    // A short traverse and the way home: only then is strip 2 laid down.
    EXPECT_EQ(track.reply("150.00,20.0024xm"), QByteArray("<00>"));
    EXPECT_EQ(rig->sheet().patchCount(), 12) << "not while the head is out";
    QElapsedTimer timer;
    timer.start();
    while (track.reply("01pk") != "1" && timer.elapsed() < 5000) {
        track.reply("07xm");
        QThread::msleep(20);
    }
    track.reply("01pk");
    EXPECT_EQ(rig->sheet().patchCount(), 5);
    EXPECT_EQ(track.control(QStringLiteral("sheet next")).left(8), QStringLiteral("SIM 0x01")) << "there is no strip 3";

    // Strip 1 put back, but the wrong one and reversed; a second try is right.
    EXPECT_EQ(track.addFault(QStringLiteral("wrong 1 2")), QString());
    EXPECT_EQ(track.addFault(QStringLiteral("reversed 1")), QString());
    EXPECT_EQ(track.control(QStringLiteral("sheet 1")),
              QStringLiteral("SIM 0x00 strip 1 of 2, strip 2 placed instead, reversed"));
    EXPECT_EQ(rig->sheet().patch(0).reflectance, printer.print({0, 0, 100, 0})->reflectance);
    EXPECT_EQ(track.control(QStringLiteral("sheet 1")), QStringLiteral("SIM 0x00 strip 1 of 2"));
    // A smear stays on its printed strip until it is reprinted.
    EXPECT_EQ(track.control(QStringLiteral("sheet fault smudge 1 4")),
              QStringLiteral("SIM 0x00 strip 1 of 2, patch 4 smudged"));
    EXPECT_EQ(track.control(QStringLiteral("sheet 1")), QStringLiteral("SIM 0x00 strip 1 of 2, patch 4 smudged"));
    EXPECT_EQ(track.control(QStringLiteral("sheet fault clear")), QStringLiteral("SIM 0x00 strip 1 of 2"));
    EXPECT_EQ(track.addFault(QStringLiteral("wrong 1 9")).isEmpty(), false);
    EXPECT_EQ(track.control(QStringLiteral("park normal")), QStringLiteral("SIM 0x00 normal")) << "the track's own lines pass";
}
