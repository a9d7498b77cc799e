// The store's maintenance and query statements, on a real library file.
#include "search/SearchQuery.h"
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestEnvironment.h"

#include <QUrl>

#include <gtest/gtest.h>

namespace {

FileRecord makeRecord(const QString &path, FileKind kind, qint64 size, double modified = 1000)
{
    return RecordFixtures::file(path, size, modified, kind);
}

class IndexQueriesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static int serial = 0;
        const QString folder = TestEnvironment::makeFolder(QStringLiteral("queries-%1").arg(++serial));
        store = IndexStore::open(QUrl::fromLocalFile(folder + QStringLiteral("/Library.sqlite")));
    }

    qint64 idOf(const QString &path)
    {
        return store->db().scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue().value_or(0);
    }
    qint64 passageRows(qint64 id)
    {
        return store->db()
            .scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_type = 'file' AND owner_id = ?"),
                    {QString::number(id)})
            .intValue()
            .value_or(-1);
    }
    qint64 fileRows() { return store->db().scalar(QStringLiteral("SELECT COUNT(*) FROM files")).intValue().value_or(-1); }

    std::unique_ptr<IndexStore> store;
};

TEST_F(IndexQueriesTest, ReconcileRemovesOnlyUnseenRowsOfItsRootWithTheirPassages)
{
    store->upsert({makeRecord("/r1/keep.txt", FileKind::document, 1), makeRecord("/r1/gone.txt", FileKind::document, 2)},
                  "/r1", 100);
    store->upsert({makeRecord("/r2/other.txt", FileKind::document, 3)}, "/r2", 100);
    const qint64 gone = idOf("/r1/gone.txt");
    ASSERT_EQ(passageRows(gone), 1);

    // The second walk of /r1 sees only keep.txt.
    store->upsert({makeRecord("/r1/keep.txt", FileKind::document, 1)}, "/r1", 200);
    EXPECT_EQ(store->reconcile("/r1", 200), 1);
    EXPECT_EQ(idOf("/r1/gone.txt"), 0);
    EXPECT_EQ(passageRows(gone), 0);
    EXPECT_NE(idOf("/r1/keep.txt"), 0);
    EXPECT_NE(idOf("/r2/other.txt"), 0);
    // A file seen through another root has left the first root's reconcile.
    store->upsert({makeRecord("/r2/other.txt", FileKind::document, 3)}, "/r1", 300);
    EXPECT_EQ(store->reconcile("/r2", 1000), 0);
    EXPECT_NE(idOf("/r2/other.txt"), 0);
}

TEST_F(IndexQueriesTest, DeletionsByPathFolderAndRoot)
{
    store->upsert({makeRecord("/home/a/Docs/x.pdf", FileKind::document, 1),
                   makeRecord("/home/a/Docs/sub/y.pdf", FileKind::document, 1),
                   makeRecord("/home/a/Docs2/z.pdf", FileKind::document, 1),
                   makeRecord("/home/a/w.pdf", FileKind::document, 1)},
                  "/home/a", 1);
    store->upsert({makeRecord("/other/v.pdf", FileKind::document, 1)}, "/other", 1);
    const qint64 x = idOf("/home/a/Docs/x.pdf");

    store->deleteFolder("/home/a/Docs");
    EXPECT_EQ(idOf("/home/a/Docs/x.pdf"), 0);
    EXPECT_EQ(idOf("/home/a/Docs/sub/y.pdf"), 0);
    EXPECT_NE(idOf("/home/a/Docs2/z.pdf"), 0) << "a sibling with a longer name is not inside the folder";
    EXPECT_EQ(passageRows(x), 0);

    store->deletePaths({"/nowhere", "/home/a/w.pdf"});
    EXPECT_EQ(idOf("/home/a/w.pdf"), 0);

    store->deleteRoot("/home/a");
    EXPECT_EQ(fileRows(), 1);
    EXPECT_NE(idOf("/other/v.pdf"), 0);
    EXPECT_EQ(store->db().scalar(QStringLiteral("SELECT COUNT(*) FROM passages")).intValue(), 1);
}

