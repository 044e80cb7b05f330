#include "commands/command_context.h"

#include "commands/command_error.h"
#include "settings/log_helper.h"
#include "transport/reply_parser.h"

namespace vireo2 {

CommandContext::Reply CommandContext::exchange(const QString& command, int timeoutMs, ReplyDestination* destination)
{
    Reply reply;
    reply.status = host.transact(command, reply.text, timeoutMs, destination);
    return reply;
}

QByteArray CommandContext::require(const QString& command, int timeoutMs)
{
    Reply reply = exchange(command, timeoutMs);
    if (!reply.ok())
        fail();
    return reply.text;
}

QString CommandContext::passThrough(const QString& command)
{
    return passThroughAnswer(command).text();
}

CommandAnswer CommandContext::passThroughAnswer(const QString& command, ReplyDestination* destination)
{
    Reply reply = exchange(command, kShortTimeoutMs, destination);
    if (!reply.ok())
        return CommandAnswer::fromUtf8(QByteArray());
    const int offset = responseValueOffset(reply.text);
    if (offset < 0)
        return CommandAnswer::fromUtf8(QByteArrayLiteral("NO VALUE FOUND"));
    return CommandAnswer::fromUtf8(std::move(reply.text), offset);
}

void CommandContext::fail() const
{
    throw CommandFailed{host.log().errorCode()};
}

} // namespace vireo2
