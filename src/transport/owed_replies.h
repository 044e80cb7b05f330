#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>

#include "threading/locks.h"

namespace vireo2 {

// Replies that did not arrive in time and may still come. The instrument
// answers every command once and in order, so a reply that missed its
// command's timeout arrives later, ahead of the next command's own reply.
// Such a late reply must never be taken as the answer to a later command.
//
// A reply names its command: its keyword is the command's first word in
// upper case ("SERIALNUM 0x00 ..." answers "SerialNum Get Inst"). A reply
// whose keyword is that of a command still owed a reply, and not that of the
// command now waiting, is a late one: the transport drops it and reads on.
// A late reply with the same keyword as the waiting command cannot be told
// apart from its answer and is taken as it; debts are forgotten after
// kForgetAfterMs. Replies of another form (the track's "<00>", "1") are
// never dropped. Thread-safe: a transport's worker thread asks while the
// requester waits.
class OwedReplies {
public:
    static constexpr qint64 kForgetAfterMs = 60000;
    static constexpr int kMostOwed = 16;

    OwedReplies() { clock_.start(); }

    // A command goes out (its payload, up to the first zero byte or "|").
    void sent(const char* command, int length);
    // The command sent last got no reply in time.
    void missing();
    // True when `reply` (a payload) answers an owed command and not the one
    // sent last; the debt is then settled.
    bool settledBy(const QByteArray& reply);

    // "Meas Run" -> "MEAS"; empty for an empty command.
    static QByteArray commandKeyword(const char* command, int length);
    // "MEAS 0x00 ..." -> "MEAS"; empty when the reply has no status word.
    static QByteArray replyKeyword(const QByteArray& reply);

private:
    struct Owed {
        QByteArray keyword;
        qint64 sinceMs;
    };
    void forgetOld();

    Mutex mutex_;
    QElapsedTimer clock_;
    QByteArray current_;
    QList<Owed> owed_;
};

} // namespace vireo2
