#include "store/FullTextRank.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

namespace {

// bm25's constants, as SQLite's FTS5 uses them.
constexpr double k1 = 1.2;
constexpr double b = 0.75;

struct Candidate
{
    qint64 rowid = 0;
    double score = 0; // exact, or the best the row's length could give
    bool exact = false;
    quint32 frequencies = 0; // where the row's phrase frequencies start
    quint32 instances = 0; // where the row's phrase instances start
    quint32 instanceCount = 0;
};

// Better: a lower score, or an equal score and a lower rowid.
bool better(const Candidate &a, const Candidate &b)
{
    return a.score < b.score || (a.score == b.score && a.rowid < b.rowid);
}

// For the standard heaps, which keep their greatest element on top: the
// best row on top.
bool worse(const Candidate &a, const Candidate &b)
{
    return better(b, a);
}

// A varint of SQLite's record format; its length in bytes, or 0 when the
// bytes end first.
int readVarint(const unsigned char *bytes, int available, quint64 &value)
{
    value = 0;
    for (int i = 0; i < 9; ++i) {
        if (i >= available)
            return 0;
        if (i == 8) {
            value = (value << 8) | bytes[i];
            return 9;
        }
        value = (value << 7) | (bytes[i] & 0x7f);
        if (!(bytes[i] & 0x80))
            return i + 1;
    }
    return 0;
}

// The rows of one phrase, with its instances, from a pass through the
// phrase alone.
struct PhraseRows
{
    int phrase = 0;
    sqlite3_int64 hits = 0; // rows of any owner
    std::vector<qint64> rowids;
    std::vector<quint32> firsts; // where each row's instances start
    std::vector<PhraseInstance> instances;
    size_t *held = nullptr; // rows and instances held over all phrases
    size_t heldAtMost = 0;
    bool full = false;

    void clear(int phraseIndex)
    {
        phrase = phraseIndex;
        hits = 0;
        rowids.clear();
        firsts.clear();
        instances.clear();
        full = false;
    }
};

// A ranking's working memory. Fresh memory costs a page fault a page, as
// much as gathering a few rows, so a thread keeps the memory of its last
// ranking for its next, up to a bound.
struct Buffers
{
    std::vector<Candidate> candidates; // while giving out: a heap, best on top
    std::vector<Candidate> resolved; // exact rows not yet given out; a heap, best on top
    std::vector<double> frequencies;
    std::vector<PhraseInstance> instances;
    std::vector<PhraseRows> phrases;

    static constexpr size_t keptAtMost = 16 << 20; // bytes

    size_t capacity() const
    {
        size_t bytes = candidates.capacity() * sizeof(Candidate) + resolved.capacity() * sizeof(Candidate)
            + frequencies.capacity() * sizeof(double) + instances.capacity() * sizeof(PhraseInstance);
        for (const PhraseRows &list : phrases)
            bytes += list.rowids.capacity() * sizeof(qint64) + list.firsts.capacity() * sizeof(quint32)
                + list.instances.capacity() * sizeof(PhraseInstance);
        return bytes;
    }
    void clear()
    {
        candidates.clear();
        resolved.clear();
        frequencies.clear();
        instances.clear();
        for (PhraseRows &list : phrases)
            list.clear(0);
    }
};

thread_local std::unique_ptr<Buffers> spareBuffers;

// The rows of one ranking: gathered from inside the statement, row by row
// or phrase by phrase, then given out best first.
class RankState
{
public:
    RankState(SQLiteDatabase &db, qsizetype rowsWanted, qsizetype heldAtMost)
        : m_buffers(spareBuffers ? std::move(spareBuffers) : std::make_unique<Buffers>())
        , m_db(db)
        , m_rowsWanted(std::max<qsizetype>(rowsWanted, 1))
        , m_heldAtMost(std::max(heldAtMost, 2 * m_rowsWanted))
    {
    }
    ~RankState()
    {
        if (m_buffers->capacity() <= Buffers::keptAtMost) {
            m_buffers->clear();
            spareBuffers = std::move(m_buffers);
        }
        if (m_lengths) {
            std::lock_guard guard(m_db.lock());
            sqlite3_blob_close(m_lengths);
        }
    }

