// Photo prints and file digests on real files, and the duplicates scan end to
// end: groups, keepers, the model's progress and the user's choices.
#include "TidyFixtures.h"
#include "core/Paths.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"
#include "tidy/DuplicatesModel.h"
#include "tidy/FileDigest.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QRandomGenerator>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr float threshold = 0.45f;
// Photographs of the mate-backgrounds package.
constexpr char photoFolder[] = "/usr/share/backgrounds/mate/nature";

// The picture under a veil: lighter under white, darker under black.
QImage veiled(QImage image, QColor veil)
{
    QPainter(&image).fillRect(image.rect(), veil);
    return image;
}

TEST(FeaturePrint, NearDuplicatesFallUnderTheThresholdAndDifferentPhotosStayAbove)
{
    const QDir photos(QString::fromLatin1(photoFolder));
    const QStringList names = photos.entryList({u"*.jpg"_s}, QDir::Files, QDir::Name);
    ASSERT_GE(names.size(), 8) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    const QString work = TestEnvironment::makeFolder(u"photos"_s);
    const struct
    {
        const char *name;
        std::function<QImage(const QImage &)> make;
        int quality = 90;
    } variants[] = {
        {"resized to half", [](const QImage &i) { return i.scaled(i.size() / 2, Qt::KeepAspectRatio, Qt::SmoothTransformation); }},
        {"recompressed at quality 30", [](const QImage &i) { return i; }, 30},
        {"cropped 5% around", [](const QImage &i) { return i.copy(i.width() / 40, i.height() / 40, i.width() * 19 / 20, i.height() * 19 / 20); }},
        {"cropped 5% at one corner", [](const QImage &i) { return i.copy(0, 0, i.width() * 19 / 20, i.height() * 19 / 20); }},
        {"brightened", [](const QImage &i) { return veiled(i, QColor(255, 255, 255, 40)); }},
        {"darkened", [](const QImage &i) { return veiled(i, QColor(0, 0, 0, 40)); }},
    };
    const auto printOf = [](const QString &path) { return FeaturePrint::compute(path).value_or(FeaturePrint::Vector()); };

    QList<FeaturePrint::Vector> originals;
    for (const QString &name : names) {
        // The photo at a size that keeps the test quick stands as the original.
        QImageReader reader(photos.filePath(name));
        reader.setScaledSize(reader.size().scaled(1024, 1024, Qt::KeepAspectRatio));
        const QImage original = reader.read();
        ASSERT_TRUE(original.save(work + u'/' + name, "JPEG", 92)) << name.toStdString();
        const FeaturePrint::Vector print = originals.emplace_back(printOf(work + u'/' + name));
        ASSERT_EQ(print.size(), FeaturePrint::length());
        for (const auto &variant : variants) {
            ASSERT_TRUE(variant.make(original).save(work + u"/variant.jpg"_s, "JPEG", variant.quality));
            EXPECT_LT(FeaturePrint::distance(print, printOf(work + u"/variant.jpg"_s)), threshold) << name.toStdString() << " " << variant.name;
        }
        // The same layout of light in other colours is another picture.
        ASSERT_TRUE(original.rgbSwapped().save(work + u"/tinted.jpg"_s, "JPEG", 90));
        EXPECT_GE(FeaturePrint::distance(print, printOf(work + u"/tinted.jpg"_s)), threshold) << name.toStdString();
    }
    for (qsizetype i = 0; i < originals.size(); ++i) {
        for (qsizetype j = i + 1; j < originals.size(); ++j)
            EXPECT_GE(FeaturePrint::distance(originals.at(i), originals.at(j)), threshold)
                << names.at(i).toStdString() << " and " << names.at(j).toStdString();
    }

    // The stored form gives back the same floats, and a cut one nothing.
    const QByteArray stored = FeaturePrint::encode(originals.first());
    EXPECT_EQ(FeaturePrint::decode(stored), originals.first());
    EXPECT_FALSE(FeaturePrint::decode(stored.chopped(1)).has_value());
    EXPECT_FALSE(FeaturePrint::decode(stored.sliced(4)).has_value()) << "an earlier revision's print is made again";
}

