// Scans made on the instrument: the scan screen, start and abort, and the
// read-back of a finished hand scan by the status poll.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <cmath>

#include "scan_fixture.h"
#include "vireo2.h"

namespace vireo2::test {
namespace {

class InstrumentScan : public ScanTest {
protected:
    QByteArray lastCommandStartingWith(const QByteArray& prefix) const
    {
        const QList<QByteArray> received = sim_.commands();
        for (auto it = received.crbegin(); it != received.crend(); ++it)
            if (it->startsWith(prefix))
                return *it;
        return QByteArray();
    }
    // The poll reads a finished hand scan back; waits for its status 3.
    int readBack(int timeoutMs = 5000) { return waitForScanEnd(timeoutMs); }
};

TEST_F(InstrumentScan, ConfigSendsTheScanScreenInItsMemberOrder)
{
    connectInstrument();
    ASSERT_EQ(ScanConfig(12, 6.5f), 1) << lastError();
    const QByteArray command = lastCommandStartingWith("tethered configure 0 ! |");
    ASSERT_FALSE(command.isEmpty());
    const QByteArray json = command.mid(command.indexOf('|') + 1);
    const QJsonObject screen = QJsonDocument::fromJson(json).object().value(QStringLiteral("tethered")).toObject();
    EXPECT_EQ(screen.value(QStringLiteral("measureButtonVisible")), QJsonValue(true));
    EXPECT_EQ(screen.value(QStringLiteral("mainMenuAccessible")), QJsonValue(true));
    EXPECT_EQ(screen.value(QStringLiteral("scanPatchWidth_mm")).toDouble(), 6.5);
    EXPECT_EQ(screen.value(QStringLiteral("scanPatchGapWidth_mm")).toDouble(), 0.0);
    EXPECT_EQ(screen.value(QStringLiteral("measureMode")).toString(), QStringLiteral("SCAN"));
    EXPECT_EQ(screen.value(QStringLiteral("primaryLoadingVisible")), QJsonValue(false));
    for (const char* text : {"primaryText", "secondaryText", "primaryImage", "secondaryImage"})
        EXPECT_EQ(screen.value(QLatin1String(text)), QJsonValue(QString())) << text;
    const QJsonArray buttons = screen.value(QStringLiteral("buttons")).toArray();
    ASSERT_EQ(buttons.size(), 4);
    const char* ids[] = {"Primary_1", "Primary_2", "Secondary_1", "Secondary_2"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(buttons.at(i).toObject().value(QStringLiteral("id")).toString(), QLatin1String(ids[i]));
        EXPECT_EQ(buttons.at(i).toObject().value(QStringLiteral("text")), QJsonValue(QString()));
    }
    // Compact, and the members in the instrument's order.
    EXPECT_FALSE(json.contains(' '));
    EXPECT_TRUE(json.startsWith("{\"tethered\":{\"measureButtonVisible\":true,\"mainMenuAccessible\":true,"
                                "\"scanPatchWidth_mm\":6.5,\"scanPatchGapWidth_mm\":0,\"measureMode\":\"SCAN\","));
    EXPECT_LT(json.indexOf("primaryLoadingVisible"), json.indexOf("primaryText"));
    EXPECT_LT(json.indexOf("secondaryImage"), json.indexOf("buttons"));
}

TEST_F(InstrumentScan, ConfigRefusesACountOrWidthNoStripHas)
{
    connectInstrument();
    EXPECT_EQ(ScanConfig(-1, 6.5f), 0);
    EXPECT_EQ(lastError(), "20503 FAILED scanConfig: Invalid patch count");
    for (float width : {std::nanf(""), INFINITY, 0.0f, -6.5f}) {
        EXPECT_EQ(ScanConfig(12, width), 0) << width;
        EXPECT_EQ(lastError(), "21249 FAILED scanConfig: Invalid patch width");
    }
    EXPECT_TRUE(lastCommandStartingWith("tethered configure").isEmpty());
}

TEST_F(InstrumentScan, StartGoesToTheTetheredToolOnlyWhenNeeded)
{
    connectInstrument();
    control(QStringLiteral("tool TeThErEd"));
    ASSERT_EQ(ScanStart(), 1) << lastError();
    EXPECT_EQ(count("tool goto tethered"), 0);
    EXPECT_EQ(count("video targeting on"), 1);

    control(QStringLiteral("tool ink"));
    ASSERT_EQ(ScanConfig(5, 8.0f), 1);
    sim_.engine().clearCommands();
    ASSERT_EQ(ScanStart(), 1);
    EXPECT_EQ(count("tool goto tethered"), 1);
    EXPECT_FALSE(lastCommandStartingWith("tethered configure").isEmpty()) << "a configured scan is configured again";

    ASSERT_EQ(ScanAbort(), 1) << lastError();
    EXPECT_EQ(count("tool goto previoustool"), 1);
    EXPECT_EQ(count("video targeting off"), 1);
}

TEST_F(InstrumentScan, HandScanIsReadBackAndServed)
{
    control(QStringLiteral("noise 0"));
    connectInstrument();
    control(QStringLiteral("scan 10 TCS09 TCS01"));
    ASSERT_EQ(readBack(), 3) << lastError();
    EXPECT_EQ(ScanGetStatus(), 0) << "read once";
    EXPECT_EQ(ScanGetCount(), 10);

    // Factors with six significant digits, each followed by a blank.
    const std::string values = ScanGetData(0, 2);
    EXPECT_EQ(values.rfind("0.052 0.051 0.05 ", 0), 0u) << values;
    EXPECT_EQ(values.back(), ' ');
    EXPECT_EQ(ScanGetData(10, 0), std::string());
    EXPECT_EQ(ScanGetData(0, 4), std::string());
    EXPECT_EQ(GetLastErrorCode(), 0) << "instrument-mode range faults record nothing";

    // The expected count limits what is served.
    ASSERT_EQ(ScanConfig(8, 5.0f), 1);
    EXPECT_EQ(ScanGetCount(), 8);
}

TEST_F(InstrumentScan, ReadBackFloorsAndShortConditions)
{
    QJsonArray low;
    for (int i = 0; i < 31; ++i)
        low.append(i == 0 ? 0.0 : i == 1 ? -0.5 : 0.25);
    const QJsonObject patch{{QStringLiteral("M0"), low}, {QStringLiteral("M1"), low}, {QStringLiteral("M2"), low},
                            {QStringLiteral("M3"), low}};
    const QByteArray json = QJsonDocument(QJsonObject{{QStringLiteral("scan"), QJsonArray{patch}}}).toJson(QJsonDocument::Compact);
    sim_.faults().add(sim::Fault::on("scan get patchrecrefls").replying("SCAN 0x00 |" + json));
    connectInstrument();
    control(QStringLiteral("scan 1"));
    ASSERT_EQ(readBack(), 3);
    EXPECT_EQ(std::string(ScanGetData(0, 0)).rfind("0.0001 0.0001 0.25 ", 0), 0u) << ScanGetData(0, 0);

    QJsonObject shortPatch = patch;
    shortPatch.insert(QStringLiteral("M2"), QJsonArray{0.5, 0.5});
    const QByteArray shortJson =
        QJsonDocument(QJsonObject{{QStringLiteral("scan"), QJsonArray{shortPatch}}}).toJson(QJsonDocument::Compact);
    sim_.faults().add(sim::Fault::on("scan get patchrecrefls").replying("SCAN 0x00 |" + shortJson));
    control(QStringLiteral("scan 1"));
    QThread::msleep(800);
    EXPECT_EQ(ScanGetStatus(), 0) << "a failed read-back reports nothing";
    EXPECT_TRUE(log().contains(QStringLiteral("FAILED readMeasurementData: Insufficient spectral data - Angle=M2")));
}

TEST_F(InstrumentScan, TrackCommandsRefuseWithoutTheTrack)
{
    connectInstrument();
    EXPECT_EQ(execute("autoscanconfig;8"), "");
    EXPECT_EQ(lastError(), "21250 Incorrect Operational Mode: TR3 is not connected.");
    EXPECT_EQ(execute("autoscanstart"), "");
    EXPECT_EQ(lastError(), "21250 Incorrect Operational Mode: TR3 is not connected.");
    EXPECT_EQ(ScanIsSupported(), 1);
}

} // namespace
} // namespace vireo2::test
