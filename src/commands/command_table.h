#pragma once

#include <QString>

#include "commands/command_handlers.h"

namespace vireo2 {

class CommandLine;

// Command flags.
enum : unsigned {
    // "start;WORD;..." may run it as a long operation on the worker thread.
    kLongOperation = 1u << 0,
    // As a long operation it needs a file argument.
    kNeedsFile = 1u << 1,
};

// One Execute command.
struct Command {
    const char* word;        // lower-case command word
    int requiredWords;       // words needed, the command word included
    CommandHandler handler;  // null: the line is passed to the instrument
    unsigned flags;
};

// The command a line names (a glued two-word key wins); null for a word the
// library does not know, which goes to the instrument as it stands.
const Command* findCommand(const CommandLine& line);

// The command named `word` (any case) when "start" may run it, else null.
const Command* findLongOperation(const QString& word);

} // namespace vireo2
