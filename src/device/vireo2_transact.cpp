// The command exchange of the device: every instrument command of Vireo2
// passes through Transact, which guards the exchange, reads the status,
// writes the communication log and keeps the error record.
#include "device/vireo2.h"

#include <QElapsedTimer>
#include <QThread>

#include "commands/command_context.h"
#include "device/error_record_keeper.h"
#include "transport/ctransport.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {


// Power-state check: the instrument dozes between readings; commands that
// need the optics first wake it and wait until it reports "active".
const QString kPowerStateQuery = QStringLiteral("spectro system state");
const QString kPowerWake = QStringLiteral("spectro system wake");
constexpr int kPowerCommandTimeoutMs = 3000;
constexpr int kPowerPollIntervalMs = 100;
constexpr int kPowerWakeLimitMs = 5000;

// The polled commands: their unchanged "nothing new" replies are logged once.
QString polledCommandKey(const QString& lowerCommand)
{
    if (lowerCommand.left(8) == QLatin1String("scan get"))
        return QStringLiteral("scan get");
    if (lowerCommand == QLatin1String("meas done?") || lowerCommand == QLatin1String("scan done?") ||
        lowerCommand == QLatin1String("button triggered?"))
        return lowerCommand;
    return QString();
}

// Commands whose transport failure must not tear the connection down: the
// background polls and the power-state commands.
bool failsSoftly(const QString& command)
{
    const QString lower = command.toLower();
    return lower.left(8) == QLatin1String("scan get") || lower.left(14) == QLatin1String("spectro system") ||
           command == QLatin1String("meas done?") || command == QLatin1String("button triggered?");
}

// Commands that need the optics awake.
bool needsAwakeInstrument(const QString& command)
{
    QString compact = command.toLower();
    compact.remove(QLatin1Char(' '));
    return compact.contains(QLatin1String("measrun")) || compact.contains(QLatin1String("scanacquirestart")) ||
           compact.contains(QLatin1String("videotargetingon"));
}

// The reply as the log and error record keep it: no more than the log can
// ever hold (its size limit), with the full length noted after a cut, so a
// reply of megabytes is not copied and converted only to be thrown away.
QString loggableReply(const QByteArray& reply)
{
    const qint64 limit = LogHelper::sizeLimit();
    if (reply.size() <= limit)
        return QString::fromUtf8(reply);
    int cut = int(limit);
    while (cut > 0 && (uchar(reply.at(cut)) & 0xC0) == 0x80)
        --cut;
    return QString::fromUtf8(reply.constData(), cut) + QStringLiteral("... (%1 bytes)").arg(reply.size());
}

// A reply kept beyond the exchange gets bytes of its own: the response may
// be a view of memory the caller will reuse.
QByteArray ownCopy(const QByteArray& reply)
{
    return QByteArray(reply.constData(), reply.size());
}

// "<%02X>": a status is written into the error record after every
// exchange, so the usual one-byte values are spelled without a formatter.
QString hexStatus(qint32 status)
{
    if (status < 0 || status > 0xFF)
        return QString::asprintf("<%02X>", unsigned(status));
    static const char digits[] = "0123456789ABCDEF";
    const QChar text[] = {QLatin1Char('<'), QLatin1Char(digits[status >> 4]), QLatin1Char(digits[status & 0xF]),
                          QLatin1Char('>')};
    return QString(text, 4);
}

} // namespace

qint32 Vireo2::Transact(const QString& command, QByteArray& response, int timeoutMs, int length,
                        ReplyDestination* destination)
{
    QString noReplyCause;
    const qint32 status = transactOnce(command, response, timeoutMs, length, &noReplyCause, destination);
    noReply_ = !noReplyCause.isEmpty();
    noReplyCause_ = noReplyCause;
    return status;
}

