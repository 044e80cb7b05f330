#include "scanning/tr3_link.h"

#include <QElapsedTimer>

#include "scanning/tr3_commands.h"
#include "settings/log_helper.h"
#include "transport/bcp_packet.h"
#include "transport/ethernet_transport.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

// The two position polls whose unchanged replies are not logged again.
bool isFilteredPoll(const QString& command)
{
    return command == QLatin1String(tr3::kPollQM) || command == QLatin1String(tr3::kPollLS);
}

// Each logged exchange shows its time against this budget (ms).
constexpr int kLoggedBudgetMs = 5000;

} // namespace

Tr3Link::Tr3Link(LogHelper& log) : log_(log) {}

Tr3Link::~Tr3Link()
{
    close();
}

bool Tr3Link::open(const QString& address)
{
    address_ = address;
    if (!connectTransport(QStringLiteral("Unable to connect to TR3 - ")))
        return false;
    lastPollReply_.clear();
    return true;
}

bool Tr3Link::reopen()
{
    return connectTransport(QString());
}

bool Tr3Link::connectTransport(const QString& failurePrefix)
{
    close();
    transport_ = std::make_unique<CEthernet>();
    // The follow-up read of a data reply must end after its own 100 ms.
    transport_->setReadBoundedByTimeout(true);
    if (!transport_->OpenPort(address_.toLatin1())) {
        log_.LogErrorOnly(transport_->GetErrorCode(), failurePrefix + transport_->GetErrorMessage());
        transport_.reset();
        return false;
    }
    // The track greets a new connection; the greeting is no reply.
    QByteArray greeting;
    transport_->Receive(greeting, kGreetingReadMs);
    return true;
}

void Tr3Link::close()
{
    if (transport_)
        transport_->ClosePort();
    transport_.reset();
}

bool Tr3Link::transportOpen() const
{
    return transport_ && transport_->IsConnected();
}

bool Tr3Link::parseStatus(const QByteArray& reply, qint32* status)
{
    if (reply.size() < 2 || reply.at(0) != '<')
        return false;
    int end = 1;
    while (end < reply.size() && end < 9 && isxdigit(static_cast<unsigned char>(reply.at(end))))
        ++end;
    if (end == 1)
        return false;
    bool ok = false;
    const qint32 value = qint32(reply.mid(1, end - 1).toUInt(&ok, 16));
    if (ok && status)
        *status = value;
    return ok;
}

qint32 Tr3Link::exchange(const QString& command, QByteArray& reply)
{
    reply.clear();
    if (!transport_) {
        log_.setError(errors::kSendNotConnected, errors::kSendNotConnected.message());
        return failed(command, reply);
    }
    const QByteArray bytes = command.toLatin1();
    if (!transport_->SendReceive(bytes.constData(), reply, kExchangeTimeoutMs, 0)) {
        log_.setError(transport_->GetErrorCode(), transport_->GetErrorMessage());
        return failed(command, reply);
    }
    quint32 elapsedMs = transport_->lastExchangeTime();
    qint32 status = 0;
    if (!parseStatus(reply, &status)) {
        status = 0;
        QElapsedTimer timer;
        timer.start();
        QByteArray more;
        if (transport_->Receive(more, kFollowUpReadMs) == 0) {
            log_.setError(transport_->GetErrorCode(), transport_->GetErrorMessage());
            return failed(command, reply);
        }
        elapsedMs += quint32(timer.elapsed());
        appendFollowUp(reply, more);
    }
    // The track's own status, and a text that agrees with it.
    log_.setError(status, QString::asprintf("<%02X>", unsigned(status)));
    log_.setElapsed(elapsedMs);
    if (isFilteredPoll(command) && repeatedPoll(command, reply))
        return status;
    // A halt of a head that has already stopped may be refused: no error.
    if (status != 0 && command != QLatin1String(tr3::kHalt)) {
        logExchange(true, command, reply, elapsedMs);
        return status;
    }
    if (log_.scanDebug())
        logExchange(false, command, reply, elapsedMs);
    return status;
}

bool Tr3Link::drain(int timeoutMs)
{
    if (!transportOpen())
        return true;
    QElapsedTimer timer;
    timer.start();
    QByteArray bytes;
    do {
        if (timer.elapsed() >= kDrainLimitMs)
            return false;
        transport_->Receive(bytes, timeoutMs);
    } while (!bytes.isEmpty() && transportOpen());
    return true;
}

qint32 Tr3Link::failed(const QString& command, const QByteArray& reply)
{
    logExchange(true, command, reply, transport_ ? transport_->lastExchangeTime() : 0);
    return log_.errorCode();
}

bool Tr3Link::repeatedPoll(const QString& command, const QByteArray& reply)
{
    const char first = reply.isEmpty() ? '\0' : reply.at(0);
    const auto previous = lastPollReply_.constFind(command);
    if (previous != lastPollReply_.constEnd() && previous.value() == first)
        return true;
    lastPollReply_.insert(command, first);
    return false;
}

// The follow-up read returns raw bytes; a complete packet gives its payload.
void Tr3Link::appendFollowUp(QByteArray& reply, const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    QByteArray payload = bytes;
    if (bcp::validate(payload, bcp::LengthRule::Exact) == bcp::Validity::Valid)
        bcp::unwrap(payload);
    reply += payload;
}

void Tr3Link::logExchange(bool error, const QString& command, const QByteArray& reply, quint32 elapsedMs)
{
    const QString text = error ? QStringLiteral("%1/%2 - **ERROR** - TR3SEND:%3 - TR3RECV:%4")
                               : QStringLiteral("%1/%2 - TR3SEND:%3 - TR3RECV:%4");
    log_.WriteLine(text.arg(elapsedMs).arg(kLoggedBudgetMs).arg(command, QString::fromLatin1(reply)));
}

} // namespace vireo2
