#include "scanning/stream_packets.h"

#include <QJsonArray>
#include <QStringList>
#include <QJsonObject>
#include <algorithm>
#include <climits>
#include <cmath>

#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"
#include "transport/reply_json.h"

namespace vireo2 {
namespace {

const char* const kConditionNames[ScanRecord::kSetCount] = {"M0", "M1", "M2", "M3"};

QString conditionList(unsigned mask)
{
    QStringList names;
    for (int c = 0; c < ScanRecord::kSetCount; ++c) {
        if (mask & (1u << c))
            names << QLatin1String(kConditionNames[c]);
    }
    return names.join(QLatin1Char(','));
}

// 31 factors in range, stored in percent; the reason otherwise.
QString readSpectrum(const QJsonValue& value, double* out)
{
    const QJsonArray values = value.toArray();
    if (values.size() != ScanRecord::kWavelengthCount)
        return QStringLiteral("is not 31 values");
    for (int i = 0; i < ScanRecord::kWavelengthCount; ++i) {
        if (!values.at(i).isDouble())
            return QStringLiteral("is not 31 values");
        const double factor = values.at(i).toDouble();
        if (!(factor >= StreamPacket::kLowestFactor && factor <= StreamPacket::kHighestFactor))
            return QStringLiteral("holds %1 at %2 nm").arg(factor).arg(400 + 10 * i);
        out[i] = factor * 100.0;
    }
    return QString();
}

// One reading: its time stamp and spectra into `record`, the conditions it
// carries into `conditions`; the reason when it cannot be used.
QString readReading(const QJsonValue& value, ScanRecord* record, unsigned* conditions)
{
    const QJsonObject reading = value.toObject();
    const QJsonValue time = reading.value(QLatin1String("t"));
    if (!value.isObject() || !time.isDouble() || !std::isfinite(time.toDouble()))
        return QStringLiteral("is not a time stamp with 31-value spectra");
    (*record)[ScanRecord::kTimeStamp] = time.toDouble();
    int set = 0;
    *conditions = 0;
    for (int c = 0; c < ScanRecord::kSetCount; ++c) {
        const QJsonValue spectrum = reading.value(QLatin1String(kConditionNames[c]));
        if (spectrum.isUndefined())
            continue;
        const QString wrong = readSpectrum(spectrum, record->spectrum(set));
        if (!wrong.isEmpty())
            return QStringLiteral("%1 %2").arg(QLatin1String(kConditionNames[c]), wrong);
        *conditions |= 1u << c;
        ++set;
    }
    return set > 0 ? QString() : QStringLiteral("is not a time stamp with 31-value spectra");
}

bool readSequence(const QJsonValue& value, int* sequence)
{
    const double number = value.toDouble(-1.0);
    if (!value.isDouble() || number < 0.0 || number > double(INT_MAX) || number != std::floor(number))
        return false;
    *sequence = int(number);
    return true;
}

} // namespace

bool parseStreamPacket(const QByteArray& json, StreamPacket* packet, QString* error)
{
    QString parseError;
    const QJsonDocument document = parseReplyJson(json, &parseError);
    if (!document.isObject()) {
        *error = !parseError.isEmpty() ? parseError : QStringLiteral("not a JSON object");
        return false;
    }
    const QJsonObject object = document.object();
    const QJsonValue readings = object.value(QLatin1String("readings"));
    if (!readings.isArray()) {
        *error = QStringLiteral("no \"readings\" array");
        return false;
    }
    if (!readSequence(object.value(QLatin1String("seq")), &packet->sequence)) {
        *error = QStringLiteral("\"seq\" is not a whole number from 0");
        return false;
    }
    const QJsonArray list = readings.toArray();
    packet->readings.clear();
    packet->readings.reserve(size_t(list.size()));
    packet->conditions = 0;
    for (const QJsonValue& value : list) {
        const int index = int(packet->readings.size());
        ScanRecord record;
        unsigned conditions = 0;
        const QString wrong = readReading(value, &record, &conditions);
        if (!wrong.isEmpty()) {
            *error = QStringLiteral("reading %1 %2").arg(index).arg(wrong);
            return false;
        }
        if (index > 0 && conditions != packet->conditions) {
            *error = QStringLiteral("reading %1 carries %2 after %3")
                         .arg(index)
                         .arg(conditionList(conditions), conditionList(packet->conditions));
            return false;
        }
        if (index > 0 && record[ScanRecord::kTimeStamp] <= packet->readings.back()[ScanRecord::kTimeStamp]) {
            *error = QStringLiteral("reading %1 is stamped %2, after %3")
                         .arg(index)
                         .arg(record[ScanRecord::kTimeStamp])
                         .arg(packet->readings.back()[ScanRecord::kTimeStamp]);
            return false;
        }
        packet->conditions = conditions;
        packet->readings.push_back(record);
    }
    return true;
}

void Vireo2Scanning::beginAcquisition()
{
    lastPacketSequence_ = -1;
    lastTimeStamp_ = -1.0;
    streamConditions_ = 0;
}

StreamPoll Vireo2Scanning::acceptStreamPacket(const QByteArray& json)
{
    StreamPacket packet;
    QString error;
    if (!parseStreamPacket(json, &packet, &error))
        return refusePacket(error);
    // A packet sent again (its sequence number and time stamps seen
    // already) is dropped; any other step back in time is refused.
    if (packet.sequence == lastPacketSequence_ && !packet.readings.empty() &&
        packet.readings.front()[ScanRecord::kTimeStamp] <= lastTimeStamp_) {
        log().WriteLine(QStringLiteral("Scan packet %1 received again, dropped").arg(packet.sequence));
        return StreamPoll::MoreData;
    }
    // Readings stamped before the track's clock started precede the
    // traverse: they have no place on the sheet.
    const auto placed = std::find_if(packet.readings.begin(), packet.readings.end(),
                                     [](const ScanRecord& r) { return r[ScanRecord::kTimeStamp] >= 0.0; });
    if (placed != packet.readings.begin()) {
        log().WriteLine(QStringLiteral("Scan packet %1: %2 readings stamped before the track's clock started, dropped")
                            .arg(packet.sequence)
                            .arg(placed - packet.readings.begin()));
        packet.readings.erase(packet.readings.begin(), placed);
    }
    if (packet.readings.empty()) {
        lastPacketSequence_ = packet.sequence;
        return StreamPoll::MoreData;
    }
    const double first = packet.readings.front()[ScanRecord::kTimeStamp];
    if (first <= lastTimeStamp_)
        return refusePacket(QStringLiteral("packet %1 starts at %2, after %3").arg(packet.sequence).arg(first).arg(lastTimeStamp_));
    if (streamConditions_ != 0 && packet.conditions != streamConditions_)
        return refusePacket(QStringLiteral("packet %1 carries %2 after %3")
                                .arg(packet.sequence)
                                .arg(conditionList(packet.conditions), conditionList(streamConditions_)));
    // A lost packet shows as a gap in the time stamps, which the strip
    // statistics report; the log says where it happened.
    if (lastPacketSequence_ >= 0 && packet.sequence != lastPacketSequence_ + 1)
        log().WriteLine(QStringLiteral("Scan packet %1 follows packet %2").arg(packet.sequence).arg(lastPacketSequence_));
    MutexLocker lock(&listMutex_);
    if (measurements_.size() + packet.readings.size() > size_t(kMaximumReadings)) {
        lock.unlock();
        log().LogErrorOnly(errors::kScanData, QStringLiteral("FAILED: Scan data exceeds %1 readings").arg(kMaximumReadings));
        fail();
        return StreamPoll::Failed;
    }
    measurements_.insert(measurements_.end(), packet.readings.begin(), packet.readings.end());
    lastPacketSequence_ = packet.sequence;
    lastTimeStamp_ = packet.readings.back()[ScanRecord::kTimeStamp];
    streamConditions_ = packet.conditions;
    return StreamPoll::MoreData;
}

StreamPoll Vireo2Scanning::refusePacket(const QString& reason)
{
    log().LogErrorOnly(errors::kScanData, QStringLiteral("FAILED: Invalid scan data packet - %1").arg(reason));
    fail();
    return StreamPoll::Failed;
}

} // namespace vireo2
