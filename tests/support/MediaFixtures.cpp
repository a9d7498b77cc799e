#include "support/MediaFixtures.h"

#include "support/DocumentFixtures.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QProcess>

#include <libexif/exif-data.h>

#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

namespace MediaFixtures {

namespace {

bool run(const QString &program, const QStringList &arguments, const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return QProcess::execute(program, arguments) == 0;
}

// An EXIF block ("Exif\0\0" and the TIFF data) with the camera's entries.
QByteArray cameraExif(double exposure)
{
    ExifMem *memory = exif_mem_new_default();
    ExifData *data = exif_data_new_mem(memory);
    exif_data_set_byte_order(data, EXIF_BYTE_ORDER_INTEL);
    exif_data_set_data_type(data, EXIF_DATA_TYPE_COMPRESSED);
    const auto add = [&](ExifIfd ifd, ExifTag tag, ExifFormat format, unsigned components, const void *bytes,
                         unsigned size) {
        ExifEntry *entry = exif_entry_new_mem(memory);
        entry->tag = tag;
        entry->format = format;
        entry->components = components;
        entry->size = size;
        entry->data = static_cast<unsigned char *>(exif_mem_alloc(memory, size));
        std::memcpy(entry->data, bytes, size);
        exif_content_add_entry(data->ifd[ifd], entry);
        exif_entry_unref(entry);
    };
    const auto text = [&](ExifIfd ifd, ExifTag tag, const char *value) {
        add(ifd, tag, EXIF_FORMAT_ASCII, unsigned(std::strlen(value) + 1), value, unsigned(std::strlen(value) + 1));
    };
    const auto rational = [&](ExifTag tag, ExifRational value) {
        unsigned char bytes[8];
        exif_set_rational(bytes, EXIF_BYTE_ORDER_INTEL, value);
        add(EXIF_IFD_EXIF, tag, EXIF_FORMAT_RATIONAL, 1, bytes, 8);
    };
    text(EXIF_IFD_0, EXIF_TAG_MAKE, "Canon");
    text(EXIF_IFD_0, EXIF_TAG_MODEL, "Canon EOS R6");
    text(EXIF_IFD_EXIF, EXIF_TAG_LENS_MODEL, "RF24-105mm F4 L IS USM");
    rational(EXIF_TAG_FOCAL_LENGTH, {50, 1});
    rational(EXIF_TAG_FNUMBER, {28, 10});
    rational(EXIF_TAG_EXPOSURE_TIME, exposure >= 1 ? ExifRational{ExifLong(exposure * 10), 10}
                                                   : ExifRational{1, ExifLong(std::lround(1 / exposure))});
    unsigned char iso[2];
    exif_set_short(iso, EXIF_BYTE_ORDER_INTEL, 400);
    add(EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS, EXIF_FORMAT_SHORT, 1, iso, 2);

    unsigned char *saved = nullptr;
    unsigned int size = 0;
    exif_data_save_data(data, &saved, &size);
    const QByteArray block(reinterpret_cast<const char *>(saved), qsizetype(size));
    exif_mem_free(memory, saved);
    exif_data_unref(data);
    exif_mem_unref(memory);
    return block;
}

} // namespace

bool writeCameraPhoto(const QString &path, double exposure)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    DocumentFixtures::textImage({}, QSize(600, 400)).save(&buffer, "JPEG");
    // The APP1 segment goes right after the start-of-image marker.
    const QByteArray exif = cameraExif(exposure);
    const int length = int(exif.size()) + 2;
    const QByteArray segment = QByteArray("\xff\xe1", 2) + char(length >> 8) + char(length & 0xff) + exif;
    jpeg.insert(2, segment);
    const bool heic = path.endsWith(u".heic"_s, Qt::CaseInsensitive);
    const QString jpegPath = heic ? path + u".jpg"_s : path;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(jpegPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(jpeg) != jpeg.size())
        return false;
    file.close();
    if (!heic)
        return true;
    // heif-enc carries the JPEG's EXIF over into the HEIC.
    const bool written = run(u"heif-enc"_s, {u"-q"_s, u"60"_s, u"-p"_s, u"preset=ultrafast"_s, u"-o"_s, path, jpegPath}, path);
    QFile::remove(jpegPath);
    return written && QFileInfo(path).size() > 0;
}

bool writeImage(const QString &path, int width, int height, QImageIOHandler::Transformations transformation)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImageWriter writer(path);
    writer.setTransformation(transformation);
    return writer.write(DocumentFixtures::textImage({}, QSize(width, height)));
}

bool writeHeic(const QString &path, int width, int height)
{
    return DocumentFixtures::writeHeic(path, DocumentFixtures::textImage({}, QSize(width, height)));
}

bool writePdf(const QString &path, int pages)
{
    QStringList texts;
    for (int page = 1; page <= pages; ++page)
        texts << u"Page %1 of the lease"_s.arg(page);
    DocumentFixtures::writeTextPdf(path, texts);
    return QFileInfo(path).size() > 0;
}

bool writeTone(const QString &path, double seconds)
{
    return run(u"sox"_s, {u"-n"_s, u"-r"_s, u"8000"_s, path, u"synth"_s, QString::number(seconds), u"sine"_s, u"440"_s},
               path);
}

bool writeVideo(const QString &path, int width, int height, double seconds)
{
    return run(u"ffmpeg"_s, {u"-loglevel"_s, u"quiet"_s, u"-y"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                             u"testsrc=size=%1x%2:rate=10"_s.arg(width).arg(height), u"-t"_s, QString::number(seconds),
                             u"-pix_fmt"_s, u"yuv420p"_s, path},
               path);
}

} // namespace MediaFixtures
