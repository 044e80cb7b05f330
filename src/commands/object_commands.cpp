// The object words of Execute: colour libraries, job templates, tools and
// palettes pushed, edited, removed, fetched and listed; the instrument log,
// the digital-loupe list and the screen bitmap pulled.
#include "commands/command_context.h"
#include "commands/command_handlers.h"
#include "commands/object_transfer.h"

namespace vireo2 {
namespace {

constexpr int kObjectChunk = 1000000;
constexpr int kLibraryChunk = 250000;
constexpr int kUsbLibraryChunk = 4000;
constexpr int kRemoveTimeoutMs = 5000;
constexpr int kPaletteRemoveTimeoutMs = 10000;

QByteArray argument(CommandContext& context, int word)
{
    return context.line.word(word).toUtf8();
}

// The one exchange of a removal: its reply is the answer, also on failure.
QString removal(CommandContext& context, const QString& command, int timeoutMs)
{
    return QString::fromUtf8(context.exchange(command, timeoutMs).text);
}

QString pushObject(CommandContext& context, const QString& prefix, const QString& closing, int word = 1)
{
    return transfer::push(context, argument(context, word), prefix, closing, kObjectChunk);
}

} // namespace

QString addLibrary(CommandContext& context)
{
    const bool usb = context.host.option(QStringLiteral("Connection_Method")).toUpper() == QLatin1String("USB");
    return transfer::push(context, argument(context, 1), QStringLiteral("colorlibrary send"),
                          QStringLiteral("colorlibrary add JSON"), usb ? kUsbLibraryChunk : kLibraryChunk);
}

QString addJobTemplate(CommandContext& context)
{
    return pushObject(context, QStringLiteral("jobtemplate send"), QStringLiteral("jobtemplate add JSON"));
}

QString addTool(CommandContext& context)
{
    return pushObject(context, QStringLiteral("tool send"), QStringLiteral("tool import ") + context.line.word(1), 2);
}

QString addChromexPalette(CommandContext& context)
{
    return pushObject(context, QStringLiteral("chromex send palette"), QStringLiteral("chromex add palette"));
}

QString addChromexPaletteList(CommandContext& context)
{
    return pushObject(context, QStringLiteral("chromex send palettelist"), QStringLiteral("chromex add palettelist"));
}

QString editLibrary(CommandContext& context)
{
    return transfer::edit(context, QStringLiteral("colorlibrary"), context.line.word(2),
                          QStringLiteral("colorlibrary edit JSON ") + context.line.word(1));
}

QString editJobTemplate(CommandContext& context)
{
    return transfer::edit(context, QStringLiteral("jobtemplate"), context.line.word(2),
                          QStringLiteral("jobtemplate edit JSON ") + context.line.word(1));
}

QString libraryClear(CommandContext& context)
{
    return removal(context, QStringLiteral("colorlibrary remove ") + context.line.word(1), kRemoveTimeoutMs);
}

QString removeJobTemplate(CommandContext& context)
{
    return removal(context, QStringLiteral("jobtemplate remove ") + context.line.word(1), kRemoveTimeoutMs);
}

QString removeTool(CommandContext& context)
{
    return removal(context, QStringLiteral("tool remove %1 %2").arg(context.line.word(1), context.line.word(2)),
                   kRemoveTimeoutMs);
}

QString removePaletteChromex(CommandContext& context)
{
    return removal(context, QStringLiteral("chromex remove PALETTE ") + context.line.word(1), kPaletteRemoveTimeoutMs);
}

QString getLibraryJson(CommandContext& context)
{
    transfer::Fetch how;
    how.request = QStringLiteral("colorlibrary get JSON ") + context.line.word(1);
    how.requestTimeoutMs = 30000;
    how.receive = QStringLiteral("colorlibrary receive");
    how.firstTimeoutMs = 30000;
    how.resultPrefix = QStringLiteral("COLORLIBRARY 0x00 |");
    return transfer::fetch(context, how);
}

QString getJobTemplate(CommandContext& context)
{
    transfer::Fetch how;
    how.request = QStringLiteral("jobtemplate get JSON ") + context.line.word(1);
    how.receive = QStringLiteral("jobtemplate receive");
    return transfer::fetch(context, how);
}

QString getTool(CommandContext& context)
{
    transfer::Fetch how;
    how.request = QStringLiteral("tool export %1 %2").arg(context.line.word(1), context.line.word(2));
    how.requestTimeoutMs = 10000;
    how.receive = QStringLiteral("tool receive");
    how.firstTimeoutMs = 30000;
    how.resultPrefix = QStringLiteral("TOOL 0x00 |");
    return transfer::fetch(context, how);
}

QString getLog(CommandContext& context)
{
    transfer::Fetch how;
    how.receive = QStringLiteral("log acquire");
    how.firstTimeoutMs = 30000;
    how.resultPrefix = QStringLiteral("LOG 0x00 |");
    how.timeoutAnswer = QStringLiteral("RECEIVE_TIMEOUT");
    return transfer::fetch(context, how);
}

QString digitalLoupeList(CommandContext& context)
{
    transfer::Fetch how;
    how.request = QStringLiteral("digitalloupe list");
    how.receive = QStringLiteral("digitalloupe receive");
    return transfer::fetch(context, how);
}

QString screenBitmap(CommandContext& context)
{
    transfer::Fetch how;
    how.request = QStringLiteral("screen capture");
    how.requestTimeoutMs = 3000;
    how.receive = QStringLiteral("screen receive");
    how.laterTimeoutMs = 5000;
    how.resultPrefix = QStringLiteral("SCREEN 0x00 |");
    how.deadlineMs = 10000;
    return transfer::fetch(context, how);
}

QString getLibrary(CommandContext& context)
{
    return transfer::list(context, QStringLiteral("colorlibrary list"), QStringLiteral("colorlibrary receive"));
}

QString getJobTemplateList(CommandContext& context)
{
    return transfer::list(context, QStringLiteral("jobtemplate list"), QStringLiteral("jobtemplate receive"));
}

QString getToolList(CommandContext& context)
{
    return transfer::list(context, QStringLiteral("tool list ") + context.line.word(1), QStringLiteral("tool receive"));
}

QString getChromexPaletteList(CommandContext& context)
{
    return transfer::list(context, QStringLiteral("chromex get palettelist"),
                          QStringLiteral("chromex receive palettelist"));
}

} // namespace vireo2
