// Ranking passages while reading few rows' lengths, and making their
// snippets without running the match again: the rows, the scores and the
// snippets must be those the full-text table's own bm25() and snippet() give.
#include "store/IndexStore.h"
#include "store/PassageSnippets.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

#include <random>

using namespace Qt::StringLiterals;

namespace {

using Gathering = PassageRanking::Gathering;
using Ranked = QList<std::pair<qint64, double>>; // rowid and score, best first

const QString everyRow = u"1"_s;
// Phrases alone or joined by OR can be gathered either way.
const QStringList disjunctions{R"("lease")", R"("leas"*)", R"(("lease" OR "invoice"))", R"(("tax return" OR "invoice"))",
                               R"(("tax return" OR "return tax" OR "return"))", R"("счёт")"};
const QStringList conjunctions{R"("lease" AND "invoice")", R"("tax return" AND "return")", R"("naive" AND "cafe"*)",
                               R"("the" AND "river")"};

class FullTextRankTest : public ::testing::Test, protected TestLibrary
{
protected:
    void SetUp() override
    {
        // Rows of varied length and counts of the words searched for, in the
        // name and the text, so that strong rows come early and late; full
        // stops, colons, accents, Cyrillic. Other owners' passages, at
        // negative rowids, count for bm25 but are never ranked.
        std::mt19937 random(7);
        const QStringList words{"lease", "Leases", "invoice", "tax return", "the", "of", "and", "paper", "garden",
                                "water", "table", "river", "café", "naïve", "überweisung", "счёт", "tax", "return"};
        const QStringList gaps{". ", ":\n", ", ", " "};
        const QString insert = u"INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) "
                               "VALUES(?, ?, ?, ?, ?, ?)"_s;
        db->transaction([&] {
            for (int row = 1; row <= 400; ++row) {
                QString title = random() % 5 == 0 ? u"lease"_s : QString();
                if (random() % 7 == 0)
                    title = (title + u" invoice"_s).trimmed();
                QString body;
                const int length = random() % 9 == 0 ? int(random() % 12) : 5 + int(random() % 150);
                for (int i = 0; i < length; ++i) {
                    const unsigned pick = random() % 250; // the words searched for are rare
                    body += words.at(pick < 4 ? pick : 4 + random() % 14);
                    body += gaps.at(std::min<unsigned>(random() % 12, 3));
                }
                db->run(insert, {row, title, body, "file", QString::number(row), 0});
            }
            for (int row = 1; row <= 40; ++row)
                db->run(insert, {-row, QString(), "lease invoice tax return", "meeting", "m", row});
        });
    }

    Ranked bm25(const QString &match, const QString &filter, int rows)
    {
        const QString sql = u"SELECT rowid, bm25(passages, 6.0, 1.0) AS score FROM passages WHERE passages MATCH ? "
                            "AND rowid > 0 AND %1 ORDER BY score, rowid LIMIT ?"_s;
        Ranked out;
        for (const SQLRow &row : db->query(sql.arg(filter), {match, rows}))
            out.append({row.integer(0).value_or(0), row.real(1).value_or(0)});
        return out;
    }

    // Row by row under the filter; phrase by phrase only ever with none.
    static void gather(PassageRanking &ranking, const QString &match, const QString &filter, Gathering gathering)
    {
        const QString rest = gathering == Gathering::rowByRow ? u"AND rowid > 0 AND "_s + filter : u"LIMIT 1"_s;
        ranking.gather(u"SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? "_s + rest,
                       {match}, gathering);
    }