qint32 Vireo2::transactOnce(const QString& command, QByteArray& response, int timeoutMs, int length,
                            QString* noReplyCause, ReplyDestination* destination)
{
    // Every way out without a reply says why, for the callers' own messages.
    *noReplyCause = errors::kNoConnection.message();
    // The logged command stops just after its first "|": what follows is a
    // payload (JSON, binary) that does not belong in the log.
    const int commandBar = command.indexOf(QLatin1Char('|'));
    const QString logged = commandBar > 0 ? command.left(commandBar + 1) : command;
    auto beginRecord = [&] {
        log_->setSentText(logged);
        log_->setTimeout(quint32(qMax(timeoutMs, 0)));
        log_->setReceivedText(QString());
    };
    beginRecord();

    const QByteArray bytes = command.toUtf8();
    if (length <= 0 || length > bytes.size())
        length = bytes.size();

    if (!instrumentPresent_) {
        noReplyCause->clear();
        return simulatedReply(command, response);
    }

    if (!transport_.load()) {
        ErrorRecordKeeper keep(*log_);
        ClosePort();
        return errors::kNoConnection;
    }
    if (disconnecting_ || (!connected_ && !connecting_))
        return errors::kNoConnection;

    if (firmwareGateOn() && needsAwakeInstrument(command)) {
        if (!powerStateCheck()) {
            const QString why = QString::fromLatin1(log_->errorText());
            if (log_->errorCode() != 0 && !why.isEmpty() && !why.startsWith(QLatin1Char('<')))
                *noReplyCause = why;
            return errors::kNoConnection;
        }
        beginRecord();
    }

    CTransport* transport = transport_.load();
    if (!transport)
        return errors::kNoConnection;
    response.clear();
    if (!transport->SendReceive(bytes.constData(), response, timeoutMs, length, destination)) {
        const qint32 code = transport->GetErrorCode();
        *noReplyCause = transport->GetErrorMessage();
        log_->LogError(code, *noReplyCause);
        if (code == errors::kExchangeInProgress)
            return code;
        if (failsSoftly(command))
            return -1;
        ErrorRecordKeeper keep(*log_);
        ClosePort();
        return code;
    }
    noReplyCause->clear();

    // A reply carrying a payload after "|" is logged only up to where the
    // command's own payload began.
    // (Only a command that carried a payload can shorten the logged reply,
    // so only then is the reply searched for its "|".)
    QByteArray loggedReply = response;
    const int replyBar = commandBar >= 0 ? response.indexOf('|') : -1;
    if (replyBar > 0) {
        const bool jsonFollows = replyBar + 1 < response.size() && response.at(replyBar + 1) == '{';
        if (!jsonFollows || response.size() > 150)
            loggedReply = response.left(commandBar);
    }
    log_->setReceivedText(loggableReply(loggedReply));
    log_->setElapsed(transport->lastExchangeTime());

    const qint32 status = ParseStatus(response);
    const QString lower = command.toLower();
    const QString polledKey = polledCommandKey(lower);

    // With debug logging on, "nothing new" (7) is settled here: a poll's
    // unchanged answer is logged once and leaves the error record alone, any
    // other command shows "<07>". Without debug logging, 7 takes the ordinary
    // paths below like any other status.
    if (status == kStatusNothingNew && log_->debug()) {
        if (!polledKey.isEmpty()) {
            if (lastPolledReply_.value(polledKey) != response)
                log_->LogExchange();
            lastPolledReply_.insert(polledKey, ownCopy(response));
            return status;
        }
        log_->LogExchange();
        log_->setError(status, QStringLiteral("<07>"));
        return status;
    }

    if (lower == QLatin1String("meas done?")) {
        if (log_->debug() && lastPolledReply_.value(polledKey) != response)
            log_->LogExchange();
        lastPolledReply_.insert(polledKey, ownCopy(response));
        log_->setError(status, hexStatus(status));
        return status;
    }

    if (polledKey == QLatin1String("scan get")) {
        if (log_->debug()) {
            log_->setReceivedText(log_->receivedText() +
                                  QString::asprintf("SCAN 0x%02X - %d bytes", unsigned(status), int(response.size())));
            log_->LogExchange();
        }
        log_->setError(status, QStringLiteral("<%1>").arg(status, 2, 16, QLatin1Char('0')));
        return status;
    }

    if (status != 0 && status != kStatusNothingNew && status != kStatusMoreFollows) {
        log_->LogError(status, QString::asprintf("FAILED: Status Error %02X", unsigned(status)));
        return status;
    }
    // The text agrees with the code: "<00>" after a success, not the text
    // of an earlier failure.
    log_->setError(status, hexStatus(status));
    if (log_->debug())
        log_->LogExchange();
    return status;
}

QString Vireo2::SendCommand(const QString& command, int timeoutMs)
{
    return QString::fromUtf8(sendCommandBytes(command, timeoutMs));
}

QByteArray Vireo2::sendCommandBytes(const QString& command, int timeoutMs, ReplyDestination* destination)
{
    QByteArray response;
    const qint32 status = Transact(command, response, qMax(timeoutMs, CommandContext::kShortTimeoutMs), 0, destination);
    return status == 0 ? response : QByteArray();
}

// The gate is open for firmware from 2.x, 1.1 or build 192 on: versions
// before those do not doze and need no wake-up.
void Vireo2::setFirmwareVersion(const QString& version)
{
    firmwareVersion_ = version;
    firmwareGateOn_ = firmwareHasGate(version);
}

bool Vireo2::firmwareHasGate(const QString& version)
{
    const QStringList parts = version.split(QLatin1Char('.'));
    if (parts.size() < 3)
        return false;
    const int major = parts.at(0).toInt();
    const int minor = parts.at(1).toInt();
    const int build = parts.at(2).toInt();
    return !(major < 2 && minor < 1 && build < 192);
}

// "spectro system state" answers "SPECTRO 0x00 <state>" with the state
// "active", "waking" or "asleep"; "spectro system wake" starts waking the
// instrument. Both fail softly (-1) on a transport error, so a failed check
// leaves the connection up.
bool Vireo2::powerStateCheck()
{
    auto isActive = [this](qint32& status) {
        QByteArray reply;
        status = Transact(kPowerStateQuery, reply, kPowerCommandTimeoutMs);
        return status == 0 && ResponseValue(reply).trimmed().compare(QLatin1String("active"), Qt::CaseInsensitive) == 0;
    };
    qint32 status = 0;
    if (isActive(status))
        return true;
    if (status != 0)
        return false;
    QByteArray reply;
    if (Transact(kPowerWake, reply, kPowerCommandTimeoutMs) != 0)
        return false;
    QElapsedTimer waking;
    waking.start();
    while (waking.elapsed() < kPowerWakeLimitMs) {
        QThread::msleep(kPowerPollIntervalMs);
        if (isActive(status))
            return true;
        if (status != 0)
            return false;
    }
    log_->LogErrorOnly(errors::kWakeFailed, errors::kWakeFailed.message());
    return false;
}

// Answers for a library run without an instrument.
qint32 Vireo2::simulatedReply(const QString& command, QByteArray& response)
{
    const QString lower = command.toLower();
    if (lower == QLatin1String("version"))
        response = "VERSION 0x00 Hueron Vireo2 0.5.398";
    else if (lower == QLatin1String("meas done?"))
        response = "MEAS 0x07";
    else if (lower == QLatin1String("sn"))
        response = "SN 0x00 123456";
    else if (lower == QLatin1String("cal query status"))
        response = "CAL 0x00 OK 24";
    else
        response = "<00>";
    return lower == QLatin1String("meas done?") ? kStatusNothingNew : 0;
}

} // namespace vireo2
