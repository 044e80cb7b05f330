#pragma once

#include <QString>

namespace vireo2::cli {

// Runs one Execute line over the open connection, with a progress message
// when `progress` is not empty. Returns the answer; an empty answer means
// the library recorded why (print it with libraryFailure()).
QString executeLine(const QString& line, const QString& progress, bool quiet);

// Execute cuts a line at ";": an argument holding one would reach the
// instrument cut short. An empty text when `argument` is fine, else why not.
QString checkArgument(const QString& argument, const QString& what);

// The part of an answer after its first "|" ("LOG 0x00 |text" -> "text").
QString payloadOf(const QString& answer);

} // namespace vireo2::cli
