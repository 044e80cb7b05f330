#include <QSaveFile>

#include "console.h"
#include "illuminant.h"
#include "instrument_session.h"
#include "interrupt.h"
#include "library_error.h"
#include "output_path.h"
#include "strip_output.h"
#include "strip_scan.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {
namespace {

const QString kTrack = QStringLiteral("track");
const QString kPatches = QStringLiteral("patches");
const QString kWidth = QStringLiteral("width");
const QString kSheets = QStringLiteral("sheets");
const QString kSheet = QStringLiteral("sheet");
const QString kWait = QStringLiteral("wait");
const QString kCondition = QStringLiteral("condition");
const QString kIlluminant = QStringLiteral("illuminant");
const QString kJson = QStringLiteral("json");
const QString kCsv = QStringLiteral("csv");
const QString kCgats = QStringLiteral("cgats");
const QString kPlot = QStringLiteral("plot");
const QString kAcceptSuspect = QStringLiteral("accept-suspect");

// Exit status of a scan that ended with patches the library doubts.
constexpr int kExitSuspect = 3;

struct ScanOptions {
    StripScanRequest request;
    int condition = 1;
    int illuminant = illuminant::kDefault;
};

QString intOption(const QCommandLineParser& p, const QString& name, int low, int high, int* value)
{
    if (!p.isSet(name))
        return QString();
    bool ok = false;
    *value = p.value(name).toInt(&ok);
    if (!ok || *value < low || *value > high)
        return QStringLiteral("--%1 takes a number from %2 to %3").arg(name).arg(low).arg(high);
    return QString();
}

QString parseOptions(const QCommandLineParser& p, bool quiet, ScanOptions* o)
{
    if (p.isSet(kJson) && p.isSet(kCsv))
        return QStringLiteral("choose one of --json and --csv");
    StripScanRequest& r = o->request;
    r.quiet = quiet;
    r.trackAddress = p.value(kTrack);
    if (!r.trackAddress.isEmpty()) {
        const QString problem = ConnectionChoice::validateTcpAddress(r.trackAddress);
        if (!problem.isEmpty() || !r.trackAddress.contains(QLatin1Char(':')))
            return QStringLiteral("--track takes HOST:PORT");
    }
    for (const QString& problem : {intOption(p, kPatches, 1, 1000, &r.patchCount), intOption(p, kSheets, 1, 999, &r.sheets),
                                   intOption(p, kSheet, 0, 999, &r.firstSheet), intOption(p, kWait, 1, 3600, &r.waitSeconds)})
        if (!problem.isEmpty())
            return problem;
    if (p.isSet(kWidth)) {
        bool ok = false;
        r.patchWidth = p.value(kWidth).toDouble(&ok);
        if (!ok || r.patchWidth < 3.0 || r.patchWidth > 20.0)
            return QStringLiteral("--width takes the patch width in mm, 3 to 20");
    }
    if (p.isSet(kCondition)) {
        const QString name = p.value(kCondition).toUpper();
        if (name.size() != 2 || name[0] != QLatin1Char('M') || name[1] < QLatin1Char('0') || name[1] > QLatin1Char('3'))
            return QStringLiteral("--condition is one of M0, M1, M2 and M3");
        o->condition = name[1].digitValue();
    }
    QString problem;
    o->illuminant = illuminant::fromOption(p, kIlluminant, &problem);
    return o->illuminant < 0 ? problem : QString();
}

int writeFile(const QString& path, const QByteArray& bytes, const QString& what, bool quiet)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) < 0 || !file.commit())
        return failure(QStringLiteral("cannot write the %1 %2: %3").arg(what, path, file.errorString()));
    if (!quiet)
        printErr(QStringLiteral("%1 written: %2\n").arg(what.left(1).toUpper() + what.mid(1), path));
    return ExitOk;
}

// A scan that did not end as asked: the reason in plain words (the library's
// when it recorded one for this scan), exit status 130 after Ctrl-C.
int scanFailure(const QString& problem, const LibraryError& before)
{
    if (interrupted()) {
        printErr(QStringLiteral("vireo2: %1; the read head was sent home\n").arg(problem));
        return kExitInterrupted;
    }
    const LibraryError error = LibraryError::last();
    // 7 means only "not finished yet"; an unchanged record is an earlier call's.
    const bool own = error.code != 0 && error.code != 7 && (error.code != before.code || error.text != before.text);
    if (!own)
        return failure(problem);
    return explainedFailure(problem, explainError(error.code, error.text),
                            QStringLiteral("error %1: %2").arg(error.code).arg(error.text));
}

// Names every doubt the library raised; the scan's exit status.
int verdictStatus(const StripScan& scan, bool accept)
{
    const QStringList warnings = scan.warnings();
    for (const QString& warning : warnings)
        printErr(QStringLiteral("vireo2: warning: %1\n").arg(warning));
    if (warnings.isEmpty() || accept)
        return ExitOk;
    printErr(QStringLiteral("vireo2: the scan is suspect (exit status %1); check the patches named above, or pass "
                            "--accept-suspect to take it as it is\n")
                 .arg(kExitSuspect));
    return kExitSuspect;
}

