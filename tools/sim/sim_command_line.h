#pragma once

#include <QCommandLineParser>
#include <QStringList>
#include <optional>

#include "default_instrument.h"

namespace vireo2::sim {

// The simulator's command line: --port, --fault, and the options that
// describe the simulated instrument.
struct SimCommandLine {
    quint16 port = 60001;
    QStringList faults;   // "SIM FAULT" texts applied at start
    // The TR3 track's port (0: any free port); none: no track.
    std::optional<quint16> trackPort;
    QString sheetFile;    // a chart file for the sheet on the track
    double trackLength = 1060.0;
    double samplingPhase = -1.0;  // fraction of a reading interval; < 0: unset
    int handScan = 0;     // patches of a hand scan finished at start
    QString chartFile;    // a chart layout (.ti2) printed and put on the track strip by strip
    QString printer = QStringLiteral("offset");
    bool autoNext = false;
    QStringList chartFaults;  // "reversed 2", "wrong 3 4", "smudge 2 17"
    QString truthFile;    // device values to answer with the printer's truth
    int truthCondition = 1;
    DefaultInstrumentOptions instrument;
};

// Declares every option on `parser` (help and version included).
void declareOptions(QCommandLineParser& parser);

// Reads the parsed options; false with `error` set for an invalid value.
bool readOptions(const QCommandLineParser& parser, SimCommandLine* options, QString* error);

} // namespace vireo2::sim
