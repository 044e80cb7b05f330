#pragma once

#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

namespace vireo2::cli {

using Attributes = QList<QPair<QString, QString>>;

// "Mfg=Hueron:Model=X:Serial Number=Y:..." as (key, value) pairs in order.
// A part without "=" belongs to the value before it (a value holding ":").
Attributes parseAttributes(const QString& text);

// "valid", "needs calibration", "unknown" for GetCalStatus's 0, 1, -1, else
// what the instrument status means.
QString calibrationText(int status);

// The firmware version the connected instrument reports ("0.5.398"), or
// "unknown".
QString firmwareVersion();

// What a connected instrument reports about itself.
struct InstrumentInfo {
    QString connection;
    QString model;
    QString serial;
    QString firmware;
    QString aperture;
    int calibrationStatus = -1;
    QString attributesText;
    Attributes attributes;

    // Asks the library; the instrument must be connected.
    static InstrumentInfo read(const QString& connection);

    QString toText() const;
    QJsonObject toJson() const;
};

} // namespace vireo2::cli
