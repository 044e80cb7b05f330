#include "scan_fixture.h"

#include <QElapsedTimer>
#include <QThread>

#include "vireo2.h"

namespace vireo2::test {

ScanTest::ScanTest()
    : rig_(std::make_shared<sim::TrackRig>()),
      sim_(sim::createDefaultInstrument({}, rig_)),
      track_(sim::createTrack(rig_))
{
    // A short track keeps a traverse near two seconds.
    rig_->setLength(300.0);
}

void ScanTest::SetUp()
{
    ASSERT_TRUE(sim_.start()) << sim_.errorString().toStdString();
    ASSERT_TRUE(track_.start()) << track_.errorString().toStdString();
    ASSERT_TRUE(SetOption("connection_method", "TCP"));
    ASSERT_TRUE(SetOption("device_ip_address", sim_.address().constData()));
    ASSERT_TRUE(SetOption("tr3_address", track_.address().constData()));
}

void ScanTest::TearDown()
{
    Disconnect();
    track_.stop();
    sim_.stop();
}

void ScanTest::connectOnTrack()
{
    ASSERT_EQ(execute("setmodel;vireotr3"), "<00>");
    connectInstrument();
}

void ScanTest::connectInstrument()
{
    control(QStringLiteral("calibration valid"));
    ASSERT_TRUE(Connect()) << lastError();
}

void ScanTest::control(const QString& line)
{
    const QString answer = sim_.engine().model().control(line);
    ASSERT_TRUE(answer.startsWith(QLatin1String("SIM 0x00"))) << line.toStdString() << " -> " << answer.toStdString();
}

void ScanTest::trackControl(const QString& line)
{
    const QString answer = track_.engine().model().control(line);
    ASSERT_TRUE(answer.startsWith(QLatin1String("SIM 0x00"))) << line.toStdString() << " -> " << answer.toStdString();
}

int ScanTest::waitForScanEnd(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    int status = ScanGetStatus();
    while ((status == 0 || status == 2) && timer.elapsed() < timeoutMs) {
        QThread::msleep(50);
        status = ScanGetStatus();
    }
    return status;
}

int ScanTest::count(const QByteArray& command) const
{
    int n = 0;
    for (const QByteArray& received : sim_.commands())
        n += received.compare(command, Qt::CaseInsensitive) == 0 ? 1 : 0;
    return n;
}

std::string ScanTest::execute(const char* line)
{
    return Execute(line);
}

std::string ScanTest::lastError()
{
    return std::to_string(GetLastErrorCode()) + " " + GetLastErrorString();
}

} // namespace vireo2::test
