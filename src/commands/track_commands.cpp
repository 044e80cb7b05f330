// The track-scan commands: configuration and start of a traverse, the raw
// track link, homing, the paper reference, replay, and the results of the
// last traverse.
#include <QElapsedTimer>
#include <QThread>
#include <cmath>
#include <limits>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "scanning/tr3_commands.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kAcquireTimeoutMs = 3000;
constexpr int kTriggerTimeoutMs = 5000;
constexpr int kPaperAcquisitionMs = 5000;
constexpr int kDefaultAcquisition = 400;
constexpr qint32 kBatteryStatus = 0x1B;
// Strips of one sheet: each is its own traverse and its own strip files.
constexpr int kMostStrips = 1000;
// The readings of the paper acquisition arrive in a few packets right after
// the stop; an instrument still announcing more after as long as the
// acquisition itself took has nothing real left to send.
constexpr int kPaperDrainLimitMs = kPaperAcquisitionMs;

// A decimal number; "nan", "inf" and overflowing text are refused.
double numberArgument(const QString& word)
{
    bool ok = false;
    const double value = word.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        throw ArgumentFault{errors::kInvalidArgument};
    return value;
}

QString millimetres(double value)
{
    return QString::number(value, 'f', 2);
}

void requireOk(CommandContext& context, const QString& command, int timeoutMs)
{
    if (!context.exchange(command, timeoutMs).ok())
        context.fail();
}

// Polls "Scan Get Refls" while it announces more, for a bounded time.
void drainPaperReadings(CommandContext& context)
{
    QElapsedTimer timer;
    timer.start();
    while (context.host.scans().pollStreamedScan() == StreamPoll::MoreData) {
        if (timer.elapsed() > kPaperDrainLimitMs) {
            context.host.log().LogErrorOnly(
                errors::kReceiveTimeout,
                QStringLiteral("FAILED AutoScanConfig: readings still announced after %1 ms").arg(timer.elapsed()));
            context.fail();
        }
    }
}

} // namespace

QString scanStart(CommandContext& context)
{
    if (!context.host.scans().scanStart())
        context.fail();
    return QStringLiteral("<00>");
}

// "autoscanconfig WIDTH [ACQUIRE]": configures the track for the width;
// ACQUIRE 1 first records 5 s of readings with the head standing still.
// Builds patches from what was recorded and answers "<00>".
QString autoScanConfig(CommandContext& context)
{
    Vireo2Scanning& engine = context.host.scans().scanning();
    if (!engine.autoConfigure(context.line.words()))
        context.fail();
    const QString acquire = context.line.word(2);
    bool ok = false;
    const int mode = acquire.isEmpty() ? kDefaultAcquisition : acquire.toInt(&ok);
    if (mode == 1) {
        requireOk(context, QStringLiteral("Scan Acquire Start"), kAcquireTimeoutMs);
        engine.beginAcquisition();
        QThread::msleep(kPaperAcquisitionMs);
        requireOk(context, QStringLiteral("Scan Acquire Stop"), kAcquireTimeoutMs);
        drainPaperReadings(context);
    }
    const QString result = engine.scanRecordedData();
    if (result.isEmpty())
        context.fail();
    return result;
}

// "autoscanstart [SHEET]": prepares the track, starts the instrument's
// acquisition and the traverse; the status poll follows the scan from there.
QString autoScanStart(CommandContext& context)
{
    Vireo2Scanning& engine = context.host.scans().scanning();
    if (!engine.prepareTrackScan(context.line.words()))
        context.fail();
    if (engine.state() == Vireo2Scanning::kStopped)
        return QStringLiteral("<00>");
    LogHelper& log = context.host.log();
    if (context.host.calibrationStatus() != 0) {
        context.host.scans().scanAbort();
        log.LogErrorOnly(errors::kTrackNeedsCalibration, errors::kTrackNeedsCalibration.message());
        throw CommandFailed{errors::kTrackNeedsCalibration};
    }
    context.exchange(QStringLiteral("Button Triggered?"), kTriggerTimeoutMs);
    const CommandContext::Reply started = context.exchange(QStringLiteral("Scan Acquire Start"), kAcquireTimeoutMs);
    if (!started.ok()) {
        engine.fail();
        if (started.status == kBatteryStatus)
            log.LogErrorOnly(errors::kBatteryLow, errors::kBatteryLow.message());
        else
            log.LogErrorOnly(errors::kInstrumentStatus, QStringLiteral("Instrument Status Code <0x%02X>.").arg(started.status));
        context.fail();
    }
    if (!engine.startTraverse())
        context.fail();
    return QStringLiteral("<00>");
}