    SQLiteDatabase &db() { return m_db; }
    const std::vector<int> &phraseSizes() const { return m_phraseSizes; }

    // One matched row, from inside the statement.
    int add(const Fts5ExtensionApi *api, Fts5Context *fts, int weightCount, sqlite3_value **weights)
    {
        if (m_gathering == PassageRanking::Gathering::phraseByPhrase) {
            if (m_prepared)
                return SQLITE_OK; // every row came with the first
            return addEachPhrase(api, fts, weightCount, weights);
        }
        if (!m_prepared) {
            int rc = prepareTable(api, fts, weightCount, weights);
            for (int i = 0; rc == SQLITE_OK && i < int(m_idf.size()); ++i)
                rc = countDocuments(api, fts, i);
            if (rc != SQLITE_OK)
                return rc;
            m_prepared = true;
        }
        // A row asked about twice in one statement is one row.
        const qint64 rowid = api->xRowid(fts);
        if (m_hasLast && m_lastRowid == rowid)
            return SQLITE_OK;
        m_hasLast = true;
        m_lastRowid = rowid;

        const quint32 first = quint32(m_instances.size());
        int count = 0;
        int rc = api->xInstCount(fts, &count);
        for (int i = 0; rc == SQLITE_OK && i < count; ++i) {
            PhraseInstance instance;
            rc = api->xInst(fts, i, &instance.phrase, &instance.column, &instance.offset);
            m_instances.push_back(instance);
        }
        if (rc != SQLITE_OK)
            return rc;
        return addRow(rowid, first, quint32(count));
    }

    // Starts a gathering afresh, whatever an earlier one left.
    void restart(PassageRanking::Gathering gathering)
    {
        m_gathering = gathering;
        m_gaveUp = false;
        m_prepared = false;
        m_hasLast = false;
        m_emitting = false;
        m_instancesInPlace = false;
        m_cutoff.reset();
        m_buffers->clear();
    }
    bool complete() const { return !m_gaveUp; }

    std::optional<RankedPassage> next()
    {
        std::lock_guard guard(m_db.lock());
        if (!m_emitting) {
            std::make_heap(m_candidates.begin(), m_candidates.end(), worse);
            m_emitting = true;
        }
        // The best resolved row goes out once no row still unresolved could
        // come before it even at its best.
        while (!m_candidates.empty() && (m_resolved.empty() || better(m_candidates.front(), m_resolved.front()))) {
            std::pop_heap(m_candidates.begin(), m_candidates.end(), worse);
            Candidate candidate = m_candidates.back();
            m_candidates.pop_back();
            if (const int rc = resolve(candidate); rc != SQLITE_OK)
                throw SQLiteError(rc, QStringLiteral("could not read the length of a passage of the full-text index"));
            m_resolved.push_back(candidate);
            std::push_heap(m_resolved.begin(), m_resolved.end(), worse);
        }
        if (m_resolved.empty())
            return std::nullopt;
        std::pop_heap(m_resolved.begin(), m_resolved.end(), worse);
        const Candidate best = m_resolved.back();
        m_resolved.pop_back();
        RankedPassage passage;
        passage.rowid = best.rowid;
        passage.score = best.score;
        passage.instances = QList<PhraseInstance>(m_instances.begin() + best.instances,
                                                  m_instances.begin() + best.instances + best.instanceCount);
        // In the order the match gives them: by column, offset and phrase.
        std::sort(passage.instances.begin(), passage.instances.end(), [](const PhraseInstance &a, const PhraseInstance &b) {
            return std::tie(a.column, a.offset, a.phrase) < std::tie(b.column, b.offset, b.phrase);
        });
        return passage;
    }

private:
    // The table's average row length, the phrases' sizes and the columns'
    // weights.
    int prepareTable(const Fts5ExtensionApi *api, Fts5Context *fts, int weightCount, sqlite3_value **weights)
    {
        sqlite3_int64 tokens = 0;
        int rc = api->xRowCount(fts, &m_tableRows);
        if (rc == SQLITE_OK)
            rc = api->xColumnTotalSize(fts, -1, &tokens);
        if (rc != SQLITE_OK)
            return rc;
        m_averageLength = double(tokens) / double(m_tableRows);
        const int phrases = api->xPhraseCount(fts);
        m_idf.assign(size_t(phrases), 0.0);
        m_phraseSizes.assign(size_t(phrases), 0);
        for (int i = 0; i < phrases; ++i)
            m_phraseSizes[size_t(i)] = api->xPhraseSize(fts, i);
        m_rowFrequency.assign(size_t(phrases), 0.0);
        m_lengthAtLeast.assign(size_t(api->xColumnCount(fts)), 0);
        m_columnWeights.assign(m_lengthAtLeast.size(), 1.0);
        for (int i = 0; i < weightCount && i < int(m_columnWeights.size()); ++i)
            m_columnWeights[size_t(i)] = sqlite3_value_double(weights[i]);
        return SQLITE_OK;
    }

