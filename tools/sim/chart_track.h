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
// after a traverse. Scripted faults: a strip placed reversed or the wrong
// strip placed (each once, the next time that place in the order comes up),
// and a smear across a printed patch (there whenever that strip is placed).
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
    PrintedChart::Placement current_;             // what lies on the track
    // Mistakes the operator makes once, the next time a position comes up.
    QHash<int, PrintedChart::Placement> mistakes_;
    QHash<int, QList<int>> smudges_;              // by printed strip: they stay until "fault clear" (a reprint)
};

} // namespace vireo2::sim
