#include "chart_read.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>
#include <unistd.h>

#include "chart_identify.h"
#include "chart_measurements.h"
#include "console.h"
#include "illuminant.h"
#include "instrument_session.h"
#include "interrupt.h"
#include "library_error.h"
#include "strip_scan.h"
#include "vireo2.h"

namespace vireo2::cli::chart {
namespace {

struct ReadOptions {
    QString chartPath;
    QString output;
    QString trackAddress;
    bool resume = false;
    bool yes = false;
    bool quiet = false;
    int condition = 1;
    int illuminant = illuminant::kDefault;
};

QString parse(const Invocation& call, ReadOptions* o)
{
    const QCommandLineParser& p = call.parser;
    if (call.arguments.size() != 2 || !p.isSet(QStringLiteral("output")))
        return QStringLiteral("chart read takes one chart (.ti2) and -o OUT.ti3");
    o->chartPath = call.arguments.at(1);
    o->output = p.value(QStringLiteral("output"));
    o->resume = p.isSet(QStringLiteral("resume"));
    o->yes = p.isSet(QStringLiteral("yes"));
    o->quiet = call.context.quiet;
    o->trackAddress = p.isSet(QStringLiteral("track")) ? p.value(QStringLiteral("track"))
                                                       : QString::fromUtf8(GetOption("tr3_address"));
    if (o->trackAddress.isEmpty() || !ConnectionChoice::validateTcpAddress(o->trackAddress).isEmpty()
        || !o->trackAddress.contains(QLatin1Char(':')))
        return QStringLiteral("--track takes HOST:PORT (no track address is stored)");
    if (p.isSet(QStringLiteral("condition"))) {
        const QString name = p.value(QStringLiteral("condition")).toUpper();
        if (name.size() != 2 || name[0] != QLatin1Char('M') || name[1] < QLatin1Char('0') || name[1] > QLatin1Char('3'))
            return QStringLiteral("--condition is one of M0, M1, M2 and M3");
        o->condition = name[1].digitValue();
    }
    QString problem;
    o->illuminant = illuminant::fromOption(p, QStringLiteral("illuminant"), &problem);
    return o->illuminant < 0 ? problem : QString();
}

// Asks a yes/no question on the terminal (Enter is yes, "q" stops); `fallback`
// without a terminal.
bool ask(const QString& question, bool fallback)
{
    if (!isatty(STDIN_FILENO))
        return fallback;
    printErr(question + QStringLiteral(" [Y/n, q stops] "));
    QString line;
    if (!readLine(&line) || isQuit(line) || interrupted())
        return false;
    return !line.trimmed().startsWith(QLatin1Char('n'), Qt::CaseInsensitive);
}

QVector<ReadPatch> readPatches(const StripScan& scan)
{
    QVector<ReadPatch> row;
    for (const StripPatch& p : scan.patches) {
        ReadPatch r;
        r.percent = p.percent.value(scan.condition);
        std::copy(p.lab.begin(), p.lab.end(), r.lab);
        r.ripple = p.ripple;
        r.quality = p.quality;
        row << r;
    }
    return row;
}

class ChartReader {
public:
    ChartReader(const ReadOptions& options, const Chart& chart) : o_(options), chart_(chart) {}

    // The strips still missing, read in order; ExitOk when all are in.
    int run(ChartReading* reading);

private:
    enum class Step { Kept, Again, Stop };
    Step readOnce(int strip, ChartReading* reading);
    Step settle(int strip, const Identity& identity, QVector<ReadPatch> row, ChartReading* reading);
    Step refuse(const QString& message);
    void keep(int strip, const QVector<ReadPatch>& row, ChartReading* reading);

