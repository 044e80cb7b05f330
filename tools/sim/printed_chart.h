#pragma once

#include <QList>
#include <QString>
#include <QVector>
#include <optional>

#include "printer_model.h"
#include "sheet_model.h"

namespace vireo2::sim {

// A chart laid out by `vireo2 chart layout` (its .ti2 file), printed by a
// simulated printer: one row of printed surfaces per strip, ready to be put
// on the track. Strips are numbered from 1, as on the printed sheets.
class PrintedChart {
public:
    // How a strip lies on the track.
    struct Placement {
        int strip = 1;          // the strip printed there
        bool reversed = false;  // turned end for end
        QList<int> smudged;     // patches (1-based along the strip) with a smear across them
    };

    static std::optional<PrintedChart> fromFile(const QString& path, const PrinterModel& printer, QString* error);

    int stripCount() const { return strips_.size(); }
    int patchCount(int strip) const { return strips_.value(strip - 1).size(); }
    double patchWidth() const { return patchWidth_; }
    // The strip as it lies on the track: its near edge at `edge` mm from home.
    SheetModel sheet(const Placement& placement, double edge) const;

private:
    double patchWidth_ = 8.0;
    double sheetLength_ = 420.0;
    double margin_ = 12.0;
    ReferenceSample paper_;
    QVector<QList<ReferenceSample>> strips_;
};

// Device values (the fields of a colour representation: CMYK_C..K or
// RGB_R..B, percent) of every sample of a CGATS file, with its SAMPLE_ID.
struct DeviceSample {
    QString id;
    QVector<double> device;
};
struct DeviceTable {
    QStringList fields;     // "CMYK_C", ... as in the file
    QVector<DeviceSample> samples;
    QString colorRep;       // COLOR_REP of the file, or derived from the fields
};
std::optional<DeviceTable> readDeviceTable(const QString& path, QString* error);

// "What would these device values measure": every sample printed by
// `printer` and read noise-free under `condition`, as the text of a CGATS
// file with the device values and SPEC_400..SPEC_700 in percent.
QByteArray printerTruth(const DeviceTable& table, const PrinterModel& printer, Condition condition);

} // namespace vireo2::sim
