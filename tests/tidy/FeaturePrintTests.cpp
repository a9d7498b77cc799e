// The photo fingerprint on real photographs and their near-duplicates, and on
// generated pictures.
#include "TidyFixtures.h"
#include "support/TestEnvironment.h"
#include "tidy/FeaturePrint.h"

#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QPainter>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Photographs shipped by the mate-backgrounds package.
const char *photoFolder = "/usr/share/backgrounds/mate/nature";
constexpr float threshold = 0.45f;

struct Variant
{
    const char *name;
    std::function<QImage(const QImage &)> make;
    int quality;
};

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

const QList<Variant> &variants()
{
    static const QList<Variant> list{
        {"resized to half", [](const QImage &i) { return i.scaled(i.size() / 2, Qt::KeepAspectRatio, Qt::SmoothTransformation); }, 90},
        {"recompressed at quality 30", [](const QImage &i) { return i; }, 30},
        {"cropped 5% around", [](const QImage &i) {
             const int dx = i.width() / 20, dy = i.height() / 20;
             return i.copy(dx / 2, dy / 2, i.width() - dx, i.height() - dy); }, 90},
        {"cropped 5% at one corner", [](const QImage &i) {
             return i.copy(0, 0, i.width() - i.width() / 20, i.height() - i.height() / 20); }, 90},
        {"brightened", [](const QImage &i) { return brightened(i, 20); }, 90},
        {"darkened", [](const QImage &i) { return brightened(i, -20); }, 90},
    };
    return list;
}

QStringList photos()
{
    QStringList paths;
    const QDir folder(QString::fromLatin1(photoFolder));
    for (const QString &name : folder.entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name))
        paths.append(folder.filePath(name));
    return paths;
}

// The photo at a size that keeps the test quick; it stands as the original.
QImage loadOriginal(const QString &path)
{
    QImageReader reader(path);
    reader.setScaledSize(reader.size().scaled(1024, 1024, Qt::KeepAspectRatio));
    return reader.read();
}

TEST(FeaturePrintPhotos, NearDuplicatesFallUnderTheThresholdAndDifferentPhotosStayAbove)
{
    const QStringList paths = photos();
    ASSERT_GE(paths.size(), 8) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    const QString heifEncoder = QStandardPaths::findExecutable(QStringLiteral("heif-enc"));
    ASSERT_FALSE(heifEncoder.isEmpty()) << "heif-enc (libheif-examples) is missing: run scripts/install-deps";
    const QString work = TestEnvironment::makeFolder(QStringLiteral("photos"));

    QList<FeaturePrint::Vector> originals;
    for (const QString &path : paths) {
        const QString base = QFileInfo(path).completeBaseName();
        const QImage original = loadOriginal(path);
        ASSERT_FALSE(original.isNull()) << path.toStdString();
        const QString originalPath = work + u'/' + base + QStringLiteral(".jpg");
        ASSERT_TRUE(original.save(originalPath, "JPEG", 92));
        const auto print = FeaturePrint::compute(originalPath);
        ASSERT_TRUE(print.has_value()) << path.toStdString();
        ASSERT_EQ(print->size(), FeaturePrint::length());
        originals.append(*print);

        for (const Variant &variant : variants()) {
            const QString variantPath = work + u'/' + base + QStringLiteral("-variant.jpg");
            ASSERT_TRUE(variant.make(original).save(variantPath, "JPEG", variant.quality));
            const auto other = FeaturePrint::compute(variantPath);
            ASSERT_TRUE(other.has_value());
            EXPECT_LT(FeaturePrint::distance(*print, *other), threshold) << base.toStdString() << " " << variant.name;
        }

        // The HEIC half of a HEIC/JPEG pair, as a phone and its export make.
        const QString heicPath = work + u'/' + base + QStringLiteral(".heic");
        ASSERT_EQ(QProcess::execute(heifEncoder, {QStringLiteral("-q"), QStringLiteral("50"), QStringLiteral("-p"),
                                                  QStringLiteral("preset=ultrafast"), QStringLiteral("-o"),
                                                  heicPath, originalPath}),
                  0);
        const auto heic = FeaturePrint::compute(heicPath);
        ASSERT_TRUE(heic.has_value()) << heicPath.toStdString();
        EXPECT_LT(FeaturePrint::distance(*print, *heic), threshold) << base.toStdString() << " as HEIC";
    }

    for (qsizetype i = 0; i < originals.size(); ++i) {
        for (qsizetype j = i + 1; j < originals.size(); ++j) {
            EXPECT_GE(FeaturePrint::distance(originals.at(i), originals.at(j)), threshold)
                << paths.at(i).toStdString() << " and " << paths.at(j).toStdString();
        }
    }
}

