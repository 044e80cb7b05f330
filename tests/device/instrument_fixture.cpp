#include "instrument_fixture.h"

#include <QDeadlineTimer>
#include <QThread>

#include "vireo2.h"

namespace vireo2::test {

bool eventually(const std::function<bool()>& condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(5);
    }
    return true;
}

void InstrumentTest::SetUp()
{
    prepare();
    ASSERT_TRUE(sim_.start()) << sim_.errorString().toStdString();
    ASSERT_TRUE(SetOption("connection_method", "TCP"));
    ASSERT_TRUE(SetOption("device_ip_address", sim_.address().constData()));
}

void InstrumentTest::TearDown()
{
    Disconnect();
    sim_.stop();
}

void InstrumentTest::control(const QString& line)
{
    const QString answer = sim_.engine().model().control(line);
    ASSERT_TRUE(answer.startsWith(QLatin1String("SIM 0x00"))) << line.toStdString() << " -> " << answer.toStdString();
}

void InstrumentTest::connectInstrument()
{
    ASSERT_TRUE(Connect()) << lastError();
    ASSERT_TRUE(IsConnected());
}

void InstrumentTest::connectCalibrated(const QString& sample)
{
    control(QStringLiteral("calibration valid"));
    control(QStringLiteral("noise 0"));
    control(QStringLiteral("sample ") + sample);
    connectInstrument();
}

int InstrumentTest::count(const QByteArray& command) const
{
    int n = 0;
    for (const QByteArray& received : sim_.commands())
        n += received.compare(command, Qt::CaseInsensitive) == 0 ? 1 : 0;
    return n;
}

std::string InstrumentTest::lastError()
{
    return std::to_string(GetLastErrorCode()) + " " + GetLastErrorString();
}

QString InstrumentTest::logText(const TestEnvironment& env)
{
    return TestEnvironment::readFile(env.logFile());
}

} // namespace vireo2::test
