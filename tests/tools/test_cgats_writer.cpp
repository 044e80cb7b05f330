#include "cgats_writer.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <lcms2.h>

using namespace vireo2::cli;

namespace {

CgatsTable twoSampleTable()
{
    CgatsTable table;
    table.descriptor = QStringLiteral("strip 1");
    table.condition = QStringLiteral("M1");
    for (int nm = 400; nm <= 700; nm += 10)
        table.wavelengths << nm;
    for (int s = 0; s < 2; ++s) {
        CgatsSample sample;
        sample.id = QString::number(s + 1);
        sample.name = QStringLiteral("patch %1").arg(s + 1);
        sample.lab = {50.0 + s, -1.25, 12.5};
        for (int i = 0; i < table.wavelengths.size(); ++i)
            sample.percent << 10.0 + i + s * 0.5;
        table.samples << sample;
    }
    return table;
}

} // namespace

// The file is read back through Little CMS's own loader, field by field, the
// way a profiling tool reads it.
TEST(CgatsWriter, FileLoadsInLittleCmsWithEveryField)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("strip.cgats"));
    ASSERT_EQ(writeCgats(twoSampleTable(), path), QString());

    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(path).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_STREQ(cmsIT8GetSheetType(it8), "CGATS.17");
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"), 2.0);
    EXPECT_EQ(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_FIELDS"), 2.0 + 3 + 31);
    EXPECT_STREQ(cmsIT8GetProperty(it8, "SPECTRAL_BANDS"), "31");
    EXPECT_STREQ(cmsIT8GetData(it8, "2", "SAMPLE_NAME"), "patch 2");
    EXPECT_DOUBLE_EQ(cmsIT8GetDataDbl(it8, "2", "LAB_L"), 51.0);
    EXPECT_DOUBLE_EQ(cmsIT8GetDataDbl(it8, "1", "LAB_A"), -1.25);
    EXPECT_DOUBLE_EQ(cmsIT8GetDataDbl(it8, "1", "SPEC_400"), 10.0);
    EXPECT_DOUBLE_EQ(cmsIT8GetDataDbl(it8, "2", "SPEC_700"), 40.5);
    cmsIT8Free(it8);

    CgatsTable back;
    ASSERT_EQ(readCgats(path, &back), QString());
    EXPECT_EQ(back.condition, QStringLiteral("M1"));
    EXPECT_EQ(back.illuminant, QStringLiteral("D50"));
    ASSERT_EQ(back.samples.size(), 2);
    EXPECT_EQ(back.samples.at(1).percent, twoSampleTable().samples.at(1).percent);
}

// Repeated runs collect in one file with ids that continue; a file with
// other spectral columns is refused and left as it was.
TEST(CgatsWriter, AppendContinuesIdsAndRefusesOtherColumns)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("day.cgats"));
    ASSERT_EQ(appendCgats(twoSampleTable(), path), QString());
    ASSERT_EQ(appendCgats(twoSampleTable(), path), QString());
    CgatsTable back;
    ASSERT_EQ(readCgats(path, &back), QString());
    ASSERT_EQ(back.samples.size(), 4);
    EXPECT_EQ(back.samples.at(2).id, QStringLiteral("3"));
    EXPECT_EQ(back.samples.at(3).id, QStringLiteral("4"));

    CgatsTable shorter = twoSampleTable();
    shorter.wavelengths.removeLast();
    for (auto& sample : shorter.samples)
        sample.percent.removeLast();
    EXPECT_FALSE(appendCgats(shorter, path).isEmpty());
    ASSERT_EQ(readCgats(path, &back), QString());
    EXPECT_EQ(back.samples.size(), 4);
}

// A header describes every row: rows of another kind, condition or
// illuminant/observer are refused, and the reading number and time of spot
// rows come back as written.
TEST(CgatsWriter, AppendRefusesRowsTheHeaderWouldNotDescribe)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("spot.cgats"));
    CgatsTable spot = twoSampleTable();
    spot.kind = QStringLiteral("spot");
    spot.samples[0].reading = 7;
    spot.samples[0].time = QStringLiteral("2026-11-26 08:01:02");
    spot.samples[1].time = QStringLiteral("2026-11-26 08:01:04");
    ASSERT_EQ(appendCgats(spot, path), QString());
    CgatsTable back;
    ASSERT_EQ(readCgats(path, &back), QString());
    EXPECT_EQ(back.kind, QStringLiteral("spot"));
    EXPECT_EQ(back.samples.at(0).reading, 7);
    EXPECT_EQ(back.samples.at(1).time, QStringLiteral("2026-11-26 08:01:04"));

    CgatsTable strip = spot, condition = spot, observer = spot;
    strip.kind = QStringLiteral("strip");
    condition.condition = QStringLiteral("M0");
    observer.observer = QStringLiteral("10");
    for (const CgatsTable& other : {strip, condition, observer}) {
        EXPECT_TRUE(checkCgatsAppend(other, path).contains(QStringLiteral("holds spot readings of M1 under D50/2")))
            << checkCgatsAppend(other, path).toStdString();
        EXPECT_FALSE(appendCgats(other, path).isEmpty());
    }
    EXPECT_EQ(checkCgatsAppend(spot, path), QString());
    ASSERT_EQ(readCgats(path, &back), QString());
    EXPECT_EQ(back.samples.size(), 2) << "the file is left as it was";
}

TEST(CgatsWriter, RefusesMismatchedSpectraAndUnreadableFiles)
{
    QTemporaryDir dir;
    CgatsTable table = twoSampleTable();
    table.samples[0].percent.removeLast();
    EXPECT_FALSE(writeCgats(table, dir.filePath(QStringLiteral("x.cgats"))).isEmpty());
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("x.cgats"))));

    const QString junk = dir.filePath(QStringLiteral("junk.txt"));
    QFile file(junk);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("\x01\x02 not a table\n");
    file.close();
    CgatsTable back;
    EXPECT_FALSE(readCgats(junk, &back).isEmpty());
    EXPECT_FALSE(readCgats(dir.filePath(QStringLiteral("missing")), &back).isEmpty());
}
