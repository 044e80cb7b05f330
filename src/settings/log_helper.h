#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include "threading/locks.h"
#include <QString>

#include "settings/repeat_filter.h"

namespace vireo2 {

// The device's error record and communication log in one: keeps the last
// error code and text returned by GetLastErrorCode/GetLastErrorString, the
// exchange being logged, and appends timestamped lines to "spectro.log".
// Error lines are always written, exchange lines only with Options/Debug=1,
// timing marks only with Options/Profile=1. Safe to use from several threads.
class LogHelper {
public:
    static constexpr qint64 kDefaultSizeLimit = 64000;
    static constexpr qint64 kDebugSizeLimit = 640000;

    LogHelper();

    // Reads Options/* and Data/Path from "spectro.ini" in the current
    // directory and fixes the log file name.
    void LoadOptions();

    void WriteLine(const QString& message);
    // Writes the error line for the current exchange, then stores the record.
    void LogError(qint32 code, const QString& message);
    // Forgets the exchange first, so the line reads "**ERROR** <message>".
    void LogErrorOnly(qint32 code, const QString& message);
    // Writes "<elapsed>/<timeout> ms - SEND:... - RECV:...".
    void LogExchange();
    // Writes "<ms since previous mark>: <label>" when profiling is on; always
    // restarts the shared mark timer.
    void ProfileMark(const QString& label = QString());

    bool debug() const { return debug_; }
    bool profile() const { return profile_; }
    bool scanDebug() const { return scanDebug_; }

    qint32 errorCode() const;
    void setErrorCode(qint32 code);
    QByteArray errorText() const;            // Latin-1 bytes
    void setErrorText(const QString& text);  // stored as Latin-1
    // Both at once, as one consistent record.
    void setError(qint32 code, const QString& text);
    // Stores the pair in the record the host reads, also from background
    // work that otherwise keeps its own record: why a scan failed.
    void publishError(qint32 code, const QString& text);

    QString sentText() const;
    void setSentText(const QString& text);
    QString receivedText() const;
    void setReceivedText(const QString& text);
    void setTimeout(quint32 ms);
    void setElapsed(quint32 ms);
    // Clears the sent and received texts (the next error line has no exchange).
    void clearExchange();

    QString logFilePath() const;
    // The folder of the log (ending in '/'), where the strip files go too.
    const QString& logFolder() const { return logFolder_; }
    static qint64 sizeLimit();
    static void setSizeLimit(qint64 bytes);

    // The local-time timestamp "y/M/d h:m:s.z" without padding.
    static QString timestamp();

    // While one lives on a thread, the error record that thread reads and
    // writes through this log is a private copy, starting from the shared
    // record. Background work (the status check) logs its failures this way
    // without changing, even for a moment, the record the host reads.
    class PrivateErrorRecord {
    public:
        explicit PrivateErrorRecord(LogHelper& log);
        ~PrivateErrorRecord();
        PrivateErrorRecord(const PrivateErrorRecord&) = delete;
        PrivateErrorRecord& operator=(const PrivateErrorRecord&) = delete;

    private:
        friend class LogHelper;
        const LogHelper& log_;
        PrivateErrorRecord* outer_;
        qint32 code_;
        QByteArray text_;
    };

private:
    // This thread's private record for this log, or null.
    PrivateErrorRecord* privateRecord() const;

    void appendToFile(const QByteArray& bytes);
    void rotate();
    QString errorLine(const QString& message) const;

    mutable Mutex recordMutex_;
    Mutex fileMutex_;
    RepeatFilter repeats_;
    QString logFolder_;
    QString logPath_;
    qint32 errorCode_ = 0;
    QByteArray errorText_;
    QString sentText_;
    QString receivedText_;
    quint32 timeout_ = 0;
    quint32 elapsed_ = 0;
    bool profile_ = false;
    bool debug_ = false;
    bool scanDebug_ = false;
};

} // namespace vireo2
