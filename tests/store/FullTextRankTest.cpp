// Ranking passages while reading few rows' lengths, and making their
// snippets without running the match again: the rows, the scores and the
// snippets must be those the full-text table's own bm25() and snippet() give.
#include "store/IndexStore.h"
#include "store/PassageSnippets.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

#include <random>

namespace {

struct Ranked
{
    qint64 rowid = 0;
    double score = 0;
    friend bool operator==(const Ranked &, const Ranked &) = default;
};

void PrintTo(const Ranked &ranked, std::ostream *out)
{
    *out << ranked.rowid << ':' << ranked.score;
}

class FullTextRankTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = std::make_unique<TestLibrary>();
        // Rows of varied length and varied counts of the words searched
        // for, in the name and in the text, shuffled over the rowids so
        // that strong rows come both early and late. Sentences end in full
        // stops and colons, some words carry accents or aren't Latin.
        std::mt19937 random(7);
        const QStringList filler{"the", "of", "and", "paper", "garden", "water", "table", "river", "café", "naïve",
                                 "überweisung", "счёт", "tax", "return"};
        (*store->db).transaction([&] {
            for (int row = 1; row <= 400; ++row) {
                QStringList title;
                QString body;
                if (random() % 5 == 0)
                    title << QStringLiteral("lease");
                if (random() % 7 == 0)
                    title << QStringLiteral("invoice");
                const int length = random() % 9 == 0 ? int(random() % 12) : 5 + int(random() % 150);
                for (int i = 0; i < length; ++i) {
                    const unsigned pick = random() % 250;
                    const QString word = pick == 0   ? QStringLiteral("lease")
                                         : pick == 1 ? QStringLiteral("Leases")
                                         : pick == 2 ? QStringLiteral("invoice")
                                         : pick == 3 ? QStringLiteral("tax return")
                                                     : filler.at(qsizetype(random() % filler.size()));
                    const unsigned gap = random() % 12;
                    body += word + (gap == 0 ? QStringLiteral(". ") : gap == 1 ? QStringLiteral(":\n") : gap == 2 ? QStringLiteral(", ") : QStringLiteral(" "));
                }
                (*store->db).run(QStringLiteral("INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) "
                                               "VALUES(?, ?, ?, 'file', ?, 0)"),
                                {row, title.join(u' '), body, QString::number(row)});
            }
            // Other owners' passages, at negative rowids: counted by bm25,
            // never ranked here.
            for (int row = 1; row <= 40; ++row)
                (*store->db).run(QStringLiteral("INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) "
                                               "VALUES(?, '', 'lease invoice tax return', 'meeting', 'm', ?)"),
                                {-row, row});
        });
    }

    QList<Ranked> bm25(const QString &match, const QString &filter, int rows)
    {
        QList<Ranked> out;
        const QString sql = QStringLiteral("SELECT rowid, bm25(passages, 6.0, 1.0) AS score FROM passages "
                                           "WHERE passages MATCH ? AND rowid > 0 AND %1 ORDER BY score, rowid LIMIT ?")
                                .arg(filter);
        for (const SQLRow &row : (*store->db).query(sql, {match, rows}))
            out.append(Ranked{row.integer(0).value_or(0), row.real(1).value_or(0)});
        return out;
    }

    // Gathered row by row under the filter, or, with no filter, phrase by
    // phrase.
    QList<RankedPassage> ranking(const QString &match, const QString &filter, int rows, qsizetype heldAtMost,
                                 PassageRanking::Gathering gathering = PassageRanking::Gathering::rowByRow)
    {
        PassageRanking ranking((*store->db), rows, heldAtMost);
        if (gathering == PassageRanking::Gathering::phraseByPhrase)
            ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? LIMIT 1"),
                           {match}, gathering);
        else
            ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages "
                                          "WHERE passages MATCH ? AND rowid > 0 AND %1")
                               .arg(filter),
                           {match});
        complete = ranking.complete();
        phraseSizes = ranking.phraseSizes();
        QList<RankedPassage> out;
        while (out.size() < rows) {
            std::optional<RankedPassage> passage = ranking.next();
            if (!passage)
                break;
            out.append(*passage);
        }
        return out;
    }

    QList<Ranked> ranked(const QString &match, const QString &filter, int rows, qsizetype heldAtMost = 1 << 16,
                         PassageRanking::Gathering gathering = PassageRanking::Gathering::rowByRow)
    {
        QList<Ranked> out;
        for (const RankedPassage &passage : ranking(match, filter, rows, heldAtMost, gathering))
            out.append(Ranked{passage.rowid, passage.score});
        return out;
    }

    std::unique_ptr<TestLibrary> store;
    QList<int> phraseSizes;
    bool complete = false;
};

const QStringList disjunctions{R"("lease")", R"("leas"*)", R"(("lease" OR "invoice"))", R"(("tax return" OR "invoice"))"};
const QStringList matches = disjunctions + QStringList{R"("lease" AND "invoice")"};

