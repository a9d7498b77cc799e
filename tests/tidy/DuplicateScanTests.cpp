// The duplicates scan end to end on a library of real files: digests and
// prints written back, groups and keepers, progress, the user's choices and
// pruning after a move to the Trash.
#include "TidyFixtures.h"
#include "core/Paths.h"
#include "store/IndexStore.h"
#include "support/TestEnvironment.h"
#include "tidy/DuplicatesModel.h"
#include "tidy/FileDigest.h"

#include <QDir>
#include <QFile>
#include <QImage>
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

class DuplicateScanTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        root = TestEnvironment::makeFolder(QStringLiteral("library-%1").arg(++serial));
    }

    FileRecord add(const QString &relative, const QByteArray &bytes, FileKind kind = FileKind::document,
                   std::optional<double> created = {})
    {
        const QString path = root + u'/' + relative;
        TestEnvironment::writeFile(path, bytes);
        return addExisting(path, kind, created);
    }

    FileRecord addExisting(const QString &path, FileKind kind, std::optional<double> created = {})
    {
        FileRecord record = TidyFixtures::recordOf(path, kind);
        record.created = created;
        store->upsert({record}, root, 1);
        const auto id = store->db().scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue();
        return *store->record(id.value_or(0));
    }

    FileRecord addPhoto(const QString &relative, const QImage &image, const char *format = "JPEG", int quality = 90)
    {
        const QString path = root + u'/' + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_TRUE(image.save(path, format, quality));
        return addExisting(path, FileKind::image);
    }

    static QStringList names(const DuplicateGroup &group)
    {
        QStringList list;
        for (const FileRecord &file : group.files)
            list.append(file.name);
        return list;
    }

    static inline int serial = 0;
    std::unique_ptr<IndexStore> store;
    QString root;
};

TEST_F(DuplicateScanTest, IdenticalFilesAreGroupedWithTheRightKeeper)
{
    const QByteArray report = randomBytes(5000, 1);
    add(QStringLiteral("Documents/Report.pdf"), report, FileKind::document, 200);
    add(QStringLiteral("Downloads/Report (1).pdf"), report, FileKind::document, 100);
    add(QStringLiteral("Elsewhere/Report copy.pdf"), report);
    // Same size, different bytes: read, but no group.
    add(QStringLiteral("a/same-size-1.bin"), randomBytes(5000, 2));
    // Below 4 KiB nothing takes part, even when identical.
    add(QStringLiteral("small/one.txt"), randomBytes(4095, 3));
    add(QStringLiteral("small/two.txt"), randomBytes(4095, 3));
    // Exactly 4 KiB does.
    add(QStringLiteral("edge/one.txt"), randomBytes(4096, 4));
    add(QStringLiteral("edge/two.txt"), randomBytes(4096, 4));
    // A twin that vanished after it was indexed is skipped, and its run goes on.
    const FileRecord vanished = add(QStringLiteral("edge/three.txt"), randomBytes(4096, 4));
    QFile::remove(vanished.path);

    DuplicateScanner scanner(*store);
    QList<double> fractions;
    const auto groups = scanner.findIdentical([&](double f) { fractions.append(f); });

    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(names(groups.at(0)), (QStringList{"Report.pdf", "Report (1).pdf", "Report copy.pdf"}));
    EXPECT_EQ(groups.at(0).keeper.name, QStringLiteral("Report.pdf")) << "no copy name wins over age";
    EXPECT_EQ(groups.at(0).wastedBytes(), 10000);
    EXPECT_EQ(names(groups.at(1)), (QStringList{"one.txt", "two.txt"}));
    EXPECT_EQ(groups.at(0).kind, DuplicateGroup::Kind::identical);
    ASSERT_FALSE(fractions.isEmpty());
    EXPECT_EQ(fractions.first(), 0.0);

    // Digests are written back, so the next scan reads nothing again.
    const auto stored = store->db().query(QStringLiteral("SELECT path, sha256 FROM files WHERE sha256 IS NOT NULL"));
    EXPECT_EQ(stored.size(), 6);
    for (const SQLRow &row : stored) {
        const QString path = *row.string(QStringLiteral("path"));
        EXPECT_EQ(row.string(QStringLiteral("sha256")), FileDigest::sha256(path)) << path.toStdString();
    }
    QFile::remove(root + QStringLiteral("/Downloads/Report (1).pdf"));
    EXPECT_EQ(scanner.findIdentical({}).size(), 2) << "stored digests stand in for files";
}

