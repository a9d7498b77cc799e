// The full-text table: passages in and out, and the two searches over it.
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <QSet>

#include <gtest/gtest.h>

namespace {

using RecordFixtures::file;

class PassageIndexTest : public ::testing::Test, protected TestLibrary
{
protected:
    PassageIndex passages = store.passages();

    void set(const QString &type, const QString &id, const QString &title, const QStringList &bodies)
    {
        db->transaction([&] { passages.setPassages(type, id, title, bodies); });
    }
    qint64 add(const QString &path, FileKind kind = FileKind::document)
    {
        store.files().upsert({file(path, 1, 1000, kind)}, QStringLiteral("/r"), 1);
        return idOf(path);
    }
    QList<FileHit> search(const QString &word, const FileFilter &filter = FileFilter(), int limit = 10)
    {
        return passages.searchFiles({u'"' + word + u'"', PhraseJoin::any}, filter, limit);
    }
};

} // namespace

TEST_F(PassageIndexTest, OwnersReplaceAndLeaveOnlyTheirOwnWithTheTitleOnTheFirstRow)
{
    set("file", "7", "seven", {"a", "b", "c"});
    set("file", "8", "eight", {});
    set("transcript", "m-1", "Standup", {"hello", "there"});
    set("note", "m-1", "Standup", {"notes"});
    set("note", "7", "odd", {}); // a file's number, another owner type
    EXPECT_EQ(passages.text({"file", "7"}), "a\nb\nc");
    const auto titles = db->query("SELECT title FROM passages WHERE owner_type = 'file' AND owner_id = '7' ORDER BY ord");
    ASSERT_EQ(titles.size(), 3);
    EXPECT_EQ(titles.at(0).string(0), "seven");
    EXPECT_EQ(titles.at(1).string(0), "");

    set("file", "7", "seven", {"z"});
    set("transcript", "m-1", "Standup", {"again"});
    const struct
    {
        const char *type, *id;
        qint64 count;
    } counts[] = {{"file", "7", 1}, {"file", "8", 1}, {"transcript", "m-1", 1}, {"note", "m-1", 1}, {"note", "7", 1}};
    for (const auto &c : counts)
        EXPECT_EQ(passageCount(c.type, c.id), c.count) << c.type << "/" << c.id << ": an owner without bodies keeps one row";

    passages.deletePassages({{"file", "7"}, {"note", "m-1"}});
    EXPECT_EQ(passageCount("file", "7"), 0);
    EXPECT_EQ(passageCount("note", "m-1"), 0);
    EXPECT_EQ(rowCount("passages"), 3);

    // The full-text index agrees with the stored rows.
    db->run("INSERT INTO passages(passages) VALUES('integrity-check')");
    EXPECT_EQ(db->query("SELECT owner_id FROM passages WHERE passages MATCH 'again'").size(), 1);
    EXPECT_TRUE(db->query("SELECT 1 FROM passages WHERE passages MATCH 'seven'").isEmpty());
}

TEST_F(PassageIndexTest, AFileKeepsAtMostItsPassageLimitAndNeverSpillsIntoTheNext)
{
    QStringList bodies;
    for (int i = 0; i < PassageIndex::maxPassagesPerFile + 10; ++i)
        bodies.append(QStringLiteral("p%1").arg(i));
    set("file", "3", QString(), bodies);
    set("file", "4", QString(), {});
    EXPECT_EQ(rowCount("passages"), PassageIndex::maxPassagesPerFile + 1);
}

