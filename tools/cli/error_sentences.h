#pragma once

#include <QString>

namespace vireo2::cli {

// What a failure means to the person at the instrument: one sentence and,
// where it helps, what to do about it.
struct Explanation {
    QString sentence;
    QString hint; // empty when there is nothing useful to suggest
};

// The library's error record (GetLastErrorCode / GetLastErrorString) in
// plain words. The codes share one space: instrument statuses 0x00-0xFF,
// -1 (no usable reply), library codes from 0x5000 and scanning codes from
// 0x5300.
Explanation explainError(int code, const QString& text);

// A status the instrument put in a reply ("COLORLIBRARY 0x01" -> 1).
Explanation explainStatus(int status);

} // namespace vireo2::cli
