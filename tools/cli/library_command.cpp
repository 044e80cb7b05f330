// vireo2 library / vireo2 template: the instrument's colour libraries and job
// templates: list, get, add, edit, remove. Each change is checked against the
// instrument's list afterwards.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"

namespace vireo2::cli {
namespace {

constexpr int kRefused = 0x01; // the instrument's status for an unknown name

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

// The object file's text and the name it will be stored under.
QString readObject(const QString& path, const ObjectWords& words, QString* json, QString* name)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    const QByteArray bytes = file.readAll();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return QStringLiteral("%1 is not a JSON object (%2)").arg(path, error.errorString());
    *name = document.object().value(QStringLiteral("name")).toString();
    if (name->isEmpty())
        return QStringLiteral("%1 has no \"name\": the instrument stores a %2 under its name")
            .arg(path, QLatin1String(words.what));
    *json = QString::fromUtf8(bytes);
    return checkArgument(*json, QStringLiteral("the JSON text"));
}

// The names the instrument lists; false when the list could not be read.
bool listNames(const ObjectWords& words, QStringList* names)
{
    const QString answer = executeLine(QLatin1String(words.list), QString(), true);
    const QJsonDocument document = QJsonDocument::fromJson(answer.toUtf8());
    if (!document.isArray())
        return false;
    names->clear();
    for (const auto& value : document.array())
        *names << value.toString();
    return true;
}

// After a change: is `name` listed as it should be?
int checkListed(const ObjectWords& words, const QString& name, bool shouldExist, const QString& done)
{
    QStringList names;
    if (!listNames(words, &names))
        return failure(QStringLiteral("the instrument answered, but its list of %1 could not be read to check it")
                           .arg(QLatin1String(words.plural)));
    if (names.contains(name) != shouldExist)
        return failure(shouldExist ? QStringLiteral("the instrument answered success, but does not list the %1 \"%2\"")
                                         .arg(QLatin1String(words.what), name)
                                   : QStringLiteral("the instrument answered success, but still lists the %1 \"%2\"")
                                         .arg(QLatin1String(words.what), name));
    printOut(done + QLatin1Char('\n'));
    return ExitOk;
}

int usage(const ObjectWords& words)
{
    const QString name = QString::fromLatin1(words.command);
    return usageError(QStringLiteral("%1 list | get NAME | add FILE | edit NAME FILE | remove NAME").arg(name), name);
}

int runWith(const ObjectWords& words, const Invocation& call)
{
    const QStringList& a = call.arguments;
    const QString action = a.value(0);
    const QString what = QLatin1String(words.what);
    const QString nameWhat = QStringLiteral("the %1 name").arg(what);
    QString word, name, json, problem;
    if (action == QLatin1String("list") && a.size() == 1) {
        word = QLatin1String(words.list);
    } else if (action == QLatin1String("get") && a.size() == 2) {
        word = QLatin1String(words.get);
        name = a[1];
    } else if (action == QLatin1String("add") && a.size() == 2) {
        word = QLatin1String(words.add);
        problem = readObject(a[1], words, &json, &name);
    } else if (action == QLatin1String("edit") && a.size() == 3) {
        word = QLatin1String(words.edit);
        QString stored;
        problem = readObject(a[2], words, &json, &stored);
        name = a[1];
    } else if (action == QLatin1String("remove") && a.size() == 2) {
        word = QLatin1String(words.remove);
        name = a[1];
    } else {
        return usage(words);
    }
    if (problem.isEmpty() && action != QLatin1String("list"))
        problem = checkObjectName(name, nameWhat);
    if (!problem.isEmpty())
        return failure(problem);
    QStringList parts{word};
    if (action != QLatin1String("list") && action != QLatin1String("add"))
        parts << name;
    if (!json.isEmpty())
        parts << json;

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const QString answer = executeLine(parts.join(QLatin1Char(';')),
                                       QStringLiteral("Transferring the %1").arg(what), call.context.quiet,
                                       [](const QString& a) { return !a.isEmpty() && replyStatus(a) <= 0; });
    if (answer.isEmpty())
        return libraryFailure();
    if (replyStatus(answer) > 0) {
        if (action == QLatin1String("list"))
            return replyFailure(QStringLiteral("the %1 could not be listed").arg(QLatin1String(words.plural)), answer);
        if (replyStatus(answer) == kRefused)
            return failure(QStringLiteral("the instrument has no %1 named \"%2\"").arg(what, name));
        return replyFailure(QStringLiteral("%1 \"%2\"").arg(what, name), answer);
    }
    if (action == QLatin1String("add") || action == QLatin1String("edit"))
        return checkListed(words, name, true,
                           QStringLiteral("%1 \"%2\" %3").arg(what, name, action == QLatin1String("add") ? "added" : "replaced"));
    if (action == QLatin1String("remove"))
        return checkListed(words, name, false, QStringLiteral("%1 \"%2\" removed").arg(what, name));
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
        "deletes NAME. Names are one word. After add, edit and remove the instrument's\n"
        "list is read back to check the change. Large objects go in chunks; progress is\n"
        "shown on stderr.");
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
