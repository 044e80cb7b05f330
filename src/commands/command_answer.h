#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

namespace vireo2 {

// What the device does once Execute's line is done, asked for in the answer
// rather than by calling back into the device while the line runs.
struct DeviceFollowUp {
    // "setmodel": the track flags, then the device's initialisation again.
    struct ModelChoice {
        bool trackAttached = false;
        bool trackModel = false;
    };
    // "start;NAME;ARG": the long operation to start on the worker thread
    // (its name, then its argument), which takes the operation lock itself.
    struct LongOperationStart {
        bool needsFile = false;
        QStringList words;
    };
    std::optional<ModelChoice> model;
    std::optional<LongOperationStart> longOperation;
};

// What Execute answers: text, or the UTF-8 bytes of an instrument reply
// passed on as they came (from `offset` on, the status words before it left
// in place), so a reply of megabytes reaches the caller's buffer without
// being moved, or converted to text and back.
class CommandAnswer {
public:
    CommandAnswer() = default;
    CommandAnswer(const QString& text) : text_(text) {}  // NOLINT: every handler answers text
    static CommandAnswer fromUtf8(QByteArray utf8, int offset = 0)
    {
        CommandAnswer answer;
        answer.utf8_ = std::move(utf8);
        answer.offset_ = offset;
        answer.isUtf8_ = true;
        return answer;
    }

    QString text() const { return isUtf8_ ? QString::fromUtf8(utf8_.constData() + offset_, utf8_.size() - offset_) : text_; }
    // The answer's bytes are utf8Block() from utf8Offset() on.
    QByteArray utf8Block() const { return isUtf8_ ? utf8_ : text_.toUtf8(); }
    int utf8Offset() const { return isUtf8_ ? offset_ : 0; }

    DeviceFollowUp followUp;

private:
    QString text_;
    QByteArray utf8_;
    int offset_ = 0;
    bool isUtf8_ = false;
};

} // namespace vireo2
