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
        {QStringLiteral("xyz"),
         QJsonObject{{QStringLiteral("X"), rounded(condition.xyz[0])}, {QStringLiteral("Y"), rounded(condition.xyz[1])},
                     {QStringLiteral("Z"), rounded(condition.xyz[2])}}},
        {QStringLiteral("Yxy"),
         QJsonObject{{QStringLiteral("Y"), rounded(condition.yxy()[0])}, {QStringLiteral("x"), rounded(condition.yxy()[1])},
                     {QStringLiteral("y"), rounded(condition.yxy()[2])}}},
    };
}

QString readCondition(const QJsonObject& object, ConditionReading* condition)
{
    condition->name = object.value(QStringLiteral("name")).toString();
    const QJsonArray values = object.value(QStringLiteral("values")).toArray();
    if (condition->name.isEmpty() || values.size() != 31)
        return QStringLiteral("a condition needs a name and 31 values");
    for (const auto& value : values) {
        if (!value.isDouble())
            return QStringLiteral("condition %1 has a value that is not a number").arg(condition->name);
        condition->percent.append(value.toDouble());
    }
    return QString();
}
} // namespace

QString readMeasurementJson(const QByteArray& json, int illuminantIndex, Measurement* m)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (document.isNull())
        return QStringLiteral("not a JSON reading: %1").arg(error.errorString());
    // One reading, or the first of a measuring run's "readings".
    QJsonObject object = document.object();
    if (object.contains(QStringLiteral("readings")))
        object = object.value(QStringLiteral("readings")).toArray().first().toObject();
    return readMeasurementObject(object, illuminantIndex, m);
}

QString readMeasurementObject(const QJsonObject& object, int illuminantIndex, Measurement* m)
{
    if (object.value(QStringLiteral("unit")).toString() != QLatin1String("percent"))
        return QStringLiteral("not a reading of 'vireo2 measure --json' (no \"unit\": \"percent\")");
    Measurement result;
    for (int nm = 400; nm <= 700; nm += 10)
        result.wavelengths.append(nm);
    for (const auto& value : object.value(QStringLiteral("conditions")).toArray()) {
        ConditionReading condition;
        const QString problem = readCondition(value.toObject(), &condition);
        if (!problem.isEmpty())
            return problem;
        result.conditions.append(condition);
    }
    if (result.conditions.isEmpty())
        return QStringLiteral("the reading has no conditions");
    result.taken = QDateTime::fromString(object.value(QStringLiteral("taken")).toString(), Qt::ISODate);
    const QJsonObject instrument = object.value(QStringLiteral("instrument")).toObject();
    result.instrument.model = instrument.value(QStringLiteral("model")).toString();
    result.instrument.serial = instrument.value(QStringLiteral("serial")).toString();
    result.instrument.firmware = instrument.value(QStringLiteral("firmware")).toString();
    const QString problem = result.recompute(illuminantIndex);
    if (!problem.isEmpty())
        return problem;
    *m = result;
    return QString();
}

QJsonObject measurementObject(const Measurement& m)
{
    QJsonArray wavelengths;
    for (int nm : m.wavelengths)
        wavelengths.append(nm);
    QJsonArray conditions;
    for (const auto& condition : m.conditions)
        conditions.append(conditionObject(condition, wavelengths));
    QJsonObject document{
        {QStringLiteral("instrument"), m.instrument.toJson()},
        {QStringLiteral("illuminant"), illuminant::name(m.illuminant)},
        {QStringLiteral("unit"), QStringLiteral("percent")},
        {QStringLiteral("conditions"), conditions},
    };
    if (m.taken.isValid())
        document.insert(QStringLiteral("taken"), m.taken.toString(Qt::ISODate));
    return document;
}

QByteArray measurementJson(const Measurement& m)
{
    return QJsonDocument(measurementObject(m)).toJson(QJsonDocument::Indented);
}

} // namespace vireo2::cli
