#include "interrupt.h"

#include <csignal>

namespace vireo2::cli {

namespace {
volatile std::sig_atomic_t gInterrupted = 0;

void onInterrupt(int) { gInterrupted = 1; }
} // namespace

void catchInterrupt()
{
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // Once caught, the next Ctrl-C takes the default way out.
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
}

bool interrupted() { return gInterrupted != 0; }

} // namespace vireo2::cli
