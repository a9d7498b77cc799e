// Real media files made at test time: plain images, HEIC photos and PDFs
// through the document fixtures, audio and video through sox and ffmpeg
// where installed.
#pragma once

#include <QImageIOHandler>
#include <QString>

namespace MediaFixtures {

// A solid PNG (or any format Qt writes, by the path's extension).
bool writeImage(const QString &path, int width, int height,
                QImageIOHandler::Transformations transformation = QImageIOHandler::TransformationNone);

// A HEIC photo. False when no HEVC encoder is installed.
bool writeHeic(const QString &path, int width, int height);

// A PDF with a line of text on each page.
bool writePdf(const QString &path, int pages);

// A sine tone of the given length (sox), and a test-pattern video
// (ffmpeg). False when the tool is missing or fails.
bool writeTone(const QString &path, double seconds);
bool writeVideo(const QString &path, int width, int height, double seconds);

} // namespace MediaFixtures
