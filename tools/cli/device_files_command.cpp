// vireo2 screenshot and instrument-log: what a technician pulls from the
// instrument as a file.
#include <QFile>
#include <QSaveFile>

#include "console.h"
#include "execute_call.h"
#include "instrument_session.h"
#include "library_error.h"
#include "output_path.h"
#include "progress.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {
namespace {

constexpr int kScreenBufferBytes = 16 * 1024 * 1024;
constexpr int kScreenReadMs = 5000;

int runScreenshot(const Invocation& call)
{
    if (call.arguments.size() != 1)
        return usageError(QStringLiteral("screenshot takes the file to write"), QStringLiteral("screenshot"));
    const QString path = call.arguments.first();
    if (const QString problem = checkArgument(path, QStringLiteral("the path")); !problem.isEmpty())
        return failure(problem);
    // The instrument delivers a BMP; converting it would need an image
    // library the command-line host does not otherwise use.
    if (!path.endsWith(QLatin1String(".bmp"), Qt::CaseInsensitive))
        return usageError(QStringLiteral("the screen comes as a BMP image: name the file *.bmp"), QStringLiteral("screenshot"));
    if (const QString problem = checkWritable(path); !problem.isEmpty())
        return failure(problem);
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    QByteArray image(kScreenBufferBytes, '\0');
    const int size = withProgress(QStringLiteral("Capturing the screen"), call.context.quiet, [&] {
        return ExecuteBinary(reinterpret_cast<const unsigned char*>("CaptureScreen"), 13, kScreenReadMs,
                             reinterpret_cast<unsigned char*>(image.data()), image.size());
    });
    if (size <= 0)
        return libraryFailure();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(image.constData(), size) != size || !file.commit())
        return failure(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    if (!call.context.quiet)
        printErr(QStringLiteral("Screen written: %1 (%2 bytes)\n").arg(path).arg(size));
    return ExitOk;
}

int runInstrumentLog(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("instrument-log takes no arguments"), QStringLiteral("instrument-log"));
    InstrumentSession session(call.context.quiet);
    if (!session.connect())
        return session.connectFailure();
    const QString answer = executeLine(QStringLiteral("getlog"), QStringLiteral("Reading the instrument's log"),
                                       call.context.quiet);
    if (answer.isEmpty())
        return libraryFailure();
    if (!answer.startsWith(QLatin1String("LOG 0x00 |")))
        return answer == QLatin1String("RECEIVE_TIMEOUT")
                   ? failure(QStringLiteral("the instrument did not finish sending its log within 60 s"))
                   : replyFailure(QStringLiteral("the log could not be read"), answer);
    printOut(payloadOf(answer));
    return ExitOk;
}

Subcommand make(const char* name, const char* synopsis, const char* summary, const char* description,
                int (*run)(const Invocation&))
{
    Subcommand command;
    command.name = QString::fromLatin1(name);
    command.synopsis = QString::fromLatin1(synopsis);
    command.summary = QString::fromUtf8(summary);
    command.description = QString::fromUtf8(description);
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace

Subcommand screenshotCommand()
{
    return make("screenshot", "FILE.bmp", "Save the instrument's screen as a BMP image",
                "Captures the instrument's screen and writes the BMP image it delivers.", runScreenshot);
}

Subcommand instrumentLogCommand()
{
    return make("instrument-log", "", "Print the instrument's own log",
                "Pulls the log the instrument keeps and prints it.", runInstrumentLog);
}

} // namespace vireo2::cli
