// The files table: the upsert rule, removal and listing.
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

namespace {

using RecordFixtures::file;

class FileRecordsTest : public ::testing::Test, protected TestLibrary
{
protected:
    FileRecords files = store.files();

    void upsert(const QList<FileRecord> &records, double seenAt = 1.0, const QString &root = QStringLiteral("/r"))
    {
        files.upsert(records, root, seenAt);
    }
    // What extraction and the tidy-up leave behind on a file.
    void giveDerivedData(qint64 id)
    {
        store.tidy().setDigest(id, QStringLiteral("abc"));
        store.tidy().setFeaturePrint(id, QByteArray("\x01\x02", 2));
        FileRecord record = *files.record(id);
        store.textQueue().setText(record, {QStringLiteral("hello"), QStringLiteral("two")});
    }
    QStringList names(const QList<FileRecord> &records)
    {
        QStringList list;
        for (const FileRecord &r : records)
            list.append(r.name);
        return list;
    }
};

} // namespace

TEST_F(FileRecordsTest, InsertStoresEveryFieldAndReadsItBack)
{
    FileRecord r = file(QStringLiteral("/home/a/Pictures/Trip/IMG_1.heic"), 2048, 1700000000.25, FileKind::image);
    r.uti = QStringLiteral("image/heif");
    r.created = 1600000000.0;
    r.added = 1650000000.5;
    r.opened = 1710000000.0;
    r.sourceID = QStringLiteral("web:photos.example");
    r.sourceURL = QStringLiteral("https://photos.example/1");
    r.isScreenshot = true;
    r.width = 4032;
    r.height = 3024;
    upsert({r}, 10.0, QStringLiteral("/home/a/Pictures"));

    r.id = idOf(r.path);
    ASSERT_GT(r.id, 0);
    EXPECT_EQ(files.record(r.id), r);
    EXPECT_EQ(files.recordAt(r.path), r);
    EXPECT_EQ(files.records({r.id, 999}), (QHash<qint64, FileRecord>{{r.id, r}}));
    EXPECT_FALSE(files.record(999));
    EXPECT_FALSE(files.recordAt(QStringLiteral("/home/a/Pictures/Trip")));
    EXPECT_EQ(row(r.id).string(QStringLiteral("root")), QStringLiteral("/home/a/Pictures"));
    EXPECT_EQ(passageCount(r.id), 1) << "a title row makes it findable by name";
}

TEST_F(FileRecordsTest, TextStateStartsByKind)
{
    for (FileKind kind : allFileKinds()) {
        const QString path = QStringLiteral("/r/") + fileKindRawValue(kind);
        upsert({file(path, 1, 1.0, kind)});
        const int waiting = kind == FileKind::image || kind == FileKind::document ? 0 : 2;
        EXPECT_EQ(row(idOf(path)).integer(QStringLiteral("text_state")), waiting) << fileKindRawValue(kind).toStdString();
    }
}

TEST_F(FileRecordsTest, AnUnchangedFileGetsTheLightUpdateAndKeepsItsDerivedData)
{
    FileRecord r = file(QStringLiteral("/r/a.pdf"), 100, 1000.0);
    r.sourceID = QStringLiteral("gmail");
    r.opened = 5.0;
    upsert({r});
    const qint64 id = idOf(r.path);
    giveDerivedData(id);

    FileRecord again = r;
    again.modified = 1000.0005; // within a millisecond
    again.sourceID.reset(); // this scan found no source
    again.opened.reset(); // the desktop forgot the file
    again.added = 7.0;
    again.width = 99; // not part of the light update
    EXPECT_EQ(files.unchangedKinds({again, file(QStringLiteral("/r/new"), 1, 1.0)}),
              (QHash<QString, FileKind>{{r.path, FileKind::document}}));
    upsert({again}, 2.0, QStringLiteral("/r2"));

    const SQLRow stored = row(id);
    EXPECT_EQ(stored.string(QStringLiteral("sha256")), QStringLiteral("abc"));
    EXPECT_EQ(stored.integer(QStringLiteral("text_state")), 1);
    EXPECT_EQ(stored.string(QStringLiteral("text_excerpt")), QStringLiteral("hello"));
    EXPECT_EQ(stored.string(QStringLiteral("source")), QStringLiteral("gmail")) << "a source not found again is kept";
    EXPECT_EQ(stored.real(QStringLiteral("opened")), 5.0) << "no reading keeps the last-used date";
    EXPECT_EQ(stored.real(QStringLiteral("added")), 7.0);
    EXPECT_EQ(stored.real(QStringLiteral("seen_at")), 2.0);
    EXPECT_EQ(stored.string(QStringLiteral("root")), QStringLiteral("/r2"));
    EXPECT_EQ(stored.integer(QStringLiteral("width")), std::nullopt);
    EXPECT_EQ(passageCount(id), 2);

    again.sourceID = QStringLiteral("slack");
    again.opened = 9.0;
    upsert({again}, 3.0);
    EXPECT_EQ(row(id).string(QStringLiteral("source")), QStringLiteral("slack")) << "a new source replaces it";
    EXPECT_EQ(row(id).real(QStringLiteral("opened")), 9.0);
}

