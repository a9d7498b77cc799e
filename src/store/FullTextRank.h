// Ranking the rows of a full-text statement by bm25 while reading the
// length of only those rows that can reach the top.
//
// bm25 needs each row's length, a lookup per row that costs more than
// finding the row. A PassageRanking instead gathers every matched row in one
// pass through the statement's passage_rank(passages, weights...) column,
// keeping the row's phrase frequencies, the phrases' places in it and the
// best score its length could give (taking the row to be as short as its
// last match allows). The rows then come out best first: a row's length is
// read only when its best possible score could still beat the best row yet
// to come out. The order and the scores are bm25's to the last bit, equal
// scores in rowid order.
#pragma once

#include "store/SQLite.h"

#include <QList>

#include <cstdint>
#include <memory>
#include <optional>

// Where one phrase of the match expression occurs in a row.
struct PhraseInstance
{
    int phrase = 0; // in the order of the expression
    int column = 0;
    int offset = 0; // in tokens from the column's start
    friend bool operator==(const PhraseInstance &, const PhraseInstance &) = default;
};

struct RankedPassage
{
    qint64 rowid = 0;
    double score = 0; // bm25: lower is better
    QList<PhraseInstance> instances; // in column and offset order
};

class PassageRanking
{
public:
    // rowsWanted: how many rows next() will be asked for at most. Rows that
    // can't be among that many best are let go while gathering, so that
    // memory stays bounded by heldAtMost rows whatever the match (and 32
    // times as many rows and phrase instances while gathering phrase by
    // phrase).
    explicit PassageRanking(SQLiteDatabase &db, qsizetype rowsWanted, qsizetype heldAtMost = 1 << 16);
    ~PassageRanking();
    PassageRanking(const PassageRanking &) = delete;
    PassageRanking &operator=(const PassageRanking &) = delete;

    enum class Gathering {
        // passage_rank takes each row it is called for.
        rowByRow,
        // The first call of passage_rank takes every row of the match with
        // a positive rowid (a file's passage), going through each phrase's
        // rows once, as bm25 must anyway to count them, rather than through
        // the match's rows as well. Only for a match that is one phrase or
        // phrases joined by OR, and a statement with no other condition,
        // which may end after its first row.
        phraseByPhrase,
    };

    // Runs a statement over the passages table that evaluates
    // passage_rank(passages, weights...) for the rows to rank, such as
    // SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE ...
    // Throws SQLiteError.
    void gather(const QString &sql, const SQLBindings &bindings, Gathering gathering = Gathering::rowByRow);
    // False when gathering phrase by phrase met too many rows to hold and
    // gave up: gather row by row then.
    bool complete() const;

    // The next best row, or nothing when all rows are out. Throws
    // SQLiteError when a row's length can't be read.
    std::optional<RankedPassage> next();

    // The number of tokens of each phrase of the expression.
    QList<int> phraseSizes() const;

private:
    struct State;
    std::unique_ptr<State> d;
};

struct fts5_api;

namespace FullTextRank {

// The connection's full-text extension interface, or null when it has
// none. Use it only while holding the connection's lock.
fts5_api *extension(SQLiteDatabase &db);

// Registers passage_rank on the connection. Throws SQLiteError when the
// connection's FTS5 can't take a function.
void install(SQLiteDatabase &db);

} // namespace FullTextRank
