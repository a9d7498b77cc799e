// The files table: the upsert rule, removal and listing.
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using RecordFixtures::file;

class FileRecordsTest : public ::testing::Test, protected TestLibrary
{
protected:
    FileRecords files = store.files();

    void upsert(const QList<FileRecord> &records, double seenAt = 1.0, const QString &root = u"/r"_s)
    {
        files.upsert(records, root, seenAt);
    }
    // What extraction and the tidy-up leave behind on a file.
    void giveDerivedData(qint64 id)
    {
        store.tidy().setDigest(id, u"abc"_s);
        store.tidy().setFeaturePrint(id, QByteArray("\x01\x02", 2));
        store.textQueue().setText(*files.record(id), {u"hello"_s, u"two"_s});
    }
    bool has(const QString &path) const { return files.recordAt(path).has_value(); }
    std::pair<qint64, qint64> fileAndPassageRows() const { return {rowCount(u"files"_s), rowCount(u"passages"_s)}; }
    QList<SQLValue> columns(const QString &path, const QString &names) const
    {
        return db->query(u"SELECT "_s + names + u" FROM files WHERE path = ?"_s, {path}).value(0).values();
    }
};

} // namespace

TEST_F(FileRecordsTest, InsertStoresEveryFieldAndReadsItBackWithATextStateByKind)
{
    FileRecord r{.path = u"/home/a/Pictures/Trip/IMG_1.heic"_s, .name = u"IMG_1.heic"_s, .ext = u"heic"_s,
                 .uti = u"image/heif"_s, .kind = FileKind::image, .size = 2048, .created = 1600000000.0,
                 .modified = 1700000000.25, .added = 1650000000.5, .opened = 1710000000.0,
                 .sourceID = u"web:photos.example"_s, .sourceURL = u"https://photos.example/1"_s,
                 .isScreenshot = true, .width = 4032, .height = 3024};
    upsert({r}, 10.0, u"/home/a/Pictures"_s);
    r.id = idOf(r.path);
    EXPECT_EQ(files.record(r.id), r);
    EXPECT_EQ(files.recordAt(r.path), r);
    EXPECT_EQ(files.records({r.id, 999}), (QHash<qint64, FileRecord>{{r.id, r}}));
    EXPECT_FALSE(has(u"/home/a/Pictures/Trip"_s));
    EXPECT_EQ(row(r.id).string(u"root"_s), "/home/a/Pictures");
    EXPECT_EQ(passageCount(r.id), 1) << "a title row makes it findable by name";
    // Documents and images wait for their text; other kinds have none to wait for.
    for (FileKind kind : allFileKinds()) {
        const QString path = u"/r/"_s + fileKindRawValue(kind);
        upsert({file(path, 1, 1.0, kind)});
        const int state = kind == FileKind::image || kind == FileKind::document ? 0 : 2;
        EXPECT_EQ(row(idOf(path)).integer(u"text_state"_s), state) << qPrintable(path);
    }
}

TEST_F(FileRecordsTest, AnUnchangedFileGetsTheLightUpdateAndKeepsItsDerivedData)
{
    FileRecord r = file(u"/r/a.pdf"_s, 100, 1000.0);
    r.sourceID = u"gmail"_s;
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
    EXPECT_EQ(files.unchangedKinds({again, file(u"/r/new"_s, 1, 1.0)}),
              (QHash<QString, FileKind>{{r.path, FileKind::document}}));
    upsert({again}, 2.0, u"/r2"_s);

    // A source not found again is kept, and so is the last-used date when none was read.
    EXPECT_EQ(columns(r.path, u"sha256, text_state, text_excerpt, source, opened, added, seen_at, root, width"_s),
              (QList<SQLValue>{"abc", 1, "hello", "gmail", 5.0, 7.0, 2.0, "/r2", SQLValue()}));
    EXPECT_EQ(passageCount(id), 2);

    again.sourceID = u"slack"_s;
    again.opened = 9.0;
    upsert({again}, 3.0);
    EXPECT_EQ(columns(r.path, u"source, opened"_s), (QList<SQLValue>{"slack", 9.0})) << "a new source replaces it";
}

