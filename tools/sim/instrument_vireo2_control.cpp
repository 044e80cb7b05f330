// The control interface of the simulated Vireo2: what a test or an operator
// does to the instrument from outside (press its button, dirty the white
// standard, change the sample, ...). Lines arrive without the "SIM " prefix;
// answers read "SIM 0x00[ value]" or "SIM 0x01 <reason>".
#include "instrument_vireo2.h"

#include "threading/locks.h"

namespace vireo2::sim {
namespace {

QString ok(const QString& value = QString())
{
    return value.isEmpty() ? QStringLiteral("SIM 0x00") : QStringLiteral("SIM 0x00 ") + value;
}

QString refused(const QString& reason)
{
    return QStringLiteral("SIM 0x01 ") + reason;
}

// "on"/"off" style switches.
std::optional<bool> switchValue(const QString& word, const char* on, const char* off)
{
    if (word.compare(QLatin1String(on), Qt::CaseInsensitive) == 0)
        return true;
    if (word.compare(QLatin1String(off), Qt::CaseInsensitive) == 0)
        return false;
    return std::nullopt;
}

std::optional<int> milliseconds(const QString& word)
{
    bool isNumber = false;
    const int value = word.toInt(&isNumber);
    if (!isNumber || value < 0)
        return std::nullopt;
    return value;
}

} // namespace

QString SimulatedVireo2::control(const QString& line)
{
    MutexLocker lock(&mutex_);
    updatePower();
    QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (!words.isEmpty() && words.first().compare(QLatin1String("SIM"), Qt::CaseInsensitive) == 0)
        words.removeFirst();
    if (words.isEmpty())
        return QString();
    const auto handler = controls_.constFind(words.first().toLower());
    if (handler == controls_.constEnd())
        return QString();
    return (*handler)(words.mid(1));
}

void SimulatedVireo2::installControls()
{
    // The size of the chunks the instrument hands out ("... receive").
    controls_.insert(QStringLiteral("chunk"), [this](const QStringList& args) {
        bool isNumber = false;
        const int bytes = args.value(0).toInt(&isNumber);
        if (!isNumber || bytes < 1 || bytes > (64 << 20))
            return QStringLiteral("SIM 0x01 chunk <bytes>");
        storage_.setChunkSize(bytes);
        return QStringLiteral("SIM 0x00 %1").arg(bytes);
    });

    // How long the instrument takes to digest a firmware packet.
    controls_.insert(QStringLiteral("digest"), [this](const QStringList& args) {
        bool isNumber = false;
        const int ms = args.value(0).toInt(&isNumber);
        if (!isNumber || ms < 0 || ms > 600000)
            return QStringLiteral("SIM 0x01 digest <ms>");
        digestDelayMs_ = ms;
        return QStringLiteral("SIM 0x00 %1").arg(ms);
    });

    // A hand scan finished on the instrument, read back as patches.
    controls_.insert(QStringLiteral("scan"), [this](const QStringList& args) { return scanning_.control(args, library_); });

    // A button press on the instrument, reported by "button triggered?".
    controls_.insert(QStringLiteral("button"), [this](const QStringList& args) {
        const QString report = args.isEmpty() ? QStringLiteral("Measure") : args.join(QLatin1Char(' '));
        buttonReports_ << report;
        return ok(report);
    });

    // A reading taken with the instrument's own button, reported by the next
    // "meas done?" (with 0x85/0x86 when the calibration is not valid).
    controls_.insert(QStringLiteral("reading"), [this](const QStringList& args) {
        int sample = -1;
        if (!args.isEmpty()) {
            sample = library_.indexOf(args.first());
            if (sample < 0)
                return refused(QStringLiteral("unknown sample ") + args.first());
        }
        switch (calibration()) {
        case Calibration::Needed: instrumentReadingStatus_ = 0x85; return ok(QStringLiteral("needs calibration"));
        case Calibration::Expired: instrumentReadingStatus_ = 0x86; return ok(QStringLiteral("calibration expired"));
        case Calibration::Valid: break;
        }
        lastReading_ = takeReading(sample);
        lastActivityMs_ = clock_.elapsed();
        instrumentReadingStatus_ = 0x00;
        return ok(library_.at(lastReading_->sample).name);
    });

    controls_.insert(QStringLiteral("sample"), [this](const QStringList& args) {
        if (args.isEmpty())
            return ok(cycleSamples_ ? QStringLiteral("cycle ") + library_.at(sampleIndex_).name
                                    : library_.at(sampleIndex_).name);
        if (args.first().compare(QLatin1String("cycle"), Qt::CaseInsensitive) == 0) {
            cycleSamples_ = true;
            return ok(QStringLiteral("cycle"));
        }
        const int index = library_.indexOf(args.first());
        if (index < 0)
            return refused(QStringLiteral("unknown sample ") + args.first());
        cycleSamples_ = false;
        sampleIndex_ = index;
        return ok(library_.at(index).name);
    });

    controls_.insert(QStringLiteral("samples"), [this](const QStringList& args) {
        if (args.size() >= 2 && args.first().compare(QLatin1String("load"), Qt::CaseInsensitive) == 0) {
            QString error;
            const auto loaded = SampleLibrary::fromSpectralFile(args.mid(1).join(QLatin1Char(' ')), &error);
            if (!loaded)
                return refused(error);
            library_ = *loaded;
            sampleIndex_ = 0;
            lastReading_.reset();
        }
        return ok(library_.names().join(QLatin1Char(' ')));
    });

    controls_.insert(QStringLiteral("calibration"), [this](const QStringList& args) {
        const QString what = args.value(0).toLower();
        if (what == QLatin1String("valid")) {
            calibrated_ = true;
            forcedExpiry_ = false;
            calibratedAtMs_ = clock_.elapsed();
        } else if (what == QLatin1String("needed")) {
            calibrated_ = false;
        } else if (what == QLatin1String("expired")) {
            forcedExpiry_ = calibrated_;
        } else if (what == QLatin1String("lifetime")) {
            bool isNumber = false;
            const int seconds = args.value(1).toInt(&isNumber);
            if (!isNumber || seconds < 0)
                return refused(QStringLiteral("lifetime needs seconds"));
            options_.calibrationLifetimeS = seconds;
        } else if (!what.isEmpty()) {
            return refused(QStringLiteral("calibration valid|needed|expired|lifetime <s>"));
        }
        return ok(calibrationName());
    });

    controls_.insert(QStringLiteral("standard"), [this](const QStringList& args) {
        const auto dirty = switchValue(args.value(0), "dirty", "clean");
        if (!dirty)
            return refused(QStringLiteral("standard clean|dirty"));
        standardDirty_ = *dirty;
        return ok(args.value(0).toLower());
    });

    controls_.insert(QStringLiteral("polarizer"), [this](const QStringList& args) {
        const auto on = switchValue(args.value(0), "on", "off");
        if (!on)
            return refused(QStringLiteral("polarizer on|off"));
        options_.polarizer = *on;
        return ok(args.value(0).toLower());
    });

    controls_.insert(QStringLiteral("readout"), [this](const QStringList& args) {
        const auto refuse = switchValue(args.value(0), "refuse", "allow");
        if (!refuse)
            return refused(QStringLiteral("readout refuse|allow"));
        refuseReadout_ = *refuse;
        return ok(args.value(0).toLower());
    });

    // Replies for one condition that carry only this many values.
    controls_.insert(QStringLiteral("truncate"), [this](const QStringList& args) {
        if (args.value(0).compare(QLatin1String("off"), Qt::CaseInsensitive) == 0) {
            truncatedConditions_.clear();
            return ok();
        }
        bool isNumber = false;
        const int count = args.value(1).toInt(&isNumber);
        const QString condition = args.value(0).toUpper();
        if (!QStringList{"M0", "M1", "M2", "M3"}.contains(condition) || !isNumber || count < 0)
            return refused(QStringLiteral("truncate M0..M3 <values>|off"));
        truncatedConditions_.insert(condition, count);
        return ok();
    });

    controls_.insert(QStringLiteral("measure"), [this](const QStringList& args) {
        const auto ms = milliseconds(args.value(1));
        if (args.value(0).compare(QLatin1String("time"), Qt::CaseInsensitive) != 0 || !ms)
            return refused(QStringLiteral("measure time <ms>"));
        options_.measurementMs = *ms;
        return ok();
    });

    controls_.insert(QStringLiteral("sleep"), [this](const QStringList&) {
        power_ = Power::Asleep;
        return ok(QStringLiteral("asleep"));
    });
    controls_.insert(QStringLiteral("wake"), [this](const QStringList& args) {
        const auto ms = milliseconds(args.value(1));
        if (args.value(0).compare(QLatin1String("time"), Qt::CaseInsensitive) != 0 || !ms)
            return refused(QStringLiteral("wake time <ms>"));
        options_.wakeMs = *ms;
        return ok();
    });
    controls_.insert(QStringLiteral("doze"), [this](const QStringList& args) {
        const auto ms = milliseconds(args.value(0));
        if (!ms)
            return refused(QStringLiteral("doze <ms> (0: never)"));
        options_.dozeAfterMs = *ms;
        lastActivityMs_ = clock_.elapsed();
        return ok();
    });

    controls_.insert(QStringLiteral("netadjuster"), [this](const QStringList& args) {
        const QString what = args.value(0).toLower();
        if (what == QLatin1String("empty"))
            profile_ = Profile::Empty;
        else if (what == QLatin1String("enabled"))
            profile_ = Profile::Enabled;
        else if (what == QLatin1String("disabled"))
            profile_ = Profile::Disabled;
        else
            return refused(QStringLiteral("netadjuster empty|enabled|disabled"));
        return ok(what);
    });

    controls_.insert(QStringLiteral("noise"), [this](const QStringList& args) {
        bool isNumber = false;
        const double amplitude = args.value(0).toDouble(&isNumber);
        if (!isNumber || amplitude < 0)
            return refused(QStringLiteral("noise <amplitude>"));
        options_.noise = amplitude;
        return ok();
    });

    // Identity texts: without a value they are read.
    auto identity = [this](QString DefaultInstrumentOptions::*field) {
        return [this, field](const QStringList& args) {
            if (!args.isEmpty())
                options_.*field = args.join(QLatin1Char(' '));
            return ok(options_.*field);
        };
    };
    controls_.insert(QStringLiteral("serial"), identity(&DefaultInstrumentOptions::serialNumber));
    controls_.insert(QStringLiteral("firmware"), identity(&DefaultInstrumentOptions::firmwareVersion));
    controls_.insert(QStringLiteral("edition"), identity(&DefaultInstrumentOptions::edition));
    controls_.insert(QStringLiteral("aperture"), identity(&DefaultInstrumentOptions::aperture));
    controls_.insert(QStringLiteral("product"), identity(&DefaultInstrumentOptions::productName));

    controls_.insert(QStringLiteral("state"), [this](const QStringList&) { return ok(stateSummary()); });
}

QString SimulatedVireo2::calibrationName()
{
    switch (calibration()) {
    case Calibration::Needed: return QStringLiteral("needed");
    case Calibration::Expired: return QStringLiteral("expired");
    case Calibration::Valid: break;
    }
    return QStringLiteral("valid");
}

QString SimulatedVireo2::stateSummary()
{
    static const char* const powers[] = {"active", "waking", "asleep"};
    static const char* const profiles[] = {"empty", "enabled", "disabled"};
    return QStringLiteral("calibration=%1 standard=%2 sample=%3%4 polarizer=%5 power=%6 readings=%7 netadjuster=%8")
        .arg(calibrationName(), standardDirty_ ? QStringLiteral("dirty") : QStringLiteral("clean"),
             cycleSamples_ ? QStringLiteral("cycle:") : QString(), library_.at(sampleIndex_).name,
             options_.polarizer ? QStringLiteral("on") : QStringLiteral("off"), QLatin1String(powers[int(power_)]),
             QString::number(readingCount_), QLatin1String(profiles[int(profile_)]));
}

} // namespace vireo2::sim