TEST(FeaturePrint, PicturesWithoutLayoutOrPixelsGetNoPrint)
{
    QImage flat(200, 100, QImage::Format_RGB32);
    flat.fill(Qt::darkGreen);
    EXPECT_FALSE(FeaturePrint::compute(flat).has_value()) << "flat pictures would all match each other";
    EXPECT_FALSE(FeaturePrint::compute(QImage()).has_value());
    const QString folder = TestEnvironment::makeFolder(u"broken"_s);
    TestEnvironment::writeFile(folder + u"/fake.heic"_s, QByteArray(64, 'x'));
    EXPECT_FALSE(FeaturePrint::compute(folder + u"/fake.heic"_s).has_value());
}

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QByteArray bytes(size + 4, '\0');
    QRandomGenerator(seed).fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes.left(size);
}

TEST(FileDigest, MatchesTheWholeFilesDigestAcrossChunksAndGivesNothingWhenUnreadable)
{
    const QString folder = TestEnvironment::makeFolder(u"digests"_s);
    const qsizetype chunk = FileDigest::chunkSize;
    QString path;
    for (qsizetype size : {qsizetype(0), chunk - 1, chunk, chunk + 1, 3 * chunk + 12345}) {
        const QByteArray bytes = randomBytes(size, quint32(size));
        TestEnvironment::writeFile(path = folder + u"/random-%1"_s.arg(size), bytes);
        EXPECT_EQ(FileDigest::sha256(path), QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()) << size;
    }
    EXPECT_FALSE(FileDigest::sha256(folder + u"/missing"_s).has_value());
    EXPECT_FALSE(FileDigest::sha256(folder).has_value()) << "a folder opens but can't be read";
    CancellationToken token;
    token.cancel();
    EXPECT_FALSE(FileDigest::sha256(path, token).has_value());
}

class DuplicateScanTest : public ::testing::Test
{
protected:
    // A path under the library; absolute paths stay as they are.
    QString at(const QString &path) const { return QDir(root).filePath(path); }

    FileRecord stored(const FileRecord &record) { return LibraryBuilder::add(*store, {record}, root).first(); }

    FileRecord add(const QString &path, const QByteArray &bytes, std::optional<double> created = {})
    {
        TestEnvironment::writeFile(at(path), bytes);
        FileRecord record = DocumentFixtures::recordOf(at(path));
        record.created = created;
        return stored(record);
    }

    // A picture saved under the library, its record not yet stored.
    FileRecord photo(const QString &path, const QImage &image, const char *format = "JPEG")
    {
        QDir().mkpath(QFileInfo(at(path)).absolutePath());
        EXPECT_TRUE(image.save(at(path), format, 90));
        FileRecord record = DocumentFixtures::recordOf(at(path), FileKind::image);
        record.width = image.width();
        record.height = image.height();
        return record;
    }

    static QStringList names(const DuplicateGroup &group)
    {
        QStringList list;
        for (const FileRecord &file : group.files)
            list.append(file.name);
        list.sort();
        return list;
    }

    static inline int serial = 0;
    std::unique_ptr<IndexStore> store = IndexStore::openInMemory();
    QString root = TestEnvironment::makeFolder(u"library-%1"_s.arg(++serial));
};

