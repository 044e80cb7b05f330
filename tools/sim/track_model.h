#pragma once

#include <atomic>
#include <memory>

#include "instrument_model.h"
#include "track_rig.h"

namespace vireo2::sim {

// The TR3 track's command set over its link (each command and reply one BCP
// packet, like the instrument's):
//   "01pk"              park status: "1" at home, "0" elsewhere
//   "xp"                motion report "XP, <position mm>, <speed mm/s>, <length mm>"
//   "01xm"              halt where the head is; "<00>"
//   "07xm"              return to the home end; "<00>"
//   "<v>,<d>24xm"       traverse d mm at v mm/s; "<00>" ("<04>" for bad numbers)
//   "00001ps"           zero the time-stamp clock shared with the instrument; "<00>"
//   "04ps", "14ps"      the last traverse's ramps: "04,<A>,<position at A>,<B>"
//                       and "14,<C>,<position at C>,<D>", times in ticks
//   "01BC", "00BC"      charger output on/off; "<00>"
// Anything else answers "<01>". Control lines ("SIM ...") are in
// docs/simulator.md.
class SimulatedTrack : public InstrumentModel {
public:
    explicit SimulatedTrack(std::shared_ptr<TrackRig> rig);

    QByteArray reply(const QByteArray& command) override;
    QString control(const QString& line) override;

    TrackRig& rig() { return *rig_; }

private:
    QByteArray traverse(const QByteArray& command);

    std::shared_ptr<TrackRig> rig_;
    std::atomic<bool> charging_{false};
};

} // namespace vireo2::sim
