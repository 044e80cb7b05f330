#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <array>

namespace vireo2::cli {

// One patch of a scanned strip, as the library serves it.
struct StripPatch {
    int sheet = 0;
    int index = 0;                          // 0-based within its strip
    QVector<QVector<double>> percent;       // per condition M0..M3, 31 values
    std::array<double, 3> lab{};            // of the chosen condition, chosen illuminant
    bool hasRecord = false;                 // track scans: the header values below
    double position = 0.0;                  // centre, mm
    double delta = 0.0;                     // position error, patch widths
    double ripple = 0.0;
    bool synchronised = false;
    int quality = 0;                        // ScanGetQuality's flags (VIREO2_SCAN_*)
};

// How far one strip can be trusted: the library's flags for it, and the
// warnings they give (empty when nothing is in doubt).
struct StripVerdict {
    int sheet = 0;
    int flags = 0;
    QStringList warnings;
};

// The patches of one or more strips and how they were read.
struct StripScan {
    bool track = false;
    double patchWidth = 0.0;
    int condition = 1;                      // M1
    int illuminant = 0;
    QVector<StripPatch> patches;
    QVector<StripVerdict> verdicts;         // one per strip
    // Every strip's warnings, each naming its sheet.
    QStringList warnings() const;
};

// What to scan and how.
struct StripScanRequest {
    QString trackAddress;                   // "HOST:PORT"; empty: a hand scan
    int patchCount = 24;
    double patchWidth = 8.0;
    int firstSheet = 0;
    int sheets = 1;
    int waitSeconds = 300;                  // hand scans: how long to wait for the operator
    bool quiet = false;
};

// Chooses track or instrument mode in the library's settings before it
// connects (the track's address, "setmodel"). False: the error record says why.
bool chooseScanMode(const StripScanRequest& request);

// Scans every strip over the open connection and reads its patches; an empty
// text on success, else what went wrong (the library's error is printed).
QString scanStrips(const StripScanRequest& request, StripScan* scan);

// Fills each patch's L*a*b* for `scan.condition` under `scan.illuminant`.
void computeColours(StripScan* scan);

} // namespace vireo2::cli
