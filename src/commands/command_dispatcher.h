#pragma once

#include <QMap>
#include <QString>

#include "commands/command_answer.h"

namespace vireo2 {

class CommandHost;
class CommandLine;
class CommandContext;

// Execute's free-form command door: one text line in, one text line out.
// "<00>" is success with nothing to report, other text is the command's
// answer, empty text a failure whose reason is in the error record.
class CommandDispatcher {
public:
    CommandDispatcher(CommandHost& host, const QMap<QString, qint32>& commandIds);

    QString execute(const QString& text);
    // The same answer, as bytes where it is an instrument reply passed on.
    CommandAnswer answer(const QString& text);

private:
    CommandAnswer run(const QString& text);
    QString setModel(const CommandLine& line);
    qint32 identifierOf(const CommandLine& line) const;
    CommandAnswer runHandler(qint32 id, CommandContext& context);
    void closeMenu(CommandContext& context);

    CommandHost& host_;
    const QMap<QString, qint32>& commandIds_;
};

} // namespace vireo2
