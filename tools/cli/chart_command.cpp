#include <QFileInfo>
#include <QSaveFile>

#include "chart_layout.h"
#include "chart_pdf.h"
#include "chart_read.h"
#include "console.h"
#include "subcommand.h"

namespace vireo2::cli {
namespace {

const QString kOutput = QStringLiteral("output");
const QString kWidth = QStringLiteral("width");
const QString kSheetLength = QStringLiteral("sheet-length");
const QString kSheetWidth = QStringLiteral("sheet-width");
const QString kStripsPerSheet = QStringLiteral("strips-per-sheet");
const QString kTrack = QStringLiteral("track");
const QString kResume = QStringLiteral("resume");
const QString kYes = QStringLiteral("yes");
const QString kCondition = QStringLiteral("condition");
const QString kIlluminant = QStringLiteral("illuminant");
const QString kCommand = QStringLiteral("chart");

bool number(const QCommandLineParser& p, const QString& name, double low, double high, double* value)
{
    if (!p.isSet(name))
        return true;
    bool ok = false;
    *value = p.value(name).toDouble(&ok);
    return ok && *value >= low && *value <= high;
}

int writeBytes(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) < 0 || !file.commit())
        return failure(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    return ExitOk;
}

int layout(const Invocation& call)
{
    const QCommandLineParser& p = call.parser;
    if (call.arguments.size() != 2 || !p.isSet(kOutput))
        return usageError(QStringLiteral("chart layout takes one patch set and -o NAME"), kCommand);
    chart::LayoutOptions options;
    double strips = 0;
    if (!number(p, kWidth, 3.0, 20.0, &options.patchWidth))
        return usageError(QStringLiteral("--width takes the patch width in mm, 3 to 20"), kCommand);
    if (!number(p, kSheetLength, 100.0, 1000.0, &options.sheetLength))
        return usageError(QStringLiteral("--sheet-length takes millimetres, 100 to 1000"), kCommand);
    if (!number(p, kSheetWidth, 40.0, 1000.0, &options.sheetWidth))
        return usageError(QStringLiteral("--sheet-width takes millimetres, 40 to 1000"), kCommand);
    if (!number(p, kStripsPerSheet, 1, 40, &strips) || strips != int(strips))
        return usageError(QStringLiteral("--strips-per-sheet takes a whole number, 1 to 40"), kCommand);
    options.stripsPerSheet = int(strips);

    chart::PatchSet set;
    QString problem = chart::readPatchSet(call.arguments.at(1), &set);
    if (!problem.isEmpty())
        return failure(problem);
    chart::Chart layout;
    problem = chart::layOut(set, options, &layout);
    if (!problem.isEmpty())
        return failure(problem);
    QString name = p.value(kOutput);
    if (name.endsWith(QLatin1String(".ti2")))
        name.chop(4);
    problem = chart::writeChart(layout, name + QStringLiteral(".ti2"));
    if (!problem.isEmpty())
        return failure(problem);
    if (writeBytes(name + QStringLiteral(".pdf"), chart::chartPdf(layout, QFileInfo(name).fileName())) != ExitOk)
        return ExitFailure;
    if (!call.context.quiet)
        printErr(QStringLiteral("%1 patches on %2 strips, %3 per sheet, %4 of %5 x %6 mm: %7.ti2 and %7.pdf\n")
                     .arg(set.patches.size()).arg(layout.strips).arg(layout.stripsPerSheet)
                     .arg(layout.sheets() == 1 ? QStringLiteral("1 sheet") : QStringLiteral("%1 sheets").arg(layout.sheets()))
                     .arg(layout.sheetLength).arg(layout.sheetWidth).arg(name));
    return ExitOk;
}

int run(const Invocation& call)
{
    const QString action = call.arguments.value(0);
    if (action == QLatin1String("layout"))
        return layout(call);
    if (action == QLatin1String("read"))
        return chart::readCommand(call);
    return usageError(QStringLiteral("chart takes 'layout' or 'read'"), kCommand);
}

} // namespace

Subcommand chartCommand()
{
    Subcommand command;
    command.name = kCommand;
    command.synopsis = QStringLiteral("layout PATCHES -o NAME | read NAME.ti2 -o OUT.ti3");
    command.summary = QStringLiteral("Lay out a profiling chart for the TR3 track, or read one");
    command.description = QStringLiteral(
        "chart layout PATCHES -o NAME: lays a patch set (an ArgyllCMS .ti1/.ti2, or a\n"
        "CGATS file with SAMPLE_ID and CMYK_* or RGB_* fields) out in strips for the\n"
        "track and writes NAME.ti2 (where every patch is) and NAME.pdf (print it at\n"
        "100 % with colour management off). Each strip starts with a black lead-in,\n"
        "paper, cyan and its identification code, and ends with two black patches.\n"
        "\n"
        "chart read NAME.ti2 -o OUT.ti3: reads the chart strip by strip on the track,\n"
        "tells which strip lies there and which way round from what it measures,\n"
        "keeps its progress in OUT.ti3.progress (--resume continues), and writes a\n"
        "CTI3 measurement file for ArgyllCMS's colprof. --yes reads without asking\n"
        "(for a simulator that changes strips itself): a reversed strip is taken the\n"
        "right way round; a wrong, unreadable or suspect strip stops the read with\n"
        "exit status 1, naming it. See docs/profiling.md.");
    command.options = {
        QCommandLineOption({QStringLiteral("o"), kOutput}, QStringLiteral("Output: chart NAME, or the .ti3 file."),
                           QStringLiteral("PATH")),
        QCommandLineOption(kWidth, QStringLiteral("layout: patch width in mm, 3 to 20 (8)."), QStringLiteral("MM")),
        QCommandLineOption(kSheetLength, QStringLiteral("layout: sheet length along the track (420)."),
                           QStringLiteral("MM")),
        QCommandLineOption(kSheetWidth, QStringLiteral("layout: sheet width across the track (297)."),
                           QStringLiteral("MM")),
        QCommandLineOption(kStripsPerSheet, QStringLiteral("layout: strips on a sheet (as many as fit)."),
                           QStringLiteral("K")),
        QCommandLineOption(kTrack, QStringLiteral("read: the track's address."), QStringLiteral("HOST:PORT")),
        QCommandLineOption(kResume, QStringLiteral("read: continue a chart read before.")),
        QCommandLineOption(kYes, QStringLiteral("read: do not ask; stop on anything doubtful.")),
        QCommandLineOption(kCondition, QStringLiteral("read: measurement condition M0..M3 (M1)."), QStringLiteral("M")),
        QCommandLineOption(kIlluminant, QStringLiteral("read: illuminant/observer of XYZ and L*a*b* (D50/2)."),
                           QStringLiteral("NAME")),
    };
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
