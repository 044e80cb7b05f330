#include "execute_call.h"

#include "progress.h"
#include "vireo2.h"

namespace vireo2::cli {

QString executeLine(const QString& line, const QString& progress, bool quiet)
{
    const QByteArray utf8 = line.toUtf8();
    if (progress.isEmpty())
        return QString::fromUtf8(Execute(utf8.constData()));
    Progress shown(progress, quiet);
    const QString answer = QString::fromUtf8(Execute(utf8.constData()));
    shown.finish(!answer.isEmpty());
    return answer;
}

QString checkArgument(const QString& argument, const QString& what)
{
    if (!argument.contains(QLatin1Char(';')))
        return QString();
    return QStringLiteral("%1 cannot contain \";\": the library's command line is cut there").arg(what);
}

QString payloadOf(const QString& answer)
{
    const int bar = answer.indexOf(QLatin1Char('|'));
    return bar < 0 ? QString() : answer.mid(bar + 1);
}

} // namespace vireo2::cli
