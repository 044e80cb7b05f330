// Patch building over made-up traverses: where the sheet and the first ink
// are found, the walk along the row, and when the grid re-synchronises.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "scanning/patch_builder.h"

namespace vireo2 {
namespace {

struct Lab {
    double L, a, b;
};

constexpr double kSpacing = 0.5;
const Lab kPaper{95.0, 0.0, -3.0};

// A traverse over bare track to 30 mm, a 10 mm margin, the patches, a 10 mm
// margin, then track to the end. Ripple is high within one sample of a
// boundary and lowest at the middle of each patch or margin, as the noise
// of real readings makes it; time stamps are positions ×10.
class Traverse {
public:
    Traverse(std::vector<Lab> patches, double width, double end = 0.0) : patches_(std::move(patches)), width_(width)
    {
        farEdge_ = 40.0 + width_ * double(patches_.size()) + 10.0;
        const double last = end > 0.0 ? end : farEdge_ + 20.0;
        for (double x = 0.0; x <= last; x += kSpacing)
            records.push_back(recordAt(x));
    }

    double centre(int patch) const { return 40.0 + (patch + 0.5) * width_; }

    ScanRecordList records;

private:
    // Ripple: 20 within one sample of a boundary, else rising from 0.2 at
    // the middle of the stretch towards its edges.
    double ripple(double x) const
    {
        std::vector<double> edges{30.0, 40.0};
        for (size_t i = 1; i <= patches_.size(); ++i)
            edges.push_back(40.0 + double(i) * width_);
        edges.push_back(farEdge_);
        for (double edge : edges)
            if (std::abs(x - edge) <= kSpacing)
                return 20.0;
        for (size_t i = 1; i < edges.size(); ++i)
            if (x > edges[i - 1] && x < edges[i])
                return 0.2 + 0.1 * std::abs(x - (edges[i - 1] + edges[i]) / 2.0);
        return 0.5;
    }

    ScanRecord recordAt(double x) const
    {
        ScanRecord r;
        r[ScanRecord::kPosition] = x;
        r[ScanRecord::kTimeStamp] = x * 10.0;
        Lab lab{15.0, 0.0, 0.0};
        double reflectance = 1.4;
        if (x >= 30.0 && x < farEdge_) {
            reflectance = 50.0;
            lab = kPaper;
            const int index = int(std::floor((x - 40.0) / width_));
            if (x >= 40.0 && index >= 0 && index < int(patches_.size()))
                lab = patches_[size_t(index)];
        }
        r[ScanRecord::kL] = lab.L;
        r[ScanRecord::kA] = lab.a;
        r[ScanRecord::kB] = lab.b;
        r[ScanRecord::kRipple] = ripple(x);
        for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
            r.spectral(0, i) = reflectance;
        return r;
    }

