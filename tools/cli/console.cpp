#include "console.h"

#include <cstdio>
#include <iostream>
#include <string>
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

bool readLine(QString* line)
{
    std::string text;
    if (!std::getline(std::cin, text))
        return false;
    *line = QString::fromLocal8Bit(text.c_str()).trimmed();
    return true;
}

bool isQuit(const QString& line)
{
    return line.compare(QLatin1String("q"), Qt::CaseInsensitive) == 0
        || line.compare(QLatin1String("quit"), Qt::CaseInsensitive) == 0;
}

bool confirm(const QString& question)
{
    printErr(question + QStringLiteral(" [y/N] "));
    QString answer;
    if (!readLine(&answer)) {
        printErr(QStringLiteral("\n"));
        return false;
    }
    return answer.compare(QLatin1String("y"), Qt::CaseInsensitive) == 0
        || answer.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0;
}

} // namespace vireo2::cli
