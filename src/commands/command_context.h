#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

#include "commands/command_answer.h"
#include "commands/command_host.h"
#include "commands/command_line.h"

namespace vireo2 {

// What one Execute call hands its handler: the device, the line, the lock
// held for it, the menu-open flag that makes the dispatcher close the
// instrument's menu after the handler, and what the device does after it.
class CommandContext {
public:
    CommandContext(CommandHost& host, const CommandLine& line) : host(host), line(line) {}

    // Exchange timeout of the housekeeping commands unless stated otherwise.
    static constexpr int kDefaultTimeoutMs = 5000;
    // Timeout of pass-through and settings commands, and the least a
    // SendCommand waits.
    static constexpr int kShortTimeoutMs = 3000;

    struct Reply {
        qint32 status = -1;
        QByteArray text;
        bool ok() const { return status == 0; }
    };

    Reply exchange(const QString& command, int timeoutMs = kDefaultTimeoutMs, ReplyDestination* destination = nullptr);
    // The exchange must succeed (status 0); otherwise raises CommandFailed
    // with the error the exchange recorded.
    QByteArray require(const QString& command, int timeoutMs = kDefaultTimeoutMs);
    // Sends `command` as it stands (3,000 ms) and answers the value part of
    // the reply, "NO VALUE FOUND" when it has none, empty text on failure.
    QString passThrough(const QString& command);
    // The same answer as the UTF-8 bytes of the reply, left where they came
    // (in `destination`'s memory when it offers some for a large reply).
    CommandAnswer passThroughAnswer(const QString& command, ReplyDestination* destination = nullptr);
    // Raises CommandFailed with the error record's current code.
    [[noreturn]] void fail() const;

    CommandHost& host;
    const CommandLine& line;
    std::unique_ptr<PortHold> port;
    bool menuOpen = false;
    // What the device is to do once the line is done (the dispatcher hands
    // it on with the answer).
    DeviceFollowUp followUp;
};

} // namespace vireo2
