#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include "settings/data_paths.h"
#include "settings/settings_store.h"
#include "test_environment.h"

using namespace vireo2;

TEST(DeviceSettings, DefaultsWithoutAGlobalFile)
{
    test::TestEnvironment env;
    const DeviceSettings s = DeviceSettings::load(QStringLiteral("Vireo2"));
    EXPECT_EQ(s.dataDirectory, env.dataDirectory());
    EXPECT_TRUE(QFileInfo(s.dataDirectory).isDir()) << "the data folder is created";
    EXPECT_EQ(s.device->fileName(), env.dataDirectory() + QStringLiteral("Vireo2.ini"));
    EXPECT_EQ(s.compatibility->fileName(), env.dataDirectory() + QStringLiteral("Vireo2Compatibility.ini"));
    EXPECT_EQ(s.wirelessConfigs->fileName(), env.dataDirectory() + QStringLiteral("Vireo2WifiConfigs.ini"));
}

TEST(DeviceSettings, StoresPersistToTheirFiles)
{
    test::TestEnvironment env;
    {
        const DeviceSettings s = DeviceSettings::load(QStringLiteral("Vireo2"));
        s.device->with([](QSettings& ini) {
            ini.beginGroup(QStringLiteral("Options"));
            ini.setValue(QStringLiteral("connection_attempts"), QStringLiteral("3"));
            ini.endGroup();
            ini.sync();
        });
    }
    const DeviceSettings again = DeviceSettings::load(QStringLiteral("Vireo2"));
    const QString value = again.device->with([](QSettings& ini) {
        return ini.value(QStringLiteral("Options/connection_attempts")).toString();
    });
    EXPECT_EQ(value, QStringLiteral("3"));
}

TEST(DeviceSettings, FlagsAreOnOnlyForTheTextOne)
{
    EXPECT_TRUE(isFlagOn(QStringLiteral("1")));
    EXPECT_FALSE(isFlagOn(QStringLiteral("true")));
    EXPECT_FALSE(isFlagOn(QStringLiteral(" 1")));
    EXPECT_FALSE(isFlagOn(QString()));
}
