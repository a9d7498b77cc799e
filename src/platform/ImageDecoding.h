// Decoding photos into pixels at a bounded size, for the formats Qt reads and
// for HEIC/HEIF, which Qt has no plugin for.
#pragma once

#include <QImage>
#include <QString>

namespace ImageDecoding {

// Whether the file's extension names a HEIC/HEIF image.
bool isHeif(const QString &path);

// Decodes the image upright (EXIF orientation and HEIF transforms applied),
// scaled down so that neither side exceeds maxSide where the format can do so
// cheaply. A null image when the file can't be read or decoded.
QImage decode(const QString &path, int maxSide);

} // namespace ImageDecoding
