#include <QFile>
#include <QSaveFile>

#include <QJsonArray>
#include <QJsonDocument>
#include <cmath>

#include "cgats_writer.h"
#include "console.h"
#include "illuminant.h"
#include "instrument_session.h"
#include "library_error.h"
#include "measurement_formats.h"
#include "progress.h"
#include "reading_comparison.h"
#include "output_path.h"
#include "reading_cgats.h"
#include "reading_log_csv.h"
#include "reading_statistics.h"
#include "reading_trigger.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {

const QString kJson = QStringLiteral("json");
const QString kCsv = QStringLiteral("csv");
const QString kPlot = QStringLiteral("plot");
const QString kIlluminant = QStringLiteral("illuminant");
const QString kCount = QStringLiteral("count");
const QString kTrigger = QStringLiteral("trigger");
const QString kButtonWait = QStringLiteral("button-wait");
const QString kReference = QStringLiteral("reference");
const QString kSetReference = QStringLiteral("set-reference");
const QString kAverage = QStringLiteral("average");
const QString kAppend = QStringLiteral("append");
const QString kCgats = QStringLiteral("cgats");
const QString kCondition = QStringLiteral("condition");

// The illuminant names in lines of at most 78 columns.
QString illuminantList()
{
    QString text;
    QString line = QStringLiteral(" ");
    for (const QString& name : illuminant::names()) {
        if (line.size() + name.size() + 1 > 78) {
            text += line + QLatin1Char('\n');
            line = QStringLiteral(" ");
        }
        line += QLatin1Char(' ') + name;
    }
    return text + line;
}

int writeChart(const Measurement& measurement, const QString& path, bool quiet)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(spectrumChartSvg(measurement)) < 0 || !file.commit())
        return failure(QStringLiteral("cannot write the chart %1: %2").arg(path, file.errorString()));
    if (!quiet)
        printErr(QStringLiteral("Chart written: %1\n").arg(path));
    return ExitOk;
}

// What the options ask of a measuring run.
struct RunOptions {
    int illuminant = illuminant::kDefault;
    int count = 1;
    Trigger trigger = Trigger::Auto;
    int buttonWait = 300;
    QString referenceFile;
    bool setReference = false;
    bool average = false;
    bool json = false;
    bool csv = false;
    QString appendFile;
    QString cgatsFile;
    QString plotFile;
    QString condition = QStringLiteral("M1");
};

// Checks the options; an empty text when they make sense.
QString parseRunOptions(const QCommandLineParser& p, RunOptions* o)
{
    if (p.isSet(kJson) && p.isSet(kCsv))
        return QStringLiteral("choose one of --json and --csv");
    QString problem;
    o->illuminant = illuminant::fromOption(p, kIlluminant, &problem);
    if (o->illuminant < 0)
        return problem;
    bool ok = true;
    if (p.isSet(kCount))
        o->count = p.value(kCount).toInt(&ok);
    if (!ok || o->count < 1 || o->count > 10000)
        return QStringLiteral("--count takes a number of readings from 1 to 10000");
    if (p.isSet(kTrigger) && !parseTrigger(p.value(kTrigger), &o->trigger))
        return QStringLiteral("--trigger is one of key, button and auto");
    if (p.isSet(kButtonWait))
        o->buttonWait = p.value(kButtonWait).toInt(&ok);
    if (!ok || o->buttonWait < 1)
        return QStringLiteral("--button-wait takes a number of seconds");
    if (p.isSet(kReference) && p.isSet(kSetReference))
        return QStringLiteral("choose one of --reference and --set-reference");
    if (p.isSet(kCsv) && o->count > 1)
        return QStringLiteral("--csv prints one reading; use --append FILE.csv to collect a run");
    if (p.isSet(kCondition)) {
        o->condition = p.value(kCondition).toUpper();
        if (!QStringList{"M0", "M1", "M2", "M3"}.contains(o->condition))
            return QStringLiteral("--condition is one of M0, M1, M2 and M3");
    }
    o->referenceFile = p.value(kReference);
    o->setReference = p.isSet(kSetReference);
    o->average = p.isSet(kAverage);
    o->json = p.isSet(kJson);
    o->csv = p.isSet(kCsv);
    o->appendFile = p.value(kAppend);
    o->cgatsFile = p.value(kCgats);
    o->plotFile = p.value(kPlot);
    return QString();
}

