#pragma once

#include <QList>
#include <QStringList>
#include <QString>
#include <QVector>
#include <optional>

#include "instrument_spectra.h"

namespace vireo2::sim {

// A sheet lying on the track, seen along the read head's path: bare track up
// to the sheet's edge, a paper margin, a row of patches of one width, the
// far margin, then bare track again. Positions are millimetres from the
// head's home position.
class SheetModel {
public:
    struct Layout {
        double edge = 30.0;        // sheet's near edge
        double margin = 10.0;      // paper before the first patch
        double patchWidth = 8.0;
        double farMargin = 10.0;   // paper after the last patch
    };

    // An empty sheet of brightened white paper.
    SheetModel();

    // The default chart: black, four greys, the fourteen CIE test colour samples
    // and five printing primaries, 8 mm wide, on brightened white paper.
    static SheetModel defaultChart();
    // A chart file (JSON, docs/simulator.md); nothing with `error` set when
    // the file cannot be used.
    static std::optional<SheetModel> fromFile(const QString& path, QString* error);
    // A chart of `patches` (names as in chart files) at `width` mm.
    static std::optional<SheetModel> fromNames(const QStringList& patches, double width, QString* error);
    // A sheet of these surfaces (at least one) on `paper`.
    static SheetModel fromSurfaces(const QList<ReferenceSample>& patches, const ReferenceSample& paper,
                                   const Layout& layout);

    const Layout& layout() const { return layout_; }
    void setLayout(const Layout& layout) { layout_ = layout; }
    int patchCount() const { return patches_.size(); }
    const ReferenceSample& patch(int index) const { return patches_.at(index); }
    double farEdge() const;
    // Centre of patch `index`.
    double patchCentre(int index) const;

    // What lies at `position`.
    const ReferenceSample& surfaceAt(double position) const;
    // The reading through a round aperture of `aperture` mm centred on
    // `position`: the surfaces under it mixed by the area each covers.
    QVector<double> reading(double position, double aperture, Condition condition, quint64 seed, double noise) const;

    // The bare track (its spectrum is the track's measured reflectance).
    static ReferenceSample trackSurface();
    // A patch by name: a sample of the built-in library, "grey:<factor>",
    // one of the primaries "cyan", "magenta", "yellow", "red", "green",
    // "blue", "black", or "tint:<ink>:<coverage>" (any of these at a
    // coverage of 0 to 1 on the paper, e.g. "tint:cyan:0.1").
    static std::optional<ReferenceSample> namedSample(const QString& name);
    // A chart of these patches at `width` mm on the default layout and paper.
    static SheetModel withPatches(const QList<ReferenceSample>& patches, double width);

private:
    static std::optional<ReferenceSample> tint(const QString& name, const QString& inkAndCoverage);

    Layout layout_;
    ReferenceSample paper_;
    ReferenceSample track_;
    QList<ReferenceSample> patches_;
};

} // namespace vireo2::sim
