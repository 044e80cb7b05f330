#pragma once

#include <QByteArray>
#include <QList>
#include "threading/locks.h"
#include <QString>
#include <optional>

namespace vireo2::sim {

// One scripted misbehaviour of the simulated instrument.
//
// A fault matches a command when its match text equals, ignoring case, either
// the whole command (surrounding blanks trimmed) or the command's first word;
// "*" matches every command. It applies to `times` matching commands
// (-1: to every one). What it changes:
//   reply      the reply payload replaces the instrument model's;
//   progress   the command is answered "<KEYWORD> 0x05 <delay> <wait>", and
//              its "<word> done?" polls are answered "<KEYWORD> 0x05" until
//              the polls-th one, which gets the final reply (the fixed one,
//              else the model's reply to the original command);
//   silent     nothing is sent back;
//   drop       the connection is closed instead of replying;
//   delayMs    the reply leaves that much later;
//   before/after  raw bytes sent just before / after the packet;
//   segments   the bytes leave in pieces of these sizes (the rest in one last
//              piece), `segmentPauseMs` apart;
//   lengthField   the packet's length field is replaced by this value;
//   since      the fault is in force only once a command matching this text
//              (same rule as the match) has arrived after the fault was
//              added; that command itself is answered as usual.
struct Fault {
    struct Progress {
        int delayMs = 0;
        int waitMs = 0;
        int polls = 1;
        std::optional<QByteArray> finalReply;
    };

    QByteArray match;
    int times = 1;
    std::optional<QByteArray> reply;
    std::optional<Progress> progress;
    bool silent = false;
    bool drop = false;
    int delayMs = 0;
    QByteArray before;
    QByteArray after;
    QList<int> segments;
    int segmentPauseMs = 20;
    std::optional<quint32> lengthField;
    QByteArray since;
    bool armed = true;

    // Builders for tests: Fault::on("meas run").withProgress(500, 20000, 2).
    static Fault on(const QByteArray& match);
    Fault& replying(const QByteArray& payload);
    Fault& withProgress(int delayMs, int waitMs, int polls, std::optional<QByteArray> finalReply = std::nullopt);
    Fault& silently();
    Fault& dropping();
    Fault& delayedBy(int ms);
    Fault& withGarbage(const QByteArray& beforePacket, const QByteArray& afterPacket = QByteArray());
    Fault& splitInto(const QList<int>& sizes, int pauseMs = 20);
    Fault& withLengthField(quint32 value);
    Fault& always();
    Fault& repeated(int count);
    Fault& sinceCommand(const QByteArray& match);

    bool matches(const QByteArray& command) const;
    // The matching rule: `match` equals the whole command or its first word,
    // ignoring case; "*" matches everything.
    static bool matches(const QByteArray& match, const QByteArray& command);

    // Reads the text form used by "SIM FAULT <text>" (see docs/simulator.md):
    //   <match> [reply=<text>] [progress=<delay>,<wait>,<polls>] [final=<text>]
    //           [silent] [drop] [delay=<ms>] [before=<hex>] [after=<hex>]
    //           [split=<n>,<n>...] [pause=<ms>] [length=<number>]
    //           [once|always|times=<n>]
    // The match and any value may be written in double quotes to hold blanks.
    static std::optional<Fault> parse(const QString& text, QString* error);
};

// The faults in force, checked in the order they were added; thread-safe.
class FaultScript {
public:
    void add(const Fault& fault);
    // Removes every fault.
    void clear();
    // The first fault matching `command`, counted as used once (and removed
    // when used up).
    std::optional<Fault> take(const QByteArray& command);
    int size() const;

private:
    mutable Mutex mutex_;
    QList<Fault> faults_;
};

} // namespace vireo2::sim
