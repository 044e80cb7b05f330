#pragma once

#include <QString>

#include "error_sentences.h"

namespace vireo2::cli {

// The library's error record as the host reads it.
struct LibraryError {
    int code = 0;
    QString text;

    static LibraryError last();
};

// With --verbose the raw error record and instrument replies are printed
// beneath the plain sentence.
void setShowRawReplies(bool show);
bool showRawReplies();

// Prints the library's error record on stderr in plain words ("vireo2:
// <sentence>" and a hint; the raw code and text with --verbose); returns
// ExitFailure.
int libraryFailure();

// Prints "vireo2: <what>: <sentence>" for an instrument reply that carries
// a failure status ("COLORLIBRARY 0x01"), the raw reply with --verbose;
// returns ExitFailure.
int replyFailure(const QString& what, const QString& answer);

// Prints an explanation with its hint; the raw detail with --verbose.
int explainedFailure(const QString& what, const Explanation& explanation, const QString& raw);

} // namespace vireo2::cli
