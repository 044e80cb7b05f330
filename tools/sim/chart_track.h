#pragma once

#include <QHash>
#include <memory>

#include "instrument_model.h"
#include "printed_chart.h"
#include "threading/locks.h"
#include "track_rig.h"

namespace vireo2::sim {

// The TR3 track with a printed chart beside it: the strips go on the track
// one after the other. Wraps the track's own model and adds the operator's
// part: "SIM sheet next" puts the next strip on the track, and with
// auto-next the next strip is put there as soon as the head is home again
// after a traverse. Scripted mistakes: a strip placed reversed, the wrong
// strip, a smear across a patch.
class ChartTrack : public InstrumentModel {
public:
    ChartTrack(std::unique_ptr<InstrumentModel> track, std::shared_ptr<TrackRig> rig, PrintedChart chart,
               bool autoNext);

    QByteArray reply(const QByteArray& command) override;
    // "sheet next", "sheet <n>", "sheet status", "sheet fault reversed <n>",
    // "sheet fault wrong <n> <m>", "sheet fault smudge <n> <patch>",
    // "sheet fault clear"; anything else goes to the track.
    QString control(const QString& line) override;

    // A fault in the text form of the control line after "sheet fault".
    QString addFault(const QString& text);

private:
    void placeLocked(int position);
    QString status() const;

    std::unique_ptr<InstrumentModel> track_;
    std::shared_ptr<TrackRig> rig_;
    const PrintedChart chart_;
    const bool autoNext_;
    mutable Mutex mutex_;
    int position_ = 1;            // the strip the operator means to place
    bool traversed_ = false;      // a traverse ran since the strip was placed
    QHash<int, PrintedChart::Placement> faults_;  // by position
};

} // namespace vireo2::sim
