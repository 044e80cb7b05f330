#pragma once

#include <QByteArray>
#include <QString>

#include "chart_layout.h"

namespace vireo2::cli::chart {

// The chart as a PDF to print at exact size: one page per sheet, the page
// the sheet's size, each strip a row of patches in the printer's own device
// values (DeviceCMYK or DeviceRGB, so no colour conversion comes between),
// labelled with its sheet, strip and the end to put at the track's stop.
// Print it with colour management off ("no color adjustment").
QByteArray chartPdf(const Chart& chart, const QString& title);

} // namespace vireo2::cli::chart
