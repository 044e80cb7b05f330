// The vireo2-sim program: its options, the address line scripts read, and a
// scripted fault answered through the library's TCP transport.
#include <gtest/gtest.h>

#include <QProcess>
#include <QRegularExpression>

#include "transport/ethernet_transport.h"

namespace {

const QString kProgram = QStringLiteral(VIREO2_BUILD_DIR "/bin/vireo2-sim");

TEST(SimProgram, HelpListsTheOptionsAndABadPortIsRefused)
{
    const std::tuple<QStringList, int, const char*> cases[] = {
        {{"--help"}, 0, "--fault <TEXT>"},
        {{"--port", "70000"}, 2, "invalid port"},
    };
    for (const auto& [arguments, exitCode, text] : cases) {
        QProcess sim;
        sim.start(kProgram, arguments);
        ASSERT_TRUE(sim.waitForFinished(5000));
        EXPECT_EQ(sim.exitCode(), exitCode);
        EXPECT_TRUE((sim.readAllStandardOutput() + sim.readAllStandardError()).contains(text)) << text;
    }
}

TEST(SimProgram, PrintsItsPortAndServesTheLibrary)
{
    QProcess sim;
    sim.start(kProgram, {"--port", "0", "--fault", "probe reply=\"PROBE 0x00 scripted\""});
    ASSERT_TRUE(sim.waitForReadyRead(5000));
    const QString line = QString::fromUtf8(sim.readLine()).trimmed();
    const auto match = QRegularExpression(QStringLiteral("^vireo2-sim listening on (127\\.0\\.0\\.1:\\d+)$")).match(line);
    ASSERT_TRUE(match.hasMatch()) << line.toStdString();

    vireo2::CEthernet transport;
    ASSERT_TRUE(transport.OpenPort(match.captured(1).toUtf8()));
    QByteArray reply;
    ASSERT_TRUE(transport.SendReceive("probe", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray("PROBE 0x00 scripted"));
    transport.ClosePort();
    sim.kill();
    sim.waitForFinished(5000);
}

} // namespace
