// The duplicates scan end to end on a library of real files: digests and
// prints written back, groups and keepers, the model's progress, the user's
// choices, and what of them survives a move to the Trash and a rescan.
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
#include <QProcess>
#include <QRandomGenerator>

#include <gtest/gtest.h>

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &c : bytes)
        c = char(random.bounded(256));
    return bytes;
}

TEST(FileDigest, MatchesTheWholeFilesDigestAcrossChunksAndGivesNothingWhenUnreadable)
{
    const QString folder = TestEnvironment::makeFolder(QStringLiteral("digests"));
    QString path;
    for (qsizetype size : {qsizetype(0), FileDigest::chunkSize - 1, FileDigest::chunkSize, FileDigest::chunkSize + 1,
                           3 * FileDigest::chunkSize + 12345}) {
        const QByteArray bytes = randomBytes(size, quint32(size));
        path = folder + QStringLiteral("/random-%1").arg(size);
        TestEnvironment::writeFile(path, bytes);
        EXPECT_EQ(FileDigest::sha256(path), QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()) << size;
    }
    EXPECT_FALSE(FileDigest::sha256(folder + QStringLiteral("/missing")).has_value());
    EXPECT_FALSE(FileDigest::sha256(folder).has_value()) << "a folder opens but can't be read";
    CancellationToken token;
    token.cancel();
    EXPECT_FALSE(FileDigest::sha256(path, token).has_value());
}

class DuplicateScanTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        root = TestEnvironment::makeFolder(QStringLiteral("library-%1").arg(++serial));
    }

    QString at(const QString &relative) const { return root + u'/' + relative; }

    FileRecord stored(const FileRecord &record) { return LibraryBuilder::add(*store, {record}, root).first(); }

    FileRecord add(const QString &path, const QByteArray &bytes, std::optional<double> created = {})
    {
        TestEnvironment::writeFile(path, bytes);
        FileRecord record = DocumentFixtures::recordOf(path);
        record.created = created;
        return stored(record);
    }

    // A picture saved under the library, its record not yet stored.
    FileRecord photo(const QString &relative, const QImage &image, const char *format = "JPEG")
    {
        QDir().mkpath(QFileInfo(at(relative)).absolutePath());
        EXPECT_TRUE(image.save(at(relative), format, 90));
        FileRecord record = DocumentFixtures::recordOf(at(relative), FileKind::image);
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
    std::unique_ptr<IndexStore> store;
    QString root;
};

TEST_F(DuplicateScanTest, IdenticalFilesGroupWithTheRightKeeperAndKeepTheirDigests)
{
    // The oldest copy is in Downloads and the next has a copy name: the
    // keeper is the youngest, and a copy without dates counts younger still.
    const QString downloads = Paths::userFolder(Paths::UserFolder::Downloads);
    ASSERT_FALSE(downloads.isEmpty());
    const QByteArray report = randomBytes(5000, 1);
    const FileRecord inDownloads = add(downloads + QStringLiteral("/Report.pdf"), report, 50);
    add(at(QStringLiteral("Documents/Report (1).pdf")), report, 100);
    const FileRecord keeper = add(at(QStringLiteral("Documents/Report.pdf")), report, 200);
    add(at(QStringLiteral("Elsewhere/Report copy.pdf")), report);
    // Same size, different bytes: read, but no group.
    add(at(QStringLiteral("a/same-size.bin")), randomBytes(5000, 2));
    // Below 4 KiB nothing takes part, even when identical; exactly 4 KiB does.
    add(at(QStringLiteral("small/one.txt")), randomBytes(4095, 3));
    add(at(QStringLiteral("small/two.txt")), randomBytes(4095, 3));
    add(at(QStringLiteral("edge/one.txt")), randomBytes(4096, 4));
    add(at(QStringLiteral("edge/two.txt")), randomBytes(4096, 4));
    // A twin that vanished after it was indexed is skipped, and its run goes on.
    QFile::remove(add(at(QStringLiteral("edge/three.txt")), randomBytes(4096, 4)).path);

    DuplicateScanner scanner(*store);
    QList<double> fractions;
    const auto groups = scanner.findIdentical([&](double f) { fractions.append(f); });

    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(groups.at(0).kind, DuplicateGroup::Kind::identical);
    EXPECT_EQ(names(groups.at(0)), (QStringList{"Report (1).pdf", "Report copy.pdf", "Report.pdf", "Report.pdf"}));
    EXPECT_EQ(groups.at(0).keeper.path, keeper.path);
    EXPECT_EQ(groups.at(0).wastedBytes(), 15000);
    EXPECT_EQ(names(groups.at(1)), (QStringList{"one.txt", "two.txt"}));
    ASSERT_FALSE(fractions.isEmpty());
    EXPECT_EQ(fractions.first(), 0.0);

    // Digests are written back, so the next scan reads nothing again.
    int digests = 0;
    for (const FileRecord &file : store->files().records({1, 2, 3, 4, 5, 6, 7, 8, 9, 10})) {
        if (!file.sha256)
            continue;
        ++digests;
        EXPECT_EQ(file.sha256, FileDigest::sha256(file.path)) << file.path.toStdString();
    }
    EXPECT_EQ(digests, 7) << "small and vanished files are never read";
    QFile::remove(inDownloads.path);
    EXPECT_EQ(scanner.findIdentical({}).size(), 2) << "stored digests stand in for files";
}

