// Housekeeping commands of the simulated Vireo2: its clock, its device
// name, the tool on its screen, the tethered screen description and the
// battery; with the control lines that change them.
#include <QDateTime>
#include <QJsonDocument>

#include "instrument_vireo2.h"
#include "status_reply.h"

namespace vireo2::sim {
namespace {

constexpr int kOk = 0x00;
constexpr int kInvalidArgument = 0x02;
constexpr int kLargestBlob = 64 * 1024 * 1024;

// "clock write Y M D h m s": six numbers forming a valid date and time.
std::optional<QDateTime> clockTime(const QStringList& numbers)
{
    if (numbers.size() != 6)
        return std::nullopt;
    int values[6] = {};
    for (int i = 0; i < 6; ++i) {
        bool isNumber = false;
        values[i] = numbers.at(i).toInt(&isNumber);
        if (!isNumber)
            return std::nullopt;
    }
    const QDateTime time(QDate(values[0], values[1], values[2]), QTime(values[3], values[4], values[5]), Qt::UTC);
    if (!time.isValid())
        return std::nullopt;
    return time;
}

} // namespace

std::optional<QByteArray> SimulatedVireo2::housekeepingReply(const QString& key, const QStringList& words,
                                                             const QByteArray& command)
{
    if (key == QLatin1String("clock read")) {
        const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(clockOffsetS_);
        return statusReply("CLOCK", kOk, now.toString(QStringLiteral("yyyy MM dd hh mm ss")).toUtf8());
    }
    if (key.startsWith(QLatin1String("clock write "))) {
        const auto time = clockTime(words.mid(2));
        if (!time)
            return statusReply("CLOCK", kInvalidArgument);
        clockOffsetS_ = QDateTime::currentDateTimeUtc().secsTo(*time);
        return statusReply("CLOCK", kOk);
    }
    if (key.startsWith(QLatin1String("serialnum set devicename ")) && words.size() > 3) {
        options_.deviceName = words.mid(3).join(QLatin1Char(' '));
        return statusReply("SERIALNUM", kOk);
    }
    if (key == QLatin1String("oem get identifier"))
        return statusReply("OEM", kOk, options_.oemIdentifier.toUtf8());
    // A reply of N bytes for measuring transfers: "BLOB 0x00 " and N bytes.
    if (key.startsWith(QLatin1String("blob get ")) && words.size() == 3) {
        bool isNumber = false;
        const int size = words.at(2).toInt(&isNumber);
        if (!isNumber || size < 0 || size > kLargestBlob)
            return statusReply("BLOB", kInvalidArgument);
        if (size != blobSize_) {
            QByteArray blob(size, 'b');
            for (int i = 0; i < size; i += 64)
                blob[i] = char('0' + (i / 64) % 10);
            blobReply_ = statusReply("BLOB", kOk, blob);
            blobSize_ = size;
        }
        return blobReply_;
    }
    if (key == QLatin1String("tool query"))
        return statusReply("TOOL", kOk, tool_.toUtf8());
    if (key.startsWith(QLatin1String("tool goto ")) && words.size() >= 3) {
        const QString tool = words.at(2).toLower();
        const QString next = tool == QLatin1String("previoustool") ? previousTool_ : tool;
        previousTool_ = tool_;
        tool_ = next;
        return statusReply("TOOL", kOk);
    }
    if (key == QLatin1String("battery get state")) {
        return statusReply("BATTERY", kOk,
                           QByteArray::number(options_.batteryPercent) +
                               (options_.charging ? " CHARGING" : " DISCHARGING"));
    }
    // The screen description follows the first "|" as one JSON object.
    if (key.startsWith(QLatin1String("tethered configure"))) {
        const int bar = command.indexOf('|');
        const bool valid = bar >= 0 && QJsonDocument::fromJson(command.mid(bar + 1)).isObject();
        return statusReply("TETHERED", valid ? kOk : kInvalidArgument);
    }
    return std::nullopt;
}

void SimulatedVireo2::installHousekeepingControls()
{
    auto ok = [](const QString& value) { return QStringLiteral("SIM 0x00 ") + value; };

    controls_.insert(QStringLiteral("battery"), [this, ok](const QStringList& args) {
        if (!args.isEmpty()) {
            bool isNumber = false;
            const int percent = args.at(0).toInt(&isNumber);
            const QString charger = args.value(1).toLower();
            if (!isNumber || percent < 0 || percent > 100 ||
                !(charger.isEmpty() || charger == QLatin1String("charging") || charger == QLatin1String("discharging")))
                return QStringLiteral("SIM 0x01 battery <percent> [charging|discharging]");
            options_.batteryPercent = percent;
            if (!charger.isEmpty())
                options_.charging = charger == QLatin1String("charging");
        }
        return ok(QString::number(options_.batteryPercent) +
                  (options_.charging ? QStringLiteral(" charging") : QStringLiteral(" discharging")));
    });
    controls_.insert(QStringLiteral("tool"), [this, ok](const QStringList& args) {
        if (!args.isEmpty()) {
            previousTool_ = tool_;
            tool_ = args.at(0).toLower();
        }
        return ok(tool_);
    });
    controls_.insert(QStringLiteral("clock"), [this, ok](const QStringList&) {
        return ok(QDateTime::currentDateTimeUtc().addSecs(clockOffsetS_).toString(QStringLiteral("yyyy MM dd hh mm ss")));
    });
    auto identity = [this, ok](QString DefaultInstrumentOptions::*field) {
        return [this, ok, field](const QStringList& args) {
            if (!args.isEmpty())
                options_.*field = args.join(QLatin1Char(' '));
            return ok(options_.*field);
        };
    };
    controls_.insert(QStringLiteral("devicename"), identity(&DefaultInstrumentOptions::deviceName));
    controls_.insert(QStringLiteral("oem"), identity(&DefaultInstrumentOptions::oemIdentifier));
}

} // namespace vireo2::sim
