// The scan exports reached as commands; answers are decimal text.
#include <limits>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"

namespace vireo2 {
namespace {

// Patch and data-set indexes: unsigned decimal numbers.
int indexArgument(const QString& word)
{
    bool isNumber = false;
    const uint value = word.toUInt(&isNumber);
    if (!isNumber || value > uint(std::numeric_limits<int>::max()))
        throw ArgumentFault{errors::kInvalidArgument};
    return int(value);
}

} // namespace

// The instrument takes the scan configuration line as it stands.
QString scanConfig(CommandContext& context)
{
    return context.passThrough(context.line.text());
}

QString scanGetStatus(CommandContext& context)
{
    return QString::number(context.host.scans().scanGetStatus());
}

QString scanAbort(CommandContext& context)
{
    return context.host.scans().scanAbort() ? QStringLiteral("<00>") : QString();
}

QString scanGetCount(CommandContext& context)
{
    return QString::number(context.host.scans().scanGetCount());
}

QString scanGetData(CommandContext& context)
{
    return context.host.scans().scanGetData(indexArgument(context.line.word(1)), indexArgument(context.line.word(2)));
}

QString scanIsSupported(CommandContext& context)
{
    return context.host.scans().scanIsSupported() ? QStringLiteral("1") : QStringLiteral("0");
}

} // namespace vireo2
