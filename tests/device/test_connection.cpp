// Connecting, identifying, polling and disconnecting through the C exports.
#include <QRegularExpression>
#include <QSettings>
#include <QThread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;

namespace {

class ConnectionTest : public InstrumentTest {};

TEST_F(ConnectionTest, ConnectIdentifiesTheInstrumentInOrder)
{
    // A failed identification ends disconnected; the next attempt starts afresh.
    script("version", "VERSION 0x02");
    EXPECT_FALSE(Connect());
    EXPECT_FALSE(IsConnected());
    EXPECT_TRUE(hasError(2, "FAILED: Status Error 02"));
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    clearCommands();
    connectInstrument();
    const QList<QByteArray> expected{"version",          "meas done?",              "scan done?", "SerialNum Get Inst",
                                     "Cal Query Status", "MeasConfig Get APERTURE", "version get"};
    EXPECT_EQ(commands().mid(0, expected.size()), expected);
    EXPECT_TRUE(hasError(0, "<00>"));
    EXPECT_STREQ(GetSerialNum(), "2025VR2041217X");
    EXPECT_STREQ(GetOption("measurement_area"), "4.0mm");
    // The compatibility switch keeps six characters from the eighth on.
    QSettings compatibility(env_.dataDirectory() + QStringLiteral("Vireo2Compatibility.ini"), QSettings::IniFormat);
    compatibility.setValue(QStringLiteral("[Configuration]/serialnum"), 1);
    compatibility.sync();
    EXPECT_STREQ(GetSerialNum(), "041217");
}

TEST_F(ConnectionTest, PollingOnlyPollsAndStopsOnRequestAndWithDisconnect)
{
    connectInstrument();
    clearCommands();
    ASSERT_TRUE(sim_.waitForCommand("button triggered?", 2000));
    ASSERT_TRUE(sim_.waitForCommand("scan done?", 2000));
    const QList<QByteArray> polls{"button triggered?", "meas done?", "scan done?"};
    for (const QByteArray& command : commands())
        EXPECT_TRUE(polls.contains(command)) << command.constData();
    // Nothing new from the instrument leaves the error record alone.
    EXPECT_TRUE(hasError(0, "<00>"));
    auto quiet = [this] {
        QThread::msleep(250);  // a check already under way ends
        clearCommands();
        QThread::msleep(500);
        return commands().isEmpty();
    };
    ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    EXPECT_TRUE(quiet());
    ASSERT_TRUE(SetConfiguration("START_POLL"));
    EXPECT_TRUE(sim_.waitForCommand("button triggered?", 1000));

    ASSERT_TRUE(Disconnect());
    EXPECT_TRUE(Disconnect()) << "stopping twice is harmless";
    EXPECT_FALSE(IsConnected());
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    EXPECT_TRUE(quiet());
    EXPECT_STREQ(GetOption("measurement_area"), "Unknown");
    connectInstrument();
    EXPECT_EQ(commands().value(0), QByteArray("version")) << "a reconnection identifies again";
}

TEST_F(ConnectionTest, IdlePollingLeavesTheLogAlone)
{
    connectInstrument();
    ASSERT_TRUE(sim_.waitForCommand("meas done?", 2000));
    ASSERT_TRUE(sim_.waitForCommand("scan done?", 2000));
    EXPECT_FALSE(log().contains(QStringLiteral("CHECK STATUS"))) << log().toStdString();
    EXPECT_FALSE(log().contains(QStringLiteral("In Check Status Method")));
}

// A link that dies under a connected device fails every poll (three
// exchanges every 200 ms): each failure is written once, not every time.
TEST_F(ConnectionTest, DeadLinkFailuresAreLoggedOncePerKind)
{
    connectInstrument();
    ASSERT_TRUE(sim_.waitForCommand("scan done?", 2000));
    sim_.dropClients();
    QThread::msleep(1500);
    EXPECT_TRUE(IsConnected());
    const QString written = log();
    for (const char* command : {"SEND:button triggered?", "SEND:meas done?", "SEND:scan done?"}) {
        const QRegularExpression failure(QStringLiteral("\\*\\*ERROR\\*\\* [^\\r]*") +
                                         QRegularExpression::escape(QLatin1String(command)));
        EXPECT_LE(written.count(failure), 1) << command << "\n" << written.toStdString();
    }
    EXPECT_GE(written.count(QStringLiteral("**ERROR**")), 1);
}

class ProfileLogTest : public InstrumentTest {
protected:
    void prepare() override { env_.writeLogOptions({{QStringLiteral("Options/Profile"), QStringLiteral("1")}}); }
};

TEST_F(ProfileLogTest, StatusCheckMarksEachStepAsATimingMark)
{
    // A quiet instrument: every check runs through the button and the
    // measurement question and then asks about scans.
    const QStringList steps{QStringLiteral("In Check Status Method"),        QStringLiteral("CHECK STATUS PRE LOCK"),
                            QStringLiteral("CHECK STATUS POST LOCK"),        QStringLiteral("CHECK STATUS POST SCAN"),
                            QStringLiteral("CHECK STATUS PRE BTN TRIGGERED"), QStringLiteral("CHECK STATUS POST BTN TRIGGERED"),
                            QStringLiteral("CHECK STATUS PRE MEAS"),         QStringLiteral("CHECK STATUS POST MEAS")};
    // Timing marks read "<ms since the previous mark>: <label>".
    auto oneWholeCheckLogged = [&] {
        QStringList messages;
        for (const QString& line : log().split(QStringLiteral("\r\n")))
            messages.append(line.section(QStringLiteral(" - "), 1).section(QStringLiteral(": "), 1));
        for (int first = 0; first + steps.size() <= messages.size(); ++first) {
            if (messages.mid(first, steps.size()) == steps)
                return true;
        }
        return false;
    };
    connectInstrument();
    EXPECT_TRUE(eventually(oneWholeCheckLogged)) << log().toStdString();
    // Exchanges themselves stay out of the log without debug logging.
    EXPECT_FALSE(log().contains(QStringLiteral(" ms - SEND:"))) << log().toStdString();
}

class DebugLogTest : public InstrumentTest {
protected:
    void prepare() override { env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}}); }
};

