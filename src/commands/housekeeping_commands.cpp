// Housekeeping commands, written in their two-word forms ("clock get",
// "serialnum get inst", "menu go cal"): arguments start at word 2.
#include <QSettings>

#include "commands/command_context.h"
#include "commands/command_handlers.h"
#include "settings/settings_store.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

const QString kDone = QStringLiteral("<00>");
constexpr int kPolarizerTimeoutMs = 10000;

QString raw(const QByteArray& reply)
{
    return QString::fromUtf8(reply);
}

// The compatibility switch for hosts that expect the short serial number.
bool shortSerialWanted(CommandHost& host)
{
    return host.settings().compatibility->with([](QSettings& s) {
        s.beginGroup(QStringLiteral("[Configuration]"));
        const int value = s.value(QStringLiteral("serialnum"), 0).toInt();
        s.endGroup();
        return value;
    }) != 0;
}

// "SERIALNUM 0x00 2025VR2041217X" becomes "SERIALNUM 0x00 041217": bytes 15
// to 21 of the reply are cut out.
QByteArray shortSerialReply(const QByteArray& reply)
{
    return reply.left(15) + reply.mid(22, 6);
}

// The model from the version reply ("Hueron Vireo2 Plus 0.5.398" gives
// "Vireo2 Plus"); a Plus instrument with its polarizer adds " Xp".
QString modelText(CommandContext& context)
{
    const QString version = context.passThrough(QStringLiteral("version get"));
    const QStringList words = version.split(QLatin1Char(' '));
    QString model = version;
    if (words.size() == 4)
        model = words.at(1) + QLatin1Char(' ') + words.at(2);
    else if (words.size() == 5)
        model = words.at(1) + QLatin1Char(' ') + words.at(2) + QLatin1Char(' ') + words.at(3);
    if (model.toLower().contains(QLatin1String("plus"))) {
        const auto polarizer = context.exchange(QStringLiteral("measconfig get polarizer"), kPolarizerTimeoutMs);
        if (polarizer.text == "MEASCONFIG 0x00 1")
            model += QStringLiteral(" Xp");
    }
    return model;
}

} // namespace

QString clockGet(CommandContext& context)
{
    return raw(context.exchange(QStringLiteral("clock read")).text);
}

// clock set Y M D h m s: the six words go to the instrument as typed, and
// nothing else is sent.
QString clockSet(CommandContext& context)
{
    const auto reply = context.exchange(QStringLiteral("clock write ") + context.line.joined(2, 7));
    return reply.text.contains("CLOCK 0x00") ? kDone : QString();
}

QString instrumentGet(CommandContext& context)
{
    const QString what = context.line.word(2).toLower();
    if (what == QLatin1String("aperture"))
        return context.host.aperture();
    if (what != QLatin1String("name"))
        return QString();
    const QByteArray reply = context.exchange(QStringLiteral("serialnum get devicename")).text;
    const int bar = reply.indexOf('|');
    return bar < 0 ? QString() : QString::fromUtf8(reply.mid(bar + 1));
}

// instrument set name VALUE...: the name may hold blanks; one command.
QString instrumentSet(CommandContext& context)
{
    if (context.line.word(2).toLower() != QLatin1String("name"))
        return QString();
    const auto reply = context.exchange(QStringLiteral("serialnum set devicename ") + context.line.joined(3));
    return reply.text.contains("0x00") ? kDone : QString();
}

QString serialNumGet(CommandContext& context)
{
    const QString what = context.line.word(2).toLower();
    if (what == QLatin1String("oem"))
        return raw(context.exchange(QStringLiteral("oem get identifier")).text);
    if (what == QLatin1String("model"))
        return modelText(context);
    QByteArray reply = context.exchange(QStringLiteral("serialnum get ") + what).text;
    if (what == QLatin1String("inst") && shortSerialWanted(context.host))
        reply = shortSerialReply(reply);
    return raw(reply);
}

// menu go TARGET: the invalid-argument code as text (not as an error) for
// an unknown target.
QString menuGo(CommandContext& context)
{
    const QString target = context.line.word(2);
    QString tool;
    if (target == QLatin1String("home"))
        tool = QStringLiteral("ink");
    else if (target == QLatin1String("cal"))
        tool = QStringLiteral("calibration");
    else if (target == QLatin1String("sync") || target == QLatin1String("spotopen") ||
             target == QLatin1String("spotclosed"))
        tool = QStringLiteral("tethered");
    else
        return QString::number(errors::kInvalidArgument.code);
    context.exchange(QStringLiteral("tool goto ") + tool);
    return kDone;
}

// The instrument keeps one profile; an empty name asks which one it is.
QString userProfileSelect(CommandContext& context)
{
    return context.line.word(2).isEmpty() ? QStringLiteral("0 DefaultProfile") : kDone;
}

// meas get filterposition: the instrument has a fixed filter. Other
// questions go to the instrument as they stand.
QString measGet(CommandContext& context)
{
    if (context.line.word(2).toLower() == QLatin1String("filterposition"))
        return QStringLiteral("0");
    return context.passThrough(context.line.text());
}

QString scanGet(CommandContext& context)
{
    if (context.line.word(2) != QLatin1String("preparedness"))
        return QString();
    return context.host.marks().preparednessCounter == 0 ? QStringLiteral("1") : QStringLiteral("0");
}

// tasklist paper 0|1: either value marks the paper task; the answer is
// empty text in both cases.
QString taskListPaper(CommandContext& context)
{
    const QString value = context.line.word(2);
    if (value == QLatin1String("0") || value == QLatin1String("1"))
        context.host.marks().paperTask = true;
    return QString();
}

} // namespace vireo2
