// The housekeeping commands against the simulated instrument: what each
// sends and answers, and the driver's own Wi-Fi configuration store.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QFile>
#include <QSettings>

#include "execute_fixture.h"

using namespace vireo2::test;

namespace {

// Line, answer, and the one command it sends ("" for none).
struct Exchange {
    const char* line;
    const char* answer;
    const char* command;
};

class HousekeepingTest : public ExecuteTest {
protected:
    void expectExchanges(const QList<Exchange>& cases)
    {
        for (const Exchange& c : cases) {
            clearCommands();
            EXPECT_EQ(exec(QString::fromUtf8(c.line)), QString::fromUtf8(c.answer)) << c.line;
            const QList<QByteArray> expected = *c.command ? QList<QByteArray>{c.command} : QList<QByteArray>{};
            EXPECT_EQ(sent(), expected) << c.line;
        }
    }
};

TEST_F(HousekeepingTest, CommandsSendTheirInstrumentCommandAndAnswer)
{
    control("battery 42 charging");
    expectExchanges({
                        {"menu go cal", "<00>", "tool goto calibration"},
                        {"menu go home", "<00>", "tool goto ink"},
                        {"menu go spotopen", "<00>", "tool goto tethered"},
                        {"menu go calibration", "20503", ""},
                        {"menu go Home", "20503", ""},
                        {"tool goto ink", "<00>", "tool goto ink"},
                        {"tool goto tethered spot", "<00>", "tool goto tethered spot"},
                        {"userprofile select  ", "0 DefaultProfile", ""},
                        {"userprofile select", "0 DefaultProfile", ""},
                        {"userprofile select work", "<00>", ""},
                        {"meas get FilterPosition", "0", ""},
                        {"scan get preparedness", "1", ""},
                        {"scan get Preparedness", "", ""},
                        {"tasklist paper 0", "", ""},
                        {"batterystate", "42 CHARGING", "battery get state"},
                        {"instrument get name", "Vireo2 Lab", "serialnum get devicename"},
                        {"instrument get colour", "", ""},
                        {"serialnum get oem", "OEM 0x00 HUERON-OEM-7731", "oem get identifier"},
                        {"serialnum get INST", "SERIALNUM 0x00 2025VR2041217X", "serialnum get inst"},
                        {"serialnum get cal", "SERIALNUM 0x00 HUGA-58812", "serialnum get cal"},
    });
    EXPECT_EQ(GetLastErrorCode(), 0);
}

TEST_F(HousekeepingTest, NameIsReadAfterTheBarAndWrittenWithBlanks)
{
    EXPECT_EQ(exec("instrument set name Lab  1"), QString("<00>"));
    EXPECT_EQ(sent(), (QList<QByteArray>{"serialnum set devicename Lab  1"}));
    EXPECT_EQ(exec("instrument get name"), QString("Lab 1"));
    script("serialnum get devicename", "SERIALNUM 0x00 Lab 1");
    EXPECT_EQ(exec("instrument get name"), QString());
    EXPECT_EQ(exec("instrument set colour red"), QString());
}

TEST_F(HousekeepingTest, SerialNumberAndModelFollowTheCompatibilitySwitchAndEdition)
{
    EXPECT_EQ(exec("serialnum get model"), QString("Vireo2 Plus Xp"));
    control("polarizer off");
    EXPECT_EQ(exec("serialnum get model"), QString("Vireo2 Plus"));
    control("edition Pro Max");
    EXPECT_EQ(exec("serialnum get model"), QString("Vireo2 Pro Max"));

    QSettings compatibility(env_.dataDirectory() + QStringLiteral("Vireo2Compatibility.ini"), QSettings::IniFormat);
    compatibility.setValue(QStringLiteral("[Configuration]/serialnum"), 1);
    compatibility.sync();
    EXPECT_EQ(exec("serialnum get inst"), QString("SERIALNUM 0x00 041217"));
    EXPECT_EQ(exec("serialnum get cal"), QString("SERIALNUM 0x00 HUGA-58812"));
}

TEST_F(HousekeepingTest, ButtonPressesAreReportedOnce)
{
    control("button Primary_1");
    control("button Secondary_2 long");
    EXPECT_EQ(exec("getbuttonstriggered"), QString("Primary_1"));
    EXPECT_EQ(exec("getbuttonstriggered"), QString("Secondary_2 long"));
    EXPECT_EQ(exec("getbuttonstriggered"), QString("<00>"));
}

TEST_F(HousekeepingTest, TetheredScreensGoOutOnOneLine)
{
    EXPECT_EQ(exec("tetherconfigure;{\n\t\"primaryText\": \"Scan\"\r\n}"), QString("TETHERED 0x00"));
    EXPECT_EQ(sent().value(0), QByteArray("tethered configure 0 ! |{\"primaryText\": \"Scan\"}"));
    EXPECT_EQ(exec("tetherconfigure;{broken"), QString());
    EXPECT_EQ(GetLastErrorCode(), 2);

    // The spot screen needs the tethered tool, asked for only when not shown.
    clearCommands();
    EXPECT_EQ(exec("setspotmeasurementconfig;{\"primaryText\":\"Measure\"}"), QString("<00>"));
    EXPECT_EQ(exec("setspotmeasurementconfig"), QString("<00>"));
    const QList<QByteArray> commands = sent();
    ASSERT_EQ(commands.size(), 5);
    EXPECT_EQ(commands.mid(0, 2), (QList<QByteArray>{"tool query", "tool goto tethered"}));
    EXPECT_EQ(commands.at(3), QByteArray("tool query"));
    const QByteArray prefix = "tethered configure 0 ! |";
    ASSERT_TRUE(commands.at(2).startsWith(prefix));
    const QJsonObject screen = QJsonDocument::fromJson(commands.at(2).mid(prefix.size())).object()["tethered"].toObject();
    EXPECT_EQ(screen["measureMode"].toString(), QString("SPOT"));
    EXPECT_EQ(screen["primaryText"].toString(), QString("Measure"));
    EXPECT_EQ(screen["buttons"].toArray().size(), 4);
}

TEST_F(HousekeepingTest, WifiConfigurationsAreKeptByName)
{
    EXPECT_EQ(exec("getconfiglist"), QString());
    EXPECT_EQ(exec("addwificonfiguration Lab Net 10.0.0.5"), QString("CONFIG 0x00"));
    EXPECT_EQ(exec("addwificonfiguration;Office;10.0.0.9"), QString("CONFIG 0x00"));
    EXPECT_EQ(exec("addwificonfiguration Lab Net 10.0.0.7"), QString("CONFIG 0x01"));
    EXPECT_EQ(exec("addwificonfiguration a/b 10.0.0.7"), QString("CONFIG 0x01"));
    EXPECT_EQ(exec("getwifiaddress Lab Net"), QString("10.0.0.5"));
    EXPECT_EQ(exec("getconfiglist"), QString("Lab Net;Office"));
    // The connection method offers the same names.
    EXPECT_STREQ(GetSettingOptions("connection_method"), "USB;Lab Net;Office");

    EXPECT_EQ(exec("removewificonfiguration Lab Net"), QString("CONFIG 0x00"));
    EXPECT_EQ(exec("getwifiaddress Lab Net"), QString("CONFIG 0x01"));
    EXPECT_EQ(exec("getconfiglist"), QString("Office"));
    QSettings stored(env_.dataDirectory() + QStringLiteral("Vireo2WifiConfigs.ini"), QSettings::IniFormat);
    EXPECT_EQ(stored.value(QStringLiteral("[Configurations]/Office")).toString(), QString("10.0.0.9"));
    EXPECT_TRUE(sent().isEmpty());
}

// A burst of names is written behind, a few times rather than once per name,
// and is on disk (the file itself, not this process's cache of it) once the
// device disconnects.
TEST_F(HousekeepingTest, ABurstOfWifiConfigurationsReachesTheDiskByDisconnect)
{
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(exec(QStringLiteral("addwificonfiguration net%1 10.1.%2.%3").arg(i).arg(i / 250).arg(i % 250)),
                  QString("CONFIG 0x00"));
    EXPECT_EQ(exec("getwifiaddress net1999"), QString("10.1.7.249"));
    Disconnect();
    QFile file(env_.dataDirectory() + QStringLiteral("Vireo2WifiConfigs.ini"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_EQ(text.count('='), 2000);
    EXPECT_TRUE(text.contains("net1999=10.1.7.249"));
}

} // namespace
