#include "console.h"

#include <cstdio>
#include <poll.h>
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

namespace {
// Input is read byte by byte from the descriptor, never through a buffered
// stream, so a blocking prompt and a check for a typed "q" while waiting
// never hide bytes from each other.
std::string gPending;
bool gInputEnded = false;

// One byte of input: 1 read, 0 nothing waiting (when not blocking), -1 the
// end of input or an interruption.
int readByte(bool block, char* byte)
{
    if (gInputEnded)
        return -1;
    if (!block) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, 0) <= 0 || !(input.revents & (POLLIN | POLLHUP)))
            return 0;
    }
    const ssize_t n = ::read(STDIN_FILENO, byte, 1);
    if (n == 1)
        return 1;
    if (n == 0)
        gInputEnded = true;
    return -1;
}

QString takeLine()
{
    const QString line = QString::fromLocal8Bit(gPending.c_str()).trimmed();
    gPending.clear();
    return line;
}
} // namespace

bool readLine(QString* line)
{
    char byte = 0;
    int got = 0;
    while ((got = readByte(true, &byte)) == 1 && byte != '\n')
        gPending += byte;
    if (got < 0 && gPending.empty())
        return false;
    *line = takeLine();
    return true;
}

bool quitTyped()
{
    char byte = 0;
    while (readByte(false, &byte) == 1) {
        if (byte != '\n')
            gPending += byte;
        else if (isQuit(takeLine()))
            return true;
    }
    return false;
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
