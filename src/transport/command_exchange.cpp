#include <QElapsedTimer>
#include <QThread>
#include <cstring>

#include "transport/ctransport.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

// Bounds on what an instrument may ask for in an in-progress reply, so that a
// corrupt or hostile reply cannot park the caller for days.
constexpr qint32 kMaxPollDelayMs = 60000;
constexpr qint32 kMaxPollWaitMs = 600000;
// Polls never wait less than this for their reply.
constexpr qint64 kPollTimeoutFloorMs = 5000;
constexpr qint32 kLaterPollDelayMs = 100;

QByteArray pollCommand(const QString& lastCommand, const char* suffix)
{
    const QString firstWord = lastCommand.split(QLatin1Char(' ')).value(0);
    return firstWord.toUtf8() + suffix;
}

} // namespace

bool CTransport::transfer(const char* bytes, int length, QByteArray& response, int timeoutMs, bool packetMode,
                          ReplyDestination*)
{
    if (!(packetMode ? Send(bytes, length) : SendRaw(bytes, length)))
        return false;
    return packetMode ? RecvPacket(response, timeoutMs) : Receive(response, timeoutMs) != 0;
}

bool CTransport::exchange(const char* command, QByteArray& response, int timeoutMs, int length,
                          const PollingDialect& dialect, bool packetMode, ReplyDestination* destination)
{
    QElapsedTimer timer;
    timer.start();
    if (length == 0)
        length = int(std::strlen(command));
    const QString commandText = QString::fromUtf8(command, length);
    setLastCommand(commandText);
    timeoutMs = boundedReplyTimeout(timeoutMs);

    readAheadMs_ = 0;
    auto finish = [&] {
        lastExchangeTime_ = quint32(timer.elapsed()) + readAheadMs_;
        return true;
    };

    if (!transfer(command, length, response, timeoutMs, packetMode, destination) || response.isEmpty())
        return false;

    qint32 delayMs = 0;
    qint32 waitMs = 0;
    if (!dialect.inProgress(response, packetMode, &delayMs, &waitMs))
        return finish();

    const QByteArray poll = pollCommand(commandText, dialect.pollSuffix);
    delayMs = qBound(0, delayMs, kMaxPollDelayMs);
    qint64 receiveTimeoutMs = qBound(1, waitMs, kMaxPollWaitMs);
    const qint64 deadlineMs = timer.elapsed() + inProgressDeadlineMs(delayMs, qint32(receiveTimeoutMs));
    qint32 status = kStatusInProgress;
    while (status == kStatusInProgress) {
        if (timer.elapsed() + delayMs > deadlineMs) {
            SetError(errors::kReceiveTimeout, QStringLiteral("Receive: TIMEOUT - %1 still in progress after %2 ms")
                                 .arg(commandText.section(QLatin1Char(' '), 0, 0))
                                 .arg(timer.elapsed()));
            return false;
        }
        QThread::msleep(ulong(delayMs));
        // A poll's reply is not waited for beyond the deadline, except for
        // the floor every poll gets.
        const qint64 pollTimeoutMs = qMin(receiveTimeoutMs, qMax(deadlineMs - timer.elapsed(), kPollTimeoutFloorMs));
        if (!transfer(poll.constData(), poll.size(), response, boundedReplyTimeout(int(pollTimeoutMs)), packetMode,
                      destination))
            return false;
        receiveTimeoutMs = qMax(receiveTimeoutMs - timer.elapsed(), kPollTimeoutFloorMs);
        delayMs = kLaterPollDelayMs;
        status = dialect.status(response);
    }
    return finish();
}

} // namespace vireo2
