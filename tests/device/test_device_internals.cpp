// The device object itself, for what no export can reach: the fallback to
// the other USB link (whose real address may not be contacted from a test),
// the track step, running without an instrument, the firmware gate, button
// reports, the long-operation thread and the status check's try-lock.
#include <gtest/gtest.h>
#include "threading/locks.h"

#include <QAbstractSocket>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <thread>

#include "device/vireo2.h"
#include "device/worker_thread.h"
#include "closed_port.h"
#include "device_test_util.h"
#include "sim_server.h"
#include "test_environment.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

// The device with its protected state reachable, and the USB network link
// pointed at a loopback address.
class TestableVireo2 : public vireo2::Vireo2 {
public:
    QByteArray linkAddress;

    using Vireo2::checkBusy_;
    using Vireo2::setFirmwareVersion;
    using Vireo2::instrumentPresent_;
    using Vireo2::operationMutex_;
    using Vireo2::statusThread_;
    using Vireo2::trackInUse_;

protected:
    QByteArray usbNetworkAddress() const override { return linkAddress; }
};

class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}});
        ASSERT_TRUE(sim_.start());
        device_ = std::make_unique<TestableVireo2>();
        device_->init();
        device_->linkAddress = sim_.address();
        setOption("connection_attempts", "1");
    }

    void TearDown() override { device_->Disconnect(); }

    void setOption(const char* name, const QString& value) { device_->SetOption(QLatin1String(name), value); }
    QString method() { return device_->GetOption(QStringLiteral("connection_method")); }
    QString errorText() const { return QString::fromLatin1(device_->log()->errorText()); }
    QString log() const { return TestEnvironment::readFile(env_.logFile()); }
    void useSimulator()
    {
        setOption("connection_method", QStringLiteral("TCP"));
        setOption("device_ip_address", QString::fromLatin1(sim_.address()));
    }

    TestEnvironment env_;
    vireo2::sim::SimServer sim_;
    std::unique_ptr<TestableVireo2> device_;
};

TEST_F(DeviceTest, UsbLinksFallBackOnceToEachOtherAndTheLastTriedIsKept)
{
    setOption("connection_method", QStringLiteral("USB"));
    ASSERT_TRUE(device_->Connect()) << errorText().toStdString();
    EXPECT_TRUE(device_->IsConnected());
    EXPECT_EQ(method(), QStringLiteral("USB_TCPIP"));
    EXPECT_EQ(sim_.commands().value(0), QByteArray("version"));
    ASSERT_TRUE(device_->Disconnect());

    device_->linkAddress = closedAddress();
    EXPECT_FALSE(device_->Connect());
    EXPECT_FALSE(device_->IsConnected());
    EXPECT_EQ(method(), QStringLiteral("USB")) << "the link tried last is kept";
    EXPECT_EQ(device_->log()->errorCode(), 0x5000);
    EXPECT_TRUE(errorText().startsWith(QStringLiteral("Unable to connect to Vireo2 - FAILED OpenPort")));

    // "usb" opens the USB transport, but does not fall back.
    setOption("connection_method", QStringLiteral("usb"));
    EXPECT_FALSE(device_->Connect());
    EXPECT_EQ(method(), QStringLiteral("usb"));
    EXPECT_TRUE(errorText().contains(QStringLiteral("USB Device not found")));
}

TEST_F(DeviceTest, TrackInUseFailsConnectAndBlocksLaterAttempts)
{
    device_->trackInUse_ = true;
    EXPECT_EQ(device_->GetAvailableSettings(), QStringLiteral("Connection_Method;device_ip_address;TR3_Address"));
    // A track address where nothing listens (a given port replaces 23).
    ASSERT_TRUE(device_->SetOption(QStringLiteral("tr3_address"), QStringLiteral("127.0.0.1:%1").arg(closedPort())));
    EXPECT_FALSE(device_->Connect());
    EXPECT_EQ(device_->log()->errorCode(), QAbstractSocket::ConnectionRefusedError);
    EXPECT_TRUE(errorText().startsWith(QStringLiteral("Unable to connect to TR3 - "))) << errorText().toStdString();
    // The failed track step leaves the connection attempt marked as running.
    EXPECT_FALSE(device_->Disconnect());
    device_->trackInUse_ = false;
    EXPECT_FALSE(device_->Connect());
    EXPECT_TRUE(sim_.commands().isEmpty());
}

