// The scan exports in both modes: on the track the scanning engine does the
// work; on the instrument the library configures the instrument's scan
// screen, starts and stops it, and serves the patches read back by the
// status poll.
#include <QJsonArray>
#include <algorithm>
#include <cmath>
#include <QJsonDocument>
#include <QJsonObject>

#include "device/port_lock.h"
#include "device/vireo2.h"
#include "scanning/vireo2_scanning.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kScreenTimeoutMs = 5000;
constexpr int kAbortTimeoutMs = 3000;

// The tethered scan screen: scan mode at the patch width, the measure button
// and main menu available, no texts, images or button labels.
QByteArray scanScreen(double patchWidth)
{
    QJsonArray buttons;
    for (const char* id : {"Primary_1", "Primary_2", "Secondary_1", "Secondary_2"})
        buttons.append(QJsonObject{{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("text"), QString()}});
    // QJsonObject sorts its members; the instrument reads them in this order,
    // so the object is written member by member.
    const QList<QPair<QString, QJsonValue>> members = {
        {QStringLiteral("measureButtonVisible"), true},
        {QStringLiteral("mainMenuAccessible"), true},
        {QStringLiteral("scanPatchWidth_mm"), patchWidth},
        {QStringLiteral("scanPatchGapWidth_mm"), 0},
        {QStringLiteral("measureMode"), QStringLiteral("SCAN")},
        {QStringLiteral("primaryLoadingVisible"), false},
        {QStringLiteral("primaryText"), QString()},
        {QStringLiteral("secondaryText"), QString()},
        {QStringLiteral("primaryImage"), QString()},
        {QStringLiteral("secondaryImage"), QString()},
        {QStringLiteral("buttons"), buttons},
    };
    QByteArray json = "{\"tethered\":{";
    for (int i = 0; i < members.size(); ++i) {
        if (i > 0)
            json += ',';
        // One-member documents give each value's compact JSON form.
        const QByteArray pair = QJsonDocument(QJsonObject{{members[i].first, members[i].second}}).toJson(QJsonDocument::Compact);
        json += pair.mid(1, pair.size() - 2);
    }
    json += "}}";
    return json;
}

QString formatTrackValues(const ScanRecord& patch, int set)
{
    QString text;
    for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
        text += QStringLiteral("%1 ").arg(patch.spectral(set, i), 5, 'g', 6);
    return text;
}

} // namespace

int Vireo2::ScanIsSupported()
{
    return 1;
}

int Vireo2::ScanConfig(int patchCount, float patchWidthMm)
{
    // A negative count and a width that is no positive number describe no
    // strip; the instrument would be sent "null" for the width.
    if (patchCount < 0) {
        log_->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED scanConfig: Invalid patch count"));
        return 0;
    }
    if (!std::isfinite(patchWidthMm) || !(patchWidthMm > 0.0f)) {
        log_->LogErrorOnly(errors::kInvalidPatchWidth, errors::kInvalidPatchWidth.message());
        return 0;
    }
    if (trackInUse_)
        return scanning_->configure(patchCount, patchWidthMm) ? 1 : 0;
    PortLock lock(*this);
    if (lock.failed())
        return 0;
    scanning_->setLayout(patchCount, patchWidthMm);
    if (!IsConnected())
        return 0;
    const QByteArray command = "tethered configure 0 ! |" + scanScreen(double(patchWidthMm));
    QByteArray reply;
    return Transact(QString::fromUtf8(command), reply, kScreenTimeoutMs) == 0 ? 1 : 0;
}

int Vireo2::ScanStart()
{
    if (trackInUse_) {
        scanning_->armScan(singleAngle_ ? 1 : GetSpectralSetCount());
        return 1;
    }
    PortLock lock(*this);
    if (lock.failed())
        return 0;
    int result = 1;
    QByteArray reply;
    if (!IsConnected())
        return 0;
    qint32 status = Transact(QStringLiteral("tool query"), reply, kScreenTimeoutMs);
    if (!QString::fromUtf8(reply).toLower().contains(QLatin1String("tethered"))) {
        if (!IsConnected())
            return 0;
        status = Transact(QStringLiteral("tool goto tethered"), reply, kScreenTimeoutMs);
    }
    if (status != 0)
        result = 0;
    if (!IsConnected())
        return 0;
    if (Transact(QStringLiteral("video targeting on"), reply, kScreenTimeoutMs) != 0)
        result = 0;
    const int patchCount = scanning_->expectedPatchCount();
    const double patchWidth = scanning_->patchWidth();
    if (patchCount > 0 && patchWidth > 0.0) {
        if (!IsConnected())
            return 0;
        result = ScanConfig(patchCount, float(patchWidth));
    }
    return result;
}

