#include "measurement_formats.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

#include "illuminant.h"

namespace vireo2::cli {

namespace {
// Four decimals are far below the instrument's repeatability and keep the
// document free of float-to-double noise (12.345600128173828).
double rounded(double value) { return std::round(value * 10000.0) / 10000.0; }

QJsonObject conditionObject(const ConditionReading& condition, const QJsonArray& wavelengths)
{
    QJsonArray values;
    for (double value : condition.percent)
        values.append(rounded(value));
    const auto& v = condition.lch;
    return QJsonObject{
        {QStringLiteral("name"), condition.name},
        {QStringLiteral("wavelengths"), wavelengths},
        {QStringLiteral("values"), values},
        {QStringLiteral("lab"),
         QJsonObject{{QStringLiteral("L"), rounded(v[0])}, {QStringLiteral("a"), rounded(v[1])},
                     {QStringLiteral("b"), rounded(v[2])}}},
        {QStringLiteral("lch"),
         QJsonObject{{QStringLiteral("L"), rounded(v[0])}, {QStringLiteral("C"), rounded(v[3])},
                     {QStringLiteral("h"), rounded(v[4])}}},
    };
}
} // namespace

QByteArray measurementJson(const Measurement& m)
{
    QJsonArray wavelengths;
    for (int nm : m.wavelengths)
        wavelengths.append(nm);
    QJsonArray conditions;
    for (const auto& condition : m.conditions)
        conditions.append(conditionObject(condition, wavelengths));
    const QJsonObject document{
        {QStringLiteral("instrument"), m.instrument.toJson()},
        {QStringLiteral("illuminant"), illuminant::name(m.illuminant)},
        {QStringLiteral("unit"), QStringLiteral("percent")},
        {QStringLiteral("conditions"), conditions},
    };
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace vireo2::cli
