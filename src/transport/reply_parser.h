#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace vireo2 {

// Instrument replies read "<KEYWORD> 0x<status>[ <value>]", e.g. "MEAS 0x07"
// or "CAL 0x00 OK 24". An in-progress reply carries status 5 followed by the
// poll delay and the wait time in milliseconds: "MEAS 0x05 500 20000".

// The statuses of an instrument reply that the library acts on.
constexpr qint32 kStatusInProgress = 0x05;   // poll "<word> done?" until it ends
constexpr qint32 kStatusNothingNew = 0x07;   // a poll's "nothing new yet"
constexpr qint32 kStatusMoreFollows = 0x12;  // one part of a longer transfer

// The status after the keyword, read like the C format "%*s 0x%x" in the C
// locale (the text ends at a zero byte); -1 when no status is read.
qint32 ParseStatus(const QByteArray& response);

// Everything after the second blank ("OK 24" above); "NO VALUE FOUND" when
// that is empty or the reply has fewer than two blanks.
QString ResponseValue(const QByteArray& response);
// Where that value starts in the reply; -1 when there is none.
int responseValueOffset(const QByteArray& response);

namespace reply {

// The in-progress fields, read like "%*s 0x%x %d %d". Returns how many of
// status, delay and wait were read (0 to 3).
int parseProgress(const QByteArray& response, qint32* status, qint32* delayMs, qint32* waitMs);

// The USB transport's reading of the status: the second blank-separated word
// without its first two characters, as a decimal number (0 when it is not
// one, so "0x05" gives 5 and "0x1A" gives 0).
qint32 decimalStatusWord(const QList<QByteArray>& words);

} // namespace reply
} // namespace vireo2
