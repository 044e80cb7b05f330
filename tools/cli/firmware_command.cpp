// vireo2 firmware FILE: the instrument's firmware updated from a file, with
// the version read before and after, so that an update the instrument did
// not take is reported as such.
#include <QFile>
#include <QFileInfo>

#include "console.h"
#include "execute_call.h"
#include "instrument_info.h"
#include "instrument_session.h"
#include "library_error.h"
#include "packet_watcher.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {
namespace {

const QString kYes = QStringLiteral("yes");
constexpr qint64 kPacketBytes = 1000000;

// Files that are plainly something else: documents and pictures.
QString checkImage(const QString& path, QByteArray* head)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    if (file.size() == 0)
        return QStringLiteral("%1 is empty: it holds no firmware").arg(path);
    *head = file.read(16);
    const QByteArray start = head->trimmed();
    for (const char* magic : {"<", "{", "[", "%PDF", "\x89PNG", "GIF8", "\xFF\xD8\xFF", "PK\x03\x04"}) {
        if (start.startsWith(magic))
            return QStringLiteral("%1 is a document or picture, not a firmware image").arg(path);
    }
    return QString();
}

QString packetCount(qint64 size)
{
    const qint64 packets = size / kPacketBytes + 1;
    return packets == 1 ? QStringLiteral("1 packet") : QStringLiteral("%1 packets").arg(packets);
}

// What a failed update's answer means: "SYSTEM 0x01" is a refused packet or
// a lost connection; the replies of the digest polls mean a packet was not
// confirmed in time.
int updateFailure(const QString& answer)
{
    if (answer.isEmpty())
        return libraryFailure();
    if (answer == QLatin1String("SYSTEM 0x01"))
        return explainedFailure(QStringLiteral("the update failed"),
                                {QStringLiteral("the instrument refused a packet, or the connection was lost"),
                                 QStringLiteral("keep the instrument connected and powered, then run the update again")},
                                answer);
    return explainedFailure(QStringLiteral("the update failed"),
                            {QStringLiteral("the instrument did not confirm a packet within 20 s; the update is "
                                            "incomplete"),
                             QStringLiteral("keep the instrument connected and powered, then run the update again")},
                            QStringLiteral("the instrument's replies: %1").arg(answer));
}

int run(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("firmware takes the update file"), QStringLiteral("firmware"));
    const QString path = call.arguments.first();
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    if (!QFileInfo(path).isFile())
        return failure(QStringLiteral("no such file: %1").arg(path));
    QByteArray head;
    if (const QString problem = checkImage(path, &head); !problem.isEmpty())
        return failure(problem);
    const qint64 size = QFileInfo(path).size();

    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const QString before = firmwareVersion();
    if (!call.parser.isSet(kYes)
        && !confirm(QStringLiteral("Update the instrument %1 (firmware %2) from %3 (%4 bytes, %5)? Keep it "
                                   "connected and powered until the update ends.")
                        .arg(QString::fromUtf8(GetSerialNum()), before, path)
                        .arg(size)
                        .arg(packetCount(size))))
        return failure(QStringLiteral("not updated (answer y, or add --yes to update without asking)"));
    PacketWatcher packets(call.context.quiet);
    const QString answer =
        executeLine(QStringLiteral("systemupdate;") + path,
                    QStringLiteral("Updating the firmware (%1, each digested; up to 50 s per packet)").arg(packetCount(size)),
                    call.context.quiet, [&packets](const QString& a) {
                        packets.stop();
                        return a == QLatin1String("SYSTEM 0x00");
                    });
    if (answer != QLatin1String("SYSTEM 0x00"))
        return updateFailure(answer);
    const QString after = firmwareVersion();
    if (after == before)
        return failure(QStringLiteral("the instrument took the file but still reports firmware %1: the update did "
                                      "not take effect (is %2 a Vireo2 firmware image?)")
                           .arg(after, path));
    printOut(QStringLiteral("Firmware updated: %1 -> %2\n").arg(before, after));
    return ExitOk;
}

} // namespace

Subcommand firmwareCommand()
{
    Subcommand command;
    command.name = QStringLiteral("firmware");
    command.synopsis = QStringLiteral("FILE");
    command.summary = QStringLiteral("Update the instrument's firmware from a file");
    command.description = QStringLiteral(
        "Shows the instrument, its firmware and the file, asks (unless --yes), sends\n"
        "FILE in packets of 1,000,000 bytes, waiting for the instrument to digest each,\n"
        "and prints the firmware version before and after. An update after which the\n"
        "instrument reports the same version is a failure.");
    command.options = {QCommandLineOption(kYes, QStringLiteral("Update without asking."))};
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
