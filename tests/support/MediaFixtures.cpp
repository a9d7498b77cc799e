#include "support/MediaFixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>

#include <libheif/heif.h>

#include <algorithm>

namespace MediaFixtures {

namespace {

bool runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(5000))
        return false;
    process.waitForFinished(60000);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

bool writeImage(const QString &path, int width, int height, QImageIOHandler::Transformations transformation)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(40, 120, 200));
    QImageWriter writer(path);
    writer.setTransformation(transformation);
    return writer.write(image);
}

bool writeHeic(const QString &path, int width, int height)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    heif_context *context = heif_context_alloc();
    heif_encoder *encoder = nullptr;
    heif_image *image = nullptr;
    heif_image_handle *handle = nullptr;
    bool written = false;
    if (heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code == heif_error_Ok
        && heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image).code
            == heif_error_Ok
        && heif_image_add_plane(image, heif_channel_interleaved, width, height, 8).code == heif_error_Ok) {
        int stride = 0;
        uint8_t *pixels = heif_image_get_plane(image, heif_channel_interleaved, &stride);
        for (int y = 0; y < height; ++y)
            std::fill(pixels + y * stride, pixels + y * stride + width * 3, uint8_t(90));
        written = heif_context_encode_image(context, image, encoder, nullptr, &handle).code == heif_error_Ok
            && heif_context_write_to_file(context, QFile::encodeName(path).constData()).code == heif_error_Ok;
    }
    if (handle)
        heif_image_handle_release(handle);
    if (image)
        heif_image_release(image);
    if (encoder)
        heif_encoder_release(encoder);
    heif_context_free(context);
    return written;
}

bool writePdf(const QString &path, int pages)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QPdfWriter writer(path);
    QPainter painter(&writer);
    for (int page = 0; page < pages; ++page) {
        if (page > 0)
            writer.newPage();
        painter.drawText(200, 200, QStringLiteral("Page %1 of the lease").arg(page + 1));
    }
    return painter.end();
}

bool writeTone(const QString &path, double seconds)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return runTool(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("8000"), path,
                                           QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                                           QStringLiteral("440")});
}

bool writeVideo(const QString &path, int width, int height, double seconds)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return runTool(QStringLiteral("ffmpeg"),
                   {QStringLiteral("-loglevel"), QStringLiteral("quiet"), QStringLiteral("-y"), QStringLiteral("-f"),
                    QStringLiteral("lavfi"), QStringLiteral("-i"),
                    QStringLiteral("testsrc=size=%1x%2:rate=10").arg(width).arg(height), QStringLiteral("-t"),
                    QString::number(seconds), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), path});
}

} // namespace MediaFixtures
