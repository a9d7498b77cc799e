// Thumbnails: the desktop's cache first, when its thumbnail still matches the
// file, and otherwise made here from the file, within bounds.
#include "platform/Thumbnails.h"
#include "support/DocumentFixtures.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace {

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xffffffffu;
    for (char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

// A PNG tEXt chunk. Qt's own writer can't write keys with colons in them,
// which the thumbnail cache's keys have.
QByteArray textChunk(const QByteArray &key, const QByteArray &value)
{
    const QByteArray body = "tEXt" + key + '\0' + value;
    QByteArray chunk;
    const auto appendBigEndian = [&](quint32 n) {
        for (int shift = 24; shift >= 0; shift -= 8)
            chunk.append(char((n >> shift) & 0xff));
    };
    appendBigEndian(quint32(body.size() - 4));
    chunk.append(body);
    appendBigEndian(crc32(body));
    return chunk;
}

// A thumbnail as the desktop writes it: the picture's PNG with the given
// chunks after its header.
QByteArray thumbnailPng(const QImage &image, const QByteArray &chunks)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, "png"));
    // After the signature (8 bytes) and the header chunk (25 bytes).
    png.insert(33, chunks);
    return png;
}

QByteArray stampChunks(const QString &path, qint64 mtime)
{
    return textChunk("Thumb::URI", Thumbnails::fileURI(path).toUtf8()) + textChunk("Thumb::MTime", QByteArray::number(mtime));
}

// A thumbnail in the desktop's cache for the file, of one colour, stamped with
// the given modification time.
void writeCachedThumbnail(const QString &path, qint64 mtime, QColor colour, const QString &folder = "normal")
{
    QImage image(128, 96, QImage::Format_RGB32);
    image.fill(colour);
    TestEnvironment::writeFile(Thumbnails::cachePath(path, folder), thumbnailPng(image, stampChunks(path, mtime)));
}

// Peak memory of this process so far, in megabytes.
long peakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

qint64 mtimeOf(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch();
}

} // namespace

TEST(Thumbnails, FileURIsAreEscapedAsTheDesktopEscapesThem)
{
    const std::pair<QString, QString> cases[] = {
        {"/home/ada/plain.png", "file:///home/ada/plain.png"},
        {"/home/ada/a [1];b.png", "file:///home/ada/a%20%5B1%5D%3Bb.png"},
        {"/home/ada/ünï cødé.jpg", "file:///home/ada/%C3%BCn%C3%AF%20c%C3%B8d%C3%A9.jpg"},
        {"/home/ada/50%#?.txt", "file:///home/ada/50%25%23%3F.txt"},
        {"/home/ada/keep-&=+$,@!~*'().txt", "file:///home/ada/keep-&=+$,@!~*'().txt"},
    };
    for (const auto &[path, uri] : cases)
        EXPECT_EQ(Thumbnails::fileURI(path), uri);
    // The cache names the file by the MD5 of that URI.
    EXPECT_TRUE(Thumbnails::cachePath("/home/ada/a [1];b.png", "large")
                    .endsWith("/thumbnails/large/3d5c2a6b3902106d7db6c53e11136313.png"))
        << Thumbnails::cachePath("/home/ada/a [1];b.png", "large").toStdString();
}

TEST(Thumbnails, ACachedThumbnailCountsOnlyWhileItMatchesTheFile)
{
    Thumbnails::clearMemory();
    const QString folder = TestEnvironment::makeFolder("cached [photos];");
    const QString path = folder + "/holiday [1];.png";
    MediaFixtures::writeImage(path, 64, 64);
    const qint64 mtime = mtimeOf(path);

    const struct
    {
        const char *what;
        qint64 stamp;
        bool used;
    } cases[] = {
        {"valid", mtime, true},
        {"stale", mtime - 60, false},
    };
    for (const auto &c : cases) {
        writeCachedThumbnail(path, c.stamp, Qt::red);
        const QImage cached = Thumbnails::cached(path, 128);
        EXPECT_EQ(!cached.isNull(), c.used) << c.what;
        // Without a valid one the thumbnail is made from the picture itself.
        Thumbnails::clearMemory();
        const QImage shown = Thumbnails::thumbnail(path, FileKind::image, 128);
        ASSERT_FALSE(shown.isNull()) << c.what;
        EXPECT_EQ(shown.pixelColor(10, 10) == QColor(Qt::red), c.used) << c.what;
    }
    // A larger folder serves a larger request; none at all gives nothing.
    QFile::remove(Thumbnails::cachePath(path, "normal"));
    EXPECT_TRUE(Thumbnails::cached(path, 200).isNull());
    writeCachedThumbnail(path, mtime, Qt::blue, "x-large");
    EXPECT_EQ(Thumbnails::cached(path, 200).pixelColor(5, 5), QColor(Qt::blue));
}

