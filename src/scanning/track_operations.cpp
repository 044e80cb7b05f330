// The track operations of the scanning engine: stop, home, head motion, the
// two reference readings, configuration, and the start of a traverse.
#include <QThread>
#include <cmath>
#include <algorithm>

#include "scanning/scan_host.h"
#include "scanning/tr3_commands.h"
#include "scanning/tr3_link.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr double kMinimumWidth = 2.99;
constexpr double kMaximumWidth = 20.01;
constexpr double kMovingSpeed = 4.0;  // mm/s; slower counts as standing
// Before the traverse starts; after it, the head settles kSettleMs.
constexpr int kStartDelayMs = 100;
constexpr int kSettleMs = 250;
constexpr int kDrainReadMs = 100;

bool widthAccepted(double width)
{
    return width >= kMinimumWidth && width <= kMaximumWidth;
}

} // namespace

bool Vireo2Scanning::stop()
{
    // A scan that ends on its own sets its final state after this stop.
    if (state_ == kScanning && !ending_)
        state_ = kStopped;
    if (linkUp_ && link_ && link_->transportOpen()) {
        QByteArray reply;
        exchange(QLatin1String(tr3::kParkSensor), reply);
        atHome_ = reply == "1";
        if (!atHome_) {
            if (headMoving())
                exchange(QLatin1String(tr3::kHalt), reply);
            exchange(QLatin1String(tr3::kReturnHome), reply);
        }
    }
    scanRequested_ = false;
    return true;
}

bool Vireo2Scanning::home()
{
    if (host_)
        host_->scanAbort();
    state_ = kIdle;
    if (!linkUp_)
        return true;
    for (int poll = 0; poll < kHomePolls; ++poll) {
        QThread::msleep(kHomePollMs);
        QByteArray reply;
        if (exchange(QLatin1String(tr3::kParkSensor), reply) != 0) {
            log().LogErrorOnly(errors::kHeadPosition, errors::kHeadPosition.message());
            return false;
        }
        if (reply.trimmed().toInt() == 1)
            return true;
    }
    state_ = kHeadNotHome;
    log().LogErrorOnly(errors::kHeadNotHome, errors::kHeadNotHome.message());
    return true;
}

bool Vireo2Scanning::headMoving()
{
    if (!linkUp_)
        return false;
    QByteArray reply;
    if (exchange(QLatin1String(tr3::kPosition), reply) != 0) {
        fail();
        return false;
    }
    const QStringList fields = QString::fromLatin1(reply).split(QStringLiteral(", "), Qt::SkipEmptyParts);
    return fields.size() > 2 && fields.at(2).toDouble() > kMovingSpeed;
}

// Fields 1 and 3 of a reference reply ("04,A,pA,B" or "14,C,pC,D"); a
// field that is no finite number ("nan" passes every comparison made with
// it) makes the reply invalid.
bool Vireo2Scanning::referenceReply(const QString& command, double* first, double* second, QByteArray& reply)
{
    if (exchange(command, reply) != 0)
        return false;
    const QStringList fields = QString::fromLatin1(reply).split(QLatin1Char(','));
    bool firstOk = false, secondOk = false;
    *first = fields.value(1).toDouble(&firstOk);
    *second = fields.value(3).toDouble(&secondOk);
    if (fields.size() < 4 || !firstOk || !secondOk || !std::isfinite(*first) || !std::isfinite(*second)) {
        log().LogErrorOnly(errors::kScanData, QStringLiteral("Invalid data from TR3: %1 = %2").arg(command, QString::fromLatin1(reply)));
        return false;
    }
    return true;
}

