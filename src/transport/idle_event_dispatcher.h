#pragma once

#include <QAbstractEventDispatcher>

namespace vireo2 {

// The event dispatcher of a thread that never runs an event loop and works
// only through Qt's blocking socket calls. It accepts socket notifiers and
// timers and ignores them: nobody would ever wait for them, and the default
// dispatcher would turn every enabled or disabled notifier into a wake-up
// write costing a system call per socket operation.
class IdleEventDispatcher : public QAbstractEventDispatcher {
    Q_OBJECT
public:
    using QAbstractEventDispatcher::QAbstractEventDispatcher;

    bool processEvents(QEventLoop::ProcessEventsFlags) override { return false; }
    bool hasPendingEvents() override { return false; }
    void registerSocketNotifier(QSocketNotifier*) override {}
    void unregisterSocketNotifier(QSocketNotifier*) override {}
    void registerTimer(int, int, Qt::TimerType, QObject*) override {}
    bool unregisterTimer(int) override { return true; }
    bool unregisterTimers(QObject*) override { return true; }
    QList<TimerInfo> registeredTimers(QObject*) const override { return {}; }
    int remainingTime(int) override { return -1; }
    void wakeUp() override {}
    void interrupt() override {}
    void flush() override {}
};

} // namespace vireo2
