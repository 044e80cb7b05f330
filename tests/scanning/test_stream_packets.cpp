// Streamed-scan packets: what the parser refuses, what the engine does with
// packets that repeat, go back in time or change their conditions, and the
// repeated-key check that keeps Qt's reader from holding on to memory.
#include <gtest/gtest.h>

#include <QStringList>

#include "engine_host.h"
#include "scanning/stream_packets.h"
#include "transport/reply_json.h"

namespace vireo2::test {
namespace {

struct Reading {
    double t;
    QStringList conditions{QStringLiteral("M0"), QStringLiteral("M1"), QStringLiteral("M2"), QStringLiteral("M3")};
    QString factor = QStringLiteral("0.5");
};

QByteArray spectrum(const QString& factor)
{
    QStringList values;
    for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
        values << factor;
    return "[" + values.join(QLatin1Char(',')).toLatin1() + "]";
}

QByteArray packet(const QString& seq, const QList<Reading>& readings)
{
    QList<QByteArray> items;
    for (const Reading& r : readings) {
        QByteArray item = "{\"t\":" + QByteArray::number(r.t);
        for (const QString& condition : r.conditions)
            item += ",\"" + condition.toLatin1() + "\":" + spectrum(r.factor);
        items << item + "}";
    }
    QByteArray joined;
    for (const QByteArray& item : items)
        joined += (joined.isEmpty() ? "" : ",") + item;
    return "{\"seq\":" + seq.toLatin1() + ",\"readings\":[" + joined + "]}";
}

std::string refusal(const QByteArray& json)
{
    StreamPacket parsed;
    QString error;
    if (parseStreamPacket(json, &parsed, &error))
        return "accepted";
    return error.toStdString();
}

TEST(StreamPacket, ReadsReadingsAndFillsOnlyTheConditionsPresent)
{
    StreamPacket parsed;
    QString error;
    const QList<Reading> readings{{10.0, {QStringLiteral("M1"), QStringLiteral("M3")}, QStringLiteral("0.25")},
                                  {15.5, {QStringLiteral("M1"), QStringLiteral("M3")}, QStringLiteral("2.5")}};
    ASSERT_TRUE(parseStreamPacket(packet(QStringLiteral("7"), readings), &parsed, &error)) << error.toStdString();
    EXPECT_EQ(parsed.sequence, 7);
    EXPECT_EQ(parsed.conditions, 0b1010u);
    ASSERT_EQ(parsed.readings.size(), 2u);
    EXPECT_EQ(parsed.readings[1][ScanRecord::kTimeStamp], 15.5);
    EXPECT_EQ(parsed.readings[0].spectral(0, 30), 25.0) << "M1 fills the first data set, in percent";
    EXPECT_EQ(parsed.readings[0].spectral(1, 0), 25.0);
    EXPECT_EQ(parsed.readings[0].spectral(2, 0), 0.0);
}

TEST(StreamPacket, RefusesWhatCannotBeAReadingOfTheSheet)
{
    const QList<Reading> good{{1.0}, {2.0}};
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), good)), "accepted");
    EXPECT_EQ(refusal(packet(QStringLiteral("2147483647"), good)), "accepted");
    for (const char* seq : {"1.5", "-1", "\"3\"", "null", "2147483648", "1e300"})
        EXPECT_EQ(refusal(packet(QString::fromLatin1(seq), good)), "\"seq\" is not a whole number from 0") << seq;
    EXPECT_EQ(refusal("{\"readings\":[]}"), "\"seq\" is not a whole number from 0");

    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0}, {1.0}})), "reading 1 is stamped 1, after 1");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{5.0}, {4.0}})), "reading 1 is stamped 4, after 5");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0}, {2.0, {QStringLiteral("M1")}}})),
              "reading 1 carries M1 after M0,M1,M2,M3");

    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M2")}, QStringLiteral("2.95")}})), "accepted");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M2")}, QStringLiteral("-0.05")}})), "accepted");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M2")}, QStringLiteral("95")}})),
              "reading 0 M2 holds 95 at 400 nm");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M0")}, QStringLiteral("-3")}})),
              "reading 0 M0 holds -3 at 400 nm");
    EXPECT_EQ(refusal(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M0")}, QStringLiteral("1e999")}})),
              "illegal number");
    EXPECT_EQ(refusal("{\"seq\":0,\"readings\":[{\"t\":1,\"M0\":[1,2]}]}"), "reading 0 M0 is not 31 values");
    EXPECT_EQ(refusal("{\"seq\":0,\"readings\":[{\"M0\":" + spectrum(QStringLiteral("0.1")) + "}]}"),
              "reading 0 is not a time stamp with 31-value spectra");
    EXPECT_EQ(refusal("[1]"), "not a JSON object");
    EXPECT_EQ(refusal("{\"seq\":0}"), "no \"readings\" array");
    EXPECT_EQ(refusal("{\"seq\":0,\"readings\":5}"), "no \"readings\" array");
    EXPECT_NE(refusal("\xff\xfe{"), "accepted");
}

