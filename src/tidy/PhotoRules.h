// What counts as a photograph for the similar-photo scan. Icons, drawings,
// pictures with transparency and thumbnails look alike in ways that have
// nothing to do with being copies, so they never take part.
#pragma once

#include "store/FileRecord.h"

#include <QImage>

namespace PhotoRules {

// A photo's longer side is at least this many pixels; anything smaller is an
// icon or a thumbnail.
constexpr int minimumSide = 256;

// Whether the record may be a photo by what the library knows of it: an
// image, not a screenshot, not a drawn format (svg, gif, ico, icns), not under
// a folder of icons, and not smaller than minimumSide when its size is known.
bool mayBePhoto(const FileRecord &record);

// Whether decoded pixels look like a photograph: at least minimumSide on the
// longer side, no transparent pixel, and colours spread the way light
// spreads them rather than a few flat ones.
bool looksLikePhoto(const QImage &image);

} // namespace PhotoRules
