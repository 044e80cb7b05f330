#pragma once

#include <QString>
#include <QVector>

#include "measurement.h"

namespace vireo2::cli {

// The colour differences of one condition of a sample against the same
// condition of a reference, under the sample's illuminant.
struct ConditionDifference {
    QString condition;
    double de76 = 0.0;
    double de94 = 0.0;   // graphic arts
    double de2000 = 0.0;
    double cmc = 0.0;    // CMC 2:1
};

// One entry per condition that both readings have, in the sample's order.
QVector<ConditionDifference> compareReadings(const Measurement& reference, const Measurement& sample);

// "ΔE to reference" rows: condition, ΔE76, ΔE94, ΔE2000, CMC(2:1).
QString differenceTable(const QVector<ConditionDifference>& differences);

// The mean of each formula per condition over several comparisons.
QVector<ConditionDifference> meanDifferences(const QVector<QVector<ConditionDifference>>& runs);

// Loads a reference: the first reading of any file vireo2 writes (see
// loadReadings). Empty text on success.
QString loadReference(const QString& path, int illuminantIndex, Measurement* reference);

} // namespace vireo2::cli