    // A phrase's inverse document frequency from the number of rows that
    // hold it, worked out exactly as bm25 does.
    void setDocumentCount(int phrase, sqlite3_int64 hits)
    {
        double idf = std::log((double(m_tableRows - hits) + 0.5) / (double(hits) + 0.5));
        if (idf <= 0.0)
            idf = 1e-6;
        m_idf[size_t(phrase)] = idf;
    }

    int countDocuments(const Fts5ExtensionApi *api, Fts5Context *fts, int phrase)
    {
        sqlite3_int64 hits = 0;
        const int rc = api->xQueryPhrase(fts, phrase, &hits, [](const Fts5ExtensionApi *, Fts5Context *, void *count) {
            ++*static_cast<sqlite3_int64 *>(count);
            return SQLITE_OK;
        });
        if (rc == SQLITE_OK)
            setDocumentCount(phrase, hits);
        return rc;
    }

    // Gathers the rows of every phrase, counting them for bm25 on the way,
    // and puts each row together from the phrases it holds: for a match
    // that is one phrase or phrases joined by OR, these are its rows.
    int addEachPhrase(const Fts5ExtensionApi *api, Fts5Context *fts, int weightCount, sqlite3_value **weights)
    {
        m_prepared = true;
        int rc = prepareTable(api, fts, weightCount, weights);
        if (rc != SQLITE_OK)
            return rc;
        std::vector<PhraseRows> &lists = m_buffers->phrases;
        lists.resize(m_idf.size());
        size_t held = 0;
        for (size_t i = 0; i < lists.size(); ++i) {
            lists[i].clear(int(i));
            lists[i].held = &held;
            lists[i].heldAtMost = heldInstancesAtMost();
            rc = api->xQueryPhrase(fts, int(i), &lists[i], [](const Fts5ExtensionApi *api, Fts5Context *fts, void *data) {
                auto &list = *static_cast<PhraseRows *>(data);
                ++list.hits;
                const qint64 rowid = api->xRowid(fts);
                if (rowid <= 0)
                    return SQLITE_OK; // not a file's
                int count = 0;
                int rc = api->xInstCount(fts, &count);
                list.rowids.push_back(rowid);
                list.firsts.push_back(quint32(list.instances.size()));
                for (int j = 0; rc == SQLITE_OK && j < count; ++j) {
                    PhraseInstance instance;
                    rc = api->xInst(fts, j, &instance.phrase, &instance.column, &instance.offset);
                    instance.phrase = list.phrase;
                    list.instances.push_back(instance);
                }
                *list.held += size_t(count) + 1;
                if (rc == SQLITE_OK && *list.held > list.heldAtMost) {
                    list.full = true;
                    return SQLITE_DONE; // ends the pass without an error
                }
                return rc;
            });
            if (rc != SQLITE_OK)
                return rc;
            if (lists[i].full) {
                m_gaveUp = true;
                return SQLITE_OK;
            }
            setDocumentCount(int(i), lists[i].hits);
        }

        // Room for every row at once: growing while adding would copy
        // what is held, and fresh memory costs a fault a page.
        size_t rows = 0;
        size_t instances = 0;
        for (const PhraseRows &list : lists) {
            rows += list.rowids.size();
            instances += list.instances.size();
        }
        m_candidates.reserve(std::min(rows, size_t(m_heldAtMost)));
        m_frequencies.reserve(std::min(rows, size_t(m_heldAtMost)) * lists.size());

        // One phrase: its rows are the match's, its instances stay where they are.
        if (lists.size() == 1) {
            PhraseRows &list = lists.front();
            std::swap(m_instances, list.instances);
            m_instancesInPlace = true;
            for (size_t at = 0; at < list.rowids.size(); ++at) {
                const quint32 first = list.firsts[at];
                const quint32 end = at + 1 < list.firsts.size() ? list.firsts[at + 1] : quint32(m_instances.size());
                if (const int rc = addRow(list.rowids[at], first, end - first); rc != SQLITE_OK)
                    return rc;
            }
            return SQLITE_OK;
        }

        // Rows in rowid order from all phrases at once, each with its
        // phrases' instances one phrase after another; they are put in the
        // match's order for the rows given out.
        m_instances.reserve(instances);
        std::vector<size_t> at(lists.size(), 0);
        for (;;) {
            qint64 rowid = 0;
            bool any = false;
            for (size_t i = 0; i < lists.size(); ++i) {
                if (at[i] < lists[i].rowids.size() && (!any || lists[i].rowids[at[i]] < rowid)) {
                    rowid = lists[i].rowids[at[i]];
                    any = true;
                }
            }
            if (!any)
                break;
            const quint32 first = quint32(m_instances.size());
            for (size_t i = 0; i < lists.size(); ++i) {
                PhraseRows &list = lists[i];
                if (at[i] >= list.rowids.size() || list.rowids[at[i]] != rowid)
                    continue;
                const quint32 from = list.firsts[at[i]];
                const quint32 to = at[i] + 1 < list.firsts.size() ? list.firsts[at[i] + 1] : quint32(list.instances.size());
                m_instances.insert(m_instances.end(), list.instances.begin() + from, list.instances.begin() + to);
                ++at[i];
            }
            if (const int rc = addRow(rowid, first, quint32(m_instances.size()) - first); rc != SQLITE_OK)
                return rc;
        }
        return SQLITE_OK;
    }

