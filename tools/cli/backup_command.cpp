// vireo2 backup FILE / vireo2 restore FILE: the instrument's whole
// configuration (a clone) saved to a file and loaded back.
#include <QFile>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"

namespace vireo2::cli {
namespace {

int runBackup(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("backup takes the file to write"), QStringLiteral("backup"));
    const QString path = call.arguments.first();
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    // The library adds to an existing file; a backup starts a fresh one.
    if (QFile::exists(path) && !QFile::remove(path))
        return failure(QStringLiteral("cannot replace %1").arg(path));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return libraryFailure();
    const QString answer = executeLine(QStringLiteral("userprofileget;") + path, QStringLiteral("Saving the instrument"),
                                       call.context.quiet);
    if (answer != QLatin1String("CLONE 0x00"))
        return answer.isEmpty() ? libraryFailure() : failure(QStringLiteral("the instrument answered %1").arg(answer));
    if (!call.context.quiet)
        printErr(QStringLiteral("Backup written: %1 (%2 bytes)\n").arg(path).arg(QFile(path).size()));
    return ExitOk;
}

int runRestore(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("restore takes the backup file"), QStringLiteral("restore"));
    const QString path = call.arguments.first();
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    if (!QFile::exists(path))
        return failure(QStringLiteral("no such file: %1").arg(path));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return libraryFailure();
    const QString answer = executeLine(QStringLiteral("userprofileset;") + path, QStringLiteral("Restoring the instrument"),
                                       call.context.quiet);
    if (!answer.contains(QLatin1String("0x00")))
        return answer.isEmpty() ? libraryFailure() : failure(QStringLiteral("the instrument answered %1").arg(answer));
    printOut(answer + QLatin1Char('\n'));
    return ExitOk;
}

} // namespace

Subcommand backupCommand()
{
    Subcommand command;
    command.name = QStringLiteral("backup");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Save the instrument's whole configuration to a file");
    command.description = QStringLiteral("Writes the instrument's clone image to FILE (replaced if it exists).");
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
    command.description = QStringLiteral("Sends FILE to the instrument and restores its configuration from it.");
    command.connects = true;
    command.run = runRestore;
    return command;
}

} // namespace vireo2::cli
