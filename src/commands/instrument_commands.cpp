// Small commands that ask or tell the instrument one thing, and the fixed
// answers of the command table.
#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

// The instrument answers "BATTERY 0x00 <percent> <CHARGING|DISCHARGING>";
// the value part is the battery state text.
const QString kBatteryQuery = QStringLiteral("battery get state");

} // namespace

QString getSignature(CommandContext&)
{
    throw ArgumentFault{errors::kInvalidCommand};
}

// Clones are not taken or restored as direct commands: the answer is a
// failure without an error of its own.
QString backupOrRestore(CommandContext&)
{
    return QString();
}

// The two forms users write:
//  - sendcommand;COMMAND[;TIMEOUT]: the fields are what they say; a timeout
//    that is not a whole number is refused rather than sent as text;
//  - sendcommand COMMAND [TIMEOUT]: a last word that is a positive number is
//    the timeout, otherwise part of the command.
// Timeouts below 3 s are raised to 3 s. The answer is the instrument's raw
// reply.
QString sendCommand(CommandContext& context)
{
    const CommandLine& line = context.line;
    QString command;
    int timeoutMs = 0;
    if (line.text().contains(QLatin1Char(';'))) {
        if (line.size() > 3)
            throw ArgumentFault{errors::kInvalidArgument};
        command = line.word(1);
        const QString timeout = line.word(2).trimmed();
        bool ok = true;
        if (!timeout.isEmpty())
            timeoutMs = timeout.toInt(&ok);
        if (!ok)
            throw ArgumentFault{errors::kInvalidArgument};
    } else {
        const QString& text = line.text();
        const int first = text.indexOf(QLatin1Char(' '));
        const int last = text.lastIndexOf(QLatin1Char(' '));
        timeoutMs = text.mid(last + 1).toInt();
        command = timeoutMs > 0 ? text.mid(first + 1, qMax(0, last - first - 1)) : text.mid(first + 1);
    }
    if (command.isEmpty())
        throw ArgumentFault{errors::kMissingArguments};
    // The same operation as the SendCommand export (its lock is this line's).
    const CommandContext::Reply reply = context.exchange(command, qMax(timeoutMs, CommandContext::kShortTimeoutMs));
    return reply.ok() ? QString::fromUtf8(reply.text) : QString();
}

QString batteryState(CommandContext& context)
{
    return ResponseValue(context.require(kBatteryQuery));
}

// Presses gathered by the status poll, plus any the instrument still holds;
// each is reported once. "<00>" when none was pressed.
QString getButtonsTriggered(CommandContext& context)
{
    const QString reports = context.host.takeButtonReports();
    return reports.isEmpty() ? QStringLiteral("<00>") : reports;
}

// tool goto TOOL [OPTION]
QString toolGoto(CommandContext& context)
{
    QString command = QStringLiteral("tool goto ") + context.line.word(2);
    if (!context.line.word(3).isEmpty())
        command += QLatin1Char(' ') + context.line.word(3);
    context.require(command);
    return QStringLiteral("<00>");
}

// calstatus get: "0" for a valid calibration, "1" when one is needed; a
// status query that gave no usable answer is a failure (recorded kInvalidData).
QString calStatusGet(CommandContext& context)
{
    const int status = context.host.calibrationStatus();
    if (status < 0)
        context.fail();
    return QString::number(status);
}

QString isM0M1Compliant(CommandContext&)
{
    return QStringLiteral("1");
}

} // namespace vireo2
