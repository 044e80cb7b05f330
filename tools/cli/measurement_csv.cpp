#include "measurement_formats.h"

#include <QStringList>

namespace vireo2::cli {

QString measurementCsv(const Measurement& m)
{
    QStringList header{QStringLiteral("wavelength_nm")};
    for (const auto& condition : m.conditions)
        header << condition.name;
    QString out = header.join(QLatin1Char(',')) + QLatin1Char('\n');
    for (int i = 0; i < m.wavelengths.size(); ++i) {
        QStringList cells{QString::number(m.wavelengths.at(i))};
        for (const auto& condition : m.conditions)
            cells << QString::number(condition.percent.at(i), 'f', 4);
        out += cells.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return out;
}

} // namespace vireo2::cli