TEST_F(IndexQueriesTest, LightUpdateKeepsLastUsedDateWhenTheNewReadingHasNone)
{
    FileRecord record = makeRecord("/r/a.txt", FileKind::document, 5);
    record.opened = 500;
    store->upsert({record}, "/r", 1);
    record.opened.reset();
    store->upsert({record}, "/r", 2);
    EXPECT_EQ(store->record(idOf("/r/a.txt"))->opened, 500);
    record.opened = 700;
    store->upsert({record}, "/r", 3);
    EXPECT_EQ(store->record(idOf("/r/a.txt"))->opened, 700);
}

TEST_F(IndexQueriesTest, UnchangedFilesFollowTheUpsertRule)
{
    store->upsert({makeRecord("/r/same", FileKind::other, 10, 50), makeRecord("/r/grown", FileKind::other, 10, 50),
                   makeRecord("/r/touched", FileKind::other, 10, 50)},
                  "/r", 1);
    const QHash<QString, FileKind> unchanged = store->unchangedKinds(
        {makeRecord("/r/same", FileKind::other, 10, 50.0005), makeRecord("/r/grown", FileKind::other, 11, 50),
         makeRecord("/r/touched", FileKind::other, 10, 51), makeRecord("/r/new", FileKind::other, 10, 50)});
    EXPECT_EQ(unchanged, (QHash<QString, FileKind>{{"/r/same", FileKind::other}}));
}


// A scan looks a batch up, reads content, then upserts it; the upsert reuses
// that lookup only while nothing has been written in between.
TEST_F(IndexQueriesTest, UpsertAfterALookupSeesWritesMadeInBetween)
{
    const QList<FileRecord> batch{makeRecord("/r/kept", FileKind::other, 10, 50),
                                  makeRecord("/r/gone", FileKind::other, 10, 50)};
    store->upsert(batch, "/r", 1);
    ASSERT_EQ(store->unchangedKinds(batch).size(), 2);
    store->deletePaths({"/r/gone"});
    store->upsert(batch, "/r", 2);
    EXPECT_EQ(fileRows(), 2);
    EXPECT_EQ(passageRows(idOf("/r/gone")), 1);

    ASSERT_EQ(store->unchangedKinds(batch).size(), 2);
    store->upsert(batch, "/r", 3); // nothing in between: the lookup serves
    store->reconcile("/r", 3);
    EXPECT_EQ(fileRows(), 2);
}
TEST_F(IndexQueriesTest, APathTwiceInOneBatchSeesItsFirstRow)
{
    store->upsert({makeRecord("/r/twice.txt", FileKind::document, 1), makeRecord("/r/twice.txt", FileKind::document, 2),
                   makeRecord("/r/twice.txt", FileKind::document, 2)},
                  "/r", 1);
    EXPECT_EQ(fileRows(), 1);
    EXPECT_EQ(store->record(idOf("/r/twice.txt"))->size, 2);
    EXPECT_EQ(passageRows(idOf("/r/twice.txt")), 1);
}

TEST(Passages, BoundariesAndNormalisation)
{
    EXPECT_TRUE(passages("  \n\n \t ").isEmpty());
    EXPECT_EQ(passages(QString(900, u'a')).size(), 1);
    EXPECT_EQ(passages(QString(901, u'a')).size(), 2);
    EXPECT_EQ(passages("  one   two \n\n\n\nthree\n"), QStringList{"one two\n\nthree"});
    EXPECT_EQ(passages("\n\nstart"), QStringList{"start"});

    // No space anywhere: cut at exactly 900, and the next starts 120 back.
    const QString run = QString(2000, u'x');
    const QStringList runPieces = passages(run);
    ASSERT_GE(runPieces.size(), 2);
    EXPECT_EQ(runPieces.at(0).size(), 900);
    EXPECT_EQ(runPieces.at(1).size(), 900);
    EXPECT_EQ(runPieces.size(), 3);
    EXPECT_EQ(runPieces.at(2).size(), 2000 - 2 * 780);
}