TEST_F(DeviceTest, DisconnectDuringConnectIsRefused)
{
    useSimulator();
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
    EXPECT_EQ(device_->SendCommand(QStringLiteral("meas done?"), 0), QString());
    EXPECT_EQ(device_->SendCommand(QStringLiteral("anything"), 0), QStringLiteral("<00>"));
    EXPECT_TRUE(sim_.commands().isEmpty());

    // Two leading fields, then one value per wavelength; floored as measured.
    QFile spot(QDir::currentPath() + QStringLiteral("/spot.csv"));
    ASSERT_TRUE(spot.open(QIODevice::WriteOnly | QIODevice::Text));
    for (int i = 0; i < 31; ++i)
        spot.write((i == 0 ? "1,ignored," : ",") + QByteArray::number(0.5 + i / 100.0));
    spot.write("\n2,x,-0.2" + QByteArray(",0").repeated(30) + '\n');
    spot.close();
    EXPECT_FALSE(device_->Measure());
    EXPECT_TRUE(device_->IsDataReady());
    EXPECT_FLOAT_EQ(device_->GetSpectralData(0, 0), 0.5f);
    EXPECT_FLOAT_EQ(device_->GetSpectralData(0, 30), 0.8f);
    EXPECT_EQ(double(device_->GetSpectralData(1, 0)), 9.999999747378752e-05);
    EXPECT_EQ(double(device_->GetSpectralData(1, 30)), 9.999999747378752e-05);
    EXPECT_FLOAT_EQ(device_->GetSpectralData(2, 0), -1.0f);
}

TEST_F(DeviceTest, LongOperationWithItsArgumentEndsFailedWithoutAnError)
{
    // This instrument offers no backup or restore; the missing argument and
    // the lock around the operation are tested through Execute.
    vireo2::WorkerThread restore(device_.get(), 2, {QStringLiteral("restore"), QStringLiteral("clone.bin")});
    restore.start();
    ASSERT_TRUE(restore.wait(5000));
    EXPECT_EQ(restore.progress(), -1.0);
    EXPECT_EQ(device_->log()->errorCode(), 0);
}

class ConnectedDeviceTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        useSimulator();
        ASSERT_TRUE(device_->Connect());
    }

    QString control(const QString& line) { return sim_.engine().model().control(line); }
    void stopPolling() { device_->SetConfiguration(QStringLiteral("STOP_POLL")); }
};

TEST_F(ConnectedDeviceTest, OnlyFirmwareThatDozesIsWokenBeforeMeasuring)
{
    stopPolling();
    control(QStringLiteral("calibration valid"));
    control(QStringLiteral("measure time 0"));
    control(QStringLiteral("wake time 150"));
    // The gate opens from 2.x, 1.1 or build 192 on; the version is the whole
    // "version get" text.
    const QList<QPair<QString, bool>> cases{
        {QStringLiteral("2.0.0"), true},    {QStringLiteral("1.0.191"), false}, {QStringLiteral("1.0.192"), true},
        {QStringLiteral("1.1.0"), true},    {QStringLiteral("0.5"), false},     {QString(), false},
        {QStringLiteral("Hueron Vireo2 Plus 1.0.150"), false},
        {QStringLiteral("Hueron Vireo2 Plus 0.5.398"), true},
    };
    for (const auto& [version, open] : cases) {
        SCOPED_TRACE(version.toStdString());
        control(QStringLiteral("sleep"));
        sim_.engine().clearCommands();
        device_->setFirmwareVersion(version);
        QByteArray reply;
        // Woken, it measures once awake; left asleep, it refuses (0x8B).
        EXPECT_EQ(device_->Transact(QStringLiteral("Meas Run"), reply, 3000), open ? 0 : 0x8B);
        EXPECT_EQ(sim_.commands().count("spectro system wake"), open ? 1 : 0);
    }
}

TEST_F(ConnectedDeviceTest, ButtonReportsAccumulate)
{
    control(QStringLiteral("button Primary_1 pressed"));
    ASSERT_TRUE(eventually([this] { return !device_->buttonText().isEmpty(); }));
    control(QStringLiteral("button Secondary_2"));
    ASSERT_TRUE(eventually([this] { return device_->buttonWords().size() == 3; }));
    EXPECT_EQ(device_->buttonText(), QStringLiteral("Primary_1 pressed Secondary_2"));
    EXPECT_EQ(device_->buttonWords(), (QStringList{"Primary_1", "pressed", "Secondary_2"}));
}

