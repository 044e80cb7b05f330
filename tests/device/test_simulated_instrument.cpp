// The simulated instrument on its own: its spectra, its command answers and
// its control interface.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include "default_instrument.h"
#include "instrument_spectra.h"

using namespace vireo2::sim;

namespace {

const QString kColordSamples = QStringLiteral("/usr/share/colord/ref/CIE-TCS.sp");

QList<QByteArray> words(const QByteArray& reply)
{
    return reply.split(' ');
}

TEST(SampleLibraryTest, BuiltInSamplesAreTheCieTestColoursAtTenNanometres)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    ASSERT_EQ(library.size(), 15);
    EXPECT_EQ(library.names().first(), QStringLiteral("TCS01"));
    EXPECT_EQ(library.names().at(13), QStringLiteral("TCS14"));
    EXPECT_EQ(library.indexOf(QStringLiteral("oba-white")), 14);
    EXPECT_EQ(library.indexOf(QStringLiteral("TCS15")), -1);

    if (QFile::exists(kColordSamples)) {
        // Where the published 5 nm table is installed, it agrees band by band.
        QString error;
        const auto published = SampleLibrary::fromSpectralFile(kColordSamples, &error);
        ASSERT_TRUE(published) << error.toStdString();
        for (int i = 0; i < 14; ++i) {
            ASSERT_EQ(published->at(i).name, library.at(i).name);
            for (int band = 0; band < kBandCount; ++band)
                EXPECT_DOUBLE_EQ(published->at(i).reflectance.at(band), library.at(i).reflectance.at(band));
        }
    } else {
        EXPECT_DOUBLE_EQ(library.at(8).reflectance.at(30), 0.828);  // TCS09 at 700 nm
        EXPECT_DOUBLE_EQ(library.at(0).reflectance.at(0), 0.26);    // TCS01 at 400 nm
    }
}

TEST(SampleLibraryTest, SpectralFilesAreResampledAndCheckedRowByRow)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("grey.sp"));
    auto write = [&](const QByteArray& text) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    };
    // 380 to 720 nm in 20 nm steps: a linear ramp from 0.0 to 0.85.
    QByteArray ramp;
    for (int i = 0; i < 18; ++i)
        ramp += ' ' + QByteArray::number(i * 0.05);
    write("SPECTRAL_START_NM 380\nSPECTRAL_END_NM 720\nSPECTRAL_BANDS 18\nBEGIN_DATA\nRAMP" + ramp + "\nEND_DATA\n");
    QString error;
    const auto ramped = SampleLibrary::fromSpectralFile(path, &error);
    ASSERT_TRUE(ramped) << error.toStdString();
    EXPECT_NEAR(ramped->at(0).reflectance.at(0), 0.05, 1e-12);   // 400 nm
    EXPECT_NEAR(ramped->at(0).reflectance.at(1), 0.075, 1e-12);  // 410 nm, between two points
    EXPECT_NEAR(ramped->at(0).reflectance.at(30), 0.80, 1e-12);  // 700 nm

    write("SPECTRAL_START_NM 380\nSPECTRAL_END_NM 720\nSPECTRAL_BANDS 18\nBEGIN_DATA\nSHORT 0.1 0.2\nEND_DATA\n");
    EXPECT_FALSE(SampleLibrary::fromSpectralFile(path, &error));
    EXPECT_TRUE(error.contains(QStringLiteral("SHORT")));
    write("BEGIN_DATA\nEND_DATA\n");
    EXPECT_FALSE(SampleLibrary::fromSpectralFile(path, &error));
    EXPECT_FALSE(SampleLibrary::fromSpectralFile(dir.filePath(QStringLiteral("missing.sp")), &error));
}

TEST(SampleLibraryTest, ConditionsDifferAsTheirIlluminationDoes)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    const ReferenceSample& paper = library.at(library.indexOf(QStringLiteral("OBA-WHITE")));
    const auto m0 = measuredSpectrum(paper, Condition::M0, 1, 0.0);
    const auto m1 = measuredSpectrum(paper, Condition::M1, 1, 0.0);
    const auto m2 = measuredSpectrum(paper, Condition::M2, 1, 0.0);
    const auto m3 = measuredSpectrum(paper, Condition::M3, 1, 0.0);
    EXPECT_GT(m1.at(4), m0.at(4));
    EXPECT_GT(m0.at(4), m2.at(4));
    EXPECT_DOUBLE_EQ(m2.at(4), paper.reflectance.at(4));
    EXPECT_NEAR(m3.at(20), m1.at(20) - 0.02, 1e-12);

    // Noise is bounded and repeatable.
    const auto noisyA = measuredSpectrum(paper, Condition::M1, 7, 0.001);
    const auto noisyB = measuredSpectrum(paper, Condition::M1, 7, 0.001);
    const auto noisyC = measuredSpectrum(paper, Condition::M1, 8, 0.001);
    EXPECT_EQ(noisyA, noisyB);
    EXPECT_NE(noisyA, noisyC);
    for (int band = 0; band < kBandCount; ++band)
        EXPECT_LE(std::abs(noisyA.at(band) - m1.at(band)), 0.001);
}

class SimulatedInstrumentTest : public ::testing::Test {
protected:
    QByteArray send(const char* command) { return model_->reply(command); }
    QString control(const char* line) { return model_->control(QString::fromLatin1(line)); }

    std::unique_ptr<InstrumentModel> model_ = createDefaultInstrument();
};