TEST_F(FileRecordsTest, AChangedFileLosesItsDerivedDataAndWaitsForTextAgain)
{
    // Size, a modification time off by two milliseconds, a date that went
    // away; a file that never had a date stays unchanged while its size holds.
    const struct
    {
        qint64 size;
        std::optional<double> from, to;
        bool changed;
    } cases[] = {{101, 1000.0, 1000.0, true},
                 {100, 1000.0, 1000.002, true},
                 {100, 1000.0, std::nullopt, true},
                 {100, std::nullopt, std::nullopt, false}};
    for (const auto &c : cases) {
        FileRecord r = file(QStringLiteral("/r/b.txt"), 100, c.from);
        upsert({r});
        const qint64 id = idOf(r.path);
        giveDerivedData(id);
        r.size = c.size;
        r.modified = c.to;
        upsert({r}, 2.0);
        const SQLRow stored = row(id);
        EXPECT_EQ(stored.string(QStringLiteral("sha256")).has_value(), !c.changed);
        EXPECT_EQ(stored.value(QStringLiteral("feature_print")).isNull(), c.changed);
        EXPECT_EQ(stored.string(QStringLiteral("text_excerpt")).has_value(), !c.changed);
        EXPECT_EQ(stored.integer(QStringLiteral("text_state")), c.changed ? 0 : 1);
        EXPECT_EQ(passageCount(id), c.changed ? 1 : 2) << "passages shrink to the title row";
        files.deletePaths({r.path});
    }
}

TEST_F(FileRecordsTest, APathTwiceInOneBatchMakesOneRowWithItsLastRecord)
{
    upsert({file(QStringLiteral("/r/dup"), 1, 1.0), file(QStringLiteral("/r/dup"), 2, 2.0),
            file(QStringLiteral("/r/dup"), 2, 2.0)});
    EXPECT_EQ(rowCount(QStringLiteral("files")), 1);
    EXPECT_EQ(files.recordAt(QStringLiteral("/r/dup"))->size, 2);
    EXPECT_EQ(rowCount(QStringLiteral("passages")), 1);
}

// A scan looks a batch up, reads content, then upserts it; the upsert looks
// again, so a file deleted in between comes back.
TEST_F(FileRecordsTest, UpsertAfterALookupSeesWritesMadeInBetween)
{
    const QList<FileRecord> batch{file(QStringLiteral("/r/kept"), 10, 50), file(QStringLiteral("/r/gone"), 10, 50)};
    upsert(batch);
    ASSERT_EQ(files.unchangedKinds(batch).size(), 2);
    files.deletePaths({QStringLiteral("/r/gone")});
    upsert(batch, 2.0);
    EXPECT_EQ(rowCount(QStringLiteral("files")), 2);
    EXPECT_EQ(passageCount(idOf(QStringLiteral("/r/gone"))), 1);
}

TEST_F(FileRecordsTest, AFailingBatchLeavesTheLibraryAsItWas)
{
    upsert({file(QStringLiteral("/r/kept"), 1, 1.0)});
    // A trigger makes the third insert of the batch fail.
    db->execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON files WHEN NEW.name = 'bad' "
                               "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    const QList<FileRecord> batch{file(QStringLiteral("/r/x"), 1, 1.0), file(QStringLiteral("/r/kept"), 5, 9.0),
                                  file(QStringLiteral("/r/bad"), 1, 1.0)};
    EXPECT_THROW(upsert(batch, 2.0), SQLiteError);
    EXPECT_EQ(rowCount(QStringLiteral("files")), 1);
    EXPECT_EQ(rowCount(QStringLiteral("passages")), 1);
    EXPECT_EQ(files.recordAt(QStringLiteral("/r/kept"))->size, 1);
    EXPECT_EQ(row(idOf(QStringLiteral("/r/kept"))).real(QStringLiteral("seen_at")), 1.0);
}

TEST(FileRecordsTitle, NameSpacedNameAndTwoParentFolders)
{
    const struct
    {
        const char *path;
        const char *title;
    } cases[] = {
        {"/Users/a/Work/Invoices/ACMEInvoice2024.pdf", "ACMEInvoice2024.pdf ACMEInvoice 2024 Work Invoices"},
        {"/home/a/Notes/myFirstNote.txt", "myFirstNote.txt my First Note a Notes"},
        {"/home/a/Makefile", "Makefile Makefile home a"},
        {"/top.txt", "top.txt top"},
        {"/x/IMG2024x.jpg", "IMG2024x.jpg IMG 2024x x"},
        {"/x/y/Ünïcode9é.txt", "Ünïcode9é.txt Ünïcode 9é x y"},
    };
    for (const auto &c : cases) {
        FileRecord r;
        r.path = QString::fromUtf8(c.path);
        r.name = r.path.section(u'/', -1);
        EXPECT_EQ(FileRecords::title(r), QString::fromUtf8(c.title)) << c.path;
    }
}

