#pragma once

#include <QByteArray>
#include <QList>
#include <optional>
#include <thread>

#include "threading/locks.h"
#include "transport/ctransport.h"
#include "transport/ethernet_thread.h"
#include "transport/read_ahead_step.h"

namespace vireo2 {

namespace bcp {
class PacketAssembler;
}

// A fixed sequence of commands that a caller sends one after the other while
// each reply leaves no doubt about the next (the status poll: "button
// triggered?", "meas done?", "scan done?" while each answers "nothing new").
// The transport's worker sends such a follow-up right after the reply before
// it, without waiting for the caller to come back with it: each follow-up
// would otherwise cost two more thread hand-overs. The replies wait here, in
// order, until the caller asks for exactly their commands; the instrument
// sees the same commands in the same order either way.
//
// Only the thread that made the plan uses it; a command that does not come
// as planned drops what is left (its replies were read, so none can be
// taken later as another command's answer).
class ReadAhead {
public:
    using Step = ReadAheadStep;
    // How a reply read by the worker went.
    using Outcome = EthernetThread::Transfer;
    struct Reply {
        QByteArray command;
        Outcome outcome = Outcome::Read;
        QByteArray header;
        QByteArray body;
        quint32 elapsedMs = 0;
    };

    // For the calling thread's next exchange: when its command is `lead`,
    // the steps follow it as their replies allow. Replaces an earlier plan.
    void plan(const QByteArray& lead, const QList<Step>& steps, const CTransport::PollingDialect& dialect);
    void clear();

    // The reply read ahead for `command`, when it is the next one planned
    // and the calling thread made the plan. Anything else asked for by that
    // thread drops the plan and the replies still waiting.
    std::optional<Reply> take(const char* command, int length);
    // True when `command` is the planned lead: its exchange may carry the
    // steps. Consumes the lead.
    bool startsWith(const char* command, int length);

    // On the worker, during the lead's hand-over. The lead's reply, kept
    // apart while the steps are read into the socket's assembler.
    void keepLead(bcp::PacketAssembler& reply);
    // The step to send now, given the last reply kept; null when none.
    const Step* nextStep() const;
    void keepStep(Outcome outcome, bcp::PacketAssembler* reply, quint32 elapsedMs);

    // Back on the requester: hands over the lead's reply, if it was kept.
    bool takeLead(QByteArray& header, QByteArray& body);

private:
    bool plannedHere() const { return planner_ == std::this_thread::get_id(); }
    void clearLocked();

    mutable Mutex mutex_;
    std::thread::id planner_;
    QByteArray lead_;
    QList<Step> steps_;
    const CTransport::PollingDialect* dialect_ = nullptr;
    // Lead reply kept by the worker.
    std::optional<Reply> leadReply_;
    // Replies of the steps, in order.
    QList<Reply> replies_;
};

} // namespace vireo2
