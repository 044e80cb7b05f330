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
    return true;
}

} // namespace vireo2::sim