// "multistripconfig N W S": a sheet of S strips of N patches of W mm; the
// track is configured for one strip, each strip is then one autoscanstart.
// A strip longer than the track's traverse cannot be scanned.
QString multiStripConfig(CommandContext& context)
{
    bool countOk = false, stripsOk = false;
    const int count = context.line.word(1).toInt(&countOk);
    const double width = numberArgument(context.line.word(2));
    const int strips = context.line.word(3).toInt(&stripsOk);
    if (!countOk || !stripsOk || count < 1 || strips < 1 || strips > kMostStrips)
        throw ArgumentFault{errors::kInvalidArgument};
    if (width > 0.0 && double(count) * width > Vireo2Scanning::kMaximumTraverse)
        throw ArgumentFault{errors::kInvalidArgument};
    if (!context.host.scans().scanning().configure(count, width))
        context.fail();
    return QStringLiteral("<00>");
}

QString goHome(CommandContext& context)
{
    context.exchange(QStringLiteral("Scan Acquire Stop"), kAcquireTimeoutMs);
    if (!context.host.scans().scanning().home())
        context.fail();
    return QStringLiteral("<00>");
}

// "tr3 CODE": the track's raw reply; empty text when the track refused.
QString tr3Command(CommandContext& context)
{
    return context.host.scans().scanning().passThrough(context.line.word(1));
}

QString charging(CommandContext& context)
{
    const bool on = context.line.word(1).toLower() == QLatin1String("on");
    return context.host.scans().scanning().passThrough(QLatin1String(on ? tr3::kChargingOn : tr3::kChargingOff));
}

// "autoscanpaper L A B": the paper's colour, used instead of the one taken
// from the sheet's margin.
QString autoScanPaper(CommandContext& context)
{
    context.host.scans().scanning().setPaperReference(numberArgument(context.line.word(1)), numberArgument(context.line.word(2)),
                                              numberArgument(context.line.word(3)));
    return QStringLiteral("<00>");
}

// "autoscanunusedpatches N": patches past the N-th are left unused (the
// patch limit; 0 keeps all, 1 skips the traverse).
QString autoScanUnusedPatches(CommandContext& context)
{
    bool ok = false;
    const int limit = context.line.word(1).toInt(&ok);
    if (!ok || limit < 0)
        throw ArgumentFault{errors::kInvalidArgument};
    context.host.scans().scanning().setPatchLimit(limit);
    return QStringLiteral("<00>");
}

// "scanposition N": where measurement N of the last traverse was taken (mm).
QString scanPosition(CommandContext& context)
{
    bool ok = false;
    const int index = context.line.word(1).toInt(&ok);
    const ScanRecordList measurements = context.host.scans().scanning().measurements();
    if (!ok || index < 0 || index >= int(measurements.size()))
        throw ArgumentFault{errors::kInvalidArgument};
    return QString::number(measurements[size_t(index)][ScanRecord::kPosition], 'f', 4);
}

QString scanFile(CommandContext& context)
{
    const QString result = context.host.scans().scanning().replayScanFile(context.line.word(1));
    if (result.isEmpty())
        context.fail();
    return result;
}

QString autoScanSheetLength(CommandContext& context)
{
    const Vireo2Scanning& engine = context.host.scans().scanning();
    return millimetres(engine.farSheetEdge() - engine.sheetEdge());
}

QString autoScanPatchOffset(CommandContext& context)
{
    const Vireo2Scanning& engine = context.host.scans().scanning();
    return millimetres(engine.patchOffset() - engine.sheetEdge());
}

QString autoScanSheetEdge(CommandContext& context)
{
    return millimetres(context.host.scans().scanning().sheetEdge());
}

} // namespace vireo2
