// Connecting, identifying, polling and disconnecting through the C exports.
#include <QSettings>
#include <QTcpServer>
#include <QThread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;

namespace {

// A loopback port on which nothing listens.
QByteArray closedAddress()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return "127.0.0.1:" + QByteArray::number(port);
}

class ConnectionTest : public InstrumentTest {};

TEST_F(ConnectionTest, ConnectIdentifiesTheInstrumentInOrder)
{
    connectInstrument();
    const QList<QByteArray> expected{"version",           "meas done?",       "scan done?",
                                     "SerialNum Get Inst", "Cal Query Status", "MeasConfig Get APERTURE",
                                     "version get"};
    EXPECT_EQ(commands().mid(0, expected.size()), expected);
    EXPECT_EQ(GetLastErrorCode(), 0);
    EXPECT_STREQ(GetLastErrorString(), "<00>");
    EXPECT_STREQ(GetSerialNum(), "2025VR2041217X");
    EXPECT_STREQ(GetOption("measurement_area"), "4.0mm");
    EXPECT_STREQ(GetSettingOptions("measurement_area"), "4.0mm");
}

TEST_F(ConnectionTest, SerialNumberCompatibilitySwitchShortensIt)
{
    connectInstrument();
    QSettings compatibility(env_.dataDirectory() + QStringLiteral("Vireo2Compatibility.ini"), QSettings::IniFormat);
    compatibility.setValue(QStringLiteral("[Configuration]/serialnum"), 1);
    compatibility.sync();
    EXPECT_STREQ(GetSerialNum(), "041217");
}

TEST_F(ConnectionTest, PollingStartsAfterConnectAndOnlyPolls)
{
    connectInstrument();
    clearCommands();
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    ASSERT_TRUE(sim_.waitForCommand("scan done?", 2000));
    for (const QByteArray& command : commands()) {
        EXPECT_TRUE(command == "button triggered?" || command == "meas done?" || command == "scan done?")
            << command.constData();
    }
    // Nothing new from the instrument leaves the error record alone.
    EXPECT_EQ(GetLastErrorCode(), 0);
    EXPECT_STREQ(GetLastErrorString(), "<00>");
}

TEST_F(ConnectionTest, DisconnectStopsPollingAndClosesTheLink)
{
    connectInstrument();
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    ASSERT_TRUE(Disconnect());
    EXPECT_FALSE(IsConnected());
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    clearCommands();
    QThread::msleep(500);
    EXPECT_TRUE(commands().isEmpty());
    EXPECT_STREQ(GetOption("measurement_area"), "Unknown");
}

TEST_F(ConnectionTest, ReconnectAfterDisconnectIdentifiesAgain)
{
    connectInstrument();
    ASSERT_TRUE(Disconnect());
    clearCommands();
    connectInstrument();
    EXPECT_EQ(commands().value(0), QByteArray("version"));
}

TEST_F(ConnectionTest, FailedIdentificationEndsDisconnected)
{
    sim_.faults().add(vireo2::sim::Fault::on("version").replying("VERSION 0x02"));
    EXPECT_FALSE(Connect());
    EXPECT_FALSE(IsConnected());
    EXPECT_EQ(GetLastErrorCode(), 2);
    EXPECT_STREQ(GetLastErrorString(), "FAILED: Status Error 02");
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    // The next attempt starts afresh.
    connectInstrument();
}

TEST_F(ConnectionTest, UnreachableAddressFailsWithoutFallback)
{
    ASSERT_TRUE(SetOption("device_ip_address", closedAddress().constData()));
    EXPECT_FALSE(Connect());
    EXPECT_FALSE(IsConnected());
    EXPECT_EQ(GetLastErrorCode(), 0x5000);
    EXPECT_EQ(std::string(GetLastErrorString()).rfind("Unable to connect to Vireo2 - ", 0), 0u) << lastError();
    // Only the two USB links fall back to each other.
    EXPECT_STREQ(GetOption("connection_method"), "TCP");
}

class AttemptsTest : public InstrumentTest {
protected:
    void prepare() override { env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}}); }

    int attemptsLogged(const char* setting)
    {
        EXPECT_TRUE(SetOption("connection_attempts", setting));
        EXPECT_FALSE(Connect());
        return logText(env_).count(QStringLiteral("OpenPort attempt"));
    }
};

TEST_F(AttemptsTest, ConfiguredAttemptCountIsUsed)
{
    ASSERT_TRUE(SetOption("device_ip_address", closedAddress().constData()));
    EXPECT_EQ(attemptsLogged("3"), 3);
}

TEST_F(AttemptsTest, OutOfRangeOrUnreadableCountsMeanFive)
{
    ASSERT_TRUE(SetOption("device_ip_address", closedAddress().constData()));
    EXPECT_EQ(attemptsLogged("9"), 5);
    EXPECT_EQ(attemptsLogged("0"), 10);
    EXPECT_EQ(attemptsLogged("abc"), 15);
}

TEST_F(AttemptsTest, ExchangesAreLoggedWithDebugOn)
{
    connectInstrument();
    const QString log = logText(env_);
    EXPECT_TRUE(log.contains(QStringLiteral(" - SEND:SerialNum Get Inst - RECV:SERIALNUM 0x00 2025VR2041217X")))
        << log.toStdString();
    // "Nothing new" polls are written once, not on every round.
    ASSERT_TRUE(eventually([this] { return count("button triggered?") >= 3; }));
    EXPECT_EQ(logText(env_).count(QStringLiteral("SEND:button triggered? - RECV:BUTTON 0x07")), 1);
}

} // namespace
