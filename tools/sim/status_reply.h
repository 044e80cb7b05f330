#pragma once

#include <QByteArray>

namespace vireo2::sim {

// The instrument's reply form: "<KEYWORD> 0x<status>[ <value>]", the status
// in two upper-case hexadecimal digits.
inline QByteArray statusReply(const QByteArray& keyword, int status, const QByteArray& value = QByteArray())
{
    QByteArray reply = keyword + ' ' + QByteArray("0x") + QByteArray::number(status, 16).rightJustified(2, '0').toUpper();
    if (!value.isEmpty())
        reply += ' ' + value;
    return reply;
}

} // namespace vireo2::sim
