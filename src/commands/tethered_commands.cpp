// The tethered screen (the instrument driven from the host) and the
// correction-profile switch.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"

namespace vireo2 {
namespace {

const QString kConfigureTethered = QStringLiteral("tethered configure 0 ! |");
constexpr int kConfigureTimeoutMs = 10000;

// The tethered spot-measurement screen: measure button, main menu, and the
// four soft buttons without texts.
QJsonObject spotScreen()
{
    QJsonArray buttons;
    for (const char* id : {"Primary_1", "Primary_2", "Secondary_1", "Secondary_2"})
        buttons.append(QJsonObject{{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("text"), QString()}});
    return QJsonObject{
        {QStringLiteral("measureButtonVisible"), true}, {QStringLiteral("mainMenuAccessible"), true},
        {QStringLiteral("measureMode"), QStringLiteral("SPOT")}, {QStringLiteral("primaryLoadingVisible"), false},
        {QStringLiteral("primaryText"), QString()},     {QStringLiteral("secondaryText"), QString()},
        {QStringLiteral("primaryImage"), QString()},    {QStringLiteral("secondaryImage"), QString()},
        {QStringLiteral("buttons"), buttons},
    };
}

// Shows the tethered tool unless the instrument already shows it.
void showTetheredTool(CommandContext& context)
{
    const auto tool = context.exchange(QStringLiteral("tool query"));
    if (!tool.ok())
        context.fail();
    if (!QString::fromUtf8(tool.text).toLower().contains(QLatin1String("tethered")))
        context.require(QStringLiteral("tool goto tethered"));
}

} // namespace

QString setNetAdjusterMode(CommandContext& context)
{
    for (const char* command : {"tethered default", "tool goto tethered", "video targeting on"})
        context.require(QLatin1String(command), CommandContext::kShortTimeoutMs);
    return QStringLiteral("<00>");
}

QString enableNetAdjuster(CommandContext& context)
{
    if (!context.host.setOption(QStringLiteral("NetAdjuster"), context.line.word(1)))
        context.fail();
    return QStringLiteral("<00>");
}

// tetherconfigure;JSON: the screen description goes to the instrument on one
// line; blanks inside it are kept. The answer is the instrument's reply.
QString tetherConfigure(CommandContext& context)
{
    static const QRegularExpression lineBreaks(QStringLiteral("[\n\t\r]"));
    QString json = context.line.word(1);
    json.remove(lineBreaks);
    return QString::fromUtf8(context.require(kConfigureTethered + json, kConfigureTimeoutMs));
}

// setspotmeasurementconfig[;JSON]: shows the tethered tool and configures
// its spot-measurement screen. A JSON object given as word 1 replaces the
// members of the default screen that it names ("primaryText", "buttons"...).
QString setSpotMeasurementConfig(CommandContext& context)
{
    QJsonObject screen = spotScreen();
    const QString overrides = context.line.word(1);
    if (!overrides.isEmpty()) {
        const QJsonDocument document = QJsonDocument::fromJson(overrides.toUtf8());
        if (!document.isObject())
            throw ArgumentFault{errors::kInvalidArgument};
        const QJsonObject given = document.object();
        for (auto it = given.constBegin(); it != given.constEnd(); ++it)
            screen.insert(it.key(), it.value());
    }
    showTetheredTool(context);
    const QByteArray json = QJsonDocument(QJsonObject{{QStringLiteral("tethered"), screen}}).toJson(QJsonDocument::Compact);
    context.require(kConfigureTethered + QString::fromUtf8(json));
    return QStringLiteral("<00>");
}

} // namespace vireo2
