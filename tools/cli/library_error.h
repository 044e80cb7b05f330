#pragma once

#include <QString>

namespace vireo2::cli {

// The library's error record as the host reads it.
struct LibraryError {
    int code = 0;
    QString text;

    static LibraryError last();
};

// Prints "error <code>: <text>" from the library's error record to stderr,
// followed by a hint for the failures a newcomer meets most; returns
// ExitFailure.
int libraryFailure();

// A short suggestion for a well-known error code, or an empty text.
QString hintFor(int code);

} // namespace vireo2::cli