TEST_F(ConnectedDeviceTest, StatusCheckNeverWaitsForTheLockAndEndsWithDisconnect)
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
    ASSERT_TRUE(device_->Disconnect());
    EXPECT_EQ(device_->statusThread_, nullptr) << "Disconnect stops the status thread";
}

// The firmware update waits for a running status check to let go, but a
// check that never does (stuck) fails the update after 5 s, before any packet.
TEST_F(ConnectedDeviceTest, FirmwareUpdateWaitsForARunningCheckAtMostFiveSeconds)
{
    stopPolling();
    const QString image = env_.dataDirectory() + QStringLiteral("firmware.bin");
    QFile file(image);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("VIREO2-FIRMWARE\n9.9.9\n");
    file.close();
    device_->checkBusy_ = true;
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(device_->Execute(QStringLiteral("systemupdate;") + image), QStringLiteral("SYSTEM 0x01"));
    EXPECT_GE(timer.elapsed(), 5000);
    EXPECT_LT(timer.elapsed(), 7000);
    EXPECT_EQ(device_->log()->errorCode(), 0x501E);
    EXPECT_TRUE(errorText().startsWith(QLatin1String("FAILED systemupdate: status check still running after ")));
    for (const QByteArray& command : sim_.commands())
        EXPECT_FALSE(command.startsWith("system update"));
    device_->checkBusy_ = false;
}

TEST_F(ConnectedDeviceTest, OutOfSequenceCompletionIsLoggedAndIgnored)
{
    control(QStringLiteral("calibration valid"));
    sim_.faults().add(Fault::on("meas done?").replying("MEAS 0x00 stray"));
    ASSERT_TRUE(eventually([this] {
        return log().contains(
            QStringLiteral("***** COMMAND/RESPONSE OUT OF SEQUENCE ***** SEND:meas done? RECV:MEAS 0x00 stray"));
    }));
    EXPECT_FALSE(device_->IsDataReady());
    EXPECT_EQ(sim_.commands().count("measconfig get polarizer"), 0);
}

TEST_F(ConnectedDeviceTest, PayloadsAfterTheBarStayOutOfTheLog)
{
    stopPolling();
    sim_.faults().add(Fault::on("tethered").replying("TETHERED 0x00 accepted|0123456789"));
    sim_.faults().add(Fault::on("scan get refls").replying("SCAN 0x90 |{\"a\":1}"));
    QByteArray reply;
    ASSERT_EQ(device_->Transact(QStringLiteral("tethered configure 0 ! |{\"tethered\":{}}"), reply, 5000), 0);
    EXPECT_EQ(reply, QByteArray("TETHERED 0x00 accepted|0123456789"));
    // Scan data replies are logged whole, with their status and size.
    EXPECT_EQ(device_->Transact(QStringLiteral("Scan Get Refls"), reply, 3000), 0x90);
    EXPECT_EQ(errorText(), QStringLiteral("<90>"));
    // The command is cut after its "|"; the reply at the command's "|"
    // position (23 bytes), since no JSON follows the reply's own "|".
    EXPECT_TRUE(log().contains(QStringLiteral(" - SEND:tethered configure 0 ! | - RECV:TETHERED 0x00 accepted|\r\n")))
        << log().toStdString();
    EXPECT_TRUE(log().contains(QStringLiteral("SEND:Scan Get Refls - RECV:SCAN 0x90 |{\"a\":1}SCAN 0x90 - 18 bytes")));
}

TEST_F(ConnectedDeviceTest, DisconnectWithoutTheLockLeavesTheTransportToItsUser)
{
    // A host thread that could not get the lock disconnects while another
    // thread is inside an exchange: the exchange ends, nothing is freed
    // under it.
    stopPolling();
    sim_.faults().add(Fault::on("slow").replying("SLOW 0x00 late").delayedBy(500));
    qint32 status = -2;
    std::thread user([&] {
        vireo2::MutexLocker lock(device_->operationMutex_.get());
        QByteArray reply;
        status = device_->Transact(QStringLiteral("slow"), reply, 3000);
    });
    ASSERT_TRUE(sim_.waitForCommand("slow", 2000));
    EXPECT_TRUE(device_->Disconnect());
    user.join();
    EXPECT_EQ(status, 0) << "the exchange under way is finished before the link goes";
    EXPECT_FALSE(device_->IsConnected());
    ASSERT_TRUE(device_->Connect());
}

} // namespace
