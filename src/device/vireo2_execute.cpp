// Execute: the free-form command door, handed to the command dispatcher.
#include "commands/command_dispatcher.h"
#include "device/vireo2.h"
#include "device/vireo2_command_host.h"

namespace vireo2 {

QString Vireo2::Execute(const QString& commandLine)
{
    Vireo2CommandHost host(*this);
    return CommandDispatcher(host).execute(commandLine);
}

CommandAnswer Vireo2::executeAnswer(const QString& commandLine, ReplyDestination* destination)
{
    Vireo2CommandHost host(*this);
    return CommandDispatcher(host, destination).answer(commandLine);
}

} // namespace vireo2
