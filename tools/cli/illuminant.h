#pragma once

#include <QCommandLineParser>
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

// The index an option gives (the default D50/2 when the option is not set);
// -1 with a usage message in `problem` for an unknown name.
int fromOption(const QCommandLineParser& parser, const QString& option, QString* problem);

} // namespace illuminant
} // namespace vireo2::cli
