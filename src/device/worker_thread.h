#pragma once

#include <QStringList>
#include <QThread>
#include <atomic>

namespace vireo2 {

class Nerva;

// Runs one long operation started through Execute ("start getlibrary", ...)
// under the operation lock, publishing its progress.
class WorkerThread : public QThread {
    Q_OBJECT
public:
    WorkerThread(Nerva* device, int operation, const QStringList& arguments);

    double progress() const { return progress_; }
    void requestAbort() { abortRequested_ = true; }
    bool abortRequested() const { return abortRequested_; }

protected:
    void run() override;

private:
    Nerva* device_;
    int operation_;
    QStringList arguments_;
    std::atomic<double> progress_{0.0};
    std::atomic<bool> abortRequested_{false};
};

} // namespace vireo2