// Every file the run will write, checked before the instrument measures: a
// run never ends in a file it cannot write or whose rows would disagree.
QString checkOutputs(const RunOptions& o)
{
    for (const QString& path : {o.plotFile, o.appendFile, o.cgatsFile}) {
        if (!path.isEmpty())
            if (const QString problem = checkWritable(path); !problem.isEmpty())
                return problem;
    }
    if (!o.appendFile.isEmpty())
        if (const QString problem = checkReadingCsv(o.appendFile, o.illuminant); !problem.isEmpty())
            return problem;
    if (!o.cgatsFile.isEmpty())
        return checkCgatsAppend(spotReadingTable(o.illuminant, o.condition), o.cgatsFile);
    return QString();
}

QString saveReading(const RunOptions& o, const Measurement& reading, int number)
{
    if (!o.appendFile.isEmpty())
        if (const QString problem = appendReadingCsv(o.appendFile, reading); !problem.isEmpty())
            return problem;
    if (!o.cgatsFile.isEmpty())
        return appendSpotReading(o.cgatsFile, reading, o.condition, number);
    return QString();
}

QJsonArray differencesJson(const QVector<ConditionDifference>& differences)
{
    QJsonArray out;
    for (const auto& d : differences)
        out.append(QJsonObject{{QStringLiteral("condition"), d.condition},
                               {QStringLiteral("dE76"), std::round(d.de76 * 10000.0) / 10000.0},
                               {QStringLiteral("dE94"), std::round(d.de94 * 10000.0) / 10000.0},
                               {QStringLiteral("dE2000"), std::round(d.de2000 * 10000.0) / 10000.0},
                               {QStringLiteral("CMC2:1"), std::round(d.cmc * 10000.0) / 10000.0}});
    return out;
}

// One reading's colour difference to the reference.
struct Compared {
    int reading = 0; // 1-based, in the run
    QVector<ConditionDifference> differences;
};

// What a run has collected so far.
struct RunResult {
    QVector<Measurement> readings;
    QVector<Compared> compared;
    Measurement reference;
    bool hasReference = false;

    QVector<QVector<ConditionDifference>> differences() const
    {
        QVector<QVector<ConditionDifference>> all;
        for (const Compared& c : compared)
            all.append(c.differences);
        return all;
    }
};

// Text output: each reading as soon as it is taken, with its difference to
// the reference beneath it.
void showReading(const RunOptions& o, const RunResult& r)
{
    if (o.json || o.csv)
        return;
    const int number = r.readings.size();
    const Measurement& reading = r.readings.last();
    printOut(o.count == 1 ? measurementTable(reading) : readingSummary(reading, QStringLiteral("Reading %1").arg(number)));
    if (!r.compared.isEmpty() && r.compared.last().reading == number)
        printOut(QStringLiteral("\nColour difference to the reference, %1\n").arg(illuminant::displayName(o.illuminant))
                 + differenceTable(r.compared.last().differences));
    else if (o.setReference && number == 1 && o.count > 1)
        printOut(QStringLiteral("(the reference for the readings that follow)\n"));
    printOut(QStringLiteral("\n"));
}