TEST(Passages, BreakAtParagraphsSentencesAndWords)
{
    // Words of five letters: every passage begins at a word and neighbours
    // overlap by at most 120 characters.
    QStringList words;
    for (int i = 0; i < 1000; ++i)
        words.append(QStringLiteral("w%1").arg(i % 1000, 4, 10, QChar(u'0')));
    const QString text = words.join(u' ');
    const QStringList pieces = passages(text);
    ASSERT_GT(pieces.size(), 5);
    qsizetype searchFrom = 0;
    qsizetype previousEnd = 0;
    for (const QString &piece : pieces) {
        EXPECT_LE(piece.size(), 900);
        EXPECT_TRUE(piece.startsWith(u'w')) << piece.left(10).toStdString();
        const qsizetype at = text.indexOf(piece, searchFrom);
        ASSERT_GE(at, 0);
        if (at > 0) {
            EXPECT_EQ(text.at(at - 1), u' ') << "begins in the middle of a word";
        }
        EXPECT_LE(previousEnd - at, 120);
        previousEnd = at + piece.size();
        searchFrom = at + 1;
    }
    EXPECT_EQ(previousEnd, text.size());

    // A paragraph break in the second half wins over a later sentence end.
    const QString paragraphs = QString(600, u'a') + "\n\n" + QString(200, u'b') + ". " + QString(300, u'c');
    EXPECT_EQ(passages(paragraphs).first(), QString(600, u'a'));
    const QString sentences = QString(500, u'a') + ". " + QString(200, u'b') + " " + QString(400, u'c');
    EXPECT_EQ(passages(sentences).first(), QString(500, u'a') + u'.');
    // A break in the first half doesn't count.
    const QString early = QString(100, u'a') + ". " + QString(1000, u'b');
    EXPECT_EQ(passages(early).first().size(), 900);
}

TEST_F(IndexQueriesTest, SetTextStoresPassagesExcerptStateAndPages)
{
    FileRecord record = makeRecord("/r/Report.pdf", FileKind::document, 9);
    record.pages = 4;
    store->upsert({record}, "/r", 1);
    record.id = idOf("/r/Report.pdf");

    store->setText(record, "   \n  ");
    auto stored = store->record(record.id);
    EXPECT_EQ(store->db().scalar("SELECT text_state FROM files WHERE id = ?", {record.id}).intValue(), 2);
    EXPECT_FALSE(stored->textExcerpt);
    EXPECT_EQ(stored->pages, 4);
    EXPECT_EQ(passageRows(record.id), 1);

    const QString longText = QString("lease ").repeated(400);
    store->setText(record, longText, 12);
    stored = store->record(record.id);
    EXPECT_EQ(store->db().scalar("SELECT text_state FROM files WHERE id = ?", {record.id}).intValue(), 1);
    EXPECT_EQ(stored->textExcerpt->size(), 600);
    EXPECT_EQ(stored->pages, 12);
    EXPECT_EQ(passageRows(record.id), qint64(passages(longText).size()));
    EXPECT_GT(passageRows(record.id), 1);
    EXPECT_EQ(store->db().scalar("SELECT title FROM passages WHERE owner_id = ? AND ord = 0", {QString::number(record.id)})
                  .textValue(),
              IndexStore::title(record));
}

TEST_F(IndexQueriesTest, TextQueueOrderAndCount)
{
    FileRecord shot = makeRecord("/r/shot.png", FileKind::image, 1, 10);
    shot.isScreenshot = true;
    store->upsert({makeRecord("/r/old.png", FileKind::image, 1, 50), shot,
                   makeRecord("/r/old.pdf", FileKind::document, 1, 5), makeRecord("/r/new.pdf", FileKind::document, 1, 9),
                   makeRecord("/r/song.mp3", FileKind::audio, 1, 99)},
                  "/r", 1);
    QStringList order;
    for (const FileRecord &r : store->textQueue(10))
        order.append(r.name);
    EXPECT_EQ(order, (QStringList{"new.pdf", "old.pdf", "shot.png", "old.png"}));
    EXPECT_EQ(store->textQueue(2).size(), 2);
    EXPECT_EQ(store->textQueueCount(), 4);
}

