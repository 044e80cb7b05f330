#pragma once

#include <QString>
#include <QStringList>

namespace vireo2 {

// One Execute command line cut into words. A line holding ";" is cut at
// ";" only, so that arguments may contain blanks (addlibrary;{"a": 1});
// otherwise it is cut at single blanks. Empty words are kept either way:
// two blanks in a row give an empty word.
class CommandLine {
public:
    explicit CommandLine(const QString& text);

    const QString& text() const { return text_; }
    const QStringList& words() const { return words_; }
    int size() const { return words_.size(); }
    // Nothing but separators: there is no command to run or pass on.
    bool isEmpty() const;
    // Word i as typed; empty when the line is shorter.
    QString word(int index) const { return words_.value(index); }
    // Word 0 lower-cased.
    const QString& commandWord() const { return commandWord_; }
    // The command word with word 1 appended, lower-cased: how the two-word
    // forms ("clock get", "serialnum get") find their command.
    QString gluedKey() const;
    // Words from `first` to `last` (inclusive; -1: to the end) joined by
    // single blanks.
    QString joined(int first, int last = -1) const;
    // True when the line has `count` words and none of words 1 to count-1
    // is empty.
    bool hasRequiredWords(int count) const;

private:
    QString text_;
    QStringList words_;
    QString commandWord_;
};

} // namespace vireo2
