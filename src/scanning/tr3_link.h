#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <memory>

namespace vireo2 {

class CEthernet;
class LogHelper;

// The TCP link to the TR3 track. Commands are short ASCII codes ("01pk",
// "xp", "07xm", ...) carried in BCP packets like the instrument's. A reply
// that starts with a status in angle brackets ("<00>") is complete; any
// other (a data reply such as the park status "1") gets exactly one further
// read of at most 100 ms whose bytes are appended. Not locked: callers hold
// the device's operation lock.
class Tr3Link {
public:
    static constexpr int kExchangeTimeoutMs = 3000;
    static constexpr int kFollowUpReadMs = 100;
    static constexpr int kGreetingReadMs = 200;

    explicit Tr3Link(LogHelper& log);
    ~Tr3Link();

    // Opens the link ("host:port"); on failure records the transport's code
    // with "Unable to connect to TR3 - <transport text>". Reads and drops the
    // track's greeting.
    bool open(const QString& address);
    // Opens it again on the stored address after the track dropped it; on
    // failure records the transport's code and text.
    bool reopen();
    void close();
    // The transport reports itself connected.
    bool transportOpen() const;

    // One command and its reply. Returns the track's status (0 accepted),
    // or the transport's error code when the exchange failed.
    qint32 exchange(const QString& command, QByteArray& reply);
    // Reads and drops input while it keeps arriving (each read `timeoutMs`),
    // for at most kDrainLimitMs; false when the track was still sending then.
    static constexpr int kDrainLimitMs = 1000;
    bool drain(int timeoutMs);

    // The status of a "<%x>" reply; false when the reply has none.
    static bool parseStatus(const QByteArray& reply, qint32* status);

private:
    // Opens the transport on address_ and drops the greeting; a failure is
    // recorded with the transport's code and `failurePrefix` + its text.
    bool connectTransport(const QString& failurePrefix);
    qint32 failed(const QString& command, const QByteArray& reply);
    bool repeatedPoll(const QString& command, const QByteArray& reply);
    void appendFollowUp(QByteArray& reply, const QByteArray& bytes);
    void logExchange(bool error, const QString& command, const QByteArray& reply, quint32 elapsedMs);

    LogHelper& log_;
    std::unique_ptr<CEthernet> transport_;
    QString address_;
    // First character of the previous reply of each filtered poll.
    QMap<QString, char> lastPollReply_;
};

} // namespace vireo2
