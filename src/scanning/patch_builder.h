#pragma once

#include <array>
#include <functional>

#include "scanning/grid_fit.h"
#include "scanning/patch_quality.h"
#include "scanning/scan_record.h"

namespace vireo2 {

// Turns the measurements of a traverse (in track order, with time stamp,
// L*a*b*, dE*, Position and Ripple filled in) into one record per patch:
// finds the end of the bare track, the sheet's edge, the paper and the first
// ink, then walks along the row at the patch width, taking the steadiest
// measurement near each expected centre and re-synchronising the grid on
// patches that stand out clearly from the previous one. That walk is then
// held against a grid of the configured count and width fitted to the whole
// traverse (GridFit, RowCheck): patches the walk lost or misplaced come from
// the grid, and every patch and the strip say how far they can be trusted.
class PatchBuilder {
public:
    // Readings before this position (mm) are the head getting under way.
    static constexpr double kSkipMm = 15.0;
    // A reading with Ripple up to this is steady: no boundary under it.
    static constexpr double kSteady = 3.0;

    struct Input {
        int expectedCount = 0;
        double patchWidth = 0.0;
        std::array<double, 3> paperLab{};  // reference colour of the paper
        double referenceB = 0.0;           // time stamp: head at speed
        double referenceC = 0.0;           // time stamp: head braking
    };
    struct Result {
        ScanRecordList patches;
        double sheetEdge = 0.0;
        double farSheetEdge = 0.0;
        double patchOffset = 0.0;
        StripQuality quality;
    };
    // Receives each failure's message (recorded as kPatchBuild by the caller).
    using ErrorSink = std::function<void(const char* message)>;

    PatchBuilder(const Input& input, ErrorSink errors);

    // False only for an empty list; a failed search is reported through the
    // sink and building goes on with its failure value.
    bool build(const ScanRecordList& measurements, Result* result);

    // The classifiers, public for their tests.
    static bool isTrack(const ScanRecord& record);
    bool isBright(const ScanRecord& record) const;
    bool isNearPaper(const ScanRecord& record) const;
    bool isNearPaperLoose(const ScanRecord& record) const;
    // Half-width of the re-synchronising search around measurement k.
    int resyncHalfWidth(const ScanRecordList& list, int k) const;

private:
    enum class Direction { Forward, Backward };
    struct Search {
        Direction direction;
        bool stopAtLimit;  // forward: stop at position >= limit (else >)
        std::function<bool(const ScanRecord&)> test;
        const char* message;
        bool failWithStart;  // failure value: the start index (else -1)
    };

    // Indices where the sheet and the row were found.
    struct Landmarks {
        int sheet = -1, paper = -1, firstInk = -1;
        int farSheet = -1, farPaper = -1;
    };

    int search(const ScanRecordList& list, int start, double limit, const Search& how) const;
    int steadiest(const ScanRecordList& list, int from, int to, bool stopEarly, double* minimum) const;
    double firstPatchCentre(const ScanRecordList& list, int size, int k) const;
    // The walk; `size` ends the usable list (the last patch's end), `picks`
    // receives the reading taken for each patch.
    void walkRow(const ScanRecordList& list, int size, int k, Result* result, std::vector<int>* picks) const;
    void checkRow(const ScanRecordList& list, const Landmarks& at, const std::vector<int>& picks, Result* result) const;
    bool finishWithoutRow(Result* result) const;
    int inkFrom(const ScanRecordList& list, int start, int step, int stop) const;

    Input input_;
    ErrorSink errors_;
};

} // namespace vireo2
