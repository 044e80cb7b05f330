#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

// Hands text back to a C caller: the UTF-8 bytes go into the calling
// thread's result buffer, which the thread's next text result overwrites.
// One buffer per thread keeps concurrent host threads memory-safe.
const char* textResult(const QString& text);

} // namespace vireo2
