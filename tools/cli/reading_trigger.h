#pragma once

#include <QString>

namespace vireo2::cli {

// What starts each reading of a measuring run.
enum class Trigger {
    Auto,   // the host measures at once, one reading after the other
    Key,    // the user presses Enter on the terminal
    Button, // the user presses the instrument's own button
};

// "auto", "key" or "button"; false for anything else.
bool parseTrigger(const QString& text, Trigger* trigger);

// Takes reading `number` of `count` the way `trigger` says. Auto and Key
// call Measure; Button waits (at most `buttonWaitSeconds`) until the
// library's status polling has pulled in a reading taken at the instrument.
// Returns 1 when a reading is in the library, 0 when the user ended the run
// (q or end of input), -1 on a failure (the library's error record or a
// message on stderr tells why).
int takeReading(Trigger trigger, int number, int count, bool quiet, int buttonWaitSeconds);

} // namespace vireo2::cli