QJsonObject runDocument(const RunOptions& o, const RunResult& r, const ReadingStatistics& statistics)
{
    const bool single = o.count == 1 && r.readings.size() == 1;
    QJsonObject document;
    if (single) {
        document = measurementObject(r.readings.first());
    } else {
        QJsonArray readings;
        for (int i = 0; i < r.readings.size(); ++i) {
            QJsonObject reading = measurementObject(r.readings.at(i));
            reading.insert(QStringLiteral("reading"), i + 1);
            readings.append(reading);
        }
        document.insert(QStringLiteral("readings"), readings);
    }
    if (!r.compared.isEmpty()) {
        if (single) {
            document.insert(QStringLiteral("differences"), differencesJson(r.compared.first().differences));
        } else {
            QJsonArray perReading;
            for (const Compared& c : r.compared)
                perReading.append(QJsonObject{{QStringLiteral("reading"), c.reading},
                                              {QStringLiteral("conditions"), differencesJson(c.differences)}});
            document.insert(QStringLiteral("differences"), perReading);
        }
        document.insert(QStringLiteral("mean_differences"), differencesJson(meanDifferences(r.differences())));
    }
    if (o.average && statistics.count > 0)
        document.insert(QStringLiteral("average"), measurementObject(statistics.mean));
    return document;
}

// What is printed once the run has ended, however it ended: the JSON or CSV
// of what was read, the mean difference and the statistics, and the chart.
int finishRun(const Invocation& call, const RunOptions& o, const RunResult& r, bool complete)
{
    ReadingStatistics statistics;
    if (o.average && r.readings.size() > 0) {
        const QString problem = readingStatistics(r.readings, &statistics);
        if (!problem.isEmpty())
            return failure(problem);
    }
    if (o.json) {
        printOut(QString::fromUtf8(QJsonDocument(runDocument(o, r, statistics)).toJson(QJsonDocument::Indented)));
    } else if (o.csv) {
        printOut(measurementCsv(r.readings.first()));
    } else {
        if (r.compared.size() > 1)
            printOut(QStringLiteral("Mean colour difference over %1 readings\n").arg(r.compared.size())
                     + differenceTable(meanDifferences(r.differences())) + QStringLiteral("\n"));
        if (o.average)
            printOut(statisticsTable(statistics));
    }
    if (!o.plotFile.isEmpty() && complete)
        return writeChart(o.average ? statistics.mean : r.readings.last(), o.plotFile, call.context.quiet);
    return ExitOk;
}

// Takes, keeps and shows one reading. ExitOk, or the failure already printed.
int takeOne(const RunOptions& o, const InstrumentInfo& instrument, int number, bool quiet, RunResult* r, bool* ended)
{
    const int taken = takeReading(o.trigger, number, o.count, quiet, o.buttonWait);
    if (taken == 0) {
        *ended = true;
        return ExitOk;
    }
    if (taken < 0)
        return IsConnected() || r->readings.isEmpty() ? libraryFailure() : failure(QStringLiteral("the instrument is no longer connected"));
    Measurement reading;
    if (const QString problem = reading.readFromLibrary(o.illuminant); !problem.isEmpty())
        return failure(problem);
    reading.instrument = instrument;
    if (o.setReference && number == 1) {
        r->reference = reading;
        r->hasReference = true;
    } else if (r->hasReference) {
        r->compared.append(Compared{number, compareReadings(r->reference, reading)});
    }
    r->readings.append(reading);
    showReading(o, *r);
    if (const QString saved = saveReading(o, reading, number); !saved.isEmpty())
        return failure(saved);
    return ExitOk;
}

int run(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("measure takes no arguments"), QStringLiteral("measure"));
    RunOptions o;
    const QString usage = parseRunOptions(call.parser, &o);
    if (!usage.isEmpty())
        return usageError(usage, QStringLiteral("measure"));
    if (const QString problem = checkOutputs(o); !problem.isEmpty())
        return failure(problem);

    RunResult r;
    if (!o.referenceFile.isEmpty()) {
        const QString problem = loadReference(o.referenceFile, o.illuminant, &r.reference);
        if (!problem.isEmpty())
            return failure(problem);
        r.hasReference = true;
    }

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const InstrumentInfo instrument = InstrumentInfo::read(session.target());
    bool ended = false;
    for (int number = 1; number <= o.count && !ended; ++number) {
        const int status = takeOne(o, instrument, number, call.context.quiet, &r, &ended);
        if (status != ExitOk) {
            // What was read stays on screen and in the files.
            if (!r.readings.isEmpty()) {
                finishRun(call, o, r, false);
                printErr(QStringLiteral("vireo2: the run stopped after %1 of %2 readings; those are kept\n")
                             .arg(r.readings.size()).arg(o.count));
            }
            return status;
        }
    }
    if (r.readings.isEmpty())
        return failure(QStringLiteral("the run ended before the first reading"));
    return finishRun(call, o, r, true);
}

} // namespace