TEST_F(PassageIndexTest, SearchPassagesDeduplicatesExcludesAndRanks)
{
    set("note", "m1", "Budget meeting", {"the budget grew", "budget again"});
    set("transcript", "m1", "", {"we discussed the budget"});
    set("note", "m2", "Other", {"budget of m2"});
    // A duplicate row of one owner and ord, as a half-finished rewrite could leave.
    db->run("INSERT INTO passages(title, body, owner_type, owner_id, ord) VALUES('', 'budget budget', 'note', 'm1', 1)");

    const auto hits = passages.searchPassages("budget", {"transcript", "note"}, std::nullopt, 10);
    QSet<QString> keys;
    for (const PassageHit &hit : hits)
        keys.insert(hit.ownerType + '/' + hit.ownerID + '/' + QString::number(hit.ord));
    EXPECT_EQ(keys.size(), 4);
    EXPECT_EQ(hits.size(), 4);
    EXPECT_TRUE(hits.first().snippet.contains(QStringLiteral("⟦")));
    for (qsizetype i = 1; i < hits.size(); ++i)
        EXPECT_LE(hits.at(i - 1).score, hits.at(i).score);

    EXPECT_EQ(passages.searchPassages("budget", {"note", "transcript"}, std::nullopt, 2).size(), 2);
    for (const PassageHit &hit : passages.searchPassages("budget", {"note"}, QString("m1"), 10))
        EXPECT_EQ(hit.ownerID, "m2");
}

TEST_F(PassageIndexTest, SearchFilesGivesOneHitAFileUnderTheFilterWithASnippetFromItsText)
{
    const qint64 pdf = add("/r/lease.pdf");
    add("/r/notes.txt");
    add("/r/lease.png", FileKind::image);
    store.textQueue().setText(*store.files().record(pdf), QStringList(3, "the lease runs two years."));

    const auto hits = search("lease");
    ASSERT_EQ(hits.size(), 2);
    for (const FileHit &hit : hits) {
        EXPECT_GT(hit.score, 0);
        // The title row matches best but has no body: the snippet comes from
        // a later row of the same file.
        if (hit.file.name == "lease.pdf")
            EXPECT_TRUE(hit.snippet && hit.snippet->contains(QStringLiteral("⟦lease⟧")));
        else
            EXPECT_FALSE(hit.snippet);
    }
    FileFilter images;
    images.kinds = {FileKind::image};
    const auto imageHits = search("lease", images);
    ASSERT_EQ(imageHits.size(), 1);
    EXPECT_EQ(imageHits.first().file.name, "lease.png");
    EXPECT_EQ(search("lease", FileFilter(), 1).size(), 1);
    // Both ways of joining phrases find the same.
    EXPECT_EQ(passages.searchFiles({"\"lease\" AND \"runs\"", PhraseJoin::all}, FileFilter(), 10).size(), 1);
}

TEST_F(PassageIndexTest, SearchFilesLeavesMeetingsOutAndOrdersEqualScoresByFile)
{
    // Three names alike but for their folder: equal scores.
    const QList<qint64> ids{add("/r/c/lease.txt"), add("/r/a/lease.txt"), add("/r/b/lease.txt")};
    // A meeting's note that matches better, under an owner id that reads as a file id.
    set("note", QString::number(ids.first()), "lease", {"lease lease lease"});

    const auto hits = search("lease");
    ASSERT_EQ(hits.size(), 3);
    for (qsizetype i = 0; i < hits.size(); ++i) {
        EXPECT_EQ(hits.at(i).file.id, ids.at(i));
        EXPECT_EQ(hits.at(i).file.path, store.files().record(ids.at(i))->path);
        EXPECT_EQ(hits.at(i).score, hits.first().score);
    }
    const auto first = search("lease", FileFilter(), 2);
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first.at(1).file.id, ids.at(1));
}

TEST_F(PassageIndexTest, SearchFilesPassesOverPassagesOfAFileThatIsGone)
{
    add("/r/lease-a.txt");
    add("/r/lease-b.txt");
    store.textQueue().setText(*store.files().record(add("/r/notes.txt")), {"the lease, the lease"});
    // Passages stored for a file whose row was deleted meanwhile; they match best.
    set("file", "999", "lease lease", {"lease lease lease lease"});

    FileFilter documents;
    documents.kinds = {FileKind::document};
    for (int limit : {1, 2, 10}) {
        const auto hits = search("lease", FileFilter(), limit);
        ASSERT_EQ(hits.size(), std::min(limit, 3));
        for (const FileHit &hit : hits)
            EXPECT_NE(hit.file.id, 999);
        EXPECT_EQ(search("lease", documents, limit), hits) << "the same with a filter every file passes";
    }
}
