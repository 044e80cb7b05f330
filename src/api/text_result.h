#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

class ReplyDestination;

// Hands text back to a C caller: the UTF-8 bytes go into the calling
// thread's result buffer, which the thread's next text result overwrites.
// One buffer per thread keeps concurrent host threads memory-safe; a pointer
// from an earlier result stays readable and shows the newest text (cut to
// the room it had when a longer text needed a larger buffer).
const char* textResult(const QString& text);
// The same for text that is already UTF-8 (a reply as it came, from
// `offset` on): at most one copy into the buffer, no conversion; none when
// the bytes were read into the buffer already (resultDestination()).
const char* textResult(const QByteArray& utf8, int offset = 0);

// The calling thread's result buffer as memory for a large instrument reply:
// a reply read into it is handed back by textResult() where it lies. Valid
// for the calling thread's next textResult() only.
ReplyDestination* resultDestination();

} // namespace vireo2
