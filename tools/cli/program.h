#pragma once

#include <QStringList>

namespace vireo2::cli {

// Runs the whole command line (argv[0] first) and returns the exit status.
int runProgram(const QStringList& arguments);

} // namespace vireo2::cli
