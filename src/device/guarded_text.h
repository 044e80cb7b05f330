#pragma once

#include "threading/locks.h"
#include "threading/unshared_text.h"
#include <QString>

namespace vireo2 {

// A text that identification and disconnection write on one thread while
// exports that take no lock (GetOption, GetSerialNum, GetMeasAttributes)
// read it on others. Each access copies the text under a mutex, so a reader
// never sees a string object half replaced; the copies share no data
// (threading/unshared_text.h says why).
class GuardedText {
public:
    GuardedText(const QString& initial = QString()) : text_(initial) {}
    GuardedText(const GuardedText&) = delete;
    GuardedText& operator=(const GuardedText&) = delete;

    GuardedText& operator=(const QString& text)
    {
        MutexLocker lock(&mutex_);
        text_ = unsharedCopy(text);
        return *this;
    }
    QString get() const
    {
        MutexLocker lock(&mutex_);
        return unsharedCopy(text_);
    }
    operator QString() const { return get(); }

private:
    mutable Mutex mutex_;
    QString text_;
};

} // namespace vireo2
