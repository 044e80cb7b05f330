#pragma once

#include <QByteArray>
#include <QStringList>

namespace vireo2::sim {

// The digital loupe's pictures: small greyscale JPEG images (baseline,
// 8x8 blocks of even tone) of a magnified print: a halftone dot pattern whose
// coverage differs per picture.
QStringList loupeImageNames();
// The JPEG file of a picture; empty for an unknown name.
QByteArray loupeImage(const QString& name);

// A baseline greyscale JPEG of `width` x `height` pixels (multiples of 8)
// whose 8x8 blocks each have one tone, `tones` giving them row by row.
QByteArray blockJpeg(int width, int height, const QList<int>& tones);

} // namespace vireo2::sim
