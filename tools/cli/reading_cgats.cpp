#include "reading_cgats.h"

#include "illuminant.h"

namespace vireo2::cli {

CgatsTable spotReadingTable(int illuminantIndex, const QString& condition)
{
    CgatsTable table;
    table.descriptor = QStringLiteral("Vireo2 spot readings");
    const QString name = illuminant::name(illuminantIndex);
    table.illuminant = name.section(QLatin1Char('/'), 0, 0);
    table.observer = name.section(QLatin1Char('/'), 1);
    table.condition = condition;
    table.kind = QStringLiteral("spot");
    for (int nm = 400; nm <= 700; nm += 10)
        table.wavelengths.append(nm);
    return table;
}

QString readingTime(const QDateTime& taken)
{
    return taken.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

QString appendSpotReading(const QString& path, const Measurement& reading, const QString& condition, int number)
{
    const ConditionReading* values = reading.condition(condition);
    if (!values)
        return QStringLiteral("the reading has no condition %1").arg(condition);
    CgatsTable table = spotReadingTable(reading.illuminant, condition);
    if (!reading.instrument.serial.isEmpty())
        table.descriptor += QStringLiteral(", serial %1").arg(reading.instrument.serial);
    CgatsSample sample;
    sample.id = QStringLiteral("1");
    sample.lab = values->lab();
    sample.percent = values->percent;
    sample.reading = number;
    sample.time = readingTime(reading.taken);
    table.samples.append(sample);
    return appendCgats(table, path);
}

} // namespace vireo2::cli
