// The operation lock's failure paths, with a second thread holding the lock.
#include <gtest/gtest.h>

#include <QSemaphore>
#include <QThread>
#include <atomic>
#include <thread>

#include "device/port_lock.h"
#include "device/nerva.h"
#include "device/worker_thread.h"
#include "test_environment.h"

namespace vireo2 {
namespace {

// A device that counts disconnects and can pretend a long operation runs.
class CountingDevice : public Nerva {
public:
    bool Disconnect() override
    {
        ++disconnects;
        return true;
    }
    void startWorker()
    {
        workerThread_ = new WorkerThread(this, 0, {QStringLiteral("start"), QStringLiteral("getlibrary")});
        workerThread_->start();
    }
    void joinWorker()
    {
        workerThread_->wait();
        delete workerThread_;
        workerThread_ = nullptr;
    }
    std::atomic<int> disconnects{0};
};

// Holds the device's operation lock on another thread until released.
class LockHolder : public QThread {
public:
    explicit LockHolder(Nerva& device) : device_(device) {}
    void run() override
    {
        device_.operationMutex()->lock();
        held_.release();
        release_.acquire();
        device_.operationMutex()->unlock();
    }
    void waitUntilHeld() { held_.acquire(); }
    void letGo()
    {
        release_.release();
        wait();
    }

private:
    Nerva& device_;
    QSemaphore held_;
    QSemaphore release_;
};

class PortLockTest : public ::testing::Test {
protected:
    test::TestEnvironment env_;
    CountingDevice device_;
};

TEST_F(PortLockTest, FreeLockIsTakenAndReleased)
{
    {
        PortLock lock(device_, 50);
        EXPECT_FALSE(lock.failed());
        PortLock nested(device_, 50);  // recursive: the same thread may re-enter
        EXPECT_FALSE(nested.failed());
    }
    LockHolder holder(device_);
    holder.start();
    holder.waitUntilHeld();  // would hang if the lock had not been released
    holder.letGo();
    EXPECT_EQ(device_.log()->errorCode(), 0);
}

TEST_F(PortLockTest, HeldLockWithoutLongOperationResetsThePort)
{
    LockHolder holder(device_);
    holder.start();
    holder.waitUntilHeld();
    device_.log()->setSentText(QStringLiteral("Meas Run"));
    {
        PortLockToken token;
        LockPort(device_, token, 100);
        EXPECT_TRUE(token.lockFailed);
        EXPECT_TRUE(token.portReset);
        EXPECT_EQ(device_.disconnects.load(), 1);
        EXPECT_EQ(device_.log()->errorCode(), 20497);
        EXPECT_EQ(device_.log()->errorText(), QByteArray("FAILED LockPort"));
        UnlockPort(device_, token);
    }
    holder.letGo();
    const QString log = test::TestEnvironment::readFile(device_.log()->logFilePath());
    EXPECT_TRUE(log.contains(QStringLiteral(" - **ERROR** FAILED LockPort\r\n"))) << qPrintable(log);
    EXPECT_TRUE(log.contains(QStringLiteral(" - PORT IS VALID : 0\r\n"))) << qPrintable(log);
}

TEST_F(PortLockTest, HeldLockDuringLongOperationReportsOperationInProgress)
{
    LockHolder holder(device_);
    holder.start();
    holder.waitUntilHeld();
    device_.startWorker();  // waits for the same lock, so it keeps running
    while (!device_.isWorkerRunning())
        QThread::msleep(1);
    PortLockToken token;
    LockPort(device_, token, 100);
    EXPECT_TRUE(token.lockFailed);
    EXPECT_FALSE(token.portReset);
    EXPECT_EQ(device_.disconnects.load(), 0);
    EXPECT_EQ(device_.log()->errorCode(), 20510);
    EXPECT_EQ(device_.log()->errorText(), QByteArray("FAILED Execute: Operation in Progress"));
    UnlockPort(device_, token);
    holder.letGo();  // the failed caller did not release the holder's lock
    device_.joinWorker();
    const QString log = test::TestEnvironment::readFile(device_.log()->logFilePath());
    EXPECT_FALSE(log.contains(QStringLiteral("PORT IS VALID")));
}

// A thread that ends holding the lock leaves a hold that belongs to no
// thread: not even a later thread given the same id by the system gets in,
// until stopping the status thread frees it.
TEST_F(PortLockTest, HoldOfAnEndedThreadLastsUntilTheStatusThreadIsStopped)
{
    RecursiveMutex* mutex = device_.operationMutex();
    EXPECT_FALSE(mutex->abandon());  // not held: nothing to leave behind
    std::thread ending([mutex] {
        mutex->lock();
        mutex->lock();
        EXPECT_TRUE(mutex->abandon());
    });
    ending.join();
    for (int round = 0; round < 3; ++round) {
        std::thread later([mutex] {
            EXPECT_FALSE(mutex->tryLock(20));
            mutex->unlock();  // ignored: it holds nothing
        });
        later.join();
    }
    EXPECT_FALSE(mutex->tryLock(0));

    EXPECT_TRUE(device_.stopStatusThread());
    EXPECT_FALSE(mutex->releaseAbandoned());  // already freed
    ASSERT_TRUE(mutex->tryLock(0));
    mutex->unlock();
    const QString log = test::TestEnvironment::readFile(device_.log()->logFilePath());
    EXPECT_TRUE(log.contains(QStringLiteral("Operation lock left by an ended status thread released")));
}

} // namespace
} // namespace vireo2
