#pragma once

// Shared by the fuzz targets that play the instrument: the simulator runs in
// the process and a device is connected to it over a real TCP connection on
// 127.0.0.1, with the background poll stopped so that only the calls a
// target makes meet its replies. The fuzz input is a script of replies, one
// per scripted command, cut at the record separator 0x1E; commands without a
// scripted reply (or asked more often than scripted) get the simulator's
// own answer, so every session ends the way a real instrument would end it.
#include <QByteArray>
#include <QList>
#include <memory>

#include "fuzz_support.h"
#include "sim_server.h"
#include "transport/reply_parser.h"

namespace vireo2::fuzz {

class ScriptedInstrument {
public:
    ScriptedInstrument()
    {
        privateFolder();
        sim.start();
        device = deviceFor<Vireo2>(sim);
    }

    // Connects again when a reply broke the link (the library closes the
    // port on a framing error); true when the device is ready.
    bool ready()
    {
        if (!device->isPortValid()) {
            device->Disconnect();
            device->Connect();
            device->SetConfiguration(QStringLiteral("STOP_POLL"));
        }
        return device->isPortValid();
    }

    // Each reply of `input` answers the next of `commands` (taken in turn;
    // the list is repeated when the script is longer). Replies announcing an
    // operation in progress are dropped: the library then waits as long as
    // the instrument asks, which would only measure the clock (that bound is
    // tested on its own).
    // A match is a whole command or a first word ("colorlibrary" answers
    // every colour-library command in turn). With `finalReply`, every later
    // command of the first match gets it: transfers that the script leaves
    // waiting for more then end at once instead of at their deadline.
    void script(const QByteArray& input, const QList<QByteArray>& commands, int mostReplies = 16,
                const QByteArray& finalReply = QByteArray())
    {
        sim.faults().clear();
        sim.engine().clearCommands();
        const QList<QByteArray> replies = input.split('\x1e');
        for (int i = 0; i < replies.size() && i < mostReplies; ++i) {
            if (!announcesProgress(replies.at(i)))
                sim.faults().add(sim::Fault::on(commands.at(i % commands.size())).replying(replies.at(i)));
        }
        if (!finalReply.isEmpty())
            sim.faults().add(sim::Fault::on(commands.at(0)).replying(finalReply).always());
    }

    static bool announcesProgress(const QByteArray& reply)
    {
        qint32 status = 0, delayMs = 0, waitMs = 0;
        return reply::parseProgress(reply, &status, &delayMs, &waitMs) >= 2 && status == 5;
    }

    sim::SimServer sim;
    std::unique_ptr<Vireo2> device;
};

} // namespace vireo2::fuzz
