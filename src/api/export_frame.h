#pragma once

#include <QString>

#include "api/device_instance.h"
#include "device/port_lock.h"
#include "api/text_result.h"
#include "device/vireo2.h"
#include "settings/library_errors.h"

// Helpers shared by the export files: every export runs its body through
// one of them so that no C++ exception crosses into the host.
namespace vireo2::api {

template <typename R, typename F>
R guarded(R failure, F&& body) noexcept
{
    try {
        return body();
    } catch (...) {
        return failure;
    }
}

// Text results: the body returns a QString; "" if it throws.
template <typename F>
const char* guardedText(F&& body) noexcept
{
    try {
        return textResult(body());
    } catch (...) {
        return "";
    }
}

// Runs `body(device)` under the operation lock. Like the device operations
// behind them, locked exports run even when the lock could not be had.
template <typename F>
auto locked(F&& body)
{
    Vireo2& d = device();
    PortLock lock(d);
    return body(d);
}

// Text arguments arrive as UTF-8; a null pointer is reported and refused.
inline bool readText(const char* text, const char* exportName, QString& out)
{
    if (!text) {
        device().log()->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED %1: Invalid Argument").arg(QLatin1String(exportName)));
        return false;
    }
    out = QString::fromUtf8(text);
    return true;
}

} // namespace vireo2::api
