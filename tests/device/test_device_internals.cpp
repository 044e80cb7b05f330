// The device object itself, for what no export can reach: the fallback to
// the other USB link (whose real address may not be contacted from a test),
// the track step, running without an instrument, button reports and the
// status check's try-lock.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QThread>
#include <thread>

#include "device/vireo2.h"
#include "device/worker_thread.h"
#include "sim_server.h"
#include "test_environment.h"

using vireo2::sim::Fault;
using vireo2::sim::SimServer;
using vireo2::test::TestEnvironment;

namespace {

bool eventually(const std::function<bool()>& condition, int timeoutMs = 2000)
{
    for (int waited = 0; !condition(); waited += 5) {
        if (waited >= timeoutMs)
            return false;
        QThread::msleep(5);
    }
    return true;
}

// The device with its protected state reachable, and the USB network link
// pointed at a loopback address.
class TestableVireo2 : public vireo2::Vireo2 {
public:
    QByteArray linkAddress;

    using Vireo2::instrumentPresent_;
    using Vireo2::trackInUse_;
    using Vireo2::operationMutex_;
    using Vireo2::firmwareVersion_;
    using Vireo2::firmwareGateOn;

protected:
    QByteArray usbNetworkAddress() const override { return linkAddress; }
};

QByteArray closedAddress()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return "127.0.0.1:" + QByteArray::number(port);
}

class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}});
        ASSERT_TRUE(sim_.start());
        device_ = std::make_unique<TestableVireo2>();
        device_->init();
        device_->linkAddress = sim_.address();
        device_->SetOption(QStringLiteral("connection_attempts"), QStringLiteral("1"));
    }

    void TearDown() override
    {
        device_->Disconnect();
        device_.reset();
    }

    QString log() const { return TestEnvironment::readFile(env_.logFile()); }
    QString method() { return device_->GetOption(QStringLiteral("connection_method")); }

    TestEnvironment env_;
    SimServer sim_;
    std::unique_ptr<TestableVireo2> device_;
};

TEST_F(DeviceTest, UsbFallsBackToTheUsbNetworkLinkAndRemembersIt)
{
    device_->SetOption(QStringLiteral("connection_method"), QStringLiteral("USB"));
    ASSERT_TRUE(device_->Connect()) << device_->log()->errorText().constData();
    EXPECT_TRUE(device_->IsConnected());
    EXPECT_EQ(method(), QStringLiteral("USB_TCPIP"));
    EXPECT_EQ(sim_.commands().value(0), QByteArray("version"));
}

TEST_F(DeviceTest, UsbNetworkLinkFallsBackToUsbOnceAndKeepsTheLastTried)
{
    device_->linkAddress = closedAddress();
    device_->SetOption(QStringLiteral("connection_method"), QStringLiteral("USB_TCPIP"));
    EXPECT_FALSE(device_->Connect());
    EXPECT_FALSE(device_->IsConnected());
    EXPECT_EQ(method(), QStringLiteral("USB"));
    EXPECT_EQ(device_->log()->errorCode(), 0x5000);
    EXPECT_TRUE(device_->log()->errorText().startsWith("Unable to connect to Vireo2 - FAILED OpenPort"));
}

TEST_F(DeviceTest, MethodIsComparedUpperCasedWhenOpening)
{
    // "usb" opens the USB transport, but only the exact names fall back.
    device_->SetOption(QStringLiteral("connection_method"), QStringLiteral("usb"));
    EXPECT_FALSE(device_->Connect());
    EXPECT_EQ(method(), QStringLiteral("usb"));
    EXPECT_TRUE(device_->log()->errorText().contains("USB Device not found"));
}

TEST_F(DeviceTest, TrackInUseFailsConnectAndBlocksLaterAttempts)
{
    device_->trackInUse_ = true;
    EXPECT_EQ(device_->GetAvailableSettings(), QStringLiteral("Connection_Method;device_ip_address;TR3_Address"));
    EXPECT_FALSE(device_->Connect());
    EXPECT_EQ(device_->log()->errorCode(), 0x5000);
    EXPECT_EQ(QString::fromLatin1(device_->log()->errorText()),
              QStringLiteral("Unable to connect to TR3 - 172.16.1.100:23: no track link"));
    // The failed track step leaves the connection attempt marked as running.
    EXPECT_FALSE(device_->Disconnect());
    device_->trackInUse_ = false;
    EXPECT_FALSE(device_->Connect());
    EXPECT_TRUE(sim_.commands().isEmpty());
}

TEST_F(DeviceTest, DisconnectDuringConnectIsRefused)
{
    device_->SetOption(QStringLiteral("connection_method"), QStringLiteral("TCP"));
    device_->SetOption(QStringLiteral("device_ip_address"), QString::fromLatin1(sim_.address()));
    sim_.faults().add(Fault::on("version").delayedBy(400));
    bool connected = false;
    std::thread host([&] { connected = device_->Connect(); });
    ASSERT_TRUE(sim_.waitForCommand("version", 2000));
    EXPECT_FALSE(device_->Disconnect());
    host.join();
    EXPECT_TRUE(connected);
    EXPECT_TRUE(device_->IsConnected());
}

