#include "transport/reply_parser.h"

#include "transport/digit_value.h"

#include <QList>

namespace vireo2 {
namespace {

// A cursor over a reply that reads the way the C scanf family does in the C
// locale, without depending on the host's locale. The text ends at its first
// zero byte; that end is found as the cursor reaches it, so reading the
// status of a reply of megabytes looks at its first words only.
class ReplyScanner {
public:
    explicit ReplyScanner(const QByteArray& text)
        : begin_(text.constData()), end_(text.constData() + text.size())
    {
        pos_ = begin_;
    }

    // "%*s": skips blanks, then needs at least one non-blank.
    bool skipWord()
    {
        skipSpace();
        const char* start = pos_;
        while (more() && !isSpace(*pos_))
            ++pos_;
        return pos_ > start;
    }

    // A blank in the format matches any run of white space, even none.
    void skipSpace()
    {
        while (more() && isSpace(*pos_))
            ++pos_;
    }

    bool literal(const char* text)
    {
        for (; *text; ++text, ++pos_) {
            if (!more() || *pos_ != *text)
                return false;
        }
        return true;
    }

    // "%x": optional sign, optional 0x prefix, hexadecimal digits.
    bool hex(qint32* value) { return integer(16, value); }
    // "%d": optional sign, decimal digits.
    bool decimal(qint32* value) { return integer(10, value); }

private:
    bool more() const { return pos_ < end_ && *pos_ != '\0'; }

    static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }


    bool integer(int base, qint32* value)
    {
        skipSpace();
        bool negative = false;
        if (more() && (*pos_ == '+' || *pos_ == '-'))
            negative = *pos_++ == '-';
        if (base == 16 && end_ - pos_ >= 3 && pos_[0] == '0' && (pos_[1] == 'x' || pos_[1] == 'X')
            && isDigitOf(pos_[2], 16))
            pos_ += 2;
        quint64 magnitude = 0;
        const char* digits = pos_;
        while (more() && isDigitOf(*pos_, base)) {
            // Saturate: an absurd number of digits must not wrap around.
            magnitude = qMin<quint64>(magnitude * quint64(base) + quint64(digitValue(*pos_)), 0xFFFFFFFFull);
            ++pos_;
        }
        if (pos_ == digits)
            return false;
        const quint32 bits = negative ? quint32(0u - quint32(magnitude)) : quint32(magnitude);
        *value = qint32(bits);
        return true;
    }

    const char* begin_;
    const char* end_;
    const char* pos_;
};

} // namespace

qint32 ParseStatus(const QByteArray& response)
{
    qint32 status = -1;
    qint32 unused = 0;
    reply::parseProgress(response, &status, &unused, &unused);
    return status;
}

QString ResponseValue(const QByteArray& response)
{
    const int offset = responseValueOffset(response);
    if (offset < 0)
        return QStringLiteral("NO VALUE FOUND");
    return QString::fromUtf8(response.constData() + offset, response.size() - offset);
}

int responseValueOffset(const QByteArray& response)
{
    const int first = response.indexOf(' ');
    const int second = first < 0 ? -1 : response.indexOf(' ', first + 1);
    if (second < 0 || second + 1 >= response.size())
        return -1;
    return second + 1;
}

namespace reply {

int parseProgress(const QByteArray& response, qint32* status, qint32* delayMs, qint32* waitMs)
{
    ReplyScanner scanner(response);
    if (!scanner.skipWord())
        return 0;
    scanner.skipSpace();
    if (!scanner.literal("0x") || !scanner.hex(status))
        return 0;
    if (!scanner.decimal(delayMs))
        return 1;
    if (!scanner.decimal(waitMs))
        return 2;
    return 3;
}

qint32 decimalStatusWord(const QList<QByteArray>& words)
{
    if (words.size() < 2)
        return 0;
    return words.at(1).mid(2).toInt();
}

} // namespace reply
} // namespace vireo2
