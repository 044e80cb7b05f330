// The base device's defaults: what any instrument of the family answers for
// an operation it does not override.
#include <gtest/gtest.h>

#include <QVector>

#include "device/nerva.h"
#include "test_environment.h"

namespace vireo2 {
namespace {

// Reaches the protected store and state of the base class.
class BareDevice : public Nerva {
public:
    bool IsConnected() override { return connected; }
    QString GetConfiguration() override { return connected ? QStringLiteral("C1.M0") : QString(); }

    void fillStore(int sets, const QList<QList<double>>& spectra)
    {
        useSpectralSets(sets);
        publishSpectra(spectra);
        dataReady_ = true;
    }
    void setState(bool isCalibrated, unsigned char state)
    {
        calibrated_ = isCalibrated;
        stateBytes_[0] = state;
    }

    bool connected = false;
};

QList<double> flat(int count, double value)
{
    return QVector<double>(count, value).toList();
}

class BaseDeviceTest : public ::testing::Test {
protected:
    test::TestEnvironment env_;
    BareDevice device_;
};

TEST_F(BaseDeviceTest, UnsupportedOperationsAnswerTheirHarmlessDefaults)
{
    Nerva& d = device_;
    EXPECT_FALSE(d.Connect());
    EXPECT_FALSE(d.Disconnect());
    EXPECT_TRUE(d.GetAvailableSettings().isEmpty());
    EXPECT_TRUE(d.GetSettingOptions(QStringLiteral("connection_method")).isEmpty());
    EXPECT_TRUE(d.GetOption(QStringLiteral("connection_method")).isEmpty());
    EXPECT_FALSE(d.SetOption(QStringLiteral("connection_method"), QStringLiteral("USB")));
    EXPECT_FALSE(d.Measure());
    EXPECT_TRUE(d.GetMeasAttributes().isEmpty());
    EXPECT_EQ(d.GetMaxReferences(), 0) << "only the Vireo2 reports a reference capacity";
    EXPECT_EQ(d.GetMaxJobs(), 0) << "only the Vireo2 reports a job capacity";
    EXPECT_EQ(d.GetRefID(), -1);
    EXPECT_EQ(d.GetRefToleranceCount(), -1);
    EXPECT_FLOAT_EQ(d.GetTolValue(0), -1.0f);
    EXPECT_EQ(d.GetCalStatus(), -1);
    EXPECT_EQ(d.GetCalProgress(), -1);
    EXPECT_FLOAT_EQ(d.GetCalValues(0), 0.0f);
    EXPECT_FALSE(d.CalibrateWithData(0, nullptr));
    EXPECT_EQ(d.GetCalMode(), QStringLiteral("Device"));
    EXPECT_EQ(d.GetCalibrationStandard(), QStringLiteral("OTHER"));
    EXPECT_TRUE(d.GetCalSteps().isEmpty());
    EXPECT_TRUE(d.GetCalPlaqSN().isEmpty());
    EXPECT_TRUE(d.Execute(QStringLiteral("version")).isEmpty());
    unsigned char buffer[8] = {};
    EXPECT_EQ(d.ExecuteBinary(buffer, 1, 100, buffer, int(sizeof buffer)), 0);
    EXPECT_TRUE(d.SendCommand(QStringLiteral("version"), 3000).isEmpty());
    EXPECT_FALSE(d.SetLanguage(1));
    EXPECT_FALSE(d.isPortValid());
}

TEST_F(BaseDeviceTest, FreshStoreHasOneUnnamedSetOfThirtyOneWavelengths)
{
    EXPECT_EQ(device_.GetSpectralSetCount(), 1);
    EXPECT_EQ(device_.GetWavelengthCount(), 31);
    EXPECT_TRUE(device_.GetSpectralSetName(0).isEmpty());
    EXPECT_EQ(device_.GetWavelengthValue(30), 700);
    EXPECT_FLOAT_EQ(device_.GetSpectralData(0, 0), -1.0f);
    EXPECT_FALSE(device_.IsDataReady());
}

TEST_F(BaseDeviceTest, StoreAnswersOnlyForValuesItHolds)
{
    // Three sets declared, two held, the second one short.
    device_.fillStore(3, {flat(31, 0.25), QList<double>{0.5, 0.75}});
    EXPECT_EQ(device_.GetSpectralSetName(2), QStringLiteral("M2"));
    EXPECT_FLOAT_EQ(device_.GetSpectralData(0, 30), 0.25f);
    EXPECT_FLOAT_EQ(device_.GetSpectralData(1, 1), 0.75f);
    EXPECT_FLOAT_EQ(device_.GetSpectralData(1, 2), -1.0f) << "past the end of its set";
    EXPECT_FLOAT_EQ(device_.GetSpectralData(2, 0), -1.0f) << "a declared set that holds nothing";
    EXPECT_FLOAT_EQ(device_.GetSpectralData(3, 0), -1.0f);
    EXPECT_FLOAT_EQ(device_.GetSpectralData(0, 31), -1.0f);
    EXPECT_FLOAT_EQ(device_.GetSpectralData(0, -1), -1.0f);
}

TEST_F(BaseDeviceTest, NewDataIsReportedOnceAndReadingAValueConsumesIt)
{
    device_.fillStore(1, {flat(31, 0.5)});
    EXPECT_TRUE(device_.IsDataReady());
    EXPECT_FALSE(device_.IsDataReady());

    device_.fillStore(1, {flat(31, 0.5)});
    EXPECT_FLOAT_EQ(device_.GetSpectralData(5, 0), -1.0f);
    EXPECT_FALSE(device_.IsDataReady()) << "even a read that finds nothing clears the flag";
}

TEST_F(BaseDeviceTest, StatusWordJoinsCalibrationStateAndConfiguration)
{
    device_.setState(true, 'A');
    EXPECT_TRUE(device_.GetStatusWord().isEmpty()) << "nothing while disconnected";
    device_.connected = true;
    EXPECT_EQ(device_.GetStatusWord(), QStringLiteral("01AC1.M0"));
    device_.setState(false, '%');
    EXPECT_EQ(device_.GetStatusWord(), QStringLiteral("00%C1.M0"));
}

} // namespace
} // namespace vireo2
