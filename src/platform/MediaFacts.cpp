#include "platform/MediaFacts.h"

#include <QFile>
#include <QFileInfo>
#include <QImageIOHandler>
#include <QImageReader>

#include <libheif/heif.h>
#include <poppler-document.h>
#include <poppler-global.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <fcntl.h>
#include <unistd.h>

#include <mutex>

namespace MediaFacts {

namespace {

// Opens for reading without touching the access time where the file is ours;
// the access time of other people's files can't be spared.
int openQuietly(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    int fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC);
    return fd;
}

bool isHeif(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("heic") || suffix == QLatin1String("heif") || suffix == QLatin1String("hif");
}

std::optional<QSize> heifSize(const QString &path)
{
    heif_context *context = heif_context_alloc();
    std::optional<QSize> size;
    if (heif_context_read_from_file(context, QFile::encodeName(path).constData(), nullptr).code == heif_error_Ok) {
        heif_image_handle *handle = nullptr;
        if (heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok) {
            // These are the dimensions after the image's own rotation.
            const int width = heif_image_handle_get_width(handle);
            const int height = heif_image_handle_get_height(handle);
            if (width > 0 && height > 0)
                size = QSize(width, height);
            heif_image_handle_release(handle);
        }
    }
    heif_context_free(context);
    return size;
}

void silenceLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        poppler::set_debug_error_function([](const std::string &, void *) {}, nullptr);
        // Poppler builds its global tables when the first document opens
        // and tears them down when the last one closes, which costs more
        // than reading a page count. One empty document, kept for the life of
        // the process, keeps them.
        static const char emptyPDF[] = "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                                       "2 0 obj<</Type/Pages/Kids[]/Count 0>>endobj\n"
                                       "trailer<</Root 1 0 R>>\n%%EOF\n";
        static std::unique_ptr<poppler::document> keeper(
            poppler::document::load_from_raw_data(emptyPDF, int(sizeof emptyPDF - 1)));
    });
}

} // namespace

std::optional<QSize> imageSize(const QString &path)
{
    if (isHeif(path))
        return heifSize(path);
    const int fd = openQuietly(path);
    if (fd < 0)
        return std::nullopt;
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    QImageReader reader(&file, QFileInfo(path).suffix().toLower().toLatin1());
    reader.setDecideFormatFromContent(true);
    QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        return std::nullopt;
    if (reader.transformation() & QImageIOHandler::TransformationRotate90)
        size.transpose();
    return size;
}

AudioVisual audioVisual(const QString &path)
{
    silenceLibraries();
    AudioVisual facts;
    AVFormatContext *context = nullptr;
    if (avformat_open_input(&context, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return facts;
    const auto readFacts = [&] {
        if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
            facts.duration = double(context->duration) / AV_TIME_BASE;
        // Most demuxers give each stream's duration from the header alone;
        // the container's own duration waits for the stream analysis.
        for (unsigned i = 0; !facts.duration && i < context->nb_streams; ++i) {
            const AVStream *stream = context->streams[i];
            if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0 && stream->time_base.den > 0)
                facts.duration = double(stream->duration) * av_q2d(stream->time_base);
        }
        for (unsigned i = 0; i < context->nb_streams; ++i) {
            const AVCodecParameters *parameters = context->streams[i]->codecpar;
            const bool attachedPicture = context->streams[i]->disposition & AV_DISPOSITION_ATTACHED_PIC;
            if (parameters->codec_type == AVMEDIA_TYPE_VIDEO && !attachedPicture && parameters->width > 0
                && parameters->height > 0) {
                facts.pixelSize = QSize(parameters->width, parameters->height);
                break;
            }
        }
    };
    readFacts();
    // Containers without a duration in their header (raw streams, some MPEG
    // files) need a look at the first packets.
    if (!facts.duration) {
        if (avformat_find_stream_info(context, nullptr) >= 0)
            readFacts();
    }
    avformat_close_input(&context);
    return facts;
}

std::optional<qint64> pdfPageCount(const QString &path)
{
    silenceLibraries();
    std::unique_ptr<poppler::document> document(poppler::document::load_from_file(QFile::encodeName(path).toStdString()));
    if (!document)
        return std::nullopt;
    const int pages = document->pages();
    if (pages <= 0)
        return std::nullopt;
    return pages;
}

} // namespace MediaFacts
