#include "commands/command_line.h"

namespace vireo2 {

CommandLine::CommandLine(const QString& text) : text_(text)
{
    if (text.isEmpty())
        return;
    words_ = text.split(QLatin1Char(';'));
    if (words_.size() < 2)
        words_ = text.split(QLatin1Char(' '));
    commandWord_ = words_.first().toLower();
}

bool CommandLine::isEmpty() const
{
    for (const QString& word : words_) {
        if (!word.trimmed().isEmpty())
            return false;
    }
    return true;
}

QString CommandLine::gluedKey() const
{
    return words_.size() >= 2 ? (commandWord_ + words_.at(1)).toLower() : commandWord_;
}

QString CommandLine::joined(int first, int last) const
{
    if (last < 0 || last >= words_.size())
        last = words_.size() - 1;
    if (first > last)
        return QString();
    return words_.mid(first, last - first + 1).join(QLatin1Char(' '));
}

bool CommandLine::hasRequiredWords(int count) const
{
    if (words_.size() < count)
        return false;
    for (int i = 1; i < count; ++i) {
        if (words_.at(i).isEmpty())
            return false;
    }
    return true;
}

} // namespace vireo2