    const ReadOptions& o_;
    const Chart& chart_;
};

void ChartReader::keep(int strip, const QVector<ReadPatch>& row, ChartReading* reading)
{
    QVector<QVector<double>> spectra;
    for (const ReadPatch& p : row)
        spectra << p.percent;
    reading->strips.insert(strip, spectra);
}

ChartReader::Step ChartReader::refuse(const QString& message)
{
    printErr(QStringLiteral("vireo2: %1\n").arg(message));
    if (o_.yes || !ask(QStringLiteral("Read it again?"), false))
        return Step::Stop;
    return Step::Again;
}

ChartReader::Step ChartReader::settle(int strip, const Identity& identity, QVector<ReadPatch> row,
                                      ChartReading* reading)
{
    const QString wanted = chart_.stripLabel(strip);
    if (identity.verdict == Identity::Unknown)
        return refuse(QStringLiteral("%1: cannot tell which strip lies on the track: %2").arg(wanted, identity.why));
    if (identity.reversed)
        std::reverse(row.begin(), row.end());
    if (!identity.doubt.isEmpty())
        return refuse(QStringLiteral("%1: %2%3").arg(chart_.stripLabel(identity.strip), identity.doubt,
                                                     identity.strip != strip ? QStringLiteral(" (and it is not %1)").arg(wanted) : QString()));
    if (identity.strip != strip)
        return refuse(QStringLiteral("%1 lies on the track%2 where %3 should be")
                          .arg(chart_.stripLabel(identity.strip), identity.reversed ? QStringLiteral(" (reversed)") : QString(),
                               wanted));
    if (identity.reversed) {
        printErr(QStringLiteral("vireo2: %1 lies reversed on the track (its end patches first); "
                                "it was read the right way round\n").arg(wanted));
        if (!o_.yes && !ask(QStringLiteral("Keep it as read?"), true))
            return Step::Again;
    }
    keep(strip, row, reading);
    return Step::Kept;
}

ChartReader::Step ChartReader::readOnce(int strip, ChartReading* reading)
{
    StripScanRequest request;
    request.trackAddress = o_.trackAddress;
    request.patchWidth = chart_.patchWidth;
    request.patchCount = chart_.strip(strip).size();
    request.firstSheet = strip;
    request.quiet = o_.quiet;
    StripScan scan;
    scan.condition = o_.condition;
    scan.illuminant = o_.illuminant;
    QElapsedTimer timer;
    timer.start();
    const QString problem = scanStrips(request, &scan);
    if (!problem.isEmpty()) {
        if (GetLastErrorCode() != 0)
            libraryFailure();
        return refuse(QStringLiteral("%1: %2").arg(chart_.stripLabel(strip), problem));
    }
    computeColours(&scan);
    const QVector<ReadPatch> row = readPatches(scan);
    Identity identity = identify(chart_, row);
    // The library's doubts about the strip as a whole (a short row, a width
    // that does not fit) count as much as the reader's own.
    const int flags = scan.verdicts.isEmpty() ? 0 : scan.verdicts.last().flags;
    if (identity.verdict == Identity::Identified && identity.doubt.isEmpty()
        && (flags & (VIREO2_SCAN_SHORT | VIREO2_SCAN_WIDTH_MISMATCH)))
        identity.doubt = scan.warnings().join(QStringLiteral("; "));
    const Step step = settle(strip, identity, row, reading);
    if (step == Step::Kept && !o_.quiet)
        printErr(QStringLiteral("%1 read: %2 patches in %3 s\n")
                     .arg(chart_.stripLabel(strip)).arg(scan.patches.size()).arg(timer.elapsed() / 1000.0, 0, 'f', 1));
    return step;
}

int ChartReader::run(ChartReading* reading)
{
    const QString progressPath = o_.output + QStringLiteral(".progress");
    for (int strip = 1; strip <= chart_.strips; ++strip) {
        if (reading->strips.contains(strip))
            continue;
        Step step = Step::Again;
        while (step == Step::Again) {
            if (!o_.yes
                && !ask(QStringLiteral("Put %1 on the track, lead-in end at the stop. Ready?").arg(chart_.stripLabel(strip)), true))
                return failure(QStringLiteral("stopped before %1; continue with --resume").arg(chart_.stripLabel(strip)));
            step = readOnce(strip, reading);
            const QString saved = saveProgress(*reading, progressPath);
            if (!saved.isEmpty())
                return failure(saved);
            if (interrupted()) {
                failure(QStringLiteral("interrupted; %1 of %2 strips are kept in %3 (continue with --resume)")
                            .arg(reading->strips.size()).arg(chart_.strips).arg(progressPath));
                return kExitInterrupted;
            }
        }
        if (step == Step::Stop)
            return failure(QStringLiteral("%1 not read; %2 of %3 strips are kept in %4 (continue with --resume)")
                               .arg(chart_.stripLabel(strip)).arg(reading->strips.size()).arg(chart_.strips).arg(progressPath));
    }
    return ExitOk;
}

} // namespace

int readCommand(const Invocation& call)
{
    ReadOptions o;
    const QString usage = parse(call, &o);
    if (!usage.isEmpty())
        return usageError(usage, QStringLiteral("chart"));
    Chart chart;
    QString problem = readChart(o.chartPath, &chart);
    if (!problem.isEmpty())
        return failure(problem);
    ChartReading reading;
    reading.chartDigest = fileDigest(o.chartPath);
    reading.condition = o.condition;
    reading.illuminant = o.illuminant;
    const QString progressPath = o.output + QStringLiteral(".progress");
    if (o.resume) {
        ChartReading saved;
        problem = loadProgress(progressPath, &saved);
        if (!problem.isEmpty())
            return failure(problem);
        if (saved.chartDigest != reading.chartDigest)
            return failure(QStringLiteral("%1 belongs to another chart than %2").arg(progressPath, o.chartPath));
        if (saved.condition != o.condition)
            return failure(QStringLiteral("%1 was read under M%2; resume with --condition M%2").arg(progressPath).arg(saved.condition));
        reading.strips = saved.strips;
    } else if (QFile::exists(progressPath) && !o.quiet) {
        printErr(QStringLiteral("Starting afresh: the strips kept in %1 are replaced (--resume continues them)\n")
                     .arg(progressPath));
    }

    StripScanRequest mode;
    mode.trackAddress = o.trackAddress;
    if (!chooseScanMode(mode))
        return libraryFailure();
    InstrumentSession session(o.quiet);
    if (!session.connect())
        return libraryFailure();
    if (GetCalStatus() != 0)
        return failure(QStringLiteral("the instrument needs calibrating first: 'vireo2 calibrate'"));
    catchInterrupt();
    const int result = ChartReader(o, chart).run(&reading);
    if (result != ExitOk)
        return result;
    problem = writeTi3(chart, reading, o.output);
    if (!problem.isEmpty())
        return failure(problem);
    QFile::remove(progressPath);
    if (!o.quiet)
        printErr(QStringLiteral("%1 patches of %2 strips written: %3\n").arg(chart.dataCount()).arg(chart.strips).arg(o.output));
    return ExitOk;
}

} // namespace vireo2::cli::chart
