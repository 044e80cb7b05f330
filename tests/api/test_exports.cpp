// Every export, reached through dlopen of a private copy of the library.
#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "loaded_library.h"
#include "test_environment.h"
#include "vireo2.h"

using vireo2::test::LoadedLibrary;
using vireo2::test::TestEnvironment;

namespace {

class ExportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        libraryDir_ = env_.root() + QStringLiteral("/host");
        QDir().mkpath(libraryDir_);
        dataDir_ = env_.root() + QStringLiteral("/lib-data/");
        // Absolute "Data/Path" beside the library: the device's data folder.
        TestEnvironment::writeIni(libraryDir_, {{QStringLiteral("Data/Path"), dataDir_}});
        lib_ = std::make_unique<LoadedLibrary>(libraryDir_);
    }

    template <typename Signature, typename... Args>
    auto call(const char* name, Args... args)
    {
        return lib_->call<Signature>(name, args...);
    }
    std::string text(const char* name) { return call<const char*()>(name); }
    int lastError() { return call<int()>("GetLastErrorCode"); }

    TestEnvironment env_;
    QString libraryDir_;
    QString dataDir_;
    std::unique_ptr<LoadedLibrary> lib_;
};

TEST_F(ExportTest, InterfaceVersionLeavesTheDeviceUncreated)
{
    EXPECT_STREQ(call<const char*()>("GetInterfaceVersion"), "1.2");
    // The device constructor creates the data folder; nothing has made it yet.
    EXPECT_FALSE(QFileInfo::exists(dataDir_));
    EXPECT_EQ(call<int()>("GetMaxJobs"), 100);
    EXPECT_TRUE(QFileInfo::exists(dataDir_)) << "spectro.ini beside the library sets the data folder";
}

TEST_F(ExportTest, GeometryAndStoreDefaultsOfAFreshDevice)
{
    EXPECT_FALSE(call<bool()>("IsConnected"));
    EXPECT_EQ(call<int()>("GetAngles"), 4);
    EXPECT_EQ(call<int()>("GetSpectralSetCount"), 4);
    EXPECT_EQ(call<int()>("GetWavelengths"), 31);
    EXPECT_EQ(call<int()>("GetWavelengthCount"), 31);
    EXPECT_EQ(call<int(int)>("GetWavelengthValue", 0), 400);
    EXPECT_EQ(call<int(int)>("GetWavelengthValue", 31), 710);
    EXPECT_EQ(call<int(int)>("GetWavelengthValue", -1), 390);
    EXPECT_EQ(call<int(int)>("GetWavelengthValue", 2147483647), 2147483647) << "no overflow";
    EXPECT_STREQ(call<const char*(int)>("GetAngleValue", 3), "M3");
    EXPECT_STREQ(call<const char*(int)>("GetSpectralSetName", 0), "M0");
    EXPECT_STREQ(call<const char*(int)>("GetSpectralSetName", 4), "");
    EXPECT_FALSE(call<bool()>("IsDataReady"));
    EXPECT_FLOAT_EQ(call<float(int, int)>("GetSpectralData", 0, 0), -1.0f);
    EXPECT_FLOAT_EQ(call<float(int, int)>("GetSpectralData", -1, 0), -1.0f);
    EXPECT_EQ(call<int()>("ScanIsSupported"), 1);
    EXPECT_EQ(call<int()>("ScanGetStatus"), 0);
    EXPECT_EQ(call<int()>("ScanGetCount"), 0);
    EXPECT_STREQ(call<const char*(int, int)>("ScanGetData", 0, 0), "");
    EXPECT_STREQ(call<const char*()>("GetSerialNum"), "NA");
}

