// Spot measurement, spectral readout and the measurement attributes.
#include "device/vireo2.h"

#include <QDir>
#include <QTextStream>
#include <QThread>

#include "device/brief_lock.h"
#include "settings/bounded_file.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr qint32 kReadoutRefused = 0xB1;
constexpr int kMeasureTimeoutMs = 10000;
constexpr int kReadoutTimeoutMs = 5000;
constexpr int kAttributesTimeoutMs = 3000;
// Pause after every reading, so that the instrument settles before the next.
constexpr int kMeasurementPacingMs = 1000;
// Four lines of 33 numbers; a larger file is no spot reading and is not read.
constexpr qint64 kLargestSpotFile = 64 * 1024;

// Reflectance floor: the single-precision 0.0001, as a double.
const double kReflectanceFloor = double(0.0001f);

double floored(double value)
{
    return value >= kReflectanceFloor ? value : kReflectanceFloor;
}

bool needsCalibration(qint32 status)
{
    return (status >= 0x83 && status <= 0x89) || status == 0x8E;
}

// The model text of a "version get" reply text.
QString modelText(const QString& versionText)
{
    const QStringList words = versionText.split(QLatin1Char(' '));
    if (words.size() == 4)
        return words.mid(1, 2).join(QLatin1Char(' '));
    if (words.size() == 5)
        return words.mid(1, 3).join(QLatin1Char(' '));
    return versionText;
}

QString profileText(char state)
{
    switch (state) {
    case 'E': return QStringLiteral("ON (Expired)");
    case 'N': return QStringLiteral("ON");
    case 'X': return QStringLiteral("OFF");
    default: return QStringLiteral("Unknown");
    }
}

} // namespace

bool Vireo2::Measure()
{
    measuring_ = true;
    if (!instrumentPresent_) {
        // Without an instrument a stored reading stands in; the measurement
        // itself still reports failure.
        readSpotFile();
        measuring_ = false;
        return false;
    }

    dataReady_ = false;
    QByteArray reply;
    const qint32 status = Transact(QStringLiteral("Meas Run"), reply, kMeasureTimeoutMs);
    bool result = false;
    if (status == 0) {
        result = readMeasurementData();
        if (result)
            dataReady_ = true;
    } else if (needsCalibration(status)) {
        log_->LogError(errors::kNeedsCalibration, errors::kNeedsCalibration.message());
        calibrated_ = false;
    } else if (lastTransactHadNoReply()) {
        // No reply at all: the code stays the exchange's, the text says why.
        log_->LogError(status, QStringLiteral("FAILED Measure:  ") + noReplyCause());
    } else {
        log_->LogError(status, QString::asprintf("FAILED Measure:  Code 0x%02X", unsigned(status)));
    }
    measuring_ = false;
    QThread::msleep(kMeasurementPacingMs);
    return result;
}

// One set per line of "spot.csv" in the current directory: two leading
// fields, then one reflectance value per wavelength.
void Vireo2::readSpotFile()
{
    QByteArray bytes;
    if (BoundedFile::read(QDir::toNativeSeparators(QDir::currentPath() + QStringLiteral("/spot.csv")),
                          kLargestSpotFile, &bytes) != BoundedFile::Read)
        return;
    QList<QList<double>> sets;
    QTextStream in(&bytes, QIODevice::ReadOnly | QIODevice::Text);
    while (!in.atEnd()) {
        const QStringList fields = in.readLine().split(QLatin1Char(','));
        QList<double> values;
        for (int i = 0; i < wavelengthCount_; ++i)
            values.append(floored(fields.value(i + 2).trimmed().toDouble()));
        sets.append(values);
    }
    publishSpectra(sets);
    dataReady_ = true;
}

void Vireo2::useSetCount(int count)
{
    useSpectralSets(count);
}

bool Vireo2::readMeasurementData()
{
    publishSpectra({});
    QByteArray reply;
    const qint32 polarizer = Transact(QStringLiteral("measconfig get polarizer"), reply, kReadoutTimeoutMs);
    // Without the polarizer the instrument has no M3 condition.
    useSetCount(polarizer == 0 && reply == "MEASCONFIG 0x00 1" ? 4 : 3);

    // The store is filled in a local copy and published at once, so readers
    // on other threads never see a list being appended to.
    QList<QList<double>> sets;
    for (int set = 0; set < setCount_; ++set) {
        const QString name = GetSpectralSetName(set);
        const qint32 status = Transact(QStringLiteral("Meas Get Refls %1").arg(name), reply, kReadoutTimeoutMs);
        sets.append(QList<double>());
        if (status == kReadoutRefused) {
            publishSpectra({});
            refreshCalibrated();
            return true;
        }
        if (status != 0) {
            publishSpectra(sets);
            return false;
        }
        const QList<QByteArray> words = reply.split(' ');
        if (words.size() < wavelengthCount_ + 2) {
            log_->LogError(errors::kInsufficientData,
                           QStringLiteral("FAILED readMeasurementData: Insufficient spectral data - Angle=%1").arg(name));
            publishSpectra(sets);
            return false;
        }
        for (int i = 0; i < wavelengthCount_; ++i)
            sets.last().append(floored(words.at(i + 2).toDouble()));
    }
    publishSpectra(sets);
    refreshCalibrated();
    return true;
}

void Vireo2::refreshCalibrated()
{
    calibrated_ = GetCalStatus() == 0;
}

QString Vireo2::GetMeasAttributes()
{
    QByteArray reply;
    {
        BriefLock pollWait(operationMutex_.get());
        Transact(QStringLiteral("version get"), reply, kAttributesTimeoutMs);
    }

    QString angles = QStringLiteral("M1");
    if (modelCode_ == 88 && !singleAngle_)
        angles = QStringLiteral("M0 / M2");
    else if (modelCode_ == 78 && !singleAngle_)
        angles = QStringLiteral("M0 / M1 / M2 / M3");

    return QStringLiteral("Mfg=Hueron:Model=%1:Serial Number=%2:Mode=Reflectance:Angles=%3:"
                          "Calibration Status=%4:Aperture=%5:NetAdjuster=%7")
        .arg(modelText(ResponseValue(reply)), identity_[2].get(), angles,
             calibrated_ ? QStringLiteral("Calibrated") : QStringLiteral("Not Calibrated"), aperture_.get(),
             profileText(profileState_));
}

} // namespace vireo2
