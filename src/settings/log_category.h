#pragma once

#include <QLoggingCategory>

namespace vireo2 {

// The category of the library's own Qt messages ("vireo2"). Its debug
// messages are off unless "Options/Debug" is 1 or the host enables them
// with Qt's own rules (QLoggingCategory::setFilterRules("vireo2.debug=true")
// or QT_LOGGING_RULES); the host's message handler is never replaced.
const QLoggingCategory& libraryLog();

// Turns the category's debug messages on, for "Options/Debug=1".
void enableLibraryDebugMessages();

} // namespace vireo2
