#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QString>

#include "threading/locks.h"

namespace vireo2 {

// Keeps a failure that repeats from flooding the log: a dead link fails
// every status poll (several lines every 200 ms), which would push the
// original failure out of the size-limited log within a minute. The first
// line of a kind is written; its repeats within kWindowMs are only counted;
// the first repeat after that is written again with the count of those left
// out. Thread-safe.
class RepeatFilter {
public:
    static constexpr qint64 kWindowMs = 60000;
    // Kinds remembered at once; the one seen longest ago makes room.
    static constexpr int kKinds = 32;

    explicit RepeatFilter(qint64 windowMs = kWindowMs) : windowMs_(windowMs) { clock_.start(); }

    // True when the line of kind `key` is to be written; then `note` is empty
    // or says how many repeats since when were left out.
    bool admit(const QString& key, QString* note);

private:
    struct Kind {
        QString key;
        qint64 writtenMs;
        qint64 seenMs;
        int leftOut;
        QString firstLeftOut;  // timestamp of the first repeat left out
    };

    const qint64 windowMs_;
    Mutex mutex_;
    QElapsedTimer clock_;
    QList<Kind> kinds_;
};

} // namespace vireo2