TEST_F(DebugLogTest, AttemptsAreCountedAndExchangesLogged)
{
    ASSERT_TRUE(SetOption("device_ip_address", closedAddress().constData()));
    // Outside 1..5, or not a number, means 5.
    const QList<QPair<const char*, int>> cases{{"3", 3}, {"9", 5}, {"0", 5}, {"abc", 5}};
    int logged = 0;
    for (const auto& [setting, attempts] : cases) {
        ASSERT_TRUE(SetOption("connection_attempts", setting));
        EXPECT_FALSE(Connect());
        const int total = log().count(QStringLiteral("OpenPort attempt"));
        EXPECT_EQ(total - logged, attempts) << setting;
        logged = total;
    }
    EXPECT_FALSE(IsConnected());
    EXPECT_EQ(GetLastErrorCode(), 0x5000);
    EXPECT_EQ(std::string(GetLastErrorString()).rfind("Unable to connect to Vireo2 - ", 0), 0u) << lastError();
    // Only the two USB links fall back to each other.
    EXPECT_STREQ(GetOption("connection_method"), "TCP");

    // Exchanges are logged; unchanged poll replies only once.
    ASSERT_TRUE(SetOption("device_ip_address", sim_.address().constData()));
    connectInstrument();
    EXPECT_TRUE(log().contains(QStringLiteral(" - SEND:SerialNum Get Inst - RECV:SERIALNUM 0x00 2025VR2041217X")))
        << log().toStdString();
    ASSERT_TRUE(eventually([this] { return count("button triggered?") >= 3; }));
    EXPECT_EQ(log().count(QStringLiteral("SEND:button triggered? - RECV:BUTTON 0x07")), 1);
}

} // namespace
