// The photo fingerprint on real photographs and their near-duplicates.
#include "TidyFixtures.h"
#include "support/TestEnvironment.h"
#include "tidy/FeaturePrint.h"

#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

constexpr float threshold = 0.45f;

QImage brightened(const QImage &source, int delta)
{
    QImage image = source.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const auto shift = [delta](int c) { return std::clamp(c + delta, 0, 255); };
            line[x] = qRgb(shift(qRed(line[x])), shift(qGreen(line[x])), shift(qBlue(line[x])));
        }
    }
    return image;
}

TEST(FeaturePrint, NearDuplicatesFallUnderTheThresholdAndDifferentPhotosStayAbove)
{
    const QDir photos(QString::fromLatin1(TidyFixtures::photoFolder));
    const QStringList names = photos.entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name);
    ASSERT_GE(names.size(), 8) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    const QString work = TestEnvironment::makeFolder(QStringLiteral("photos"));
    const struct
    {
        const char *name;
        std::function<QImage(const QImage &)> make;
        int quality;
    } variants[] = {
        {"resized to half", [](const QImage &i) { return i.scaled(i.size() / 2, Qt::KeepAspectRatio, Qt::SmoothTransformation); }, 90},
        {"recompressed at quality 30", [](const QImage &i) { return i; }, 30},
        {"cropped 5% around", [](const QImage &i) {
             const int dx = i.width() / 20, dy = i.height() / 20;
             return i.copy(dx / 2, dy / 2, i.width() - dx, i.height() - dy); }, 90},
        {"cropped 5% at one corner", [](const QImage &i) { return i.copy(0, 0, i.width() * 19 / 20, i.height() * 19 / 20); }, 90},
        {"brightened", [](const QImage &i) { return brightened(i, 20); }, 90},
        {"darkened", [](const QImage &i) { return brightened(i, -20); }, 90},
    };

    QList<FeaturePrint::Vector> originals;
    for (const QString &name : names) {
        // The photo at a size that keeps the test quick stands as the original.
        QImageReader reader(photos.filePath(name));
        reader.setScaledSize(reader.size().scaled(1024, 1024, Qt::KeepAspectRatio));
        const QImage original = reader.read();
        const QString originalPath = work + u'/' + name;
        ASSERT_TRUE(original.save(originalPath, "JPEG", 92)) << name.toStdString();
        const auto print = FeaturePrint::compute(originalPath);
        ASSERT_TRUE(print.has_value()) << name.toStdString();
        ASSERT_EQ(print->size(), FeaturePrint::length());
        originals.append(*print);

        const QString variantPath = work + QStringLiteral("/variant.jpg");
        for (const auto &variant : variants) {
            ASSERT_TRUE(variant.make(original).save(variantPath, "JPEG", variant.quality));
            const auto other = FeaturePrint::compute(variantPath);
            ASSERT_TRUE(other.has_value());
            EXPECT_LT(FeaturePrint::distance(*print, *other), threshold) << name.toStdString() << " " << variant.name;
        }
        // The HEIC half of a HEIC/JPEG pair, as a phone and its export make.
        const QString heicPath = work + QStringLiteral("/variant.heic");
        ASSERT_EQ(QProcess::execute(QStringLiteral("heif-enc"), {QStringLiteral("-q"), QStringLiteral("50"), QStringLiteral("-p"),
                                                                 QStringLiteral("preset=ultrafast"), QStringLiteral("-o"),
                                                                 heicPath, originalPath}),
                  0) << "heif-enc (libheif-examples) is missing: run scripts/install-deps";
        const auto heic = FeaturePrint::compute(heicPath);
        ASSERT_TRUE(heic.has_value());
        EXPECT_LT(FeaturePrint::distance(*print, *heic), threshold) << name.toStdString() << " as HEIC";
    }

    for (qsizetype i = 0; i < originals.size(); ++i) {
        for (qsizetype j = i + 1; j < originals.size(); ++j)
            EXPECT_GE(FeaturePrint::distance(originals.at(i), originals.at(j)), threshold)
                << names.at(i).toStdString() << " and " << names.at(j).toStdString();
    }

    // The stored form gives back the same floats, and a cut one nothing.
    const QByteArray stored = FeaturePrint::encode(originals.first());
    EXPECT_EQ(FeaturePrint::decode(stored), originals.first());
    EXPECT_FALSE(FeaturePrint::decode(stored.left(stored.size() - 1)).has_value());
}

TEST(FeaturePrint, PicturesWithoutLayoutOrPixelsGetNoPrint)
{
    QImage flat(200, 100, QImage::Format_RGB32);
    flat.fill(Qt::darkGreen);
    EXPECT_FALSE(FeaturePrint::compute(flat).has_value()) << "flat pictures would all match each other";
    EXPECT_FALSE(FeaturePrint::compute(QImage()).has_value());

    const QString folder = TestEnvironment::makeFolder(QStringLiteral("broken"));
    TestEnvironment::writeFile(folder + QStringLiteral("/truncated.jpg"), QByteArray("\xff\xd8\xff\xe0 not a photo", 17));
    TestEnvironment::writeFile(folder + QStringLiteral("/empty.png"), QByteArray());
    TestEnvironment::writeFile(folder + QStringLiteral("/fake.heic"), QByteArray(64, 'x'));
    for (const char *name : {"truncated.jpg", "empty.png", "fake.heic", "missing.jpg"})
        EXPECT_FALSE(FeaturePrint::compute(folder + u'/' + QLatin1String(name)).has_value()) << name;
}

} // namespace
