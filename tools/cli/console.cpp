#include "console.h"

#include <cstdio>
#include <unistd.h>

namespace vireo2::cli {

namespace {
void write(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}
} // namespace

void printOut(const QString& text) { write(stdout, text); }

void printErr(const QString& text) { write(stderr, text); }

bool errIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

int usageError(const QString& message, const QString& command)
{
    const QString help = command.isEmpty() ? QStringLiteral("vireo2 --help")
                                           : QStringLiteral("vireo2 %1 --help").arg(command);
    printErr(QStringLiteral("vireo2: %1\nTry '%2'.\n").arg(message, help));
    return ExitUsage;
}

int failure(const QString& message)
{
    printErr(QStringLiteral("vireo2: %1\n").arg(message));
    return ExitFailure;
}

} // namespace vireo2::cli