// Qt 5's reader keeps the earlier value of a repeated key allocated for
// good: measured, 100,000 parses of a reading with "M0" twice grow the
// process by 103 MB. Such text never reaches it (and a build with the leak
// checker fails this test if it did).
TEST(StreamPacket, RepeatedKeysAreRefusedBeforeTheJsonReaderSeesThem)
{
    const QByteArray twice = "{\"seq\":0,\"readings\":[{\"t\":1,\"M0\":" + spectrum(QStringLiteral("0.5")) +
                             ",\"M0\":" + spectrum(QStringLiteral("0.5")) + "}]}";
    EXPECT_EQ(refusal(twice), "key \"M0\" appears twice in one object");
    EXPECT_EQ(refusal("{\"seq\":0,\"seq\":1,\"readings\":[]}"), "key \"seq\" appears twice in one object");

    QString key;
    EXPECT_TRUE(findRepeatedKey(R"({"seq":0,"\u0073eq":1})", &key));
    EXPECT_EQ(key, QStringLiteral("seq")) << "escapes are decoded before comparing";
    EXPECT_TRUE(findRepeatedKey(R"({"a\"b":0,"x":{"y":[1,{"z":2}]},"a\"b":1})", &key));
    EXPECT_EQ(key, QStringLiteral("a\"b"));
    // The same key in different objects, keys inside strings, values that
    // look like keys: none repeats.
    EXPECT_FALSE(findRepeatedKey(R"({"t":1,"r":[{"t":2},{"t":3}],"s":{"t":4}})", &key));
    EXPECT_FALSE(findRepeatedKey(R"({"a":"\"a\":1,","b":"a","c":["a","a"]})", &key));
    EXPECT_FALSE(findRepeatedKey(R"({"a":1,"a)", &key)) << "unterminated text is the reader's to refuse";
    EXPECT_FALSE(findRepeatedKey("]]}}{\"a\":1", &key));
}

// The engine across packets: a packet received twice is dropped, readings
// before the track's clock started are dropped, any other step back in time
// or change of conditions fails the scan.
TEST(StreamPacket, EngineKeepsTheStreamInOrder)
{
    EngineHost host;
    Vireo2Scanning& engine = *host.engine;
    auto accepted = [&] { return engine.measurements().size(); };
    engine.setState(Vireo2Scanning::kScanning);
    engine.beginAcquisition();

    EXPECT_EQ(engine.acceptStreamPacket(packet(QStringLiteral("0"), {{-4.0}, {-1.0}, {0.0}, {5.0}})), StreamPoll::MoreData);
    EXPECT_EQ(accepted(), 2u) << "two readings before the clock's start dropped";
    EXPECT_EQ(engine.measurements().front()[ScanRecord::kTimeStamp], 0.0);
    EXPECT_EQ(engine.acceptStreamPacket(packet(QStringLiteral("0"), {{0.0}, {5.0}})), StreamPoll::MoreData);
    EXPECT_EQ(accepted(), 2u) << "the same packet again is dropped";
    EXPECT_EQ(engine.acceptStreamPacket(packet(QStringLiteral("2"), {{10.0}, {15.0}})), StreamPoll::MoreData);
    EXPECT_EQ(accepted(), 4u) << "a lost packet is only logged";
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Scan packet 2 follows packet 0")));
    EXPECT_EQ(host.aborts, 0);

    struct Bad {
        QByteArray json;
        const char* error;
    };
    const Bad bad[] = {
        {packet(QStringLiteral("3"), {{15.0}}), "FAILED: Invalid scan data packet - packet 3 starts at 15, after 15"},
        {packet(QStringLiteral("3"), {{12.0}, {20.0}}), "FAILED: Invalid scan data packet - packet 3 starts at 12, after 15"},
        {packet(QStringLiteral("3"), {{20.0, {QStringLiteral("M1")}}}),
         "FAILED: Invalid scan data packet - packet 3 carries M1 after M0,M1,M2,M3"},
        {packet(QStringLiteral("3"), {{20.0}, {-1.0}}), "FAILED: Invalid scan data packet - reading 1 is stamped -1, after 20"},
    };
    for (const Bad& b : bad) {
        engine.setState(Vireo2Scanning::kScanning);
        EXPECT_EQ(engine.acceptStreamPacket(b.json), StreamPoll::Failed) << b.error;
        EXPECT_EQ(engine.state(), Vireo2Scanning::kFailed);
        EXPECT_EQ(host.logHelper->errorCode(), 0x501A);
        EXPECT_EQ(host.logHelper->errorText(), QByteArray(b.error));
        EXPECT_EQ(accepted(), 4u) << "nothing of a refused packet is kept";
    }
    EXPECT_EQ(host.aborts, 4);

    // A new acquisition starts its count and clock afresh.
    engine.setState(Vireo2Scanning::kScanning);
    engine.beginAcquisition();
    EXPECT_EQ(engine.acceptStreamPacket(packet(QStringLiteral("0"), {{1.0, {QStringLiteral("M1")}}})), StreamPoll::MoreData);
}

// However long the instrument streams, one traverse keeps a bounded number
// of readings.
TEST(StreamPacket, ReadingsOfOneTraverseAreBounded)
{
    EngineHost host;
    Vireo2Scanning& engine = *host.engine;
    engine.setState(Vireo2Scanning::kScanning);
    engine.beginAcquisition();
    QList<Reading> readings;
    for (int i = 0; i < 1000; ++i)
        readings << Reading{double(i), {QStringLiteral("M1")}};
    int seq = 0;
    while (engine.acceptStreamPacket(packet(QString::number(seq), readings)) == StreamPoll::MoreData) {
        ++seq;
        for (Reading& r : readings)
            r.t += 1000.0;
    }
    EXPECT_EQ(seq, Vireo2Scanning::kMaximumReadings / 1000);
    EXPECT_EQ(engine.measurements().size(), size_t(Vireo2Scanning::kMaximumReadings));
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("FAILED: Scan data exceeds 10000 readings"));
    EXPECT_EQ(engine.state(), Vireo2Scanning::kFailed);
}

} // namespace
} // namespace vireo2::test
