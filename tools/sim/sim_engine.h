#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include "threading/locks.h"
#include <QString>
#include <memory>

#include "fault_script.h"
#include "instrument_model.h"

namespace vireo2::sim {

// What goes back for one command: the bytes in the order and pieces they
// leave in, and how.
struct ReplyPlan {
    bool silent = false;
    bool drop = false;
    int delayMs = 0;
    QList<QByteArray> segments;
    int segmentPauseMs = 0;

    QByteArray bytes() const;
};

// The simulated instrument behind any link (the TCP server, the simulated USB
// device of the tests): records the commands, answers the simulator's own
// "SIM ..." control commands, applies scripted faults, and otherwise asks the
// instrument model. Thread-safe; several links may share one engine.
class SimEngine {
public:
    // A null model means the default instrument.
    explicit SimEngine(std::shared_ptr<InstrumentModel> model = nullptr);

    // The reply to one command payload.
    ReplyPlan handle(const QByteArray& command);

    InstrumentModel& model() { return *model_; }
    FaultScript& faults() { return faults_; }
    // Clears the faults and any in-progress operation.
    void reset();

    // Every instrument command received, in order ("SIM ..." not included).
    QList<QByteArray> commands() const;
    // When each of them arrived, in ms on the engine's monotonic clock.
    QList<qint64> commandTimes() const;
    void clearCommands();
    // Waits until a command equal to `command` (ignoring case) has been
    // received, counting those already recorded.
    bool waitForCommand(const QByteArray& command, int timeoutMs) const;
    // Waits until at least `count` commands have been recorded.
    bool waitForCommandCount(int count, int timeoutMs) const;

private:
    // An operation that answered 0x05 and is waiting for its polls.
    struct PendingProgress {
        QByteArray word;      // first word of the command, as sent
        QByteArray keyword;   // the same in upper case
        QByteArray finalReply;
        int pollsLeft = 0;
    };

    QByteArray controlReply(const QByteArray& command);
    QByteArray instrumentReply(const QByteArray& command, const std::optional<Fault>& fault);
    std::optional<QByteArray> pollReply(const QByteArray& command);
    void record(const QByteArray& command);

    std::shared_ptr<InstrumentModel> model_;
    FaultScript faults_;

    mutable Mutex mutex_;
    mutable WaitCondition commandArrived_;
    QList<QByteArray> commands_;
    QList<qint64> commandTimes_;
    QElapsedTimer clock_;
    QList<PendingProgress> pending_;
};

// The packet bytes for `payload` with the fault's delivery applied.
ReplyPlan planDelivery(const QByteArray& payload, const std::optional<Fault>& fault);

} // namespace vireo2::sim
