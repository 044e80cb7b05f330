// Images through ExecuteBinary: the digital loupe's JPEG pictures and the
// video frame, decoded by Qt's image readers (not ours).
#include <QBuffer>
#include <QImage>
#include <QImageReader>

#include "execute_fixture.h"

namespace vireo2::test {
namespace {

class CaptureTest : public ExecuteTest {
protected:
    QByteArray capture(const char* message, int bufferSize = 1 << 20)
    {
        QByteArray buffer(bufferSize, '\0');
        const int size = ExecuteBinary(reinterpret_cast<const unsigned char*>(message), int(qstrlen(message)), 5000,
                                       reinterpret_cast<unsigned char*>(buffer.data()), buffer.size());
        return buffer.left(size);
    }
};

TEST_F(CaptureTest, LoupePicturesAreJpegImages)
{
    EXPECT_EQ(exec(QStringLiteral("digitalloupelist")), QStringLiteral("loupe-001.jpg loupe-002.jpg"));
    const QByteArray jpeg = capture("digitalloupeget loupe-002.jpg");
    ASSERT_TRUE(jpeg.startsWith("\xFF\xD8"));
    QImage image;
    ASSERT_TRUE(image.loadFromData(jpeg, "JPG")) << QImageReader::supportedImageFormats().join(' ').toStdString();
    EXPECT_EQ(image.size(), QSize(64, 64));
    EXPECT_LT(qGray(image.pixel(3, 3)), 60) << "a dark dot";
    EXPECT_GT(qGray(image.pixel(11, 3)), 215) << "paper";

    EXPECT_EQ(capture("digitalloupeget nothing.jpg").size(), 0);
    EXPECT_EQ(capture("digitalloupeget two words.jpg").size(), 0) << "the text must be exactly two words";
    sim_.faults().add(sim::Fault::on("digitalloupe receive !").replying("DIGITALLOUPE 0x12 no bar"));
    EXPECT_EQ(capture("digitalloupeget loupe-001.jpg").size(), 0);
    EXPECT_TRUE(hasError(20506, "FAILED digitalloupe Receive : Invalid jpg data"));
}

TEST_F(CaptureTest, VideoFrameIsABitmap)
{
    const QByteArray frame = capture("captureimage");
    QImage image;
    ASSERT_TRUE(image.loadFromData(frame, "BMP"));
    EXPECT_EQ(image.size(), QSize(160, 120));
    EXPECT_EQ(count("VideoFrame Process Screen"), 1);
    sim_.faults().add(sim::Fault::on("VideoFrame Receive Screen !").replying("VIDEOFRAME 0x40 |x"));
    EXPECT_EQ(capture("CaptureImage").size(), 0);
    EXPECT_TRUE(hasError(20506, "FAILED VideoFrame Receive Screen: Code 0x40"));
    // Twelve bytes are compared, so "CaptureScree" is the screen; a shorter
    // message goes out as it stands and brings the instrument's reply.
    EXPECT_TRUE(capture("CaptureScree").startsWith("BM"));
    EXPECT_EQ(capture("CaptureScr"), QByteArray("CAPTURESCR 0x00"));
}

// An instrument that answers "more follows" (0x12) for ever is given up
// after 32 MiB of image (or a minute), with a timeout error; what fits the
// buffer is not claimed as an image.
TEST_F(CaptureTest, ImageWithoutEndIsGivenUp)
{
    const QByteArray chunk = "SCREEN 0x12 |" + QByteArray(1 << 20, 'p');
    sim_.faults().add(sim::Fault::on("Screen Receive !").replying(chunk));
    sim_.faults().add(sim::Fault::on("Screen Receive").replying(chunk).always());
    EXPECT_EQ(capture("CaptureScreen").size(), 0);
    EXPECT_EQ(GetLastErrorCode(), 0x5005);
    EXPECT_TRUE(QString::fromUtf8(GetLastErrorString())
                    .startsWith(QLatin1String("FAILED Screen Receive : TIMEOUT - image not complete after 3")))
        << GetLastErrorString();
    EXPECT_LT(count("Screen Receive"), 40);
}

} // namespace
} // namespace vireo2::test
