#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace vireo2::cli::chart {

// What a patch on the chart is for. Every strip starts with a black lead-in
// patch (the reader finds the row by it), a paper patch and a solid cyan
// patch (the three references the code is read against), then the strip's
// identification code, and ends with two black patches; the patch set's own
// patches lie between.
enum class Role { Data, Lead, Paper, Cyan, Code, End };
QString roleName(Role role);

struct Patch {
    QString id;                  // SAMPLE_ID: the patch set's own for data patches
    Role role = Role::Data;
    int strip = 0;               // 1-based, the order strips are read in
    int place = 0;               // 1-based along the strip, from its lead-in end
    int order = 0;               // data patches: 1-based place in the patch set
    QVector<double> device;      // percent, in the order of Chart::deviceFields
    QVector<double> expectedXyz; // the patch set's expected XYZ, when it had one
};

// The identification code of a strip: kStripBits bits of the strip number,
// one bit of the chart's tag, then an even-parity bit, least significant
// first. Each bit is one patch of black, paper or cyan, never the colour of
// the patch before it: the colour one step on (black, paper, cyan, black...)
// from the previous patch is 0, two steps on is 1. So the code has no runs of
// one colour, and the patch finder can re-align on every other patch.
constexpr int kStripBits = 7;
constexpr int kCodeBits = kStripBits + 2;
constexpr int kLeadPatches = 3 + kCodeBits;  // lead-in, paper, cyan, code
constexpr int kEndPatches = 2;
constexpr int kMaxStrips = (1 << kStripBits) - 1;
enum Symbol { Black = 0, PaperWhite = 1, Cyan = 2 };
// The bits, then the symbols that print them (the first follows the cyan reference).
QVector<bool> stripBits(int strip, int tag);
QVector<int> codeSymbols(const QVector<bool>& bits);

struct Chart {
    QString colorRep;            // "CMYK", "RGB" or "iRGB", as the patch set said
    QStringList deviceFields;    // "CMYK_C".."CMYK_K" or "RGB_R".."RGB_B"
    QString inkLimit;            // TOTAL_INK_LIMIT of the patch set, if any
    double patchWidth = 8.0;     // mm, along the track
    double sheetLength = 420.0;  // mm, along the track
    double sheetWidth = 297.0;   // mm, across
    double margin = 12.0;        // paper before the lead-in and after the end patches, mm
    int stripsPerSheet = 1;
    int strips = 0;
    int tag = 0;                 // 0 or 1, from the patch set's device values
    bool hasExpected = false;
    QVector<Patch> patches;      // strip by strip, each in place order

    QVector<Patch> strip(int number) const;
    int sheetOf(int strip) const { return (strip - 1) / stripsPerSheet + 1; }
    int rowOf(int strip) const { return (strip - 1) % stripsPerSheet + 1; }
    int sheets() const { return (strips + stripsPerSheet - 1) / stripsPerSheet; }
    int dataCount() const;
    // "sheet 2, strip 3" (or "sheet 2" with one strip per sheet).
    QString stripLabel(int strip) const;
    // Device values of black and of bare paper in this colour representation.
    QVector<double> black() const;
    QVector<double> paper() const;
    QVector<double> cyan() const;
    QVector<double> symbol(int symbol) const;
};

// A patch set: ArgyllCMS .ti1/.ti2 or any CGATS file with SAMPLE_ID and
// RGB_R/G/B or CMYK_C/M/Y/K fields (RGB given as 0..255 is scaled to percent).
struct PatchSet {
    QString colorRep;
    QStringList deviceFields;
    QString inkLimit;
    bool hasExpected = false;
    QVector<Patch> patches;      // role Data, no place yet
};
QString readPatchSet(const QString& path, PatchSet* set);

struct LayoutOptions {
    double patchWidth = 8.0;
    double sheetLength = 420.0;
    double sheetWidth = 297.0;
    int stripsPerSheet = 0;      // 0: as many as fit across the sheet
};
// Strip pitch across a sheet and the paper kept above the first strip, mm.
constexpr double kStripPitch = 25.0;
constexpr double kPatchHeight = 15.0;
constexpr double kSheetTopMargin = 15.0;

QString layOut(const PatchSet& set, const LayoutOptions& options, Chart* chart);

// The chart description (CGATS "CTI2"), written and read through Little CMS.
QString writeChart(const Chart& chart, const QString& path);
QString readChart(const QString& path, Chart* chart);

} // namespace vireo2::cli::chart
