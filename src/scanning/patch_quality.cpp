#include "scanning/patch_quality.h"

#include <QStringList>

namespace vireo2 {
namespace {

QString patchesWith(const StripQuality& quality, int flag)
{
    QStringList numbers;
    for (size_t k = 0; k < quality.patches.size(); ++k)
        if (quality.patches[k] & flag)
            numbers << QString::number(k + 1);
    return numbers.join(QStringLiteral(", "));
}

} // namespace

QString describeQuality(const StripQuality& quality, int expected, int found)
{
    QStringList parts;
    if (quality.strip & quality::kShort)
        parts << QStringLiteral("%1 of %2 patches").arg(found).arg(expected);
    if (quality.strip & quality::kWidthMismatch)
        parts << QStringLiteral("the row does not fit %1 patches of the configured width").arg(expected);
    const struct {
        int flag;
        const char* name;
    } kinds[] = {{quality::kCorrected, "corrected"},
                 {quality::kUnsteady, "unsteady"},
                 {quality::kUncertain, "uncertain position"},
                 {quality::kLikePaper, "like paper"}};
    for (const auto& kind : kinds) {
        const QString list = patchesWith(quality, kind.flag);
        if (!list.isEmpty())
            parts << QStringLiteral("%1 %2").arg(QLatin1String(kind.name), list);
    }
    return QStringLiteral("Scan quality 0x%1: %2")
        .arg(quality.strip, 2, 16, QLatin1Char('0'))
        .arg(parts.join(QStringLiteral("; ")));
}

} // namespace vireo2
