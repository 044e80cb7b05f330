// The base device's spectral store: what it answers for the values it holds
// and for those it does not.
#include <gtest/gtest.h>

#include <QVector>

#include "device/nerva.h"
#include "test_environment.h"

namespace vireo2 {
namespace {

// Reaches the protected store of the base class.
class BareDevice : public Nerva {
public:
    void fillStore(int sets, const QList<QList<double>>& spectra)
    {
        useSpectralSets(sets);
        publishSpectra(spectra);
        dataReady_ = true;
    }
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

} // namespace
} // namespace vireo2
