#include "instrument_session.h"

#include "connection_choice.h"
#include "console.h"
#include "execute_call.h"
#include "progress.h"
#include "vireo2.h"

namespace vireo2::cli {

InstrumentSession::~InstrumentSession()
{
    // Disconnect also tidies up after a Connect that failed half-way.
    if (attempted_)
        Disconnect();
}

bool InstrumentSession::connect()
{
    rememberStoredConnection();
    target_ = describeStoredConnection();
    method_ = storedMethod();
    attempted_ = true;
    clearErrorCode();
    if (withProgress(QStringLiteral("Connecting (%1)...").arg(target_), quiet_, [] { return Connect(); }))
        return true;
    error_ = LibraryError::last();
    usbMissing_ = method_ == QLatin1String("USB")
               && (storedMethod() == QLatin1String("USB_TCPIP") || error_.text.contains(QLatin1String("USB Device not found")));
    // The library falls back from USB to the USB network link and stores the
    // method it tried last; neither that nor a new --tcp/--usb that failed
    // replaces what was stored.
    restoreStoredConnection();
    return false;
}

int InstrumentSession::connectFailure() const
{
    const QString raw = error_.code == 0 ? QString() : QStringLiteral("error %1: %2").arg(error_.code).arg(error_.text);
    Explanation why = explainError(error_.code, error_.text);
    if (usbMissing_)
        why = {QStringLiteral("USB Device not found: no Vireo2 answers on USB, nor on its USB network link"),
               QStringLiteral("plug the instrument in and switch it on, or connect over TCP with --tcp HOST:PORT")};
    explainedFailure(QStringLiteral("cannot connect (%1)").arg(target_), why, raw);
    const QString stored = describeStoredConnection();
    if (stored != target_)
        printErr(QStringLiteral("The stored connection (%1) is kept.\n").arg(stored));
    return ExitFailure;
}

} // namespace vireo2::cli