bool Vireo2Scanning::readReferences()
{
    double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
    QByteArray reply;
    if (!referenceReply(QLatin1String(tr3::kStartReferences), &a, &b, reply))
        return false;
    if (a >= b) {
        log().LogErrorOnly(errors::kScanData, QStringLiteral("Invalid data from TR3: %1 = %2").arg(QLatin1String(tr3::kStartReferences), QString::fromLatin1(reply)));
        return false;
    }
    if (!referenceReply(QLatin1String(tr3::kStopReferences), &c, &d, reply))
        return false;
    if (!(b < c && c < d)) {
        log().LogErrorOnly(errors::kScanData, QStringLiteral("Invalid data from TR3: %1 = %2").arg(QLatin1String(tr3::kStopReferences), QString::fromLatin1(reply)));
        return false;
    }
    refA_ = a;
    refB_ = b;
    refC_ = c;
    refD_ = d;
    motion_ = MotionProfile{a, b, c, d, trackSpeed_, 0.0};
    return true;
}

bool Vireo2Scanning::configure(int patchCount, double patchWidth)
{
    if (!widthAccepted(patchWidth)) {
        log().LogErrorOnly(errors::kInvalidPatchWidth, errors::kInvalidPatchWidth.message());
        return false;
    }
    expectedPatchCount_ = patchCount;
    patchWidth_ = patchWidth;
    setPatches({});
    trackSpeed_ = std::min((patchWidth - kMargin) * kSampleRate / kSamplesPerPatch, kMaximumSpeed);
    sampleSpacing_ = trackSpeed_ / kSampleRate;
    return true;
}

bool Vireo2Scanning::autoConfigure(const QStringList& words)
{
    if (!linkUp_) {
        log().LogErrorOnly(errors::kTrackNotConnected, errors::kTrackNotConnected.message());
        return false;
    }
    const double width = words.value(1).toDouble();
    if (!widthAccepted(width)) {
        log().LogErrorOnly(errors::kInvalidPatchWidth,
                           QStringLiteral("FAILED AutoScanConfig: Invalid patch width (minimum = 3.0, maximum = 20.0)"));
        return false;
    }
    return configure(expectedPatchCount_, width);
}

bool Vireo2Scanning::prepareTrackScan(const QStringList& words)
{
    if (patchLimit_ == 1) {
        state_ = kStopped;
        return true;
    }
    if (!linkUp_) {
        log().LogErrorOnly(errors::kTrackNotConnected, errors::kTrackNotConnected.message());
        return false;
    }
    sheetNumber_ = words.size() > 1 ? words.at(1).toInt() : 0;
    scanRequested_ = false;
    if (!link_->transportOpen() && !link_->reopen()) {
        markFailed();
        return false;
    }
    readTraverseLength();
    return true;
}

// The track reports its usable length as field 3 of "xp".
void Vireo2Scanning::readTraverseLength()
{
    QByteArray reply;
    if (exchange(QLatin1String(tr3::kPosition), reply) != 0)
        return;
    const QStringList fields = QString::fromLatin1(reply).split(QStringLiteral(", "), Qt::SkipEmptyParts);
    bool ok = false;
    const double length = fields.value(3).toDouble(&ok);
    if (ok && length > 0.0 && std::isfinite(length))
        traverseLength_ = length;
}

bool Vireo2Scanning::startTraverse()
{
    QThread::msleep(kStartDelayMs);
    QByteArray reply;
    if (exchange(QLatin1String(tr3::kZeroClock), reply) != 0)
        return false;
    const QString move = tr3::traverse(trackSpeed_, std::min(traverseLength_, kMaximumTraverse));
    if (exchange(move, reply) != 0) {
        fail();
        return false;
    }
    if (!link_->drain(kDrainReadMs)) {
        log().LogErrorOnly(errors::kReceiveTimeout, QStringLiteral("FAILED: TR3 still sending after %1 ms").arg(Tr3Link::kDrainLimitMs));
        fail();
        return false;
    }
    QThread::msleep(kSettleMs);
    log().ProfileMark();
    atHome_ = false;
    {
        MutexLocker lock(&listMutex_);
        measurements_.clear();
    }
    beginAcquisition();
    state_ = kScanning;
    return true;
}

} // namespace vireo2
