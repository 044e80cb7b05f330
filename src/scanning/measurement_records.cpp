// The end of a streamed track scan: the readings become measurement records
// (position, L*a*b*, dE*, Ripple), the paper's colour is taken from the
// sheet's margin, and the patches are built.
#include <cmath>

#include "scanning/measurement_records.h"

#include "colour/colorimetry.h"
#include "scanning/patch_builder.h"
#include "scanning/scan_host.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

// Record colour: data set 0 under D50, 2° observer.
constexpr int kD50Observer2 = 4;
constexpr int kPaperRun = 3;
constexpr int kPaperSamples = 10;
constexpr double kPaperSearchMm = 20.0;

double distance(const ScanRecord& one, const ScanRecord& other)
{
    return colour::DeltaE(one.values.data() + ScanRecord::kL, other.values.data() + ScanRecord::kL);
}

// Ripple: the colour change to both neighbours (ΔE*ab summed; an end
// reading counts its one neighbour twice). Near zero on a flat patch, large
// where the aperture crosses a boundary.
void fillRipple(ScanRecordList& records)
{
    const size_t n = records.size();
    for (size_t i = 0; i < n; ++i) {
        const double before = i > 0 ? distance(records[i], records[i - 1]) : -1.0;
        const double after = i + 1 < n ? distance(records[i], records[i + 1]) : -1.0;
        double value = 0.0;
        if (before >= 0.0 && after >= 0.0)
            value = before + after;
        else if (before >= 0.0 || after >= 0.0)
            value = 2.0 * std::max(before, after);
        records[i][ScanRecord::kRipple] = value;
    }
}

} // namespace

bool paperFromMargin(const ScanRecordList& records, std::array<double, 3>* paper)
{
    size_t i = 0;
    while (i < records.size() && records[i][ScanRecord::kPosition] < PatchBuilder::kSkipMm)
        ++i;
    while (i < records.size() && PatchBuilder::isTrack(records[i]))
        ++i;
    if (i >= records.size())
        return false;
    const double limit = records[i][ScanRecord::kPosition] + kPaperSearchMm;
    double bestL = -1.0;
    size_t bestStart = 0, bestCount = 0;
    for (size_t start = i; start < records.size() && records[start][ScanRecord::kPosition] < limit; ++start) {
        size_t count = 0;
        while (start + count < records.size() && count < kPaperSamples &&
               records[start + count][ScanRecord::kRipple] <= PatchBuilder::kSteady)
            ++count;
        if (count >= kPaperRun && records[start][ScanRecord::kL] > bestL + 1.0) {
            bestL = records[start][ScanRecord::kL];
            bestStart = start;
            bestCount = count;
        }
        start += count;
    }
    if (bestCount == 0)
        return false;
    std::array<double, 3> sum{0.0, 0.0, 0.0};
    for (size_t j = bestStart; j < bestStart + bestCount; ++j)
        for (int c = 0; c < 3; ++c)
            sum[size_t(c)] += records[j][ScanRecord::kL + c];
    for (double& value : sum)
        value /= double(bestCount);
    *paper = sum;
    return true;
}

void prepareRecords(ScanRecordList& records, const MotionProfile& motion)
{
    for (ScanRecord& record : records) {
        record[ScanRecord::kPosition] = motion.position(record[ScanRecord::kTimeStamp]);
        const colour::Triple lab = colour::SpectrumToLab(record.spectrum(0), kD50Observer2, false);
        record[ScanRecord::kL] = lab[0];
        record[ScanRecord::kA] = lab[1];
        record[ScanRecord::kB] = lab[2];
    }
    fillRipple(records);
}

void fillDeltaE(ScanRecordList& records, const std::array<double, 3>& paper)
{
    for (ScanRecord& record : records)
        record[ScanRecord::kDeltaE] = colour::DeltaE(paper.data(), record.values.data() + ScanRecord::kL);
}

void Vireo2Scanning::prepareMeasurements(ScanRecordList& records)
{
    prepareRecords(records, motion_);
    std::array<double, 3> paper{};
    if (!paperReferenceSet_ && paperFromMargin(records, &paper))
        paperLab_ = paper;
    fillDeltaE(records, paperLab_);
}

bool Vireo2Scanning::buildPatches(const ScanRecordList& records)
{
    PatchBuilder::Input input;
    input.expectedCount = expectedPatchCount_;
    input.patchWidth = patchWidth_;
    input.paperLab = paperLab_;
    input.referenceB = refB_;
    input.referenceC = refC_;
    PatchBuilder builder(input, [this](const char* message) {
        log().LogErrorOnly(errors::kPatchBuild, QString::fromLatin1(message));
    });
    PatchBuilder::Result result;
    if (!builder.build(records, &result))
        return false;
    sheetEdge_ = result.sheetEdge;
    farSheetEdge_ = result.farSheetEdge;
    patchOffset_ = result.patchOffset;
    if (result.quality.strip != 0)
        log().WriteLine(describeQuality(result.quality, expectedPatchCount_, int(result.patches.size())));
    setPatches(std::move(result.patches), std::move(result.quality));
    return true;
}

// Building's end: patches counted, the summary logged, the track sent home.
bool Vireo2Scanning::concludeBuild(const ScanRecordList& records)
{
    if (!buildPatches(records)) {
        markFailed();
        return false;
    }
    if (patchCount() == 0) {
        log().LogErrorOnly(errors::kPatchBuild, QStringLiteral("FAILED Scan: No patches detected"));
        markFailed();
        return false;
    }
    if (log().scanDebug())
        saveStripFiles(false);
    announcePatches();
    return true;
}

bool Vireo2Scanning::finishStreamedScan()
{
    ScanRecordList records = measurements();
    if (records.empty()) {
        log().LogErrorOnly(errors::kPatchBuild, QStringLiteral("FAILED Scan: Insufficient data"));
        markFailed();
        return false;
    }
    if (!readReferences()) {
        markFailed();
        return false;
    }
    prepareMeasurements(records);
    {
        MutexLocker lock(&listMutex_);
        measurements_ = records;
    }
    if (log().scanDebug() && !saveStripFiles(true)) {
        markFailed();
        return false;
    }
    return concludeBuild(records);
}

QString Vireo2Scanning::scanRecordedData()
{
    ScanRecordList records = measurements();
    if (records.empty()) {
        log().LogErrorOnly(errors::kPatchBuild, QStringLiteral("FAILED Scan: Insufficient data"));
        return QString();
    }
    prepareMeasurements(records);
    if (!concludeBuild(records))
        return QString();
    return QStringLiteral("<00>");
}

} // namespace vireo2
