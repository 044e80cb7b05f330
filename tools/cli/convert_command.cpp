// vireo2 convert FILE: every reading of a file vireo2 wrote, recomputed under
// another illuminant/observer without the instrument, and written as CGATS.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "cgats_writer.h"
#include "console.h"
#include "illuminant.h"
#include "measurement_formats.h"
#include "output_path.h"
#include "reading_files.h"
#include "subcommand.h"

namespace vireo2::cli {

namespace {
const QString kIlluminant = QStringLiteral("illuminant");
const QString kJson = QStringLiteral("json");
const QString kCgats = QStringLiteral("cgats");
const QString kCondition = QStringLiteral("condition");

// The condition of the CGATS rows: the one asked for, else M1, else the
// readings' only one.
QString rowCondition(const QCommandLineParser& p, const QVector<Measurement>& readings, QString* problem)
{
    QString name = p.value(kCondition).toUpper();
    if (name.isEmpty())
        name = readings.first().condition(QStringLiteral("M1")) || readings.first().conditions.size() != 1
                   ? QStringLiteral("M1")
                   : readings.first().conditions.first().name;
    for (const Measurement& m : readings) {
        if (!m.condition(name)) {
            *problem = QStringLiteral("%1 has no condition %2").arg(m.label, name);
            return QString();
        }
    }
    return name;
}

QString writeTable(const QString& path, const QVector<Measurement>& readings, const QString& kind,
                   const QString& condition, int illuminantIndex)
{
    CgatsTable table;
    table.descriptor = QStringLiteral("Vireo2 %1 readings, converted").arg(kind);
    const QString name = illuminant::name(illuminantIndex);
    table.illuminant = name.section(QLatin1Char('/'), 0, 0);
    table.observer = name.section(QLatin1Char('/'), 1);
    table.condition = condition;
    table.kind = kind;
    table.wavelengths = readings.first().wavelengths;
    for (int i = 0; i < readings.size(); ++i) {
        const ConditionReading* values = readings.at(i).condition(condition);
        CgatsSample sample;
        sample.id = QString::number(i + 1);
        sample.name = readings.at(i).label;
        sample.lab = values->lab();
        sample.percent = values->percent;
        table.samples.append(sample);
    }
    return writeCgats(table, path);
}

int run(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("convert takes one reading file"), QStringLiteral("convert"));
    QString problem;
    const int index = illuminant::fromOption(call.parser, kIlluminant, &problem);
    if (index < 0)
        return usageError(problem, QStringLiteral("convert"));
    const QString out = call.parser.value(kCgats);
    if (!out.isEmpty())
        if (const QString unwritable = checkWritable(out); !unwritable.isEmpty())
            return failure(unwritable);
    QVector<Measurement> readings;
    QString kind;
    problem = loadReadings(call.arguments.first(), index, &readings, &kind);
    if (!problem.isEmpty())
        return failure(problem);
    if (!out.isEmpty()) {
        const QString condition = rowCondition(call.parser, readings, &problem);
        if (!problem.isEmpty())
            return failure(problem);
        if (const QString failed = writeTable(out, readings, kind, condition, index); !failed.isEmpty())
            return failure(failed);
        if (!call.context.quiet)
            printErr(QStringLiteral("CGATS written: %1 (%2 readings of %3)\n").arg(out).arg(readings.size()).arg(condition));
    }
    if (call.parser.isSet(kJson)) {
        QJsonArray all;
        for (const Measurement& m : readings)
            all.append(measurementObject(m));
        const QJsonDocument document = readings.size() == 1
                                           ? QJsonDocument(all.first().toObject())
                                           : QJsonDocument(QJsonObject{{QStringLiteral("readings"), all}});
        printOut(QString::fromUtf8(document.toJson(QJsonDocument::Indented)));
    } else if (readings.size() == 1) {
        printOut(measurementTable(readings.first()));
    } else {
        for (const Measurement& m : readings)
            printOut(readingSummary(m, m.label) + QLatin1Char('\n'));
    }
    return ExitOk;
}
} // namespace

Subcommand convertCommand()
{
    Subcommand command;
    command.name = QStringLiteral("convert");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Recompute saved readings under another illuminant; write them as CGATS");
    command.description = QStringLiteral(
        "Reads every reading of a file vireo2 wrote ('measure --json', '--csv',\n"
        "'--append' and '--cgats'; 'scan --json', '--csv' and '--cgats') and prints\n"
        "each with L*a*b*, LCh, XYZ and Yxy under the chosen illuminant/observer,\n"
        "without the instrument. --cgats writes them to a CGATS file, one row per\n"
        "reading of --condition (M1, or the file's only condition).\n"
        "\n"
        "Example:\n"
        "  vireo2 measure --json > paper.json\n"
        "  vireo2 convert paper.json --illuminant D65/10\n"
        "  vireo2 convert day.csv --illuminant D65/10 --cgats day-d65.cgats");
    command.options = {
        QCommandLineOption(kIlluminant, QStringLiteral("Illuminant/observer for the colour values (D50/2)."),
                           QStringLiteral("NAME")),
        QCommandLineOption(kJson, QStringLiteral("Print one JSON object instead of the table.")),
        QCommandLineOption(kCgats, QStringLiteral("Write the readings to a CGATS file (replaced)."),
                           QStringLiteral("FILE")),
        QCommandLineOption(kCondition, QStringLiteral("Condition of the CGATS rows: M0..M3."), QStringLiteral("M")),
    };
    command.run = run;
    return command;
}

} // namespace vireo2::cli
