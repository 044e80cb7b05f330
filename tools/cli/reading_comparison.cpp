#include "reading_comparison.h"

#include <QFile>
#include <algorithm>
#include <QMap>
#include <QStringList>

#include "cgats_writer.h"
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

// A CGATS file of `vireo2 measure --cgats` names each sample by its
// condition ("M1" or "3 M1"); the first sample of each condition is taken.
QString referenceFromCgats(const QString& path, int illuminantIndex, Measurement* reference)
{
    CgatsTable table;
    const QString problem = readCgats(path, &table);
    if (!problem.isEmpty())
        return problem;
    if (table.wavelengths.size() != 31)
        return QStringLiteral("%1 has no 31 spectral columns (SPEC_400..SPEC_700)").arg(path);
    Measurement result;
    result.wavelengths = table.wavelengths;
    for (const auto& sample : table.samples) {
        const QString name = sample.name.section(QLatin1Char(' '), -1);
        if (name.isEmpty() || result.condition(name))
            continue;
        ConditionReading condition;
        condition.name = name;
        condition.percent = sample.percent;
        result.conditions.append(condition);
    }
    if (result.conditions.isEmpty())
        return QStringLiteral("%1 has no samples named by condition").arg(path);
    const QString recomputed = result.recompute(illuminantIndex);
    if (recomputed.isEmpty())
        *reference = result;
    return recomputed;
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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read the reference %1: %2").arg(path, file.errorString());
    const QByteArray start = file.peek(64).trimmed();
    if (start.startsWith('{'))
        return readMeasurementJson(file.readAll(), illuminantIndex, reference);
    file.close();
    return referenceFromCgats(path, illuminantIndex, reference);
}

} // namespace vireo2::cli
