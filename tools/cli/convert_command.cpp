#include <QFile>

#include "console.h"
#include "illuminant.h"
#include "measurement_formats.h"
#include "reading_comparison.h"
#include "subcommand.h"

namespace vireo2::cli {

namespace {
const QString kIlluminant = QStringLiteral("illuminant");
const QString kJson = QStringLiteral("json");

int run(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("convert takes one reading file"), QStringLiteral("convert"));
    QString problem;
    const int index = illuminant::fromOption(call.parser, kIlluminant, &problem);
    if (index < 0)
        return usageError(problem, QStringLiteral("convert"));
    Measurement reading;
    problem = loadReference(call.arguments.first(), index, &reading);
    if (!problem.isEmpty())
        return failure(problem);
    if (call.parser.isSet(kJson))
        printOut(QString::fromUtf8(measurementJson(reading)));
    else
        printOut(measurementTable(reading));
    return ExitOk;
}
} // namespace

Subcommand convertCommand()
{
    Subcommand command;
    command.name = QStringLiteral("convert");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Recompute a saved reading's colour values under another illuminant");
    command.description = QStringLiteral(
        "Reads a reading saved by 'vireo2 measure --json' or '--cgats' (for CGATS, the\n"
        "first sample of each condition) and prints its spectra with L*a*b*, LCh, XYZ and\n"
        "Yxy under the chosen illuminant/observer, without the instrument.\n"
        "\n"
        "Example:\n"
        "  vireo2 measure --json > paper.json\n"
        "  vireo2 convert paper.json --illuminant D65/10");
    command.options = {
        QCommandLineOption(kIlluminant, QStringLiteral("Illuminant/observer for the colour values (D50/2)."),
                           QStringLiteral("NAME")),
        QCommandLineOption(kJson, QStringLiteral("Print one JSON object instead of the table.")),
    };
    command.run = run;
    return command;
}

} // namespace vireo2::cli