TEST(Thumbnails, MadeThumbnailsAreBoundedAndAFileWithoutAPictureKeepsItsIcon)
{
    Thumbnails::clearMemory();
    const QString folder = TestEnvironment::makeFolder("made");
    DocumentFixtures::writeImage(folder + "/huge.jpg", QImage(6000, 4000, QImage::Format_RGB32));
    DocumentFixtures::writeTextPdf(folder + "/letter.pdf", {"Dear Ada"});
    TestEnvironment::writeFile(folder + "/broken.pdf", "%PDF-1.7\nthis is not a PDF at all");
    TestEnvironment::writeFile(folder + "/notes.txt", "plain words");
    const bool video = MediaFixtures::writeVideo(folder + "/clip.mp4", 320, 240, 1);

    const struct
    {
        QString name;
        FileKind kind;
        bool picture;
    } cases[] = {
        {"huge.jpg", FileKind::image, true},
        {"letter.pdf", FileKind::document, true},
        {"broken.pdf", FileKind::document, false},
        {"notes.txt", FileKind::document, false},
        {"missing.png", FileKind::image, false},
        {"clip.mp4", FileKind::video, video},
    };
    for (const auto &c : cases) {
        const QImage image = Thumbnails::thumbnail(folder + "/" + c.name, c.kind, 256);
        EXPECT_EQ(!image.isNull(), c.picture) << c.name.toStdString();
        if (!image.isNull()) {
            EXPECT_LE(std::max(image.width(), image.height()), 256) << c.name.toStdString();
        }
    }
    // Made thumbnails stay in memory; those without a picture don't.
    EXPECT_EQ(Thumbnails::memoryCount(), video ? 3 : 2);
    EXPECT_EQ(Thumbnails::memoryLimit, 800);
}

TEST(Thumbnails, CachedThumbnailsOfEveryPixelLayoutReadBackTheirColours)
{
    const QString path = TestEnvironment::makeFolder("layouts") + "/picture.png";
    MediaFixtures::writeImage(path, 64, 64);
    const qint64 mtime = mtimeOf(path);
    const QColor seen(40, 120, 200);
    const auto filled = [](QImage::Format format, QColor colour) {
        QImage image(128, 96, format);
        image.fill(colour);
        return image;
    };
    QImage palette(128, 96, QImage::Format_Indexed8);
    palette.setColorTable({seen.rgb(), qRgb(0, 0, 0)});
    palette.fill(0);

    const struct
    {
        const char *what;
        QImage image;
        QColor expected;
    } cases[] = {
        {"rgb", filled(QImage::Format_RGB32, seen), seen},
        {"palette", palette, seen},
        {"grey", filled(QImage::Format_Grayscale8, QColor(90, 90, 90)), QColor(90, 90, 90)},
        {"16-bit", filled(QImage::Format_RGBA64, seen), seen},
        {"alpha", filled(QImage::Format_ARGB32, QColor(40, 120, 200, 128)), QColor(40, 120, 200, 128)},
    };
    for (const auto &c : cases) {
        const QImage &image = c.image;
        TestEnvironment::writeFile(Thumbnails::cachePath(path, "normal"), thumbnailPng(image, stampChunks(path, mtime)));
        const QImage cached = Thumbnails::cached(path, 128);
        ASSERT_EQ(cached.size(), QSize(128, 96)) << c.what;
        EXPECT_EQ(cached.pixelColor(7, 5), c.expected) << c.what;
        EXPECT_EQ(cached.text("Thumb::MTime"), QString::number(mtime)) << c.what;
    }
}

TEST(Thumbnails, ACorruptOrOversizedCachedThumbnailIsRefusedBeforeItsPixels)
{
    Thumbnails::clearMemory();
    const QString path = TestEnvironment::makeFolder("refused") + "/picture.png";
    MediaFixtures::writeImage(path, 64, 64);
    const qint64 mtime = mtimeOf(path);
    QImage plain(128, 96, QImage::Format_RGB32);
    plain.fill(Qt::red);
    const QByteArray stamps = stampChunks(path, mtime);
    const QByteArray valid = thumbnailPng(plain, stamps);
    // A text chunk whose length claims 1.7 GB in a file of a few hundred bytes.
    const QByteArray hugeText = QByteArray::fromHex("67f8170c") + "tEXtThumb::MTime" + '\0' + QByteArray::number(mtime);
    QByteArray claimsHuge = valid;
    claimsHuge.resize(qsizetype(hugeText.size()) + 33);
    claimsHuge.replace(33, hugeText.size(), hugeText);
    QByteArray badChecksum = valid;
    badChecksum[33 + 8 + 2] = 'x';

    const struct
    {
        const char *what;
        QByteArray png;
    } cases[] = {
        {"text longer than the file", claimsHuge},
        {"larger than its folder", thumbnailPng(QImage(256, 256, QImage::Format_RGB32), stamps)},
        {"stamp after the pixels", valid.left(33) + valid.mid(33 + stamps.size(), valid.size() - 45 - stamps.size()) + stamps + valid.right(12)},
        {"damaged text", badChecksum},
        {"truncated pixels", valid.left(valid.size() - 30)},
        {"not a picture", "Thumb::MTime " + QByteArray::number(mtime)},
    };
    const long before = peakMegabytes();
    for (const auto &c : cases) {
        TestEnvironment::writeFile(Thumbnails::cachePath(path, "normal"), c.png);
        EXPECT_TRUE(Thumbnails::cached(path, 128).isNull()) << c.what;
    }
    EXPECT_LT(peakMegabytes() - before, 100);
    // The same thumbnail whole is used.
    TestEnvironment::writeFile(Thumbnails::cachePath(path, "normal"), valid);
    EXPECT_EQ(Thumbnails::cached(path, 128).pixelColor(3, 3), QColor(Qt::red));
}