TEST_F(FileRecordsTest, AChangedFileLosesItsDerivedDataAndWaitsForTextAgain)
{
    // Size, a modification time off by two milliseconds, a date that went
    // away; a file that never had a date stays unchanged while its size holds.
    using Date = std::optional<double>;
    const std::tuple<qint64, Date, Date, bool> cases[] = {
        {101, 1000.0, 1000.0, true}, {100, 1000.0, 1000.002, true}, {100, 1000.0, {}, true}, {100, {}, {}, false}};
    for (const auto &[size, from, to, changed] : cases) {
        FileRecord r = file(u"/r/b.txt"_s, 100, from);
        upsert({r});
        const qint64 id = idOf(r.path);
        giveDerivedData(id);
        r.size = size;
        r.modified = to;
        upsert({r}, 2.0);
        EXPECT_EQ(columns(r.path, u"sha256 IS NULL, feature_print IS NULL, text_excerpt IS NULL, text_state"_s),
                  (QList<SQLValue>{changed, changed, changed, changed ? 0 : 1}));
        EXPECT_EQ(passageCount(id), changed ? 1 : 2) << "passages shrink to the title row";
        files.deletePaths({r.path});
    }
}

TEST_F(FileRecordsTest, ABatchKeepsAPathsLastRecordSeesDeletionsSinceItsLookupAndFailsWhole)
{
    upsert({file(u"/r/dup"_s, 1, 1.0), file(u"/r/dup"_s, 2, 2.0), file(u"/r/dup"_s, 2, 2.0)});
    EXPECT_EQ(fileAndPassageRows(), std::pair(1ll, 1ll));
    EXPECT_EQ(files.recordAt(u"/r/dup"_s)->size, 2);

    // A scan looks a batch up, reads content, then upserts it; the upsert
    // looks again, so a file deleted in between comes back.
    const QList<FileRecord> batch{file(u"/r/kept"_s, 10, 50), file(u"/r/gone"_s, 10, 50)};
    upsert(batch);
    ASSERT_EQ(files.unchangedKinds(batch).size(), 2);
    files.deletePaths({u"/r/gone"_s});
    upsert(batch, 2.0);
    EXPECT_EQ(fileAndPassageRows(), std::pair(3ll, 3ll));

    // A trigger makes the third insert of a batch fail.
    db->execute(u"CREATE TRIGGER refuse BEFORE INSERT ON files WHEN NEW.name = 'bad' "
                "BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
    EXPECT_THROW(upsert({file(u"/r/x"_s, 1, 1.0), file(u"/r/kept"_s, 5, 9.0), file(u"/r/bad"_s, 1, 1.0)}, 3.0),
                 SQLiteError);
    EXPECT_EQ(fileAndPassageRows(), std::pair(3ll, 3ll));
    EXPECT_EQ(columns(u"/r/kept"_s, u"size, seen_at"_s), (QList<SQLValue>{10, 2.0}));
}

TEST(FileRecordsTitle, NameSpacedNameAndTwoParentFolders)
{
    const std::pair<const char *, const char *> cases[] = {
        {"/Users/a/Work/Invoices/ACMEInvoice2024.pdf", "ACMEInvoice2024.pdf ACMEInvoice 2024 Work Invoices"},
        {"/home/a/Notes/myFirstNote.txt", "myFirstNote.txt my First Note a Notes"},
        {"/home/a/Makefile", "Makefile Makefile home a"},
        {"/top.txt", "top.txt top"},
        {"/x/IMG2024x.jpg", "IMG2024x.jpg IMG 2024x x"},
        {"/x/y/Ünïcode9é.txt", "Ünïcode9é.txt Ünïcode 9é x y"},
    };
    for (const auto &[path, title] : cases)
        EXPECT_EQ(FileRecords::title(file(path, 1, 1)), title) << path;
}

TEST_F(FileRecordsTest, ReconcileAndDeletionsRemoveOnlyTheirRowsAndTakeThePassagesAlong)
{
    QList<FileRecord> walk{file(u"/home/a/Docs/x.pdf"_s, 1, 1), file(u"/home/a/Docs/sub/y.pdf"_s, 1, 1),
                           file(u"/home/a/Docs2/z.pdf"_s, 1, 1), file(u"/home/a/w.pdf"_s, 1, 1),
                           file(u"/home/a/gone.txt"_s, 1, 1)};
    upsert(walk, 100, u"/home/a"_s);
    upsert({file(u"/other/v.pdf"_s, 1, 1)}, 100, u"/other"_s);
    const qint64 gone = idOf(u"/home/a/gone.txt"_s), x = idOf(u"/home/a/Docs/x.pdf"_s);

    // The second walk of /home/a misses gone.txt and sees v.pdf, which so
    // leaves the reconcile of /other.
    walk.last() = file(u"/other/v.pdf"_s, 1, 1);
    upsert(walk, 200, u"/home/a"_s);
    EXPECT_EQ(files.reconcile(u"/home/a"_s, 200), 1);
    EXPECT_FALSE(has(u"/home/a/gone.txt"_s));
    EXPECT_EQ(passageCount(gone), 0);
    EXPECT_EQ(files.reconcile(u"/other"_s, 1000), 0);

    EXPECT_EQ(files.deleteFolder(u"/home/a/Docs"_s), 2);
    EXPECT_TRUE(has(u"/home/a/Docs2/z.pdf"_s)) << "a sibling with a longer name is not inside";
    EXPECT_EQ(passageCount(x), 0);
    files.deletePaths({u"/nowhere"_s, u"/home/a/w.pdf"_s});
    EXPECT_FALSE(has(u"/home/a/w.pdf"_s));
    upsert({file(u"/other/u.pdf"_s, 1, 1)}, 300, u"/other"_s);
    files.deleteRoot(u"/home/a"_s);
    EXPECT_EQ(fileAndPassageRows(), std::pair(1ll, 1ll)) << "v.pdf went with the root that saw it last, u.pdf stays";
}

TEST_F(FileRecordsTest, AFolderHoldsTheFilesStoredBelowItAndNoSiblingsOnes)
{
    upsert({file(u"/home/a/Docs2/z.pdf"_s, 1, 1), file(u"/home/a/Docs/sub/y.pdf"_s, 1, 1)});
    const std::pair<QString, bool> cases[] = {
        {u"/home/a/Docs"_s, true}, {u"/home/a/Docs/"_s, true},  {u"/home/a"_s, true},       {u"/"_s, true},
        {u"/home/a/Doc"_s, false}, {u"/home/a/Docs/sub/y.pdf/x"_s, false}, {u"/home/b"_s, false},
    };
    for (const auto &[folder, holds] : cases)
        EXPECT_EQ(files.holdsFilesUnder(folder), holds) << folder.toStdString();
    files.deleteFolder(u"/home/a/Docs"_s);
    EXPECT_FALSE(files.holdsFilesUnder(u"/home/a/Docs"_s));
}

TEST_F(FileRecordsTest, ListSortsPagesAndCountsUnderTheFilter)
{
    FileRecord c = file(u"/r/c.zip"_s, 100, 20, FileKind::archive);
    c.added = 40; // downloaded recently, modified long ago
    upsert({file(u"/r/b.png"_s, 300, 10, FileKind::image), file(u"/r/A.pdf"_s, 200, 30), c, file(u"/r/d.txt"_s, 50, 0)});

    const std::tuple<FileSort, int, int, QStringList> cases[] = {
        {FileSort::recent, 10, 0, {"c.zip", "A.pdf", "b.png", "d.txt"}},
        {FileSort::name, 10, 0, {"A.pdf", "b.png", "c.zip", "d.txt"}},
        {FileSort::size, 2, 1, {"A.pdf", "c.zip"}},
        {FileSort::kind, 10, 0, {"c.zip", "A.pdf", "d.txt", "b.png"}},
    };
    for (const auto &[sort, limit, offset, expected] : cases) {
        QStringList names;
        for (const FileRecord &r : files.list(FileFilter(), sort, limit, offset))
            names.append(r.name);
        EXPECT_EQ(names, expected) << qPrintable(fileSortRawValue(sort));
    }
    const auto total = [&](const FileFilter &filter) {
        const FileRecords::Total t = files.count(filter);
        return std::pair(t.count, t.bytes);
    };
    EXPECT_EQ(total({.kinds = {FileKind::document}}), std::pair(2ll, 250ll));
    EXPECT_EQ(total({.minSize = 10000}), std::pair(0ll, 0ll));
}
