#include "platform/MediaFacts.h"

#include "platform/PdfDocument.h"
#include "platform/QuietOpen.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageIOHandler>
#include <QImageReader>

#include <libheif/heif.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>

namespace MediaFacts {

namespace {

bool isHeif(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("heic") || suffix == QLatin1String("heif") || suffix == QLatin1String("hif");
}

// libheif reads through our own file, opened without touching its access
// time; it reads the boxes it needs, not the whole file.
struct HeifFile
{
    QFile file;

    static int64_t position(void *self) { return static_cast<HeifFile *>(self)->file.pos(); }
    static int read(void *data, size_t size, void *self)
    {
        return static_cast<HeifFile *>(self)->file.read(static_cast<char *>(data), qint64(size)) == qint64(size) ? 0
                                                                                                               : -1;
    }
    static int seek(int64_t position, void *self) { return static_cast<HeifFile *>(self)->file.seek(position) ? 0 : -1; }
    static heif_reader_grow_status waitForSize(int64_t target, void *self)
    {
        return target <= static_cast<HeifFile *>(self)->file.size() ? heif_reader_grow_status_size_reached
                                                                     : heif_reader_grow_status_size_beyond_eof;
    }
};

std::optional<QSize> heifSize(const QString &path)
{
    HeifFile input;
    if (!openQuietly(input.file, path))
        return std::nullopt;
    static const heif_reader reader{1, &HeifFile::position, &HeifFile::read, &HeifFile::seek, &HeifFile::waitForSize};
    heif_context *context = heif_context_alloc();
    std::optional<QSize> size;
    if (heif_context_read_from_reader(context, &reader, &input, nullptr).code == heif_error_Ok) {
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
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

} // namespace

std::optional<QSize> imageSize(const QString &path)
{
    if (isHeif(path))
        return heifSize(path);
    QFile file;
    if (!openQuietly(file, path))
        return std::nullopt;
    QImageReader reader(&file, QFileInfo(path).suffix().toLower().toLatin1());
    // A misnamed image still reads: the content decides.
    reader.setDecideFormatFromContent(true);
    QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        return std::nullopt;
    if (reader.transformation() & QImageIOHandler::TransformationRotate90)
        size.transpose();
    return size;
}

// The demuxer that a common extension stands for. Naming it spares the
// probe through every format FFmpeg knows, which costs more than reading
// the header; a wrong guess falls back to the probe.
const AVInputFormat *likelyFormat(const QString &path)
{
    static const QHash<QString, const char *> demuxers{
        {"wav", "wav"},       {"mp3", "mp3"},       {"flac", "flac"},     {"ogg", "ogg"},   {"oga", "ogg"},
        {"opus", "ogg"},      {"m4a", "mp4"},       {"mp4", "mp4"},       {"m4v", "mp4"},   {"mov", "mov"},
        {"mkv", "matroska"},  {"webm", "matroska"}, {"avi", "avi"},       {"aac", "aac"},   {"aiff", "aiff"},
        {"aif", "aiff"},      {"3gp", "3gp"},       {"wma", "asf"},       {"wmv", "asf"},   {"ts", "mpegts"},
    };
    const auto name = demuxers.constFind(QFileInfo(path).suffix().toLower());
    if (name == demuxers.constEnd())
        return nullptr;
    return av_find_input_format(*name);
}

// A demuxer over a descriptor of our own, opened without touching the
// access time.
class MediaInput
{
public:
    explicit MediaInput(const QString &path)
        : m_fd(openQuietly(path))
    {
    }
    ~MediaInput()
    {
        close();
        if (m_fd >= 0)
            ::close(m_fd);
    }
    MediaInput(const MediaInput &) = delete;
    MediaInput &operator=(const MediaInput &) = delete;

    // Opens the container with the given demuxer, or by probing.
    bool open(const QByteArray &name, const AVInputFormat *format)
    {
        close();
        if (m_fd < 0 || ::lseek(m_fd, 0, SEEK_SET) != 0)
            return false;
        constexpr int bufferSize = 32768;
        auto *buffer = static_cast<unsigned char *>(av_malloc(bufferSize));
        m_io = avio_alloc_context(buffer, bufferSize, 0, this, &MediaInput::read, nullptr, &MediaInput::seek);
        m_context = avformat_alloc_context();
        if (!m_io || !m_context)
            return false;
        m_context->pb = m_io;
        m_context->flags |= AVFMT_FLAG_CUSTOM_IO;
        // On failure the context is freed and set to null.
        return avformat_open_input(&m_context, name.constData(), format, nullptr) >= 0;
    }

    AVFormatContext *context() const { return m_context; }

private:
    void close()
    {
        if (m_context)
            avformat_close_input(&m_context);
        if (m_io) {
            av_freep(&m_io->buffer);
            avio_context_free(&m_io);
        }
    }

    static int read(void *opaque, uint8_t *buffer, int size)
    {
        const ssize_t count = ::read(static_cast<MediaInput *>(opaque)->m_fd, buffer, size_t(size));
        if (count == 0)
            return AVERROR_EOF;
        return count < 0 ? AVERROR(errno) : int(count);
    }

    static int64_t seek(void *opaque, int64_t offset, int whence)
    {
        const int fd = static_cast<MediaInput *>(opaque)->m_fd;
        if (whence & AVSEEK_SIZE) {
            struct stat st;
            return ::fstat(fd, &st) == 0 ? int64_t(st.st_size) : AVERROR(errno);
        }
        const off_t position = ::lseek(fd, offset, whence & ~AVSEEK_FORCE);
        return position < 0 ? AVERROR(errno) : int64_t(position);
    }

    int m_fd = -1;
    AVIOContext *m_io = nullptr;
    AVFormatContext *m_context = nullptr;
};

AudioVisual audioVisual(const QString &path)
{
    silenceLibraries();
    AudioVisual facts;
    MediaInput input(path);
    const QByteArray encoded = QFile::encodeName(path);
    const AVInputFormat *hint = likelyFormat(path);
    if (!(hint && input.open(encoded, hint)) && !input.open(encoded, nullptr))
        return facts;
    AVFormatContext *context = input.context();
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
    return facts;
}

std::optional<qint64> pdfPageCount(const QString &path)
{
    const PdfDocument document(path);
    const int pages = document.pageCount();
    if (pages <= 0)
        return std::nullopt;
    return pages;
}

} // namespace MediaFacts
