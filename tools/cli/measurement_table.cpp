#include "measurement_formats.h"

#include <QStringList>

#include "illuminant.h"

namespace vireo2::cli {

namespace {
constexpr int kLabelWidth = 6;
constexpr int kColumnWidth = 9;

QString number(double value, int decimals) { return QString::number(value, 'f', decimals); }

QString row(const QString& label, const QStringList& cells)
{
    QString line = label.rightJustified(kLabelWidth);
    for (const QString& cell : cells)
        line += cell.rightJustified(kColumnWidth);
    return line + QLatin1Char('\n');
}

QString header(const Measurement& m, const QString& label)
{
    QStringList names;
    for (const auto& condition : m.conditions)
        names << condition.name;
    return row(label, names);
}

QString spectraSection(const Measurement& m)
{
    QString out = QStringLiteral("Reflectance (%)\n") + header(m, QStringLiteral("nm"));
    for (int i = 0; i < m.wavelengths.size(); ++i) {
        QStringList cells;
        for (const auto& condition : m.conditions)
            cells << number(condition.percent.at(i), 2);
        out += row(QString::number(m.wavelengths.at(i)), cells);
    }
    return out;
}

QString colourSection(const Measurement& m)
{
    static const char* const labels[] = {"L*", "a*", "b*", "C*", "h"};
    QString out = QStringLiteral("CIE L*a*b* and LCh, illuminant/observer %1\n").arg(illuminant::displayName(m.illuminant))
                + header(m, QString());
    for (int k = 0; k < 5; ++k) {
        QStringList cells;
        for (const auto& condition : m.conditions)
            cells << number(condition.lch[size_t(k)], 2);
        out += row(QString::fromLatin1(labels[k]), cells);
    }
    out += QStringLiteral("\nCIE XYZ and Yxy\n") + header(m, QString());
    const char* const xyzLabels[] = {"X", "Y", "Z"};
    for (int k = 0; k < 3; ++k) {
        QStringList cells;
        for (const auto& condition : m.conditions)
            cells << number(condition.xyz[size_t(k)], 2);
        out += row(QString::fromLatin1(xyzLabels[k]), cells);
    }
    const char* const chromaticityLabels[] = {"x", "y"};
    for (int k = 0; k < 2; ++k) {
        QStringList cells;
        for (const auto& condition : m.conditions)
            cells << number(condition.yxy()[size_t(k + 1)], 4);
        out += row(QString::fromLatin1(chromaticityLabels[k]), cells);
    }
    return out;
}
} // namespace

QString measurementTable(const Measurement& m)
{
    const QString source = m.instrument.model.isEmpty() && m.instrument.serial.isEmpty()
                               ? QStringLiteral("Saved reading")
                               : QStringLiteral("%1 %2").arg(m.instrument.model, m.instrument.serial);
    const QString title = QStringLiteral("%1, %2 measurement conditions\n\n").arg(source).arg(m.conditions.size());
    return title + spectraSection(m) + QLatin1Char('\n') + colourSection(m);
}

QString readingSummary(const Measurement& m, const QString& title)
{
    QString out = title;
    if (m.taken.isValid())
        out += QStringLiteral(", ") + m.taken.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    out += QLatin1Char('\n');
    for (const auto& c : m.conditions) {
        out += QStringLiteral("%1  L* %2  a* %3  b* %4   X %5  Y %6  Z %7   x %8  y %9\n")
                   .arg(c.name.rightJustified(4))
                   .arg(c.lch[0], 6, 'f', 2).arg(c.lch[1], 7, 'f', 2).arg(c.lch[2], 7, 'f', 2)
                   .arg(c.xyz[0], 6, 'f', 2).arg(c.xyz[1], 6, 'f', 2).arg(c.xyz[2], 6, 'f', 2)
                   .arg(c.yxy()[1], 6, 'f', 4).arg(c.yxy()[2], 6, 'f', 4);
    }
    return out;
}

} // namespace vireo2::cli
