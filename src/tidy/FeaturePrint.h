// The perceptual fingerprint of a photo: a fixed-length vector of 32-bit
// floats whose Euclidean distance is small for the same picture saved
// differently (resized, recompressed, slightly cropped or brightened, HEIC
// beside JPEG) and large for different pictures.
#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QString>

#include <optional>

namespace FeaturePrint {

using Vector = QList<float>;

// The number of floats in a print of this revision.
int length();

// The print of decoded pixels; nothing for a null or degenerate image.
std::optional<Vector> compute(const QImage &image);
// Decodes the file at a bounded size and computes its print; nothing when
// the file can't be read or decoded. A picture that isn't a photo
// (PhotoRules) or has no layout gets an empty print, which is never close to
// another, so that it is stored and not read again.
std::optional<Vector> compute(const QString &path);

// Euclidean distance; infinite when the lengths differ or are zero.
float distance(const Vector &a, const Vector &b);
// The same over raw arrays, for the pairwise clustering loop.
float distance(const float *a, const float *b, qsizetype length);

// The stored form: a tag naming this revision, then the floats packed as raw
// bytes in machine order.
QByteArray encode(const Vector &print);
// Nothing when the tag is missing (a print of an earlier revision, to be
// made again) or the rest isn't a whole number of floats.
std::optional<Vector> decode(const QByteArray &bytes);

} // namespace FeaturePrint
