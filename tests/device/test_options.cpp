// Named settings, the correction-profile switch and polling control.
#include <QSettings>
#include <QThread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;

namespace {

class OptionsTest : public InstrumentTest {
protected:
    void prepare() override
    {
        // Two stored wireless configurations, in place before the library
        // opens its stores.
        QSettings wireless(env_.dataDirectory() + QStringLiteral("Vireo2WifiConfigs.ini"), QSettings::IniFormat);
        wireless.setValue(QStringLiteral("[Configurations]/Office"), QStringLiteral("10.1.2.3"));
        wireless.setValue(QStringLiteral("[Configurations]/Lab"), QStringLiteral("10.4.5.6"));
        wireless.sync();
    }

    QString stored(const QString& key) const
    {
        QSettings device(env_.dataDirectory() + QStringLiteral("Vireo2.ini"), QSettings::IniFormat);
        return device.value(key).toString();
    }

    void expectInvalid(const char* text)
    {
        EXPECT_EQ(GetLastErrorCode(), 0x500F);
        EXPECT_STREQ(GetLastErrorString(), text);
    }
};

TEST_F(OptionsTest, AvailableSettingsAndTheirOptions)
{
    EXPECT_STREQ(GetAvailableSettings(), "Connection_Method;device_ip_address;netadjuster");
    EXPECT_STREQ(GetSettingOptions("Connection"), "USB");
    EXPECT_STREQ(GetSettingOptions("CONNECTION_METHOD"), "USB;Lab;Office");
    EXPECT_EQ(std::string(GetSettingOptions("device_ip_address")), std::string(sim_.address().constData()));
    EXPECT_STREQ(GetSettingOptions("TR3_Address"), "172.16.1.100");
    EXPECT_STREQ(GetSettingOptions("reading_mode"), "Pressure");
    EXPECT_STREQ(GetSettingOptions("netadjuster"), "OFF;ON");
    EXPECT_STREQ(GetSettingOptions("measurement_area"), "2.0mm");

    EXPECT_STREQ(GetSettingOptions("connection_attempts"), "");
    expectInvalid("FAILED availableSettingOptions: Invalid Setting");
    EXPECT_STREQ(GetSettingOptions("connection"), "");
    expectInvalid("FAILED availableSettingOptions: Invalid Setting");
}

TEST_F(OptionsTest, StoredSettingsHaveDefaultsAndKeepWhatIsWritten)
{
    EXPECT_STREQ(GetOption("tr3_address"), "172.16.1.100");
    EXPECT_STREQ(GetOption("connection_attempts"), "5");
    EXPECT_STREQ(GetOption("Reading_Mode"), "Pressure");
    EXPECT_STREQ(GetOption("Connection"), "USB");

    ASSERT_TRUE(SetOption("TR3_ADDRESS", "172.16.1.7"));
    ASSERT_TRUE(SetOption("connection_attempts", "not checked"));
    EXPECT_STREQ(GetOption("tr3_address"), "172.16.1.7");
    EXPECT_STREQ(GetOption("connection_attempts"), "not checked");
    // Written to the file at once.
    EXPECT_EQ(stored(QStringLiteral("Options/TR3Address")), QStringLiteral("172.16.1.7"));
    EXPECT_EQ(stored(QStringLiteral("Options/Connection_Method")), QStringLiteral("TCP"));

    // The "Connection" shortcut writes outside the "Options" group.
    ASSERT_TRUE(SetOption("Connection", "USB_TCPIP"));
    EXPECT_STREQ(GetOption("connection_method"), "TCP");
    EXPECT_STREQ(GetOption("Connection"), "USB");
}

TEST_F(OptionsTest, ConnectionMethodNamingAWirelessConfigurationTakesItsAddress)
{
    ASSERT_TRUE(SetOption("connection_method", "Office"));
    EXPECT_STREQ(GetOption("connection_method"), "Office");
    EXPECT_STREQ(GetOption("device_ip_address"), "10.1.2.3");
    ASSERT_TRUE(SetOption("connection_method", "Home"));
    EXPECT_STREQ(GetOption("device_ip_address"), "CONFIG 0x01");
    ASSERT_TRUE(SetOption("connection_method", "USB_TCPIP"));
    EXPECT_STREQ(GetOption("device_ip_address"), "CONFIG 0x01");
}

TEST_F(OptionsTest, InvalidNamesAndValuesAreRefused)
{
    EXPECT_STREQ(GetOption("colour"), "");
    expectInvalid("FAILED settingOption: Invalid Setting");
    for (const char* name : {"reading_mode", "measurement_area", "colour"}) {
        EXPECT_FALSE(SetOption(name, "Pressure")) << name;
        expectInvalid("FAILED setSettingOption: Invalid Option");
    }
    EXPECT_FALSE(SetOption("netadjuster", "maybe"));
    expectInvalid("FAILED setSettingOption: Invalid Option");
}

TEST_F(OptionsTest, CorrectionProfileSwitchAsksTheInstrument)
{
    EXPECT_STREQ(GetOption("netadjuster"), "UNKNOWN");
    connectInstrument();
    EXPECT_STREQ(GetOption("NetAdjuster"), "OFF");
    ASSERT_TRUE(SetOption("netadjuster", "on"));
    EXPECT_STREQ(GetOption("netadjuster"), "ON");
    EXPECT_NE(std::string(GetMeasAttributes()).find(":NetAdjuster=ON"), std::string::npos);
    ASSERT_TRUE(SetOption("netadjuster", "0"));
    EXPECT_STREQ(GetOption("netadjuster"), "OFF");

    // Without a profile on the instrument it cannot be switched on.
    control(QStringLiteral("netadjuster empty"));
    EXPECT_FALSE(SetOption("netadjuster", "1"));
    EXPECT_STREQ(GetOption("netadjuster"), "OFF");
    EXPECT_NE(std::string(GetMeasAttributes()).find(":NetAdjuster=OFF"), std::string::npos);
}

TEST_F(OptionsTest, ConfigurationCodeAndPolling)
{
    EXPECT_STREQ(GetConfiguration(), "C0.M0.T0.B2.N0");
    EXPECT_FALSE(SetConfiguration("start_poll"));
    EXPECT_EQ(GetLastErrorCode(), 0x5017);
    EXPECT_STREQ(GetLastErrorString(), "FAILED setConfiguration: Invalid Argument");

    connectInstrument();
    ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    QThread::msleep(250);  // a check already under way ends
    clearCommands();
    QThread::msleep(500);
    EXPECT_TRUE(commands().isEmpty());
    ASSERT_TRUE(SetConfiguration("START_POLL"));
    EXPECT_TRUE(sim_.waitForCommand("button triggered?", 1000));
}

} // namespace
