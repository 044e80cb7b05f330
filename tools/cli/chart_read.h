#pragma once

#include "subcommand.h"

namespace vireo2::cli::chart {

// `vireo2 chart read NAME.ti2 -o OUT.ti3 [--track HOST:PORT] [--resume] [--yes]`.
int readCommand(const Invocation& call);

} // namespace vireo2::cli::chart
