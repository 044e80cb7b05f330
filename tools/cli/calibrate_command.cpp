#include "console.h"
#include "execute_call.h"
#include "instrument_info.h"
#include "instrument_session.h"
#include "library_error.h"
#include "progress.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
int run(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("calibrate takes no arguments"), QStringLiteral("calibrate"));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    clearErrorCode();
    if (!withProgress(QStringLiteral("Calibrating on the white standard..."), call.context.quiet,
                      [] { return Calibrate(); }))
        return libraryFailure();
    const int status = GetCalStatus();
    printOut(QStringLiteral("Calibration: %1\n").arg(calibrationText(status)));
    if (status != 0)
        return failure(QStringLiteral("the calibration ran, but the instrument reports it as '%1'")
                           .arg(calibrationText(status)));
    return ExitOk;
}
} // namespace

Subcommand calibrateCommand()
{
    Subcommand command;
    command.name = QStringLiteral("calibrate");
    command.summary = QStringLiteral("Run the white calibration");
    command.description = QStringLiteral(
        "Connects and runs the white calibration. Place the instrument on its white\n"
        "calibration standard first. Prints the calibration status afterwards.");
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
