#include "scanning/patch_builder.h"

#include <cmath>

#include "colour/colorimetry.h"
#include "scanning/row_check.h"

namespace vireo2 {
namespace {

// Bare track, reflectance in percent, 400 to 700 nm (measured values).
constexpr double kTrackSpectrum[ScanRecord::kWavelengthCount] = {
    1.58, 1.49, 1.49, 1.48, 1.47, 1.46, 1.47, 1.46, 1.45, 1.44, 1.44, 1.43, 1.42, 1.41, 1.40, 1.39,
    1.37, 1.38, 1.37, 1.38, 1.38, 1.38, 1.37, 1.38, 1.37, 1.39, 1.39, 1.39, 1.39, 1.39, 1.39};
constexpr int kTrackFirstBand = 3;  // 430 nm
constexpr double kTrackTolerance = 5.0;
constexpr double kPaperWindowMm = 5.0;
constexpr double kFirstPatchWindow = 0.75;  // patch widths
constexpr double kBoundary = 15.0;
constexpr double kNoRipple = 1000.0;
constexpr double kInk = 3.0;  // ΔE*ab to the paper: something is printed here

double bandMean(const double* spectrum)
{
    double sum = 0.0;
    for (int i = kTrackFirstBand; i < ScanRecord::kWavelengthCount; ++i)
        sum += spectrum[i];
    return sum / (ScanRecord::kWavelengthCount - kTrackFirstBand);
}

const double kTrackMean = bandMean(kTrackSpectrum);

double position(const ScanRecord& record)
{
    return record[ScanRecord::kPosition];
}

double ripple(const ScanRecord& record)
{
    return record[ScanRecord::kRipple];
}

const double* lab(const ScanRecord& record)
{
    return record.values.data() + ScanRecord::kL;
}

double chroma(const ScanRecord& record)
{
    return std::hypot(record[ScanRecord::kA], record[ScanRecord::kB]);
}

} // namespace

PatchBuilder::PatchBuilder(const Input& input, ErrorSink errors) : input_(input), errors_(std::move(errors)) {}

bool PatchBuilder::isTrack(const ScanRecord& record)
{
    return bandMean(record.spectrum(0)) - kTrackMean <= kTrackTolerance;
}

bool PatchBuilder::isBright(const ScanRecord& record) const
{
    return record[ScanRecord::kL] > (input_.paperLab[0] + 15.0) / 2.0;
}

bool PatchBuilder::isNearPaper(const ScanRecord& record) const
{
    return colour::DeltaE(input_.paperLab.data(), lab(record)) < 10.0;
}

bool PatchBuilder::isNearPaperLoose(const ScanRecord& record) const
{
    return colour::DeltaE(input_.paperLab.data(), lab(record)) < 20.0;
}

// Walks from `start` until the position passes `limit`; the first of two
// consecutive hits is the answer. A start of -1 (an earlier search failed)
// ends the walk at once.
int PatchBuilder::search(const ScanRecordList& list, int start, double limit, const Search& how) const
{
    const int size = int(list.size());
    const int step = how.direction == Direction::Forward ? 1 : -1;
    int hits = 0;
    for (int i = start; i >= 0 && i < size; i += step) {
        const double at = position(list[size_t(i)]);
        const bool pastLimit = how.direction == Direction::Forward ? (how.stopAtLimit ? at >= limit : at > limit)
                                                                   : at <= limit;
        if (pastLimit)
            break;
        hits = how.test(list[size_t(i)]) ? hits + 1 : 0;
        if (hits == 2)
            return i - step;
    }
    errors_(how.message);
    return how.failWithStart ? start : -1;
}

// Index of the smallest Ripple in [from, to] (the earlier on ties).
int PatchBuilder::steadiest(const ScanRecordList& list, int from, int to, bool stopEarly, double* minimum) const
{
    const int last = std::min(to, int(list.size()) - 1);
    int best = -1;
    *minimum = kNoRipple;
    for (int i = std::max(from, 0); i <= last; ++i) {
        const double value = ripple(list[size_t(i)]);
        if (value < *minimum) {
            *minimum = value;
            best = i;
        }
        if (stopEarly && *minimum < kSteady && value > kBoundary)
            break;
    }
    return best;
}

double PatchBuilder::firstPatchCentre(const ScanRecordList& list, int size, int k) const
{
    double sum = position(list[size_t(k)]);
    int count = 1;
    for (int offset : {-3, -2, -1, 1, 2, 3}) {
        const int j = k + offset;
        if (j >= 0 && j < size && ripple(list[size_t(j)]) <= kSteady) {
            sum += position(list[size_t(j)]);
            ++count;
        }
    }
    return count > 1 ? sum / count : position(list[size_t(k)]);
}

int PatchBuilder::resyncHalfWidth(const ScanRecordList& list, int k) const
{
    const double stamp = list[size_t(k)][ScanRecord::kTimeStamp];
    int half = 3;
    if (input_.referenceB > stamp)
        half = 4;
    if (stamp > input_.referenceC && k > 0) {
        const double spacing = position(list[size_t(k)]) - position(list[size_t(k - 1)]);
        const double fit = spacing > 0.0 ? std::floor(0.35 * input_.patchWidth / spacing) : 6.0;
        half = int(std::min(6.0, fit));
    }
    return half;
}

bool PatchBuilder::build(const ScanRecordList& list, Result* result)
{
    *result = Result();
    if (list.empty()) {
        errors_("FAILED Scan: Insufficient patch data.");
        return false;
    }
    const double w = input_.patchWidth;
    const int last = int(list.size()) - 1;
    int i = 0;
    while (i <= last && position(list[size_t(i)]) < kSkipMm)
        ++i;
    const double end = position(list[size_t(last)]);
    auto at = [&](int index) -> const ScanRecord* {
        return index >= 0 && index <= last ? &list[size_t(index)] : nullptr;
    };

    const Search trackEnd{Direction::Forward, false, [](const ScanRecord& r) { return !isTrack(r); },
                          "FAILED BuildPatches: Only track measurements were found.", false};
    const Search paperEdge{Direction::Forward, true, [this](const ScanRecord& r) { return isBright(r); },
                           "FAILED BuildPatches: Paper edge not found.", true};
    const Search paper{Direction::Forward, true, [this](const ScanRecord& r) { return isNearPaper(r); },
                       "FAILED BuildPatches: Paper not found.", true};
    const Search firstPatch{Direction::Forward, true, [this](const ScanRecord& r) { return !isNearPaperLoose(r); },
                            "FAILED BuildPatches: First patch not found.", false};
    const Search farEdge{Direction::Backward, true, [this](const ScanRecord& r) { return isBright(r); },
                         "FAILED BuildPatches: Far paper edge not found.", true};
    const Search farPaper{Direction::Backward, true, [this](const ScanRecord& r) { return isNearPaper(r); },
                          "FAILED BuildPatches: Far paper not found.", true};
    const Search lastPatch{Direction::Backward, true, [this](const ScanRecord& r) { return !isNearPaper(r); },
                           "FAILED BuildPatches: Last patch not found.", true};

    Landmarks marks;
    const int a = search(list, i, end, trackEnd);
    const int b = search(list, a, end, paperEdge);
    if (!at(b))
        return finishWithoutRow(result);
    marks.sheet = b;
    result->sheetEdge = position(*at(b));
    const int c = search(list, b, result->sheetEdge + kPaperWindowMm, paper);
    marks.paper = c;
    // A row of light tints has no first ink for the walk; the grid fit
    // below may still find it.
    const int d = search(list, c, end, firstPatch);
    if (at(d))
        result->patchOffset = position(*at(d));

    const double farLimit = (at(d) ? position(*at(d)) : result->sheetEdge + kPaperWindowMm) + w / 2.0;
    const int e = search(list, last, farLimit, farEdge);
    if (at(e))
        result->farSheetEdge = position(*at(e));
    marks.farSheet = at(e) ? e : last;
    const int f = search(list, e, farLimit, farPaper);
    marks.farPaper = at(f) ? f : marks.farSheet;
    const int g = search(list, f, farLimit, lastPatch);
    // The walk never looks past the last patch.
    const int size = g >= 0 && g < int(list.size()) ? g : int(list.size());

    // The first patch: the steadiest measurement within 0.75 widths of the ink.
    double minimum = kNoRipple;
    int k = -1;
    for (int j = d; at(d) && j < size && position(list[size_t(j)]) < position(list[size_t(d)]) + kFirstPatchWindow * w; ++j) {
        if (ripple(list[size_t(j)]) < minimum) {
            minimum = ripple(list[size_t(j)]);
            k = j;
        }
    }
    std::vector<int> picks;
    if (k >= 0) {
        ScanRecord first = list[size_t(k)];
        const double centre = firstPatchCentre(list, size, k);
        first[ScanRecord::kPosition] = centre;
        result->patches.push_back(first);
        picks.push_back(k);
        result->patchOffset = centre - w / 2.0;
        if (result->sheetEdge > result->patchOffset)
            result->sheetEdge = result->patchOffset;
        walkRow(list, size, k, result, &picks);
    }
    marks.firstInk = d;
    checkRow(list, marks, picks, result);
    return true;
}

// Nothing to walk: the strip is short of every patch.
bool PatchBuilder::finishWithoutRow(Result* result) const
{
    if (input_.expectedCount > 0)
        result->quality.strip = quality::kShort;
    return true;
}

// The first of two readings in a row, from `start` in steps of `step` up to
// `stop`, that differ from the paper by more than kInk; `stop` when none do.
int PatchBuilder::inkFrom(const ScanRecordList& list, int start, int step, int stop) const
{
    int hits = 0;
    for (int j = start; j != stop; j += step) {
        hits = colour::DeltaE(input_.paperLab.data(), lab(list[size_t(j)])) > kInk ? hits + 1 : 0;
        if (hits == 2)
            return j - step;
    }
    return stop;
}

void PatchBuilder::checkRow(const ScanRecordList& list, const Landmarks& at, const std::vector<int>& picks,
                            Result* result) const
{
    const int last = int(list.size()) - 1;
    const int from = at.paper >= 0 ? at.paper : at.sheet;
    const int to = std::min(last, std::max(at.farPaper, from + 1)) + 1;
    // The fit looks only at readings clear of the sheet's edges: where the
    // paper was first seen the aperture may still touch the track, and that
    // change would pass for a patch's edge a few millimetres into the margin.
    int inner = from, outer = to - 1;
    while (inner < outer && position(list[size_t(inner)]) < position(list[size_t(from)]) + 2.0 * GridFit::kApertureRadius)
        ++inner;
    while (outer > inner && position(list[size_t(outer)]) > position(list[size_t(to - 1)]) - 2.0 * GridFit::kApertureRadius)
        --outer;
    GridFit::Bounds bounds;
    bounds.from = inner;
    bounds.to = outer + 1;
    bounds.sheetEdge = position(list[size_t(at.sheet)]);
    bounds.farSheetEdge = position(list[size_t(std::max(at.farSheet, from))]);
    const int firstInk = inkFrom(list, inner, 1, outer);
    bounds.firstInk = position(list[size_t(firstInk)]);
    if (at.firstInk >= 0)
        bounds.firstInk = std::min(bounds.firstInk, position(list[size_t(at.firstInk)]));
    const int lastInk = inkFrom(list, outer, -1, inner);
    bounds.lastInk = std::max(position(list[size_t(lastInk)]), bounds.firstInk);
    if (!result->patches.empty())
        bounds.walkStart = result->patches.front()[ScanRecord::kPosition] - input_.patchWidth / 2.0;
    const GridFit fit(list, bounds, input_.expectedCount, input_.patchWidth);
    const RowCheck check(list, fit, RowCheck::Input{input_.expectedCount, input_.patchWidth, input_.paperLab});
    const GridFit::Grid grid = fit.fit();
    check.apply(grid, picks, &result->patches, &result->quality);
    // A clear fit knows where the row starts better than the walk's first
    // centre, an average that leans towards the steadier side.
    if (grid.found && grid.margin >= fit.visibleContrast())
        result->patchOffset = grid.start;
}

void PatchBuilder::walkRow(const ScanRecordList& list, int size, int k, Result* result, std::vector<int>* picks) const
{
    const double w = input_.patchWidth;
    double origin = result->patches.front()[ScanRecord::kPosition];
    int gridIndex = 0;
    while (int(result->patches.size()) < input_.expectedCount) {
        const int sofar = int(result->patches.size());
        const double expected = origin + (sofar - gridIndex) * w;
        int current = k;
        while (current < size && expected > position(list[size_t(current)]))
            ++current;
        if (current >= size)
            return;

        double minimum = kNoRipple;
        const int found = steadiest(list, std::max(current - 3, k + 3), std::min(current + 2, size - 1), true, &minimum);
        if (found < 0)
            return;
        k = found;
        ScanRecord patch = list[size_t(k)];
        patch[ScanRecord::kDelta] = (position(patch) - expected) / w;

        const double c = chroma(patch);
        const bool distinct = (c < 10.0 && patch[ScanRecord::kL] < 30.0) || c > 30.0;
        const double* previous = lab(result->patches.back());
        if (distinct && minimum <= kSteady && colour::DeltaE(previous, lab(patch)) > 10.0) {
            const int half = resyncHalfWidth(list, k);
            int left = -1;
            int right = -1;
            for (int j = 1; j <= half; ++j) {
                if (left < 0 && k - j >= 0 && ripple(list[size_t(k - j)]) > kSteady)
                    left = k - j + 1;
                if (right < 0 && k + j < size && ripple(list[size_t(k + j)]) > kSteady)
                    right = k + j - 1;
            }
            if (left >= 0 && right >= 0) {
                const double centre = (position(list[size_t(left)]) + position(list[size_t(right)])) / 2.0;
                patch[ScanRecord::kDelta] = (centre - expected) / w;
                origin = centre;
                gridIndex = sofar;
                patch[ScanRecord::kSync] = 1.0;
            }
        }
        result->patches.push_back(patch);
        picks->push_back(k);
    }
}

} // namespace vireo2
