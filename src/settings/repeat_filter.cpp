#include "settings/repeat_filter.h"

#include "settings/log_helper.h"

namespace vireo2 {

bool RepeatFilter::admit(const QString& key, QString* note)
{
    note->clear();
    MutexLocker lock(&mutex_);
    const qint64 now = clock_.elapsed();
    for (Kind& kind : kinds_) {
        if (kind.key != key)
            continue;
        kind.seenMs = now;
        if (now - kind.writtenMs < windowMs_) {
            if (kind.leftOut++ == 0)
                kind.firstLeftOut = LogHelper::timestamp();
            return false;
        }
        if (kind.leftOut > 0)
            *note = QStringLiteral(" (repeated %1 more times since %2)").arg(kind.leftOut).arg(kind.firstLeftOut);
        kind.writtenMs = now;
        kind.leftOut = 0;
        return true;
    }
    if (kinds_.size() >= kKinds) {
        int oldest = 0;
        for (int i = 1; i < kinds_.size(); ++i) {
            if (kinds_.at(i).seenMs < kinds_.at(oldest).seenMs)
                oldest = i;
        }
        kinds_.removeAt(oldest);
    }
    kinds_.append({key, now, now, 0, QString()});
    return true;
}

} // namespace vireo2
