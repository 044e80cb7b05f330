#include "reading_comparison.h"

#include <algorithm>
#include <QMap>
#include <QStringList>

#include "reading_files.h"
#include "vireo2_colour.h"

namespace vireo2::cli {

namespace {

QString number(double value) { return QString::number(value, 'f', 2).rightJustified(9); }

ConditionDifference difference(const ConditionReading& reference, const ConditionReading& sample)
{
    const auto ref = reference.lab();
    const auto smp = sample.lab();
    ConditionDifference d;
    d.condition = sample.name;
    Vireo2_DeltaE76(ref.data(), smp.data(), &d.de76);
    Vireo2_DeltaE94(ref.data(), smp.data(), 0, &d.de94);
    Vireo2_DeltaE2000(ref.data(), smp.data(), &d.de2000);
    Vireo2_DeltaECMC(ref.data(), smp.data(), 2.0, 1.0, &d.cmc);
    return d;
}

} // namespace

QVector<ConditionDifference> compareReadings(const Measurement& reference, const Measurement& sample)
{
    QVector<ConditionDifference> out;
    for (const auto& condition : sample.conditions) {
        if (const ConditionReading* match = reference.condition(condition.name))
            out.append(difference(*match, condition));
    }
    return out;
}

QString differenceTable(const QVector<ConditionDifference>& differences)
{
    QString out = QStringLiteral("%1%2%3%4%5\n")
                      .arg(QString().leftJustified(6), QStringLiteral("dE76").rightJustified(9),
                           QStringLiteral("dE94").rightJustified(9), QStringLiteral("dE2000").rightJustified(9),
                           QStringLiteral("CMC2:1").rightJustified(9));
    for (const auto& d : differences)
        out += d.condition.rightJustified(6) + number(d.de76) + number(d.de94) + number(d.de2000) + number(d.cmc)
               + QLatin1Char('\n');
    return out;
}

QVector<ConditionDifference> meanDifferences(const QVector<QVector<ConditionDifference>>& runs)
{
    QVector<ConditionDifference> sums;
    QMap<QString, int> counts;
    for (const auto& run : runs) {
        for (const auto& d : run) {
            auto it = std::find_if(sums.begin(), sums.end(), [&](const auto& s) { return s.condition == d.condition; });
            if (it == sums.end()) {
                sums.append(ConditionDifference{d.condition});
                it = sums.end() - 1;
            }
            it->de76 += d.de76;
            it->de94 += d.de94;
            it->de2000 += d.de2000;
            it->cmc += d.cmc;
            ++counts[d.condition];
        }
    }
    for (auto& s : sums) {
        const double n = counts.value(s.condition);
        s.de76 /= n;
        s.de94 /= n;
        s.de2000 /= n;
        s.cmc /= n;
    }
    return sums;
}

QString loadReference(const QString& path, int illuminantIndex, Measurement* reference)
{
    QVector<Measurement> readings;
    QString kind;
    const QString problem = loadReadings(path, illuminantIndex, &readings, &kind);
    if (problem.isEmpty())
        *reference = readings.first();
    return problem;
}

} // namespace vireo2::cli