TEST_F(ExportTest, RecordFamilyAnswersNothingStored)
{
    EXPECT_EQ(call<int()>("GetMaxReferences"), 32000);
    EXPECT_EQ(call<int()>("GetMaxJobs"), 100);
    EXPECT_FALSE(call<bool()>("ClearSamples"));
    EXPECT_EQ(call<int()>("GetSampleCount"), 0);
    EXPECT_FALSE(call<bool(int)>("SetCurrentSample", 0));
    EXPECT_EQ(call<int()>("GetSampleTagCount"), 0);
    EXPECT_STREQ(call<const char*(int)>("GetSampleTag", 0), "");
    EXPECT_FLOAT_EQ(call<float(int, int)>("GetSampleData", 0, 0), -1.0f);
    EXPECT_STREQ(text("GetSampleReference").c_str(), "");
    const auto* stamp = call<const Vireo2SampleDateTime*()>("GetSampleDateTime");
    ASSERT_NE(stamp, nullptr);
    EXPECT_EQ(stamp->year, 0);
    EXPECT_EQ(stamp, call<const Vireo2SampleDateTime*()>("GetSampleDateTime")) << "one process-wide record";
    EXPECT_EQ(text("GetSampleGroup"), "");
    EXPECT_EQ(text("GetSampleAttributes"), "");
    EXPECT_FALSE(call<bool()>("ClearReferences"));
    EXPECT_EQ(call<int()>("GetStoredReferences"), 0);
    EXPECT_FALSE(call<bool(int)>("SetCurrentReference", 1));
    EXPECT_EQ(text("GetRefName"), "");
    EXPECT_EQ(call<int()>("GetRefID"), -1);
    EXPECT_FLOAT_EQ(call<float(int, int)>("GetRefValue", 0, 0), -1.0f);
    EXPECT_EQ(call<int()>("GetRefToleranceCount"), -1);
    EXPECT_FALSE(call<bool(int)>("SetCurrentTolerance", 0));
    EXPECT_EQ(text("GetTolType"), "");
    EXPECT_EQ(text("GetTolAngle"), "");
    EXPECT_EQ(text("GetTolPrimaryIllumObs"), "");
    EXPECT_EQ(text("GetTolSecondaryIllumObs"), "");
    EXPECT_FLOAT_EQ(call<float(int)>("GetTolValue", 0), -1.0f);
    EXPECT_FALSE(call<bool()>("ClearJobs"));
    EXPECT_FALSE(call<bool(const char*)>("AddJob", "job"));
    EXPECT_FALSE(call<bool()>("TransmitJobs"));
    // None of them talked to an instrument or logged a command.
    EXPECT_EQ(TestEnvironment::readFile(env_.logFile()).indexOf(QStringLiteral("SEND:")), -1);
}

TEST_F(ExportTest, UnsupportedOperationsFailWithoutAnInstrument)
{
    EXPECT_FALSE(call<bool()>("SetCalMode"));
    EXPECT_FLOAT_EQ(call<float(int)>("GetCalValues", 0), 0.0f);
    EXPECT_EQ(call<int()>("GetCalProgress"), -1);
    EXPECT_FALSE(call<bool()>("AbortCalibration"));
    EXPECT_FALSE(call<bool()>("Configure"));
    EXPECT_FALSE(call<bool()>("SetNormalMode"));
    EXPECT_FALSE(call<bool()>("SetOfflineMode"));
    EXPECT_FALSE(call<bool(int)>("SetLanguage", 1));
    unsigned char buffer[16] = {};
    const unsigned char message[] = "CaptureScreen";
    EXPECT_EQ(call<int(const unsigned char*, int, int, unsigned char*, int)>("ExecuteBinary", message, 13, 100,
                                                                            buffer, int(sizeof buffer)),
              0);
    EXPECT_EQ(call<int(int, float)>("ScanConfig", 5, 10.0f), 0);
    EXPECT_EQ(call<int()>("ScanStart"), 0);
    EXPECT_EQ(call<int()>("ScanAbort"), 0);
}

// Instrument operations reached without a connection: they fail, the frame
// holds, and the error pair stays readable.
TEST_F(ExportTest, InstrumentOperationsFailCleanlyWhileDisconnected)
{
    EXPECT_FALSE(call<bool()>("Measure"));
    EXPECT_FALSE(call<bool()>("WhiteCal"));
    EXPECT_FALSE(call<bool()>("BlackCal"));
    EXPECT_FALSE(call<bool()>("Calibrate"));
    EXPECT_FALSE(call<bool(const char*)>("CalibrateStep", "White"));
    EXPECT_NE(call<int()>("GetCalStatus"), 0);
    EXPECT_EQ(text("GetCalPlaqSN"), "");
    EXPECT_STREQ(call<const char*(const char*, int)>("SendCommand", "version", 3000), "");
}

TEST_F(ExportTest, FixedTextsOfAFreshDevice)
{
    EXPECT_EQ(text("GetAvailableSettings"), "Connection_Method;device_ip_address;netadjuster");
    EXPECT_EQ(text("GetCalSteps"), "White");
    EXPECT_EQ(text("GetCalMode"), "Software");
    EXPECT_EQ(text("GetCalibrationStandard"), "HUGA");
    EXPECT_EQ(text("GetConfiguration"), "C0.M0.T0.B2.N0");
    const std::string attributes = text("GetMeasAttributes");
    EXPECT_EQ(attributes.rfind("Mfg=Hueron:Model=", 0), 0u) << attributes;
    EXPECT_NE(attributes.find(":Serial Number=NA:Mode=Reflectance:Angles=M0 / M1 / M2 / M3:Calibration "
                              "Status=Not Calibrated:Aperture=2.0mm:NetAdjuster=OFF"),
              std::string::npos)
        << attributes;
}

