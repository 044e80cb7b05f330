// Long operations with the operation lock held by the test, and the model
// flags of setmodel, on the device object itself.
#include <gtest/gtest.h>

#include "device/vireo2.h"
#include "device/worker_thread.h"
#include "test_environment.h"

namespace {

class TestableVireo2 : public vireo2::Vireo2 {
public:
    using Vireo2::operationMutex_;
    using Vireo2::trackInUse_;
    using Vireo2::trackModel_;
};

class LongOperationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device_ = std::make_unique<TestableVireo2>();
        device_->init();
    }

    QString exec(const QString& line) { return device_->Execute(line); }
    void expectError(int code, const char* text)
    {
        EXPECT_EQ(device_->log()->errorCode(), code);
        EXPECT_EQ(device_->log()->errorText(), QByteArray(text));
    }
    // The last worker has ended (without touching the error record).
    bool settled() { return device_->workerThread()->wait(2000); }

    vireo2::test::TestEnvironment env_;
    std::unique_ptr<TestableVireo2> device_;
};

TEST_F(LongOperationTest, ProgressAndAbortAnswerFromTheLastOperation)
{
    for (const char* line : {"getprogress", "GetProgress", "abort", "Abort"}) {
        EXPECT_EQ(exec(QLatin1String(line)), QString()) << line;
        EXPECT_EQ(device_->log()->errorCode(), 0) << line;
    }
    EXPECT_EQ(exec("start;restore;clone.bin"), QString("<00>"));
    ASSERT_TRUE(settled());
    // Failed without an error of its own, and the lock is free again.
    EXPECT_EQ(device_->workerThread()->progress(), -1.0);
    EXPECT_EQ(device_->log()->errorCode(), 0);
    ASSERT_TRUE(device_->operationMutex_->tryLock(0));
    device_->operationMutex_->unlock();
    EXPECT_EQ(exec("start;backup;x"), QString("<00>"));
    ASSERT_TRUE(settled());
    EXPECT_EQ(exec("getprogress"), QString());
    EXPECT_EQ(exec("GetProgress"), QString());
    // "Abort" anywhere in a line asks and succeeds; the table's "abort"
    // asks too but reports that nothing runs.
    EXPECT_EQ(exec("Abort"), QString("<00>"));
    EXPECT_EQ(exec("abort"), QString());
    expectError(20501, "FAILED Abort: No operation in progress");
    EXPECT_EQ(exec("start;BACKUP;"), QString("<00>"));
    ASSERT_TRUE(settled());
    expectError(20502, "FAILED execute: Missing Arguments");
}

TEST_F(LongOperationTest, LinesWaitBrieflyForARunningOperation)
{
    // Holding the lock keeps the worker waiting for it, so it runs.
    device_->operationMutex_->lock();
    EXPECT_EQ(exec("start;restore;clone.bin"), QString("<00>"));
    EXPECT_EQ(exec("GetProgress"), QString("0"));
    EXPECT_EQ(exec("IsM0M1Compliant"), QString("0"));
    EXPECT_EQ(exec("clock get"), QString());
    expectError(20510, "FAILED execute: Operation in Progress");
    device_->operationMutex_->unlock();
    ASSERT_TRUE(settled());
    EXPECT_EQ(exec("GetProgress"), QString());
}

TEST_F(LongOperationTest, SetModelChoosesTrackAndModelFlags)
{
    struct Case {
        const char* line;
        bool track;
        bool model;
    };
    for (const Case& c : {Case{"setmodel;tr3", true, false}, Case{"setmodel;Vireo2", false, false},
                          Case{"setmodel VireoTR3", true, true}, Case{"SETMODEL;vireo2", false, false}}) {
        EXPECT_EQ(exec(QLatin1String(c.line)), QString("<00>")) << c.line;
        EXPECT_EQ(device_->trackInUse_, c.track) << c.line;
        EXPECT_EQ(device_->trackModel_, c.model) << c.line;
        EXPECT_EQ(device_->GetAvailableSettings().contains("TR3_Address"), c.track) << c.line;
    }
}

} // namespace
