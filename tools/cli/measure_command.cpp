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
    QString appendFile;
    QString cgatsFile;
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
    o->referenceFile = p.value(kReference);
    o->setReference = p.isSet(kSetReference);
    o->average = p.isSet(kAverage);
    o->appendFile = p.value(kAppend);
    o->cgatsFile = p.value(kCgats);
    return QString();
}

QString saveReading(const RunOptions& o, const Measurement& reading)
{
    if (!o.appendFile.isEmpty()) {
        const QString problem = appendReadingCsv(o.appendFile, reading);
        if (!problem.isEmpty())
            return problem;
    }
    if (!o.cgatsFile.isEmpty()) {
        CgatsTable table;
        table.descriptor = QStringLiteral("Vireo2 readings, serial %1").arg(reading.instrument.serial);
        const QString name = illuminant::name(reading.illuminant);
        table.illuminant = name.section(QLatin1Char('/'), 0, 0);
        table.observer = name.section(QLatin1Char('/'), 1);
        table.wavelengths = reading.wavelengths;
        for (const auto& condition : reading.conditions) {
            CgatsSample sample;
            sample.id = QString::number(table.samples.size() + 1);
            sample.name = condition.name;
            sample.lab = condition.lab();
            sample.percent = condition.percent;
            table.samples.append(sample);
        }
        const QString problem = appendCgats(table, o.cgatsFile);
        if (!problem.isEmpty())
            return problem;
    }
    return QString();
}

// One line per condition: L*a*b*, XYZ and the chromaticity of a run's reading.
QString readingSummary(const Measurement& m, int number)
{
    QString out = QStringLiteral("Reading %1, %2\n").arg(number).arg(m.taken.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    for (const auto& c : m.conditions) {
        out += QStringLiteral("%1  L* %2  a* %3  b* %4   X %5  Y %6  Z %7   x %8  y %9\n")
                   .arg(c.name.rightJustified(4))
                   .arg(c.lch[0], 6, 'f', 2).arg(c.lch[1], 7, 'f', 2).arg(c.lch[2], 7, 'f', 2)
                   .arg(c.xyz[0], 6, 'f', 2).arg(c.xyz[1], 6, 'f', 2).arg(c.xyz[2], 6, 'f', 2)
                   .arg(c.yxy()[1], 6, 'f', 4).arg(c.yxy()[2], 6, 'f', 4);
    }
    return out;
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

// Everything a run collected, printed once it has ended.
struct RunResult {
    QVector<Measurement> readings;
    QVector<QVector<ConditionDifference>> differences; // per reading, when compared
    Measurement reference;
    bool compared = false;
};

int printRun(const Invocation& call, const RunOptions& o, const RunResult& r)
{
    const auto& p = call.parser;
    ReadingStatistics statistics;
    if (o.average && !r.readings.isEmpty()) {
        const QString problem = readingStatistics(r.readings, &statistics);
        if (!problem.isEmpty())
            return failure(problem);
    }
    const bool single = r.readings.size() == 1 && o.count == 1;
    if (p.isSet(kJson)) {
        QJsonObject document;
        if (single) {
            document = measurementObject(r.readings.first());
        } else {
            QJsonArray readings;
            for (const auto& reading : r.readings)
                readings.append(measurementObject(reading));
            document.insert(QStringLiteral("readings"), readings);
        }
        if (r.compared) {
            QJsonArray perReading;
            for (const auto& d : r.differences)
                perReading.append(differencesJson(d));
            document.insert(QStringLiteral("differences"), single ? perReading.first() : QJsonValue(perReading));
            document.insert(QStringLiteral("mean_differences"), differencesJson(meanDifferences(r.differences)));
        }
        if (o.average)
            document.insert(QStringLiteral("average"), measurementObject(statistics.mean));
        printOut(QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented)));
    } else if (p.isSet(kCsv)) {
        printOut(measurementCsv(r.readings.first()));
    } else {
        for (int i = 0; i < r.readings.size(); ++i) {
            printOut(single ? measurementTable(r.readings.at(i)) : readingSummary(r.readings.at(i), i + 1));
            if (r.compared && i < r.differences.size())
                printOut(QStringLiteral("\nColour difference to the reference, %1\n")
                             .arg(illuminant::displayName(o.illuminant))
                         + differenceTable(r.differences.at(i)));
            printOut(QStringLiteral("\n"));
        }
        if (r.compared && r.differences.size() > 1)
            printOut(QStringLiteral("Mean colour difference over %1 readings\n").arg(r.differences.size())
                     + differenceTable(meanDifferences(r.differences)) + QStringLiteral("\n"));
        if (o.average)
            printOut(statisticsTable(statistics));
    }
    if (p.isSet(kPlot) && !r.readings.isEmpty())
        return writeChart(o.average ? statistics.mean : r.readings.last(), p.value(kPlot), call.context.quiet);
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

    RunResult r;
    if (!o.referenceFile.isEmpty()) {
        const QString problem = loadReference(o.referenceFile, o.illuminant, &r.reference);
        if (!problem.isEmpty())
            return failure(problem);
        r.compared = true;
    }

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const InstrumentInfo instrument = InstrumentInfo::read(session.target());
    for (int number = 1; number <= o.count; ++number) {
        const int taken = takeReading(o.trigger, number, o.count, call.context.quiet, o.buttonWait);
        if (taken == 0)
            break;
        if (taken < 0)
            return r.readings.isEmpty() || IsConnected() ? libraryFailure() : ExitFailure;
        Measurement reading;
        const QString problem = reading.readFromLibrary(o.illuminant);
        if (!problem.isEmpty())
            return failure(problem);
        reading.instrument = instrument;
        if (o.setReference && number == 1) {
            r.reference = reading;
            r.compared = true;
        } else if (r.compared) {
            r.differences.append(compareReadings(r.reference, reading));
        }
        const QString saved = saveReading(o, reading);
        if (!saved.isEmpty())
            return failure(saved);
        r.readings.append(reading);
    }
    if (r.readings.isEmpty())
        return failure(QStringLiteral("the run ended before the first reading"));
    if (o.setReference && r.differences.isEmpty())
        r.compared = false; // nothing was compared with the reading taken as reference
    return printRun(call, o, r);
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
        "--trigger: auto (at once), key (Enter on the terminal; q Enter ends the run)\n"
        "or button (the instrument's own button). With --reference FILE (an earlier\n"
        "--json or --cgats output) or --set-reference (the run's first reading) it\n"
        "prints dE76, dE94, dE2000 and CMC(2:1) per condition and their mean; with\n"
        "--average the mean and standard deviation of every value. --append and\n"
        "--cgats add each reading to a file, so a day's readings collect in one.\n"
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
        QCommandLineOption(kCgats, QStringLiteral("Append the readings to a CGATS file (LAB and SPEC_400..700)."),
                           QStringLiteral("FILE")),
    };
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