TEST_F(DuplicateScanTest, IdenticalFilesGroupWithTheRightKeeperAndKeepTheirDigests)
{
    // The oldest copy is in Downloads and the next has a copy name: the
    // keeper is the youngest, and a copy without dates counts younger still.
    const QString downloads = Paths::userFolder(Paths::UserFolder::Downloads);
    ASSERT_FALSE(downloads.isEmpty());
    const QByteArray report = randomBytes(5000, 1);
    const FileRecord inDownloads = add(downloads + u"/Report.pdf"_s, report, 50);
    add(u"Documents/Report (1).pdf"_s, report, 100);
    const FileRecord keeper = add(u"Documents/Report.pdf"_s, report, 200);
    add(u"Elsewhere/Report copy.pdf"_s, report);
    // Same size, different bytes: read, but no group. Below 4 KiB nothing takes
    // part, even when identical; exactly 4 KiB does, and a twin that vanished
    // after it was indexed is skipped while its run goes on.
    add(u"a/same-size.bin"_s, randomBytes(5000, 2));
    for (const QString &name : {u"small/one.txt"_s, u"small/two.txt"_s})
        add(name, randomBytes(4095, 3));
    for (const QString &name : {u"edge/one.txt"_s, u"edge/two.txt"_s, u"edge/three.txt"_s})
        add(name, randomBytes(4096, 4));
    QFile::remove(at(u"edge/three.txt"_s));

    DuplicateScanner scanner(*store);
    const auto groups = scanner.findIdentical({});
    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(names(groups.at(0)), (QStringList{"Report (1).pdf", "Report copy.pdf", "Report.pdf", "Report.pdf"}));
    EXPECT_EQ(groups.at(0).keeper.path, keeper.path);
    EXPECT_EQ(names(groups.at(1)), (QStringList{"one.txt", "two.txt"}));

    // Digests are written back, so the next scan reads nothing again.
    const auto records = store->files().records({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    const auto rightDigest = [](const FileRecord &f) { return f.sha256 && f.sha256 == FileDigest::sha256(f.path); };
    EXPECT_EQ(std::count_if(records.begin(), records.end(), rightDigest), 7) << "small and vanished files are never read";
    QFile::remove(inDownloads.path);
    EXPECT_EQ(scanner.findIdentical({}).size(), 2) << "stored digests stand in for files";
}

TEST_F(DuplicateScanTest, SimilarPhotosGroupAcrossFormatsAndSkipWhatCannotBeCompared)
{
    const auto load = [](const char *name) {
        QImageReader reader(QString::fromLatin1(photoFolder) + u'/' + QLatin1String(name));
        reader.setScaledSize(reader.size().scaled(800, 800, Qt::KeepAspectRatio));
        return reader.read();
    };
    const QImage garden = load("Garden.jpg");
    ASSERT_FALSE(garden.isNull()) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    const FileRecord large = stored(photo(u"Pictures/garden.jpg"_s, garden));
    stored(photo(u"Pictures/garden-small.jpg"_s, garden.scaled(400, 400, Qt::KeepAspectRatio)));
    const QString heic = at(u"Pictures/garden.heic"_s);
    ASSERT_TRUE(DocumentFixtures::writeHeic(heic, garden, 50));
    FileRecord heicRecord = DocumentFixtures::recordOf(heic, FileKind::image);
    heicRecord.width = garden.width();
    heicRecord.height = garden.height();
    stored(heicRecord);
    stored(photo(u"Pictures/storm.jpg"_s, load("Storm.jpg")));
    // Left out: a screenshot and a drawing of the same picture, an exact copy
    // found by the identical scan, and a file that isn't an image.
    FileRecord screenshot = photo(u"Pictures/Screenshot_1.png"_s, garden, "PNG");
    screenshot.isScreenshot = true;
    stored(screenshot);
    stored(photo(u"Pictures/garden.gif"_s, garden, "PNG"));
    const FileRecord excluded = stored(photo(u"Pictures/garden-again.jpg"_s, garden));
    // Pictures that aren't photos, though each looks like the garden or like
    // its own copy: a thumbnail, one with a transparent corner, one in a
    // folder of icons, and a drawing of few colours beside its smaller copy.
    stored(photo(u"Pictures/garden-thumbnail.jpg"_s, garden.scaled(200, 200, Qt::KeepAspectRatio)));
    QImage cutOut = garden.convertToFormat(QImage::Format_ARGB32);
    QPainter painter(&cutOut);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(0, 0, 40, 40, Qt::transparent);
    painter.end();
    stored(photo(u"Pictures/garden-cut-out.png"_s, cutOut, "PNG"));
    stored(photo(u"Pictures/icons/garden.jpg"_s, garden));
    const QImage drawing = DocumentFixtures::textImage({u"Invoice 2024"_s, u"Total due"_s});
    stored(photo(u"Pictures/invoice.jpg"_s, drawing));
    stored(photo(u"Pictures/invoice-small.jpg"_s, drawing.scaled(drawing.size() / 2)));
    TestEnvironment::writeFile(at(u"Pictures/broken.jpg"_s), QByteArray("\xff\xd8\xff\xe0 broken", 12));
    stored(DocumentFixtures::recordOf(at(u"Pictures/broken.jpg"_s), FileKind::image));

    DuplicateScanner scanner(*store);
    const auto groups = scanner.findSimilar({excluded.id}, {});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(names(groups.first()), (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg"}));
    // The most pixels win; between the equal JPEG and HEIC, the larger file.
    EXPECT_EQ(groups.first().keeper.path, QFileInfo(heic).size() > large.size ? heic : large.path);
    QStringList printed, notPhotos;
    const QHash<qint64, QByteArray> prints = store->tidy().featurePrints({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
    for (const FileRecord &file : store->files().records(prints.keys()))
        (FeaturePrint::decode(prints.value(file.id)).value_or(FeaturePrint::Vector()).isEmpty() ? notPhotos : printed).append(file.name);
    printed.sort();
    notPhotos.sort();
    EXPECT_EQ(printed, (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg", "storm.jpg"}))
        << "the broken image gets no print; excluded and unsuitable files aren't read";
    EXPECT_EQ(notPhotos, (QStringList{"garden-cut-out.png", "invoice-small.jpg", "invoice.jpg"}))
        << "pictures read and found not to be photos are marked, so they aren't read again";
}

TEST_F(DuplicateScanTest, ModelScansWithProgressAndKeepsTheUsersChoicesUntilARescan)
{
    // Sizes that order the groups by waste: big, mid, then the photo.
    const QByteArray big = randomBytes(200000, 5), mid = randomBytes(100000, 6);
    const FileRecord bigA = add(u"x/big.bin"_s, big, 1), bigB = add(u"y/big.bin"_s, big, 2), bigC = add(u"z/big.bin"_s, big, 3);
    add(u"x/mid.bin"_s, mid, 1);
    add(u"y/mid.bin"_s, mid, 2);
    // An exact copy of a photo: identical, so never also similar.
    const FileRecord photoA = stored(photo(u"p/one.jpg"_s, DocumentFixtures::textImage({u"A photo"_s}, QSize(300, 200))));
    QFile::copy(photoA.path, at(u"p/two.jpg"_s));
    stored(DocumentFixtures::recordOf(at(u"p/two.jpg"_s), FileKind::image));

    DuplicatesModel model(*store);
    QList<std::pair<QString, double>> seen;
    QObject::connect(&model, &DuplicatesModel::phaseChanged, [&] {
        if (model.isScanning())
            seen.append({model.phaseText(), model.fraction()});
    });
    const auto scanned = [&model] {
        return TestEnvironment::waitUntil([&] { return model.phase().kind == DuplicatesPhase::Kind::done; }, 30000);
    };
    model.scan();
    model.scan(); // ignored while scanning
    ASSERT_TRUE(scanned());
    ASSERT_EQ(model.identical().size(), 3);
    EXPECT_TRUE(model.similar().isEmpty()) << "exact copies are left out of the photo scan";
    EXPECT_TRUE(model.lastScan().has_value());
    ASSERT_FALSE(seen.isEmpty());
    EXPECT_EQ(seen.first(), std::make_pair(QString::fromUtf8(DuplicatesModel::comparingText), 0.0));
    bool photos = false;
    for (const auto &[text, fraction] : seen) {
        photos = photos || text == QString::fromUtf8(DuplicatesModel::lookingText);
        EXPECT_EQ(text, QString::fromUtf8(photos ? DuplicatesModel::lookingText : DuplicatesModel::comparingText))
            << "identical progress after the photo phase began";
        EXPECT_TRUE(photos ? fraction >= 0.4 && fraction <= 1.0 : fraction >= 0.0 && fraction <= 0.4) << fraction;
    }
    EXPECT_TRUE(photos);

    const DuplicateGroup bigGroup = model.identical().first(), midGroup = model.identical().at(1);
    EXPECT_EQ(bigGroup.keeper.id, bigA.id);
    const qint64 photoWaste = model.identical().at(2).wastedBytes();
    ASSERT_LT(photoWaste, 100000);
    EXPECT_EQ(model.reclaimableBytes(), 400000 + 100000 + photoWaste);

    // The user's keeper overrides the rule for that group alone; a skipped
    // group takes no part in the removals but stays listed.
    model.chooseKeeper(bigGroup, bigC.id);
    QStringList removed;
    for (const FileRecord &file : model.removals(bigGroup))
        removed.append(file.path);
    EXPECT_EQ(removed, (QStringList{bigA.path, bigB.path}));
    model.setSkipped(midGroup, true);
    EXPECT_EQ(model.reclaimableBytes(), 400000 + photoWaste);
    EXPECT_EQ(model.identical().size(), 3);
    for (const FileRecord &file : model.allRemovals())
        EXPECT_NE(file.id, bigC.id) << "the keeper is never removed";

    // After a move to the Trash: groups shrink, and one left alone goes.
    model.removeMoved({bigA.path, photoA.path});
    ASSERT_EQ(model.identical().size(), 2);
    EXPECT_EQ(model.identical().first().files.size(), 2);
    EXPECT_EQ(model.keeperID(model.identical().first()), bigC.id) << "the user's keeper carries over";
    EXPECT_TRUE(model.isSkipped(model.identical().at(1)));

    // A rescan clears the choices; identities survive unchanged membership.
    store->files().deletePaths({bigA.path, photoA.path});
    model.scan();
    ASSERT_TRUE(scanned());
    ASSERT_EQ(model.identical().size(), 2);
    EXPECT_EQ(model.identical().at(1).identity(), midGroup.identity());
    EXPECT_FALSE(model.isSkipped(model.identical().at(1)));
    EXPECT_EQ(model.keeperID(model.identical().first()), bigB.id);
}

// Files that leave the library outside Larder (the file manager's Trash, a
// folder no longer indexed) leave their groups once the changes rest; a
// group left with one file goes, and a group that lost its keeper gets
// another.
TEST_F(DuplicateScanTest, FilesThatLeaveTheLibraryLeaveTheirGroups)
{
    const QByteArray big = randomBytes(200000, 7), mid = randomBytes(100000, 8);
    const FileRecord bigA = add(u"x/big.bin"_s, big, 1), bigB = add(u"y/big.bin"_s, big, 2);
    const FileRecord bigC = add(u"z/big.bin"_s, big, 3);
    add(u"x/mid.bin"_s, mid, 1);
    add(u"w/mid.bin"_s, mid, 2);
    DuplicatesModel model(*store);
    model.scan();
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model.phase().kind == DuplicatesPhase::Kind::done; }, 30000));
    ASSERT_EQ(model.identical().size(), 2);
    ASSERT_EQ(model.identical().first().keeper.id, bigA.id);

    // As the watcher writes them: a path gone, then a whole folder.
    store->files().deletePaths({bigA.path});
    model.followLibrarySoon();
    store->files().deleteFolder(at(u"w"_s));
    model.followLibrarySoon();
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model.identical().size() == 1; }));
    const DuplicateGroup left = model.identical().first();
    EXPECT_EQ(names(left), (QStringList{u"big.bin"_s, u"big.bin"_s}));
    EXPECT_EQ(left.keeper.id, bigB.id);
    EXPECT_EQ(model.removals(left).value(0).id, bigC.id);
    EXPECT_EQ(model.reclaimableBytes(), 200000);
}

} // namespace
