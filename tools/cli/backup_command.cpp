// vireo2 backup FILE / vireo2 restore FILE: the instrument's whole
// configuration (a clone) saved to a file and loaded back.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <sys/stat.h>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "output_path.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {
namespace {

const QString kYes = QStringLiteral("yes");
const QString kCloneDone = QStringLiteral("CLONE 0x00");
// The library ends a clone transfer after 60 s and still answers success
// with whatever arrived by then.
constexpr qint64 kCloneDeadlineMs = 59500;

int runBackup(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("backup takes the file to write"), QStringLiteral("backup"));
    const QString path = call.arguments.first();
    if (const QString problem = checkWritable(path); !problem.isEmpty())
        return failure(problem);
    // The library appends to the file it is given; the clone goes to a fresh
    // file beside the target, which replaces the target only once complete,
    // so a failed backup leaves an earlier one untouched.
    QTemporaryFile partial(QFileInfo(path).absolutePath() + QStringLiteral("/.vireo2-backup-XXXXXX"));
    if (!partial.open())
        return failure(QStringLiteral("cannot write in %1: %2").arg(QFileInfo(path).absolutePath(), partial.errorString()));
    partial.close();
    if (const QString problem = checkArgument(partial.fileName(), QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    QElapsedTimer timer;
    timer.start();
    const QString answer = executeLine(QStringLiteral("userprofileget;") + partial.fileName(),
                                       QStringLiteral("Saving the instrument"), call.context.quiet,
                                       [](const QString& a) { return a == kCloneDone; });
    if (answer.isEmpty())
        return libraryFailure();
    if (answer != kCloneDone)
        return replyFailure(QStringLiteral("the backup failed"), answer);
    if (timer.elapsed() >= kCloneDeadlineMs)
        return failure(QStringLiteral("the instrument did not finish sending its configuration within 60 s: "
                                      "the backup would be incomplete, so none was written"));
    const qint64 size = QFileInfo(partial.fileName()).size();
    if (size <= 0)
        return failure(QStringLiteral("the instrument sent no configuration data: no backup was written"));
    QFile::remove(path);
    if (!partial.rename(path))
        return failure(QStringLiteral("cannot write %1: %2").arg(path, partial.errorString()));
    partial.setAutoRemove(false);
    // A temporary file is private to its owner; a backup gets the usual permissions.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(QFile::encodeName(path).constData(), 0666 & ~mask);
    printOut(QStringLiteral("Backup written: %1 (%2 bytes)\n").arg(path).arg(size));
    return ExitOk;
}

int runRestore(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("restore takes the backup file"), QStringLiteral("restore"));
    const QString path = call.arguments.first();
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    const QFileInfo file(path);
    if (!file.isFile())
        return failure(QStringLiteral("no such file: %1").arg(path));
    if (file.size() == 0)
        return failure(QStringLiteral("%1 is empty: it holds no configuration to restore").arg(path));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    if (!call.parser.isSet(kYes)
        && !confirm(QStringLiteral("Restore %1 (%2 bytes) onto the instrument %3? Its configuration, libraries "
                                   "and templates are replaced.")
                        .arg(path).arg(file.size()).arg(QString::fromUtf8(GetSerialNum()))))
        return failure(QStringLiteral("not restored (answer y, or add --yes to restore without asking)"));
    const QString answer = executeLine(QStringLiteral("userprofileset;") + path, QStringLiteral("Restoring the instrument"),
                                       call.context.quiet, [](const QString& a) { return a == kCloneDone; });
    if (answer.isEmpty())
        return libraryFailure();
    if (answer != kCloneDone)
        return replyFailure(QStringLiteral("the restore failed"), answer);
    printOut(QStringLiteral("Restored from %1\n").arg(path));
    return ExitOk;
}

} // namespace

Subcommand backupCommand()
{
    Subcommand command;
    command.name = QStringLiteral("backup");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Save the instrument's whole configuration to a file");
    command.description = QStringLiteral(
        "Writes the instrument's clone image to FILE. An existing FILE is replaced only\n"
        "once the whole image has arrived; a failed backup leaves it as it was.");
    command.connects = true;
    command.run = runBackup;
    return command;
}

Subcommand restoreCommand()
{
    Subcommand command;
    command.name = QStringLiteral("restore");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Load a configuration saved with 'vireo2 backup'");
    command.description = QStringLiteral(
        "Sends FILE to the instrument and restores its configuration from it, replacing\n"
        "what the instrument holds. Asks before it starts unless --yes is given.");
    command.options = {QCommandLineOption(kYes, QStringLiteral("Restore without asking."))};
    command.connects = true;
    command.run = runRestore;
    return command;
}

} // namespace vireo2::cli
