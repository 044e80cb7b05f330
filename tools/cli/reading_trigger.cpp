#include "reading_trigger.h"

#include <QElapsedTimer>
#include <QThread>
#include <cstdio>

#include "console.h"
#include "execute_call.h"
#include "progress.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {

QString prefix(int number, int count)
{
    return count > 1 ? QStringLiteral("Reading %1 of %2: ").arg(number).arg(count) : QString();
}

int measureNow(int number, int count, bool quiet)
{
    clearErrorCode(); // a failure's code is then this reading's own
    return withProgress(prefix(number, count) + QStringLiteral("Measuring..."), quiet, [] { return Measure(); }) ? 1 : -1;
}

int waitForKey(int number, int count, bool quiet)
{
    // The prompt is the one thing --quiet keeps: without it nobody knows to press.
    Q_UNUSED(quiet);
    printErr(prefix(number, count) + QStringLiteral("place the instrument and press Enter (q Enter ends the run) "));
    QString line;
    if (!readLine(&line) || isQuit(line))
        return 0;
    return measureNow(number, count, true);
}

int waitForButton(int number, int count, bool quiet, int waitSeconds)
{
    IsDataReady(); // a reading that arrived before the prompt is not this one
    printErr(prefix(number, count) + QStringLiteral("press the instrument's button (q Enter ends the run)...\n"));
    QElapsedTimer timer;
    timer.start();
    while (!IsDataReady()) {
        if (timer.elapsed() > qint64(waitSeconds) * 1000) {
            printErr(QStringLiteral("vireo2: no reading from the instrument's button within %1 s\n").arg(waitSeconds));
            return -1;
        }
        if (quitTyped())
            return 0;
        if (!IsConnected()) {
            printErr(QStringLiteral("vireo2: the instrument is no longer connected\n"));
            return -1;
        }
        QThread::msleep(50);
    }
    if (!quiet)
        printErr(QStringLiteral("  reading received\n"));
    return 1;
}

} // namespace

bool parseTrigger(const QString& text, Trigger* trigger)
{
    if (text == QLatin1String("auto"))
        *trigger = Trigger::Auto;
    else if (text == QLatin1String("key"))
        *trigger = Trigger::Key;
    else if (text == QLatin1String("button"))
        *trigger = Trigger::Button;
    else
        return false;
    return true;
}

int takeReading(Trigger trigger, int number, int count, bool quiet, int buttonWaitSeconds)
{
    switch (trigger) {
    case Trigger::Key: return waitForKey(number, count, quiet);
    case Trigger::Button: return waitForButton(number, count, quiet, buttonWaitSeconds);
    case Trigger::Auto: break;
    }
    return measureNow(number, count, quiet);
}

} // namespace vireo2::cli