TEST_F(SimulatedInstrumentTest, IdentifiesItself)
{
    EXPECT_EQ(send("version"), QByteArray("VERSION 0x00 Hueron Vireo2 0.5.398"));
    EXPECT_EQ(send("Version Get"), QByteArray("VERSION 0x00 Hueron Vireo2 Plus 0.5.398"));
    EXPECT_EQ(send("SerialNum  Get Inst"), QByteArray("SERIALNUM 0x00 2025VR2041217X"));
    EXPECT_EQ(send("MeasConfig Get APERTURE"), QByteArray("MEASCONFIG 0x00 4.0mm"));
    EXPECT_EQ(send("serialnum get devicename"), QByteArray("SERIALNUM 0x00 |Vireo2 Lab"));
    // Commands it carries out without an answer are acknowledged.
    EXPECT_EQ(send("tool goto tethered"), QByteArray("TOOL 0x00"));
}

TEST_F(SimulatedInstrumentTest, MeasuresOnlyWhenCalibrated)
{
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x85"));
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x85"));
    EXPECT_EQ(send("Meas Get Refls M0"), QByteArray("MEAS 0x10"));
    EXPECT_EQ(send("Cal Run"), QByteArray("CAL 0x00"));
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x00 OK 8"));

    control("measure time 80");
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x05 80 5000"));
    EXPECT_EQ(send("Meas done?"), QByteArray("MEAS 0x05"));
    QThread::msleep(100);
    EXPECT_EQ(send("Meas DONE?"), QByteArray("MEAS 0x00"));
    // The host's reading is not reported again to the status poll.
    EXPECT_EQ(send("meas done?"), QByteArray("MEAS 0x07"));

    const QList<QByteArray> m0 = words(send("Meas Get Refls M0"));
    ASSERT_EQ(m0.size(), 33);
    EXPECT_EQ(m0.at(0), QByteArray("MEAS"));
    EXPECT_EQ(m0.at(1), QByteArray("0x00"));
    EXPECT_EQ(send("Meas Get Refls M4"), QByteArray("MEAS 0x02"));
}

TEST_F(SimulatedInstrumentTest, ControlInterfaceShapesTheNextAnswers)
{
    EXPECT_EQ(control("calibration valid"), QStringLiteral("SIM 0x00 valid"));
    EXPECT_EQ(control("sample TCS05"), QStringLiteral("SIM 0x00 TCS05"));
    EXPECT_EQ(control("reading"), QStringLiteral("SIM 0x00 TCS05"));
    EXPECT_EQ(send("meas done?"), QByteArray("MEAS 0x00"));
    EXPECT_EQ(send("meas done?"), QByteArray("MEAS 0x07"));

    EXPECT_EQ(control("polarizer off"), QStringLiteral("SIM 0x00 off"));
    EXPECT_EQ(send("measconfig get polarizer"), QByteArray("MEASCONFIG 0x00 0"));
    EXPECT_EQ(send("Meas Get Refls M3"), QByteArray("MEAS 0x02"));
    control("truncate M1 30");
    EXPECT_EQ(words(send("Meas Get Refls M1")).size(), 32);
    control("readout refuse");
    EXPECT_EQ(send("Meas Get Refls M0"), QByteArray("MEAS 0xB1"));

    EXPECT_EQ(control("button Primary_1"), QStringLiteral("SIM 0x00 Primary_1"));
    EXPECT_EQ(send("button triggered?"), QByteArray("BUTTON 0x00 Primary_1"));
    EXPECT_EQ(send("button triggered?"), QByteArray("BUTTON 0x07"));

    control("standard dirty");
    EXPECT_EQ(send("Cal Run"), QByteArray("CAL 0x8C"));
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x85"));

    EXPECT_TRUE(control("SIM state").startsWith(QStringLiteral("SIM 0x00 calibration=needed standard=dirty")));
    EXPECT_TRUE(control("sample TCS99").startsWith(QStringLiteral("SIM 0x01")));
    EXPECT_TRUE(control("measure time -5").startsWith(QStringLiteral("SIM 0x01")));
    EXPECT_EQ(control("juggle"), QString());
}

TEST_F(SimulatedInstrumentTest, SleepsAndWakes)
{
    control("calibration valid");
    control("wake time 60");
    control("sleep");
    EXPECT_EQ(send("spectro system state"), QByteArray("SPECTRO 0x00 asleep"));
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x8B"));
    EXPECT_EQ(send("spectro system wake"), QByteArray("SPECTRO 0x00"));
    EXPECT_EQ(send("spectro system state"), QByteArray("SPECTRO 0x00 waking"));
    QThread::msleep(80);
    EXPECT_EQ(send("spectro system state"), QByteArray("SPECTRO 0x00 active"));

    control("doze 50");
    QThread::msleep(80);
    EXPECT_EQ(send("spectro system state"), QByteArray("SPECTRO 0x00 asleep"));
}

TEST_F(SimulatedInstrumentTest, CorrectionProfileSwitch)
{
    EXPECT_EQ(send("NetAdjuster Get State"), QByteArray("NETADJUSTER 0x00 DISABLED"));
    EXPECT_EQ(send("NetAdjuster Set Enabled"), QByteArray("NETADJUSTER 0x00"));
    EXPECT_EQ(send("NetAdjuster Get State"), QByteArray("NETADJUSTER 0x00 ENABLED"));
    control("netadjuster empty");
    EXPECT_EQ(send("NetAdjuster Set Enabled"), QByteArray("NETADJUSTER 0x01"));
    EXPECT_EQ(send("NetAdjuster Get State"), QByteArray("NETADJUSTER 0x00 EMPTY"));
}

} // namespace
