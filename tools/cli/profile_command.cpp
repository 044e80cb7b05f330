// vireo2 profile store FILE.pro | show: the NetAdjuster correction profile.
// The file pair is checked before anything reaches the instrument, and the
// instrument's own state is read back after a store.
#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <cmath>
#include <cstring>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {
namespace {

// The layout of a profile file: version at 0, a variable block whose length
// is at 16, the creation time (an OLE date) after it, a second variable
// block, then 400 float32 values.
constexpr qint64 kMinimumSize = 1656;
constexpr qint64 kTableBytes = 1600;

qint32 int32At(const QByteArray& bytes, qint64 at) { return qFromLittleEndian<qint32>(bytes.constData() + at); }

double doubleAt(const QByteArray& bytes, qint64 at)
{
    const quint64 bits = qFromLittleEndian<quint64>(bytes.constData() + at);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float floatAt(const QByteArray& bytes, qint64 at)
{
    const quint32 bits = qFromLittleEndian<quint32>(bytes.constData() + at);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Why `path` is no usable profile file, or an empty text.
QString checkProfileFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    const QByteArray bytes = file.readAll();
    const qint64 size = bytes.size();
    if (size < kMinimumSize)
        return QStringLiteral("%1 is too short for a NetAdjuster profile (%2 bytes, at least %3)")
            .arg(path).arg(size).arg(kMinimumSize);
    const float version = floatAt(bytes, 0);
    if (!std::isfinite(version) || version <= 0.0f)
        return QStringLiteral("%1 holds no profile version: it is not a NetAdjuster profile").arg(path);
    const qint64 first = int32At(bytes, 16);
    if (first < 0 || 33 + first > size)
        return QStringLiteral("%1 is damaged: a block length points outside the file").arg(path);
    const double created = doubleAt(bytes, 20 + first);
    // Days since 1899-12-30: anything before 1990 or not finite is no creation time.
    if (!std::isfinite(created) || created < 32874.0 || created > 2958465.0)
        return QStringLiteral("%1 holds no valid creation time: it is not a NetAdjuster profile").arg(path);
    const qint64 second = int32At(bytes, 29 + first);
    const qint64 table = 33 + first + second;
    if (second < 0 || table + kTableBytes > size)
        return QStringLiteral("%1 is damaged: a block length points outside the file").arg(path);
    bool anyValue = false;
    for (qint64 at = table; at < table + kTableBytes; at += 4) {
        const float value = floatAt(bytes, at);
        if (!std::isfinite(value))
            return QStringLiteral("%1 is damaged: its correction table holds values that are not numbers").arg(path);
        anyValue = anyValue || value != 0.0f;
    }
    if (!anyValue)
        return QStringLiteral("%1 holds no correction data (its table is all zeros)").arg(path);
    return QString();
}

QString companionOf(const QString& path)
{
    return path.left(path.size() - 4) + QStringLiteral(".pr2");
}

int store(const Invocation& call, const QString& path)
{
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    if (!path.endsWith(QLatin1String(".pro"), Qt::CaseInsensitive))
        return usageError(QStringLiteral("name the profile's .pro file (its .pr2 companion is found beside it)"),
                          QStringLiteral("profile"));
    for (const QString& file : {path, companionOf(path)}) {
        if (!QFileInfo(file).isFile())
            return failure(QStringLiteral("no such file: %1 (a profile is a .pro and .pr2 pair)").arg(file));
        if (const QString problem = checkProfileFile(file); !problem.isEmpty())
            return failure(problem);
    }
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const QString answer = executeLine(QStringLiteral("storeprofile;") + path,
                                       QStringLiteral("Storing the NetAdjuster profile"), call.context.quiet);
    if (answer.isEmpty())
        return libraryFailure();
    const QString state = QString::fromUtf8(GetOption("netadjuster"));
    if (state != QLatin1String("ON"))
        return failure(QStringLiteral("the profile was sent, but the instrument reports NetAdjuster %1")
                           .arg(state.isEmpty() ? QStringLiteral("UNKNOWN") : state));
    printOut(QStringLiteral("Profile stored; NetAdjuster is ON\n"));
    return ExitOk;
}

int show(const Invocation& call)
{
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const QString answer = executeLine(QStringLiteral("retrieveprofile"),
                                       QStringLiteral("Reading the NetAdjuster profile"), call.context.quiet);
    if (answer.isEmpty())
        return libraryFailure();
    printOut(answer + QLatin1Char('\n'));
    return ExitOk;
}

int run(const Invocation& call)
{
    const QStringList& a = call.arguments;
    if (a.size() == 2 && a[0] == QLatin1String("store"))
        return store(call, a[1]);
    if (a.size() == 1 && a[0] == QLatin1String("show"))
        return show(call);
    return usageError(QStringLiteral("profile store FILE.pro | profile show"), QStringLiteral("profile"));
}

} // namespace

Subcommand profileCommand()
{
    Subcommand command;
    command.name = QStringLiteral("profile");
    command.synopsis = QStringLiteral("store FILE.pro | show");
    command.summary = QStringLiteral("Store or show the NetAdjuster correction profile");
    command.description = QStringLiteral(
        "store checks the profile pair FILE.pro and FILE.pr2, writes it into the\n"
        "instrument, commits it and reads the NetAdjuster state back; show prints the\n"
        "arrays the instrument holds.");
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
