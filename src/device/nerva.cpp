#include "device/nerva.h"
#include "threading/locks.h"

#include <limits>

#include "device/status_thread.h"
#include "device/worker_thread.h"

namespace vireo2 {

Nerva::Nerva()
    : operationMutex_(std::make_unique<RecursiveMutex>()),
      log_(std::make_shared<LogHelper>())
{
}

Nerva::~Nerva() = default;

bool Nerva::Connect() { return false; }
bool Nerva::Disconnect() { return false; }
bool Nerva::IsConnected() { return false; }

QString Nerva::GetAvailableSettings() { return QString(); }
QString Nerva::GetSettingOptions(const QString&) { return QString(); }
QString Nerva::GetOption(const QString&) { return QString(); }
bool Nerva::SetOption(const QString&, const QString&) { return false; }

bool Nerva::Measure() { return false; }

// The flag reports new data once: reading it clears it.
bool Nerva::IsDataReady()
{
    return dataReady_.exchange(false);
}

int Nerva::GetSpectralSetCount()
{
    MutexLocker lock(&storeMutex_);
    return setCount_;
}

int Nerva::GetWavelengthCount() { return wavelengthCount_; }

QString Nerva::GetSpectralSetName(int index)
{
    MutexLocker lock(&storeMutex_);
    for (auto it = setNames_.cbegin(); it != setNames_.cend(); ++it) {
        if (it.value() == index)
            return it.key();
    }
    return QString();
}

// Wavelengths are implicit: 400 nm plus 10 nm per index. The index is not
// range-checked; only an index so large that the value would overflow is
// held at the int limits instead of wrapping.
int Nerva::GetWavelengthValue(int index)
{
    const qint64 nm = 400 + 10 * qint64(index);
    return int(qBound<qint64>(std::numeric_limits<int>::min(), nm, std::numeric_limits<int>::max()));
}

QString Nerva::GetMeasAttributes() { return QString(); }

float Nerva::GetSpectralData(int set, int wavelength)
{
    dataReady_ = false;
    MutexLocker lock(&storeMutex_);
    if (set < 0 || wavelength < 0 || set >= setCount_ || wavelength >= wavelengthCount_)
        return -1.0f;
    if (spectra_.isEmpty() || set >= spectra_.size() || wavelength >= spectra_.at(set).size())
        return -1.0f;
    return float(spectra_.at(set).at(wavelength));
}

int Nerva::copySpectralSet(int set, float* out, int capacity)
{
    dataReady_ = false;
    MutexLocker lock(&storeMutex_);
    if (set < 0 || set >= setCount_ || set >= spectra_.size() || capacity < 0)
        return -1;
    const QList<double>& values = spectra_.at(set);
    const int count = qMin(capacity, qMin(int(values.size()), int(wavelengthCount_)));
    for (int i = 0; i < count; ++i)
        out[i] = float(values.at(i));
    return count;
}

// Samples, references, tolerances and jobs: this family of instruments keeps
// none of these records in the library, so every answer means "nothing".
bool Nerva::ClearSamples() { return false; }
int Nerva::GetSampleCount() { return 0; }
bool Nerva::SetCurrentSample(int) { return false; }
int Nerva::GetSampleTagCount() { return 0; }
QString Nerva::GetSampleTag(int) { return QString(); }
float Nerva::GetSampleData(int, int) { return -1.0f; }
QString Nerva::GetSampleReference() { return QString(); }

const void* Nerva::GetSampleDateTime()
{
    static const unsigned char emptyRecord[64] = {};
    return emptyRecord;
}

QString Nerva::GetSampleGroup() { return QString(); }
QString Nerva::GetSampleAttributes() { return QString(); }
int Nerva::GetMaxReferences() { return 0; }
bool Nerva::ClearReferences() { return false; }
int Nerva::GetStoredReferences() { return 0; }
bool Nerva::SetCurrentReference(int) { return false; }
QString Nerva::GetRefName() { return QString(); }
int Nerva::GetRefID() { return -1; }
float Nerva::GetRefValue(int, int) { return -1.0f; }
int Nerva::GetRefToleranceCount() { return -1; }
bool Nerva::SetCurrentTolerance(int) { return false; }
QString Nerva::GetTolType() { return QString(); }
QString Nerva::GetTolAngle() { return QString(); }
QString Nerva::GetTolPrimaryIllumObs() { return QString(); }
QString Nerva::GetTolSecondaryIllumObs() { return QString(); }
float Nerva::GetTolValue(int) { return -1.0f; }
int Nerva::GetMaxJobs() { return 0; }
bool Nerva::ClearJobs() { return false; }
bool Nerva::AddJob(const QString&) { return false; }
bool Nerva::TransmitJobs() { return false; }

bool Nerva::SetCalMode() { return false; }
bool Nerva::WhiteCal() { return false; }
bool Nerva::BlackCal() { return false; }
bool Nerva::Calibrate() { return false; }
int Nerva::GetCalStatus() { return -1; }
int Nerva::GetCalProgress() { return -1; }
float Nerva::GetCalValues(int) { return 0.0f; }
bool Nerva::CalibrateWithData(int, void*) { return false; }
bool Nerva::CalibrateStep(const QString&) { return false; }
QString Nerva::GetCalSteps() { return QString(); }
QString Nerva::GetCalMode() { return QStringLiteral("Device"); }
QString Nerva::GetCalibrationStandard() { return QStringLiteral("OTHER"); }
bool Nerva::AbortCalibration() { return false; }
QString Nerva::GetCalPlaqSN() { return QString(); }

bool Nerva::Configure() { return false; }
QString Nerva::GetConfiguration() { return QString(); }
bool Nerva::SetConfiguration(const QString&) { return false; }
bool Nerva::SetNormalMode() { return false; }
bool Nerva::SetOfflineMode() { return false; }

QString Nerva::Execute(const QString&) { return QString(); }
int Nerva::ExecuteBinary(const unsigned char*, int, int, unsigned char*, int) { return 0; }
QString Nerva::SendCommand(const QString&, int) { return QString(); }

// "0", the calibrated flag, the first state byte as a character, then the
// configuration code; empty while disconnected.
QString Nerva::GetStatusWord()
{
    if (!IsConnected())
        return QString();
    return QStringLiteral("0%1%2%3")
        .arg(int(calibrated_))
        .arg(QChar(stateBytes_[0]))
        .arg(GetConfiguration());
}

void Nerva::init() {}
void Nerva::CheckStatus() {}
bool Nerva::SetLanguage(int) { return false; }

bool Nerva::isWorkerRunning() const
{
    return workerThread_ && workerThread_->isRunning();
}

bool Nerva::isPortValid() { return false; }

void Nerva::publishSpectra(const QList<QList<double>>& sets)
{
    MutexLocker lock(&storeMutex_);
    spectra_ = sets;
}

void Nerva::useSpectralSets(int count)
{
    MutexLocker lock(&storeMutex_);
    setCount_ = count;
    setNames_.clear();
    for (int set = 0; set < count; ++set)
        setNames_.insert(QStringLiteral("M%1").arg(set), set);
}

} // namespace vireo2
