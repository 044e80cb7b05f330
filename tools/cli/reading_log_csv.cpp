#include "reading_log_csv.h"

#include <QFile>
#include <QStringList>

namespace vireo2::cli {

namespace {

QString headerLine(const Measurement& reading)
{
    QStringList cells{QStringLiteral("id"), QStringLiteral("time"), QStringLiteral("condition"),
                      QStringLiteral("X"), QStringLiteral("Y"), QStringLiteral("Z"),
                      QStringLiteral("L"), QStringLiteral("a"), QStringLiteral("b")};
    for (int nm : reading.wavelengths)
        cells << QStringLiteral("nm%1").arg(nm);
    return cells.join(QLatin1Char(','));
}

// The id of the file's last row, 0 for a file with only its header.
int lastId(const QByteArray& content)
{
    const QList<QByteArray> lines = content.trimmed().split('\n');
    if (lines.size() < 2)
        return 0;
    return lines.last().split(',').first().toInt();
}

} // namespace

QString appendReadingCsv(const QString& path, const Measurement& reading)
{
    QFile file(path);
    const bool exists = file.exists() && file.size() > 0;
    QByteArray content;
    if (exists) {
        if (!file.open(QIODevice::ReadOnly))
            return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        content = file.readAll();
        file.close();
        const QByteArray firstLine = content.left(content.indexOf('\n')).trimmed();
        if (firstLine != headerLine(reading).toUtf8())
            return QStringLiteral("%1 is not a reading log of this form (its first line differs)").arg(path);
    }
    QString rows = exists ? QString() : headerLine(reading) + QLatin1Char('\n');
    const int id = lastId(content) + 1;
    const QString time = reading.taken.toString(Qt::ISODate);
    for (const auto& condition : reading.conditions) {
        QStringList cells{QString::number(id), time, condition.name};
        for (double v : condition.xyz)
            cells << QString::number(v, 'f', 4);
        for (double v : condition.lab())
            cells << QString::number(v, 'f', 4);
        for (double v : condition.percent)
            cells << QString::number(v, 'f', 4);
        rows += cells.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(rows.toUtf8()) < 0)
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return QString();
}

} // namespace vireo2::cli
