#include "chart_track.h"

#include <QStringList>

namespace vireo2::sim {
namespace {

// Where the operator lays a strip's near edge: against the track's stop,
// this far from the head's home position.
constexpr double kSheetEdgeMm = 30.0;

const QString kOk = QStringLiteral("SIM 0x00 ");
const QString kBad = QStringLiteral("SIM 0x01 ");

} // namespace

ChartTrack::ChartTrack(std::unique_ptr<InstrumentModel> track, std::shared_ptr<TrackRig> rig, PrintedChart chart,
                       bool autoNext)
    : track_(std::move(track)), rig_(std::move(rig)), chart_(std::move(chart)), autoNext_(autoNext)
{
    MutexLocker lock(&mutex_);
    placeLocked(1);
}

void ChartTrack::placeLocked(int position)
{
    position_ = position;
    traversed_ = false;
    current_ = PrintedChart::Placement();
    current_.strip = position;
    if (mistakes_.contains(position))
        current_ = mistakes_.take(position);
    current_.smudged = smudges_.value(current_.strip);
    rig_->setSheet(chart_.sheet(current_, kSheetEdgeMm));
}

QByteArray ChartTrack::reply(const QByteArray& command)
{
    {
        MutexLocker lock(&mutex_);
        // The operator swaps strips only while the head rests at home.
        if (autoNext_ && traversed_ && rig_->atHome() && position_ < chart_.stripCount())
            placeLocked(position_ + 1);
        if (command.trimmed().endsWith("24xm"))
            traversed_ = true;
    }
    return track_->reply(command);
}

QString ChartTrack::status() const
{
    QString text = QStringLiteral("strip %1 of %2").arg(position_).arg(chart_.stripCount());
    if (current_.strip != position_)
        text += QStringLiteral(", strip %1 placed instead").arg(current_.strip);
    if (current_.reversed)
        text += QStringLiteral(", reversed");
    for (int patch : current_.smudged)
        text += QStringLiteral(", patch %1 smudged").arg(patch);
    return text;
}

QString ChartTrack::addFault(const QString& text)
{
    const QStringList words = text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString kind = words.value(0).toLower();
    bool ok1 = false, ok2 = false;
    const int strip = words.value(1).toInt(&ok1);
    const int value = words.value(2).toInt(&ok2);
    const QString usage = QStringLiteral("sheet fault reversed <n> | wrong <n> <other strip> | smudge <n> <patch> | clear");
    MutexLocker lock(&mutex_);
    if (kind == QLatin1String("clear") && words.size() == 1) {
        mistakes_.clear();
        smudges_.clear();
        current_.smudged.clear();
        rig_->setSheet(chart_.sheet(current_, kSheetEdgeMm));
        return QString();
    }
    if (!ok1 || strip < 1 || strip > chart_.stripCount())
        return usage;
    if (kind == QLatin1String("smudge") && words.size() == 3 && ok2 && value >= 1 && value <= chart_.patchCount(strip)) {
        smudges_[strip] << value;
        if (current_.strip == strip) {
            current_.smudged = smudges_.value(strip);
            rig_->setSheet(chart_.sheet(current_, kSheetEdgeMm));
        }
        return QString();
    }
    PrintedChart::Placement mistake = mistakes_.value(strip);
    if (!mistakes_.contains(strip))
        mistake.strip = strip;
    if (kind == QLatin1String("reversed") && words.size() == 2)
        mistake.reversed = true;
    else if (kind == QLatin1String("wrong") && words.size() == 3 && ok2 && value >= 1 && value <= chart_.stripCount()
             && value != strip)
        mistake.strip = value;
    else
        return usage;
    mistakes_.insert(strip, mistake);
    // A mistake for the strip on the track now happens at once.
    if (strip == position_)
        placeLocked(position_);
    return QString();
}

QString ChartTrack::control(const QString& line)
{
    QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (!words.isEmpty() && words.first().compare(QLatin1String("SIM"), Qt::CaseInsensitive) == 0)
        words.removeFirst();
    if (words.value(0).toLower() != QLatin1String("sheet"))
        return track_->control(line);
    const QString what = words.value(1).toLower();
    if (what == QLatin1String("fault")) {
        const QString problem = addFault(words.mid(2).join(QLatin1Char(' ')));
        if (!problem.isEmpty())
            return kBad + problem;
        MutexLocker lock(&mutex_);
        return kOk + status();
    }
    MutexLocker lock(&mutex_);
    if (what == QLatin1String("status"))
        return kOk + status();
    bool isNumber = false;
    const int wanted = what == QLatin1String("next") ? position_ + 1 : what.toInt(&isNumber);
    if (what != QLatin1String("next") && !isNumber)
        return kBad + QStringLiteral("sheet next|<n>|status|fault ...");
    if (wanted < 1 || wanted > chart_.stripCount())
        return kBad + QStringLiteral("the chart has strips 1 to %1").arg(chart_.stripCount());
    placeLocked(wanted);
    return kOk + status();
}

} // namespace vireo2::sim
