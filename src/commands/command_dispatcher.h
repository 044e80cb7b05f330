#pragma once

#include <QMap>
#include <QString>

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

private:
    QString run(const QString& text);
    QString setModel(const CommandLine& line);
    qint32 identifierOf(const CommandLine& line) const;
    QString runHandler(qint32 id, CommandContext& context);
    void closeMenu(CommandContext& context);

    CommandHost& host_;
    const QMap<QString, qint32>& commandIds_;
};

} // namespace vireo2
