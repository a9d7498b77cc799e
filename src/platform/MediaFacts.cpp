#include "platform/MediaFacts.h"

#include "platform/PdfDocument.h"
#include "platform/QuietOpen.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageIOHandler>
#include <QImageReader>
#include <QtEndian>

#include <libexif/exif-data.h>
#include <libexif/exif-loader.h>
#include <libheif/heif.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>
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

// Opens the primary image of a HEIF file and hands it to read.
template<typename Result>
std::optional<Result> readHeifPrimary(const QString &path, const std::function<std::optional<Result>(heif_image_handle *)> &read)
{
    HeifFile input;
    if (!openQuietly(input.file, path))
        return std::nullopt;
    static const heif_reader reader{1, &HeifFile::position, &HeifFile::read, &HeifFile::seek, &HeifFile::waitForSize};
    heif_context *context = heif_context_alloc();
    std::optional<Result> result;
    if (heif_context_read_from_reader(context, &reader, &input, nullptr).code == heif_error_Ok) {
        heif_image_handle *handle = nullptr;
        if (heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok) {
            result = read(handle);
            heif_image_handle_release(handle);
        }
    }
    heif_context_free(context);
    return result;
}

std::optional<QSize> heifSize(const QString &path)
{
    return readHeifPrimary<QSize>(path, [](heif_image_handle *handle) -> std::optional<QSize> {
        // These are the dimensions after the image's own rotation.
        const int width = heif_image_handle_get_width(handle);
        const int height = heif_image_handle_get_height(handle);
        if (width > 0 && height > 0)
            return QSize(width, height);
        return std::nullopt;
    });
}

// The EXIF block of a HEIF file, as libexif reads it: "Exif\0\0" and the
// TIFF header on. The block starts with the offset of that header.
std::optional<QByteArray> heifExif(const QString &path)
{
    return readHeifPrimary<QByteArray>(path, [](heif_image_handle *handle) -> std::optional<QByteArray> {
        heif_item_id id = 0;
        if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) < 1)
            return std::nullopt;
        const size_t size = heif_image_handle_get_metadata_size(handle, id);
        if (size < 4 || size > 1024 * 1024)
            return std::nullopt;
        QByteArray block(qsizetype(size), Qt::Uninitialized);
        if (heif_image_handle_get_metadata(handle, id, block.data()).code != heif_error_Ok)
            return std::nullopt;
        const quint32 offset = qFromBigEndian<quint32>(block.constData());
        if (offset > size - 4)
            return std::nullopt;
        return QByteArrayLiteral("Exif\0\0") + block.mid(4 + offset);
    });
}

struct ExifDataDeleter
{
    void operator()(ExifData *data) const { exif_data_unref(data); }
};
using ExifPointer = std::unique_ptr<ExifData, ExifDataDeleter>;

// The EXIF of a JPEG: the loader stops at the end of the APP1 segment,
// which sits near the start of the file.
ExifPointer jpegExif(const QString &path)
{
    QFile file;
    if (!openQuietly(file, path))
        return nullptr;
    ExifLoader *loader = exif_loader_new();
    QByteArray chunk(16 * 1024, Qt::Uninitialized);
    for (qint64 read = 0; read < 256 * 1024;) {
        const qint64 got = file.read(chunk.data(), chunk.size());
        if (got <= 0 || !exif_loader_write(loader, reinterpret_cast<unsigned char *>(chunk.data()), unsigned(got)))
            break;
        read += got;
    }
    ExifPointer data(exif_loader_get_data(loader));
    exif_loader_unref(loader);
    return data;
}

MediaFacts::Camera cameraOf(ExifData *data)
{
    const ExifByteOrder order = exif_data_get_byte_order(data);
    const auto text = [&](ExifTag tag) {
        const ExifEntry *entry = exif_data_get_entry(data, tag);
        if (!entry || entry->format != EXIF_FORMAT_ASCII || !entry->data)
            return QString();
        const auto *chars = reinterpret_cast<const char *>(entry->data);
        return QString::fromUtf8(chars, qsizetype(strnlen(chars, entry->size))).simplified();
    };
    const auto rational = [&](ExifTag tag) -> std::optional<double> {
        const ExifEntry *entry = exif_data_get_entry(data, tag);
        if (!entry || entry->format != EXIF_FORMAT_RATIONAL || entry->size < 8)
            return std::nullopt;
        const ExifRational value = exif_get_rational(entry->data, order);
        if (value.denominator == 0 || value.numerator == 0)
            return std::nullopt;
        return double(value.numerator) / value.denominator;
    };
    MediaFacts::Camera camera;
    const QString make = text(EXIF_TAG_MAKE);
    camera.model = text(EXIF_TAG_MODEL);
    // Makers often repeat their name in the model: "Canon" and "Canon EOS R6".
    if (!make.isEmpty() && !camera.model.startsWith(make.section(u' ', 0, 0), Qt::CaseInsensitive))
        camera.model = (make + u' ' + camera.model).trimmed();
    camera.lens = text(EXIF_TAG_LENS_MODEL);
    camera.focalLength = rational(EXIF_TAG_FOCAL_LENGTH);
    camera.fNumber = rational(EXIF_TAG_FNUMBER);
    camera.exposure = rational(EXIF_TAG_EXPOSURE_TIME);
    if (const ExifEntry *entry = exif_data_get_entry(data, EXIF_TAG_ISO_SPEED_RATINGS);
        entry && entry->format == EXIF_FORMAT_SHORT && entry->size >= 2) {
        if (const int iso = exif_get_short(entry->data, order); iso > 0)
            camera.iso = iso;
    }
    return camera;
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

bool Camera::isEmpty() const
{
    return model.isEmpty() && lens.isEmpty() && !focalLength && !fNumber && !exposure && !iso;
}

std::optional<Camera> camera(const QString &path)
{
    ExifPointer data;
    if (isHeif(path)) {
        if (const std::optional<QByteArray> block = heifExif(path))
            data.reset(exif_data_new_from_data(reinterpret_cast<const unsigned char *>(block->constData()),
                                               unsigned(block->size())));
    } else {
        const QString suffix = QFileInfo(path).suffix().toLower();
        if (suffix == u"jpg" || suffix == u"jpeg" || suffix == u"jpe")
            data = jpegExif(path);
    }
    if (!data)
        return std::nullopt;
    Camera found = cameraOf(data.get());
    if (found.isEmpty())
        return std::nullopt;
    return found;
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
