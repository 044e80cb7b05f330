// The vireo2-sim program: its help, the address line scripts read, and a
// command and a scripted fault through the library's TCP transport.
#include <gtest/gtest.h>

#include <QProcess>
#include <QRegularExpression>

#include "transport/ethernet_transport.h"

namespace {

const QString kProgram = QStringLiteral(VIREO2_BUILD_DIR "/bin/vireo2-sim");

TEST(SimProgram, HelpListsTheOptions)
{
    QProcess sim;
    sim.start(kProgram, {QStringLiteral("--help")});
    ASSERT_TRUE(sim.waitForFinished(5000));
    const QString help = QString::fromUtf8(sim.readAllStandardOutput());
    EXPECT_EQ(sim.exitCode(), 0);
    EXPECT_TRUE(help.contains(QStringLiteral("--port <N>")));
    EXPECT_TRUE(help.contains(QStringLiteral("--fault <TEXT>")));
}

TEST(SimProgram, PrintsItsPortAndServesTheLibrary)
{
    QProcess sim;
    sim.start(kProgram, {QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--fault"),
                         QStringLiteral("probe reply=\"PROBE 0x00 scripted\"")});
    ASSERT_TRUE(sim.waitForStarted(5000));
    ASSERT_TRUE(sim.waitForReadyRead(5000));
    const QString line = QString::fromUtf8(sim.readLine()).trimmed();
    const auto match = QRegularExpression(QStringLiteral("^vireo2-sim listening on (127\\.0\\.0\\.1:\\d+)$")).match(line);
    ASSERT_TRUE(match.hasMatch()) << line.toStdString();

    vireo2::CEthernet transport;
    ASSERT_TRUE(transport.OpenPort(match.captured(1).toUtf8()));
    QByteArray reply;
    ASSERT_TRUE(transport.SendReceive("probe", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray("PROBE 0x00 scripted"));
    ASSERT_TRUE(transport.SendReceive("SIM FAULT probe silent", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray("SIM 0x00"));
    transport.ClosePort();

    sim.kill();
    sim.waitForFinished(5000);
}

TEST(SimProgram, BadPortIsRefused)
{
    QProcess sim;
    sim.start(kProgram, {QStringLiteral("--port"), QStringLiteral("70000")});
    ASSERT_TRUE(sim.waitForFinished(5000));
    EXPECT_EQ(sim.exitCode(), 2);
    EXPECT_TRUE(sim.readAllStandardError().contains("invalid port"));
}

} // namespace
