// `vireo2 chart` as a print shop types it, without the track: the layout's
// files, and the command lines and progress files it refuses before it
// touches the instrument. Reading a chart on the track is the pipeline test
// (chart_pipeline.py) with ArgyllCMS's own tools.
#include <QFile>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

class CliChartTest : public CliTest {
protected:
    // A CGATS patch set of `count` RGB patches given 0..255, as many tools write them.
    QString patchSet(int count)
    {
        const QString file = path(QStringLiteral("set.txt"));
        QFile out(file);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("CGATS.17\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B\nEND_DATA_FORMAT\n");
        out.write("NUMBER_OF_SETS " + QByteArray::number(count) + "\nBEGIN_DATA\n");
        for (int i = 0; i < count; ++i)
            out.write(QByteArray::number(i + 1) + ' ' + QByteArray::number(i * 37 % 256) + ' '
                      + QByteArray::number(i * 91 % 256) + ' ' + QByteArray::number(i * 53 % 256) + '\n');
        out.write("END_DATA\n");
        return file;
    }
};

TEST_F(CliChartTest, LayoutWritesTheChartAndItsPdfAndRefusesWhatCannotBePrinted)
{
    const QString set = patchSet(100);
    const ProgramResult made = vireo2({"chart", "layout", set, "--width", "6", "--strips-per-sheet", "4", "-o",
                                       path(QStringLiteral("shop"))});
    ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    EXPECT_TRUE(made.err.contains(QStringLiteral("100 patches on 2 strips, 4 per sheet, 1 sheet of 420 x 297 mm"))) << made.err.toStdString();
    QFile layout(path(QStringLiteral("shop.ti2")));
    ASSERT_TRUE(layout.open(QIODevice::ReadOnly));
    const QByteArray text = layout.readAll();
    EXPECT_TRUE(text.startsWith("CTI2"));
    EXPECT_TRUE(text.contains("COLOR_REP\t\"RGB\""));
    EXPECT_TRUE(text.contains("CHART_PATCH_WIDTH_MM\t\"6.000\""));
    QFile pdf(path(QStringLiteral("shop.pdf")));
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    EXPECT_TRUE(pdf.readAll().contains(" rg\n")) << "RGB sets print in DeviceRGB";

    for (const QStringList& bad : {QStringList{"chart", "layout", set, "--width", "2", "-o", "x"},
                                   QStringList{"chart", "layout", set, "--strips-per-sheet", "2.5", "-o", "x"},
                                   QStringList{"chart", "layout", set},
                                   QStringList{"chart", "print", set},
                                   QStringList{"chart", "read", path(QStringLiteral("shop.ti2"))}})
        EXPECT_EQ(vireo2(bad).exitCode, 2) << bad.join(' ').toStdString();
    const ProgramResult missing = vireo2({"chart", "layout", path(QStringLiteral("none.ti1")), "-o", "x"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains(QStringLiteral("does not exist"))) << missing.err.toStdString();
    const ProgramResult tooShort = vireo2({"chart", "layout", set, "--sheet-length", "150", "-o", "x"});
    EXPECT_EQ(tooShort.exitCode, 1);
    EXPECT_TRUE(tooShort.err.contains(QStringLiteral("too few"))) << tooShort.err.toStdString();
}

TEST_F(CliChartTest, ResumeRefusesProgressItHasNotGotOrThatBelongsToAnotherChart)
{
    ASSERT_EQ(vireo2({"chart", "layout", patchSet(40), "-o", path(QStringLiteral("c"))}).exitCode, 0);
    const QStringList read{"chart", "read", path(QStringLiteral("c.ti2")), "--track", "127.0.0.1:9", "--yes",
                           "--resume", "-o", path(QStringLiteral("c.ti3"))};
    const ProgramResult none = vireo2(read);
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains(QStringLiteral("no progress to resume"))) << none.err.toStdString();

    QFile progress(path(QStringLiteral("c.ti3.progress")));
    ASSERT_TRUE(progress.open(QIODevice::WriteOnly));
    progress.write(R"({"chart_sha1":"0000","condition":1,"illuminant":"D50/2","strips":{}})");
    progress.close();
    const ProgramResult foreign = vireo2(read);
    EXPECT_EQ(foreign.exitCode, 1);
    EXPECT_TRUE(foreign.err.contains(QStringLiteral("belongs to another chart"))) << foreign.err.toStdString();
    EXPECT_FALSE(QFile::exists(path(QStringLiteral("c.ti3"))));
}

} // namespace
} // namespace vireo2::test
