// Free-form commands.
#include "api/export_frame.h"
#include "api/text_result.h"
#include "vireo2.h"
#include "settings/library_errors.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API const char* Execute(const char* commandLine)
{
    try {
        QString line;
        if (!readText(commandLine, "Execute", line))
            return textResult(QByteArray());
        const CommandAnswer answer = device().executeAnswer(line, resultDestination());
        return textResult(answer.utf8Block(), answer.utf8Offset());
    } catch (...) {
        return "";
    }
}

VIREO2_API int ExecuteBinary(const unsigned char* message, int messageLength, int timeoutMs,
                             unsigned char* buffer, int bufferSize)
{
    return guarded(0, [=] {
        if (!message || messageLength < 0 || (!buffer && bufferSize > 0) || bufferSize < 0) {
            device().log()->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED ExecuteBinary: Invalid Argument"));
            return 0;
        }
        return device().ExecuteBinary(message, messageLength, timeoutMs, buffer, bufferSize);
    });
}

// The one locked export that looks at the lock's outcome: a command is never
// sent without the lock.
// The reply goes back as the bytes it arrived in: no conversion of what may
// be megabytes of text, and a large one is read straight into the caller's
// result buffer.
VIREO2_API const char* SendCommand(const char* command, int timeoutMs)
{
    try {
        Vireo2& d = device();
        PortLock lock(d);
        QString text;
        if (lock.failed() || !readText(command, "SendCommand", text))
            return textResult(QByteArray());
        return textResult(d.sendCommandBytes(text, timeoutMs, resultDestination()));
    } catch (...) {
        return "";
    }
}

} // extern "C"
