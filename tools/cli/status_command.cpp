#include <QJsonDocument>

#include "console.h"
#include "instrument_info.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"

namespace vireo2::cli {

namespace {
int run(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("status takes no arguments"), QStringLiteral("status"));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const InstrumentInfo info = InstrumentInfo::read(session.target());
    if (call.parser.isSet(QStringLiteral("json")))
        printOut(QString::fromUtf8(QJsonDocument(info.toJson()).toJson(QJsonDocument::Indented)));
    else
        printOut(info.toText());
    return ExitOk;
}
} // namespace

Subcommand statusCommand()
{
    Subcommand command;
    command.name = QStringLiteral("status");
    command.summary = QStringLiteral("Connect and show what the instrument reports");
    command.description = QStringLiteral(
        "Connects and prints the instrument's model, serial number, firmware version,\n"
        "aperture, calibration status and measurement attributes.");
    command.options = {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print one JSON object."))};
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
