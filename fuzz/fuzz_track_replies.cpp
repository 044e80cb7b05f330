// Plays the TR3 track to the scanning engine over a real TCP connection to
// the simulated track in this process: the "<%x>" status framing and the
// follow-up read of data replies, the park sensor ("01pk"), the head's
// motion and the usable length ("xp", comma-separated fields), and the
// reference readings ("04ps", "14ps", which must rise). The first input byte
// chooses the operation, the rest scripts the track's replies to it in
// order, cut at 0x1E. The status parser also reads the raw input.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "default_instrument.h"
#include "fuzz_support.h"
#include "scanning/scan_host.h"
#include "scanning/tr3_link.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "sim_server.h"
#include "track_rig.h"

namespace {

class Track : public vireo2::ScanHost {
public:
    Track() : rig(std::make_shared<vireo2::sim::TrackRig>()), sim(vireo2::sim::createTrack(rig))
    {
        vireo2::fuzz::privateFolder();
        sim.start();
        logHelper = std::make_unique<vireo2::LogHelper>();
        engine = std::make_unique<vireo2::Vireo2Scanning>(this);
        engine->setTrackInUse(true);
    }

    vireo2::LogHelper& log() override { return *logHelper; }
    int scanAbort() override { return 1; }

    bool ready()
    {
        if (engine->linkUp())
            return true;
        return engine->connect(QString::fromLatin1(sim.address()));
    }

    std::shared_ptr<vireo2::sim::TrackRig> rig;
    vireo2::sim::SimServer sim;
    std::unique_ptr<vireo2::LogHelper> logHelper;
    std::unique_ptr<vireo2::Vireo2Scanning> engine;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Track track;
    if (size < 1)
        return 0;
    const QByteArray input(reinterpret_cast<const char*>(data + 1), int(size - 1));
    qint32 status = 0;
    vireo2::Tr3Link::parseStatus(input, &status);
    if (!track.ready())
        return 0;
    vireo2::Vireo2Scanning& engine = *track.engine;
    track.sim.faults().clear();
    track.sim.engine().clearCommands();
    const QList<QByteArray> replies = input.split('\x1e');
    auto script = [&](const QList<QByteArray>& commands) {
        for (int i = 0; i < replies.size() && i < commands.size(); ++i)
            track.sim.faults().add(vireo2::sim::Fault::on(commands.at(i)).replying(replies.at(i)));
    };
    QByteArray reply;
    switch (data[0] % 5) {
    case 0:
        script({"04ps", "14ps"});
        engine.readReferences();
        break;
    case 1:
        script({"xp"});
        engine.headMoving();
        break;
    case 2:
        // The usable length, read before a traverse.
        engine.configure(24, 8.0);
        script({"xp"});
        engine.prepareTrackScan({QStringLiteral("autoscanstart"), QStringLiteral("1")});
        break;
    case 3:
        // Stopping asks the park sensor, then whether the head moves.
        engine.setState(vireo2::Vireo2Scanning::kScanning);
        script({"01pk", "xp", "01xm", "07xm"});
        engine.stop();
        break;
    default:
        script({"7e"});
        engine.exchange(QStringLiteral("7e"), reply);
        break;
    }
    engine.setState(vireo2::Vireo2Scanning::kIdle);
    return 0;
}
