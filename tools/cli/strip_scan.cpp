#include "strip_scan.h"

#include <QElapsedTimer>
#include <QStringList>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "console.h"
#include "interrupt.h"
#include "progress.h"
#include "vireo2.h"
#include "vireo2_colour.h"

namespace vireo2::cli {
namespace {

constexpr int kStatusScanning = 2;
constexpr int kStatusReady = 3;
constexpr int kStatusHeadNotHome = 7;
constexpr int kQuit = -100; // not a status: the user typed q
constexpr int kPollMs = 100;
constexpr int kTraverseLimitS = 120;  // the longest traverse takes about 30 s

QVector<double> values(const char* text)
{
    QVector<double> out;
    for (const QString& word : QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts))
        out.append(word.toDouble());
    return out;
}

// Waits while the status is `waiting` (and 0 for a hand scan); the final status.
int waitForStatus(int limitS, bool handScan)
{
    QElapsedTimer timer;
    timer.start();
    int status = ScanGetStatus();
    while ((status == kStatusScanning || (handScan && status == 0)) && timer.elapsed() < limitS * 1000LL
           && !interrupted()) {
        if (handScan && quitTyped())
            return kQuit;
        QThread::msleep(kPollMs);
        status = ScanGetStatus();
    }
    return status;
}

// The patches (1-based) of a strip that carry `flag`.
QString patchesWith(const QVector<StripPatch>& patches, int flag)
{
    QStringList numbers;
    for (const StripPatch& patch : patches)
        if (patch.quality & flag)
            numbers << QString::number(patch.index + 1);
    return numbers.join(QStringLiteral(", "));
}

StripVerdict verdict(int sheet, int count, const QVector<StripPatch>& patches)
{
    StripVerdict v;
    v.sheet = sheet;
    v.flags = std::max(0, ScanGetQuality(-1));
    const QString where = QStringLiteral("sheet %1: ").arg(sheet);
    if (v.flags & VIREO2_SCAN_SHORT)
        v.warnings << where + QStringLiteral("only %1 patches found").arg(count);
    if (v.flags & VIREO2_SCAN_WIDTH_MISMATCH)
        v.warnings << where + QStringLiteral("the printed row does not match the patch count and width given");
    const struct {
        int flag;
        const char* text;
    } kinds[] = {{VIREO2_SCAN_UNSTEADY, "no steady reading (may mix a neighbour's colour) in patch %1"},
                 {VIREO2_SCAN_UNCERTAIN, "position uncertain (may belong one place over) for patch %1"},
                 {VIREO2_SCAN_LIKE_PAPER, "patch %1 cannot be told from the paper margin"}};
    for (const auto& kind : kinds) {
        const QString list = patchesWith(patches, kind.flag);
        if (!list.isEmpty())
            v.warnings << where + QString::fromLatin1(kind.text).arg(list);
    }
    return v;
}

bool readPatches(int sheet, bool track, StripScan* scan)
{
    const int count = ScanGetCount();
    const int sets = GetSpectralSetCount();
    for (int p = 0; p < count; ++p) {
        StripPatch patch;
        patch.sheet = sheet;
        patch.index = p;
        for (int set = 0; set < sets; ++set) {
            QVector<double> spectrum = values(ScanGetData(p, set));
            // Hand scans arrive as factors, track scans as percent.
            if (!track)
                for (double& value : spectrum)
                    value *= 100.0;
            patch.percent.append(spectrum);
        }
        double header[9] = {};
        patch.quality = std::max(0, ScanGetQuality(p));
        if (track && ScanGetPatchRecord(p, header, 9) == 9) {
            patch.hasRecord = true;
            patch.synchronised = header[0] == 1.0;
            patch.delta = header[1];
            patch.position = header[7];
            patch.ripple = header[8];
        }
        scan->patches.append(patch);
    }
    scan->verdicts.append(verdict(sheet, count, scan->patches.mid(scan->patches.size() - count)));
    return count > 0;
}

// false when the user quits (q, the end of input or Ctrl-C).
bool waitForKey(const QString& prompt)
{
    if (!isatty(STDIN_FILENO))
        return true;
    printErr(prompt);
    QString line;
    return readLine(&line) && !isQuit(line) && !interrupted();
}

// Sends the head home, saying so: homing can take most of a minute.
bool sendHeadHome(bool quiet)
{
    return withProgress(QStringLiteral("Sending the read head home"), quiet,
                        [] { return QString::fromUtf8(Execute("gohome")) == QLatin1String("<00>"); });
}

// After Ctrl-C: the traverse is stopped and the head sent home, so the track
// is ready for the next scan.
QString endInterrupted(bool quiet, int sheet)
{
    ScanAbort();
    sendHeadHome(quiet);
    return QStringLiteral("interrupted during sheet %1").arg(sheet);
}

QString scanTrackSheet(const StripScanRequest& request, int sheet, StripScan* scan)
{
    // A traverse starts from the home end: the head may still be on its way
    // back from the last one.
    if (!sendHeadHome(request.quiet) || ScanGetStatus() == kStatusHeadNotHome)
        return interrupted() ? endInterrupted(request.quiet, sheet)
                             : QStringLiteral("the read head did not reach its home position");
    if (!ScanConfig(request.patchCount, float(request.patchWidth)) || !ScanStart())
        return QStringLiteral("the scan was not accepted");
    const QByteArray start = "autoscanstart;" + QByteArray::number(sheet);
    if (QString::fromUtf8(Execute(start.constData())) != QLatin1String("<00>"))
        return QStringLiteral("the traverse did not start");
    Progress progress(QStringLiteral("Scanning sheet %1").arg(sheet), request.quiet);
    const int status = waitForStatus(kTraverseLimitS, false);
    progress.finish(status == kStatusReady);
    if (interrupted())
        return endInterrupted(request.quiet, sheet);
    if (status != kStatusReady)
        return QStringLiteral("the scan ended with status %1").arg(status);
    if (!readPatches(sheet, true, scan))
        return QStringLiteral("no patches were found on sheet %1").arg(sheet);
    return QString();
}

QString scanByHand(const StripScanRequest& request, int sheet, StripScan* scan)
{
    if (!ScanConfig(request.patchCount, float(request.patchWidth)) || !ScanStart())
        return QStringLiteral("the instrument did not take the scan settings");
    Progress progress(QStringLiteral("Scan the strip with the instrument (q Enter stops)"), request.quiet);
    const int status = waitForStatus(request.waitSeconds, true);
    progress.finish(status == kStatusReady);
    ScanAbort();
    if (interrupted())
        return QStringLiteral("interrupted while waiting for the hand scan");
    if (status == kQuit)
        return QStringLiteral("stopped (q) while waiting for the hand scan");
    if (status != kStatusReady)
        return status == 0 ? QStringLiteral("no scan arrived within %1 s").arg(request.waitSeconds)
                           : QStringLiteral("the scan ended with status %1").arg(status);
    if (!readPatches(sheet, false, scan))
        return QStringLiteral("the scan held no patches");
    return QString();
}

} // namespace

