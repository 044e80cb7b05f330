// How well a track scan recovers the sheets users print, end to end: each
// sheet is written as a chart file, vireo2-sim plays it on its simulated
// track in its own process (the track's own motion, readings at a random
// sampling phase per sheet), the library scans it through the public
// exports, and every patch read back is compared with the sheet's own
// spectrum at the same index. Correct: ΔE00 ≤ 1 (M2, D50/2). Flagged: the
// patch or its strip carries a VIREO2_SCAN_SUSPECT flag. Silent-wrong: not
// correct and not flagged, the one failure a user cannot see.
//
// Charts: C, M, Y and K tint ramps from 10 % in 10 % steps (light first),
// random charts that start or end with light tints, near-paper tints, long
// runs of dark neutrals a ΔE00 or two apart, grey steps, repeated colours,
// and every kind also placed reversed.
//
//   bench_patch_recovery [--patches N] [--widths 3,4,...] [--seed S]
// N patches per width (default 1000). The traverses run in real time: the
// full size takes about half an hour.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

#include "instrument_spectra.h"
#include "sheet_model.h"
#include "sim_process.h"
#include "vireo2.h"
#include "vireo2_colour.h"

using namespace vireo2;

namespace {

constexpr double kCorrect = 1.0;  // ΔE00
constexpr int kD50Observer2 = 4;
constexpr int kStatusReady = 3;
constexpr double kEdge = 30.0, kMargin = 10.0;

using Spectrum = QVector<double>;

// A chart as the simulator's chart files name its patches.
struct Chart {
    QString kind;
    QStringList patches;
};

QString tint(const char* ink, double coverage)
{
    return QStringLiteral("tint:%1:%2").arg(QLatin1String(ink)).arg(coverage, 0, 'f', 3);
}

QString grey(double factor)
{
    return QStringLiteral("grey:%1").arg(factor, 0, 'f', 4);
}

class ChartMaker {
public:
    explicit ChartMaker(unsigned seed) : random_(seed) {}

    // Kinds 0 to 4 as printed, 5 to 9 the same placed reversed.
    Chart make(int kind, int count)
    {
        Chart chart;
        switch (kind % 5) {
        case 0: chart = ramps(count); break;
        case 1: chart = lightEnds(count); break;
        case 2: chart = darkRuns(count); break;
        case 3: chart = nearPaper(count); break;
        default: chart = mixed(count); break;
        }
        if ((kind / 5) % 2 == 1) {
            std::reverse(chart.patches.begin(), chart.patches.end());
            chart.kind += QStringLiteral(" reversed");
        }
        return chart;
    }

private:
    double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(random_); }
    int pick(int n) { return int(random_() % unsigned(n)); }

    QString anyColour()
    {
        static const char* const kInks[] = {"cyan", "magenta", "yellow", "red", "green", "blue", "black"};
        switch (pick(4)) {
        case 0: return tint(kInks[pick(7)], uniform(0.1, 1.0));
        case 1: return grey(uniform(0.03, 0.85));
        case 2: return QStringLiteral("TCS%1").arg(1 + pick(14), 2, 10, QLatin1Char('0'));
        default: return tint(kInks[pick(6)], uniform(0.1, 0.4));
        }
    }

    // C, M, Y and K ramps, 10 % to 100 %, one after the other.
    Chart ramps(int count)
    {
        static const char* const kInks[] = {"cyan", "magenta", "yellow", "black"};
        Chart chart{QStringLiteral("tint ramps"), {}};
        for (int i = 0; chart.patches.size() < count; ++i)
            chart.patches << tint(kInks[(i / 10) % 4], 0.1 * (i % 10 + 1));
        return chart;
    }

    // Light tints at both ends, colours repeated two to four times between.
    Chart lightEnds(int count)
    {
        static const char* const kLight[] = {"yellow", "cyan", "magenta"};
        Chart chart{QStringLiteral("light ends, repeats"), {}};
        chart.patches << tint(kLight[pick(3)], 0.1);
        while (chart.patches.size() < count - 1) {
            const QString colour = anyColour();
            for (int repeat = pick(4) == 0 ? 2 + pick(3) : 1; repeat > 0 && chart.patches.size() < count - 1; --repeat)
                chart.patches << colour;
        }
        chart.patches << grey(uniform(0.6, 0.75));
        return chart;
    }

