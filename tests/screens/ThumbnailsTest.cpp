// Thumbnails: the desktop's cache first, when its thumbnail still matches the
// file, and otherwise made here from the file, within bounds.
#include "platform/Thumbnails.h"
#include "support/DocumentFixtures.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QBuffer>

#include <gtest/gtest.h>

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

// A thumbnail in the desktop's cache for the file, of one colour, stamped with
// the given modification time, as the desktop writes them.
void writeCachedThumbnail(const QString &path, qint64 mtime, QColor colour, const QString &folder = "normal")
{
    QImage image(128, 96, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    ASSERT_TRUE(image.save(&buffer, "png"));
    // After the signature (8 bytes) and the header chunk (25 bytes).
    png.insert(33, textChunk("Thumb::URI", Thumbnails::fileURI(path).toUtf8())
                       + textChunk("Thumb::MTime", QByteArray::number(mtime)));
    TestEnvironment::writeFile(Thumbnails::cachePath(path, folder), png);
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
