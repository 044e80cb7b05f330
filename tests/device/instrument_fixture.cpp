#include "instrument_fixture.h"

#include "vireo2.h"

namespace vireo2::test {

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

void InstrumentTest::script(const QByteArray& command, const QByteArray& reply)
{
    sim_.faults().add(sim::Fault::on(command).replying(reply));
}

void InstrumentTest::connectInstrument(bool polling)
{
    ASSERT_TRUE(Connect()) << lastError();
    ASSERT_TRUE(IsConnected());
    if (!polling) {
        ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    }
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

::testing::AssertionResult InstrumentTest::hasError(int code, const char* text)
{
    if (GetLastErrorCode() == code && std::string(GetLastErrorString()) == text)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "error record is " << lastError();
}

std::string InstrumentTest::lastError()
{
    return std::to_string(GetLastErrorCode()) + " " + GetLastErrorString();
}

bool InstrumentTest::attributesSay(const char* text)
{
    return std::string(GetMeasAttributes()).find(text) != std::string::npos;
}

} // namespace vireo2::test
