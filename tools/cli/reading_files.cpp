#include "reading_files.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include "cgats_writer.h"

namespace vireo2::cli {

namespace {

constexpr int kBands = 31;

QVector<int> wavelengths()
{
    QVector<int> nm;
    for (int w = 400; w <= 700; w += 10)
        nm.append(w);
    return nm;
}

Measurement emptyReading(const QString& label)
{
    Measurement m;
    m.wavelengths = wavelengths();
    m.label = label;
    return m;
}

void addCondition(Measurement* m, const QString& name, const QVector<double>& percent)
{
    ConditionReading condition;
    condition.name = name;
    condition.percent = percent;
    m->conditions.append(condition);
}

QString fromJson(const QByteArray& bytes, int illuminantIndex, QVector<Measurement>* readings, QString* kind)
{
    QJsonParseError error{};
    const QJsonObject root = QJsonDocument::fromJson(bytes, &error).object();
    if (error.error != QJsonParseError::NoError)
        return QStringLiteral("not JSON: %1").arg(error.errorString());
    if (root.contains(QStringLiteral("patches"))) {
        *kind = QStringLiteral("strip");
        for (const auto& value : root.value(QStringLiteral("patches")).toArray()) {
            const QJsonObject patch = value.toObject();
            Measurement m = emptyReading(QStringLiteral("S%1P%2").arg(patch.value(QStringLiteral("sheet")).toInt())
                                             .arg(patch.value(QStringLiteral("patch")).toInt()));
            const QJsonObject spectra = patch.value(QStringLiteral("spectra")).toObject();
            for (auto it = spectra.begin(); it != spectra.end(); ++it) {
                QVector<double> percent;
                for (const auto& v : it.value().toArray())
                    percent.append(v.toDouble());
                addCondition(&m, it.key(), percent);
            }
            readings->append(m);
        }
        return QString();
    }
    *kind = QStringLiteral("spot");
    const QJsonArray run = root.value(QStringLiteral("readings")).toArray();
    const QJsonArray objects = root.contains(QStringLiteral("readings")) ? run : QJsonArray{root};
    for (int i = 0; i < objects.size(); ++i) {
        Measurement m;
        const QString problem = readMeasurementObject(objects.at(i).toObject(), illuminantIndex, &m);
        if (!problem.isEmpty())
            return objects.size() > 1 ? QStringLiteral("reading %1: %2").arg(i + 1).arg(problem) : problem;
        m.label = QStringLiteral("reading %1").arg(i + 1);
        readings->append(m);
    }
    return QString();
}

// A spot file of this version holds one condition per row and names it in
// the header; older spot files named each row by its condition, a reading
// being the rows up to the next repeat of a condition.
QString fromCgats(const QString& path, QVector<Measurement>* readings, QString* kind)
{
    CgatsTable table;
    if (const QString problem = readCgats(path, &table); !problem.isEmpty())
        return problem;
    if (table.wavelengths != wavelengths())
        return QStringLiteral("%1 has no 31 spectral columns (SPEC_400..SPEC_700)").arg(path);
    *kind = table.kind.isEmpty() ? QStringLiteral("spot") : table.kind;
    for (const CgatsSample& sample : table.samples) {
        if (!table.condition.isEmpty()) {
            QString label = sample.name;
            if (label.isEmpty())
                label = sample.time.isEmpty() ? QStringLiteral("sample %1").arg(sample.id)
                                              : QStringLiteral("reading %1").arg(sample.reading);
            Measurement m = emptyReading(label);
            m.taken = QDateTime::fromString(sample.time, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
            addCondition(&m, table.condition, sample.percent);
            readings->append(m);
            continue;
        }
        const QString condition = sample.name.section(QLatin1Char(' '), -1);
        if (condition.isEmpty())
            return QStringLiteral("%1 names neither its condition nor each sample's").arg(path);
        if (readings->isEmpty() || readings->last().condition(condition))
            readings->append(emptyReading(QStringLiteral("reading %1").arg(readings->size() + 1)));
        addCondition(&readings->last(), condition, sample.percent);
    }
    return QString();
}

QVector<double> numbers(const QStringList& cells, int from, int count)
{
    QVector<double> out;
    for (int i = from; i < from + count && i < cells.size(); ++i)
        out.append(cells.at(i).toDouble());
    return out;
}

QString fromCsv(const QList<QByteArray>& lines, const QString& path, QVector<Measurement>* readings, QString* kind)
{
    const QStringList header = QString::fromUtf8(lines.first()).trimmed().split(QLatin1Char(','));
    const int first = header.indexOf(QStringLiteral("nm400")) >= 0 ? header.indexOf(QStringLiteral("nm400"))
                                                                  : header.indexOf(QStringLiteral("400"));
    if (header.first() == QLatin1String("wavelength_nm")) { // measure --csv: a column per condition
        *kind = QStringLiteral("spot");
        Measurement m = emptyReading(QStringLiteral("reading 1"));
        for (int c = 1; c < header.size(); ++c) {
            QVector<double> percent;
            for (int row = 1; row < lines.size(); ++row)
                percent.append(QString::fromUtf8(lines.at(row)).split(QLatin1Char(',')).value(c).toDouble());
            addCondition(&m, header.at(c), percent);
        }
        readings->append(m);
        return QString();
    }
    if (first < 0 || header.size() < first + kBands)
        return QStringLiteral("%1 is no reading file of vireo2 (no spectral columns)").arg(path);
    const int idColumn = header.indexOf(QStringLiteral("id"));
    const int conditionColumn = header.indexOf(QStringLiteral("condition"));
    const int timeColumn = header.indexOf(QStringLiteral("time"));
    const bool strip = header.first() == QLatin1String("sheet");
    *kind = strip ? QStringLiteral("strip") : QStringLiteral("spot");
    QString lastId;
    for (int row = 1; row < lines.size(); ++row) {
        const QStringList cells = QString::fromUtf8(lines.at(row)).trimmed().split(QLatin1Char(','));
        if (cells.size() < first + kBands)
            return QStringLiteral("%1, line %2: fewer than 31 spectral values").arg(path).arg(row + 1);
        if (strip) {
            Measurement m = emptyReading(QStringLiteral("S%1P%2").arg(cells.at(0), cells.at(1)));
            addCondition(&m, QStringLiteral("strip"), numbers(cells, first, kBands));
            readings->append(m);
            continue;
        }
        if (idColumn < 0 || conditionColumn < 0)
            return QStringLiteral("%1 is no reading file of vireo2 (no id and condition columns)").arg(path);
        if (cells.at(idColumn) != lastId) {
            lastId = cells.at(idColumn);
            readings->append(emptyReading(QStringLiteral("reading %1").arg(lastId)));
            readings->last().taken = QDateTime::fromString(cells.value(timeColumn), Qt::ISODate);
        }
        addCondition(&readings->last(), cells.at(conditionColumn), numbers(cells, first, kBands));
    }
    return QString();
}

} // namespace

QString loadReadings(const QString& path, int illuminantIndex, QVector<Measurement>* readings, QString* kind)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    const QByteArray bytes = file.readAll();
    file.close();
    const QByteArray start = bytes.left(64).trimmed();
    QVector<Measurement> found;
    QString problem;
    if (start.startsWith('{'))
        problem = fromJson(bytes, illuminantIndex, &found, kind);
    else if (start.startsWith("CGATS") || start.startsWith("IT8") || start.startsWith("ORIGINATOR"))
        problem = fromCgats(path, &found, kind);
    else if (!bytes.trimmed().isEmpty())
        problem = fromCsv(bytes.trimmed().split('\n'), path, &found, kind);
    if (!problem.isEmpty())
        return problem.startsWith(path) ? problem : QStringLiteral("%1: %2").arg(path, problem);
    if (found.isEmpty())
        return QStringLiteral("%1 holds no readings").arg(path);
    for (Measurement& m : found) {
        if (const QString failed = m.recompute(illuminantIndex); !failed.isEmpty())
            return QStringLiteral("%1, %2: %3").arg(path, m.label, failed);
    }
    *readings = found;
    return QString();
}

} // namespace vireo2::cli
