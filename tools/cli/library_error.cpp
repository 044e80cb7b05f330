#include "library_error.h"

#include "console.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
constexpr int kUnableToConnect = 20480;
constexpr int kNeedsCalibration = 20489;
constexpr int kNotConnected = 0x500C;
constexpr int kDirtyStandardLow = 0x8C;
constexpr int kDirtyStandardHigh = 0x8D;

// Instrument statuses that mean "the calibration is not valid".
bool isCalibrationStatus(int code) { return (code >= 0x83 && code <= 0x89) || code == 0x8E; }
} // namespace

LibraryError LibraryError::last()
{
    LibraryError error;
    error.code = GetLastErrorCode();
    error.text = QString::fromUtf8(GetLastErrorString());
    return error;
}

QString hintFor(int code)
{
    if (code == kNeedsCalibration || isCalibrationStatus(code))
        return QStringLiteral("put the instrument on its white standard and run 'vireo2 calibrate'");
    if (code == kDirtyStandardLow || code == kDirtyStandardHigh)
        return QStringLiteral("clean the white standard and place the instrument squarely on it");
    if (code == kUnableToConnect || code == kNotConnected)
        return QStringLiteral("check the connection ('vireo2 settings'); no instrument at hand? Start a\n"
                              "      simulator with 'vireo2 sim --port 60001' and use --tcp 127.0.0.1:60001");
    return QString();
}

int libraryFailure()
{
    const LibraryError error = LibraryError::last();
    const QString text = error.text.isEmpty() ? QStringLiteral("(the library recorded no reason)") : error.text;
    printErr(QStringLiteral("error %1: %2\n").arg(error.code).arg(text));
    const QString hint = hintFor(error.code);
    if (!hint.isEmpty())
        printErr(QStringLiteral("hint: %1\n").arg(hint));
    return ExitFailure;
}

} // namespace vireo2::cli