int Vireo2::ScanAbort()
{
    PortLock lock(*this);
    if (lock.failed())
        return 0;
    QByteArray reply;
    if (trackInUse_) {
        if (IsConnected())
            Transact(QStringLiteral("Scan Acquire Stop"), reply, kAbortTimeoutMs);
        const int result = scanning_->stop() ? 1 : 0;
        if (IsConnected())
            Transact(QStringLiteral("Button Triggered?"), reply, kAbortTimeoutMs);
        scanTrigger_ = QStringLiteral("0");
        return result;
    }
    if (!IsConnected())
        return 0;
    Transact(QStringLiteral("tool goto previoustool"), reply, kAbortTimeoutMs);
    if (!reply.contains("0x00") || !IsConnected())
        return 0;
    return Transact(QStringLiteral("video targeting off"), reply, kScreenTimeoutMs) == 0 ? 1 : 0;
}

int Vireo2::ScanGetStatus()
{
    if (trackInUse_)
        return scanning_->status();
    if (scanAborted_.exchange(false))
        return Vireo2Scanning::kAbortedOnInstrument;
    return scanResultCode_.exchange(0);
}

int Vireo2::ScanGetCount()
{
    if (trackInUse_)
        return scanning_->patchCount();
    MutexLocker lock(&scannedMutex_);
    const int stored = scannedPatches_.size();
    const int expected = scanning_->expectedPatchCount();
    return expected >= 1 ? qMin(stored, expected) : stored;
}

QString Vireo2::ScanGetData(int patchIndex, int dataSet)
{
    if (trackInUse_) {
        const ScanRecordList patches = scanning_->patches();
        if (patchIndex < 0 || patchIndex >= int(patches.size())) {
            log_->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED scanGetData: patchIndex out of range"));
            return QString();
        }
        if (dataSet >= 0 && dataSet < GetSpectralSetCount())
            return formatTrackValues(patches[size_t(patchIndex)], dataSet);
        log_->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED scanGetData: dataSet out of range"));
        return QString();
    }
    MutexLocker lock(&scannedMutex_);
    if (patchIndex < 0 || patchIndex >= scannedPatches_.size())
        return QString();
    const auto& patch = scannedPatches_.at(patchIndex);
    if (dataSet < 0 || dataSet >= patch.size())
        return QString();
    QString text;
    for (double value : patch.at(dataSet))
        text += QString::number(value, 'g', 6) + QLatin1Char(' ');
    return text;
}

// The instrument cuts hand scans itself: the library can only tell that
// fewer patches came than were configured.
int Vireo2::scanQuality(int patchIndex)
{
    if (trackInUse_)
        return scanning_->quality(patchIndex);
    MutexLocker lock(&scannedMutex_);
    const int stored = scannedPatches_.size();
    const int expected = scanning_->expectedPatchCount();
    if (patchIndex == -1)
        return expected >= 1 && stored < expected ? quality::kShort : 0;
    const int visible = expected >= 1 ? qMin(stored, expected) : stored;
    return patchIndex >= 0 && patchIndex < visible ? 0 : -1;
}

int Vireo2::copyPatchRecord(int patchIndex, double* values, int capacity)
{
    if (!trackInUse_ || capacity < 0)
        return -1;
    const ScanRecordList patches = scanning_->patches();
    if (patchIndex < 0 || patchIndex >= int(patches.size()))
        return -1;
    const int count = qMin(capacity, ScanRecord::kHeaderCount);
    std::copy_n(patches[size_t(patchIndex)].values.data(), count, values);
    return count;
}

} // namespace vireo2
