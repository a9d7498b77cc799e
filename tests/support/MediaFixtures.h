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
// A photo as a camera leaves it: a JPEG, or a HEIC made from one, whose EXIF
// names the maker "Canon", the model "Canon EOS R6", the lens "RF24-105mm F4
// L IS USM", 50 mm, ƒ/2.8, the given exposure in seconds and ISO 400.
bool writeCameraPhoto(const QString &path, double exposure = 1.0 / 250);
// A PDF with a line of text on each page.
bool writePdf(const QString &path, int pages);
// A sine tone, and a test-pattern video.
bool writeTone(const QString &path, double seconds);
bool writeVideo(const QString &path, int width, int height, double seconds);

} // namespace MediaFixtures