TEST_F(FullTextRankTest, RowsAndScoresAreThoseOfBm25)
{
    for (const QString &match : matches) {
        for (const QString &filter : {QStringLiteral("1"), QStringLiteral("rowid % 3 != 0")}) {
            for (int rows : {1, 3, 12, 60, 1000}) {
                SCOPED_TRACE((match + " where " + filter + ", " + QString::number(rows) + " rows").toStdString());
                const QList<Ranked> expected = bm25(match, filter, rows);
                ASSERT_FALSE(expected.isEmpty());
                EXPECT_EQ(ranked(match, filter, rows), expected);
                // Holding few rows while gathering lets go of the rows
                // that can't make it, and only those.
                EXPECT_EQ(ranked(match, filter, rows, 8), expected);
                if (disjunctions.contains(match) && filter == QLatin1String("1")) {
                    EXPECT_EQ(ranked(match, filter, rows, 1 << 16, PassageRanking::Gathering::phraseByPhrase), expected);
                    EXPECT_TRUE(complete);
                }
            }
        }
    }
}

TEST_F(FullTextRankTest, GatheringPhraseByPhraseGivesUpPastWhatItMayHold)
{
    const auto byPhrase = PassageRanking::Gathering::phraseByPhrase;
    EXPECT_FALSE(ranked(R"(("lease" OR "invoice"))", "1", 5, 64, byPhrase).isEmpty());
    EXPECT_TRUE(complete);
    // Holding 10 rows at most (twice the rows wanted) allows 320 rows and
    // instances phrase by phrase; "the" alone has more.
    EXPECT_TRUE(ranked(R"(("the" OR "of"))", "1", 5, 8, byPhrase).isEmpty());
    EXPECT_FALSE(complete);
    EXPECT_EQ(ranked(R"(("the" OR "of"))", "1", 5, 8), bm25(R"(("the" OR "of"))", "1", 5));

    // The same ranking gathers again row by row, as if afresh.
    PassageRanking ranking((*store->db), 5, 8);
    const SQLBindings match{QStringLiteral(R"(("the" OR "of"))")};
    ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? LIMIT 1"),
                   match, byPhrase);
    ASSERT_FALSE(ranking.complete());
    ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? AND rowid > 0"),
                   match);
    EXPECT_TRUE(ranking.complete());
    QList<Ranked> again;
    while (const std::optional<RankedPassage> passage = ranking.next())
        again.append(Ranked{passage->rowid, passage->score});
    EXPECT_EQ(again.mid(0, 5), bm25(R"(("the" OR "of"))", "1", 5));
}

TEST_F(FullTextRankTest, APhraselessStatementOrOneOutsideARankingGivesNothingOrFails)
{
    EXPECT_TRUE(ranked(R"("nowhere")", "1", 10).isEmpty());
    EXPECT_THROW((*store->db).query(QStringLiteral("SELECT passage_rank(passages) FROM passages WHERE passages MATCH 'lease'")),
                 SQLiteError);
}

TEST_F(FullTextRankTest, SnippetsAreThoseOfTheTablesSnippetFunction)
{
    PassageSnippets snippets((*store->db), QString::fromLatin1(PassageIndex::tokenize));
    const SnippetShape shape{QByteArrayLiteral("⟦"), QByteArrayLiteral("⟧"), QByteArrayLiteral("…"), 18};
    const QStringList more{R"("tax return" AND "return")", R"(("tax return" OR "return tax" OR "return"))",
                           R"("naive" AND "cafe"*)", R"("счёт")", R"("the" AND "river")"};
    int marked = 0;
    for (const QString &match : matches + more) {
        SCOPED_TRACE(match.toStdString());
        QHash<qint64, std::pair<QString, QString>> expected; // text and snippet by rowid
        for (const SQLRow &row : (*store->db).query(
                 QStringLiteral("SELECT rowid, body, snippet(passages, 1, '⟦', '⟧', '…', 18) FROM passages "
                                "WHERE passages MATCH ?"),
                 {match}))
            expected.insert(row.integer(0).value_or(0), {row.string(1).value_or(QString()), row.string(2).value_or(QString())});
        expected.removeIf([](const auto &row) { return row.key() <= 0; });
        QList<RankedPassage> passages = ranking(match, "1", 1000, 1 << 16);
        ASSERT_EQ(passages.size(), expected.size());
        if (!match.contains(QStringLiteral(" AND ")))
            passages += ranking(match, "1", 1000, 1 << 16, PassageRanking::Gathering::phraseByPhrase);
        for (const RankedPassage &passage : passages) {
            const auto &[text, snippet] = expected.value(passage.rowid);
            EXPECT_EQ(snippets.snippet(text, 1, passage.instances, phraseSizes, shape).toStdString(), snippet.toStdString())
                << passage.rowid;
            marked += snippet.contains(QStringLiteral("⟦")) ? 1 : 0;
        }
    }
    EXPECT_GT(marked, 300);
}

} // namespace
