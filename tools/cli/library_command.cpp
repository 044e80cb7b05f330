// vireo2 library / vireo2 template: the instrument's colour libraries and job
// templates: list, get, add, edit, remove.
#include <QFile>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"

namespace vireo2::cli {
namespace {

struct ObjectWords {
    const char* command;  // the subcommand's name
    const char* list;
    const char* get;
    const char* add;
    const char* edit;
    const char* remove;
    const char* what;     // for messages
    const char* plural;
};

const ObjectWords kLibrary{"library", "getlibrary", "getlibraryjson", "addlibrary", "editlibrary", "libraryclear",
                           "colour library", "colour libraries"};
const ObjectWords kTemplate{"template", "getjobtemplatelist", "getjobtemplate", "addjobtemplate", "editjobtemplate",
                            "removejobtemplate", "job template", "job templates"};

QString readJson(const QString& path, QString* problem)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

int runWith(const ObjectWords& words, const Invocation& call)
{
    const QStringList& a = call.arguments;
    const QString action = a.value(0);
    const QString name = QString::fromLatin1(words.command);
    QString word;
    QStringList parts;  // the line's arguments after the command word
    QString problem;
    if (action == QLatin1String("list") && a.size() == 1) {
        word = QLatin1String(words.list);
    } else if (action == QLatin1String("get") && a.size() == 2) {
        word = QLatin1String(words.get);
        parts = QStringList{a[1]};
    } else if (action == QLatin1String("add") && a.size() == 2) {
        word = QLatin1String(words.add);
        parts = QStringList{readJson(a[1], &problem)};
    } else if (action == QLatin1String("edit") && a.size() == 3) {
        word = QLatin1String(words.edit);
        parts = QStringList{a[1], readJson(a[2], &problem)};
    } else if (action == QLatin1String("remove") && a.size() == 2) {
        word = QLatin1String(words.remove);
        parts = QStringList{a[1]};
    } else {
        return usageError(QStringLiteral("%1 list | get NAME | add FILE | edit NAME FILE | remove NAME").arg(name), name);
    }
    for (const QString& part : parts)
        if (problem.isEmpty())
            problem = checkArgument(part, QStringLiteral("a name or JSON text"));
    if (!problem.isEmpty())
        return failure(problem);
    const QString line = (QStringList{word} + parts).join(QLatin1Char(';'));

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return libraryFailure();
    const QString answer = executeLine(line, QStringLiteral("Transferring the %1").arg(QLatin1String(words.what)),
                                       call.context.quiet);
    if (answer.isEmpty())
        return libraryFailure();
    // Pushes and removals answer the instrument's reply: its status tells.
    if ((action == QLatin1String("add") || action == QLatin1String("edit") || action == QLatin1String("remove"))
        && !answer.contains(QLatin1String(" 0x00")))
        return failure(QStringLiteral("the instrument refused: %1").arg(answer));
    printOut((action == QLatin1String("get") && answer.contains(QLatin1Char('|')) ? payloadOf(answer) : answer)
             + QLatin1Char('\n'));
    return ExitOk;
}

Subcommand objectCommand(const ObjectWords& words, int (*run)(const Invocation&))
{
    Subcommand command;
    command.name = QString::fromLatin1(words.command);
    command.synopsis = QStringLiteral("list | get NAME | add FILE | edit NAME FILE | remove NAME");
    command.summary = QStringLiteral("Manage the instrument's %1").arg(QLatin1String(words.plural));
    command.description = QStringLiteral(
        "list prints the names (a JSON array); get prints one as JSON; add sends a JSON\n"
        "file (its \"name\" member names it); edit replaces NAME with a JSON file; remove\n"
        "deletes NAME. Large objects go in chunks; progress is shown on stderr.");
    command.connects = true;
    command.run = run;
    return command;
}

int runLibrary(const Invocation& call) { return runWith(kLibrary, call); }
int runTemplate(const Invocation& call) { return runWith(kTemplate, call); }

} // namespace

Subcommand libraryCommand() { return objectCommand(kLibrary, runLibrary); }
Subcommand templateCommand() { return objectCommand(kTemplate, runTemplate); }

} // namespace vireo2::cli