// A generated picture: soft blobs of light and dark placed by the seed, so
// that different seeds make unrelated layouts.
QImage scene(int seed, QSize size = QSize(800, 600))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(128, 128, 128));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size.width() / 800.0, size.height() / 600.0);
    painter.setPen(Qt::NoPen);
    QRandomGenerator random{quint32(seed)};
    for (int k = 0; k < 10; ++k) {
        const QPointF centre(random.bounded(800), random.bounded(600));
        const double radius = 80 + random.bounded(200);
        QRadialGradient gradient(centre, radius);
        const QColor colour = QColor::fromHsv(random.bounded(360), random.bounded(255), random.bounded(255));
        gradient.setColorAt(0, colour);
        gradient.setColorAt(1, QColor(colour.red(), colour.green(), colour.blue(), 0));
        painter.setBrush(gradient);
        painter.drawEllipse(centre, radius, radius);
    }
    return image;
}

TEST(FeaturePrintGenerated, SameSceneAtAnotherSizeIsCloseAndOtherScenesAreFar)
{
    const auto large = FeaturePrint::compute(scene(1));
    const auto small = FeaturePrint::compute(scene(1, QSize(320, 240)));
    ASSERT_TRUE(large && small);
    EXPECT_LT(FeaturePrint::distance(*large, *small), 0.1f);
    for (int seed = 2; seed < 12; ++seed) {
        const auto other = FeaturePrint::compute(scene(seed));
        ASSERT_TRUE(other);
        EXPECT_GE(FeaturePrint::distance(*large, *other), threshold) << seed;
    }
}

TEST(FeaturePrintGenerated, PicturesWithoutLayoutOrPixelsGetNoPrint)
{
    QImage flat(200, 100, QImage::Format_RGB32);
    flat.fill(Qt::darkGreen);
    EXPECT_FALSE(FeaturePrint::compute(flat).has_value());
    EXPECT_FALSE(FeaturePrint::compute(QImage()).has_value());

    const QString folder = TestEnvironment::makeFolder(QStringLiteral("broken"));
    TestEnvironment::writeFile(folder + QStringLiteral("/truncated.jpg"), QByteArray("\xff\xd8\xff\xe0 not a photo", 17));
    TestEnvironment::writeFile(folder + QStringLiteral("/empty.png"), QByteArray());
    TestEnvironment::writeFile(folder + QStringLiteral("/fake.heic"), QByteArray(64, 'x'));
    for (const char *name : {"truncated.jpg", "empty.png", "fake.heic", "missing.jpg"})
        EXPECT_FALSE(FeaturePrint::compute(folder + u'/' + QLatin1String(name)).has_value()) << name;
}

TEST(FeaturePrintGenerated, DistanceAndStoredForm)
{
    const FeaturePrint::Vector a{0.0f, 0.0f, 1.0f};
    const FeaturePrint::Vector b{0.0f, 0.6f, 0.8f};
    EXPECT_FLOAT_EQ(FeaturePrint::distance(a, b), std::sqrt(0.36f + 0.04f));
    EXPECT_TRUE(std::isinf(FeaturePrint::distance(a, FeaturePrint::Vector{0.0f, 1.0f})));
    EXPECT_TRUE(std::isinf(FeaturePrint::distance(FeaturePrint::Vector{}, FeaturePrint::Vector{})));

    const auto print = FeaturePrint::compute(scene(5));
    ASSERT_TRUE(print);
    const QByteArray stored = FeaturePrint::encode(*print);
    EXPECT_EQ(stored.size(), FeaturePrint::length() * 4);
    EXPECT_EQ(FeaturePrint::decode(stored), print);
    EXPECT_FALSE(FeaturePrint::decode(stored.left(stored.size() - 1)).has_value());
    EXPECT_FALSE(FeaturePrint::decode(QByteArray()).has_value());
    // Stable between runs: the same pixels give the same floats.
    EXPECT_EQ(FeaturePrint::compute(scene(5)), print);
}

} // namespace