    // Runs of 8 to 16 dark neutrals, neighbours about ΔE00 1 to 3 apart.
    Chart darkRuns(int count)
    {
        Chart chart{QStringLiteral("dark runs"), {}};
        while (chart.patches.size() < count) {
            double factor = uniform(0.01, 0.03);
            for (int run = 8 + pick(9); run > 0 && chart.patches.size() < count; --run) {
                chart.patches << grey(factor);
                factor *= uniform(1.08, 1.2);
            }
            if (chart.patches.size() < count)
                chart.patches << anyColour();
        }
        return chart;
    }

    // Tints of 2 to 8 %, a few ΔE00 from the paper, among other colours.
    Chart nearPaper(int count)
    {
        static const char* const kInks[] = {"cyan", "magenta", "yellow", "black"};
        Chart chart{QStringLiteral("near-paper tints"), {}};
        while (chart.patches.size() < count) {
            chart.patches << tint(kInks[pick(4)], uniform(0.02, 0.08));
            if (pick(3) == 0 && chart.patches.size() < count)
                chart.patches << anyColour();
        }
        return chart;
    }

    Chart mixed(int count)
    {
        Chart chart{QStringLiteral("mixed"), {}};
        while (chart.patches.size() < count)
            chart.patches << anyColour();
        return chart;
    }

    std::mt19937 random_;
};

bool writeChart(const Chart& chart, double width, const QString& path)
{
    const QJsonArray patches = QJsonArray::fromStringList(chart.patches);
    const QJsonObject root{{QStringLiteral("width"), width}, {QStringLiteral("edge"), kEdge},
                           {QStringLiteral("margin"), kMargin}, {QStringLiteral("farMargin"), kMargin},
                           {QStringLiteral("patches"), patches}};
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(root).toJson()) > 0;
}

struct Tally {
    int patches = 0, correct = 0, flagged = 0, silentWrong = 0, flaggedStrips = 0, sheets = 0;
    double worstSilent = 0.0;
};

std::array<double, 3> lab(const double* percent)
{
    std::array<double, 3> out{};
    Vireo2_SpectrumToLab(percent, kD50Observer2, 0, out.data());
    return out;
}

Spectrum readPatch(int p)
{
    Spectrum out;
    for (const QString& word : QString::fromUtf8(ScanGetData(p, 2)).split(QLatin1Char(' '), Qt::SkipEmptyParts))
        out << word.toDouble();
    return out;
}

