#include "instrument_scanning.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

#include "status_reply.h"

namespace vireo2::sim {
namespace {

constexpr int kOk = 0x00;
constexpr int kMoreFollows = 0x05;
constexpr int kNothingNew = 0x07;
constexpr int kNoData = 0x10;
constexpr int kPacket = 0x90;
constexpr int kOverflow = 0x91;
const char* const kConditions[] = {"M0", "M1", "M2", "M3"};

QJsonArray values(const QVector<double>& spectrum)
{
    QJsonArray array;
    for (double value : spectrum)
        array.append(std::round(value * 1e6) / 1e6);
    return array;
}

} // namespace

InstrumentScanning::InstrumentScanning(std::shared_ptr<TrackRig> rig) : rig_(std::move(rig)) {}

std::optional<QByteArray> InstrumentScanning::reply(const QString& key, const SampleLibrary& library, double noise)
{
    if (key == QLatin1String("scan acquire start")) {
        acquiring_ = true;
        acquired_ = true;
        acquireStartMs_ = rig_->nowMs();
        nextReading_ = 0;
        packetSequence_ = 0;
        phaseOffset_ = 0.0;
        phaseFixed_ = false;
        return statusReply("SCAN", kOk);
    }
    if (key == QLatin1String("scan acquire stop")) {
        if (acquiring_)
            acquireStopMs_ = rig_->nowMs();
        acquiring_ = false;
        return statusReply("SCAN", kOk);
    }
    if (key == QLatin1String("scan get refls"))
        return streamedData(noise);
    if (key == QLatin1String("scan done?")) {
        if (!handScanDone_)
            return statusReply("SCAN", kNothingNew);
        handScanDone_ = false;
        return QByteArray("SCAN 0x00");
    }
    if (key == QLatin1String("scan get patchrecrefls")) {
        if (handScanPatches_.isEmpty())
            return statusReply("SCAN", kNoData);
        return "SCAN 0x00 |" + handScanData(library, noise);
    }
    if (key == QLatin1String("video targeting on") || key == QLatin1String("video targeting off"))
        return statusReply("VIDEO", kOk);
    return std::nullopt;
}

double InstrumentScanning::sampleTime(qint64 index) const
{
    return double(acquireStartMs_) + (double(index) + phaseOffset_) * 1000.0 / kSampleRate;
}

// Readings taken from the start of acquisition up to `ms`.
qint64 InstrumentScanning::readingsUntil(qint64 ms) const
{
    const double intervals = double(ms - acquireStartMs_) * kSampleRate / 1000.0 - phaseOffset_;
    return intervals < 0.0 ? 0 : qint64(std::floor(intervals)) + 1;
}

// With a sampling phase set on the rig, the readings of this acquisition
// fall that fraction of an interval after the traverse's start (once it has
// started; the phase is fixed before the first reading goes out).
void InstrumentScanning::fixSamplingPhase()
{
    if (phaseFixed_)
        return;
    phaseFixed_ = true;
    const double phase = rig_->samplingPhase();
    const qint64 start = rig_->traverseStartMs();
    if (phase < 0.0 || start < acquireStartMs_)
        return;
    const double intervals = double(start - acquireStartMs_) * kSampleRate / 1000.0 + phase;
    phaseOffset_ = intervals - std::floor(intervals);
}

QByteArray InstrumentScanning::streamedData(double noise)
{
    if (!acquired_)
        return statusReply("SCAN", kNothingNew);
    fixSamplingPhase();
    const qint64 end = readingsUntil(acquiring_ ? rig_->nowMs() : acquireStopMs_);
    // Readings wait in the instrument until the track's clock was zeroed:
    // only then do their time stamps place them on the sheet.
    while (nextReading_ < end && rig_->synchronised() && rig_->tickAtTime(sampleTime(nextReading_)) < 0.0)
        ++nextReading_;
    const qint64 waiting = end - nextReading_;
    if (waiting > kBufferedReadings) {
        nextReading_ = end;
        acquiring_ = false;
        return statusReply("SCAN", kOverflow);
    }
    if (waiting <= 0)
        return statusReply("SCAN", acquiring_ ? kMoreFollows : kOk);

    const SheetModel sheet = rig_->sheet();
    QJsonArray readings;
    for (int n = 0; n < kReadingsPerPacket && nextReading_ < end; ++n, ++nextReading_) {
        const double ms = sampleTime(nextReading_);
        const double position = rig_->positionAtTime(ms);
        QJsonObject reading{{QStringLiteral("t"), std::round(rig_->tickAtTime(ms) * 10.0) / 10.0}};
        for (int c = 0; c < 4; ++c) {
            reading.insert(QLatin1String(kConditions[c]),
                           values(sheet.reading(position, kScanAperture, Condition(c), seed_ + quint64(nextReading_) * 7919u,
                                                noise)));
        }
        readings.append(reading);
    }
    const QJsonObject packet{{QStringLiteral("seq"), packetSequence_++}, {QStringLiteral("readings"), readings}};
    return "SCAN 0x90 |" + QJsonDocument(packet).toJson(QJsonDocument::Compact);
}

QByteArray InstrumentScanning::handScanData(const SampleLibrary& library, double noise) const
{
    QJsonArray scan;
    for (int i = 0; i < handScanPatches_.size(); ++i) {
        QJsonObject patch;
        for (int c = 0; c < 4; ++c)
            patch.insert(QLatin1String(kConditions[c]),
                         values(measuredSpectrum(library.at(handScanPatches_.at(i)), Condition(c),
                                                 handScanSeed_ + quint64(i), noise)));
        scan.append(patch);
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("scan"), scan}}).toJson(QJsonDocument::Compact);
}

QString InstrumentScanning::control(const QStringList& args, const SampleLibrary& library)
{
    bool isNumber = false;
    const int count = args.value(0).toInt(&isNumber);
    if (!isNumber || count < 1 || count > 1000)
        return QStringLiteral("SIM 0x01 scan <patches 1..1000> [sample...]");
    QList<int> patches;
    for (int i = 0; i < count; ++i) {
        const QString name = args.value(1 + i % qMax(1, args.size() - 1));
        const int index = args.size() > 1 ? library.indexOf(name) : i % library.size();
        if (index < 0)
            return QStringLiteral("SIM 0x01 unknown sample %1").arg(name);
        patches << index;
    }
    handScanPatches_ = patches;
    handScanSeed_ = ++seed_ * 104729u;
    handScanDone_ = true;
    return QStringLiteral("SIM 0x00 %1").arg(count);
}

} // namespace vireo2::sim
