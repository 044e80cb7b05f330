#pragma once

#include <QStringList>
#include <cmath>

#include "scanning/measurement_records.h"
#include "scanning/patch_builder.h"
#include "scanning/vireo2_scanning.h"
#include "sheet_model.h"

namespace vireo2::test {

// A traverse as the track and instrument make it: the head accelerates at
// 1,500 mm/s², runs at the speed the width sets and brakes; the instrument
// reads 90 times a second, starting `phase` of an interval after the head
// starts, through the 2 mm aperture that mixes neighbours at every boundary.
// `speedError` makes the head run that much faster than the engine's motion
// model assumes (0.01: 1 % fast), as a worn track would.
struct RealisticTraverse {
    static constexpr double kAcceleration = 1500.0;
    static constexpr double kAperture = 2.0;

    sim::SheetModel sheet;
    double phase = 0.0;
    double speedError = 0.0;
    double noise = 0.0005;

    static sim::SheetModel sheetOf(const QStringList& names, double width)
    {
        QString error;
        return *sim::SheetModel::fromNames(names, width, &error);
    }

    double width() const { return sheet.layout().patchWidth; }
    double speed() const
    {
        return std::min((width() - Vireo2Scanning::kMargin) * Vireo2Scanning::kSampleRate / Vireo2Scanning::kSamplesPerPatch,
                        Vireo2Scanning::kMaximumSpeed);
    }

    static MotionProfile profile(double speed, double length)
    {
        const double rampS = speed / kAcceleration;
        const double cruiseS = (length - speed * rampS) / speed;
        const double tick = MotionProfile::kTickSeconds;
        return MotionProfile{0.0, rampS / tick, (rampS + cruiseS) / tick, (2.0 * rampS + cruiseS) / tick, speed, 0.0};
    }

    // The readings as the engine prepares them (positions from its own
    // model of the motion), and the building input for `count` patches.
    ScanRecordList records(PatchBuilder::Input* input, int count = -1) const
    {
        const double length = sheet.farEdge() + 20.0;
        const MotionProfile model = profile(speed(), length);
        const MotionProfile real = profile(speed() * (1.0 + speedError), length * (1.0 + speedError));
        const double tick = MotionProfile::kTickSeconds;
        ScanRecordList list;
        quint64 seed = 11;
        for (double t = phase / Vireo2Scanning::kSampleRate; t <= model.d * tick; t += 1.0 / Vireo2Scanning::kSampleRate) {
            ScanRecord record;
            record[ScanRecord::kTimeStamp] = t / tick;
            const double at = real.position(t / tick);
            for (int set = 0; set < ScanRecord::kSetCount; ++set) {
                const QVector<double> values = sheet.reading(at, kAperture, sim::Condition(set), seed += 7919, noise);
                for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
                    record.spectral(set, i) = 100.0 * values[i];
            }
            list.push_back(record);
        }
        prepareRecords(list, model);
        std::array<double, 3> paper{};
        paperFromMargin(list, &paper);
        fillDeltaE(list, paper);
        *input = PatchBuilder::Input{count < 0 ? sheet.patchCount() : count, width(), paper, model.b, model.c};
        return list;
    }
};

} // namespace vireo2::test
