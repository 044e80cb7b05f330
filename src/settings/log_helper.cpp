#include "settings/log_helper.h"
#include "threading/locks.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <atomic>

#include "settings/data_paths.h"
#include "settings/log_category.h"
#include "settings/settings_store.h"

namespace vireo2 {

namespace {

// Process-wide: one size limit for the log file and one timer for the marks.
std::atomic<qint64> gSizeLimit{LogHelper::kDefaultSizeLimit};

QElapsedTimer& markTimer()
{
    static QElapsedTimer timer;
    return timer;
}

Mutex& markMutex()
{
    static Mutex mutex;
    return mutex;
}

QString withoutLineBreaks(QString text)
{
    text.remove(QLatin1Char('\r'));
    text.remove(QLatin1Char('\n'));
    return text;
}

} // namespace

LogHelper::LogHelper() : logFolder_(paths::defaultDataDirectory())
{
    LoadOptions();
}

void LogHelper::LoadOptions()
{
    QSettings ini(QDir::current().filePath(QStringLiteral("spectro.ini")), QSettings::IniFormat);
    const auto flag = [&ini](const char* key) {
        return isFlagOn(ini.value(QLatin1String(key), QStringLiteral("0")).toString());
    };
    profile_ = flag("Options/Profile");
    debug_ = flag("Options/Debug");
    scanDebug_ = flag("Options/ScanDebug");

    logFolder_ = paths::resolveDataPath(ini.value(QStringLiteral("Data/Path"), logFolder_).toString(), logFolder_);
    QDir().mkpath(logFolder_);
    logPath_ = logFolder_ + QStringLiteral("spectro.log");
    if (debug_) {
        gSizeLimit = kDebugSizeLimit;
        enableLibraryDebugMessages();
    }
}

QString LogHelper::timestamp()
{
    // The local-time conversion reads the C library's time-zone state; the
    // library's threads take turns at it under a lock of their own.
    static Mutex localTimeMutex;
    MutexLocker lock(&localTimeMutex);
    const QDateTime now = QDateTime::currentDateTime();
    const QDate d = now.date();
    const QTime t = now.time();
    return QStringLiteral("%1/%2/%3 %4:%5:%6.%7")
        .arg(d.year())
        .arg(d.month())
        .arg(d.day())
        .arg(t.hour())
        .arg(t.minute())
        .arg(t.second())
        .arg(t.msec());
}

void LogHelper::WriteLine(const QString& message)
{
    QString line = QStringLiteral("%1 - %2").arg(timestamp(), message);
    if (!line.endsWith(QLatin1String("\r\n")))
        line += QLatin1String("\r\n");
    appendToFile(line.toUtf8());
}

QString LogHelper::errorLine(const QString& message) const
{
    if (sentText_.isEmpty())
        return QStringLiteral("**ERROR** %1").arg(message);
    if (receivedText_.isEmpty())
        return QStringLiteral("xx/%1 ms **ERROR** %2- SEND:%3").arg(timeout_).arg(message, sentText_);
    return QStringLiteral("%1/%2 ms **ERROR** %3 - SEND:%4 - RECV:%5")
        .arg(elapsed_)
        .arg(timeout_)
        .arg(message, sentText_, receivedText_);
}

void LogHelper::LogError(qint32 code, const QString& message)
{
    QString line;
    QString kind;
    {
        MutexLocker lock(&recordMutex_);
        line = errorLine(message);
        kind = QStringLiteral("%1 %2 %3").arg(code).arg(message, sentText_);
    }
    // The line is in the file before the record shows the error, so a host
    // that sees the code finds its line in the log (a repeat finds the line
    // of its kind written within the last minute).
    QString note;
    if (repeats_.admit(kind, &note))
        WriteLine(line + note);
    setError(code, message);
}

void LogHelper::LogErrorOnly(qint32 code, const QString& message)
{
    clearExchange();
    LogError(code, message);
}

void LogHelper::LogExchange()
{
    QString line;
    {
        MutexLocker lock(&recordMutex_);
        // Commands of the "access" family carry credentials: never logged.
        if (sentText_.toLower().startsWith(QLatin1String("access")))
            return;
        sentText_ = withoutLineBreaks(sentText_);
        receivedText_ = withoutLineBreaks(receivedText_);
        line = QStringLiteral("%1/%2 ms - SEND:%3 - RECV:%4")
                   .arg(elapsed_)
                   .arg(timeout_)
                   .arg(sentText_, receivedText_);
    }
    WriteLine(line);
}

void LogHelper::ProfileMark(const QString& label)
{
    qint64 sinceLast = 0;
    {
        MutexLocker lock(&markMutex());
        QElapsedTimer& timer = markTimer();
        // A mark before any restart measures from the first use of the timer.
        sinceLast = timer.isValid() ? timer.elapsed() : 0;
        timer.restart();
    }
    if (profile_ && !label.isEmpty())
        WriteLine(QStringLiteral("%1: %2").arg(sinceLast).arg(label));
}

namespace {
thread_local LogHelper::PrivateErrorRecord* tPrivateRecord = nullptr;
} // namespace

LogHelper::PrivateErrorRecord::PrivateErrorRecord(LogHelper& log)
    : log_(log), outer_(tPrivateRecord), code_(log.errorCode()), text_(log.errorText())
{
    tPrivateRecord = this;
}

LogHelper::PrivateErrorRecord::~PrivateErrorRecord()
{
    tPrivateRecord = outer_;
}

LogHelper::PrivateErrorRecord* LogHelper::privateRecord() const
{
    for (PrivateErrorRecord* record = tPrivateRecord; record; record = record->outer_) {
        if (&record->log_ == this)
            return record;
    }
    return nullptr;
}

qint32 LogHelper::errorCode() const
{
    if (const PrivateErrorRecord* own = privateRecord())
        return own->code_;
    MutexLocker lock(&recordMutex_);
    return errorCode_;
}

void LogHelper::setErrorCode(qint32 code)
{
    if (PrivateErrorRecord* own = privateRecord()) {
        own->code_ = code;
        return;
    }
    MutexLocker lock(&recordMutex_);
    errorCode_ = code;
}

QByteArray LogHelper::errorText() const
{
    if (const PrivateErrorRecord* own = privateRecord())
        return own->text_;
    MutexLocker lock(&recordMutex_);
    return errorText_;
}

void LogHelper::setErrorText(const QString& text)
{
    if (PrivateErrorRecord* own = privateRecord()) {
        own->text_ = text.toLatin1();
        return;
    }
    MutexLocker lock(&recordMutex_);
    errorText_ = text.toLatin1();
}

void LogHelper::setError(qint32 code, const QString& text)
{
    if (PrivateErrorRecord* own = privateRecord()) {
        own->code_ = code;
        own->text_ = text.toLatin1();
        return;
    }
    MutexLocker lock(&recordMutex_);
    errorCode_ = code;
    errorText_ = text.toLatin1();
}

void LogHelper::publishError(qint32 code, const QString& text)
{
    if (PrivateErrorRecord* own = privateRecord()) {
        own->code_ = code;
        own->text_ = text.toLatin1();
    }
    MutexLocker lock(&recordMutex_);
    errorCode_ = code;
    errorText_ = text.toLatin1();
}

QString LogHelper::sentText() const
{
    MutexLocker lock(&recordMutex_);
    return sentText_;
}

void LogHelper::setSentText(const QString& text)
{
    MutexLocker lock(&recordMutex_);
    sentText_ = text;
}

QString LogHelper::receivedText() const
{
    MutexLocker lock(&recordMutex_);
    return receivedText_;
}

void LogHelper::setReceivedText(const QString& text)
{
    MutexLocker lock(&recordMutex_);
    receivedText_ = text;
}

void LogHelper::setTimeout(quint32 ms)
{
    MutexLocker lock(&recordMutex_);
    timeout_ = ms;
}

void LogHelper::setElapsed(quint32 ms)
{
    MutexLocker lock(&recordMutex_);
    elapsed_ = ms;
}

void LogHelper::clearExchange()
{
    MutexLocker lock(&recordMutex_);
    sentText_.clear();
    receivedText_.clear();
}

QString LogHelper::logFilePath() const
{
    return logPath_;
}

qint64 LogHelper::sizeLimit()
{
    return gSizeLimit;
}

void LogHelper::setSizeLimit(qint64 bytes)
{
    gSizeLimit = bytes;
}

void LogHelper::appendToFile(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    MutexLocker lock(&fileMutex_);
    if (QFileInfo(logPath_).size() > gSizeLimit)
        rotate();
    QFile file(logPath_);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    file.write(bytes);
    file.flush();
    file.close();
}

// Keeps roughly the newer half of the file; the cut may fall inside a line.
void LogHelper::rotate()
{
    const qint64 half = gSizeLimit / 2;
    QByteArray kept;
    {
        QFile old(logPath_);
        if (!old.open(QIODevice::ReadOnly))
            return;
        old.seek(half);
        kept = old.read(half + 10);
    }
    QFile::remove(logPath_);
    QFile fresh(logPath_);
    if (!fresh.open(QIODevice::WriteOnly))
        return;
    fresh.write(kept);
    fresh.flush();
    fresh.close();
    fresh.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

} // namespace vireo2
