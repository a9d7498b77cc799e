#include "platform/ImageDecoding.h"

#include <QFileInfo>
#include <QImageReader>

#include <libheif/heif.h>

#include <memory>

namespace ImageDecoding {

namespace {

// Larger images are refused before decoding: a bomb of a header must not
// take the memory of the machine.
constexpr qint64 maxPixels = qint64(20000) * 20000;

QImage decodeHeif(const QString &path, int maxSide)
{
    std::unique_ptr<heif_context, decltype(&heif_context_free)> context(heif_context_alloc(), heif_context_free);
    if (!context)
        return {};
    const QByteArray file = QFile::encodeName(path);
    if (heif_context_read_from_file(context.get(), file.constData(), nullptr).code != heif_error_Ok)
        return {};
    heif_image_handle *rawHandle = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &rawHandle).code != heif_error_Ok)
        return {};
    std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)> handle(rawHandle,
                                                                                   heif_image_handle_release);
    const qint64 width = heif_image_handle_get_width(handle.get());
    const qint64 height = heif_image_handle_get_height(handle.get());
    if (width <= 0 || height <= 0 || width * height > maxPixels)
        return {};
    heif_image *rawImage = nullptr;
    // The decoder applies the rotation and mirroring of the container.
    if (heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGB, nullptr).code
        != heif_error_Ok)
        return {};
    std::unique_ptr<heif_image, decltype(&heif_image_release)> image(rawImage, heif_image_release);
    int stride = 0;
    const uint8_t *pixels = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    const int w = heif_image_get_width(image.get(), heif_channel_interleaved);
    const int h = heif_image_get_height(image.get(), heif_channel_interleaved);
    if (!pixels || w <= 0 || h <= 0)
        return {};
    // Copy out of the decoder's buffer before it is released.
    QImage result = QImage(pixels, w, h, stride, QImage::Format_RGB888).copy();
    if (std::max(w, h) > maxSide)
        result = result.scaled(maxSide, maxSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return result;
}

} // namespace

bool isHeif(const QString &path)
{
    const QString ext = QFileInfo(path).suffix().toLower();
    return ext == QLatin1String("heic") || ext == QLatin1String("heif") || ext == QLatin1String("hif");
}

QImage decode(const QString &path, int maxSide)
{
    if (maxSide <= 0)
        return {};
    if (isHeif(path))
        return decodeHeif(path, maxSide);

    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid()) {
        if (qint64(size.width()) * size.height() > maxPixels)
            return {};
        // Readers that can scale while decoding (JPEG) then skip most of the work.
        if (std::max(size.width(), size.height()) > maxSide)
            reader.setScaledSize(size.scaled(maxSide, maxSide, Qt::KeepAspectRatio));
    }
    QImage image = reader.read();
    if (image.isNull())
        return {};
    if (std::max(image.width(), image.height()) > maxSide)
        image = image.scaled(maxSide, maxSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

} // namespace ImageDecoding
