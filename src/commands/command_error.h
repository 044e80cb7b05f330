#pragma once

#include <QtGlobal>

namespace vireo2 {

// Error codes of the command interface.
constexpr qint32 kMissingArguments = 20502;   // 0x5016
constexpr qint32 kInvalidArgument = 20503;    // 0x5017
constexpr qint32 kInvalidCommand = 20504;     // 0x5018
constexpr qint32 kUnknownError = 20505;       // 0x5019
constexpr qint32 kNoOperation = 20501;        // 0x5015
constexpr qint32 kOperationInProgress = 20510; // 0x501E

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
