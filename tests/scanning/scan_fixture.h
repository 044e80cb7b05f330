#pragma once

#include <gtest/gtest.h>

#include <QString>
#include <memory>
#include <string>

#include "default_instrument.h"
#include "sim_server.h"
#include "test_environment.h"
#include "track_rig.h"

namespace vireo2::test {

// A process-private library pointed at a simulated instrument and a
// simulated TR3 track that share one sheet (the rig), both on 127.0.0.1.
class ScanTest : public ::testing::Test {
protected:
    ScanTest();
    void SetUp() override;
    void TearDown() override;

    // Track mode ("setmodel;vireotr3"), connected and calibrated.
    void connectOnTrack();
    // Instrument mode, connected and calibrated.
    void connectInstrument();
    void control(const QString& line);
    void trackControl(const QString& line);
    // Polls ScanGetStatus until it leaves 0 and 2 (at most `timeoutMs`).
    int waitForScanEnd(int timeoutMs);
    int count(const QByteArray& command) const;
    std::string execute(const char* line);
    static std::string lastError();
    QString log() const { return TestEnvironment::readFile(env_.logFile()); }

    TestEnvironment env_;
    std::shared_ptr<sim::TrackRig> rig_;
    sim::SimServer sim_;
    sim::SimServer track_;
};

} // namespace vireo2::test
