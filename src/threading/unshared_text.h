#pragma once

#include <QString>

namespace vireo2 {

// A copy of a text that shares no data with the original. Texts kept under a
// mutex for several threads (error messages, the last command, identification
// answers) are stored and handed out this way, so the shared buffer of one
// thread's string is never released by another. Qt's reference counts are
// atomic and such sharing is safe, but a ThreadSanitizer build cannot see
// the half of each count that Qt's own library changes, and would report
// every release as a race; the texts are short, so the copy costs nothing.
inline QString unsharedCopy(const QString& text)
{
    return QString(text.constData(), text.size());
}

} // namespace vireo2
