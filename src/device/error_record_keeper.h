#pragma once

#include <QByteArray>
#include <QString>

#include "settings/log_helper.h"

namespace vireo2 {

// Notes the error record's code and text and puts them back when it goes out
// of scope, so that follow-up exchanges (closing a port, background polls) do
// not overwrite the error a caller is to see.
class ErrorRecordKeeper {
public:
    explicit ErrorRecordKeeper(LogHelper& log) : log_(log), code_(log.errorCode()), text_(log.errorText()) {}
    ~ErrorRecordKeeper() { restore(); }

    // Puts the noted record back now (once).
    void restore()
    {
        if (restored_)
            return;
        restored_ = true;
        log_.setError(code_, QString::fromLatin1(text_));
    }
    ErrorRecordKeeper(const ErrorRecordKeeper&) = delete;
    ErrorRecordKeeper& operator=(const ErrorRecordKeeper&) = delete;

private:
    LogHelper& log_;
    qint32 code_;
    QByteArray text_;
    bool restored_ = false;
};

} // namespace vireo2
