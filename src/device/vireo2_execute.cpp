// Execute: the free-form command door, handed to the command dispatcher.
#include "commands/command_dispatcher.h"
#include "device/vireo2.h"
#include "device/vireo2_command_host.h"
#include "device/worker_thread.h"

namespace vireo2 {

QString Vireo2::Execute(const QString& commandLine)
{
    return executeAnswer(commandLine).text();
}

CommandAnswer Vireo2::executeAnswer(const QString& commandLine, ReplyDestination* destination)
{
    Vireo2CommandHost host(*this);
    const CommandAnswer answer = CommandDispatcher(host, destination).answer(commandLine);
    carryOut(answer.followUp);
    return answer;
}

void Vireo2::carryOut(const DeviceFollowUp& followUp)
{
    if (followUp.model) {
        trackInUse_ = followUp.model->trackAttached;
        trackModel_ = followUp.model->trackModel;
        init();
    }
    if (followUp.longOperation)
        startLongOperation(followUp.longOperation->needsFile, followUp.longOperation->words);
}

// The previous worker is kept (finished or not) until the device goes.
void Vireo2::startLongOperation(bool needsFile, const QStringList& words)
{
    MutexLocker lock(&workerMutex_);
    workers_.push_back(std::make_unique<WorkerThread>(this, needsFile, words));
    workerThread_ = workers_.back().get();
    workerThread_->start(QThread::InheritPriority);
}

} // namespace vireo2
