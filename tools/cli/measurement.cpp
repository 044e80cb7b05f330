#include "measurement.h"

#include "error_sentences.h"
#include "execute_call.h"
#include "vireo2.h"
#include "vireo2_colour.h"

namespace vireo2::cli {

namespace {
constexpr int kSpectrumLength = 31; // what the colour functions take

QString readCondition(int set, int wavelengthCount, ConditionReading* condition)
{
    condition->name = QString::fromUtf8(GetSpectralSetName(set));
    for (int i = 0; i < wavelengthCount; ++i) {
        const float value = GetSpectralData(set, i);
        if (value < 0.0f)
            return QStringLiteral("condition %1 has no value at wavelength index %2").arg(condition->name).arg(i);
        condition->percent.append(factorToPercent(value));
    }
    return QString();
}
// By the time the empty store is noticed, the status polling may have
// replaced the error record; asking for the first spectrum once more
// brings the instrument's reason back.
QString whyNoSpectra()
{
    constexpr int kTimeoutMs = 3000;
    clearErrorCode();
    if (SendCommand("Meas Get Refls M0", kTimeoutMs)[0] != '\0')
        return QStringLiteral("the readout failed, then worked when asked again; measure again");
    return explainError(GetLastErrorCode(), QString::fromUtf8(GetLastErrorString())).sentence;
}
} // namespace

double factorToPercent(float factor)
{
    return double(factor) * 100.0;
}

QString Measurement::readFromLibrary(int illuminantIndex)
{
    illuminant = illuminantIndex;
    const int wavelengthCount = GetWavelengthCount();
    if (wavelengthCount != kSpectrumLength)
        return QStringLiteral("the library reports %1 wavelengths, expected %2").arg(wavelengthCount).arg(kSpectrumLength);
    for (int i = 0; i < wavelengthCount; ++i)
        wavelengths.append(GetWavelengthValue(i));

    const int setCount = GetSpectralSetCount();
    // A readout the instrument refused leaves the store empty.
    if (setCount <= 0 || GetSpectralData(0, 0) < 0.0f)
        return QStringLiteral("the instrument returned no spectra: %1").arg(whyNoSpectra());
    for (int set = 0; set < setCount; ++set) {
        ConditionReading condition;
        const QString problem = readCondition(set, wavelengthCount, &condition);
        if (!problem.isEmpty())
            return problem;
        conditions.append(condition);
    }
    taken = QDateTime::currentDateTime();
    return recompute(illuminantIndex);
}

QString Measurement::recompute(int illuminantIndex)
{
    illuminant = illuminantIndex;
    for (auto& condition : conditions) {
        if (condition.percent.size() != kSpectrumLength)
            return QStringLiteral("condition %1 has %2 values, expected %3")
                .arg(condition.name).arg(condition.percent.size()).arg(kSpectrumLength);
        if (!Vireo2_SpectrumToLabCh(condition.percent.constData(), illuminant, 0, condition.lch.data())
            || !Vireo2_SpectrumToXYZ(condition.percent.constData(), illuminant, condition.xyz.data()))
            return QStringLiteral("no colour values for illuminant index %1").arg(illuminant);
    }
    return QString();
}

const ConditionReading* Measurement::condition(const QString& name) const
{
    for (const auto& c : conditions) {
        if (c.name == name)
            return &c;
    }
    return nullptr;
}

std::array<double, 3> ConditionReading::yxy() const
{
    const double sum = xyz[0] + xyz[1] + xyz[2];
    if (sum <= 0.0)
        return {xyz[1], 0.0, 0.0};
    return {xyz[1], xyz[0] / sum, xyz[1] / sum};
}

} // namespace vireo2::cli
