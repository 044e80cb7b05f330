#include "reading_statistics.h"

#include <QStringList>
#include <cmath>

#include "illuminant.h"

namespace vireo2::cli {

namespace {

// Sample standard deviation (n − 1); 0 for a single value.
double standardDeviation(const QVector<double>& values, double mean)
{
    if (values.size() < 2)
        return 0.0;
    double sum = 0.0;
    for (double v : values)
        sum += (v - mean) * (v - mean);
    return std::sqrt(sum / (values.size() - 1));
}

double meanOf(const QVector<double>& values)
{
    double sum = 0.0;
    for (double v : values)
        sum += v;
    return values.isEmpty() ? 0.0 : sum / values.size();
}

QString cell(double mean, double sd, int decimals)
{
    return (QString::number(mean, 'f', decimals) + QStringLiteral(" ±") + QString::number(sd, 'f', decimals))
        .rightJustified(16);
}

} // namespace

QString readingStatistics(const QVector<Measurement>& readings, ReadingStatistics* statistics)
{
    if (readings.isEmpty())
        return QStringLiteral("no readings to average");
    ReadingStatistics result;
    result.count = readings.size();
    result.mean = readings.first();
    const int conditionCount = readings.first().conditions.size();
    for (const auto& reading : readings) {
        if (reading.conditions.size() != conditionCount)
            return QStringLiteral("the readings have different measurement conditions");
    }
    for (int c = 0; c < conditionCount; ++c) {
        QVector<double> sd;
        ConditionReading& mean = result.mean.conditions[c];
        for (int i = 0; i < mean.percent.size(); ++i) {
            QVector<double> values;
            for (const auto& reading : readings)
                values.append(reading.conditions.at(c).percent.value(i));
            mean.percent[i] = meanOf(values);
            sd.append(standardDeviation(values, mean.percent[i]));
        }
        result.percentSd.append(sd);
        std::array<double, 3> labSd{};
        for (int k = 0; k < 3; ++k) {
            QVector<double> values;
            for (const auto& reading : readings)
                values.append(reading.conditions.at(c).lch[size_t(k)]);
            labSd[size_t(k)] = standardDeviation(values, meanOf(values));
        }
        result.labSd.append(labSd);
    }
    const QString problem = result.mean.recompute(result.mean.illuminant);
    if (!problem.isEmpty())
        return problem;
    *statistics = result;
    return QString();
}

QString statisticsTable(const ReadingStatistics& s)
{
    const Measurement& m = s.mean;
    QString head = QStringLiteral("nm").rightJustified(6);
    for (const auto& condition : m.conditions)
        head += condition.name.rightJustified(16);
    QString out = QStringLiteral("Average of %1 readings, mean ± standard deviation\n\nReflectance (%)\n").arg(s.count)
                  + head + QLatin1Char('\n');
    for (int i = 0; i < m.wavelengths.size(); ++i) {
        QString line = QString::number(m.wavelengths.at(i)).rightJustified(6);
        for (int c = 0; c < m.conditions.size(); ++c)
            line += cell(m.conditions.at(c).percent.at(i), s.percentSd.at(c).at(i), 2);
        out += line + QLatin1Char('\n');
    }
    out += QStringLiteral("\nCIE L*a*b*, illuminant/observer %1 (mean of the spectra ± spread of the readings)\n")
               .arg(illuminant::displayName(m.illuminant));
    out += QString(6, QLatin1Char(' ')) + head.mid(6) + QLatin1Char('\n');
    const char* const labels[] = {"L*", "a*", "b*"};
    for (int k = 0; k < 3; ++k) {
        QString line = QString::fromLatin1(labels[k]).rightJustified(6);
        for (int c = 0; c < m.conditions.size(); ++c)
            line += cell(m.conditions.at(c).lch[size_t(k)], s.labSd.at(c)[size_t(k)], 2);
        out += line + QLatin1Char('\n');
    }
    return out;
}

} // namespace vireo2::cli