    // The best rows, and their rowids and scores.
    static std::pair<QList<RankedPassage>, Ranked> take(PassageRanking &ranking, int rows)
    {
        std::pair<QList<RankedPassage>, Ranked> out;
        for (std::optional<RankedPassage> passage; out.first.size() < rows && (passage = ranking.next());) {
            out.second.append({passage->rowid, passage->score});
            out.first.append(std::move(*passage));
        }
        return out;
    }
};

TEST_F(FullTextRankTest, RowsScoresAndSnippetsAreThoseOfBm25AndSnippet)
{
    PassageSnippets snippets(*db, QString::fromLatin1(PassageIndex::tokenize));
    const SnippetShape shape{QByteArrayLiteral("⟦"), QByteArrayLiteral("⟧"), QByteArrayLiteral("…"), 18};
    // Holding few rows while gathering lets go of the rows that can't make
    // it, and only those.
    const QString third = u"rowid % 3 != 0"_s;
    const std::tuple<QString, qsizetype, Gathering> ways[] = {
        {everyRow, 1 << 16, Gathering::rowByRow}, {everyRow, 8, Gathering::rowByRow}, {third, 8, Gathering::rowByRow},
        {third, 1 << 16, Gathering::rowByRow}, {everyRow, 1 << 16, Gathering::phraseByPhrase}};
    int marked = 0;
    for (const QString &match : disjunctions + conjunctions) {
        QHash<qint64, std::pair<QString, QString>> texts; // body and snippet() by rowid
        const QString sql = u"SELECT rowid, body, snippet(passages, 1, '⟦', '⟧', '…', 18) FROM passages "
                            "WHERE passages MATCH ? AND rowid > 0"_s;
        for (const SQLRow &row : db->query(sql, {match}))
            texts.insert(row.integer(0).value_or(0), {row.string(1).value_or(""), row.string(2).value_or("")});
        for (const auto &[filter, heldAtMost, gathering] : ways) {
            if (gathering == Gathering::phraseByPhrase && !disjunctions.contains(match))
                continue;
            for (int rows : {1, 3, 12, 60, 1000}) {
                SCOPED_TRACE(::testing::Message() << qPrintable(match) << " where " << qPrintable(filter) << ", " << rows
                                                  << " rows, " << heldAtMost << " held, gathering " << int(gathering));
                PassageRanking ranking(*db, rows, heldAtMost);
                gather(ranking, match, filter, gathering);
                EXPECT_TRUE(ranking.complete());
                const auto [passages, scores] = take(ranking, rows);
                const Ranked expected = bm25(match, filter, rows);
                ASSERT_FALSE(expected.isEmpty());
                EXPECT_EQ(scores, expected);
                for (const RankedPassage &passage : passages) {
                    const auto &[text, snippet] = texts.value(passage.rowid);
                    EXPECT_EQ(snippets.snippet(text, 1, passage.instances, ranking.phraseSizes(), shape).toStdString(),
                              snippet.toStdString())
                        << passage.rowid;
                    marked += snippet.contains(u"⟦"_s) ? 1 : 0;
                }
            }
        }
    }
    EXPECT_GT(marked, 300);
}

TEST_F(FullTextRankTest, GivingUpPhraseByPhraseThenGatheringRowByRowAfresh)
{
    // Holding 10 rows at most (twice the rows wanted) allows 320 rows and
    // instances phrase by phrase; "the" alone has more.
    const QString common = uR"(("the" OR "of"))"_s;
    PassageRanking ranking(*db, 5, 8);
    gather(ranking, common, everyRow, Gathering::phraseByPhrase);
    ASSERT_FALSE(ranking.complete());
    EXPECT_FALSE(ranking.next());
    gather(ranking, common, everyRow, Gathering::rowByRow);
    EXPECT_TRUE(ranking.complete());
    EXPECT_EQ(take(ranking, 5).second, bm25(common, everyRow, 5));
    // Outside a ranking, the function fails rather than rank.
    EXPECT_THROW(db->query(u"SELECT passage_rank(passages) FROM passages WHERE passages MATCH 'lease'"_s), SQLiteError);
}

TEST_F(FullTextRankTest, AMissingRowLengthIsADamagedIndexNotAWrongOrder)
{
    // The best row's length is needed before any row can come out.
    const QString lease = uR"("lease")"_s;
    const Ranked best = bm25(lease, everyRow, 1);
    ASSERT_EQ(best.size(), 1);
    db->run(u"DELETE FROM passages_docsize WHERE id = ?"_s, {best.first().first});
    for (const Gathering gathering : {Gathering::rowByRow, Gathering::phraseByPhrase}) {
        PassageRanking ranking(*db, 3);
        gather(ranking, lease, everyRow, gathering);
        EXPECT_THROW(ranking.next(), SQLiteError) << int(gathering);
    }
    // The next ranking on the thread reads lengths again.
    const QString invoice = uR"("invoice")"_s;
    PassageRanking ranking(*db, 3);
    gather(ranking, invoice, everyRow, Gathering::rowByRow);
    EXPECT_EQ(take(ranking, 3).second, bm25(invoice, everyRow, 3));
}

} // namespace
