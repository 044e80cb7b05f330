#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QString>

#include "closed_port.h"
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

    // The simulator's control interface ("calibration valid", "standard dirty").
    QString control(const QString& line) { return sim_->engine().model().control(line); }
    QString simAddress() const { return QStringLiteral("127.0.0.1:%1").arg(sim_->port()); }

    // vireo2 with these arguments; the AgainstSim forms put --tcp <simulator>
    // first. `line` is split at blanks.
    ProgramResult vireo2(const QStringList& arguments) const { return runProgram(VIREO2_CLI_PROGRAM, arguments); }
    // The same with `input` typed at it (the end of input follows).
    ProgramResult vireo2WithInput(const QStringList& arguments, const QByteArray& input) const
    {
        return runProgram(VIREO2_CLI_PROGRAM, QStringList{"--tcp", simAddress()} + arguments, 60000, input);
    }
    ProgramResult vireo2AgainstSim(const QStringList& arguments) const
    {
        return vireo2(QStringList{"--tcp", simAddress()} + arguments);
    }
    ProgramResult run(const QString& line) const { return vireo2(line.split(' ', Qt::SkipEmptyParts)); }
    ProgramResult runAgainstSim(const QString& line) const { return run("--tcp " + simAddress() + ' ' + line); }
    // The program's input ends after `input`, so a question it asks is not
    // left waiting.
    ProgramResult runProgram(const QString& program, const QStringList& arguments, int timeoutMs = 60000,
                             const QByteArray& input = QByteArray()) const;
    // Gives a program started outside runProgram this test's data folder and
    // working directory.
    void placeInTest(QProcess& process) const;

    // The sample's reflectance in percent, as the instrument should report it.
    static QVector<double> samplePercent();
    // The JSON object a program printed.
    static QJsonObject jsonObject(const QString& text);

    QString dataHome() const { return dir_.path() + QStringLiteral("/data"); }
    QString workDirectory() const { return dir_.path() + QStringLiteral("/work"); }
    QString path(const QString& name) const { return dir_.path() + QLatin1Char('/') + name; }

    std::unique_ptr<sim::SimServer> sim_;

private:
    QTemporaryDir dir_;
};

} // namespace vireo2::test
