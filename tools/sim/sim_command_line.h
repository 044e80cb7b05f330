#pragma once

#include <QCommandLineParser>
#include <QStringList>

#include "default_instrument.h"

namespace vireo2::sim {

// The simulator's command line: --port, --fault, and the options that
// describe the simulated instrument.
struct SimCommandLine {
    quint16 port = 60001;
    QStringList faults;   // "SIM FAULT" texts applied at start
    DefaultInstrumentOptions instrument;
};

// Declares every option on `parser` (help and version included).
void declareOptions(QCommandLineParser& parser);

// Reads the parsed options; false with `error` set for an invalid value.
bool readOptions(const QCommandLineParser& parser, SimCommandLine* options, QString* error);

} // namespace vireo2::sim