// One sheet through a fresh simulator; false when the simulator did not start.
bool scanSheet(const Chart& chart, double width, double phase, const QString& dir, Tally* tally)
{
    const QString path = dir + QStringLiteral("/sheet.json");
    if (!writeChart(chart, width, path))
        return false;
    const double length = kEdge + 2 * kMargin + chart.patches.size() * width + 25.0;
    bench::SimProcess sim(bench::simulatorProgram());
    if (!sim.start({QStringLiteral("--track"), QStringLiteral("0"), QStringLiteral("--sheet"), path,
                    QStringLiteral("--track-length"), QString::number(length, 'f', 1), QStringLiteral("--sampling-phase"),
                    QString::number(phase, 'f', 3)})) {
        std::fprintf(stderr, "vireo2-sim did not start\n");
        return false;
    }
    Execute("setmodel;vireotr3");
    SetOption("connection_method", "TCP");
    SetOption("device_ip_address", sim.address().constData());
    SetOption("tr3_address", sim.trackAddress().constData());
    const int count = chart.patches.size();
    bool ok = Connect() && ScanConfig(count, float(width)) && ScanStart() &&
              QString::fromUtf8(Execute("autoscanstart")) == QLatin1String("<00>");
    int status = 2;
    QElapsedTimer timer;
    timer.start();
    while (ok && (status == 2 || status == 0) && timer.elapsed() < 120000) {
        QThread::msleep(100);
        status = ScanGetStatus();
    }
    if (!ok || status != kStatusReady) {
        // A scan that fails says so: all its patches count as flagged.
        std::fprintf(stderr, "  %s, %.0f mm: scan failed (status %d): %d %s\n", qPrintable(chart.kind), width, status,
                     GetLastErrorCode(), GetLastErrorString());
        ++tally->sheets;
        ++tally->flaggedStrips;
        tally->patches += chart.patches.size();
        tally->flagged += chart.patches.size();
        Disconnect();
        return true;
    }
    const int strip = ScanGetQuality(-1);
    const bool stripSuspect = (strip & VIREO2_SCAN_SUSPECT) != 0;
    const int read = ScanGetCount();
    ++tally->sheets;
    tally->flaggedStrips += stripSuspect ? 1 : 0;
    if (stripSuspect && qEnvironmentVariableIsSet("VIREO2_BENCH_DETAIL"))
        std::fprintf(stderr, "  flagged: %s, %.0f mm, phase %.2f, %d patches, %d read, strip 0x%02x\n", qPrintable(chart.kind),
                     width, phase, count, read, strip);
    for (int p = 0; p < count; ++p) {
        ++tally->patches;
        const bool flagged = stripSuspect || (p < read && (ScanGetQuality(p) & VIREO2_SCAN_SUSPECT) != 0);
        double de = 100.0;
        if (p < read) {
            const Spectrum measured = readPatch(p);
            Spectrum truth =
                sim::measuredSpectrum(*sim::SheetModel::namedSample(chart.patches.at(p)), sim::Condition::M2, 0, 0.0);
            for (double& v : truth)
                v *= 100.0;
            if (measured.size() == sim::kBandCount) {
                const auto a = lab(truth.constData()), b = lab(measured.constData());
                Vireo2_DeltaE2000(a.data(), b.data(), &de);
            }
        }
        const bool correct = de <= kCorrect;
        tally->correct += correct ? 1 : 0;
        tally->flagged += flagged ? 1 : 0;
        if (!correct && !flagged) {
            ++tally->silentWrong;
            tally->worstSilent = std::max(tally->worstSilent, de);
            if (qEnvironmentVariableIsSet("VIREO2_BENCH_DETAIL"))
                std::fprintf(stderr, "  silent: %s, %.0f mm, phase %.2f, patch %d of %d: dE00 %.2f\n",
                             qPrintable(chart.kind), width, phase, p, count, de);
        }
    }
    Disconnect();
    return true;
}

QList<double> parseWidths(const QString& text)
{
    QList<double> widths;
    for (const QString& word : text.split(QLatin1Char(','), Qt::SkipEmptyParts))
        widths << word.toDouble();
    return widths;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    int perWidth = 1000;
    unsigned seed = 2026;
    QList<double> widths{3, 4, 5, 6, 7, 8, 10, 12, 15, 20};
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--patches"))
            perWidth = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--widths"))
            widths = parseWidths(args[i + 1]);
        else if (args[i] == QLatin1String("--seed"))
            seed = args[i + 1].toUInt();
    }
    QTemporaryDir dir;
    std::mt19937 random(seed);
    ChartMaker maker(seed);
    std::printf("Patch recovery end to end: vireo2-sim's track (own motion, random sampling phase per sheet) read "
                "through the exports; correct = dE00 <= 1 (M2, D50/2) at the same index\n\n");
    std::printf("| width mm | sheets | patches | correct %% | flagged %% | silent-wrong | flagged sheets |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    int kind = 0;
    for (double width : widths) {
        Tally tally;
        while (tally.patches < perWidth) {
            // Strips of 20 to 60 patches, as long as the track allows.
            const int room = int((1000.0 - kEdge - 2 * kMargin) / width);
            const int count = std::min({20 + int(random() % 41u), room, perWidth - tally.patches + 5});
            const Chart chart = maker.make(kind++, std::max(count, 5));
            const double phase = std::uniform_real_distribution<double>(0.0, 1.0)(random);
            if (!scanSheet(chart, width, phase, dir.path(), &tally))
                return 1;
        }
        std::printf("| %.0f | %d | %d | %.1f | %.1f | %d | %d |\n", width, tally.sheets, tally.patches,
                    100.0 * tally.correct / tally.patches, 100.0 * tally.flagged / tally.patches, tally.silentWrong,
                    tally.flaggedStrips);
        std::fflush(stdout);
    }
    return 0;
}
