#include "store/FullTextRank.h"

#include "store/SQLite.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <queue>
#include <vector>

namespace {

// bm25's constants, as SQLite's FTS5 uses them.
constexpr double k1 = 1.2;
constexpr double b = 0.75;

// What one run of a statement keeps between rows.
struct QueryState
{
    double averageLength = 0;
    std::vector<double> idf; // by phrase
    std::vector<double> frequency; // by phrase, for the current row
    std::vector<int> lengthAtLeast; // by column, for the current row
    std::priority_queue<double> best; // the K best exact scores so far, worst on top
    sqlite3_int64 lastRowid = 0;
    double lastScore = 0;
    bool hasLast = false;
};

int countRow(const Fts5ExtensionApi *, Fts5Context *, void *count)
{
    ++*static_cast<sqlite3_int64 *>(count);
    return SQLITE_OK;
}

// The table's average row length and each phrase's inverse document
// frequency, worked out exactly as bm25 does.
int prepareState(const Fts5ExtensionApi *api, Fts5Context *fts, QueryState &state)
{
    sqlite3_int64 rows = 0;
    sqlite3_int64 tokens = 0;
    int rc = api->xRowCount(fts, &rows);
    if (rc == SQLITE_OK)
        rc = api->xColumnTotalSize(fts, -1, &tokens);
    if (rc != SQLITE_OK)
        return rc;
    state.averageLength = double(tokens) / double(rows);
    const int phrases = api->xPhraseCount(fts);
    state.idf.assign(size_t(phrases), 0.0);
    state.frequency.assign(size_t(phrases), 0.0);
    state.lengthAtLeast.assign(size_t(api->xColumnCount(fts)), 0);
    for (int i = 0; i < phrases; ++i) {
        sqlite3_int64 hits = 0;
        rc = api->xQueryPhrase(fts, i, &hits, countRow);
        if (rc != SQLITE_OK)
            return rc;
        double idf = std::log((double(rows - hits) + 0.5) / (double(hits) + 0.5));
        if (idf <= 0.0)
            idf = 1e-6;
        state.idf[size_t(i)] = idf;
    }
    return SQLITE_OK;
}

// bm25 of the current row's phrase frequencies at a row length, with the
// same operations in the same order as SQLite's, so the result is equal to
// the last bit. A shorter length never gives a worse (higher) score.
double bm25At(const QueryState &state, double length)
{
    double score = 0.0;
    for (size_t i = 0; i < state.idf.size(); ++i) {
        const double f = state.frequency[i];
        score += state.idf[i] * ((f * (k1 + 1.0)) / (f + k1 * (1 - b + b * length / state.averageLength)));
    }
    return -1.0 * score;
}

void bestRank(const Fts5ExtensionApi *api, Fts5Context *fts, sqlite3_context *context, int count,
              sqlite3_value **values)
{
    if (count < 1) {
        sqlite3_result_error(context, "bm25_best needs the number of rows to rank exactly", -1);
        return;
    }
    auto *state = static_cast<QueryState *>(api->xGetAuxdata(fts, 0));
    if (!state) {
        state = new QueryState;
        int rc = prepareState(api, fts, *state);
        if (rc == SQLITE_OK)
            rc = api->xSetAuxdata(fts, state, [](void *data) { delete static_cast<QueryState *>(data); });
        else
            delete state;
        if (rc != SQLITE_OK) {
            sqlite3_result_error_code(context, rc);
            return;
        }
    }
    // A row asked for twice gets the same answer and is counted once.
    const sqlite3_int64 rowid = api->xRowid(fts);
    if (state->hasLast && state->lastRowid == rowid) {
        sqlite3_result_double(context, state->lastScore);
        return;
    }

    const sqlite3_int64 keep = sqlite3_value_int64(values[0]);
    const int weights = count - 1;
    std::fill(state->frequency.begin(), state->frequency.end(), 0.0);
    std::fill(state->lengthAtLeast.begin(), state->lengthAtLeast.end(), 0);
    int instances = 0;
    int rc = api->xInstCount(fts, &instances);
    for (int i = 0; rc == SQLITE_OK && i < instances; ++i) {
        int phrase = 0;
        int column = 0;
        int offset = 0;
        rc = api->xInst(fts, i, &phrase, &column, &offset);
        if (rc != SQLITE_OK)
            break;
        state->frequency[size_t(phrase)] += weights > column ? sqlite3_value_double(values[1 + column]) : 1.0;
        // A match at a token's offset means the column has at least that many tokens more.
        int &atLeast = state->lengthAtLeast[size_t(column)];
        atLeast = std::max(atLeast, offset + 1);
    }
    if (rc != SQLITE_OK) {
        sqlite3_result_error_code(context, rc);
        return;
    }

    double score = 0;
    bool exact = true;
    if (keep > 0 && sqlite3_int64(state->best.size()) >= keep) {
        int shortest = 0;
        for (int atLeast : state->lengthAtLeast)
            shortest += atLeast;
        const double bound = bm25At(*state, double(shortest));
        if (bound > state->best.top()) {
            score = bound;
            exact = false;
        }
    }
    if (exact) {
        int length = 0;
        rc = api->xColumnSize(fts, -1, &length);
        if (rc != SQLITE_OK) {
            sqlite3_result_error_code(context, rc);
            return;
        }
        score = bm25At(*state, double(length));
        if (keep > 0) {
            if (sqlite3_int64(state->best.size()) < keep) {
                state->best.push(score);
            } else if (score < state->best.top()) {
                state->best.pop();
                state->best.push(score);
            }
        }
    }
    state->lastRowid = rowid;
    state->lastScore = score;
    state->hasLast = true;
    sqlite3_result_double(context, score);
}

fts5_api *fts5Api(sqlite3 *handle)
{
    fts5_api *api = nullptr;
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(handle, "SELECT fts5(?1)", -1, &stmt, nullptr) == SQLITE_OK) {
        sqlite3_bind_pointer(stmt, 1, static_cast<void *>(&api), "fts5_api_ptr", nullptr);
        sqlite3_step(stmt);
    }
    sqlite3_finalize(stmt);
    return api;
}

} // namespace

void FullTextRank::install(SQLiteDatabase &db)
{
    std::lock_guard guard(db.lock());
    fts5_api *api = fts5Api(db.handle());
    if (!api || api->iVersion < 2)
        throw SQLiteError(SQLITE_ERROR, QStringLiteral("this SQLite's full-text search takes no ranking function"));
    const int rc = api->xCreateFunction(api, "bm25_best", nullptr, bestRank, nullptr);
    if (rc != SQLITE_OK)
        throw SQLiteError(rc, QStringLiteral("could not add the full-text ranking function"));
}