TEST_F(IndexQueriesTest, SearchPassagesDeduplicatesAndExcludes)
{
    store->db().transaction([&] {
        store->setPassages("note", "m1", "Budget meeting", {"the budget grew", "budget again"});
        store->setPassages("transcript", "m1", "", {"we discussed the budget"});
        store->setPassages("note", "m2", "Other", {"budget of m2"});
    });
    // A duplicate row of one owner and ord, as a half-finished rewrite could leave.
    store->db().run("INSERT INTO passages(title, body, owner_type, owner_id, ord) VALUES('', 'budget budget', 'note', 'm1', 1)");

    const auto hits = store->searchPassages("budget", {"transcript", "note"}, std::nullopt, 10);
    QSet<QString> keys;
    for (const PassageHit &hit : hits)
        keys.insert(hit.ownerType + '/' + hit.ownerID + '/' + QString::number(hit.ord));
    EXPECT_EQ(keys.size(), hits.size());
    EXPECT_EQ(hits.size(), 4);
    EXPECT_TRUE(hits.first().snippet.contains(QStringLiteral("⟦")));
    for (qsizetype i = 1; i < hits.size(); ++i)
        EXPECT_LE(hits.at(i - 1).score, hits.at(i).score);

    EXPECT_EQ(store->searchPassages("budget", {"note", "transcript"}, std::nullopt, 2).size(), 2);
    for (const PassageHit &hit : store->searchPassages("budget", {"note"}, QString("m1"), 10))
        EXPECT_EQ(hit.ownerID, "m2");
}

TEST_F(IndexQueriesTest, SearchFilesOneHitPerFileUnderTheFilter)
{
    store->upsert({makeRecord("/r/lease.pdf", FileKind::document, 100), makeRecord("/r/notes.txt", FileKind::document, 5),
                   makeRecord("/r/lease.png", FileKind::image, 7)},
                  "/r", 1);
    FileRecord pdf = *store->record(idOf("/r/lease.pdf"));
    store->setText(pdf, QString("the lease runs two years. ").repeated(100));

    const auto hits = store->searchFiles("lease", FileFilter(), 10);
    QSet<qint64> ids;
    for (const FileHit &hit : hits)
        ids.insert(hit.file.id);
    EXPECT_EQ(ids.size(), hits.size());
    EXPECT_EQ(hits.size(), 2);
    for (const FileHit &hit : hits) {
        EXPECT_GT(hit.score, 0);
        EXPECT_FALSE(hit.reason);
    }
    // The title row matches best but has an empty body; the snippet comes
    // from a later body row of the same file.
    for (const FileHit &hit : hits) {
        if (hit.file.name == "lease.pdf") {
            EXPECT_TRUE(hit.snippet && hit.snippet->contains(QStringLiteral("⟦lease⟧")));
        } else {
            EXPECT_FALSE(hit.snippet);
        }
    }

    FileFilter images;
    images.kinds = {FileKind::image};
    const auto imageHits = store->searchFiles("lease", images, 10);
    ASSERT_EQ(imageHits.size(), 1);
    EXPECT_EQ(imageHits.first().file.name, "lease.png");
    EXPECT_EQ(store->searchFiles("lease", FileFilter(), 1).size(), 1);
}