TEST_F(FileRecordsTest, ReconcileRemovesOnlyUnseenRowsOfItsRoot)
{
    upsert({file(QStringLiteral("/r1/keep.txt"), 1, 1), file(QStringLiteral("/r1/gone.txt"), 2, 1)}, 100, QStringLiteral("/r1"));
    upsert({file(QStringLiteral("/r2/other.txt"), 3, 1)}, 100, QStringLiteral("/r2"));
    const qint64 gone = idOf(QStringLiteral("/r1/gone.txt"));

    // The second walk of /r1 sees only keep.txt.
    upsert({file(QStringLiteral("/r1/keep.txt"), 1, 1)}, 200, QStringLiteral("/r1"));
    EXPECT_EQ(files.reconcile(QStringLiteral("/r1"), 200), 1);
    EXPECT_FALSE(files.recordAt(QStringLiteral("/r1/gone.txt")));
    EXPECT_EQ(passageCount(gone), 0);
    EXPECT_TRUE(files.recordAt(QStringLiteral("/r1/keep.txt")));
    // A file seen through another root has left the first root's reconcile.
    upsert({file(QStringLiteral("/r2/other.txt"), 3, 1)}, 300, QStringLiteral("/r1"));
    EXPECT_EQ(files.reconcile(QStringLiteral("/r2"), 1000), 0);
    EXPECT_TRUE(files.recordAt(QStringLiteral("/r2/other.txt")));
}

TEST_F(FileRecordsTest, DeletionsByPathFolderAndRootTakeThePassagesAlong)
{
    upsert({file(QStringLiteral("/home/a/Docs/x.pdf"), 1, 1), file(QStringLiteral("/home/a/Docs/sub/y.pdf"), 1, 1),
            file(QStringLiteral("/home/a/Docs2/z.pdf"), 1, 1), file(QStringLiteral("/home/a/w.pdf"), 1, 1)},
           1, QStringLiteral("/home/a"));
    upsert({file(QStringLiteral("/other/v.pdf"), 1, 1)}, 1, QStringLiteral("/other"));
    const qint64 x = idOf(QStringLiteral("/home/a/Docs/x.pdf"));

    EXPECT_EQ(files.deleteFolder(QStringLiteral("/home/a/Docs")), 2);
    EXPECT_FALSE(files.recordAt(QStringLiteral("/home/a/Docs/sub/y.pdf")));
    EXPECT_TRUE(files.recordAt(QStringLiteral("/home/a/Docs2/z.pdf"))) << "a sibling with a longer name is not inside";
    EXPECT_EQ(passageCount(x), 0);

    files.deletePaths({QStringLiteral("/nowhere"), QStringLiteral("/home/a/w.pdf")});
    EXPECT_FALSE(files.recordAt(QStringLiteral("/home/a/w.pdf")));

    files.deleteRoot(QStringLiteral("/home/a"));
    EXPECT_EQ(rowCount(QStringLiteral("files")), 1);
    EXPECT_EQ(rowCount(QStringLiteral("passages")), 1);
}

TEST_F(FileRecordsTest, ListSortsPagesAndCountsUnderTheFilter)
{
    FileRecord c = file(QStringLiteral("/r/c.zip"), 100, 20, FileKind::archive);
    c.added = 40; // downloaded recently, modified long ago
    upsert({file(QStringLiteral("/r/b.png"), 300, 10, FileKind::image), file(QStringLiteral("/r/A.pdf"), 200, 30), c,
            file(QStringLiteral("/r/d.txt"), 50, 0)});

    const struct
    {
        FileSort sort;
        int limit, offset;
        QStringList names;
    } cases[] = {
        {FileSort::recent, 10, 0, {"c.zip", "A.pdf", "b.png", "d.txt"}},
        {FileSort::name, 10, 0, {"A.pdf", "b.png", "c.zip", "d.txt"}},
        {FileSort::size, 2, 1, {"A.pdf", "c.zip"}},
        {FileSort::kind, 10, 0, {"c.zip", "A.pdf", "d.txt", "b.png"}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(names(files.list(FileFilter(), c.sort, c.limit, c.offset)), c.names) << fileSortRawValue(c.sort).toStdString();

    FileFilter documents;
    documents.kinds = {FileKind::document};
    EXPECT_EQ(files.count(documents).count, 2);
    EXPECT_EQ(files.count(documents).bytes, 250);
    FileFilter none;
    none.minSize = 10000;
    EXPECT_EQ(files.count(none).count, 0);
    EXPECT_EQ(files.count(none).bytes, 0);
}
