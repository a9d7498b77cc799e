// Real media files made at test time: plain images, HEIC photos and PDFs
// through the document fixtures, audio and video through sox and ffmpeg.
// Each gives false when its tool is missing or fails.
#pragma once

#include <QImageIOHandler>
#include <QString>

namespace MediaFixtures {

// A blank picture in the format of the path's extension.
bool writeImage(const QString &path, int width, int height,
                QImageIOHandler::Transformations transformation = QImageIOHandler::TransformationNone);
bool writeHeic(const QString &path, int width, int height);
// A PDF with a line of text on each page.
bool writePdf(const QString &path, int pages);
// A sine tone, and a test-pattern video.
bool writeTone(const QString &path, double seconds);
bool writeVideo(const QString &path, int width, int height, double seconds);

} // namespace MediaFixtures
