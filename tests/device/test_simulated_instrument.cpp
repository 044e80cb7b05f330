// The simulated instrument on its own: its spectra, its command answers and
// its control interface, where the library's tests do not already show them.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include "default_instrument.h"
#include "instrument_spectra.h"

using namespace vireo2::sim;

namespace {

TEST(SampleLibraryTest, BuiltInSamplesAreTheCieTestColoursAtTenNanometres)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    ASSERT_EQ(library.size(), 15);
    EXPECT_EQ(library.names().at(13), QStringLiteral("TCS14"));
    EXPECT_EQ(library.indexOf(QStringLiteral("oba-white")), 14);
    EXPECT_EQ(library.indexOf(QStringLiteral("TCS15")), -1);
    EXPECT_DOUBLE_EQ(library.at(8).reflectance.at(30), 0.828);  // TCS09 at 700 nm
    // Where the published 5 nm table is installed, it agrees band by band.
    const QString published = QStringLiteral("/usr/share/colord/ref/CIE-TCS.sp");
    if (!QFile::exists(published))
        return;
    QString error;
    const auto table = SampleLibrary::fromSpectralFile(published, &error);
    ASSERT_TRUE(table) << error.toStdString();
    for (int i = 0; i < 14; ++i) {
        ASSERT_EQ(table->at(i).name, library.at(i).name);
        EXPECT_EQ(table->at(i).reflectance, library.at(i).reflectance) << i;
    }
}

TEST(SampleLibraryTest, SpectralFilesAreResampledAndCheckedRowByRow)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("grey.sp"));
    auto read = [&](const QByteArray& data, QString* error) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("SPECTRAL_START_NM 380\nSPECTRAL_END_NM 720\nSPECTRAL_BANDS 18\nBEGIN_DATA\n" + data);
        file.close();
        return SampleLibrary::fromSpectralFile(path, error);
    };
    // 380 to 720 nm in 20 nm steps: a linear ramp from 0.0 to 0.85.
    QByteArray ramp = "RAMP";
    for (int i = 0; i < 18; ++i)
        ramp += ' ' + QByteArray::number(i * 0.05);
    QString error;
    const auto ramped = read(ramp, &error);
    ASSERT_TRUE(ramped) << error.toStdString();
    EXPECT_NEAR(ramped->at(0).reflectance.at(0), 0.05, 1e-12);   // 400 nm
    EXPECT_NEAR(ramped->at(0).reflectance.at(1), 0.075, 1e-12);  // 410 nm, between two points
    EXPECT_NEAR(ramped->at(0).reflectance.at(30), 0.80, 1e-12);  // 700 nm
    EXPECT_FALSE(read("SHORT 0.1 0.2", &error));
    EXPECT_TRUE(error.contains(QStringLiteral("SHORT")));
    EXPECT_FALSE(read("", &error)) << "no data rows";
    EXPECT_FALSE(SampleLibrary::fromSpectralFile(dir.filePath(QStringLiteral("missing.sp")), &error));
}

TEST(SampleLibraryTest, NoiseIsBoundedAndRepeatable)
{
    const ReferenceSample paper = SampleLibrary::builtIn().at(14);
    const auto exact = measuredSpectrum(paper, Condition::M1, 1, 0.0);
    const auto noisy = measuredSpectrum(paper, Condition::M1, 7, 0.001);
    EXPECT_EQ(noisy, measuredSpectrum(paper, Condition::M1, 7, 0.001));
    EXPECT_NE(noisy, measuredSpectrum(paper, Condition::M1, 8, 0.001));
    for (int band = 0; band < kBandCount; ++band)
        EXPECT_LE(std::abs(noisy.at(band) - exact.at(band)), 0.001);
}

class SimulatedInstrumentTest : public ::testing::Test {
protected:
    QByteArray send(const char* command) { return model_->reply(command); }
    QString control(const char* line) { return model_->control(QString::fromLatin1(line)); }

    std::unique_ptr<InstrumentModel> model_ = createDefaultInstrument();
};

TEST_F(SimulatedInstrumentTest, MeasuresOnlyWhenCalibratedAndReportsAReadingOnce)
{
    EXPECT_EQ(send("version"), QByteArray("VERSION 0x00 Hueron Vireo2 0.5.398"));
    EXPECT_EQ(send("SerialNum  Get Inst"), QByteArray("SERIALNUM 0x00 2025VR2041217X")) << "blanks do not matter";
    EXPECT_EQ(send("tool goto tethered"), QByteArray("TOOL 0x00")) << "unknown commands are acknowledged";
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x85"));
    EXPECT_EQ(send("Meas Get Refls M0"), QByteArray("MEAS 0x10"));
    send("Cal Run");
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x00 OK 8"));

    control("measure time 80");
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x05 80 5000"));
    EXPECT_EQ(send("Meas done?"), QByteArray("MEAS 0x05"));
    QThread::msleep(100);
    EXPECT_EQ(send("Meas DONE?"), QByteArray("MEAS 0x00"));
    // The host's reading is not reported again to the status poll.
    EXPECT_EQ(send("meas done?"), QByteArray("MEAS 0x07"));
    EXPECT_EQ(send("Meas Get Refls M0").split(' ').size(), 33);
    EXPECT_EQ(send("Meas Get Refls M4"), QByteArray("MEAS 0x02"));
}

TEST_F(SimulatedInstrumentTest, CalibrationExpiresAfterItsLifetime)
{
    control("calibration lifetime 1");
    send("Cal Run");
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x00 OK 1"));
    QThread::msleep(1000);
    EXPECT_EQ(send("Cal Query Status"), QByteArray("CAL 0x86"));
    EXPECT_EQ(send("Meas Run"), QByteArray("MEAS 0x86"));
}

TEST_F(SimulatedInstrumentTest, ControlInterfaceShapesTheInstrumentAndRefusesNonsense)
{
    control("standard dirty");
    control("polarizer off");
    EXPECT_EQ(send("Meas Get Refls M3"), QByteArray("MEAS 0x02")) << "no M3 without the polarizer";
    EXPECT_TRUE(control("SIM state").startsWith(
        QStringLiteral("SIM 0x00 calibration=needed standard=dirty sample=cycle:TCS01 polarizer=off")));
    for (const char* wrong : {"sample TCS99", "measure time -5", "calibration soon", "truncate M5 3", "doze -1"})
        EXPECT_TRUE(control(wrong).startsWith(QStringLiteral("SIM 0x01"))) << wrong;
    EXPECT_EQ(control("juggle"), QString());
    control("doze 50");
    QThread::msleep(80);
    EXPECT_EQ(send("spectro system state"), QByteArray("SPECTRO 0x00 asleep")) << "dozed off without readings";
}

} // namespace
