#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>
#include <gtest/gtest.h>
#include <memory>

#include "default_instrument.h"
#include "sim_server.h"

namespace vireo2::test {

// What a finished program left behind.
struct ProgramResult {
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the built `vireo2` program (and other hosts) as separate processes,
// the way people run them, against a simulated instrument served on
// 127.0.0.1 from this test process. Every test gets its own data folder
// (XDG_DATA_HOME) and working directory, so the library's settings and log
// stay private to it.
class CliTest : public ::testing::Test {
protected:
    // The serial and firmware the simulated instrument reports in these tests.
    static const QString kSerial;
    static const QString kFirmware;
    // The sample under the simulated instrument: a CIE test colour without
    // brighteners, so M0, M1 and M2 read its reflectance exactly.
    static const QString kSample;

    void SetUp() override;
    void TearDown() override;

    // A fresh, uncalibrated instrument without measurement noise.
    static sim::DefaultInstrumentOptions instrumentOptions();

    // The simulator's control interface ("calibration valid", "standard dirty").
    QString control(const QString& line);
    QString simAddress() const;

    // vireo2 with these arguments; `withSimulator` puts --tcp <simulator> first.
    ProgramResult vireo2(const QStringList& arguments) const;
    ProgramResult vireo2AgainstSim(const QStringList& arguments) const;
    ProgramResult runProgram(const QString& program, const QStringList& arguments, int timeoutMs = 60000) const;

    // The sample's reflectance in percent, as the instrument should report it.
    static QVector<double> samplePercent();

    QString dataHome() const { return dir_.path() + QStringLiteral("/data"); }
    QString workDirectory() const { return dir_.path() + QStringLiteral("/work"); }
    QString path(const QString& name) const { return dir_.path() + QLatin1Char('/') + name; }

    std::unique_ptr<sim::SimServer> sim_;

private:
    QTemporaryDir dir_;
};

// A port on 127.0.0.1 where nothing listens.
quint16 closedPort();

} // namespace vireo2::test
