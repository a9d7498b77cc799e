// Images read for OCR, bounded before they are decoded: formats that can
// decode at a smaller scale (JPEG) do so, and anything that would have to be
// decoded whole above a pixel budget is refused rather than decoded. Upright
// by the EXIF orientation. HEIC and HEIF photos go through libheif.
#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace ImageLoader {

// Largest image decoded at full size before it is scaled down: 50 million
// pixels, about 200 MB at four bytes a pixel.
constexpr qint64 maxFullDecodePixels = 50'000'000;

// The image in the file with its longer side at most longestSide pixels;
// null when it can't be read within the bounds.
QImage bounded(const QString &path, int longestSide);
// The same for an image held in memory (a preview taken from a container).
QImage bounded(const QByteArray &bytes, int longestSide);

bool isHeif(const QString &path);

} // namespace ImageLoader
