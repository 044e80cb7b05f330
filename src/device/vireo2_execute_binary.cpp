// ExecuteBinary: images pulled from the instrument in "|"-prefixed chunks
// (screen, video frame, digital loupe) and raw messages whose text header is
// followed by binary bytes (the chunks of an object push).
#include <QElapsedTimer>
#include <algorithm>
#include <cstring>

#include "device/port_lock.h"
#include "device/vireo2.h"
#include "transport/ctransport.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kCaptureTimeoutMs = 12000;
// An image that keeps announcing more after this much data, or for this
// long, has no end: the largest image the instrument sends (a video frame
// bitmap) is a few megabytes and arrives within seconds.
constexpr qint64 kLongestImageBytes = 32 * 1024 * 1024;
constexpr qint64 kLongestImageMs = 60000;

bool startsWithIgnoringCase(const unsigned char* message, int length, const char* prefix)
{
    const int n = int(std::strlen(prefix));
    return length >= 12 && qstrnicmp(reinterpret_cast<const char*>(message), prefix, uint(std::min(n, 12))) == 0;
}

// The text part of a message: up to the first zero byte or "|".
QString textPart(const unsigned char* message, int length)
{
    int end = 0;
    while (end < length && message[end] != 0 && message[end] != '|')
        ++end;
    return QString::fromUtf8(reinterpret_cast<const char*>(message), end);
}

} // namespace

int Vireo2::ExecuteBinary(const unsigned char* message, int messageLength, int timeoutMs, unsigned char* buffer,
                          int bufferSize)
{
    if (!IsConnected())
        return 0;
    PortLock lock(*this);
    if (lock.failed())
        return 0;
    timeoutMs = CTransport::boundedReplyTimeout(timeoutMs);
    log_->setSentText(textPart(message, messageLength));
    log_->setTimeout(quint32(qMax(timeoutMs, 0)));
    log_->setReceivedText(QString());

    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(message), messageLength);
    if (startsWithIgnoringCase(message, messageLength, "CaptureImage")) {
        return receiveImage({{QStringLiteral("VideoFrame Capture"), QStringLiteral("VideoFrame Process Screen")},
                             QStringLiteral("VideoFrame Receive Screen !"), QStringLiteral("VideoFrame Receive Screen"),
                             QStringLiteral("FAILED VideoFrame Receive Screen: Code 0x%02X"),
                             QStringLiteral("FAILED VideoFrame Receive Screen: Invalid bitmap data")},
                            timeoutMs, buffer, bufferSize);
    }
    if (startsWithIgnoringCase(message, messageLength, "CaptureScreen")) {
        return receiveImage({{QStringLiteral("Screen Capture")}, QStringLiteral("Screen Receive !"),
                             QStringLiteral("Screen Receive"), QStringLiteral("FAILED Screen Receive : Code 0x%02X"),
                             QStringLiteral("FAILED Screen Receive : Invalid bitmap data")},
                            timeoutMs, buffer, bufferSize);
    }
    if (text.contains(QLatin1String("digitalloupeget"))) {
        const QStringList words = text.split(QLatin1Char(' '));
        if (words.size() != 2)
            return 0;
        return receiveImage({{QStringLiteral("digitalloupe get ") + words.at(1)}, QStringLiteral("digitalloupe receive !"),
                             QStringLiteral("digitalloupe receive"), QStringLiteral("FAILED digitalloupe Receive : Code 0x%02X"),
                             QStringLiteral("FAILED digitalloupe Receive : Invalid jpg data")},
                            timeoutMs, buffer, bufferSize);
    }
    return sendRaw(message, messageLength, timeoutMs, buffer, bufferSize);
}

// One message out, one reply in, as much of it as the buffer holds.
int Vireo2::sendRaw(const unsigned char* message, int messageLength, int timeoutMs, unsigned char* buffer,
                    int bufferSize)
{
    CTransport* transport = transport_.load();
    QByteArray reply;
    QElapsedTimer timer;
    timer.start();
    if (!transport || !transport->Send(reinterpret_cast<const char*>(message), messageLength)
        || !transport->RecvPacket(reply, timeoutMs)) {
        if (transport)
            log_->LogError(transport->GetErrorCode(), transport->GetErrorMessage());
        return 0;
    }
    const int n = std::min(int(reply.size()), std::max(bufferSize, 0));
    if (n > 0)
        std::memcpy(buffer, reply.constData(), size_t(n));
    log_->setReceivedText(QString::fromUtf8(reply.left(int(LogHelper::sizeLimit()))));
    log_->setElapsed(quint32(timer.elapsed()));
    if (log_->debug())
        log_->LogExchange();
    return n;
}

// The image modes: the preparing commands, then receives until the
// instrument stops answering "more follows"; what does not fit the buffer is
// read and dropped.
int Vireo2::receiveImage(const ImageReceive& mode, int timeoutMs, unsigned char* buffer, int bufferSize)
{
    QByteArray reply;
    for (const QString& command : mode.prepare) {
        if (Transact(command, reply, kCaptureTimeoutMs) != 0)
            return 0;
    }
    QString receive = mode.receiveFirst;
    int total = 0;
    int remaining = std::max(bufferSize, 0);
    qint64 received = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    while (IsConnected()) {
        if (received > kLongestImageBytes || elapsed.elapsed() > kLongestImageMs) {
            const QString family = mode.codeText.left(mode.codeText.indexOf(QLatin1String("Code")));
            log_->LogError(errors::kReceiveTimeout, family + QStringLiteral("TIMEOUT - image not complete after %1 bytes in %2 ms")
                                                         .arg(received)
                                                         .arg(elapsed.elapsed()));
            return 0;
        }
        CTransport* transport = transport_.load();
        if (!transport)
            return 0;
        const QByteArray command = receive.toUtf8();
        if (!transport->Send(command.constData(), command.size()) || !transport->RecvPacket(reply, timeoutMs)) {
            log_->LogError(transport->GetErrorCode(), transport->GetErrorMessage());
            return 0;
        }
        const qint32 status = ParseStatus(reply);
        if (status != 0 && status != kStatusMoreFollows) {
            log_->LogError(errors::kInvalidData, QString::asprintf(mode.codeText.toLatin1().constData(), unsigned(status)));
            return 0;
        }
        const int bar = reply.indexOf('|');
        if (bar < 0) {
            log_->LogError(errors::kInvalidData, mode.invalidText);
            return 0;
        }
        received += reply.size() - bar - 1;
        const int n = std::min(int(reply.size()) - bar - 1, remaining);
        if (n > 0) {
            std::memcpy(buffer + total, reply.constData() + bar + 1, size_t(n));
            total += n;
            remaining -= n;
        }
        receive = mode.receiveNext;
        if (status != kStatusMoreFollows)
            return total;
    }
    return 0;
}

} // namespace vireo2
