#pragma once

namespace vireo2::cli {

// Exit status of a command the user interrupted with Ctrl-C (128 + SIGINT).
constexpr int kExitInterrupted = 130;

// From now on the first Ctrl-C only sets a flag, so a long operation can end
// cleanly (the read head sent home, what was read kept); a second Ctrl-C
// ends the program at once.
void catchInterrupt();

// True once Ctrl-C was pressed after catchInterrupt().
bool interrupted();

} // namespace vireo2::cli
