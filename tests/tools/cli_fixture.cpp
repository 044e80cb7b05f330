#include "cli_fixture.h"

#include <QDir>
#include <QJsonDocument>
#include <QProcess>
#include <QProcessEnvironment>

#include "instrument_spectra.h"

namespace vireo2::test {

const QString CliTest::kSerial = QStringLiteral("CLI-TEST-0042");
const QString CliTest::kFirmware = QStringLiteral("9.8.765");
const QString CliTest::kSample = QStringLiteral("TCS09");

void CliTest::SetUp()
{
    ASSERT_TRUE(dir_.isValid());
    ASSERT_TRUE(QDir().mkpath(dataHome()));
    ASSERT_TRUE(QDir().mkpath(workDirectory()));
    // A fresh, uncalibrated instrument without measurement noise.
    sim::DefaultInstrumentOptions options;
    options.serialNumber = kSerial;
    options.firmwareVersion = kFirmware;
    options.sample = kSample;
    options.noise = 0.0;
    options.measurementMs = 50;
    sim_ = std::make_unique<sim::SimServer>(sim::createDefaultInstrument(options));
    ASSERT_TRUE(sim_->start(0)) << sim_->errorString().toStdString();
}

void CliTest::placeInTest(QProcess& process) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome());
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workDirectory());
}

ProgramResult CliTest::runProgram(const QString& program, const QStringList& arguments, int timeoutMs,
                                  const QByteArray& input) const
{
    QProcess process;
    placeInTest(process);
    process.start(program, arguments);
    if (process.waitForStarted(10000)) {
        process.write(input);
        process.closeWriteChannel();
    }
    ProgramResult result;
    if (!process.waitForFinished(timeoutMs)) {
        result.err = process.error() == QProcess::FailedToStart ? process.errorString() : QStringLiteral("timed out");
        process.kill();
        process.waitForFinished(5000);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QVector<double> CliTest::samplePercent()
{
    const sim::SampleLibrary library = sim::SampleLibrary::builtIn();
    QVector<double> percent;
    for (double factor : library.at(library.indexOf(kSample)).reflectance)
        percent << factor * 100.0;
    return percent;
}

QJsonObject CliTest::jsonObject(const QString& text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text.toStdString();
    return document.object();
}

} // namespace vireo2::test
