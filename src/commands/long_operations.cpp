// Long operations on the device's worker thread: "start;backup;FILE" starts
// one, "GetProgress"/"getprogress" follow it, "Abort"/"abort" stop it.
#include <QLocale>
#include <QThread>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "commands/command_table.h"
#include "settings/log_helper.h"

namespace vireo2 {
namespace {

constexpr int kPollMs = 10;
constexpr int kAbortPolls = 200;
constexpr int kSettlePolls = 25;

} // namespace

QString progressAnswer(CommandHost& host)
{
    const LongOperation* operation = host.longOperation();
    if (!operation || operation->progress() < 0)
        return QString();
    return QString::number(operation->progress(), 'g', QLocale::FloatingPointShortest);
}

QString abortAnswer(CommandHost& host)
{
    LongOperation* operation = host.longOperation();
    if (!operation)
        return QString();
    operation->requestAbort();
    for (int poll = 0; poll < kAbortPolls && !operation->finished(); ++poll)
        QThread::msleep(kPollMs);
    return QStringLiteral("<00>");
}

bool longOperationSettles(CommandHost& host)
{
    const LongOperation* operation = host.longOperation();
    if (!operation)
        return true;
    for (int poll = 0; poll < kSettlePolls; ++poll) {
        if (!operation->running() || operation->finished())
            return true;
        QThread::msleep(kPollMs);
    }
    return false;
}

// The operation and its argument are separated by ";" only
// (start;backup;FILE): the line is cut again at ";" whatever it holds.
QString startLongOperation(CommandContext& context)
{
    const QStringList words = context.line.text().split(QLatin1Char(';'));
    const Command* operation = words.size() >= 2 && !words.at(1).isEmpty() ? findLongOperation(words.at(1)) : nullptr;
    if (!operation)
        throw ArgumentFault{errors::kInvalidArgument};
    // The worker takes the lock itself for the whole operation; the device
    // starts it once the line is done, with the operation's name and argument.
    context.port->release();
    context.followUp.longOperation = DeviceFollowUp::LongOperationStart{bool(operation->flags & kNeedsFile), words.mid(1)};
    return QStringLiteral("<00>");
}

QString getProgress(CommandContext& context)
{
    return progressAnswer(context.host);
}

// The lower-case form reports "no operation in progress" even though it
// has asked the operation to stop; hosts rely on this answer.
QString abortLongOperation(CommandContext& context)
{
    LongOperation* operation = context.host.longOperation();
    if (!operation)
        return QString();
    operation->requestAbort();
    context.host.log().LogErrorOnly(errors::kNoOperation, errors::kNoOperation.message());
    throw CommandFailed{errors::kNoOperation};
}

} // namespace vireo2
