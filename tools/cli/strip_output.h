#pragma once

#include <QByteArray>
#include <QString>

#include "cgats_writer.h"
#include "strip_scan.h"

namespace vireo2::cli {

// The patches as a table, one line each.
QString stripTable(const StripScan& scan);
// One JSON object: how the strip was read and every patch with its spectra.
QByteArray stripJson(const StripScan& scan);
// CSV: a header row, one row per patch with the chosen condition's spectrum.
QString stripCsv(const StripScan& scan);
// The header of a strip's CGATS file (kind, condition, illuminant), without
// rows: what an existing file must match before a scan adds to it.
CgatsTable stripCgatsHeader(const StripScan& scan);
// Adds the patches to a CGATS file (ids continue after the file's last one).
// An empty text on success.
QString appendStripCgats(const StripScan& scan, const QString& path);
// The strip as an SVG picture: a row of swatches per sheet, with each patch's
// position error and Ripple drawn beneath (track scans).
QByteArray stripChartSvg(const StripScan& scan);

} // namespace vireo2::cli
