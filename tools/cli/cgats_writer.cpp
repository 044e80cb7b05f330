#include "cgats_writer.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>
#include <lcms2.h>
#include <algorithm>
#include <memory>

// The table is written and read through Little CMS's IT8/CGATS functions, so
// the files follow the same grammar that colour-management tools parse. Every
// number is formatted here with QString::number, never by the C library's
// printf, so the host's locale cannot turn decimal points into commas.

namespace vireo2::cli {
namespace {

struct It8Deleter {
    void operator()(void* handle) const { cmsIT8Free(handle); }
};
using It8Handle = std::unique_ptr<void, It8Deleter>;

QStringList columnNames(const CgatsTable& table)
{
    QStringList names{QStringLiteral("SAMPLE_ID")};
    if (std::any_of(table.samples.begin(), table.samples.end(), [](const auto& s) { return !s.name.isEmpty(); }))
        names << QStringLiteral("SAMPLE_NAME");
    if (std::any_of(table.samples.begin(), table.samples.end(), [](const auto& s) { return !s.time.isEmpty(); }))
        names << QStringLiteral("READING") << QStringLiteral("TIME");
    names << QStringLiteral("LAB_L") << QStringLiteral("LAB_A") << QStringLiteral("LAB_B");
    for (int nm : table.wavelengths)
        names << QStringLiteral("SPEC_%1").arg(nm);
    return names;
}

QString property(void* it8, const char* key)
{
    const char* text = cmsIT8GetProperty(it8, key);
    return text ? QString::fromUtf8(text) : QString();
}

QString number(double value, int decimals) { return QString::number(value, 'f', decimals); }

void setProperty(void* it8, const char* key, const QString& value)
{
    cmsIT8SetPropertyStr(it8, key, value.toUtf8().constData());
}

void writeHeader(void* it8, const CgatsTable& table, int fieldCount)
{
    cmsIT8SetSheetType(it8, "CGATS.17");
    setProperty(it8, "ORIGINATOR", QStringLiteral("vireo2 " VIREO2_CLI_VERSION));
    setProperty(it8, "DESCRIPTOR", table.descriptor.isEmpty() ? QStringLiteral("Vireo2 measurement") : table.descriptor);
    setProperty(it8, "CREATED", QDateTime::currentDateTime().toString(Qt::ISODate));
    setProperty(it8, "INSTRUMENTATION", QStringLiteral("Vireo2"));
    QString source = QStringLiteral("Illumination=%1 ObserverAngle=%2").arg(table.illuminant, table.observer);
    if (!table.condition.isEmpty())
        source += QStringLiteral(" MeasurementCondition=%1").arg(table.condition);
    if (!table.kind.isEmpty())
        source += QStringLiteral(" Readings=%1").arg(table.kind);
    setProperty(it8, "MEASUREMENT_SOURCE", source);
    if (!table.wavelengths.isEmpty()) {
        setProperty(it8, "SPECTRAL_BANDS", QString::number(table.wavelengths.size()));
        setProperty(it8, "SPECTRAL_START_NM", QString::number(table.wavelengths.first()));
        setProperty(it8, "SPECTRAL_END_NM", QString::number(table.wavelengths.last()));
        setProperty(it8, "SPECTRAL_NORM", QStringLiteral("100"));
    }
    cmsIT8SetPropertyDbl(it8, "NUMBER_OF_FIELDS", fieldCount);
    cmsIT8SetPropertyDbl(it8, "NUMBER_OF_SETS", table.samples.size());
}

QStringList rowCells(const CgatsSample& sample, bool withName, bool withTime)
{
    QStringList cells{sample.id};
    if (withName)
        cells << sample.name;
    if (withTime)
        cells << QString::number(sample.reading) << sample.time;
    for (double v : sample.lab)
        cells << number(v, 4);
    for (double v : sample.percent)
        cells << number(v, 4);
    return cells;
}

} // namespace

QString writeCgats(const CgatsTable& table, const QString& path)
{
    const QStringList columns = columnNames(table);
    const bool withName = columns.contains(QStringLiteral("SAMPLE_NAME"));
    const bool withTime = columns.contains(QStringLiteral("TIME"));
    for (const auto& sample : table.samples) {
        if (sample.percent.size() != table.wavelengths.size())
            return QStringLiteral("sample %1 has %2 spectral values for %3 wavelengths")
                .arg(sample.id).arg(sample.percent.size()).arg(table.wavelengths.size());
    }
    It8Handle it8(cmsIT8Alloc(nullptr));
    if (!it8)
        return QStringLiteral("cannot allocate a CGATS table");
    writeHeader(it8.get(), table, columns.size());
    for (int c = 0; c < columns.size(); ++c)
        cmsIT8SetDataFormat(it8.get(), c, columns.at(c).toLatin1().constData());
    for (int row = 0; row < table.samples.size(); ++row) {
        const QStringList cells = rowCells(table.samples.at(row), withName, withTime);
        for (int c = 0; c < cells.size(); ++c)
            cmsIT8SetDataRowCol(it8.get(), row, c, cells.at(c).toUtf8().constData());
    }
    if (!cmsIT8SaveToFile(it8.get(), QFile::encodeName(path).constData()))
        return QStringLiteral("cannot write %1").arg(path);
    return QString();
}

QString readCgats(const QString& path, CgatsTable* table)
{
    if (!QFile::exists(path))
        return QStringLiteral("%1 does not exist").arg(path);
    cmsSetLogErrorHandler(nullptr);
    It8Handle it8(cmsIT8LoadFromFile(nullptr, QFile::encodeName(path).constData()));
    if (!it8)
        return QStringLiteral("%1 is not a CGATS file").arg(path);
    char** names = nullptr;
    const int fieldCount = cmsIT8EnumDataFormat(it8.get(), &names);
    int idColumn = -1, nameColumn = -1, readingColumn = -1, timeColumn = -1;
    std::array<int, 3> labColumns{-1, -1, -1};
    QVector<int> spectralColumns;
    CgatsTable result;
    for (int c = 0; c < fieldCount; ++c) {
        const QString name = QString::fromLatin1(names[c]);
        if (name == QLatin1String("SAMPLE_ID"))
            idColumn = c;
        else if (name == QLatin1String("SAMPLE_NAME"))
            nameColumn = c;
        else if (name == QLatin1String("READING"))
            readingColumn = c;
        else if (name == QLatin1String("TIME"))
            timeColumn = c;
        else if (name == QLatin1String("LAB_L"))
            labColumns[0] = c;
        else if (name == QLatin1String("LAB_A"))
            labColumns[1] = c;
        else if (name == QLatin1String("LAB_B"))
            labColumns[2] = c;
        else if (name.startsWith(QLatin1String("SPEC_")) || name.startsWith(QLatin1String("nm"))) {
            bool ok = false;
            const int nm = name.mid(name.startsWith(QLatin1Char('n')) ? 2 : 5).toInt(&ok);
            if (ok) {
                result.wavelengths << nm;
                spectralColumns << c;
            }
        }
    }
    if (labColumns[0] < 0 || labColumns[1] < 0 || labColumns[2] < 0)
        return QStringLiteral("%1 has no LAB_L, LAB_A and LAB_B columns").arg(path);
    const int rows = static_cast<int>(cmsIT8GetPropertyDbl(it8.get(), "NUMBER_OF_SETS"));
    auto cell = [&](int row, int column) {
        const char* text = cmsIT8GetDataRowCol(it8.get(), row, column);
        return text ? QString::fromUtf8(text) : QString();
    };
    for (int row = 0; row < rows; ++row) {
        CgatsSample sample;
        sample.id = idColumn >= 0 ? cell(row, idColumn) : QString::number(row + 1);
        if (nameColumn >= 0)
            sample.name = cell(row, nameColumn);
        if (readingColumn >= 0)
            sample.reading = cell(row, readingColumn).toInt();
        if (timeColumn >= 0)
            sample.time = cell(row, timeColumn);
        for (int k = 0; k < 3; ++k)
            sample.lab[k] = cell(row, labColumns[k]).toDouble();
        for (int column : spectralColumns)
            sample.percent << cell(row, column).toDouble();
        result.samples << sample;
    }
    result.descriptor = property(it8.get(), "DESCRIPTOR");
    const QString source = property(it8.get(), "MEASUREMENT_SOURCE");
    for (const QString& part : source.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (part.startsWith(QLatin1String("Illumination=")))
            result.illuminant = part.section(QLatin1Char('='), 1);
        else if (part.startsWith(QLatin1String("ObserverAngle=")))
            result.observer = part.section(QLatin1Char('='), 1);
        else if (part.startsWith(QLatin1String("MeasurementCondition=")))
            result.condition = part.section(QLatin1Char('='), 1);
        else if (part.startsWith(QLatin1String("Readings=")))
            result.kind = part.section(QLatin1Char('='), 1);
    }
    *table = result;
    return QString();
}

namespace {
QString checkMatches(const CgatsTable& existing, const CgatsTable& table, const QString& path)
{
    if (existing.kind != table.kind || existing.condition != table.condition || existing.illuminant != table.illuminant
        || existing.observer != table.observer)
        return QStringLiteral("%1 holds %2; these are %3: name another file, or match its settings")
            .arg(path, describeTable(existing), describeTable(table));
    return QString();
}
} // namespace

QString checkCgatsAppend(const CgatsTable& table, const QString& path)
{
    if (!QFile::exists(path))
        return QString();
    CgatsTable existing;
    const QString error = readCgats(path, &existing);
    return error.isEmpty() ? checkMatches(existing, table, path) : error;
}

QString appendCgats(CgatsTable table, const QString& path)
{
    if (!QFile::exists(path))
        return writeCgats(table, path);
    CgatsTable existing;
    const QString error = readCgats(path, &existing);
    if (!error.isEmpty())
        return error;
    if (const QString problem = checkMatches(existing, table, path); !problem.isEmpty())
        return problem;
    if (existing.wavelengths != table.wavelengths || columnNames(existing) != columnNames(table))
        return QStringLiteral("%1 has other columns than these readings: name another file").arg(path);
    int lastId = 0;
    for (const auto& sample : existing.samples)
        lastId = qMax(lastId, sample.id.toInt());
    for (auto& sample : table.samples) {
        bool numeric = false;
        sample.id.toInt(&numeric);
        if (numeric || sample.id.isEmpty())
            sample.id = QString::number(++lastId);
    }
    existing.samples += table.samples;
    if (!table.descriptor.isEmpty())
        existing.descriptor = table.descriptor;
    return writeCgats(existing, path);
}

QString describeTable(const CgatsTable& table)
{
    const QString kind = table.kind.isEmpty() ? QStringLiteral("readings") : table.kind + QStringLiteral(" readings");
    const QString condition = table.condition.isEmpty() ? QStringLiteral("all conditions") : table.condition;
    return QStringLiteral("%1 of %2 under %3/%4").arg(kind, condition, table.illuminant, table.observer);
}

} // namespace vireo2::cli