    // Keeps a row whose instances are the count in m_instances from
    // first, unless it can't be among the rows wanted.
    int addRow(qint64 rowid, quint32 first, quint32 count)
    {
        std::fill(m_rowFrequency.begin(), m_rowFrequency.end(), 0.0);
        std::fill(m_lengthAtLeast.begin(), m_lengthAtLeast.end(), 0);
        for (quint32 i = first; i < first + count; ++i) {
            const PhraseInstance &instance = m_instances[i];
            // Each phrase's in the order bm25 sums them, so that the scores agree to the bit.
            m_rowFrequency[size_t(instance.phrase)] += m_columnWeights[size_t(instance.column)];
            // A match at an offset means the column has at least that many tokens and one more.
            int &atLeast = m_lengthAtLeast[size_t(instance.column)];
            atLeast = std::max(atLeast, instance.offset + 1);
        }
        int shortest = 0;
        for (int atLeast : m_lengthAtLeast)
            shortest += atLeast;
        Candidate candidate;
        candidate.rowid = rowid;
        candidate.score = score(m_rowFrequency.data(), double(shortest));
        if (m_cutoff && !better(candidate, *m_cutoff)) {
            if (first + count == m_instances.size())
                m_instances.resize(first); // the row's instances go with it
            return SQLITE_OK;
        }
        candidate.frequencies = quint32(m_frequencies.size());
        candidate.instances = first;
        candidate.instanceCount = count;
        m_frequencies.insert(m_frequencies.end(), m_rowFrequency.begin(), m_rowFrequency.end());
        m_candidates.push_back(candidate);
        if (qsizetype(m_candidates.size()) >= m_heldAtMost)
            return compact();
        return SQLITE_OK;
    }

