// The full-text table: passages in and out, and the two searches over it.
#include "core/Tasks.h"
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <QSet>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

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
        store.files().upsert({RecordFixtures::file(path, 1, 1000, kind)}, "/r", 1);
        return idOf(path);
    }
    QList<FileHit> search(const QString &word, int limit = 10, const FileFilter &filter = {})
    {
        return passages.searchFiles({u'"' + word + u'"', PhraseJoin::any}, filter, limit);
    }
};

} // namespace

TEST_F(PassageIndexTest, OwnersReplaceOnlyTheirOwnRowsUpToTheLimitWithTheTitleOnTheFirst)
{
    QStringList many;
    for (int i = 0; i < PassageIndex::maxPassagesPerFile + 10; ++i)
        many.append(QString::number(i));
    set("file", "3", QString(), many);
    set("file", "4", QString(), {}); // the next file: the rows past the limit never spill into it
    set("file", "7", "seven", {"a", "b", "c"});
    set("transcript", "m-1", "Standup", {"hello", "there"});
    set("note", "m-1", "Standup", {"notes"});
    set("note", "7", "odd", {}); // a file's number, another owner type
    EXPECT_EQ(passages.text({"file", "7"}), "a\nb\nc");
    EXPECT_EQ(db->scalar("SELECT group_concat(title, '|') FROM (SELECT title FROM passages WHERE owner_type = 'file' "
                         "AND owner_id = '7' ORDER BY ord)"),
              SQLValue("seven||"));

    set("file", "7", "seven", {"z"});
    set("transcript", "m-1", "Standup", {"again"});
    const std::tuple<const char *, const char *, qint64> counts[] = {
        {"file", "3", PassageIndex::maxPassagesPerFile}, {"file", "4", 1}, {"file", "7", 1},
        {"transcript", "m-1", 1}, {"note", "m-1", 1}, {"note", "7", 1}};
    for (const auto &[type, id, count] : counts)
        EXPECT_EQ(passageCount(type, id), count) << type << "/" << id << ": an owner without bodies keeps one row";

    passages.deletePassages({{"file", "7"}, {"note", "m-1"}});
    EXPECT_EQ(rowCount("passages"), PassageIndex::maxPassagesPerFile + 3);
    // The full-text index agrees with the stored rows.
    db->run("INSERT INTO passages(passages) VALUES('integrity-check')");
    EXPECT_EQ(db->query("SELECT owner_id FROM passages WHERE passages MATCH 'again'").size(), 1);
    EXPECT_TRUE(db->query("SELECT 1 FROM passages WHERE passages MATCH 'seven'").isEmpty());
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
    EXPECT_TRUE(std::ranges::is_sorted(hits, {}, &PassageHit::score));
    EXPECT_EQ(keys.size(), 4);
    EXPECT_EQ(hits.size(), 4);
    EXPECT_TRUE(hits.first().snippet.contains("⟦"));
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
        EXPECT_EQ(hit.snippet.value_or("").contains("⟦lease⟧"), hit.file.name == "lease.pdf") << hit.file.id;
    }
    const auto images = search("lease", 10, {.kinds = {FileKind::image}});
    ASSERT_EQ(images.size(), 1);
    EXPECT_EQ(images.first().file.name, "lease.png");
    EXPECT_EQ(search("lease", 1).size(), 1);
    // Both ways of joining phrases find the same.
    EXPECT_EQ(passages.searchFiles({"\"lease\" AND \"runs\"", PhraseJoin::all}, FileFilter(), 10).size(), 1);
}

TEST_F(PassageIndexTest, SearchFilesLeavesMeetingsAndGoneFilesOutAndOrdersEqualScoresByFile)
{
    // Three names alike but for their folder: equal scores.
    const QList<qint64> ids{add("/r/c/lease.txt"), add("/r/a/lease.txt"), add("/r/b/lease.txt")};
    // A meeting's note that matches better, under an owner id that reads as a file id.
    set("note", QString::number(ids.first()), "lease", {"lease lease lease"});
    // Passages stored for a file whose row was deleted meanwhile; they match best.
    set("file", "999", "lease lease", {"lease lease lease lease"});

    for (int limit : {1, 2, 10}) {
        const auto hits = search("lease", limit);
        ASSERT_EQ(hits.size(), std::min(limit, 3));
        for (qsizetype i = 0; i < hits.size(); ++i) {
            EXPECT_EQ(hits.at(i).file, *store.files().record(ids.at(i)));
            EXPECT_EQ(hits.at(i).score, hits.first().score);
        }
        EXPECT_EQ(search("lease", limit, {.kinds = {FileKind::document}}), hits) << "the same with a filter all pass";
    }
}

TEST_F(PassageIndexTest, TermsOfAPrefixArriveWholeAcrossPagesAndStopWhenCancelled)
{
    // More terms of one letter than a page holds, and neighbours on either
    // side of the prefix that must stay out.
    QStringList words;
    for (int i = 0; i < 300; ++i)
        words.append(QStringLiteral("wq%1").arg(i, 3, 10, QLatin1Char('0')));
    set("file", "1", QString(), {words.join(u' ')});
    set("file", "2", QString(), {"wq000 vz wr"});
    const QList<IndexedTerm> terms = passages.termsStartingWith("wq", CancellationToken::none());
    ASSERT_EQ(terms.size(), 300);
    for (int i = 0; i < terms.size(); ++i) {
        EXPECT_EQ(terms[i].term, words[i]);
        EXPECT_EQ(terms[i].passages, i == 0 ? 2 : 1) << terms[i].term.toStdString();
    }

    const CancellationToken cancelled;
    cancelled.cancel();
    EXPECT_TRUE(passages.termsStartingWith("wq", cancelled).isEmpty());
}
