// Named settings, the correction-profile switch and the configuration code.
#include <QSettings>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;

namespace {

const char* const kInvalidOption = "FAILED setSettingOption: Invalid Option";

class OptionsTest : public InstrumentTest {
protected:
    void prepare() override
    {
        // Two stored wireless configurations, in place before the library
        // opens its stores.
        QSettings wireless(env_.dataDirectory() + QStringLiteral("Vireo2WifiConfigs.ini"), QSettings::IniFormat);
        wireless.setValue(QStringLiteral("[Configurations]/Office"), QStringLiteral("10.1.2.3"));
        wireless.setValue(QStringLiteral("[Configurations]/Lab"), QStringLiteral("10.4.5.6"));
    }
};

TEST_F(OptionsTest, EachSettingHasItsOptionsAndRefusesWhatIsNotOne)
{
    EXPECT_STREQ(GetAvailableSettings(), "Connection_Method;device_ip_address;netadjuster");
    const QList<QPair<const char*, std::string>> options{
        {"Connection", "USB"},          {"CONNECTION_METHOD", "USB;Lab;Office"}, {"TR3_Address", "172.16.1.100"},
        {"reading_mode", "Pressure"},   {"netadjuster", "OFF;ON"},               {"measurement_area", "2.0mm"},
        {"device_ip_address", sim_.address().toStdString()}};
    for (const auto& [name, expected] : options)
        EXPECT_EQ(GetSettingOptions(name), expected) << name;
    for (const char* name : {"connection_attempts", "connection"}) {
        EXPECT_STREQ(GetSettingOptions(name), "") << name;
        EXPECT_TRUE(hasError(0x500F, "FAILED availableSettingOptions: Invalid Setting"));
    }
    EXPECT_STREQ(GetOption("colour"), "");
    EXPECT_TRUE(hasError(0x500F, "FAILED settingOption: Invalid Setting"));
    for (const char* name : {"reading_mode", "measurement_area", "colour"}) {
        EXPECT_FALSE(SetOption(name, "Pressure")) << name;
        EXPECT_TRUE(hasError(0x500F, kInvalidOption));
    }
    EXPECT_FALSE(SetOption("netadjuster", "maybe"));
    EXPECT_TRUE(hasError(0x500F, kInvalidOption));
    EXPECT_STREQ(GetConfiguration(), "C0.M0.T0.B2.N0");
    EXPECT_FALSE(SetConfiguration("start_poll"));
    EXPECT_TRUE(hasError(0x5017, "FAILED setConfiguration: Invalid Argument"));
}

TEST_F(OptionsTest, StoredSettingsHaveDefaultsAndKeepWhatIsWritten)
{
    EXPECT_STREQ(GetOption("tr3_address"), "172.16.1.100");
    EXPECT_STREQ(GetOption("connection_attempts"), "5");
    EXPECT_STREQ(GetOption("Reading_Mode"), "Pressure");
    ASSERT_TRUE(SetOption("TR3_ADDRESS", "172.16.1.7"));
    ASSERT_TRUE(SetOption("connection_attempts", "not checked"));
    EXPECT_STREQ(GetOption("tr3_address"), "172.16.1.7");
    EXPECT_STREQ(GetOption("connection_attempts"), "not checked");
    // Written to the file at once.
    const QSettings file(env_.dataDirectory() + QStringLiteral("Vireo2.ini"), QSettings::IniFormat);
    EXPECT_EQ(file.value(QStringLiteral("Options/TR3Address")), QStringLiteral("172.16.1.7"));
    // The "Connection" shortcut writes outside the "Options" group.
    ASSERT_TRUE(SetOption("Connection", "USB_TCPIP"));
    EXPECT_STREQ(GetOption("connection_method"), "TCP");
    EXPECT_STREQ(GetOption("Connection"), "USB");

    // A stored wireless configuration's name brings its address along.
    ASSERT_TRUE(SetOption("connection_method", "Office"));
    EXPECT_STREQ(GetOption("connection_method"), "Office");
    EXPECT_STREQ(GetOption("device_ip_address"), "10.1.2.3");
    ASSERT_TRUE(SetOption("connection_method", "Home"));
    EXPECT_STREQ(GetOption("device_ip_address"), "CONFIG 0x01");
    ASSERT_TRUE(SetOption("connection_method", "USB_TCPIP"));
    EXPECT_STREQ(GetOption("device_ip_address"), "CONFIG 0x01");

    // What no connection could use is refused and the stored value kept: a
    // megabyte, bytes that are not UTF-8, control characters, a port past
    // 65535 (it would wrap to port 1).
    const std::string megabyte(1024 * 1024, '7');
    for (const char* name : {"connection_attempts", "device_ip_address", "TR3_Address", "connection_method", "Connection"}) {
        for (const std::string& value : {megabyte, std::string("10.0.0.\xff\xfe"), std::string("10.0.0.1\n[x]")}) {
            EXPECT_FALSE(SetOption(name, value.c_str())) << name;
            EXPECT_TRUE(hasError(0x5017, "FAILED setSettingOption: Invalid Value")) << name;
        }
    }
    for (const char* name : {"device_ip_address", "TR3_Address"}) {
        EXPECT_FALSE(SetOption(name, "127.0.0.1:65537")) << name;
        EXPECT_TRUE(SetOption(name, "127.0.0.1:65535")) << name;
    }
    EXPECT_STREQ(GetOption("connection_attempts"), "not checked");
    EXPECT_STREQ(GetOption("connection_method"), "USB_TCPIP");
    const std::string longest(255, '7');
    EXPECT_TRUE(SetOption("connection_attempts", longest.c_str()));
}

TEST_F(OptionsTest, CorrectionProfileSwitchAsksTheInstrument)
{
    EXPECT_STREQ(GetOption("netadjuster"), "UNKNOWN");
    connectInstrument();
    EXPECT_STREQ(GetOption("NetAdjuster"), "OFF");
    ASSERT_TRUE(SetOption("netadjuster", "on"));
    EXPECT_STREQ(GetOption("netadjuster"), "ON");
    EXPECT_TRUE(attributesSay(":NetAdjuster=ON"));
    ASSERT_TRUE(SetOption("netadjuster", "0"));
    EXPECT_STREQ(GetOption("netadjuster"), "OFF");
    // Without a profile on the instrument it cannot be switched on.
    control(QStringLiteral("netadjuster empty"));
    EXPECT_FALSE(SetOption("netadjuster", "1"));
    EXPECT_STREQ(GetOption("netadjuster"), "OFF");
    EXPECT_TRUE(attributesSay(":NetAdjuster=OFF"));
}

} // namespace