    // bm25 of phrase frequencies at a row length, with the same operations
    // in the same order as SQLite's. A shorter length never gives a worse
    // (higher) score.
    double score(const double *frequency, double length) const
    {
        double sum = 0.0;
        for (size_t i = 0; i < m_idf.size(); ++i) {
            const double f = frequency[i];
            sum += m_idf[i] * ((f * (k1 + 1.0)) / (f + k1 * (1 - b + b * length / m_averageLength)));
        }
        return -1.0 * sum;
    }

    // Gives the candidate its exact score.
    int resolve(Candidate &candidate)
    {
        if (candidate.exact)
            return SQLITE_OK;
        // A blob handle moved from row to row reads the row's sizes with a
        // seek and no statement to step: a common word may read thousands.
        int rc = m_lengths ? sqlite3_blob_reopen(m_lengths, candidate.rowid)
                           : sqlite3_blob_open(m_db.handle(), "main", "passages_docsize", "sz", candidate.rowid, 0,
                                               &m_lengths);
        if (rc != SQLITE_OK) {
            // A handle that failed to move is spent; every row of the table
            // has its sizes, so a missing one is a damaged index.
            sqlite3_blob_close(m_lengths);
            m_lengths = nullptr;
            return rc == SQLITE_ERROR ? SQLITE_CORRUPT : rc;
        }
        unsigned char bytes[64];
        const int size = sqlite3_blob_bytes(m_lengths);
        if (size > int(sizeof bytes))
            return SQLITE_CORRUPT; // a varint a column, and the table has two
        rc = sqlite3_blob_read(m_lengths, bytes, size, 0);
        if (rc != SQLITE_OK)
            return rc;
        quint64 length = 0;
        for (int at = 0; at < size;) {
            quint64 column = 0;
            const int used = readVarint(bytes + at, size - at, column);
            if (used == 0)
                return SQLITE_CORRUPT;
            length += column;
            at += used;
        }
        candidate.score = score(m_frequencies.data() + candidate.frequencies, double(length));
        candidate.exact = true;
        return SQLITE_OK;
    }

    // Keeps only the rows that can be among the rows wanted: those whose
    // exact scores are the best, found best bound first. Any later row must
    // beat the worst of them to be kept.
    int compact()
    {
        std::sort(m_candidates.begin(), m_candidates.end(), better);
        std::vector<Candidate> kept; // a heap, worst on top
        for (Candidate &candidate : m_candidates) {
            if (qsizetype(kept.size()) >= m_rowsWanted && !better(candidate, kept.front()))
                break;
            if (const int rc = resolve(candidate); rc != SQLITE_OK)
                return rc;
            if (qsizetype(kept.size()) < m_rowsWanted) {
                kept.push_back(candidate);
                std::push_heap(kept.begin(), kept.end(), better);
            } else if (better(candidate, kept.front())) {
                std::pop_heap(kept.begin(), kept.end(), better);
                kept.back() = candidate;
                std::push_heap(kept.begin(), kept.end(), better);
            }
        }
        if (qsizetype(kept.size()) >= m_rowsWanted)
            m_cutoff = kept.front();
        std::vector<double> frequencies;
        std::vector<PhraseInstance> instances;
        const size_t phrases = m_idf.size();
        for (Candidate &candidate : kept) {
            const auto from = m_frequencies.begin() + candidate.frequencies;
            candidate.frequencies = quint32(frequencies.size());
            frequencies.insert(frequencies.end(), from, from + qsizetype(phrases));
            if (m_instancesInPlace)
                continue;
            const auto first = m_instances.begin() + candidate.instances;
            candidate.instances = quint32(instances.size());
            instances.insert(instances.end(), first, first + candidate.instanceCount);
        }
        m_candidates = std::move(kept);
        m_frequencies = std::move(frequencies);
        if (!m_instancesInPlace)
            m_instances = std::move(instances);
        return SQLITE_OK;
    }

    std::unique_ptr<Buffers> m_buffers;
    SQLiteDatabase &m_db;
    const qsizetype m_rowsWanted;
    const qsizetype m_heldAtMost;

    // Gathering phrase by phrase holds all rows before any is let go; past
    // this many rows and instances it gives up for gathering row by row.
    size_t heldInstancesAtMost() const { return size_t(m_heldAtMost) * 32; }

