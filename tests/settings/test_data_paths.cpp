#include <gtest/gtest.h>

#include <QFileInfo>

#include "settings/data_paths.h"
#include "test_environment.h"

using namespace vireo2::paths;

class DataPathTest : public ::testing::Test {
protected:
    vireo2::test::TestEnvironment env_;
    QString root_ = programDataRoot();
};

TEST_F(DataPathTest, ProgramDataRootFollowsTheUsersDataFolder)
{
    EXPECT_EQ(root_, env_.dataHome() + QStringLiteral("/"));
    EXPECT_EQ(defaultDataDirectory(), env_.dataHome() + QStringLiteral("/Hueron/"));
}

TEST_F(DataPathTest, AbsoluteValuesStandAsTheyAre)
{
    EXPECT_EQ(resolveDataPath(QStringLiteral("D:/spectra"), QStringLiteral("fallback/")), QStringLiteral("D:/spectra/"));
    EXPECT_EQ(resolveDataPath(QStringLiteral("D:/x/"), QStringLiteral("fallback/")), QStringLiteral("D:/x/"));
    EXPECT_EQ(resolveDataPath(QStringLiteral("/var/spectra"), QStringLiteral("fallback/")),
              QStringLiteral("/var/spectra/"));
}

TEST_F(DataPathTest, RelativeValuesGoBelowTheProgramDataRoot)
{
    EXPECT_EQ(resolveDataPath(QStringLiteral("./data"), QString()), root_ + QStringLiteral("data/"));
    EXPECT_EQ(resolveDataPath(QStringLiteral("data"), QString()), root_ + QStringLiteral("data/"));
    // A single character still gets its "/" and is then long enough.
    EXPECT_EQ(resolveDataPath(QStringLiteral("x"), QString()), root_ + QStringLiteral("x/"));
    // A leading "." drops two characters, whatever the second one is.
    EXPECT_EQ(resolveDataPath(QStringLiteral(".xdata"), QString()), root_ + QStringLiteral("data/"));
}

TEST_F(DataPathTest, EmptyValueKeepsTheFallback)
{
    EXPECT_EQ(resolveDataPath(QString(), QStringLiteral("/fallback/")), QStringLiteral("/fallback/"));
}

TEST_F(DataPathTest, LibraryDirectoryIsThatOfTheModuleHoldingTheCode)
{
    // Linked statically into this test, the "module" is the test program.
    const QString dir = libraryDirectory();
    EXPECT_FALSE(dir.isEmpty());
    EXPECT_FALSE(dir.endsWith(QLatin1Char('/')));
    EXPECT_TRUE(QFileInfo(dir).isDir());
}
