#include "transport/owed_replies.h"

namespace vireo2 {

QByteArray OwedReplies::commandKeyword(const char* command, int length)
{
    int end = 0;
    while (end < length && command[end] != ' ' && command[end] != '|' && command[end] != '\0')
        ++end;
    return QByteArray(command, end).toUpper();
}

QByteArray OwedReplies::replyKeyword(const QByteArray& reply)
{
    const int blank = reply.indexOf(' ');
    if (blank <= 0 || !reply.mid(blank + 1, 2).startsWith("0x"))
        return QByteArray();
    return reply.left(blank).toUpper();
}

void OwedReplies::sent(const char* command, int length)
{
    const QByteArray keyword = commandKeyword(command, length);
    MutexLocker lock(&mutex_);
    current_ = keyword;
}

void OwedReplies::missing()
{
    MutexLocker lock(&mutex_);
    if (current_.isEmpty())
        return;
    forgetOld();
    if (owed_.size() >= kMostOwed)
        owed_.removeFirst();
    owed_.append({current_, clock_.elapsed()});
}

bool OwedReplies::settledBy(const QByteArray& reply)
{
    const QByteArray keyword = replyKeyword(reply);
    if (keyword.isEmpty())
        return false;
    MutexLocker lock(&mutex_);
    if (owed_.isEmpty() || keyword == current_)
        return false;
    forgetOld();
    for (int i = 0; i < owed_.size(); ++i) {
        if (owed_.at(i).keyword == keyword) {
            owed_.removeAt(i);
            return true;
        }
    }
    return false;
}

void OwedReplies::forgetOld()
{
    const qint64 now = clock_.elapsed();
    while (!owed_.isEmpty() && now - owed_.first().sinceMs > kForgetAfterMs)
        owed_.removeFirst();
}

} // namespace vireo2
