#include "scanning/stream_packets.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

const char* const kConditionNames[ScanRecord::kSetCount] = {"M0", "M1", "M2", "M3"};

bool readSpectrum(const QJsonValue& value, double* out)
{
    const QJsonArray values = value.toArray();
    if (values.size() != ScanRecord::kWavelengthCount)
        return false;
    for (int i = 0; i < ScanRecord::kWavelengthCount; ++i) {
        if (!values.at(i).isDouble())
            return false;
        out[i] = values.at(i).toDouble() * 100.0;
    }
    return true;
}

bool readReading(const QJsonObject& reading, ScanRecord* record)
{
    const QJsonValue time = reading.value(QLatin1String("t"));
    if (!time.isDouble())
        return false;
    (*record)[ScanRecord::kTimeStamp] = time.toDouble();
    int set = 0;
    for (const char* name : kConditionNames) {
        const QJsonValue spectrum = reading.value(QLatin1String(name));
        if (spectrum.isUndefined())
            continue;
        if (!readSpectrum(spectrum, record->spectrum(set)))
            return false;
        ++set;
    }
    return set > 0;
}

} // namespace

bool parseStreamPacket(const QByteArray& json, StreamPacket* packet, QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (!document.isObject()) {
        *error = parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                              : QStringLiteral("not a JSON object");
        return false;
    }
    const QJsonObject object = document.object();
    const QJsonValue readings = object.value(QLatin1String("readings"));
    if (!readings.isArray()) {
        *error = QStringLiteral("no \"readings\" array");
        return false;
    }
    packet->sequence = object.value(QLatin1String("seq")).toInt(-1);
    packet->readings.clear();
    packet->readings.reserve(size_t(readings.toArray().size()));
    for (const QJsonValue& value : readings.toArray()) {
        ScanRecord record;
        if (!value.isObject() || !readReading(value.toObject(), &record)) {
            *error = QStringLiteral("reading %1 is not a time stamp with 31-value spectra").arg(packet->readings.size());
            return false;
        }
        packet->readings.push_back(record);
    }
    return true;
}

StreamPoll Vireo2Scanning::acceptStreamPacket(const QByteArray& json)
{
    StreamPacket packet;
    QString error;
    if (!parseStreamPacket(json, &packet, &error)) {
        log().LogErrorOnly(errors::kScanData, QStringLiteral("FAILED: Invalid scan data packet - %1").arg(error));
        fail();
        return StreamPoll::Failed;
    }
    // A lost packet shows as a gap in the time stamps, which the strip
    // statistics report; the log says where it happened.
    if (lastPacketSequence_ >= 0 && packet.sequence != lastPacketSequence_ + 1)
        log().WriteLine(QStringLiteral("Scan packet %1 follows packet %2").arg(packet.sequence).arg(lastPacketSequence_));
    lastPacketSequence_ = packet.sequence;
    MutexLocker lock(&listMutex_);
    measurements_.insert(measurements_.end(), packet.readings.begin(), packet.readings.end());
    return StreamPoll::MoreData;
}

} // namespace vireo2
