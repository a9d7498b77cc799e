// Facts read from the headers of media files: the pixel size of images and
// videos, the duration of audio and video, the page count of PDFs. Nothing
// is decoded; every reader gives up quietly on a file it can't read.
#pragma once

#include <QSize>
#include <QString>

#include <optional>

namespace MediaFacts {

// The size as shown: width and height are swapped when the image's EXIF
// orientation turns it a quarter. HEIC and HEIF through libheif, the rest
// through Qt's image readers.
std::optional<QSize> imageSize(const QString &path);

struct AudioVisual
{
    std::optional<double> duration; // seconds
    std::optional<QSize> pixelSize; // of the first video stream
};
// From the container's headers.
AudioVisual audioVisual(const QString &path);

// The number of pages of a PDF.
std::optional<qint64> pdfPageCount(const QString &path);

// What the camera recorded in a photo's EXIF: absent values stay empty.
struct Camera
{
    QString model; // "Canon EOS R6", the maker first when the model lacks it
    QString lens;
    std::optional<double> focalLength; // millimetres
    std::optional<double> fNumber;
    std::optional<double> exposure; // seconds
    std::optional<int> iso;

    bool isEmpty() const;
    friend bool operator==(const Camera &, const Camera &) = default;
};
// From the EXIF of a JPEG (libexif) or a HEIC (its Exif block through
// libheif); nothing for other files or a photo without camera data.
std::optional<Camera> camera(const QString &path);

} // namespace MediaFacts
