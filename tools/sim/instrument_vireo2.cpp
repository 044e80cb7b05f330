#include "instrument_vireo2.h"
#include "screen_image.h"
#include "status_reply.h"

#include "threading/locks.h"

namespace vireo2::sim {
namespace {

// Statuses of the simulated instrument.
constexpr int kOk = 0x00;
constexpr int kRefused = 0x01;
constexpr int kInvalidArgument = 0x02;
constexpr int kInProgress = 0x05;
constexpr int kNothingNew = 0x07;
constexpr int kNoReading = 0x10;
constexpr int kCalibrationNeeded = 0x85;
constexpr int kCalibrationExpired = 0x86;
constexpr int kAsleep = 0x8B;
constexpr int kDirtyStandard = 0x8C;

constexpr int kPollWaitMs = 5000;

QByteArray keywordOf(const QStringList& words)
{
    return words.value(0).toUpper().toUtf8();
}

std::optional<Condition> conditionNamed(const QString& name)
{
    static const QMap<QString, Condition> conditions{
        {QStringLiteral("M0"), Condition::M0},
        {QStringLiteral("M1"), Condition::M1},
        {QStringLiteral("M2"), Condition::M2},
        {QStringLiteral("M3"), Condition::M3},
    };
    const auto it = conditions.constFind(name.toUpper());
    if (it == conditions.constEnd())
        return std::nullopt;
    return *it;
}

} // namespace

SimulatedVireo2::SimulatedVireo2(const DefaultInstrumentOptions& options, std::shared_ptr<TrackRig> rig)
    : options_(options), library_(SampleLibrary::builtIn()),
      scanning_(rig ? std::move(rig) : std::make_shared<TrackRig>())
{
    clock_.start();
    calibrated_ = options.calibrated;
    if (options.sample.compare(QLatin1String("cycle"), Qt::CaseInsensitive) != 0) {
        cycleSamples_ = false;
        sampleIndex_ = qMax(0, library_.indexOf(options.sample));
    }
    installCommands();
    installControls();
    installHousekeepingControls();
}

QByteArray SimulatedVireo2::reply(const QByteArray& command)
{
    MutexLocker lock(&mutex_);
    updatePower();
    const QString text = QString::fromUtf8(command).simplified();
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString key = text.toLower();

    storage_.noteCommand(command, clock_.elapsed());
    if (key == QLatin1String("screen capture") || key == QLatin1String("videoframe capture")) {
        const QVector<double> last = lastReading_ ? measuredSpectrum(library_.at(lastReading_->sample), Condition::M1,
                                                                     lastReading_->seed, options_.noise)
                                                  : QVector<double>();
        storage_.setScreen(screenBitmap(tool_, last));
    }
    if (const auto answer = storage_.reply(command))
        return *answer;
    if (const auto answer = maintenanceReply(key, words, command))
        return *answer;
    if (const auto answer = scanning_.reply(key, library_, options_.noise))
        return *answer;
    const auto handler = commands_.constFind(key);
    if (handler != commands_.constEnd())
        return (*handler)(words);
    if (const auto answer = housekeepingReply(key, words, command))
        return *answer;
    if (key.startsWith(QLatin1String("meas get refls ")) && words.size() == 4)
        return reflectance(words.at(3));
    // Anything else is acknowledged, as the instrument does for settings and
    // screen commands it carries out without an answer.
    return statusReply(keywordOf(words), kOk);
}

void SimulatedVireo2::installCommands()
{
    auto value = [](const QByteArray& keyword, std::function<QString()> text) {
        return [keyword, text](const QStringList&) { return statusReply(keyword, kOk, text().toUtf8()); };
    };
    commands_.insert(QStringLiteral("version"), value("VERSION", [this] {
        return options_.productName + QLatin1Char(' ') + options_.firmwareVersion;
    }));
    commands_.insert(QStringLiteral("version get"), value("VERSION", [this] {
        QStringList parts{options_.productName};
        if (!options_.edition.isEmpty())
            parts << options_.edition;
        parts << options_.firmwareVersion;
        return parts.join(QLatin1Char(' '));
    }));
    commands_.insert(QStringLiteral("serialnum get inst"), value("SERIALNUM", [this] { return options_.serialNumber; }));
    commands_.insert(QStringLiteral("serialnum get cal"), value("SERIALNUM", [this] { return options_.plaqueSerial; }));
    commands_.insert(QStringLiteral("serialnum get devicename"),
                     value("SERIALNUM", [this] { return QLatin1Char('|') + options_.deviceName; }));
    commands_.insert(QStringLiteral("measconfig get aperture"), value("MEASCONFIG", [this] { return options_.aperture; }));
    commands_.insert(QStringLiteral("measconfig get polarizer"),
                     value("MEASCONFIG", [this] { return options_.polarizer ? QStringLiteral("1") : QStringLiteral("0"); }));

    commands_.insert(QStringLiteral("cal query status"), [this](const QStringList&) { return calibrationStatus(); });
    commands_.insert(QStringLiteral("cal run"), [this](const QStringList&) { return runCalibration("CAL"); });
    commands_.insert(QStringLiteral("calwhite"), [this](const QStringList&) { return runCalibration("CALWHITE"); });
    commands_.insert(QStringLiteral("calblack"), [](const QStringList&) { return statusReply("CALBLACK", kOk); });

    commands_.insert(QStringLiteral("meas run"), [this](const QStringList&) { return startMeasurement(); });
    commands_.insert(QStringLiteral("meas done?"), [this](const QStringList&) { return measurementDone(); });
    commands_.insert(QStringLiteral("button triggered?"), [this](const QStringList&) {
        if (buttonReports_.isEmpty())
            return statusReply("BUTTON", kNothingNew);
        return statusReply("BUTTON", kOk, buttonReports_.takeFirst().toUtf8());
    });

    commands_.insert(QStringLiteral("spectro system state"), [this](const QStringList&) { return powerState(); });
    commands_.insert(QStringLiteral("spectro system wake"), [this](const QStringList&) {
        if (power_ == Power::Asleep) {
            power_ = Power::Waking;
            wakeStartMs_ = clock_.elapsed();
        }
        lastActivityMs_ = clock_.elapsed();
        updatePower();
        return statusReply("SPECTRO", kOk);
    });

    commands_.insert(QStringLiteral("netadjuster get state"), [this](const QStringList&) {
        static const char* const names[] = {"EMPTY", "ENABLED", "DISABLED"};
        return statusReply("NETADJUSTER", kOk, names[int(profile_)]);
    });
    commands_.insert(QStringLiteral("netadjuster set enabled"), [this](const QStringList&) { return setProfile(true); });
    commands_.insert(QStringLiteral("netadjuster set disabled"), [this](const QStringList&) { return setProfile(false); });
}

SimulatedVireo2::Calibration SimulatedVireo2::calibration()
{
    if (!calibrated_)
        return Calibration::Needed;
    const qint64 lifetimeMs = qint64(options_.calibrationLifetimeS) * 1000;
    if (forcedExpiry_ || (lifetimeMs > 0 && clock_.elapsed() - calibratedAtMs_ >= lifetimeMs))
        return Calibration::Expired;
    return Calibration::Valid;
}

// "CAL 0x00 OK <hours left>" while valid; 0x85 before the first calibration,
// 0x86 once it has expired.
QByteArray SimulatedVireo2::calibrationStatus()
{
    switch (calibration()) {
    case Calibration::Needed: return statusReply("CAL", kCalibrationNeeded);
    case Calibration::Expired: return statusReply("CAL", kCalibrationExpired);
    case Calibration::Valid: break;
    }
    qint64 hoursLeft = 24;
    if (options_.calibrationLifetimeS > 0) {
        const qint64 leftMs = qint64(options_.calibrationLifetimeS) * 1000 - (clock_.elapsed() - calibratedAtMs_);
        hoursLeft = (leftMs + 3599999) / 3600000;
    }
    return statusReply("CAL", kOk, "OK " + QByteArray::number(hoursLeft));
}

// A dirty or wrong white standard fails the calibration and leaves the
// instrument needing one.
QByteArray SimulatedVireo2::runCalibration(const QByteArray& keyword)
{
    lastActivityMs_ = clock_.elapsed();
    if (standardDirty_) {
        calibrated_ = false;
        return statusReply(keyword, kDirtyStandard);
    }
    calibrated_ = true;
    forcedExpiry_ = false;
    calibratedAtMs_ = clock_.elapsed();
    return statusReply(keyword, kOk);
}

// "Meas Run" answers "in progress" with the time the reading takes as the
// poll delay; the reading completes on the first "done?" poll after it.
QByteArray SimulatedVireo2::startMeasurement()
{
    if (power_ != Power::Active)
        return statusReply("MEAS", kAsleep);
    switch (calibration()) {
    case Calibration::Needed: return statusReply("MEAS", kCalibrationNeeded);
    case Calibration::Expired: return statusReply("MEAS", kCalibrationExpired);
    case Calibration::Valid: break;
    }
    lastActivityMs_ = clock_.elapsed();
    if (options_.measurementMs <= 0) {
        lastReading_ = takeReading();
        return statusReply("MEAS", kOk);
    }
    hostMeasuring_ = true;
    measurementStartMs_ = clock_.elapsed();
    return statusReply("MEAS", kInProgress,
                       QByteArray::number(options_.measurementMs) + ' ' + QByteArray::number(kPollWaitMs));
}

QByteArray SimulatedVireo2::measurementDone()
{
    if (hostMeasuring_) {
        if (clock_.elapsed() - measurementStartMs_ < options_.measurementMs)
            return statusReply("MEAS", kInProgress);
        hostMeasuring_ = false;
        lastReading_ = takeReading();
        return statusReply("MEAS", kOk);
    }
    if (instrumentReadingStatus_) {
        const int status = *instrumentReadingStatus_;
        instrumentReadingStatus_.reset();
        return statusReply("MEAS", status);
    }
    return statusReply("MEAS", kNothingNew);
}

QByteArray SimulatedVireo2::reflectance(const QString& conditionName)
{
    const std::optional<Condition> condition = conditionNamed(conditionName);
    if (!condition || (*condition == Condition::M3 && !options_.polarizer))
        return statusReply("MEAS", kInvalidArgument);
    if (refuseReadout_)
        return statusReply("MEAS", 0xB1);
    if (!lastReading_)
        return statusReply("MEAS", kNoReading);

    const QVector<double> values = measuredSpectrum(library_.at(lastReading_->sample), *condition,
                                                    lastReading_->seed, options_.noise);
    const int count = qBound(0, truncatedConditions_.value(conditionName.toUpper(), kBandCount), kBandCount);
    QByteArray text;
    for (int band = 0; band < count; ++band) {
        if (band > 0)
            text += ' ';
        text += QByteArray::number(values.at(band), 'f', 4);
    }
    return statusReply("MEAS", kOk, text);
}

QByteArray SimulatedVireo2::powerState()
{
    static const char* const names[] = {"active", "waking", "asleep"};
    return statusReply("SPECTRO", kOk, names[int(power_)]);
}

// Enabling needs a correction profile on the instrument.
QByteArray SimulatedVireo2::setProfile(bool enable)
{
    if (profile_ == Profile::Empty)
        return statusReply("NETADJUSTER", enable ? kRefused : kOk);
    profile_ = enable ? Profile::Enabled : Profile::Disabled;
    return statusReply("NETADJUSTER", kOk);
}

void SimulatedVireo2::updatePower()
{
    const qint64 now = clock_.elapsed();
    if (power_ == Power::Waking && now - wakeStartMs_ >= options_.wakeMs)
        power_ = Power::Active;
    if (power_ == Power::Active && options_.dozeAfterMs > 0 && !hostMeasuring_ &&
        now - lastActivityMs_ >= options_.dozeAfterMs)
        power_ = Power::Asleep;
}

SimulatedVireo2::Reading SimulatedVireo2::takeReading(int sample)
{
    Reading reading;
    if (sample >= 0) {
        reading.sample = sample;
    } else {
        reading.sample = sampleIndex_;
        if (cycleSamples_)
            sampleIndex_ = (sampleIndex_ + 1) % library_.size();
    }
    reading.seed = ++readingCount_;
    return reading;
}

} // namespace vireo2::sim
