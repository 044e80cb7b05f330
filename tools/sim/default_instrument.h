#pragma once

#include <QString>
#include <memory>

#include "instrument_model.h"

namespace vireo2::sim {

// What the default simulated instrument reports about itself.
struct DefaultInstrumentOptions {
    QString productName = QStringLiteral("Hueron Vireo2");
    QString firmwareVersion = QStringLiteral("0.5.398");
    QString serialNumber = QStringLiteral("V2-000001");
};

// The simulated Vireo2. Answers "version" with
// "VERSION 0x00 <product> <firmware>" and every other command with its first
// word in upper case followed by " 0x00" (success, no value).
std::unique_ptr<InstrumentModel> createDefaultInstrument(const DefaultInstrumentOptions& options = {});

} // namespace vireo2::sim
