#include "reading_log_csv.h"

#include <QFile>
#include <QStringList>

#include "illuminant.h"

namespace vireo2::cli {

namespace {

constexpr int kIlluminantColumn = 2;

QByteArray headerLine()
{
    QStringList cells{QStringLiteral("id"), QStringLiteral("time"), QStringLiteral("illuminant"),
                      QStringLiteral("condition"), QStringLiteral("X"), QStringLiteral("Y"), QStringLiteral("Z"),
                      QStringLiteral("L"), QStringLiteral("a"), QStringLiteral("b")};
    for (int nm = 400; nm <= 700; nm += 10)
        cells << QStringLiteral("nm%1").arg(nm);
    return cells.join(QLatin1Char(',')).toUtf8();
}

// The file's lines; an empty list for a file that is absent or empty.
QString readLines(const QString& path, QList<QByteArray>* lines)
{
    QFile file(path);
    if (!file.exists() || file.size() == 0)
        return QString();
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    *lines = file.readAll().trimmed().split('\n');
    return QString();
}

} // namespace

QString checkReadingCsv(const QString& path, int illuminantIndex)
{
    QList<QByteArray> lines;
    if (const QString problem = readLines(path, &lines); !problem.isEmpty() || lines.isEmpty())
        return problem;
    if (lines.first().trimmed() != headerLine())
        return QStringLiteral("%1 is not a reading log of this form (its first line differs): name another file")
            .arg(path);
    const QString name = illuminant::name(illuminantIndex);
    for (int i = 1; i < lines.size(); ++i) {
        const QString held = QString::fromUtf8(lines.at(i).split(',').value(kIlluminantColumn));
        if (held != name)
            return QStringLiteral("%1 holds readings under %2; these are under %3: name another file, or use "
                                  "--illuminant %2")
                .arg(path, held, name);
    }
    return QString();
}

QString appendReadingCsv(const QString& path, const Measurement& reading)
{
    if (const QString problem = checkReadingCsv(path, reading.illuminant); !problem.isEmpty())
        return problem;
    QList<QByteArray> lines;
    if (const QString problem = readLines(path, &lines); !problem.isEmpty())
        return problem;
    QByteArray rows = lines.isEmpty() ? headerLine() + '\n' : QByteArray();
    const int id = lines.size() < 2 ? 1 : lines.last().split(',').first().toInt() + 1;
    const QString time = reading.taken.toString(Qt::ISODate);
    for (const auto& condition : reading.conditions) {
        QStringList cells{QString::number(id), time, illuminant::name(reading.illuminant), condition.name};
        for (double v : condition.xyz)
            cells << QString::number(v, 'f', 4);
        for (double v : condition.lab())
            cells << QString::number(v, 'f', 4);
        for (double v : condition.percent)
            cells << QString::number(v, 'f', 4);
        rows += cells.join(QLatin1Char(',')).toUtf8() + '\n';
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(rows) != rows.size())
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return QString();
}

} // namespace vireo2::cli