TEST_F(DuplicateScanTest, IdenticalKeeperAvoidsTheDownloadsFolder)
{
    const QString downloads = Paths::userFolder(Paths::UserFolder::Downloads);
    ASSERT_FALSE(downloads.isEmpty());
    const QByteArray bytes = randomBytes(8000, 9);
    const QString inDownloads = downloads + QStringLiteral("/contract.pdf");
    TestEnvironment::writeFile(inDownloads, bytes);
    addExisting(inDownloads, FileKind::document, 1);
    add(QStringLiteral("Documents/contract.pdf"), bytes, FileKind::document, 2);
    const auto groups = DuplicateScanner(*store).findIdentical({});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups.first().keeper.path, root + QStringLiteral("/Documents/contract.pdf"));
    QFile::remove(inDownloads);
}

TEST_F(DuplicateScanTest, SimilarPhotosGroupAcrossFormatsAndSkipWhatCannotBeCompared)
{
    QImageReader reader(TidyFixtures::photo(QStringLiteral("Garden.jpg")));
    reader.setScaledSize(reader.size().scaled(800, 800, Qt::KeepAspectRatio));
    const QImage garden = reader.read();
    ASSERT_FALSE(garden.isNull()) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    QImageReader otherReader(TidyFixtures::photo(QStringLiteral("Storm.jpg")));
    otherReader.setScaledSize(otherReader.size().scaled(800, 800, Qt::KeepAspectRatio));

    const FileRecord large = addPhoto(QStringLiteral("Pictures/garden.jpg"), garden);
    const FileRecord small = addPhoto(QStringLiteral("Pictures/garden-small.jpg"), garden.scaled(400, 400, Qt::KeepAspectRatio));
    const QString heic = root + QStringLiteral("/Pictures/garden.heic");
    ASSERT_EQ(QProcess::execute(QStringLiteral("heif-enc"), {QStringLiteral("-q"), QStringLiteral("50"), QStringLiteral("-p"),
                                                             QStringLiteral("preset=ultrafast"), QStringLiteral("-o"), heic, large.path}),
              0);
    FileRecord heicRecord = TidyFixtures::recordOf(heic, FileKind::image);
    heicRecord.width = garden.width();
    heicRecord.height = garden.height();
    store->upsert({heicRecord}, root, 1);
    addPhoto(QStringLiteral("Pictures/storm.jpg"), otherReader.read());
    // Left out: a screenshot and a drawing of the same picture, an exact
    // copy found by the identical scan, and a file that isn't an image.
    FileRecord screenshot = addPhoto(QStringLiteral("Pictures/Screenshot_1.png"), garden, "PNG");
    screenshot.isScreenshot = true;
    store->upsert({screenshot}, root, 1);
    addPhoto(QStringLiteral("Pictures/garden.gif"), garden, "PNG");
    const FileRecord excluded = addPhoto(QStringLiteral("Pictures/garden-again.jpg"), garden);
    const FileRecord broken = add(QStringLiteral("Pictures/broken.jpg"), QByteArray("\xff\xd8\xff\xe0 broken", 12), FileKind::image);

    DuplicateScanner scanner(*store);
    const auto groups = scanner.findSimilar({excluded.id}, {});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups.first().kind, DuplicateGroup::Kind::similar);
    QStringList members = names(groups.first());
    members.sort();
    EXPECT_EQ(members, (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg"}));
    // The most pixels win; between the equal JPEG and HEIC, the larger file.
    const QString expectedKeeper = QFileInfo(heic).size() > large.size ? heic : large.path;
    EXPECT_EQ(groups.first().keeper.path, expectedKeeper);

    const auto printed = store->db().query(QStringLiteral("SELECT name FROM files WHERE feature_print IS NOT NULL ORDER BY name"));
    QStringList printedNames;
    for (const SQLRow &row : printed)
        printedNames.append(*row.string(QStringLiteral("name")));
    EXPECT_EQ(printedNames, (QStringList{"garden-small.jpg", "garden.heic", "garden.jpg", "storm.jpg"}))
        << "the broken image gets no print; excluded and unsuitable files aren't read";
    EXPECT_FALSE(store->db().scalar(QStringLiteral("SELECT feature_print FROM files WHERE id = ?"), {broken.id}).blobValue());

    // A print of another length, as an older revision stored, never matches.
    store->db().run(QStringLiteral("UPDATE files SET feature_print = ? WHERE id = ?"),
                    {FeaturePrint::encode(FeaturePrint::Vector(10, 0.1f)), small.id});
    ASSERT_EQ(scanner.findSimilar({excluded.id}, {}).size(), 1);
    EXPECT_EQ(scanner.findSimilar({excluded.id}, {}).first().files.size(), 2);
}

TEST_F(DuplicateScanTest, ModelScansWithProgressAndKeepsTheUsersChoices)
{
    // Sizes that order the groups by waste: big, mid, then the photo.
    const QByteArray big = randomBytes(200000, 5);
    const QByteArray mid = randomBytes(100000, 6);
    const FileRecord bigA = add(QStringLiteral("x/big.bin"), big, FileKind::document, 1);
    const FileRecord bigB = add(QStringLiteral("y/big.bin"), big, FileKind::document, 2);
    const FileRecord bigC = add(QStringLiteral("z/big.bin"), big, FileKind::document, 3);
    add(QStringLiteral("x/mid.bin"), mid, FileKind::document, 1);
    add(QStringLiteral("y/mid.bin"), mid, FileKind::document, 2);
    // An exact copy of a photo: identical, so never also similar.
    QImage picture(300, 200, QImage::Format_RGB32);
    QRandomGenerator noise(7);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, noise.generate() | 0xff000000);
    const FileRecord photoA = addPhoto(QStringLiteral("p/one.jpg"), picture);
    QFile::copy(photoA.path, root + QStringLiteral("/p/two.jpg"));
    addExisting(root + QStringLiteral("/p/two.jpg"), FileKind::image);

    DuplicatesModel model(*store);
    QList<std::pair<QString, double>> seen;
    QObject::connect(&model, &DuplicatesModel::phaseChanged, [&] {
        if (model.isScanning())
            seen.append({model.phaseText(), model.fraction()});
    });
    model.scan();
    model.scan(); // ignored while scanning
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model.phase().kind == DuplicatesPhase::Kind::done; }, 30000));

    ASSERT_EQ(model.identical().size(), 3);
    EXPECT_TRUE(model.similar().isEmpty()) << "exact copies are left out of the photo scan";
    EXPECT_TRUE(model.lastScan().has_value());
    ASSERT_FALSE(seen.isEmpty());
    EXPECT_EQ(seen.first(), std::make_pair(QString::fromUtf8(DuplicatesModel::comparingText), 0.0));
    bool photos = false;
    for (const auto &[text, fraction] : seen) {
        if (text == QString::fromUtf8(DuplicatesModel::lookingText)) {
            photos = true;
            EXPECT_GE(fraction, 0.4);
            EXPECT_LE(fraction, 1.0);
        } else {
            EXPECT_FALSE(photos) << "identical progress after the photo phase began";
            EXPECT_LE(fraction, 0.4);
        }
    }
    EXPECT_TRUE(photos);

    const DuplicateGroup bigGroup = model.identical().first();
    EXPECT_EQ(bigGroup.keeper.id, bigA.id);
    EXPECT_EQ(model.identical().at(2).files.first().name, QStringLiteral("one.jpg"));
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
    const QString midIdentity = midGroup.identity();
    store->deletePaths({bigA.path, photoA.path});
    model.scan();
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model.phase().kind == DuplicatesPhase::Kind::done; }, 30000));
    ASSERT_EQ(model.identical().size(), 2);
    EXPECT_EQ(model.identical().at(1).identity(), midIdentity);
    EXPECT_FALSE(model.isSkipped(model.identical().at(1)));
    EXPECT_EQ(model.keeperID(model.identical().first()), bigB.id);
}

} // namespace
