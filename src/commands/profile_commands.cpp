// storeprofile / retrieveprofile: a NetAdjuster correction profile written
// into the instrument from its ".pro"/".pr2" file pair, and read back.
#include <QThread>

#include "commands/command_context.h"
#include "commands/command_error.h"
#include "commands/command_handlers.h"
#include "commands/profile_file.h"
#include "settings/bounded_file.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kProfileTimeoutMs = 3000;
constexpr int kStoreSettleMs = 1000;

const char* const kArrayNames[ProfileFile::kArrayCount] = {"White", "Wavelength", "Linear", "Dark", "Bandwidth"};

// Sends one command; a failure ends the store with the recorded error.
void send(CommandContext& context, const QString& command)
{
    if (!context.exchange(command, kProfileTimeoutMs).ok())
        throw CommandFailed{context.host.log().errorCode()};
}

void refuse(CommandContext& context, const LibraryError& error)
{
    context.host.log().LogErrorOnly(error, error.message());
    throw CommandFailed{error};
}

void storeFile(CommandContext& context, const QString& path, int fileIndex)
{
    QByteArray bytes;
    const BoundedFile::Outcome read = BoundedFile::read(path, ProfileFile::kLargestSize, &bytes);
    if (read == BoundedFile::CannotOpen)
        refuse(context, errors::kInvalidPath);
    const auto profile = ProfileFile::parse(bytes);
    if (!profile)
        refuse(context, errors::kInvalidProfile);

    send(context, QString::asprintf("NetAdjuster set version %1.2f", double(profile->version)));
    const QDateTime created = ProfileFile::fromOleDate(profile->createdOleDate);
    send(context, QString::asprintf("NetAdjuster set whencreated %02d %02d %02d %02d %02d %02d", created.date().month(),
                                    created.date().day(), created.date().year() - 2000, created.time().hour(),
                                    created.time().minute(), created.time().second()));
    for (int array = 0; array < ProfileFile::kArrayCount; ++array) {
        for (int m = 0; m < 2; ++m) {
            QString command = QString::asprintf("NetAdjuster set M%d %s", 2 * fileIndex + m, kArrayNames[array]);
            for (float value : profile->conditions[size_t(m)][size_t(array)])
                command += QString::asprintf(" %g", double(value));
            send(context, command);
        }
    }
}

} // namespace

// storeprofile PATH.pro: both files of the pair, then the commit.
QString storeProfile(CommandContext& context)
{
    QString path = context.line.word(1);
    storeFile(context, path, 0);
    storeFile(context, path.replace(QLatin1String(".pro"), QLatin1String(".pr2")), 1);
    send(context, QStringLiteral("NetAdjuster Store"));
    context.host.setOption(QStringLiteral("Netadjuster"), QStringLiteral("ON"));
    QThread::msleep(kStoreSettleMs);
    return QStringLiteral("<00>");
}

// retrieveprofile: every array of every condition; answers them one line
// each ("M0 White v1 v2 ...").
QString retrieveProfile(CommandContext& context)
{
    QStringList lines;
    for (int m = 0; m < 4; ++m) {
        for (const char* array : kArrayNames) {
            const QString what = QStringLiteral("M%1 %2").arg(m).arg(QLatin1String(array));
            const CommandContext::Reply reply =
                context.exchange(QStringLiteral("NetAdjuster get ") + what, kProfileTimeoutMs);
            if (!reply.ok())
                context.fail();
            const QStringList values = QString::fromUtf8(reply.text).split(QLatin1Char(' '), Qt::SkipEmptyParts).mid(2);
            if (values.size() < ProfileFile::kPoints)
                refuse(context, errors::kProfileDataMissing);
            lines << what + QLatin1Char(' ') + values.mid(0, ProfileFile::kPoints).join(QLatin1Char(' '));
        }
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace vireo2