int run(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("scan takes no arguments"), QStringLiteral("scan"));
    ScanOptions o;
    const QString usage = parseOptions(call.parser, call.context.quiet, &o);
    if (!usage.isEmpty())
        return usageError(usage, QStringLiteral("scan"));

    // The files are checked before the instrument scans.
    StripScan scan;
    scan.condition = o.condition;
    scan.illuminant = o.illuminant;
    scan.patchWidth = o.request.patchWidth;
    for (const QString& name : {kCgats, kPlot}) {
        if (call.parser.isSet(name))
            if (const QString problem = checkWritable(call.parser.value(name)); !problem.isEmpty())
                return failure(problem);
    }
    if (call.parser.isSet(kCgats))
        if (const QString problem = checkCgatsAppend(stripCgatsHeader(scan), call.parser.value(kCgats));
            !problem.isEmpty())
            return failure(problem);

    if (!chooseScanMode(o.request))
        return libraryFailure();
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    catchInterrupt();
    const LibraryError before = LibraryError::last();
    const QString problem = scanStrips(o.request, &scan);
    // The sheets scanned before a failure are kept, on screen and in the files.
    if (!problem.isEmpty() && scan.patches.isEmpty())
        return scanFailure(problem, before);
    computeColours(&scan);

    const QCommandLineParser& p = call.parser;
    if (p.isSet(kJson))
        printOut(QString::fromUtf8(stripJson(scan)));
    else if (p.isSet(kCsv))
        printOut(stripCsv(scan));
    else
        printOut(stripTable(scan));
    if (p.isSet(kCgats)) {
        const QString failed = appendStripCgats(scan, p.value(kCgats));
        if (!failed.isEmpty())
            return failure(failed);
        if (!call.context.quiet)
            printErr(QStringLiteral("CGATS written: %1\n").arg(p.value(kCgats)));
    }
    if (p.isSet(kPlot)) {
        const int written = writeFile(p.value(kPlot), stripChartSvg(scan), QStringLiteral("strip chart"), call.context.quiet);
        if (written != ExitOk)
            return written;
    }
    const int verdict = verdictStatus(scan, p.isSet(kAcceptSuspect));
    if (!problem.isEmpty()) {
        printErr(QStringLiteral("vireo2: the %1 patches scanned before are kept\n").arg(scan.patches.size()));
        return scanFailure(problem, before);
    }
    return verdict;
}

} // namespace

Subcommand scanCommand()
{
    Subcommand command;
    command.name = QStringLiteral("scan");
    command.summary = QStringLiteral("Scan a strip of patches on the TR3 track or by hand");
    command.description = QStringLiteral(
        "With --track HOST:PORT the instrument rides the TR3 track: the head crosses\n"
        "the sheet, the library finds the patches and prints each with its L*a*b*,\n"
        "position, position error and Ripple. Without --track the operator scans the\n"
        "strip with the instrument by hand (waiting at most --wait seconds).\n"
        "The instrument must be calibrated ('vireo2 calibrate'). Ctrl-C stops a scan\n"
        "cleanly: the head goes home and the sheets already scanned are kept.\n"
        "\n"
        "--cgats adds the patches to a CGATS file (SAMPLE_ID, LAB_L/A/B, SPEC_400..700\n"
        "of --condition), continuing the sample ids of an existing file, so several\n"
        "strips (--sheets N, or runs with --sheet K) collect in one file. --plot draws\n"
        "the strip as swatches with the position error and Ripple beneath.\n"
        "\n"
        "When the library doubts a strip (fewer patches than --patches, a row that\n"
        "does not fit --patches and --width, a patch without a steady reading or\n"
        "whose place is uncertain) the patches are still printed and written, each\n"
        "doubt is printed as a warning naming its patches (\"warnings\" in --json),\n"
        "and the exit status is 3 unless --accept-suspect is given.");
    command.options = {
        QCommandLineOption(kTrack, QStringLiteral("Scan on the track at this address."), QStringLiteral("HOST:PORT")),
        QCommandLineOption(kPatches, QStringLiteral("Patches on the strip (24)."), QStringLiteral("N")),
        QCommandLineOption(kWidth, QStringLiteral("Patch width in mm, 3 to 20 (8)."), QStringLiteral("MM")),
        QCommandLineOption(kSheets, QStringLiteral("Scan N sheets one after the other (1)."), QStringLiteral("N")),
        QCommandLineOption(kSheet, QStringLiteral("Number of the first sheet (0)."), QStringLiteral("K")),
        QCommandLineOption(kWait, QStringLiteral("Seconds to wait for a hand scan (300)."), QStringLiteral("S")),
        QCommandLineOption(kCondition, QStringLiteral("Condition for colours and files: M0..M3 (M1)."),
                           QStringLiteral("M")),
        QCommandLineOption(kIlluminant, QStringLiteral("Illuminant/observer for L*a*b* (D50/2)."), QStringLiteral("NAME")),
        QCommandLineOption(kJson, QStringLiteral("Print one JSON object instead of the table.")),
        QCommandLineOption(kCsv, QStringLiteral("Print CSV: one row per patch.")),
        QCommandLineOption(kCgats, QStringLiteral("Add the patches to a CGATS file."), QStringLiteral("FILE")),
        QCommandLineOption(kPlot, QStringLiteral("Also draw the strip as an SVG picture."), QStringLiteral("FILE.svg")),
        QCommandLineOption(kAcceptSuspect, QStringLiteral("Exit 0 even when the scan is suspect (warnings still printed).")),
    };
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
