// One picture from a video file for its thumbnail, decoded with FFmpeg's
// libraries: a frame a tenth of the way in (at most ten seconds), scaled so
// that its longer side fits.
#pragma once

#include <QImage>
#include <QString>

namespace VideoFrame {

// A null image when the file has no video stream that decodes.
QImage thumbnail(const QString &path, int longestSide);

} // namespace VideoFrame