TEST_F(DuplicateScanTest, SimilarPhotosGroupAcrossFormatsAndSkipWhatCannotBeCompared)
{
    const auto load = [](const char *name) {
        QImageReader reader(QString::fromLatin1(TidyFixtures::photoFolder) + u'/' + QLatin1String(name));
        reader.setScaledSize(reader.size().scaled(800, 800, Qt::KeepAspectRatio));
        return reader.read();
    };
    const QImage garden = load("Garden.jpg");
    ASSERT_FALSE(garden.isNull()) << "the photos of mate-backgrounds are missing: run scripts/install-deps";

    const FileRecord large = stored(photo(QStringLiteral("Pictures/garden.jpg"), garden));
    const FileRecord small = stored(photo(QStringLiteral("Pictures/garden-small.jpg"), garden.scaled(400, 400, Qt::KeepAspectRatio)));
    const QString heic = at(QStringLiteral("Pictures/garden.heic"));
    ASSERT_EQ(QProcess::execute(QStringLiteral("heif-enc"), {QStringLiteral("-q"), QStringLiteral("50"), QStringLiteral("-p"),
                                                             QStringLiteral("preset=ultrafast"), QStringLiteral("-o"), heic, large.path}),
              0);
    FileRecord heicRecord = DocumentFixtures::recordOf(heic, FileKind::image);
    heicRecord.width = garden.width();
    heicRecord.height = garden.height();
    stored(heicRecord);
    stored(photo(QStringLiteral("Pictures/storm.jpg"), load("Storm.jpg")));
    // Left out: a screenshot and a drawing of the same picture, an exact
    // copy found by the identical scan, and a file that isn't an image.
    FileRecord screenshot = photo(QStringLiteral("Pictures/Screenshot_1.png"), garden, "PNG");
    screenshot.isScreenshot = true;
    stored(screenshot);
    stored(photo(QStringLiteral("Pictures/garden.gif"), garden, "PNG"));
    const FileRecord excluded = stored(photo(QStringLiteral("Pictures/garden-again.jpg"), garden));
    TestEnvironment::writeFile(at(QStringLiteral("Pictures/broken.jpg")), QByteArray("\xff\xd8\xff\xe0 broken", 12));
    const FileRecord broken = stored(DocumentFixtures::recordOf(at(QStringLiteral("Pictures/broken.jpg")), FileKind::image));

    DuplicateScanner scanner(*store);
    const auto groups = scanner.findSimilar({excluded.id}, {});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups.first().kind, DuplicateGroup::Kind::similar);
    EXPECT_EQ(names(groups.first()), (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg"}));
    // The most pixels win; between the equal JPEG and HEIC, the larger file.
    EXPECT_EQ(groups.first().keeper.path, QFileInfo(heic).size() > large.size ? heic : large.path);

    QStringList printed;
    for (const FileRecord &file : store->files().records(store->tidy().featurePrints({1, 2, 3, 4, 5, 6, 7, 8, 9}).keys()))
        printed.append(file.name);
    printed.sort();
    EXPECT_EQ(printed, (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg", "storm.jpg"}))
        << "the broken image gets no print; excluded and unsuitable files aren't read";
    EXPECT_FALSE(store->tidy().featurePrints({broken.id}).contains(broken.id));

    // A print of another length, as an older revision stored, never matches.
    store->tidy().setFeaturePrint(small.id, FeaturePrint::encode(FeaturePrint::Vector(10, 0.1f)));
    const auto again = scanner.findSimilar({excluded.id}, {});
    ASSERT_EQ(again.size(), 1);
    EXPECT_EQ(again.first().files.size(), 2);
}

TEST_F(DuplicateScanTest, ModelScansWithProgressAndKeepsTheUsersChoicesUntilARescan)
{
    // Sizes that order the groups by waste: big, mid, then the photo.
    const QByteArray big = randomBytes(200000, 5);
    const QByteArray mid = randomBytes(100000, 6);
    const FileRecord bigA = add(at(QStringLiteral("x/big.bin")), big, 1);
    const FileRecord bigB = add(at(QStringLiteral("y/big.bin")), big, 2);
    const FileRecord bigC = add(at(QStringLiteral("z/big.bin")), big, 3);
    add(at(QStringLiteral("x/mid.bin")), mid, 1);
    add(at(QStringLiteral("y/mid.bin")), mid, 2);
    // An exact copy of a photo: identical, so never also similar.
    QImage picture(300, 200, QImage::Format_RGB32);
    QRandomGenerator noise(7);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, noise.generate() | 0xff000000);
    const FileRecord photoA = stored(photo(QStringLiteral("p/one.jpg"), picture));
    QFile::copy(photoA.path, at(QStringLiteral("p/two.jpg")));
    stored(DocumentFixtures::recordOf(at(QStringLiteral("p/two.jpg")), FileKind::image));

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
        EXPECT_GE(fraction, photos ? 0.4 : 0.0);
        EXPECT_LE(fraction, photos ? 1.0 : 0.4);
    }
    EXPECT_TRUE(photos);

    const DuplicateGroup bigGroup = model.identical().first();
    EXPECT_EQ(bigGroup.keeper.id, bigA.id);
    const qint64 photoWaste = model.identical().at(2).wastedBytes();
    ASSERT_LT(photoWaste, 100000);
    EXPECT_EQ(model.reclaimableBytes(), 400000 + 100000 + photoWaste);

    // The user's keeper overrides the rule for that group alone; a skipped
    // group takes no part in the removals but stays listed.
    model.chooseKeeper(bigGroup, bigC.id);
    EXPECT_EQ(model.keeperID(bigGroup), bigC.id);
    QStringList removed;
    for (const FileRecord &file : model.removals(bigGroup))
        removed.append(file.path);
    EXPECT_EQ(removed, (QStringList{bigA.path, bigB.path}));
    const DuplicateGroup midGroup = model.identical().at(1);
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

} // namespace
