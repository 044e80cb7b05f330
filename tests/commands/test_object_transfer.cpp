// Object transfers through Execute and ExecuteBinary against the simulated
// instrument's storage: chunked pushes, edits, removals, multi-chunk pulls,
// lists, the instrument log and the screen capture.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "commands/object_transfer.h"
#include "execute_fixture.h"

namespace vireo2::test {
namespace {

TEST(PushChunks, BoundariesOfTheChunkSize)
{
    using transfer::pushMessages;
    EXPECT_EQ(pushMessages("", QStringLiteral("colorlibrary send"), 4),
              (QList<QByteArray>{"colorlibrary send 0 ! |"}))
        << "an empty object is one empty chunk";
    EXPECT_EQ(pushMessages("abcd", QStringLiteral("tool send"), 4),
              (QList<QByteArray>{"tool send 1 ! |abcd", "tool send 0 |"}))
        << "an exact multiple ends with an empty chunk";
    EXPECT_EQ(pushMessages("abcde", QStringLiteral("tool send"), 4),
              (QList<QByteArray>{"tool send 1 ! |abcd", "tool send 0 |e"}));
    const QList<QByteArray> big = pushMessages(QByteArray(500000, 'x'), QStringLiteral("colorlibrary send"), 250000);
    ASSERT_EQ(big.size(), 3);
    EXPECT_TRUE(big[0].startsWith("colorlibrary send 2 ! |xxx"));
    EXPECT_EQ(big[0].size(), 23 + 250000);
    EXPECT_TRUE(big[1].startsWith("colorlibrary send 1 |xxx"));
    EXPECT_EQ(big[2], QByteArray("colorlibrary send 0 |"));
}

class TransferTest : public ExecuteTest {
protected:
    static QString library(const QString& name, int colours)
    {
        QJsonArray entries;
        for (int i = 0; i < colours; ++i)
            entries.append(QJsonArray{QStringLiteral("colour %1").arg(i), 50.0 + i % 40, i % 7 - 3, 5 - i % 9});
        QJsonObject object;
        object.insert(QStringLiteral("name"), name);
        object.insert(QStringLiteral("colours"), entries);
        return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    }
};

TEST_F(TransferTest, LibraryRoundTripOverSeveralChunks)
{
    control(QStringLiteral("chunk 700"));
    const QString lib = library(QStringLiteral("Brand"), 120);
    ASSERT_GT(lib.size(), 2100) << "several chunks each way";
    EXPECT_EQ(exec(QStringLiteral("addlibrary;") + lib), QStringLiteral("COLORLIBRARY 0x00"));
    EXPECT_EQ(count("colorlibrary add JSON"), 1);
    EXPECT_EQ(exec(QStringLiteral("getlibrary")), QStringLiteral("[\"Brand\"]"));
    EXPECT_EQ(exec(QStringLiteral("getlibraryjson;Brand")), QStringLiteral("COLORLIBRARY 0x00 |") + lib);

    const QString edited = library(QStringLiteral("Brand"), 3);
    EXPECT_EQ(exec(QStringLiteral("editlibrary;Brand;") + edited), QStringLiteral("COLORLIBRARY 0x00"));
    EXPECT_EQ(exec(QStringLiteral("getlibraryjson;Brand")), QStringLiteral("COLORLIBRARY 0x00 |") + edited);
    EXPECT_EQ(exec(QStringLiteral("libraryclear;Brand")), QStringLiteral("COLORLIBRARY 0x00"));
    EXPECT_EQ(exec(QStringLiteral("libraryclear;Brand")), QStringLiteral("COLORLIBRARY 0x01"))
        << "a removal answers the reply also when it failed";
    EXPECT_EQ(exec(QStringLiteral("getlibraryjson;Brand")), QStringLiteral("COLORLIBRARY 0x01"));
}

TEST_F(TransferTest, RefusedChunkStopsThePushWithItsReply)
{
    sim_.faults().add(sim::Fault::on("colorlibrary").replying("COLORLIBRARY 0x31"));
    EXPECT_EQ(exec(QStringLiteral("addlibrary;") + library(QStringLiteral("L"), 2)), QStringLiteral("COLORLIBRARY 0x31"));
    EXPECT_EQ(count("colorlibrary add JSON"), 0);
    // Statuses 5 and 7 go on to the closing command.
    sim_.faults().add(sim::Fault::on("jobtemplate").replying("JOBTEMPLATE 0x07"));
    exec(QStringLiteral("addjobtemplate;{\"name\":\"T\"}"));
    EXPECT_EQ(count("jobtemplate add JSON"), 1);
    EXPECT_EQ(exec(QStringLiteral("addjobtemplate;{\"name\":\"T\"}")), QStringLiteral("JOBTEMPLATE 0x00"));
    EXPECT_EQ(exec(QStringLiteral("getjobtemplatelist")), QStringLiteral("[\"T\"]"));
    EXPECT_EQ(exec(QStringLiteral("getjobtemplate;T")), QStringLiteral("{\"name\":\"T\"}"));
}

TEST_F(TransferTest, ToolsPalettesAndTheInstrumentLog)
{
    EXPECT_EQ(exec(QStringLiteral("addtool;spot;{\"name\":\"Gloss\"}")), QStringLiteral("TOOL 0x00"));
    EXPECT_EQ(sent().contains("tool import spot"), true);
    EXPECT_EQ(exec(QStringLiteral("gettoollist;spot")), QStringLiteral("[\"Gloss\"]"));
    EXPECT_EQ(exec(QStringLiteral("gettool;spot;Gloss")), QStringLiteral("TOOL 0x00 |{\"name\":\"Gloss\"}"));
    EXPECT_EQ(exec(QStringLiteral("removetool;spot;Gloss")), QStringLiteral("TOOL 0x00"));
    EXPECT_EQ(exec(QStringLiteral("addchromexpalette;{\"name\":\"P1\"}")), QStringLiteral("CHROMEX 0x00"));
    EXPECT_EQ(exec(QStringLiteral("getchromexpalettelist")), QStringLiteral("[\"P1\"]"));
    EXPECT_EQ(exec(QStringLiteral("removepalettechromex;P1")), QStringLiteral("CHROMEX 0x00"));
    const QString log = exec(QStringLiteral("getlog"));
    EXPECT_TRUE(log.startsWith(QStringLiteral("LOG 0x00 |"))) << log.left(40).toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("tool import spot"))) << "the log grows with use";
    EXPECT_EQ(exec(QStringLiteral("digitalloupelist")), QStringLiteral("loupe-001.jpg loupe-002.jpg"));
}