// A closed port on 127.0.0.1: every attempt is refused at once.
TEST_F(ExportTest, ConnectToNothingFailsWithItsReasonAndDisconnectStillWorks)
{
    using SetOptionFn = bool(const char*, const char*);
    ASSERT_TRUE(call<SetOptionFn>("SetOption", "connection_method", "TCP"));
    ASSERT_TRUE(call<SetOptionFn>("SetOption", "device_ip_address", "127.0.0.1:1"));
    ASSERT_TRUE(call<SetOptionFn>("SetOption", "connection_attempts", "1"));
    EXPECT_FALSE(call<bool()>("Connect"));
    EXPECT_EQ(lastError(), 20480);
    EXPECT_EQ(text("GetLastErrorString").rfind("Unable to connect to Vireo2 - ", 0), 0u);
    EXPECT_FALSE(call<bool()>("IsConnected"));
    EXPECT_TRUE(call<bool()>("Disconnect"));
}

TEST_F(ExportTest, NullTextArgumentsAreRefusedWithInvalidArgument)
{
    EXPECT_STREQ(call<const char*(const char*)>("GetOption", nullptr), "");
    EXPECT_EQ(lastError(), 20503);
    EXPECT_STREQ(call<const char*(const char*)>("GetSettingOptions", nullptr), "");
    EXPECT_FALSE(call<bool(const char*, const char*)>("SetOption", nullptr, "x"));
    EXPECT_FALSE(call<bool(const char*, const char*)>("SetOption", "device_ip_address", nullptr));
    EXPECT_FALSE(call<bool(const char*)>("SetConfiguration", nullptr));
    EXPECT_FALSE(call<bool(const char*)>("CalibrateStep", nullptr));
    EXPECT_FALSE(call<bool(const char*)>("AddJob", nullptr));
    EXPECT_STREQ(call<const char*(const char*)>("Execute", nullptr), "");
    EXPECT_STREQ(call<const char*(const char*, int)>("SendCommand", nullptr, 3000), "");
    EXPECT_EQ(call<int(const unsigned char*, int, int, unsigned char*, int)>("ExecuteBinary", nullptr, 4, 100,
                                                                            nullptr, 0),
              0);
    EXPECT_EQ(lastError(), 20503);
    EXPECT_STREQ(text("GetLastErrorString").c_str(), "FAILED ExecuteBinary: Invalid Argument");
}

TEST_F(ExportTest, ASecondTextResultOverwritesTheFirst)
{
    const char* first = call<const char*(int)>("GetAngleValue", 0);
    EXPECT_STREQ(first, "M0");
    const char* second = call<const char*(int)>("GetAngleValue", 2);
    EXPECT_EQ(first, second) << "one result buffer per caller";
    EXPECT_STREQ(first, "M2");
}

TEST_F(ExportTest, TextResultsStayIntactWhenManyThreadsAskAtOnce)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            const int index = t % 4;
            const std::string expected = "M" + std::to_string(index);
            for (int i = 0; i < 2000; ++i) {
                const char* name = call<const char*(int)>("GetSpectralSetName", index);
                if (expected != name)
                    ++wrong;
                const char* version = call<const char*()>("GetInterfaceVersion");
                if (std::strcmp(version, "1.2") != 0)
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST_F(ExportTest, SerialNumberCompatibilitySwitchKeepsSixCharactersFromIndexSeven)
{
    // The switch lives in the compatibility store of the data folder.
    QDir().mkpath(dataDir_);
    {
        QSettings compat(dataDir_ + QStringLiteral("Vireo2Compatibility.ini"), QSettings::IniFormat);
        compat.beginGroup(QStringLiteral("[Configuration]"));
        compat.setValue(QStringLiteral("serialnum"), 1);
    }
    // "NA" is shorter than 8 characters: nothing is left.
    EXPECT_STREQ(call<const char*()>("GetSerialNum"), "");
}

TEST_F(ExportTest, ErrorPairStartsEmpty)
{
    EXPECT_EQ(lastError(), 0);
    EXPECT_EQ(text("GetLastErrorString"), "");
}

} // namespace
