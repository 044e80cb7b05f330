#include "commands/command_dispatcher.h"

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "commands/command_table.h"
#include "settings/log_helper.h"

namespace vireo2 {
namespace {

QString faultText(qint32 code)
{
    switch (code) {
    case errors::kMissingArguments: return errors::kMissingArguments.message();
    case errors::kInvalidArgument: return errors::kInvalidArgument.message();
    default: return errors::kInvalidCommand.message();
    }
}

} // namespace

CommandDispatcher::CommandDispatcher(CommandHost& host, ReplyDestination* replyDestination)
    : host_(host), replyDestination_(replyDestination)
{
}

CommandAnswer CommandDispatcher::answer(const QString& text)
{
    LogHelper& log = host_.log();
    // A command that succeeds leaves a record that says so, not the text of
    // an earlier failure beside code 0.
    log.setError(0, QStringLiteral("<00>"));
    try {
        return run(text);
    } catch (const ArgumentFault& fault) {
        log.LogErrorOnly(fault.code, faultText(fault.code));
    } catch (const CommandFailed&) {
        // The failed exchange has recorded why.
    } catch (...) {
        log.LogError(errors::kUnknownError, errors::kUnknownError.message());
    }
    return QString();
}

// The queries up to the operation-in-progress test run without the lock, so
// they answer while a long operation or a locked export runs.
CommandAnswer CommandDispatcher::run(const QString& text)
{
    if (text.contains(QLatin1String("IsLaserOn")))
        return QStringLiteral("0");
    if (text.contains(QLatin1String("Menu Go Home")))
        return QStringLiteral("<00>");
    const CommandLine line(text);
    // An empty line, or one of separators only, names no command.
    if (line.isEmpty())
        throw ArgumentFault{errors::kInvalidCommand};
    if (line.commandWord() == QLatin1String("setmodel"))
        return setModel(line);
    if (text.contains(QLatin1String("GetProgress")))
        return progressAnswer(host_);
    if (text.contains(QLatin1String("Abort")))
        return abortAnswer(host_);
    if (text.contains(QLatin1String("IsScanRequested")))
        return host_.takeScanRequested();
    if (text.contains(QLatin1String("IsM0M1Compliant")))
        return host_.isM0M1Compliant() ? QStringLiteral("1") : QStringLiteral("0");

    if (!longOperationSettles(host_)) {
        host_.log().LogError(errors::kExecuteInProgress, errors::kExecuteInProgress.message());
        return QString();
    }
    CommandContext context(host_, line);
    context.port = host_.lockPort();
    if (!context.port->held())
        return QString();
    CommandAnswer result = runHandler(findCommand(line), context);
    closeMenu(context);
    result.followUp = context.followUp;
    return result;
}

// "vireotr3" is the instrument on its track: both flags. "tr3" marks only
// the track. The model flag is compared with the mixed-case "Vireo2" after
// lower-casing, which never matches; that is the established behaviour.
CommandAnswer CommandDispatcher::setModel(const CommandLine& line)
{
    if (line.size() < 2 || line.word(1).isEmpty())
        throw ArgumentFault{errors::kMissingArguments};
    const QString model = line.word(1).toLower();
    const bool trackAttached = model == QLatin1String("vireotr3") || model == QLatin1String("tr3");
    const bool trackModel = model == QLatin1String("vireotr3") || model == QLatin1String("Vireo2");
    CommandAnswer answer(QStringLiteral("<00>"));
    answer.followUp.model = DeviceFollowUp::ModelChoice{trackAttached, trackModel};
    return answer;
}

// Unknown words and rows without a handler go to the instrument as typed.
CommandAnswer CommandDispatcher::runHandler(const Command* command, CommandContext& context)
{
    if (!command || !command->handler)
        return context.passThroughAnswer(context.line.text(), replyDestination_);
    if (!context.line.hasRequiredWords(command->requiredWords))
        throw ArgumentFault{errors::kMissingArguments};
    return command->handler(context);
}

// A handler that opened a menu on the instrument leaves it closed again;
// the close does not change the error record the caller reads.
void CommandDispatcher::closeMenu(CommandContext& context)
{
    if (!context.menuOpen)
        return;
    context.menuOpen = false;
    LogHelper& log = host_.log();
    const qint32 code = log.errorCode();
    const QByteArray text = log.errorText();
    context.exchange(QStringLiteral("Menu Close"), CommandContext::kShortTimeoutMs);
    log.setErrorCode(code);
    log.setErrorText(QString::fromLatin1(text));
}

} // namespace vireo2
