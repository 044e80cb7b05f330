// How well patch building recovers simulated sheets: for each patch width, a
// sheet of dark, light, saturated and neutral patches is "scanned" the way the
// simulator does it (90 readings a second through a 2 mm aperture, the head
// accelerating, cruising at the speed the width sets and braking), the
// readings become records and patches are built. Reported per width: patches
// found / on the sheet (the record in a patch's place within ΔE00 2 of it), the largest CIEDE2000 between a found patch's M2
// colour and the truth, the largest position error, and the building time
// (median and spread of 7 runs). Then the building time of a full 1,060 mm
// traverse of 9,500 records.
//
// This measures the algorithm, not the wire: readings are generated in
// process, with no sockets, no packets and no waiting for the head.
#include <QElapsedTimer>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "colour/colorimetry.h"
#include "colour/colour_difference.h"
#include "scanning/measurement_records.h"
#include "scanning/patch_builder.h"
#include "scanning/vireo2_scanning.h"
#include "sheet_model.h"

using namespace vireo2;

namespace {

constexpr double kAcceleration = 1500.0;  // mm/s², as the simulated track
constexpr double kNoise = 0.0005;
constexpr int kD50 = 4;
constexpr int kRuns = 7;
constexpr double kFound = 2.0;  // ΔE00

const char* const kDark[] = {"black", "grey:0.05", "TCS12"};
const char* const kLight[] = {"grey:0.8", "yellow", "TCS05"};
const char* const kSaturated[] = {"cyan", "magenta", "red", "blue", "TCS09", "green"};
const char* const kNeutral[] = {"grey:0.2", "grey:0.4", "grey:0.1"};

QStringList chart(int count, unsigned seed)
{
    std::mt19937 random(seed);
    QStringList names{QStringLiteral("black")};
    while (names.size() < count) {
        QString next;
        switch (random() % 4) {
        case 0: next = QLatin1String(kDark[random() % 3]); break;
        case 1: next = QLatin1String(kLight[random() % 3]); break;
        case 2: next = QLatin1String(kSaturated[random() % 6]); break;
        default: next = QLatin1String(kNeutral[random() % 3]); break;
        }
        // A chart never prints the same colour twice in a row: two equal
        // neighbours have no boundary to find (see docs/scanning.md).
        if (next != names.last())
            names << next;
    }
    names.last() = QStringLiteral("black");  // the row ends in ink, not paper
    return names;
}

MotionProfile traverseProfile(double speed, double length)
{
    const double rampS = speed / kAcceleration;
    const double rampMm = 0.5 * speed * rampS;
    const double cruiseS = (length - 2.0 * rampMm) / speed;
    const double tick = MotionProfile::kTickSeconds;
    return MotionProfile{0.0, rampS / tick, (rampS + cruiseS) / tick, (2.0 * rampS + cruiseS) / tick, speed, 0.0};
}

ScanRecordList scan(const sim::SheetModel& sheet, const MotionProfile& motion, double rate)
{
    ScanRecordList records;
    const double tick = MotionProfile::kTickSeconds;
    const double end = motion.d * tick;
    quint64 seed = 17;
    for (double t = 0.0; t <= end + 0.1; t += 1.0 / rate) {
        ScanRecord record;
        record[ScanRecord::kTimeStamp] = std::round(t / tick * 10.0) / 10.0;
        const double position = motion.position(record[ScanRecord::kTimeStamp]);
        for (int set = 0; set < 4; ++set) {
            const QVector<double> values =
                sheet.reading(position, 2.0, sim::Condition(set), seed += 7919, kNoise);
            for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
                record.spectral(set, i) = values[i] * 100.0;
        }
        records.push_back(record);
    }
    return records;
}

struct Outcome {
    int found = 0;
    double worstDe00 = 0.0;
    double worstDelta = 0.0;
    std::vector<double> buildMs;
};

std::array<double, 3> labOf(const double* percent)
{
    const colour::Triple lab = colour::SpectrumToLab(percent, kD50, false);
    return {lab[0], lab[1], lab[2]};
}

Outcome recover(const sim::SheetModel& sheet, double width, double speed, const ScanRecordList& raw,
                const MotionProfile& motion)
{
    Outcome outcome;
    ScanRecordList records = raw;
    prepareRecords(records, motion);
    std::array<double, 3> paper{};
    paperFromMargin(records, &paper);
    fillDeltaE(records, paper);
    PatchBuilder::Input input{sheet.patchCount(), width, paper, motion.b, motion.c};

    PatchBuilder::Result result;
    for (int run = 0; run < kRuns; ++run) {
        PatchBuilder builder(input, [](const char*) {});
        QElapsedTimer timer;
        timer.start();
        builder.build(records, &result);
        outcome.buildMs.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    (void)speed;
    // Building walks the row in order: patch j of the list is patch j of the sheet.
    for (size_t j = 0; j < result.patches.size() && int(j) < sheet.patchCount(); ++j) {
        const ScanRecord& patch = result.patches[j];
        const double error = (patch[ScanRecord::kPosition] - sheet.patchCentre(int(j))) / width;
        QVector<double> truth = sim::measuredSpectrum(sheet.patch(int(j)), sim::Condition::M2, 0, 0.0);
        for (double& value : truth)
            value *= 100.0;
        const auto expected = labOf(truth.constData());
        const auto measured = labOf(patch.spectrum(2));
        const double de = colour::DeltaE2000(expected.data(), measured.data());
        // Found: the record in the patch's place has the patch's colour.
        if (de <= kFound)
            ++outcome.found;
        if (std::getenv("VIREO2_BENCH_DETAIL") && de > 1.0)
            std::printf("  patch %zu %s: dE00 %.2f, error %.2f widths, delta %.2f, ripple %.2f, sync %.0f\n", j,
                        qPrintable(sheet.patch(int(j)).name), de, error, patch[ScanRecord::kDelta],
                        patch[ScanRecord::kRipple], patch[ScanRecord::kSync]);
        outcome.worstDe00 = std::max(outcome.worstDe00, de);
        outcome.worstDelta = std::max(outcome.worstDelta, std::abs(error));
    }
    return outcome;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main()
{
    std::printf("Patch recovery on simulated sheets (in process: no sockets, no packets, no real-time traverse)\n\n");
    std::printf("| width mm | speed mm/s | patches | found | max dE00 (M2) | max position error (widths) | build ms median (min-max) |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    for (double width : {3.0, 4.0, 6.0, 8.0, 12.0, 20.0}) {
        const double speed = std::min((width - Vireo2Scanning::kMargin) * Vireo2Scanning::kSampleRate /
                                          Vireo2Scanning::kSamplesPerPatch,
                                      Vireo2Scanning::kMaximumSpeed);
        for (int wanted : {10, 100}) {
            const int count = std::min(wanted, int((Vireo2Scanning::kMaximumTraverse - 80.0) / width));
            QString error;
            auto sheet = sim::SheetModel::fromNames(chart(count, unsigned(width * 100 + count)), width, &error);
            if (!sheet) {
                std::printf("sheet: %s\n", qPrintable(error));
                return 1;
            }
            const double length = std::min(sheet->farEdge() + 20.0, Vireo2Scanning::kMaximumTraverse);
            const MotionProfile motion = traverseProfile(speed, length);
            const ScanRecordList raw = scan(*sheet, motion, Vireo2Scanning::kSampleRate);
            const Outcome outcome = recover(*sheet, width, speed, raw, motion);
            const auto [least, most] = std::minmax_element(outcome.buildMs.begin(), outcome.buildMs.end());
            std::printf("| %.0f | %.1f | %d | %d | %.2f | %.2f | %.3f (%.3f-%.3f) |\n", width, speed, count, outcome.found,
                        outcome.worstDe00, outcome.worstDelta, median(outcome.buildMs), *least, *most);
        }
    }

    // A full traverse at the records' density that 9,500 readings give.
    QString error;
    auto sheet = sim::SheetModel::fromNames(chart(300, 7), 3.0, &error);
    const MotionProfile motion = traverseProfile(10.2, Vireo2Scanning::kMaximumTraverse);
    const ScanRecordList raw = scan(*sheet, motion, Vireo2Scanning::kSampleRate);
    const Outcome outcome = recover(*sheet, 3.0, 10.2, raw, motion);
    const auto [least, most] = std::minmax_element(outcome.buildMs.begin(), outcome.buildMs.end());
    std::printf("\nFull 1060 mm traverse: %zu records, build %.3f ms median (%.3f-%.3f) over %d runs (goal < 5 ms)\n",
                raw.size(), median(outcome.buildMs), *least, *most, kRuns);
    return 0;
}
