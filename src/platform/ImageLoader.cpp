#include "platform/ImageLoader.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>

#include <libheif/heif.h>

#include <memory>

namespace {

QImage scaledDown(QImage image, int longestSide)
{
    if (image.isNull() || std::max(image.width(), image.height()) <= longestSide)
        return image;
    return image.scaled(longestSide, longestSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

QImage readBounded(QImageReader &reader, int longestSide)
{
    reader.setAutoTransform(true);
    reader.setAllocationLimit(int(ImageLoader::maxFullDecodePixels * 4 / (1024 * 1024)) + 1);
    const QSize stored = reader.size();
    if (!stored.isValid() || stored.isEmpty())
        return {};
    const bool tooLarge = std::max(stored.width(), stored.height()) > longestSide;
    // Only JPEG truly decodes at a smaller scale (libjpeg's DCT scaling);
    // other handlers that take a scaled size decode the whole image first.
    const bool decodesScaled = reader.format() == "jpeg" && reader.supportsOption(QImageIOHandler::ScaledSize);
    if (tooLarge && decodesScaled) {
        reader.setScaledSize(stored.scaled(longestSide, longestSide, Qt::KeepAspectRatio));
    } else if (qint64(stored.width()) * stored.height() > ImageLoader::maxFullDecodePixels) {
        return {};
    }
    return scaledDown(reader.read(), longestSide);
}

struct HeifContextDeleter
{
    void operator()(heif_context *c) const { heif_context_free(c); }
};
struct HeifHandleDeleter
{
    void operator()(heif_image_handle *h) const { heif_image_handle_release(h); }
};
struct HeifImageDeleter
{
    void operator()(heif_image *i) const { heif_image_release(i); }
};

QImage readHeif(const QString &path, int longestSide)
{
    std::unique_ptr<heif_context, HeifContextDeleter> context(heif_context_alloc());
    if (!context || heif_context_read_from_file(context.get(), path.toUtf8().constData(), nullptr).code != heif_error_Ok)
        return {};
    heif_image_handle *rawHandle = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &rawHandle).code != heif_error_Ok)
        return {};
    std::unique_ptr<heif_image_handle, HeifHandleDeleter> handle(rawHandle);
    const qint64 width = heif_image_handle_get_width(handle.get());
    const qint64 height = heif_image_handle_get_height(handle.get());
    if (width <= 0 || height <= 0 || width * height > ImageLoader::maxFullDecodePixels)
        return {};
    heif_image *rawImage = nullptr;
    if (heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGB, nullptr).code
        != heif_error_Ok)
        return {};
    std::unique_ptr<heif_image, HeifImageDeleter> image(rawImage);
    int stride = 0;
    const uint8_t *data = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    if (!data)
        return {};
    const int w = heif_image_get_width(image.get(), heif_channel_interleaved);
    const int h = heif_image_get_height(image.get(), heif_channel_interleaved);
    return scaledDown(QImage(data, w, h, stride, QImage::Format_RGB888).copy(), longestSide);
}

} // namespace

bool ImageLoader::isHeif(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("heic") || suffix == QLatin1String("heif");
}

QImage ImageLoader::bounded(const QString &path, int longestSide)
{
    if (isHeif(path))
        return readHeif(path, longestSide);
    QImageReader reader(path);
    return readBounded(reader, longestSide);
}

QImage ImageLoader::bounded(const QByteArray &bytes, int longestSide)
{
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return readBounded(reader, longestSide);
}
