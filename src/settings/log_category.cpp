#include "settings/log_category.h"

namespace vireo2 {

// Warnings and above by default: a host that did not ask sees no chatter.
Q_LOGGING_CATEGORY(vireo2Category, "vireo2", QtWarningMsg)

const QLoggingCategory& libraryLog()
{
    return vireo2Category();
}

void enableLibraryDebugMessages()
{
    // Qt 5 hands the category out as const; the object itself is a mutable
    // static, and setEnabled is how Qt documents switching a level on.
    const_cast<QLoggingCategory&>(vireo2Category()).setEnabled(QtDebugMsg, true);
}

} // namespace vireo2
