#include "track_model.h"

#include <QStringList>

namespace vireo2::sim {
namespace {

QByteArray number(double value)
{
    return QByteArray::number(value, 'f', 2);
}

QByteArray ticks(double value)
{
    return QByteArray::number(value, 'f', 1);
}

} // namespace

SimulatedTrack::SimulatedTrack(std::shared_ptr<TrackRig> rig) : rig_(std::move(rig)) {}

QByteArray SimulatedTrack::reply(const QByteArray& raw)
{
    const QByteArray command = raw.trimmed();
    TrackRig& rig = *rig_;
    const qint64 now = rig.nowMs();
    if (command == "01pk")
        return rig.atHome() ? "1" : "0";
    if (command == "xp")
        return "XP, " + number(rig.positionAt(now)) + ", " + number(rig.speedAt(now)) + ", " + number(rig.length());
    if (command == "01xm") {
        rig.halt();
        return "<00>";
    }
    if (command == "07xm") {
        rig.returnHome();
        return "<00>";
    }
    if (command.endsWith("24xm"))
        return traverse(command);
    if (command == "00001ps") {
        rig.zeroClock();
        return "<00>";
    }
    double a = 0, b = 0, c = 0, d = 0;
    rig.traverseTicks(&a, &b, &c, &d);
    if (command == "04ps")
        return "04," + ticks(a) + ',' + number(rig.traverseStartPosition()) + ',' + ticks(b);
    if (command == "14ps")
        return "14," + ticks(c) + ',' + number(rig.brakingPosition()) + ',' + ticks(d);
    if (command == "01BC" || command == "00BC") {
        charging_ = command == "01BC";
        return "<00>";
    }
    return "<01>";
}

QByteArray SimulatedTrack::traverse(const QByteArray& command)
{
    const QList<QByteArray> numbers = command.left(command.size() - 4).split(',');
    bool speedOk = false, distanceOk = false;
    const double speed = numbers.value(0).toDouble(&speedOk);
    const double distance = numbers.value(1).toDouble(&distanceOk);
    if (numbers.size() != 2 || !speedOk || !distanceOk || speed <= 0.0 || distance <= 0.0)
        return "<04>";
    rig_->traverse(speed, distance);
    return "<00>";
}

QString SimulatedTrack::control(const QString& line)
{
    QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (!words.isEmpty() && words.first().compare(QLatin1String("SIM"), Qt::CaseInsensitive) == 0)
        words.removeFirst();
    const QString name = words.value(0).toLower();
    const QString ok = QStringLiteral("SIM 0x00 ");
    if (name == QLatin1String("park")) {
        const QString mode = words.value(1).toLower();
        if (mode != QLatin1String("stuck") && mode != QLatin1String("normal"))
            return QStringLiteral("SIM 0x01 park stuck|normal");
        rig_->setParkSensorStuck(mode == QLatin1String("stuck"));
        return ok + mode;
    }
    if (name == QLatin1String("length")) {
        bool isNumber = false;
        const double length = words.value(1).toDouble(&isNumber);
        if (!isNumber || length < 50.0 || length > 2000.0)
            return QStringLiteral("SIM 0x01 length <50..2000 mm>");
        rig_->setLength(length);
        return ok + QString::number(length);
    }
    if (name == QLatin1String("position")) {
        const qint64 now = rig_->nowMs();
        return ok + QString::number(rig_->positionAt(now), 'f', 2) + QLatin1Char(' ') +
               QString::number(rig_->speedAt(now), 'f', 2);
    }
    if (name == QLatin1String("charging"))
        return ok + (charging_ ? QStringLiteral("on") : QStringLiteral("off"));
    return QString();
}

} // namespace vireo2::sim
