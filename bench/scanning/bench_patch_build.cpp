// How long patch building takes on the densest traverses, in process: a
// sheet of 3 mm patches filling the 1,060 mm traverse at the 45 mm/s that
// width sets (about 2,200 readings, 330 patches), and the same traverse at
// 10.2 mm/s (about 9,400 readings), as the simulator would read them (90
// readings a second through the 2 mm aperture, the head accelerating,
// cruising and braking). Building includes the grid fit that checks the
// walk. Median and range of 15 runs each; the goal is below 5 ms.
#include <QElapsedTimer>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "scanning/measurement_records.h"
#include "scanning/patch_builder.h"
#include "scanning/vireo2_scanning.h"
#include "sheet_model.h"

using namespace vireo2;

namespace {

constexpr double kAcceleration = 1500.0;  // mm/s², as the simulated track
constexpr double kNoise = 0.0005;
constexpr int kRuns = 15;

QStringList chart(int count, unsigned seed)
{
    static const char* const kNames[] = {"black", "grey:0.05", "TCS12", "grey:0.8", "yellow", "TCS05", "cyan",
                                         "magenta", "red", "blue", "TCS09", "green", "grey:0.2", "grey:0.4"};
    std::mt19937 random(seed);
    QStringList names;
    while (names.size() < count)
        names << QLatin1String(kNames[random() % 14]);
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

ScanRecordList readings(const sim::SheetModel& sheet, const MotionProfile& motion)
{
    ScanRecordList records;
    const double tick = MotionProfile::kTickSeconds;
    quint64 seed = 17;
    for (double t = 0.0; t <= motion.d * tick + 0.1; t += 1.0 / Vireo2Scanning::kSampleRate) {
        ScanRecord record;
        record[ScanRecord::kTimeStamp] = std::round(t / tick * 10.0) / 10.0;
        const double position = motion.position(record[ScanRecord::kTimeStamp]);
        for (int set = 0; set < 4; ++set) {
            const QVector<double> values = sheet.reading(position, 2.0, sim::Condition(set), seed += 7919, kNoise);
            for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
                record.spectral(set, i) = values[i] * 100.0;
        }
        records.push_back(record);
    }
    return records;
}

void time(const char* what, double speed)
{
    const double width = 3.0;
    const int count = int((Vireo2Scanning::kMaximumTraverse - 80.0) / width);
    QString error;
    const auto sheet = sim::SheetModel::fromNames(chart(count, 7), width, &error);
    const MotionProfile motion = traverseProfile(speed, Vireo2Scanning::kMaximumTraverse);
    ScanRecordList records = readings(*sheet, motion);
    prepareRecords(records, motion);
    std::array<double, 3> paper{};
    paperFromMargin(records, &paper);
    fillDeltaE(records, paper);
    const PatchBuilder::Input input{count, width, paper, motion.b, motion.c};
    std::vector<double> ms;
    PatchBuilder::Result result;
    for (int run = 0; run < kRuns; ++run) {
        PatchBuilder builder(input, [](const char*) {});
        QElapsedTimer timer;
        timer.start();
        builder.build(records, &result);
        ms.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    std::printf("| %s | %.1f | %zu | %d | %zu | 0x%02x | %.3f (%.3f-%.3f) |\n", what, speed, records.size(), count,
                result.patches.size(), result.quality.strip, ms[ms.size() / 2], ms.front(), ms.back());
}

} // namespace

int main()
{
    std::printf("Patch building, 1,060 mm traverse of 3 mm patches (in process), %d runs each\n\n", kRuns);
    std::printf("| traverse | speed mm/s | readings | patches | built | strip flags | build ms median (min-max) |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    time("densest real (3 mm sets 45 mm/s)", 45.0);
    time("four times denser", 10.2);
    return 0;
}
