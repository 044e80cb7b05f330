#pragma once

#include <QString>
#include <QStringList>

namespace vireo2::cli {

// Illuminant/observer combinations as the colour functions index them.
namespace illuminant {

constexpr int kDefault = 4; // D50/2
constexpr int kCount = 18;

// The library's name of an index ("D65/10"), empty for an unknown one.
QString name(int index);

// The name with a degree sign for people ("D65/10°").
QString displayName(int index);

// All names, in index order.
QStringList names();

// "D65/10", "d65/10°", "D65" (2° observer) or "D65/2" give the index;
// -1 when nothing matches.
int parse(const QString& text);

} // namespace illuminant
} // namespace vireo2::cli
