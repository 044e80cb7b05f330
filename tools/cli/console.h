#pragma once

#include <QString>

namespace vireo2::cli {

// Exit codes of every subcommand.
enum ExitCode : int {
    ExitOk = 0,
    ExitFailure = 1, // the library or the system reported a failure
    ExitUsage = 2,   // the command line itself is wrong
};

// Text goes out as UTF-8, unbuffered on stderr, so progress and results
// interleave in the order they were written.
void printOut(const QString& text);
void printErr(const QString& text);

// True when stderr is a terminal (progress dots are drawn only there).
bool errIsTerminal();

// Prints "vireo2: <message>" and a hint to the subcommand's help; returns
// ExitUsage.
int usageError(const QString& message, const QString& command = QString());

// Prints "vireo2: <message>" for a failure outside the library; returns
// ExitFailure.
int failure(const QString& message);

// Asks `question` on stderr and reads the answer from stdin: true for "y" or
// "yes"; anything else, or the end of input, is a no.
bool confirm(const QString& question);

// One line typed at the terminal (or read from piped input); false at the
// end of input. "q" on its own means quit wherever the program waits for a
// key: isQuit() tells.
bool readLine(QString* line);
bool isQuit(const QString& line);

// While the program waits for something else: true when a line "q" has been
// typed (without waiting for input).
bool quitTyped();

} // namespace vireo2::cli
