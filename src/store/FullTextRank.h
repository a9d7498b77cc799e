// A ranking function for the full-text table that gives the best rows of a
// statement their exact bm25 score without reading every row's length.
//
// bm25_best(passages, K, weights...) is bm25(passages, weights...) for any
// row that can still be among the K best of the statement: the best K rows
// seen so far are kept, and a row whose score could not beat the K-th of
// them even at its shortest possible length gets that bound instead, which
// is no better than its exact score and worse than the K-th best. Ordered by
// this value ascending with LIMIT K, a statement thus returns the same rows
// with the same scores as with bm25, while most rows of a common word skip
// the length lookup that dominates bm25's cost. K of 0 or less ranks every
// row exactly.
#pragma once

class SQLiteDatabase;

namespace FullTextRank {

// Registers bm25_best on the connection. Throws SQLiteError when the
// connection's FTS5 can't take a function.
void install(SQLiteDatabase &db);

} // namespace FullTextRank
