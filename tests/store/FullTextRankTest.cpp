// The ranking function that skips rows which can't reach the best K: its
// best K rows, and their scores, must be bm25's.
#include "store/IndexStore.h"

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
        store = IndexStore::openInMemory();
        // Rows of varied length and varied counts of the words searched
        // for, in the name and in the text, shuffled over the rowids so
        // that strong rows come both early and late.
        std::mt19937 random(7);
        const QStringList filler{"the", "of", "and", "paper", "garden", "water", "table", "river"};
        store->db().transaction([&] {
            for (int row = 1; row <= 400; ++row) {
                QStringList title;
                QStringList body;
                if (random() % 5 == 0)
                    title << QStringLiteral("lease");
                if (random() % 7 == 0)
                    title << QStringLiteral("invoice");
                const int length = 5 + int(random() % 150);
                for (int i = 0; i < length; ++i) {
                    const unsigned pick = random() % 40;
                    body << (pick == 0 ? QStringLiteral("lease")
                                       : pick == 1 ? QStringLiteral("leases")
                                                   : pick == 2 ? QStringLiteral("invoice")
                                                               : filler.at(qsizetype(random() % filler.size())));
                }
                store->db().run(QStringLiteral("INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) "
                                               "VALUES(?, ?, ?, 'file', ?, 0)"),
                                {row, title.join(u' '), body.join(u' '), QString::number(row)});
            }
        });
    }

    QList<Ranked> ranked(const QString &function, const QString &match, const QString &filter, int keep)
    {
        QList<Ranked> out;
        const QString sql = QStringLiteral("SELECT rowid, %1 AS score FROM passages WHERE passages MATCH ? AND %2 "
                                           "ORDER BY score, rowid LIMIT ?")
                                .arg(function, filter);
        for (const SQLRow &row : store->db().query(sql, {match, keep}))
            out.append(Ranked{row.integer(QStringLiteral("rowid")).value_or(0), row.real(QStringLiteral("score")).value_or(0)});
        return out;
    }

    std::unique_ptr<IndexStore> store;
};

TEST_F(FullTextRankTest, BestRowsAndScoresAreThoseOfBm25)
{
    const QStringList matches{R"("lease")", R"("leas"*)", R"(("lease" OR "invoice"))", R"("lease" AND "invoice")"};
    const QStringList filters{"1", "rowid % 3 != 0"};
    for (const QString &match : matches) {
        for (const QString &filter : filters) {
            for (int keep : {1, 3, 12, 60, 1000}) {
                SCOPED_TRACE((match + " where " + filter + " keeping " + QString::number(keep)).toStdString());
                const QList<Ranked> expected = ranked("bm25(passages, 6.0, 1.0)", match, filter, keep);
                ASSERT_FALSE(expected.isEmpty());
                EXPECT_EQ(ranked(QStringLiteral("bm25_best(passages, %1, 6.0, 1.0)").arg(keep), match, filter, keep),
                          expected);
            }
        }
    }
}

TEST_F(FullTextRankTest, NoLimitRanksEveryRowExactly)
{
    for (int keep : {0, -1}) {
        const QList<Ranked> expected = ranked("bm25(passages, 6.0, 1.0)", R"("lease")", "1", -1);
        EXPECT_EQ(ranked(QStringLiteral("bm25_best(passages, %1, 6.0, 1.0)").arg(keep), R"("lease")", "1", -1),
                  expected);
    }
}

} // namespace
