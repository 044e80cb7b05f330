#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace vireo2::sim {

// The instrument's screen as a 24-bit BMP image (160 x 120): a title band
// whose colour stands for the tool shown, the colour of the last reading as a
// large swatch (grey when there is none), and a reflectance bar chart of that
// reading along the bottom.
QByteArray screenBitmap(const QString& tool, const QVector<double>& lastReading);

} // namespace vireo2::sim
