#include "error_sentences.h"

namespace vireo2::cli {

namespace {

const char* const kCalibrate = "put the instrument on its white standard and run 'vireo2 calibrate'";
const char* const kCheckConnection =
    "check the cable or network and the stored connection ('vireo2 settings'); no instrument at hand?\n"
    "      Start a simulator with 'vireo2 sim --port 60001' and use --tcp 127.0.0.1:60001";
const char* const kBusy = "the instrument is busy with another operation: wait for it to finish and try again";
const char* const kReconnect = "check that the instrument is on and connected, then try again";

struct Entry {
    int low;
    int high;
    const char* sentence;
    const char* hint;
};

// Library codes (0x5000 and up, 0x5300 and up for scanning), then the
// instrument's own statuses.
const Entry kTable[] = {
    {0x5000, 0x5000, "the instrument could not be reached", kCheckConnection},
    {0x5001, 0x5001, "the connection to the instrument was lost while sending", kReconnect},
    {0x5004, 0x5004, "the connection to the instrument was lost while receiving", kReconnect},
    {0x5005, 0x5005, "the instrument stopped answering in the middle of a reply", kReconnect},
    {0x5006, 0x5007, "the instrument's reply arrived garbled", kReconnect},
    {0x5009, 0x5009, "the instrument needs a white calibration before it measures", kCalibrate},
    {0x500C, 0x500C, "the instrument is not connected", kCheckConnection},
    {0x500E, 0x500E, "the library knows no such calibration step", nullptr},
    {0x500F, 0x500F, "there is no such setting, or it cannot be changed",
     "'vireo2 settings' lists the settings and what each accepts"},
    {0x5011, 0x5011, "the instrument was busy for 10 s and the library gave up waiting", kBusy},
    {0x5012, 0x5012, "the instrument's reading arrived incomplete", "measure again"},
    {0x5014, 0x5014, "the file could not be opened", nullptr},
    {0x5015, 0x5015, "there was no operation to abort", nullptr},
    {0x5016, 0x5016, "the command lacks a word it needs", "'vireo2 exec --help' shows the form of each command"},
    {0x5017, 0x5017, "the command has an argument the library does not accept", nullptr},
    {0x5018, 0x5018, "the library does not offer this command", nullptr},
    {0x5019, 0x5019, "the library failed in an unexpected way", nullptr},
    {0x501A, 0x501A, "the instrument sent data the library could not use", kReconnect},
    {0x501B, 0x501B, "the instrument refused to scan", nullptr},
    {0x501D, 0x501D, "the file is not a NetAdjuster profile", nullptr},
    {0x501E, 0x501E, "another operation is still running on the instrument", kBusy},
    {0x501F, 0x501F, "the library could not start watching the instrument", kReconnect},
    {0x5301, 0x5301, "the patch width is not one the scan accepts", nullptr},
    {0x5302, 0x5302, "the TR3 track is not connected", "check the track's address (--track HOST:PORT) and power"},
    {0x5303, 0x5303, "no patches were found in the scan", "check the patch count and width and the strip's position"},
    {0x5305, 0x5305, "the instrument's battery is too low", "charge the instrument"},
    {-1, -1, "the instrument gave no usable reply", kReconnect},
    {0x01, 0x01, "the instrument refused: it has no such object, or does not accept the request", nullptr},
    {0x02, 0x02, "the instrument did not accept the command's arguments", nullptr},
    {0x07, 0x07, "the instrument has not finished, or has nothing new", nullptr},
    {0x10, 0x10, "the instrument holds no reading yet", "measure first"},
    {0x1B, 0x1B, "the instrument's battery is too low", "charge the instrument"},
    {0x83, 0x89, "the instrument's calibration is missing or no longer valid", kCalibrate},
    {0x8E, 0x8E, "the instrument's calibration is missing or no longer valid", kCalibrate},
    {0x8B, 0x8B, "the instrument is asleep", "press its button to wake it, then try again"},
    {0x8C, 0x8D, "the white standard is dirty or not the instrument's own",
     "clean the white standard and place the instrument squarely on it"},
    {0x91, 0x91, "the instrument's scan buffer overflowed", "scan again, more slowly"},
    {0xB1, 0xB1, "the instrument refused to hand out its reading", "measure again; if it persists, restart the instrument"},
};

const Entry* find(int code)
{
    for (const Entry& entry : kTable) {
        if (code >= entry.low && code <= entry.high)
            return &entry;
    }
    return nullptr;
}

Explanation fromEntry(const Entry& entry)
{
    return Explanation{QString::fromUtf8(entry.sentence), entry.hint ? QString::fromUtf8(entry.hint) : QString()};
}

// The connection failures the transport names in the text.
Explanation connectionFailure(const QString& text)
{
    if (text.contains(QLatin1String("USB Device not found")))
        return {QStringLiteral("USB Device not found: no Vireo2 answers on USB"),
                QStringLiteral("plug the instrument in and switch it on, or connect over TCP with --tcp HOST:PORT")};
    if (text.contains(QLatin1String("refused"), Qt::CaseInsensitive))
        return {QStringLiteral("nothing answers at the instrument's address (connection refused)"),
                QString::fromUtf8(kCheckConnection)};
    if (text.contains(QLatin1String("Host not found"), Qt::CaseInsensitive))
        return {QStringLiteral("the instrument's host name could not be resolved"), QString::fromUtf8(kCheckConnection)};
    if (text.contains(QLatin1String("timed out"), Qt::CaseInsensitive))
        return {QStringLiteral("the instrument did not answer in time"), QString::fromUtf8(kCheckConnection)};
    return fromEntry(*find(0x5000));
}

} // namespace

Explanation explainStatus(int status)
{
    if (status == 0)
        return {QStringLiteral("the instrument reported success"), QString()};
    if (const Entry* entry = find(status); entry && status >= 0 && status <= 0xFF)
        return fromEntry(*entry);
    return {QStringLiteral("the instrument reported a fault this program does not know (status 0x%1)")
                .arg(QString::number(status, 16).toUpper().rightJustified(2, QLatin1Char('0'))),
            QStringLiteral("try again; if it persists, restart the instrument")};
}

Explanation explainError(int code, const QString& text)
{
    if (code == 0)
        return {QStringLiteral("the library reported a failure but recorded no reason"), QString()};
    if (code == 0x5000 || code == -4)
        return connectionFailure(text);
    if (code >= 0 && code <= 0xFF)
        return explainStatus(code);
    if (const Entry* entry = find(code))
        return fromEntry(*entry);
    return {QStringLiteral("the library reported a failure this program does not know (code %1)").arg(code),
            QString()};
}

} // namespace vireo2::cli