TEST_F(IndexQueriesTest, SearchFilesLeavesMeetingsOutAndOrdersEqualScoresByFile)
{
    // Three names alike but for their folder: equal scores.
    store->upsert({makeRecord("/r/c/lease.txt", FileKind::document, 1), makeRecord("/r/a/lease.txt", FileKind::document, 1),
                   makeRecord("/r/b/lease.txt", FileKind::document, 1)},
                  "/r", 1);
    const QList<qint64> ids{idOf("/r/c/lease.txt"), idOf("/r/a/lease.txt"), idOf("/r/b/lease.txt")};
    // A meeting's note that matches better, under an owner id that reads as a file id.
    store->db().transaction(
        [&] { store->setPassages("note", QString::number(ids.first()), "lease", {"lease lease lease"}); });

    const auto hits = store->searchFiles("lease", FileFilter(), 10);
    ASSERT_EQ(hits.size(), 3);
    for (qsizetype i = 0; i < hits.size(); ++i) {
        EXPECT_EQ(hits.at(i).file.id, ids.at(i));
        EXPECT_EQ(hits.at(i).file.path, QStringList({"/r/c/lease.txt", "/r/a/lease.txt", "/r/b/lease.txt"}).at(i));
        EXPECT_EQ(hits.at(i).score, hits.first().score);
        EXPECT_FALSE(hits.at(i).snippet);
    }
    const auto first = store->searchFiles("lease", FileFilter(), 2);
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first.at(1).file.id, ids.at(1));
}

TEST_F(IndexQueriesTest, SearchFilesPassesOverPassagesOfAFileThatIsGone)
{
    store->upsert({makeRecord("/r/lease-a.txt", FileKind::document, 1), makeRecord("/r/lease-b.txt", FileKind::document, 1),
                   makeRecord("/r/notes.txt", FileKind::document, 1)},
                  "/r", 1);
    store->setText(*store->record(idOf("/r/notes.txt")), "the lease, the lease");
    // Passages stored for a file whose row was deleted meanwhile; they match best.
    store->db().transaction([&] { store->setPassages("file", "999", "lease lease", {"lease lease lease lease"}); });

    FileFilter documents;
    documents.kinds = {FileKind::document};
    for (int limit : {1, 2, 10}) {
        const auto hits = store->searchFiles("lease", FileFilter(), limit);
        ASSERT_EQ(hits.size(), std::min(limit, 3));
        for (const FileHit &hit : hits)
            EXPECT_NE(hit.file.id, 999);
        // The same with a filter that every file passes.
        EXPECT_EQ(store->searchFiles("lease", documents, limit), hits);
    }
}

TEST_F(IndexQueriesTest, ListCountAndStatistics)
{
    FileRecord a = makeRecord("/r/b.png", FileKind::image, 300, 10);
    a.sourceID = "gmail";
    FileRecord b = makeRecord("/r/A.pdf", FileKind::document, 200, 30);
    b.sourceID = "gmail";
    FileRecord c = makeRecord("/r/c.zip", FileKind::archive, 100, 20);
    c.sourceID = "web:files.example";
    c.added = 40; // downloaded recently, modified long ago
    store->upsert({a, b, c, makeRecord("/r/d.txt", FileKind::document, 50, 0)}, "/r", 1);

    const auto names = [](const QList<FileRecord> &records) {
        QStringList list;
        for (const FileRecord &r : records)
            list.append(r.name);
        return list;
    };
    EXPECT_EQ(names(store->list(FileFilter(), FileSort::recent, 10)), (QStringList{"c.zip", "A.pdf", "b.png", "d.txt"}));
    EXPECT_EQ(names(store->list(FileFilter(), FileSort::name, 10)), (QStringList{"A.pdf", "b.png", "c.zip", "d.txt"}));
    EXPECT_EQ(names(store->list(FileFilter(), FileSort::size, 2, 1)), (QStringList{"A.pdf", "c.zip"}));
    EXPECT_EQ(names(store->list(FileFilter(), FileSort::kind, 10)), (QStringList{"c.zip", "A.pdf", "d.txt", "b.png"}));

    FileFilter documents;
    documents.kinds = {FileKind::document};
    const auto total = store->count(documents);
    EXPECT_EQ(total.count, 2);
    EXPECT_EQ(total.bytes, 250);
    FileFilter none;
    none.minSize = 10000;
    EXPECT_EQ(store->count(none).count, 0);
    EXPECT_EQ(store->count(none).bytes, 0);

    store->db().run("INSERT INTO files(path, root, name, ext, kind, size) VALUES('/r/odd', '/r', 'odd', '', 'gadget', 1)");
    QHash<FileKind, KindStat> byKind;
    for (const KindStat &stat : store->kindStats())
        byKind.insert(stat.kind, stat);
    EXPECT_EQ(byKind.size(), 3) << "the unknown kind is dropped";
    EXPECT_EQ(byKind.value(FileKind::document), (KindStat{FileKind::document, 2, 250}));

    const auto sources = store->sourceStats();
    ASSERT_EQ(sources.size(), 2);
    EXPECT_EQ(sources.at(0), (SourceStat{DownloadSource{"gmail"}, 2, 500}));
    EXPECT_EQ(sources.at(1), (SourceStat{DownloadSource{"web:files.example"}, 1, 100}));
}

