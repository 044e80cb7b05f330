#include "instrument_session.h"

#include "connection_choice.h"
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
    target_ = describeStoredConnection();
    attempted_ = true;
    clearErrorCode();
    return withProgress(QStringLiteral("Connecting (%1)...").arg(target_), quiet_, [] { return Connect(); });
}

} // namespace vireo2::cli