bool chooseScanMode(const StripScanRequest& request)
{
    if (request.trackAddress.isEmpty())
        return QString::fromUtf8(Execute("setmodel;Vireo2")) == QLatin1String("<00>");
    return SetOption("tr3_address", request.trackAddress.toUtf8().constData())
        && QString::fromUtf8(Execute("setmodel;vireotr3")) == QLatin1String("<00>");
}

QString scanStrips(const StripScanRequest& request, StripScan* scan)
{
    scan->track = !request.trackAddress.isEmpty();
    scan->patchWidth = request.patchWidth;
    for (int n = 0; n < request.sheets; ++n) {
        const int sheet = request.firstSheet + n;
        if (n > 0 && !waitForKey(QStringLiteral("Put sheet %1 on the track and press Enter (q Enter stops) ").arg(sheet)))
            return QStringLiteral("stopped before sheet %1").arg(sheet);
        const QString problem = scan->track ? scanTrackSheet(request, sheet, scan) : scanByHand(request, sheet, scan);
        if (!problem.isEmpty())
            return problem;
    }
    return QString();
}

QStringList StripScan::warnings() const
{
    QStringList all;
    for (const StripVerdict& v : verdicts)
        all << v.warnings;
    return all;
}

void computeColours(StripScan* scan)
{
    for (StripPatch& patch : scan->patches) {
        if (scan->condition < patch.percent.size() && patch.percent[scan->condition].size() == 31)
            Vireo2_SpectrumToLab(patch.percent[scan->condition].constData(), scan->illuminant, 0, patch.lab.data());
    }
}

} // namespace vireo2::cli
