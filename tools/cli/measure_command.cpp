#include <QFile>
#include <QSaveFile>

#include "console.h"
#include "illuminant.h"
#include "instrument_session.h"
#include "library_error.h"
#include "measurement_formats.h"
#include "progress.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {

const QString kJson = QStringLiteral("json");
const QString kCsv = QStringLiteral("csv");
const QString kPlot = QStringLiteral("plot");
const QString kIlluminant = QStringLiteral("illuminant");

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

int run(const Invocation& call)
{
    const auto& p = call.parser;
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("measure takes no arguments"), QStringLiteral("measure"));
    if (p.isSet(kJson) && p.isSet(kCsv))
        return usageError(QStringLiteral("choose one of --json and --csv"), QStringLiteral("measure"));
    const QString illuminantText = p.isSet(kIlluminant) ? p.value(kIlluminant) : illuminant::name(illuminant::kDefault);
    const int illuminantIndex = illuminant::parse(illuminantText);
    if (illuminantIndex < 0)
        return usageError(QStringLiteral("unknown illuminant '%1'; one of %2")
                              .arg(illuminantText, illuminant::names().join(QStringLiteral(", "))),
                          QStringLiteral("measure"));

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return libraryFailure();
    if (!withProgress(QStringLiteral("Measuring..."), call.context.quiet, [] { return Measure(); }))
        return libraryFailure();

    Measurement measurement;
    const QString problem = measurement.readFromLibrary(illuminantIndex);
    if (!problem.isEmpty())
        return failure(problem);
    measurement.instrument = InstrumentInfo::read(session.target());

    if (p.isSet(kJson))
        printOut(QString::fromUtf8(measurementJson(measurement)));
    else if (p.isSet(kCsv))
        printOut(measurementCsv(measurement));
    else
        printOut(measurementTable(measurement));
    return p.isSet(kPlot) ? writeChart(measurement, p.value(kPlot), call.context.quiet) : ExitOk;
}

} // namespace

Subcommand measureCommand()
{
    Subcommand command;
    command.name = QStringLiteral("measure");
    command.summary = QStringLiteral("Take a reading: spectra of M0..M3 with L*a*b* and LCh");
    command.description = QStringLiteral(
        "Connects, takes one reading and prints each measurement condition's 31\n"
        "reflectance values (400-700 nm, in percent) with its CIE L*a*b* and LCh under\n"
        "the chosen illuminant/observer (default D50/2). The instrument must be\n"
        "calibrated ('vireo2 calibrate').\n"
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
    };
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
