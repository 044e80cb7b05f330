#include "sim_command_line.h"

namespace vireo2::sim {
namespace {

const QCommandLineOption kPort({QStringLiteral("p"), QStringLiteral("port")},
                               QStringLiteral("TCP port on 127.0.0.1 (0: any free port). Default 60001."),
                               QStringLiteral("N"), QStringLiteral("60001"));
const QCommandLineOption kFault({QStringLiteral("f"), QStringLiteral("fault")},
                                QStringLiteral("Script a fault, as after \"SIM FAULT\" (repeatable)."),
                                QStringLiteral("TEXT"));
const QCommandLineOption kFirmware(QStringLiteral("firmware"),
                                   QStringLiteral("Firmware version the instrument reports."),
                                   QStringLiteral("VERSION"));
const QCommandLineOption kSerial(QStringLiteral("serial"), QStringLiteral("Serial number of the instrument."),
                                 QStringLiteral("TEXT"));
const QCommandLineOption kCalibrated(QStringLiteral("calibrated"),
                                     QStringLiteral("Start with a valid calibration (default: needs calibrating)."));

const QCommandLineOption kTrack(QStringLiteral("track"),
                               QStringLiteral("Also simulate the TR3 track on this port of 127.0.0.1 (0: any free port)."),
                               QStringLiteral("PORT"));
const QCommandLineOption kSheet(QStringLiteral("sheet"),
                                QStringLiteral("The chart on the track, a JSON file (default: the built-in chart)."),
                                QStringLiteral("FILE"));
const QCommandLineOption kTrackLength(QStringLiteral("track-length"),
                                      QStringLiteral("Usable length of the track in mm (default 1060)."),
                                      QStringLiteral("MM"), QStringLiteral("1060"));
const QCommandLineOption kSamplingPhase(
    QStringLiteral("sampling-phase"),
    QStringLiteral("Readings fall this fraction (0 to 1) of a reading interval after the traverse starts."),
    QStringLiteral("F"));
const QCommandLineOption kHandScan(QStringLiteral("hand-scan"),
                                   QStringLiteral("Start with a finished hand scan of N patches."),
                                   QStringLiteral("N"));

const QCommandLineOption kChart(QStringLiteral("chart"),
                                QStringLiteral("Print this chart layout (.ti2) and put its strips on the track, strip 1 first."),
                                QStringLiteral("FILE"));
const QCommandLineOption kPrinter(QStringLiteral("printer"),
                                  QStringLiteral("Printer for --chart and --printer-truth: offset, inkjet or newsprint (offset)."),
                                  QStringLiteral("MODEL"), QStringLiteral("offset"));
const QCommandLineOption kAutoNext(QStringLiteral("auto-next"),
                                   QStringLiteral("Put the next strip on the track whenever the head is home after a traverse."));
const QCommandLineOption kChartFault(QStringLiteral("chart-fault"),
                                     QStringLiteral("A misplaced strip, as after \"SIM sheet fault\": \"reversed N\", \"wrong N M\", "
                                                    "\"smudge N PATCH\" (repeatable)."),
                                     QStringLiteral("TEXT"));
const QCommandLineOption kPrinterTruth(QStringLiteral("printer-truth"),
                                       QStringLiteral("Print what the printer's patches of these device values (CGATS) measure, then exit."),
                                       QStringLiteral("FILE"));
const QCommandLineOption kTruthCondition(QStringLiteral("truth-condition"),
                                         QStringLiteral("Measurement condition for --printer-truth: M0..M3 (M1)."),
                                         QStringLiteral("M"), QStringLiteral("M1"));

} // namespace

void declareOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Simulated Vireo2 instrument: answers BCP commands over TCP on 127.0.0.1.\n"
        "Control commands travel as BCP packets starting with \"SIM \"."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(kPort);
    parser.addOption(kFault);
    parser.addOption(kFirmware);
    parser.addOption(kSerial);
    parser.addOption(kCalibrated);
    parser.addOption(kTrack);
    parser.addOption(kSheet);
    parser.addOption(kTrackLength);
    parser.addOption(kSamplingPhase);
    parser.addOption(kHandScan);
    for (const QCommandLineOption& option : {kChart, kPrinter, kAutoNext, kChartFault, kPrinterTruth, kTruthCondition})
        parser.addOption(option);
}

bool readOptions(const QCommandLineParser& parser, SimCommandLine* options, QString* error)
{
    bool ok = false;
    const uint port = parser.value(kPort).toUInt(&ok);
    if (!ok || port > 65535) {
        *error = QStringLiteral("invalid port: %1").arg(parser.value(kPort));
        return false;
    }
    options->port = quint16(port);
    options->faults = parser.values(kFault);
    if (parser.isSet(kFirmware))
        options->instrument.firmwareVersion = parser.value(kFirmware);
    if (parser.isSet(kSerial))
        options->instrument.serialNumber = parser.value(kSerial);
    if (parser.isSet(kCalibrated))
        options->instrument.calibrated = true;
    if (parser.isSet(kTrack)) {
        const uint trackPort = parser.value(kTrack).toUInt(&ok);
        if (!ok || trackPort > 65535) {
            *error = QStringLiteral("invalid track port: %1").arg(parser.value(kTrack));
            return false;
        }
        options->trackPort = quint16(trackPort);
    }
    options->sheetFile = parser.value(kSheet);
    options->trackLength = parser.value(kTrackLength).toDouble(&ok);
    if (!ok || options->trackLength < 50.0 || options->trackLength > 2000.0) {
        *error = QStringLiteral("invalid track length: %1 (50 to 2000 mm)").arg(parser.value(kTrackLength));
        return false;
    }
    if (parser.isSet(kSamplingPhase)) {
        options->samplingPhase = parser.value(kSamplingPhase).toDouble(&ok);
        if (!ok || options->samplingPhase < 0.0 || options->samplingPhase >= 1.0) {
            *error = QStringLiteral("invalid sampling phase: %1 (0 to below 1)").arg(parser.value(kSamplingPhase));
            return false;
        }
    }
    if (parser.isSet(kHandScan)) {
        options->handScan = parser.value(kHandScan).toInt(&ok);
        if (!ok || options->handScan < 1 || options->handScan > 1000) {
            *error = QStringLiteral("invalid hand-scan patch count: %1").arg(parser.value(kHandScan));
            return false;
        }
    }
    options->chartFile = parser.value(kChart);
    options->printer = parser.value(kPrinter).toLower();
    options->autoNext = parser.isSet(kAutoNext);
    options->chartFaults = parser.values(kChartFault);
    options->truthFile = parser.value(kPrinterTruth);
    const QString condition = parser.value(kTruthCondition).toUpper();
    options->truthCondition = condition.size() == 2 && condition[0] == QLatin1Char('M') ? condition[1].digitValue() : -1;
    if (options->truthCondition < 0 || options->truthCondition > 3) {
        *error = QStringLiteral("invalid condition: %1 (M0 to M3)").arg(parser.value(kTruthCondition));
        return false;
    }
    if ((options->autoNext || !options->chartFaults.isEmpty()) && options->chartFile.isEmpty()) {
        *error = QStringLiteral("--auto-next and --chart-fault need --chart");
        return false;
    }
    return true;
}

} // namespace vireo2::sim
