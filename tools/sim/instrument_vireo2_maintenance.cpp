// The simulated instrument's maintenance commands: clones (its whole
// configuration as one opaque image), the firmware receiver that digests
// each packet after a delay, and the NetAdjuster correction-profile store.
#include <QJsonDocument>
#include <QJsonObject>

#include "instrument_vireo2.h"
#include "status_reply.h"

namespace vireo2::sim {
namespace {

constexpr int kOk = 0x00;
constexpr int kInvalidArgument = 0x02;
constexpr int kInProgress = 0x05;
constexpr int kNoData = 0x10;
const QByteArray kFirmwareMagic = "VIREO2-FW ";

} // namespace

std::optional<QByteArray> SimulatedVireo2::maintenanceReply(const QString& key, const QStringList& words,
                                                            const QByteArray& command)
{
    if (key == QLatin1String("clone create")) {
        const QJsonObject image{{QStringLiteral("deviceName"), options_.deviceName},
                                {QStringLiteral("tool"), tool_},
                                {QStringLiteral("storage"), storage_.snapshot()},
                                {QStringLiteral("netadjuster"), QJsonObject::fromVariantMap(profileValues_)}};
        storage_.offerStream(QStringLiteral("clone"), QJsonDocument(image).toJson(QJsonDocument::Compact));
        return statusReply("CLONE", kOk);
    }
    if (key == QLatin1String("clone receive !") || key == QLatin1String("clone receive"))
        return storage_.nextChunk("CLONE", QStringLiteral("clone"));
    if (key == QLatin1String("clone restore")) {
        const QJsonObject image = QJsonDocument::fromJson(storage_.takePending(QStringLiteral("clone send"))).object();
        if (image.isEmpty())
            return statusReply("CLONE", kInvalidArgument);
        options_.deviceName = image.value(QStringLiteral("deviceName")).toString(options_.deviceName);
        tool_ = image.value(QStringLiteral("tool")).toString(tool_);
        storage_.restore(image.value(QStringLiteral("storage")).toObject());
        profileValues_ = image.value(QStringLiteral("netadjuster")).toObject().toVariantMap();
        return statusReply("CLONE", kOk);
    }

    // Firmware: "system update N ! |bytes" packets, each digested after a
    // delay ("system done?" answers 0x05 until then).
    if (words.size() >= 3 && key.startsWith(QLatin1String("system update "))) {
        const int bar = command.indexOf('|');
        if (bar < 0)
            return statusReply("SYSTEM", kInvalidArgument);
        if (command.left(bar).trimmed().endsWith('!'))
            firmwareImage_.clear();
        firmwareImage_ += command.mid(bar + 1);
        firmwareLastPacket_ = words.at(2) == QLatin1String("0");
        digestDueMs_ = clock_.elapsed() + digestDelayMs_;
        return statusReply("SYSTEM", kOk);
    }
    if (key == QLatin1String("system done?")) {
        if (clock_.elapsed() < digestDueMs_)
            return statusReply("SYSTEM", kInProgress);
        if (firmwareLastPacket_ && firmwareImage_.startsWith(kFirmwareMagic)) {
            options_.firmwareVersion = QString::fromUtf8(firmwareImage_.mid(kFirmwareMagic.size()).split('\n').value(0)).trimmed();
            firmwareLastPacket_ = false;
        }
        return statusReply("SYSTEM", kOk);
    }

    // NetAdjuster profile: arrays set per condition, read back, committed.
    if (key.startsWith(QLatin1String("netadjuster set ")) && words.size() >= 4) {
        const bool array = words.at(2).size() == 2 && words.at(2).at(0).toUpper() == QLatin1Char('M');
        if (array)
            profileValues_.insert(words.at(2).toUpper() + QLatin1Char(' ') + words.at(3).toLower(), words.mid(4).join(QLatin1Char(' ')));
        else
            profileValues_.insert(words.at(2).toLower(), words.mid(3).join(QLatin1Char(' ')));
        return statusReply("NETADJUSTER", kOk);
    }
    if (key.startsWith(QLatin1String("netadjuster get ")) && words.size() == 4) {
        const QString name = words.at(2).toUpper() + QLatin1Char(' ') + words.at(3).toLower();
        if (!profileValues_.contains(name))
            return statusReply("NETADJUSTER", kNoData);
        return statusReply("NETADJUSTER", kOk, profileValues_.value(name).toString().toUtf8());
    }
    if (key == QLatin1String("netadjuster store")) {
        profile_ = Profile::Enabled;
        return statusReply("NETADJUSTER", kOk);
    }
    return std::nullopt;
}

} // namespace vireo2::sim