Subcommand measureCommand()
{
    Subcommand command;
    command.name = QStringLiteral("measure");
    command.summary = QStringLiteral("Take readings: spectra of M0..M3 with L*a*b*, LCh, XYZ, ΔE to a reference");
    command.description = QStringLiteral(
        "Connects, takes one reading and prints each measurement condition's 31\n"
        "reflectance values (400-700 nm, in percent) with its CIE L*a*b*, LCh, XYZ and\n"
        "Yxy under the chosen illuminant/observer (default D50/2). The instrument must\n"
        "be calibrated ('vireo2 calibrate').\n"
        "\n"
        "A measuring run takes --count readings over one connection, each started by\n"
        "--trigger: auto (at once), key (Enter on the terminal) or button (the\n"
        "instrument's own button); with key or button, q Enter ends the run. With\n"
        "--reference FILE (an earlier --json, --cgats or --append file, its first\n"
        "reading) or --set-reference (the run's first reading) it\n"
        "prints dE76, dE94, dE2000 and CMC(2:1) per condition and their mean; with\n"
        "--average the mean and standard deviation of every value. Each reading is\n"
        "printed as it is taken; a run that fails keeps what it read.\n"
        "\n"
        "--append adds each reading to a CSV log (a row per condition with its time,\n"
        "illuminant, XYZ, L*a*b* and spectrum); --cgats adds one row per reading (its\n"
        "--condition, number and time) to a CGATS file, so a day's readings collect\n"
        "in one. A file of other readings (another illuminant, condition or kind) is\n"
        "refused before the instrument measures.\n"
        "\n"
        "Illuminants:\n%1")
                              .arg(illuminantList());
    command.options = {
        QCommandLineOption(kIlluminant, QStringLiteral("Illuminant/observer for the colour values (D50/2)."),
                           QStringLiteral("NAME")),
        QCommandLineOption(kJson, QStringLiteral("Print one JSON object instead of the table.")),
        QCommandLineOption(kCsv, QStringLiteral("Print CSV: a header row, one row per wavelength.")),
        QCommandLineOption(kPlot, QStringLiteral("Also write the reflectance curves as an SVG chart."),
                           QStringLiteral("FILE.svg")),
        QCommandLineOption(kCount, QStringLiteral("Take N readings over one connection (1)."), QStringLiteral("N")),
        QCommandLineOption(kTrigger, QStringLiteral("What starts each reading: auto, key or button (auto)."),
                           QStringLiteral("HOW")),
        QCommandLineOption(kButtonWait, QStringLiteral("Seconds to wait for the button per reading (300)."),
                           QStringLiteral("S")),
        QCommandLineOption(kReference, QStringLiteral("Compare each reading with this --json or CGATS reading."),
                           QStringLiteral("FILE")),
        QCommandLineOption(kSetReference, QStringLiteral("Take the first reading as the reference.")),
        QCommandLineOption(kAverage, QStringLiteral("Print the mean and standard deviation of the readings.")),
        QCommandLineOption(kAppend, QStringLiteral("Append one row per condition and reading to a CSV file."),
                           QStringLiteral("FILE.csv")),
        QCommandLineOption(kCgats, QStringLiteral("Append each reading to a CGATS file: one row of --condition."),
                           QStringLiteral("FILE")),
        QCommandLineOption(kCondition, QStringLiteral("Condition of the CGATS rows: M0..M3 (M1)."), QStringLiteral("M")),
    };
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
