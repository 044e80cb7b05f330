#pragma once

#include <QString>

#include "commands/command_answer.h"

namespace vireo2 {

class CommandHost;
class ReplyDestination;
class CommandLine;
class CommandContext;
struct Command;

// Execute's free-form command door: one text line in, one text line out.
// "<00>" is success with nothing to report, other text is the command's
// answer, empty text a failure whose reason is in the error record.
class CommandDispatcher {
public:
    // An instrument reply passed on as the answer is read into memory
    // `replyDestination` offers, when it is large and one is given.
    explicit CommandDispatcher(CommandHost& host, ReplyDestination* replyDestination = nullptr);

    // The line's answer: text, or the bytes of an instrument reply passed
    // on, with what the device is to do once the line is done.
    CommandAnswer answer(const QString& text);

private:
    CommandAnswer run(const QString& text);
    CommandAnswer setModel(const CommandLine& line);
    CommandAnswer runHandler(const Command* command, CommandContext& context);
    void closeMenu(CommandContext& context);

    CommandHost& host_;
    ReplyDestination* replyDestination_;
};

} // namespace vireo2
