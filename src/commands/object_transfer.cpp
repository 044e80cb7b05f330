#include "commands/object_transfer.h"

#include <QElapsedTimer>
#include <QThread>

#include "commands/command_context.h"
#include "commands/device_marks.h"
#include "transport/reply_parser.h"

namespace vireo2::transfer {
namespace {

constexpr int kChunkTimeoutMs = 10000;
constexpr int kChunkReplyBytes = 100;
constexpr int kClosingTimeoutMs = 10000;
constexpr int kFetchPollMs = 200;
constexpr int kListPollMs = 25;
constexpr int kListDeadlineMs = 20000;
constexpr int kListRequestMs = 5000;
constexpr int kListFirstMs = 10000;
constexpr int kListLaterMs = 2000;
constexpr int kEditSendMs = 10000;
constexpr int kEditCommandMs = 5000;

} // namespace

bool pushContinues(qint32 status)
{
    return status == 0 || status == kStatusInProgress || status == kStatusNothingNew;
}

bool payloadOf(const QByteArray& reply, QByteArray* payload)
{
    const int bar = reply.indexOf('|');
    if (bar < 0 || bar + 1 >= reply.size())
        return false;
    *payload = reply.mid(bar + 1);
    return true;
}

bool sendRaw(CommandContext& context, const QByteArray& message, int timeoutMs, QByteArray* reply)
{
    QByteArray buffer(kChunkReplyBytes, '\0');
    const int n = context.host.executeBinary(message, timeoutMs, &buffer);
    buffer.truncate(int(qstrnlen(buffer.constData(), uint(qMax(n, 0)))));
    *reply = buffer;
    return n > 0;
}

QList<QByteArray> pushMessages(const QByteArray& object, const QString& prefix, int chunkSize)
{
    QList<QByteArray> chunks;
    int offset = 0;
    for (;;) {
        const int size = std::min(chunkSize, int(object.size()) - offset);
        chunks.append(object.mid(offset, size));
        offset += size;
        if (size < chunkSize)
            break;
    }
    QList<QByteArray> messages;
    for (int i = 0; i < chunks.size(); ++i) {
        const QByteArray header = QStringLiteral("%1 %2%3").arg(prefix).arg(chunks.size() - i - 1)
                                      .arg(i == 0 ? QStringLiteral(" ! |") : QStringLiteral(" |")).toUtf8();
        messages.append(header + chunks.at(i));
    }
    return messages;
}

QString push(CommandContext& context, const QByteArray& object, const QString& prefix, const QString& closing,
             int chunkSize)
{
    const TransferUnderway underway(context.host.marks());
    for (const QByteArray& message : pushMessages(object, prefix, chunkSize)) {
        QByteArray reply;
        sendRaw(context, message, kChunkTimeoutMs, &reply);
        if (!pushContinues(ParseStatus(reply)))
            return QString::fromUtf8(reply);
    }
    return QString::fromUtf8(context.exchange(closing, kClosingTimeoutMs).text);
}

QString fetch(CommandContext& context, const Fetch& how)
{
    if (!how.request.isEmpty()) {
        const CommandContext::Reply requested = context.exchange(how.request, how.requestTimeoutMs);
        if (!requested.ok())
            return QString::fromUtf8(requested.text);
    }
    const CommandContext::Reply first = context.exchange(firstReceive(how.receive), how.firstTimeoutMs);
    QByteArray payload;
    if (!payloadOf(first.text, &payload))
        return QString();
    QByteArray answer = how.resultPrefix.toUtf8() + payload;
    if (first.status == 0)
        return QString::fromUtf8(answer);
    if (first.status != kStatusMoreFollows)
        return QString::fromUtf8(first.text);
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        if (timer.elapsed() >= how.deadlineMs)
            return how.timeoutAnswer;
        QThread::msleep(kFetchPollMs);
        const CommandContext::Reply next = context.exchange(how.receive, how.laterTimeoutMs);
        if (next.status != 0 && next.status != kStatusMoreFollows)
            continue;
        if (!payloadOf(next.text, &payload))
            return QString();
        answer += payload;
        if (next.status == 0)
            return QString::fromUtf8(answer);
    }
}

QString firstReceive(const QString& receive)
{
    return receive + QStringLiteral(" !");
}

QString list(CommandContext& context, const QString& request, const QString& receive)
{
    context.exchange(request, kListRequestMs);
    const CommandContext::Reply first = context.exchange(firstReceive(receive), kListFirstMs);
    QByteArray payload;
    if (!payloadOf(first.text, &payload))
        return QString();
    QByteArray answer = payload;
    if (first.status == 0)
        return QString::fromUtf8(answer);
    QElapsedTimer timer;
    timer.start();
    qint32 status = first.status;
    bool inTime = false;
    while ((inTime = timer.elapsed() < kListDeadlineMs)) {
        QThread::msleep(kListPollMs);
        const CommandContext::Reply next = context.exchange(receive, kListLaterMs);
        if (!payloadOf(next.text, &payload))
            return QString();
        answer += payload;
        status = next.status;
        if (status != kStatusMoreFollows)
            break;
    }
    if (!inTime || status != 0)
        return QString();
    return QString::fromUtf8(answer);
}

QString edit(CommandContext& context, const QString& prefix, const QString& json, const QString& editCommand)
{
    if (!context.exchange(prefix + QStringLiteral(" send 0 ! |") + json, kEditSendMs).ok())
        return QString();
    const CommandContext::Reply edited = context.exchange(editCommand, kEditCommandMs);
    return edited.ok() ? QString::fromUtf8(edited.text) : QString();
}

} // namespace vireo2::transfer
