// Patch building on traverses as the track and instrument make them: the
// head at the speed the width sets (150 mm/s from 6 mm), readings 90 times
// a second at a chosen sampling phase through the 2 mm aperture that mixes
// neighbours, the simulator's spectra with their noise. Each patch is held
// against the sheet's own colour at the same index.
#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour/colour_difference.h"
#include "realistic_traverse.h"

namespace vireo2::test {
namespace {

struct Outcome {
    PatchBuilder::Result result;
    std::vector<double> de00;  // per patch of the sheet; 100 when missing
};

Outcome build(const RealisticTraverse& traverse, int count = -1)
{
    PatchBuilder::Input input;
    const ScanRecordList list = traverse.records(&input, count);
    Outcome outcome;
    PatchBuilder(input, [](const char*) {}).build(list, &outcome.result);
    for (int p = 0; p < traverse.sheet.patchCount(); ++p) {
        double de = 100.0;
        if (p < int(outcome.result.patches.size())) {
            QVector<double> truth = sim::measuredSpectrum(traverse.sheet.patch(p), sim::Condition::M2, 0, 0.0);
            for (double& value : truth)
                value *= 100.0;
            const colour::Triple expected = colour::SpectrumToLab(truth.constData(), 4, false);
            const colour::Triple measured = colour::SpectrumToLab(outcome.result.patches[size_t(p)].spectrum(2), 4, false);
            de = colour::DeltaE2000(expected.data(), measured.data());
        }
        outcome.de00.push_back(de);
    }
    return outcome;
}

int flags(const Outcome& outcome, int patch)
{
    return outcome.result.quality.patches.at(size_t(patch));
}

QStringList darkFirstChart()
{
    QStringList names{QStringLiteral("black")};
    for (int i = 1; i <= 14; ++i)
        names << QStringLiteral("TCS%1").arg(i, 2, 10, QLatin1Char('0'));
    names << QStringLiteral("cyan") << QStringLiteral("magenta") << QStringLiteral("yellow") << QStringLiteral("red")
          << QStringLiteral("blue") << QStringLiteral("grey:0.4") << QStringLiteral("green") << QStringLiteral("black")
          << QStringLiteral("TCS09") << QStringLiteral("grey:0.1") << QStringLiteral("blue") << QStringLiteral("grey:0.8")
          << QStringLiteral("red") << QStringLiteral("black");
    return names;
}

// A track running 1.2 % faster than the engine's model of it: the walk keeps
// its place by re-synchronising on distinct patches, and from the first ink
// on reads every patch itself, so nothing needs correcting.
TEST(RealisticBuilding, TheWalkAloneFollowsAFastTrackFromTheFirstInk)
{
    for (double phase : {0.0, 0.5}) {
        RealisticTraverse traverse{RealisticTraverse::sheetOf(darkFirstChart(), 6.0), phase, 0.012};
        const Outcome outcome = build(traverse);
        ASSERT_EQ(int(outcome.result.patches.size()), traverse.sheet.patchCount());
        int synchronised = 0;
        for (int p = 0; p < traverse.sheet.patchCount(); ++p) {
            EXPECT_LE(outcome.de00[size_t(p)], 1.0) << "patch " << p << " phase " << phase;
            EXPECT_EQ(flags(outcome, p), 0) << "patch " << p << " phase " << phase;
            synchronised += outcome.result.patches[size_t(p)][ScanRecord::kSync] == 1.0 ? 1 : 0;
        }
        EXPECT_GE(synchronised, 5) << "distinct patches pull the grid back";
        EXPECT_NEAR(outcome.result.patchOffset, traverse.sheet.layout().edge + traverse.sheet.layout().margin, 1.5);
    }
}

QStringList tintRamps(const QStringList& inks)
{
    QStringList names;
    for (const QString& ink : inks)
        for (int step = 1; step <= 10; ++step)
            names << QStringLiteral("tint:%1:%2").arg(ink).arg(0.1 * step);
    return names;
}

// Tint ramps start with a 10 % tint, within ΔE*ab 20 of the paper: the walk
// takes it for margin and starts a patch late; the fitted grid puts it back,
// and says so. Reversed, the ramp ends in it instead.
TEST(RealisticBuilding, ALightFirstOrLastPatchComesFromTheFittedGrid)
{
    QStringList names = tintRamps({QStringLiteral("yellow"), QStringLiteral("cyan")});
    for (bool reversed : {false, true}) {
        if (reversed)
            std::reverse(names.begin(), names.end());
        const RealisticTraverse traverse{RealisticTraverse::sheetOf(names, 6.0), 0.25};
        const Outcome outcome = build(traverse);
        ASSERT_EQ(int(outcome.result.patches.size()), traverse.sheet.patchCount()) << reversed;
        for (int p = 0; p < traverse.sheet.patchCount(); ++p)
            EXPECT_LE(outcome.de00[size_t(p)], 1.0) << "patch " << p << " reversed " << reversed;
        const int light = reversed ? traverse.sheet.patchCount() - 1 : 0;
        EXPECT_NE(flags(outcome, light) & quality::kCorrected, 0) << reversed;
        EXPECT_EQ(outcome.result.patches[size_t(light)][ScanRecord::kSync], 2.0) << reversed;
        EXPECT_FALSE(outcome.result.quality.suspect()) << outcome.result.quality.strip;
    }
}

// Long runs of dark neutrals a ΔE00 or two apart give the walk no edge to
// re-synchronise on; at 4 and 6 mm and any sampling phase every patch is
// still its own, or flagged.
TEST(RealisticBuilding, LowContrastRunsAtEverySamplingPhase)
{
    QStringList names{QStringLiteral("tint:yellow:0.1")};
    double factor = 0.012;
    for (int i = 0; i < 16; ++i, factor *= 1.12)
        names << QStringLiteral("grey:%1").arg(factor, 0, 'f', 4);
    names << QStringLiteral("TCS09") << QStringLiteral("TCS09") << QStringLiteral("grey:0.5") << QStringLiteral("grey:0.53");
    for (double width : {4.0, 6.0}) {
        for (double phase : {0.0, 0.33, 0.67}) {
            const RealisticTraverse traverse{RealisticTraverse::sheetOf(names, width), phase};
            const Outcome outcome = build(traverse);
            ASSERT_EQ(int(outcome.result.patches.size()), traverse.sheet.patchCount());
            for (int p = 0; p < traverse.sheet.patchCount(); ++p) {
                const bool flagged = (flags(outcome, p) | outcome.result.quality.strip) & quality::kSuspect;
                EXPECT_TRUE(outcome.de00[size_t(p)] <= 1.0 || flagged)
                    << width << " mm, phase " << phase << ", patch " << p << ": dE00 " << outcome.de00[size_t(p)];
                if (width >= 6.0)
                    EXPECT_LE(outcome.de00[size_t(p)], 1.0) << "phase " << phase << ", patch " << p;
            }
        }
    }
}

// Told of one patch more than the sheet holds, the walk stops at the last
// ink; the patch the grid then finds in the margin says it looks like paper.
TEST(RealisticBuilding, ThePaperPastTheLastInkIsNotTakenForAPatch)
{
    const RealisticTraverse traverse{RealisticTraverse::sheetOf(darkFirstChart().mid(0, 10), 8.0), 0.5};
    const Outcome outcome = build(traverse, 11);
    ASSERT_EQ(outcome.result.patches.size(), 11u);
    for (int p = 0; p < 10; ++p) {
        EXPECT_LE(outcome.de00[size_t(p)], 1.0) << p;
        EXPECT_EQ(flags(outcome, p), 0) << p;
    }
    EXPECT_NE(flags(outcome, 10) & quality::kCorrected, 0) << "the walk took no reading past the last ink";
    EXPECT_NE(flags(outcome, 10) & quality::kLikePaper, 0);
    EXPECT_TRUE(outcome.result.quality.suspect());
}

// A sheet of 8 mm patches read as 5 mm ones cannot fit: flagged, never
// passed off as a strip of the configured width.
TEST(RealisticBuilding, AWidthTheSheetDoesNotHaveIsFlagged)
{
    RealisticTraverse traverse{RealisticTraverse::sheetOf(darkFirstChart(), 8.0), 0.1};
    PatchBuilder::Input input;
    const ScanRecordList list = traverse.records(&input);
    input.patchWidth = 5.0;
    PatchBuilder::Result result;
    PatchBuilder(input, [](const char*) {}).build(list, &result);
    EXPECT_NE(result.quality.strip & quality::kWidthMismatch, 0) << result.quality.strip;
}

// End patches a few ΔE*ab from the paper: the row and the row one patch
// over gather nearly the same contrast, and the readings where the aperture
// still touches the track beyond the margin must not tip the balance.
TEST(RealisticBuilding, EndPatchesNearThePaperDoNotPullTheRowOver)
{
    const QStringList names{QStringLiteral("grey:0.8448"),
                            QStringLiteral("tint:blue:0.608"),
                            QStringLiteral("TCS08"),
                            QStringLiteral("TCS10"),
                            QStringLiteral("TCS01"),
                            QStringLiteral("tint:blue:0.165"),
                            QStringLiteral("tint:green:0.213"),
                            QStringLiteral("TCS02"),
                            QStringLiteral("tint:red:0.322"),
                            QStringLiteral("tint:red:0.282"),
                            QStringLiteral("tint:yellow:0.398"),
                            QStringLiteral("grey:0.0734"),
                            QStringLiteral("tint:yellow:0.309"),
                            QStringLiteral("tint:yellow:0.745"),
                            QStringLiteral("tint:cyan:0.368"),
                            QStringLiteral("tint:blue:0.357"),
                            QStringLiteral("tint:cyan:0.265"),
                            QStringLiteral("tint:black:0.647"),
                            QStringLiteral("tint:yellow:0.908"),
                            QStringLiteral("grey:0.8285"),
                            QStringLiteral("TCS14"),
                            QStringLiteral("TCS04"),
                            QStringLiteral("TCS07"),
                            QStringLiteral("tint:blue:0.128"),
                            QStringLiteral("grey:0.2885"),
                            QStringLiteral("grey:0.7104"),
                            QStringLiteral("tint:cyan:0.400"),
                            QStringLiteral("tint:green:0.398"),
                            QStringLiteral("tint:green:0.365"),
                            QStringLiteral("tint:cyan:0.303"),
                            QStringLiteral("TCS05"),
                            QStringLiteral("tint:red:0.550"),
                            QStringLiteral("tint:black:0.733"),
                            QStringLiteral("tint:green:0.146"),
                            QStringLiteral("tint:yellow:0.135")};
    for (int step = 0; step < 8; ++step) {
        const RealisticTraverse traverse{RealisticTraverse::sheetOf(names, 7.0), step / 8.0};
        const Outcome outcome = build(traverse);
        ASSERT_EQ(int(outcome.result.patches.size()), traverse.sheet.patchCount());
        int wrong = 0;
        for (int p = 0; p < traverse.sheet.patchCount(); ++p)
            wrong += outcome.de00[size_t(p)] > 1.0 ? 1 : 0;
        EXPECT_EQ(wrong, 0) << "phase " << step / 8.0 << ", strip flags " << outcome.result.quality.strip;
    }
}

} // namespace
} // namespace vireo2::test
