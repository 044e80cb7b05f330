#include <QFileInfo>
#include <QVector>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "console.h"
#include "subcommand.h"

namespace vireo2::cli {

namespace {

// The simulator is its own program, installed beside vireo2; the command-line
// host stays a pure user of the library's public interface.
QString simulatorProgram(const QString& programFile)
{
    return QFileInfo(programFile).absolutePath() + QStringLiteral("/vireo2-sim");
}

bool asksForHelp(const QStringList& arguments)
{
    return arguments.contains(QStringLiteral("-h")) || arguments.contains(QStringLiteral("--help"));
}

// Replaces this process by the simulator, so it runs in the foreground with
// this process's id, terminal and signals (Ctrl-C stops it).
int execute(const QString& program, const QStringList& arguments)
{
    QVector<QByteArray> storage{QFile::encodeName(program)};
    for (const QString& argument : arguments)
        storage << argument.toLocal8Bit();
    QVector<char*> argv;
    for (QByteArray& bytes : storage)
        argv << bytes.data();
    argv << nullptr;
    ::execv(argv.first(), argv.data());
    return failure(QStringLiteral("cannot start %1: %2").arg(program, QString::fromLocal8Bit(std::strerror(errno))));
}

int run(const Invocation& call)
{
    const QString program = simulatorProgram(call.context.programFile);
    if (!QFileInfo(program).isExecutable())
        return failure(QStringLiteral("the simulator is not installed beside vireo2 (%1)").arg(program));
    if (asksForHelp(call.arguments))
        printOut(QStringLiteral("Usage: vireo2 sim [options]\n\n"
                                "Runs the instrument simulator (%1) in the foreground until Ctrl-C.\n"
                                "It prints \"vireo2-sim listening on 127.0.0.1:PORT\" once ready. Point the\n"
                                "library at it with 'vireo2 --tcp 127.0.0.1:PORT status'. Reference:\n"
                                "docs/simulator.md. The simulator's own options follow.\n\n")
                     .arg(program));
    return execute(program, call.arguments);
}

} // namespace

Subcommand simCommand()
{
    Subcommand command;
    command.name = QStringLiteral("sim");
    command.summary = QStringLiteral("Run the instrument simulator in the foreground");
    command.passThrough = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
