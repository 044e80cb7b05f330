#include "illuminant.h"

#include "vireo2_colour.h"

namespace vireo2::cli::illuminant {

namespace {
const QChar kDegree(0x00B0);
}

QString name(int index)
{
    char buffer[16] = {};
    if (!Vireo2_IlluminantName(index, buffer, int(sizeof buffer)))
        return QString();
    return QString::fromUtf8(buffer);
}

QString displayName(int index)
{
    const QString text = name(index);
    return text.isEmpty() ? text : text + kDegree;
}

QStringList names()
{
    QStringList list;
    for (int index = 0; index < kCount; ++index)
        list << name(index);
    return list;
}

int parse(const QString& text)
{
    QString wanted = text.trimmed();
    if (wanted.endsWith(kDegree))
        wanted.chop(1);
    if (!wanted.isEmpty() && !wanted.contains(QLatin1Char('/')))
        wanted += QStringLiteral("/2");
    for (int index = 0; index < kCount; ++index) {
        if (name(index).compare(wanted, Qt::CaseInsensitive) == 0)
            return index;
    }
    return -1;
}

int fromOption(const QCommandLineParser& parser, const QString& option, QString* problem)
{
    const QString text = parser.isSet(option) ? parser.value(option) : name(kDefault);
    const int index = parse(text);
    if (index < 0)
        *problem = QStringLiteral("unknown illuminant '%1'; one of %2").arg(text, names().join(QStringLiteral(", ")));
    return index;
}

} // namespace vireo2::cli::illuminant
