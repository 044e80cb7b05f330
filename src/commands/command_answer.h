#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

// What Execute answers: text, or the UTF-8 bytes of an instrument reply
// passed on as they came, so a reply of megabytes reaches the caller's
// buffer without being converted to text and back.
class CommandAnswer {
public:
    CommandAnswer() = default;
    CommandAnswer(const QString& text) : text_(text) {}  // NOLINT: every handler answers text
    static CommandAnswer fromUtf8(QByteArray utf8)
    {
        CommandAnswer answer;
        answer.utf8_ = std::move(utf8);
        answer.isUtf8_ = true;
        return answer;
    }

    QString text() const { return isUtf8_ ? QString::fromUtf8(utf8_) : text_; }
    QByteArray utf8() const { return isUtf8_ ? utf8_ : text_.toUtf8(); }

private:
    QString text_;
    QByteArray utf8_;
    bool isUtf8_ = false;
};

} // namespace vireo2
