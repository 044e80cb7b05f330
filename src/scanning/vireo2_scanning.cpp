#include "scanning/vireo2_scanning.h"

#include "scanning/scan_host.h"
#include "scanning/tr3_link.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {

Vireo2Scanning::Vireo2Scanning() = default;

Vireo2Scanning::Vireo2Scanning(ScanHost* host) : host_(host) {}

Vireo2Scanning::~Vireo2Scanning() = default;

LogHelper& Vireo2Scanning::log() const
{
    return host_->log();
}

int Vireo2Scanning::status()
{
    int current = state_.load();
    const bool terminal = current == kDataReady || current == kAbortedOnInstrument || current == kStopped ||
                          current == kFailed;
    if (terminal && state_.compare_exchange_strong(current, kIdle))
        return current;
    return current;
}

bool Vireo2Scanning::connect(const QString& address)
{
    if (!link_)
        link_ = std::make_unique<Tr3Link>(log());
    if (!link_->open(address))
        return false;
    linkUp_ = true;
    expectedPatchCount_ = 0;
    patchWidth_ = 0.0;
    scanRequested_ = false;
    state_ = kIdle;
    return true;
}

void Vireo2Scanning::disconnect()
{
    if (link_)
        link_->close();
    linkUp_ = false;
    scanRequested_ = false;
}

qint32 Vireo2Scanning::exchange(const QString& command, QByteArray& reply)
{
    if (!link_) {
        reply.clear();
        log().setError(errors::kSendNotConnected, errors::kSendNotConnected.message());
        return errors::kSendNotConnected;
    }
    return link_->exchange(command, reply);
}

QString Vireo2Scanning::passThrough(const QString& command)
{
    QByteArray reply;
    if (exchange(command, reply) != 0)
        return QString();
    return QString::fromLatin1(reply);
}

QString Vireo2Scanning::passThroughWithStatus(const QString& command)
{
    QByteArray reply;
    const qint32 status = exchange(command, reply);
    if (status == 0)
        return QStringLiteral("<00>");
    if (Tr3Link::parseStatus(reply, nullptr))
        return QString::fromLatin1(reply);
    return QStringLiteral("FAILED TR3 command %1: error %2").arg(command).arg(status);
}

int Vireo2Scanning::fail()
{
    // The abort below stops the track, and a track that fails to answer
    // there fails again: the outer call sets the state once the abort ends.
    static thread_local bool failing = false;
    if (!host_)
        state_ = kFailed;
    if (failing || !host_)
        return kFailed;
    failing = true;
    const qint32 code = log().errorCode();
    const QString text = QString::fromLatin1(log().errorText());
    // The host learns why its scan ended before it can see the state, also
    // when the status poll runs this; the abort's own exchanges do not
    // replace the cause.
    log().publishError(code, text);
    endScan(kFailed);
    log().publishError(code, text);
    failing = false;
    return kFailed;
}

void Vireo2Scanning::endScan(int finalState)
{
    if (host_) {
        ending_ = true;
        host_->scanAbort();
        ending_ = false;
    }
    state_ = finalState;
}

void Vireo2Scanning::announcePatches()
{
    endScan(kDataReady);
    log().WriteLine(QStringLiteral("Patch Data Ready"));
}

void Vireo2Scanning::markFailed()
{
    log().publishError(log().errorCode(), QString::fromLatin1(log().errorText()));
    state_ = kFailed;
}

void Vireo2Scanning::armScan(int dataSetsPerPatch)
{
    dataSetsPerPatch_ = dataSetsPerPatch;
    MutexLocker lock(&listMutex_);
    patches_.clear();
}

int Vireo2Scanning::patchCount() const
{
    MutexLocker lock(&listMutex_);
    return int(patches_.size());
}

ScanRecordList Vireo2Scanning::patches() const
{
    MutexLocker lock(&listMutex_);
    return patches_;
}

ScanRecordList Vireo2Scanning::measurements() const
{
    MutexLocker lock(&listMutex_);
    return measurements_;
}

void Vireo2Scanning::setPatches(ScanRecordList patches, StripQuality quality)
{
    quality.patches.resize(patches.size(), 0);
    MutexLocker lock(&listMutex_);
    patches_ = std::move(patches);
    quality_ = std::move(quality);
}

int Vireo2Scanning::quality(int index) const
{
    MutexLocker lock(&listMutex_);
    if (index == -1)
        return quality_.strip;
    if (index < 0 || index >= int(quality_.patches.size()))
        return -1;
    return quality_.patches[size_t(index)];
}

void Vireo2Scanning::setPaperReference(double L, double a, double b)
{
    paperLab_ = {L, a, b};
    paperReferenceSet_ = true;
}

} // namespace vireo2
