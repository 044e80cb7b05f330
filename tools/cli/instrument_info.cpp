#include "instrument_info.h"

#include <QJsonArray>
#include <QStringList>

#include "error_sentences.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
QString text(const char* utf8) { return QString::fromUtf8(utf8); }

QString attribute(const Attributes& attributes, const QString& key)
{
    for (const auto& pair : attributes) {
        if (pair.first == key)
            return pair.second;
    }
    return QString();
}

} // namespace

// The firmware version: the last word of the instrument's answer to
// "version get" ("VERSION 0x00 Hueron Vireo2 Plus 0.5.398"); the words before
// it name the product, which the attributes already show as the model.
QString firmwareVersion()
{
    constexpr int kTimeoutMs = 3000;
    const QStringList words = text(SendCommand("version get", kTimeoutMs)).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() < 3)
        return QStringLiteral("unknown");
    return words.last();
}

namespace {

QString orUnknown(const QString& value) { return value.isEmpty() ? QStringLiteral("unknown") : value; }
} // namespace

Attributes parseAttributes(const QString& text)
{
    Attributes attributes;
    for (const QString& part : text.split(QLatin1Char(':'))) {
        const int equals = part.indexOf(QLatin1Char('='));
        if (equals > 0)
            attributes.append({part.left(equals), part.mid(equals + 1)});
        else if (!attributes.isEmpty())
            attributes.last().second += QLatin1Char(':') + part;
        else if (!part.isEmpty())
            attributes.append({part, QString()});
    }
    return attributes;
}

QString calibrationText(int status)
{
    switch (status) {
    case 0:
        return QStringLiteral("valid");
    case 1:
        return QStringLiteral("needs calibration");
    case -1:
        return QStringLiteral("unknown");
    default:
        return explainStatus(status).sentence;
    }
}

InstrumentInfo InstrumentInfo::read(const QString& connection)
{
    InstrumentInfo info;
    info.connection = connection;
    info.serial = text(GetSerialNum());
    info.calibrationStatus = GetCalStatus();
    info.aperture = text(GetOption("measurement_area"));
    info.firmware = firmwareVersion();
    // The attributes show the correction profile's state as the library last
    // read it; asking the instrument first keeps them in step with it.
    GetOption("netadjuster");
    info.attributesText = text(GetMeasAttributes());
    info.attributes = parseAttributes(info.attributesText);
    info.model = orUnknown(attribute(info.attributes, QStringLiteral("Model")));
    return info;
}

QString InstrumentInfo::toText() const
{
    const auto line = [](const QString& label, const QString& value) {
        return label.leftJustified(14) + value + QLatin1Char('\n');
    };
    QString out;
    out += line(QStringLiteral("Connection"), connection);
    out += line(QStringLiteral("Model"), model);
    out += line(QStringLiteral("Serial"), serial);
    out += line(QStringLiteral("Firmware"), firmware);
    out += line(QStringLiteral("Aperture"), aperture);
    out += line(QStringLiteral("Calibration"), calibrationText(calibrationStatus));
    out += QStringLiteral("Attributes\n");
    for (const auto& pair : attributes)
        out += QStringLiteral("  ") + pair.first.leftJustified(20) + pair.second + QLatin1Char('\n');
    return out;
}

QJsonObject InstrumentInfo::toJson() const
{
    QJsonObject attributeObject;
    for (const auto& pair : attributes)
        attributeObject.insert(pair.first, pair.second);
    return QJsonObject{
        {QStringLiteral("connection"), connection},
        {QStringLiteral("model"), model},
        {QStringLiteral("serial"), serial},
        {QStringLiteral("firmware"), firmware},
        {QStringLiteral("aperture"), aperture},
        {QStringLiteral("calibration"), calibrationText(calibrationStatus)},
        {QStringLiteral("attributes"), attributeObject},
    };
}

} // namespace vireo2::cli