TEST_F(DeviceTest, WithoutAnInstrumentTheBuiltInAnswersAndTheSpotFileStandIn)
{
    device_->instrumentPresent_ = false;
    ASSERT_TRUE(device_->Connect());
    // No transport: the device never counts as connected.
    EXPECT_FALSE(device_->IsConnected());
    EXPECT_EQ(device_->GetCalStatus(), 0);
    EXPECT_EQ(device_->SendCommand(QStringLiteral("Version"), 0), QStringLiteral("VERSION 0x00 Hueron Vireo2 0.5.398"));
    EXPECT_EQ(device_->SendCommand(QStringLiteral("sn"), 0), QStringLiteral("SN 0x00 123456"));
    EXPECT_EQ(device_->SendCommand(QStringLiteral("meas done?"), 0), QString());
    EXPECT_EQ(device_->SendCommand(QStringLiteral("anything"), 0), QStringLiteral("<00>"));
    EXPECT_TRUE(sim_.commands().isEmpty());

    QFile spot(QDir::currentPath() + QStringLiteral("/spot.csv"));
    ASSERT_TRUE(spot.open(QIODevice::WriteOnly | QIODevice::Text));
    QByteArray first = "1,ignored";
    QByteArray second = "2,,";
    for (int i = 0; i < 31; ++i) {
        first += ',' + QByteArray::number(0.5 + i / 100.0);
        second += i == 3 ? QByteArray(",-0.2") : QByteArray(",0");
    }
    spot.write(first + '\n' + second + '\n');
    spot.close();

    EXPECT_FALSE(device_->Measure());
    EXPECT_TRUE(device_->IsDataReady());
    EXPECT_FLOAT_EQ(device_->GetSpectralData(0, 0), 0.5f);
    EXPECT_FLOAT_EQ(device_->GetSpectralData(0, 30), 0.8f);
    EXPECT_EQ(double(device_->GetSpectralData(1, 3)), 9.999999747378752e-05);
    EXPECT_EQ(double(device_->GetSpectralData(1, 4)), 9.999999747378752e-05);
    EXPECT_FLOAT_EQ(device_->GetSpectralData(2, 0), -1.0f);
}

TEST_F(DeviceTest, LongOperationsEndFailedAndNeedTheirArgument)
{
    vireo2::WorkerThread backup(device_.get(), 1, {QStringLiteral("backup"), QString()});
    backup.start();
    ASSERT_TRUE(backup.wait(5000));
    EXPECT_EQ(backup.progress(), -1.0);
    EXPECT_EQ(device_->log()->errorCode(), 20502);
    EXPECT_EQ(device_->log()->errorText(), QByteArray("FAILED execute: Missing Arguments"));

    device_->log()->setError(0, QStringLiteral("<00>"));
    vireo2::WorkerThread restore(device_.get(), 2, {QStringLiteral("restore"), QStringLiteral("clone.bin")});
    restore.start();
    ASSERT_TRUE(restore.wait(5000));
    EXPECT_EQ(restore.progress(), -1.0);
    EXPECT_EQ(device_->log()->errorCode(), 0);
    // The lock is free again.
    EXPECT_TRUE(device_->operationMutex_->tryLock(0));
    device_->operationMutex_->unlock();
}

TEST_F(DeviceTest, FirmwareGateOpensFromVersion2Minor1OrBuild192)
{
    const QList<QPair<QString, bool>> cases{
        {QStringLiteral("2.0.0"), true},    {QStringLiteral("1.0.191"), false}, {QStringLiteral("1.0.192"), true},
        {QStringLiteral("1.1.0"), true},    {QStringLiteral("0.5"), false},     {QString(), false},
        {QStringLiteral("Hueron Vireo2 Plus 1.0.150"), false},
        {QStringLiteral("Hueron Vireo2 Plus 0.5.398"), true},
    };
    for (const auto& [version, open] : cases) {
        device_->firmwareVersion_ = version;
        EXPECT_EQ(device_->firmwareGateOn(), open) << version.toStdString();
    }
}

class ConnectedDeviceTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        device_->SetOption(QStringLiteral("connection_method"), QStringLiteral("TCP"));
        device_->SetOption(QStringLiteral("device_ip_address"), QString::fromLatin1(sim_.address()));
        ASSERT_TRUE(device_->Connect());
    }

    QString control(const QString& line) { return sim_.engine().model().control(line); }
};

