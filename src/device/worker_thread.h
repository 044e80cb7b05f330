#pragma once

#include <QStringList>
#include <QThread>
#include <atomic>

#include "commands/command_host.h"
#include "threading/locks.h"

namespace vireo2 {

class Nerva;

// Runs one long operation started through Execute ("start;backup;FILE", ...)
// under the operation lock, publishing its progress.
class WorkerThread : public QThread, public LongOperation {
    Q_OBJECT
public:
    WorkerThread(Nerva* device, bool needsFile, const QStringList& arguments);

    double progress() const override { return progress_; }
    bool running() const override { return isRunning(); }
    bool finished() const override { return isFinished(); }
    void requestAbort() override { abortRequested_ = true; }
    bool abortRequested() const { return abortRequested_; }

protected:
    void run() override;

private:
    Nerva* device_;
    bool needsFile_;
    QStringList arguments_;
    std::atomic<double> progress_{0.0};
    std::atomic<bool> abortRequested_{false};
    ExitFence exitFence_;

public:
    // After wait() has seen the thread end: everything it did is visible.
    void joined() { exitFence_.joined(); }
};

} // namespace vireo2
