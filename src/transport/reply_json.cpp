#include "transport/reply_json.h"

#include "transport/digit_value.h"

#include <QJsonParseError>
#include <QSet>
#include <algorithm>
#include <vector>

namespace vireo2 {
namespace {

// An open object or array while scanning.
struct Container {
    bool object = false;
    bool expectKey = false;
    QSet<QByteArray> keys;
};

// The text of a string's body with its escapes decoded, as UTF-8. An escape
// the reader would refuse is kept as it stands (the reader then fails).
QByteArray decodedKey(const char* begin, const char* end)
{
    QString text;
    const char* run = begin;
    auto flush = [&](const char* upTo) { text += QString::fromUtf8(run, int(upTo - run)); };
    for (const char* p = begin; p < end; ++p) {
        if (*p != '\\' || p + 1 >= end)
            continue;
        flush(p);
        const char c = p[1];
        const char* simple = "\"\\/bfnrt";
        const char* replaced = "\"\\/\b\f\n\r\t";
        int unit = -1;
        for (int i = 0; simple[i]; ++i)
            unit = c == simple[i] ? replaced[i] : unit;
        int skip = 2;
        if (c == 'u' && end - p >= 6) {
            unit = 0;
            for (int i = 2; i < 6 && unit >= 0; ++i)
                unit = digitValue(p[i]) < 0 ? -1 : unit * 16 + digitValue(p[i]);
            skip = 6;
        }
        if (unit < 0) {
            run = p;
            continue;
        }
        text += QChar(char16_t(unit));
        p += skip - 1;
        run = p + 1;
    }
    flush(end);
    return text.toUtf8();
}

} // namespace

bool findRepeatedKey(const QByteArray& json, QString* key)
{
    std::vector<Container> open;
    const char* p = json.constData();
    const char* const end = p + json.size();
    while (p < end) {
        const char c = *p++;
        if (c == '"') {
            const char* begin = p;
            while (p < end && *p != '"')
                p += *p == '\\' && end - p > 1 ? 2 : 1;
            if (p >= end)
                return false;
            const char* stringEnd = p++;
            if (open.empty() || !open.back().object || !open.back().expectKey)
                continue;
            Container& object = open.back();
            object.expectKey = false;
            const bool plain = std::find(begin, stringEnd, '\\') == stringEnd;
            const QByteArray name = plain ? QByteArray::fromRawData(begin, int(stringEnd - begin))
                                          : decodedKey(begin, stringEnd);
            if (object.keys.contains(name)) {
                *key = QString::fromUtf8(name);
                return true;
            }
            object.keys.insert(name);
        } else if (c == '{' || c == '[') {
            open.push_back(Container{c == '{', c == '{', {}});
        } else if (c == '}' || c == ']') {
            if (open.empty())
                return false;
            open.pop_back();
        } else if (c == ',' && !open.empty() && open.back().object) {
            open.back().expectKey = true;
        }
    }
    return false;
}

QJsonDocument parseReplyJson(const QByteArray& json, QString* error)
{
    QString repeated;
    if (findRepeatedKey(json, &repeated)) {
        *error = QStringLiteral("key \"%1\" appears twice in one object").arg(repeated);
        return QJsonDocument();
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        *error = parseError.errorString();
    return document;
}

} // namespace vireo2
