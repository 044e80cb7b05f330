#pragma once

#include <QString>
#include <QVector>

#include "chart_layout.h"

namespace vireo2::cli::chart {

// One patch as the track read it: its spectrum (percent, the chosen
// condition), L*a*b* and how steady the reading was.
struct ReadPatch {
    QVector<double> percent;
    double lab[3] = {0, 0, 0};
    double ripple = 0.0;
    int quality = 0;        // the library's flags for the patch (VIREO2_SCAN_*)
};

// Which strip a read row of patches is, and which way round it lay.
struct Identity {
    enum Verdict { Unknown, Identified } verdict = Unknown;
    int strip = 0;
    bool reversed = false;
    // Set when the strip reads unlike its own device values or holds
    // unsteady patches: the reader must not take it without a word.
    QString doubt;
    QString why;            // for Unknown: what did not fit
};

// Reads the identification code from both ends and checks the patch count
// and the lightness order of the data patches against the chart.
Identity identify(const Chart& chart, const QVector<ReadPatch>& row);

// Rank correlation (Spearman) of two equally long series.
double rankCorrelation(const QVector<double>& a, const QVector<double>& b);

// A rough lightness of device values, good enough to rank patches:
// the patch set's expected Y when it has one, else a simple ink model.
double expectedLightness(const Chart& chart, const Patch& patch);

// Readings less steady than this (Ripple, the ΔE*ab to both neighbours) are
// not the flat middle of a patch: flat patches read below 1, a reading the
// patch finder took near an edge up to about 3.
constexpr double kUnsteadyRipple = 4.0;
// Data patches of a strip must rank in lightness at least this much like
// their device values.
constexpr double kLeastCorrelation = 0.6;

} // namespace vireo2::cli::chart
