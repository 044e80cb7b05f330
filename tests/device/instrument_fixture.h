#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <string>

#include "sim_server.h"
#include "test_environment.h"

namespace vireo2::test {

// Polls `condition` every 5 ms until it holds or `timeoutMs` pass.
bool eventually(const std::function<bool()>& condition, int timeoutMs = 2000);

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
    // Connects and checks the result.
    void connectInstrument();
    // Connects, calibrates and fixes the sample (no noise) for exact spectra.
    void connectCalibrated(const QString& sample = QStringLiteral("TCS09"));

    // Commands the instrument received since the last clearCommands().
    QList<QByteArray> commands() const { return sim_.commands(); }
    void clearCommands() { sim_.engine().clearCommands(); }
    // How often `command` arrived (compared ignoring case).
    int count(const QByteArray& command) const;

    static std::string lastError();
    static QString logText(const TestEnvironment& env);

    TestEnvironment env_;
    sim::SimServer sim_;
};

} // namespace vireo2::test