    PassageRanking::Gathering m_gathering = PassageRanking::Gathering::rowByRow;
    bool m_gaveUp = false;
    bool m_prepared = false;
    sqlite3_int64 m_tableRows = 0;
    double m_averageLength = 0;
    std::vector<double> m_idf; // by phrase
    std::vector<int> m_phraseSizes;

    std::vector<double> m_columnWeights; // as the statement gives them, 1 for the rest
    // The current row's.
    std::vector<double> m_rowFrequency; // by phrase
    std::vector<int> m_lengthAtLeast; // by column
    qint64 m_lastRowid = 0;
    bool m_hasLast = false;

    std::vector<Candidate> &m_candidates = m_buffers->candidates;
    std::vector<double> &m_frequencies = m_buffers->frequencies;
    std::vector<PhraseInstance> &m_instances = m_buffers->instances;
    // Whether m_instances holds rows yet to be added as well, in place, so
    // that letting rows go must leave it as it is.
    bool m_instancesInPlace = false;
    std::optional<Candidate> m_cutoff; // a row must be better to be kept

    bool m_emitting = false;
    std::vector<Candidate> &m_resolved = m_buffers->resolved;
    sqlite3_blob *m_lengths = nullptr; // on the passages' sizes, moved from row to row
};

// The ranking whose statement runs on this thread. A statement runs to its
// end on the thread that steps it, so passage_rank finds its ranking here.
thread_local RankState *rankingOnThisThread = nullptr;

void passageRank(const Fts5ExtensionApi *api, Fts5Context *fts, sqlite3_context *context, int count,
                 sqlite3_value **values)
{
    if (!rankingOnThisThread) {
        sqlite3_result_error(context, "passage_rank runs only inside a passage ranking", -1);
        return;
    }
    if (const int rc = rankingOnThisThread->add(api, fts, count, values); rc != SQLITE_OK) {
        sqlite3_result_error_code(context, rc);
        return;
    }
    sqlite3_result_int(context, 1);
}

} // namespace

struct PassageRanking::State : RankState
{
    using RankState::RankState;
};

PassageRanking::PassageRanking(SQLiteDatabase &db, qsizetype rowsWanted, qsizetype heldAtMost)
    : d(std::make_unique<State>(db, rowsWanted, heldAtMost))
{
}

PassageRanking::~PassageRanking() = default;

void PassageRanking::gather(const QString &sql, const SQLBindings &bindings, Gathering gathering)
{
    d->restart(gathering);
    struct Scope
    {
        explicit Scope(RankState *state) { rankingOnThisThread = state; }
        ~Scope() { rankingOnThisThread = nullptr; }
    } scope(d.get());
    d->db().stepThrough(sql, bindings);
}

bool PassageRanking::complete() const
{
    return d->complete();
}

std::optional<RankedPassage> PassageRanking::next()
{
    return d->next();
}

QList<int> PassageRanking::phraseSizes() const
{
    return QList<int>(d->phraseSizes().begin(), d->phraseSizes().end());
}

fts5_api *FullTextRank::extension(SQLiteDatabase &db)
{
    std::lock_guard guard(db.lock());
    fts5_api *api = nullptr;
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db.handle(), "SELECT fts5(?1)", -1, &stmt, nullptr) == SQLITE_OK) {
        sqlite3_bind_pointer(stmt, 1, static_cast<void *>(&api), "fts5_api_ptr", nullptr);
        sqlite3_step(stmt);
    }
    sqlite3_finalize(stmt);
    return api;
}

void FullTextRank::install(SQLiteDatabase &db)
{
    std::lock_guard guard(db.lock());
    fts5_api *api = extension(db);
    if (!api || api->iVersion < 2)
        throw SQLiteError(SQLITE_ERROR, QStringLiteral("this SQLite's full-text search takes no ranking function"));
    const int rc = api->xCreateFunction(api, "passage_rank", nullptr, passageRank, nullptr);
    if (rc != SQLITE_OK)
        throw SQLiteError(rc, QStringLiteral("could not add the full-text ranking function"));
}
