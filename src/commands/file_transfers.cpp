// The file-sized jobs of Execute: the clone (backup) saved to a file and
// restored from one, and the firmware update pushed packet by packet with a
// wait for the instrument to digest each.
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include "commands/command_context.h"
#include "commands/command_handlers.h"
#include "commands/command_error.h"
#include "commands/object_transfer.h"
#include "settings/bounded_file.h"
#include "settings/log_helper.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kCloneChunk = 1000000;
constexpr int kCloneRequestMs = 10000;
constexpr int kCloneReceiveMs = 10000;
constexpr int kCloneDeadlineMs = 60000;
constexpr int kPollMs = 200;
constexpr int kPacketBytes = 1000000;
constexpr int kPacketTimeoutMs = 30000;
constexpr int kDigestPollMs = 10000;
constexpr int kDigestDeadlineMs = 20000;
// Firmware images and clones go out whole from memory (the chunks are cut
// from one copy); neither comes near this, and a larger file is refused
// before it is read.
constexpr qint64 kLargestTransferFile = 256 * 1024 * 1024;
// The longest the update waits for a running status check to let go.
constexpr int kStatusCheckWaitMs = 5000;

const QString kCloneDone = QStringLiteral("CLONE 0x00");
const QString kCloneFailed = QStringLiteral("CLONE 0x01");
const QString kUpdateDone = QStringLiteral("SYSTEM 0x00");
const QString kUpdateFailed = QStringLiteral("SYSTEM 0x01");

// Each payload is added to the file as it arrives; the file is not emptied
// first, so saving onto an existing file extends it.
void appendToFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append))
        file.write(bytes);
}

// A file that cannot be opened reads as empty (and goes out as one empty
// chunk); one over kLargestTransferFile records kInvalidArgument and gives false.
bool readTransferFile(CommandContext& context, const QString& path, const char* operation, QByteArray* bytes)
{
    if (BoundedFile::read(path, kLargestTransferFile, bytes) != BoundedFile::TooLarge)
        return true;
    context.host.log().LogErrorOnly(errors::kInvalidArgument,
                                    QStringLiteral("FAILED %1: File larger than %2 bytes: %3")
                                        .arg(QLatin1String(operation))
                                        .arg(kLargestTransferFile)
                                        .arg(path));
    return false;
}

using transfer::payloadOf;
using transfer::sendRaw;

} // namespace

QString userProfileGet(CommandContext& context)
{
    const QString path = context.line.word(1);
    const CommandContext::Reply created = context.exchange(QStringLiteral("clone create"), kCloneRequestMs);
    if (created.status != 0 && created.status != 7)
        return QString();
    const CommandContext::Reply first = context.exchange(QStringLiteral("clone receive !"), kCloneReceiveMs);
    QByteArray payload;
    if (!payloadOf(first.text, &payload))
        return kCloneFailed;
    appendToFile(path, payload);
    if (first.status == 0)
        return kCloneDone;
    if (first.status != kStatusMoreFollows)
        return QString();
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        // At the deadline the transfer is over, whatever arrived.
        if (timer.elapsed() >= kCloneDeadlineMs)
            return kCloneDone;
        QThread::msleep(kPollMs);
        const CommandContext::Reply next = context.exchange(QStringLiteral("clone receive"), kCloneReceiveMs);
        if (next.status != 0 && next.status != kStatusMoreFollows)
            continue;
        if (!payloadOf(next.text, &payload))
            return kCloneFailed;
        appendToFile(path, payload);
        if (next.status == 0)
            return kCloneDone;
    }
}

QString userProfileSet(CommandContext& context)
{
    QByteArray clone;
    if (!readTransferFile(context, context.line.word(1), "userProfileSet", &clone))
        return QString();
    return transfer::push(context, clone, QStringLiteral("clone send"), QStringLiteral("clone restore"), kCloneChunk);
}

// systemupdate PATH: a path with blanks must come after ";" — with blanks
// as separators the words after the command are run together once more
// behind word 1, as the instrument's other hosts have always done.
QString systemUpdate(CommandContext& context)
{
    QString path = context.line.word(1);
    if (context.line.size() > 2)
        path += context.line.words().mid(1).join(QString());
    LogHelper& log = context.host.log();
    log.WriteLine(QStringLiteral("SYSTEM UPDATE CASE"));
    log.WriteLine(QStringLiteral("FILE PATH ") + path);
    CommandHost& host = context.host;
    // Cleared for the whole update, set again on every way out.
    const TransferUnderway underway(host.marks());
    // A check runs only until it finds the lock taken (this command holds
    // it), so one that is still running after a few seconds is stuck.
    QElapsedTimer waited;
    waited.start();
    while (host.statusCheckRunning()) {
        if (waited.elapsed() >= kStatusCheckWaitMs) {
            log.LogErrorOnly(errors::kStatusCheckRunning,
                             errors::kStatusCheckRunning.message() + QStringLiteral(" after %1 ms").arg(waited.elapsed()));
            return kUpdateFailed;
        }
        log.WriteLine(QStringLiteral("Waiting for checkstatus"));
        QThread::msleep(kPollMs);
    }
    QByteArray image;
    if (!readTransferFile(context, path, "systemUpdate", &image)) {
        log.WriteLine(QStringLiteral("UPDATE FILE TOO LARGE"));
        return kUpdateFailed;
    }
    const QList<QByteArray> packets = transfer::pushMessages(image, QStringLiteral("system update"), kPacketBytes);
    image.clear();
    QString replies;
    for (int i = 0; i < packets.size(); ++i) {
        log.WriteLine(QStringLiteral("SYSTEM UPDATE SENDING PACKET: %1 of %2").arg(i).arg(packets.size()));
        if (!host.isConnected()) {
            log.WriteLine(QStringLiteral("DISCONNECTED"));
            return kUpdateFailed;
        }
        QByteArray reply;
        if (!sendRaw(context, packets.at(i), kPacketTimeoutMs, &reply))
            return kUpdateFailed;
        replies += QString::fromUtf8(reply);
        const qint32 status = ParseStatus(reply);
        if (!transfer::pushContinues(status)) {
            log.WriteLine(QStringLiteral("BAD STATUS: %1").arg(status));
            return kUpdateFailed;
        }
        QElapsedTimer timer;
        timer.start();
        bool digested = false;
        while (!digested && timer.elapsed() < kDigestDeadlineMs) {
            sendRaw(context, QByteArrayLiteral("system done?"), kDigestPollMs, &reply);
            replies += QString::fromUtf8(reply);
            digested = reply.contains("0x00");
            if (!digested)
                QThread::msleep(kPollMs);
        }
        if (!digested) {
            log.WriteLine(QStringLiteral("Transfer of update file to device failed with error code : ") + replies);
            return replies;
        }
    }
    log.WriteLine(QStringLiteral("Transfer of update file to device completed sucessfully."));
    return kUpdateDone;
}

} // namespace vireo2