TEST_F(ConnectedDeviceTest, ButtonReportsAccumulate)
{
    control(QStringLiteral("button Primary_1 pressed"));
    ASSERT_TRUE(eventually([this] { return !device_->buttonText().isEmpty(); }));
    control(QStringLiteral("button Secondary_2"));
    ASSERT_TRUE(eventually([this] { return device_->buttonWords().size() == 3; }));
    EXPECT_EQ(device_->buttonText(), QStringLiteral("Primary_1 pressed Secondary_2"));
    EXPECT_EQ(device_->buttonWords(), (QStringList{"Primary_1", "pressed", "Secondary_2"}));
}

TEST_F(ConnectedDeviceTest, StatusCheckNeverWaitsForTheLock)
{
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    device_->operationMutex_->lock();
    QThread::msleep(250);  // a check under way ends
    sim_.engine().clearCommands();
    std::thread check([this] { device_->CheckStatus(); });
    check.join();  // returns at once: the lock is taken
    QThread::msleep(450);
    EXPECT_TRUE(sim_.commands().isEmpty());
    device_->operationMutex_->unlock();
    EXPECT_TRUE(sim_.waitForCommand("button triggered?", 1000));
}

TEST_F(ConnectedDeviceTest, OutOfSequenceCompletionIsLoggedAndIgnored)
{
    control(QStringLiteral("calibration valid"));
    sim_.faults().add(Fault::on("meas done?").replying("MEAS 0x00 stray"));
    ASSERT_TRUE(eventually([this] {
        return log().contains(QStringLiteral(
            "***** COMMAND/RESPONSE OUT OF SEQUENCE ***** SEND:meas done? RECV:MEAS 0x00 stray"));
    }));
    EXPECT_FALSE(device_->IsDataReady());
    EXPECT_EQ(sim_.commands().count("measconfig get polarizer"), 0);
}

TEST_F(ConnectedDeviceTest, PayloadsAfterTheBarStayOutOfTheLog)
{
    device_->SetConfiguration(QStringLiteral("STOP_POLL"));
    sim_.faults().add(Fault::on("tethered").replying("TETHERED 0x00 accepted|0123456789"));
    QByteArray reply;
    ASSERT_EQ(device_->Transact(QStringLiteral("tethered configure 0 ! |{\"tethered\":{}}"), reply, 5000), 0);
    EXPECT_EQ(reply, QByteArray("TETHERED 0x00 accepted|0123456789"));
    // The command is cut after its "|"; the reply at the command's "|"
    // position (23 bytes), since no JSON follows the reply's own "|".
    EXPECT_TRUE(log().contains(QStringLiteral(" - SEND:tethered configure 0 ! | - RECV:TETHERED 0x00 accepted|\r\n")))
        << log().toStdString();
}

TEST_F(ConnectedDeviceTest, DisconnectWithoutTheLockLeavesTheTransportToItsUser)
{
    // A host thread that could not get the lock disconnects while another
    // thread is inside an exchange: the exchange ends, nothing is freed
    // under it.
    device_->SetConfiguration(QStringLiteral("STOP_POLL"));
    sim_.faults().add(Fault::on("slow").replying("SLOW 0x00 late").delayedBy(500));
    qint32 status = 0;
    std::thread user([&] {
        device_->operationMutex_->lock();
        QByteArray reply;
        status = device_->Transact(QStringLiteral("slow"), reply, 3000);
        device_->operationMutex_->unlock();
    });
    ASSERT_TRUE(sim_.waitForCommand("slow", 2000));
    EXPECT_TRUE(device_->Disconnect());
    user.join();
    // The exchange under way is finished before the link goes.
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(device_->IsConnected());
    ASSERT_TRUE(device_->Connect());
}

TEST_F(ConnectedDeviceTest, ScanDataRepliesAreLoggedWithTheirSize)
{
    device_->SetConfiguration(QStringLiteral("STOP_POLL"));
    sim_.faults().add(Fault::on("scan get refls").replying("SCAN 0x90 |{\"a\":1}"));
    QByteArray reply;
    EXPECT_EQ(device_->Transact(QStringLiteral("Scan Get Refls"), reply, 3000), 0x90);
    EXPECT_EQ(QString::fromLatin1(device_->log()->errorText()), QStringLiteral("<90>"));
    EXPECT_TRUE(log().contains(QStringLiteral("SEND:Scan Get Refls - RECV:SCAN 0x90 |{\"a\":1}SCAN 0x90 - 18 bytes")))
        << log().toStdString();
}

TEST_F(ConnectedDeviceTest, StatusThreadStopsWithDisconnect)
{
    ASSERT_TRUE(device_->Disconnect());
    sim_.engine().clearCommands();
    QThread::msleep(400);
    EXPECT_TRUE(sim_.commands().isEmpty());
    // Stopping again is harmless.
    EXPECT_TRUE(device_->stopStatusThread());
    EXPECT_TRUE(device_->Disconnect());
}

} // namespace
