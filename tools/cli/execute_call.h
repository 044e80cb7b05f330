#pragma once

#include <QString>
#include <functional>

namespace vireo2::cli {

// Runs one Execute line over the open connection, with a progress message
// when `progress` is not empty; the message ends in "done" only when
// `succeeded` accepts the answer (by default: any non-empty answer). Returns
// the answer; an empty answer means the library recorded why (print it with
// libraryFailure()).
QString executeLine(const QString& line, const QString& progress, bool quiet,
                    const std::function<bool(const QString&)>& succeeded = {});

// An empty text when `argument` can travel as one argument of an Execute
// line, else why not: Execute cuts a line at ";", and answers a line that
// holds one of a few query words itself, so such an argument would reach
// the instrument cut short or not at all.
QString checkArgument(const QString& argument, const QString& what);

// checkArgument, and the name must be one word: the instrument takes an
// object's name as one blank-separated word of its command.
QString checkObjectName(const QString& name, const QString& what);

// The part of an answer after its first "|" ("LOG 0x00 |text" -> "text").
QString payloadOf(const QString& answer);

// The instrument's status in a bare reply such as "COLORLIBRARY 0x01";
// -1 when the answer is not such a reply.
int replyStatus(const QString& answer);

// Sets the library's error record to 0 and "<00>", so that a code read
// after the next call is that call's own.
void clearErrorCode();

} // namespace vireo2::cli