    std::vector<Lab> patches_;
    double width_;
    double farEdge_;
};

struct Built {
    bool ok = false;
    PatchBuilder::Result result;
    std::vector<std::string> errors;
};

Built build(const ScanRecordList& records, int count, double width, double refB = -1.0, double refC = 1e9)
{
    Built built;
    PatchBuilder::Input input{count, width, {kPaper.L, kPaper.a, kPaper.b}, refB, refC};
    PatchBuilder builder(input, [&built](const char* message) { built.errors.emplace_back(message); });
    built.ok = builder.build(records, &built.result);
    return built;
}

std::vector<Lab> alternating(int count)
{
    std::vector<Lab> patches;
    for (int i = 0; i < count; ++i)
        patches.push_back(i % 2 ? Lab{50.0, 60.0, 40.0} : Lab{20.0, 0.0, 0.0});
    return patches;
}

TEST(PatchBuilder, FindsTheSheetAndEveryPatchAtItsCentre)
{
    const Traverse traverse(alternating(10), 8.0);
    const Built built = build(traverse.records, 10, 8.0);
    ASSERT_TRUE(built.ok);
    EXPECT_TRUE(built.errors.empty()) << built.errors.front();
    ASSERT_EQ(built.result.patches.size(), 10u);
    for (int p = 0; p < 10; ++p)
        EXPECT_NEAR(built.result.patches[size_t(p)][ScanRecord::kPosition], traverse.centre(p), 2.0) << p;
    EXPECT_NEAR(built.result.sheetEdge, 30.0, 1.0);
    EXPECT_NEAR(built.result.farSheetEdge, 130.0, 1.5);
    EXPECT_NEAR(built.result.patchOffset, 40.0, 1.0);
}

TEST(PatchBuilder, OnlyTrackAndEmptyTraverses)
{
    ScanRecordList track = Traverse({}, 8.0).records;
    for (ScanRecord& r : track)
        for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
            r.spectral(0, i) = 1.4;
    const Built built = build(track, 5, 8.0);
    EXPECT_TRUE(built.ok);
    EXPECT_TRUE(built.result.patches.empty());
    ASSERT_FALSE(built.errors.empty());
    EXPECT_EQ(built.errors.front(), "FAILED BuildPatches: Only track measurements were found.");

    const Built empty = build({}, 5, 8.0);
    EXPECT_FALSE(empty.ok);
    EXPECT_EQ(empty.errors, std::vector<std::string>{"FAILED Scan: Insufficient patch data."});
}

TEST(PatchBuilder, MeasurementsBeforeFifteenMillimetresAreNeverClassified)
{
    Traverse traverse(alternating(6), 8.0);
    // Ink-like, bright readings in the first 15 mm would end the track and
    // start the sheet if they were looked at.
    for (ScanRecord& r : traverse.records) {
        if (r[ScanRecord::kPosition] < 15.0) {
            r[ScanRecord::kL] = 90.0;
            for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
                r.spectral(0, i) = 60.0;
        }
    }
    const Built built = build(traverse.records, 6, 8.0);
    ASSERT_EQ(built.result.patches.size(), 6u);
    EXPECT_NEAR(built.result.sheetEdge, 30.0, 1.0);
}

// A traverse that ends inside the row keeps the patches whose centre was
// read, each where it belongs, and says that the far edge is missing.
TEST(PatchBuilder, TraverseEndingMidRowGivesFewerPatches)
{
    const std::vector<Lab> row = alternating(10);
    struct Case {
        double endInPatches;  // where the readings stop, in patch widths into the row
        size_t found;
    };
    for (const Case& c : {Case{4.6, 5u}, Case{4.3, 4u}, Case{7.9, 8u}}) {
        const Traverse traverse(row, 8.0, 40.0 + 8.0 * c.endInPatches);
        const Built built = build(traverse.records, 10, 8.0);
        EXPECT_TRUE(built.ok);
        ASSERT_EQ(built.result.patches.size(), c.found) << "ending " << c.endInPatches << " patches in";
        for (size_t p = 0; p < c.found; ++p) {
            EXPECT_NEAR(built.result.patches[p][ScanRecord::kPosition], traverse.centre(int(p)), 1.0) << p;
            EXPECT_EQ(built.result.patches[p][ScanRecord::kL], row[p].L) << p;
        }
        EXPECT_NE(std::find(built.errors.begin(), built.errors.end(), "FAILED BuildPatches: Far paper edge not found."),
                  built.errors.end());
    }
}

TEST(PatchBuilder, OnlyDistinctPatchesResynchronise)
{
    // Greys after greys: never.
    std::vector<Lab> greys{{20.0, 0, 0}, {50.0, 0, 0}, {65.0, 0, 0}, {45.0, 0, 0}, {60.0, 0, 0}};
    const Built grey = build(Traverse(greys, 3.0).records, 5, 3.0);
    ASSERT_EQ(grey.result.patches.size(), 5u);
    for (size_t p = 1; p < 5; ++p)
        EXPECT_EQ(grey.result.patches[p][ScanRecord::kSync], 0.0) << p;

    // A saturated patch after paper-coloured ones: yes.
    std::vector<Lab> pale{{20.0, 0, 0}, {90.0, 2, 4}, {90.0, 2, 4}, {50.0, 60.0, 40.0}, {20.0, 0, 0}};
    const Built saturated = build(Traverse(pale, 3.0).records, 5, 3.0);
    ASSERT_EQ(saturated.result.patches.size(), 5u);
    EXPECT_EQ(saturated.result.patches[1][ScanRecord::kSync], 0.0);
    EXPECT_EQ(saturated.result.patches[3][ScanRecord::kSync], 1.0);
    EXPECT_NEAR(saturated.result.patches[3][ScanRecord::kDelta], 0.0, 0.1);
}

TEST(PatchBuilder, ResynchronisingHalfWidth)
{
    ScanRecordList list(3);
    for (int i = 0; i < 3; ++i) {
        list[size_t(i)][ScanRecord::kPosition] = 10.0 + kSpacing * i;
        list[size_t(i)][ScanRecord::kTimeStamp] = 100.0;
    }
    auto halfWidth = [&](double width, double refB, double refC) {
        PatchBuilder builder(PatchBuilder::Input{5, width, {}, refB, refC}, [](const char*) {});
        return builder.resyncHalfWidth(list, 2);
    };
    EXPECT_EQ(halfWidth(3.0, 50.0, 200.0), 3) << "at speed";
    EXPECT_EQ(halfWidth(3.0, 150.0, 200.0), 4) << "still accelerating";
    EXPECT_EQ(halfWidth(3.0, 50.0, 90.0), 2) << "braking: min(6, floor(0.35 * 3 / 0.5))";
    EXPECT_EQ(halfWidth(20.0, 50.0, 90.0), 6);
}

} // namespace
} // namespace vireo2
