#pragma once

#include <QtGlobal>
#include "settings/library_errors.h"

namespace vireo2 {


// Raised by a handler for a fault in the command line itself; the
// dispatcher records the code with its text and answers empty text.
struct ArgumentFault {
    qint32 code;
};

// Raised by a handler whose instrument exchange failed (or that recorded
// its own error): the error record already tells why and is left alone.
struct CommandFailed {
    qint32 code;
};

} // namespace vireo2
