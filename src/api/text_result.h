#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

// Hands text back to a C caller: the UTF-8 bytes go into the calling
// thread's result buffer, which the thread's next text result overwrites.
// One buffer per thread keeps concurrent host threads memory-safe; a pointer
// from an earlier result stays readable and shows the newest text (cut to
// the room it had when a longer text needed a larger buffer).
const char* textResult(const QString& text);
// The same for text that is already UTF-8 (a reply as it came, from
// `offset` on): one copy into the buffer, no conversion.
const char* textResult(const QByteArray& utf8, int offset = 0);

} // namespace vireo2