TEST_F(IndexQueriesTest, DuplicateCleanupAndFeaturePrintCandidates)
{
    FileRecord app1 = makeRecord("/r/One.AppImage", FileKind::app, 5000);
    FileRecord app2 = makeRecord("/r/Two.AppImage", FileKind::app, 5000);
    FileRecord shot = makeRecord("/r/Screenshot 1.png", FileKind::image, 10);
    shot.isScreenshot = true;
    store->upsert({makeRecord("/r/b.jpg", FileKind::image, 4000), makeRecord("/r/a.jpg", FileKind::image, 4000),
                   makeRecord("/r/x.bin", FileKind::other, 9000), makeRecord("/r/y.bin", FileKind::other, 9000),
                   makeRecord("/r/z.bin", FileKind::other, 9000), makeRecord("/r/small1", FileKind::other, 10),
                   makeRecord("/r/small2", FileKind::other, 10), app1, app2, shot,
                   makeRecord("/r/tool.deb", FileKind::archive, 1), makeRecord("/r/tool.rpm", FileKind::archive, 1),
                   makeRecord("/r/app.flatpakref", FileKind::other, 1), makeRecord("/r/app.snap", FileKind::other, 1),
                   makeRecord("/r/Mac.dmg", FileKind::archive, 1), makeRecord("/r/movie.mkv", FileKind::video, 500000000),
                   makeRecord("/r/clip.mkv", FileKind::video, 499999999),
                   makeRecord("/home/a/Downloads/any.txt", FileKind::document, 1),
                   makeRecord("/home/a/Downloads2/x.txt", FileKind::document, 1)},
                  "/r", 1);

    const auto groups = store->sizeDuplicateCandidates(100);
    ASSERT_EQ(groups.size(), 2) << "applications never make a group; small files are below the minimum";
    EXPECT_EQ(groups.at(0).size(), 3);
    EXPECT_EQ(groups.at(0).first().size, 9000);
    EXPECT_EQ(groups.at(1).first().name, "a.jpg");
    EXPECT_EQ(groups.at(1).last().name, "b.jpg");

    for (const QString &downloads : {QStringLiteral("/home/a/Downloads"), QStringLiteral("/home/a/Downloads/")}) {
        QStringList names;
        for (const FileRecord &r : store->cleanupCandidates(downloads))
            names.append(r.name);
        names.sort();
        EXPECT_EQ(names, (QStringList{"Mac.dmg", "One.AppImage", "Screenshot 1.png", "Two.AppImage", "any.txt",
                                      "app.flatpakref", "app.snap", "movie.mkv", "tool.deb", "tool.rpm"}));
    }

    QList<qint64> ids;
    for (const auto &group : groups)
        for (const FileRecord &r : group)
            ids.append(r.id);
    for (int i = 0; i < 1200; ++i)
        ids.append(100000 + i); // unknown ids spread the lookup over three slices
    store->db().run("UPDATE files SET feature_print = ? WHERE id = ?", {QByteArray("\x01\x02\x03", 3), ids.first()});
    store->db().run("UPDATE files SET feature_print = ? WHERE id = ?", {QByteArray(), ids.at(1)});
    const auto prints = store->featurePrints(ids);
    EXPECT_EQ(prints.size(), 2);
    EXPECT_EQ(prints.value(ids.first()), QByteArray("\x01\x02\x03", 3));
    EXPECT_TRUE(prints.contains(ids.at(1)));
    EXPECT_TRUE(store->featurePrints({}).isEmpty());
}

} // namespace
