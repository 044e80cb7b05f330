#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

namespace vireo2 {

// JSON sent by the instrument, read with Qt's reader after one check of our
// own: no key may appear twice in one object. Qt 5's reader keeps the earlier
// value of a repeated key allocated for good (about 1 KB for each repeated
// spectrum), so an instrument repeating keys in every packet of a scan would
// make the host process grow without end; such text is refused instead.
//
// The document, or a null document with `error` set when the text is not
// JSON or repeats a key.
QJsonDocument parseReplyJson(const QByteArray& json, QString* error);

// The first key that appears twice in one object (escapes decoded), or an
// empty string with false when there is none. Only strings and brackets are
// looked at: text that is not JSON is left to the reader.
bool findRepeatedKey(const QByteArray& json, QString* key);

} // namespace vireo2
