#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <string>

#include "device_test_util.h"
#include "sim_server.h"
#include "test_environment.h"

namespace vireo2::test {

// A process-private library pointed at an in-process simulated instrument
// over TCP on 127.0.0.1. Every case runs in its own process, so each starts
// with a fresh device object and fresh settings.
class InstrumentTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Runs before the library's first call: write log options here.
    virtual void prepare() {}

    // A control line for the simulated instrument ("calibration valid", ...);
    // fails the test when the instrument refuses it.
    void control(const QString& line);
    // The instrument's next reply to `command` (the whole command or its first word).
    void script(const QByteArray& command, const QByteArray& reply);
    // Connects and checks the result. Without polling, scripted replies are
    // met only by the host's own commands.
    void connectInstrument(bool polling = true);
    // Connects, calibrates and fixes the sample (no noise) for exact spectra.
    void connectCalibrated(const QString& sample = QStringLiteral("TCS09"));

    // Commands the instrument received since the last clearCommands().
    QList<QByteArray> commands() const { return sim_.commands(); }
    void clearCommands() { sim_.engine().clearCommands(); }
    // How often `command` arrived (compared ignoring case).
    int count(const QByteArray& command) const;
    QString log() const { return TestEnvironment::readFile(env_.logFile()); }

    // The error pair: EXPECT_TRUE(hasError(0x5009, "FAILED Measure:  Needs Calibration")).
    static ::testing::AssertionResult hasError(int code, const char* text);
    static std::string lastError();
    static bool attributesSay(const char* text);

    TestEnvironment env_;
    sim::SimServer sim_;
};

} // namespace vireo2::test