TEST_F(TransferTest, ScreenCaptureThroughExecuteBinaryAndItsTruncation)
{
    control(QStringLiteral("chunk 4000"));
    QByteArray buffer(100000, '\0');
    const int size = ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, 5000,
                                   reinterpret_cast<unsigned char*>(buffer.data()), buffer.size());
    ASSERT_EQ(size, 54 + 160 * 3 * 120);
    EXPECT_TRUE(buffer.startsWith("BM"));
    EXPECT_EQ(count("Screen Receive !"), 1);
    EXPECT_EQ(count("Screen Receive"), 14) << "four-kilobyte chunks, the rest read and dropped beyond the buffer";

    QByteArray small(1200, '\0');
    EXPECT_EQ(ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, 5000,
                            reinterpret_cast<unsigned char*>(small.data()), small.size()),
              1200);
    sim_.faults().add(sim::Fault::on("Screen Receive !").replying("SCREEN 0x12 no bar"));
    EXPECT_EQ(ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, 5000,
                            reinterpret_cast<unsigned char*>(small.data()), small.size()),
              0);
    EXPECT_TRUE(hasError(20506, "FAILED Screen Receive : Invalid bitmap data"));
    sim_.faults().add(sim::Fault::on("Screen Receive !").replying("SCREEN 0x33 |x"));
    EXPECT_EQ(ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, 5000,
                            reinterpret_cast<unsigned char*>(small.data()), small.size()),
              0);
    EXPECT_TRUE(hasError(20506, "FAILED Screen Receive : Code 0x33"));
}

TEST_F(TransferTest, UsbConnectionsPushLibrariesInSmallChunks)
{
    // The chunk size follows the stored connection method.
    ASSERT_TRUE(SetOption("connection_method", "USB"));
    const QString lib = library(QStringLiteral("Small"), 400);
    ASSERT_GT(lib.size(), 8000);
    EXPECT_EQ(exec(QStringLiteral("addlibrary;") + lib), QStringLiteral("COLORLIBRARY 0x00"));
    int chunks = 0;
    for (const QByteArray& command : sent())
        chunks += command.startsWith("colorlibrary send") ? 1 : 0;
    EXPECT_EQ(chunks, lib.size() / 4000 + 1);
    EXPECT_EQ(exec(QStringLiteral("getlibraryjson;Small")), QStringLiteral("COLORLIBRARY 0x00 |") + lib);
}

TEST_F(TransferTest, InstrumentFallingSilentMidPullEndsIt)
{
    control(QStringLiteral("chunk 100"));
    for (int i = 0; i < 12; ++i)
        ASSERT_EQ(exec(QStringLiteral("addlibrary;{\"name\":\"Library number %1\"}").arg(i)), QStringLiteral("COLORLIBRARY 0x00"));
    sim_.faults().add(sim::Fault::on("colorlibrary receive").silently());
    EXPECT_EQ(exec(QStringLiteral("getlibrary")), QString());
    EXPECT_NE(GetLastErrorCode(), 0) << "the transport's failure is in the error record";
}

} // namespace
} // namespace vireo2::test
