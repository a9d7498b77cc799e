#include "store/PassageIndex.h"

#include "core/Tasks.h"
#include "store/FileRecords.h"
#include "store/FullTextRank.h"
#include "store/PassageSnippets.h"
#include "store/StoreRows.h"

#include <QHash>
#include <QSet>

#include <algorithm>

size_t qHash(const PassageHit &hit, size_t seed)
{
    seed = qHashMulti(seed, hit.ownerType, hit.ownerID, hit.ord, hit.title);
    return qHashMulti(seed, hit.body, hit.snippet, hit.score);
}

namespace {

constexpr int rowidShift = 12;
static_assert((1 << rowidShift) == PassageIndex::maxPassagesPerFile);
// Keeps each statement well under SQLite's limit on bound variables.
constexpr qsizetype rowsPerInsert = 400;
constexpr qsizetype rowidsPerDelete = 500;

// The first rowid of a file's passages, when the owner is a file.
std::optional<qint64> fileRowidBase(const PassageOwner &owner)
{
    if (owner.type != QLatin1String("file"))
        return std::nullopt;
    bool ok = false;
    const qint64 id = owner.id.toLongLong(&ok);
    if (!ok || id <= 0 || id >= (qint64(1) << (62 - rowidShift)))
        return std::nullopt;
    return id << rowidShift;
}

} // namespace

void PassageIndex::deletePassages(const QList<PassageOwner> &owners)
{
    std::lock_guard guard(m_db->lock());
    // Reading the rowids first lets one DELETE remove them all.
    QList<qint64> rowids;
    for (const PassageOwner &owner : owners) {
        const auto base = fileRowidBase(owner);
        const auto rows = base ? m_db->query(QStringLiteral("SELECT rowid FROM passages WHERE rowid BETWEEN ? AND ? "
                                                            "AND owner_type = ? AND owner_id = ?"),
                                             {*base, *base + maxPassagesPerFile - 1, owner.type, owner.id})
                               : m_db->query(QStringLiteral("SELECT rowid FROM passages WHERE rowid < 0 "
                                                            "AND owner_type = ? AND owner_id = ?"),
                                             {owner.type, owner.id});
        for (const SQLRow &row : rows)
            rowids.append(row.values().first().intValue().value_or(0));
    }
    for (qsizetype i = 0; i < rowids.size(); i += rowidsPerDelete) {
        QStringList numbers;
        for (qint64 rowid : rowids.mid(i, rowidsPerDelete))
            numbers.append(QString::number(rowid));
        // Rowids are integers, so inlining them is safe.
        m_db->run(QStringLiteral("DELETE FROM passages WHERE rowid IN (%1)").arg(numbers.join(u',')));
    }
}

void PassageIndex::setPassages(const QString &ownerType, const QString &ownerID, const QString &title,
                             const QStringList &bodies)
{
    setPassages(QList<PassageSet>{{{ownerType, ownerID}, title, bodies}});
}

void PassageIndex::setPassages(const QList<PassageSet> &sets)
{
    if (sets.isEmpty())
        return;
    std::lock_guard guard(m_db->lock());

    // The last set of an owner wins, as if each had replaced the one before.
    QList<PassageSet> unique;
    QHash<QString, qsizetype> indexOfOwner;
    for (const PassageSet &set : sets) {
        const QString key = set.owner.type + u'\n' + set.owner.id;
        const auto it = indexOfOwner.constFind(key);
        if (it != indexOfOwner.constEnd()) {
            unique[*it] = set;
            continue;
        }
        indexOfOwner.insert(key, unique.size());
        unique.append(set);
    }
    QList<PassageOwner> owners;
    for (const PassageSet &set : std::as_const(unique))
        owners.append(set.owner);
    deletePassages(owners);
    addPassages(unique);
}

void PassageIndex::addPassages(const QList<PassageSet> &sets)
{
    std::lock_guard guard(m_db->lock());
    std::optional<qint64> nextNegative;
    SQLBindings values;
    qsizetype rowCount = 0;
    const auto flush = [&] {
        if (rowCount == 0)
            return;
        QStringList tuples(rowCount, QStringLiteral("(?, ?, ?, ?, ?, ?)"));
        m_db->run(QStringLiteral("INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) VALUES ")
                      + tuples.join(u','),
                  values);
        values.clear();
        rowCount = 0;
    };

    for (const PassageSet &set : sets) {
        QStringList bodies = set.bodies.isEmpty() ? QStringList{QString()} : set.bodies;
        qint64 first = 0;
        if (const auto base = fileRowidBase(set.owner)) {
            bodies = bodies.mid(0, maxPassagesPerFile);
            first = *base;
        } else {
            if (!nextNegative) {
                const auto lowest =
                    m_db->scalar(QStringLiteral("SELECT rowid FROM passages ORDER BY rowid ASC LIMIT 1")).intValue();
                nextNegative = std::min<qint64>(0, lowest.value_or(0));
            }
            *nextNegative -= bodies.size();
            first = *nextNegative;
        }
        for (qsizetype i = 0; i < bodies.size(); ++i) {
            values << first + i << (i == 0 ? set.title : QString()) << bodies.at(i) << set.owner.type << set.owner.id
                   << qint64(i);
            if (++rowCount == rowsPerInsert)
                flush();
        }
    }
    flush();
}

PassageIndex::PassageIndex(std::shared_ptr<SQLiteDatabase> db)
    : m_db(std::move(db))
{
}

QString PassageIndex::text(const PassageOwner &owner) const
{
    const auto rows = m_db->query(
        QStringLiteral("SELECT body FROM passages WHERE owner_type = ? AND owner_id = ? ORDER BY ord"),
        {owner.type, owner.id});
    QStringList bodies;
    bodies.reserve(rows.size());
    for (const SQLRow &row : rows)
        bodies.append(row.string(0).value_or(QString()));
    return bodies.join(u'\n');
}

QList<PassageHit> PassageIndex::searchPassages(const QString &match, const QStringList &ownerTypes,
                                             const std::optional<QString> &excludingOwner, int limit) const
{
    QStringList types = ownerTypes;
    std::sort(types.begin(), types.end());
    QString sql = QStringLiteral(
        "SELECT title, body, owner_type, owner_id, ord, bm25(passages, 6.0, 1.0) AS score, "
        "snippet(passages, 1, '⟦', '⟧', '…', 40) AS snip FROM passages WHERE passages MATCH ? AND owner_type IN (");
    SQLBindings bindings{match};
    QStringList marks;
    for (const QString &type : types) {
        marks.append(QStringLiteral("?"));
        bindings.append(type);
    }
    sql += marks.join(u',') + u')';
    if (excludingOwner) {
        sql += QStringLiteral(" AND owner_id != ?");
        bindings.append(*excludingOwner);
    }
    sql += QStringLiteral(" ORDER BY score LIMIT ?");
    // Overscan: the same passage can come back more than once.
    bindings.append(qint64(limit) * 3);

    QList<PassageHit> hits;
    QSet<QString> seen;
    for (const SQLRow &row : m_db->query(sql, bindings)) {
        if (hits.size() >= limit)
            break;
        PassageHit hit;
        hit.ownerType = row.string(QStringLiteral("owner_type")).value_or(QString());
        hit.ownerID = row.string(QStringLiteral("owner_id")).value_or(QString());
        hit.ord = row.integer(QStringLiteral("ord")).value_or(0);
        const QString key = hit.ownerType + u'/' + hit.ownerID + u'/' + QString::number(hit.ord);
        if (seen.contains(key))
            continue;
        seen.insert(key);
        hit.title = row.string(QStringLiteral("title")).value_or(QString());
        hit.body = row.string(QStringLiteral("body")).value_or(QString());
        hit.snippet = row.string(QStringLiteral("snip")).value_or(QString());
        hit.score = row.real(QStringLiteral("score")).value_or(0);
        hits.append(hit);
    }
    return hits;
}

QStringList PassageIndex::termsOf(const QString &text) const
{
    return PassageSnippets(*m_db, QString::fromLatin1(tokenize)).terms(text);
}

QList<IndexedTerm> PassageIndex::termsStartingWith(const QString &prefix, const CancellationToken &token) const
{
    // A page of common terms reads a few milliseconds of postings.
    constexpr qint64 pageSize = 32;
    QList<IndexedTerm> terms;
    while (!token.isCancelled()) {
        QList<SQLRow> rows;
        {
            std::lock_guard guard(m_db->lock());
            // The vocabulary is a view of the connection, not part of the library file.
            m_db->run(
                QStringLiteral("CREATE VIRTUAL TABLE IF NOT EXISTS temp.passage_terms USING fts5vocab(main, passages, row)"));
            // The range lets the vocabulary read only the terms of the prefix,
            // from the page's first; U+10FFFF sorts after every character.
            const QString from = terms.isEmpty() ? QStringLiteral(">=") : QStringLiteral(">");
            rows = m_db->query(QStringLiteral("SELECT term, doc FROM temp.passage_terms WHERE term %1 ?1 AND term < ?2 || char(1114111) "
                                              "ORDER BY term LIMIT ?3")
                                   .arg(from),
                               {terms.isEmpty() ? prefix : terms.last().term, prefix, pageSize});
        }
        for (const SQLRow &row : rows)
            terms.append({row.string(0).value_or(QString()), row.integer(1).value_or(0)});
        if (rows.size() < pageSize)
            break;
    }
    return terms;
}

// Files ranked by their best passage, each with its passages in rank order;
// the records are yet to be read.
struct PassageIndex::RankedFiles
{
    QList<FileHit> hits;
    QList<QList<RankedPassage>> passagesOfHit;
    QList<int> phraseSizes; // of the match's phrases
    QList<qint64> fileIDs() const;
};

QList<FileHit> PassageIndex::searchFiles(const FullTextMatch &match, const FileFilter &filter, int limit) const
{
    const CompiledFilter compiled = compileFilter(filter);
    // Without a filter, the join only leaves out passages whose file is
    // gone, as a file deleted while its text was being stored can leave.
    // Skipping it saves a lookup a row; when the hits' files show such a
    // passage among the rows read, the joined statement runs after all.
    const bool unfiltered = compiled.clause == QLatin1String("1");
    return m_db->readTransaction([&] {
        RankedFiles ranked = rankFiles(unfiltered ? RankPlan::unjoined : RankPlan::joined, match, compiled, limit);
        const FileRecords files(m_db, nullptr);
        QHash<qint64, FileRecord> records = files.records(ranked.fileIDs());
        if (records.size() < ranked.hits.size()) {
            ranked = rankFiles(RankPlan::joined, match, compiled, limit);
            records = files.records(ranked.fileIDs());
        }
        for (FileHit &hit : ranked.hits)
            hit.file = records.value(hit.file.id, hit.file);
        lendSnippets(ranked);
        return ranked.hits;
    });
}

QList<qint64> PassageIndex::RankedFiles::fileIDs() const
{
    QList<qint64> ids;
    for (const FileHit &hit : hits)
        ids.append(hit.file.id);
    return ids;
}

PassageIndex::RankedFiles PassageIndex::rankFiles(RankPlan plan, const FullTextMatch &match,
                                                  const CompiledFilter &filter, int limit) const
{
    // A file has many passages, hence up to six rows a hit.
    const qint64 rowsAtMost = qint64(std::max(limit, 0)) * 6;
    PassageRanking ranking(*m_db, rowsAtMost);
    // Every row that passes the filter is gathered in one pass, then given
    // out best first. Only files' passages have positive rowids, (file id
    // << 12) + ord, so the join and the filter need nothing of a passage
    // but its rowid. With no filter, a match of phrases joined by OR is
    // gathered phrase by phrase, in the passes that count each phrase's
    // rows.
    bool gathered = false;
    if (plan == RankPlan::unjoined && match.join == PhraseJoin::any) {
        ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? LIMIT 1"),
                       {match.expression}, PassageRanking::Gathering::phraseByPhrase);
        gathered = ranking.complete();
    }
    if (!gathered) {
        const QString join = plan == RankPlan::joined
            ? QStringLiteral("JOIN files f ON f.id = p.rowid / %1").arg(maxPassagesPerFile)
            : QString();
        ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages p ") + join
                           + QStringLiteral(" WHERE passages MATCH ? AND p.rowid > 0 AND ") + filter.clause,
                       SQLBindings{match.expression} + filter.bindings);
    }

    // One hit a file, from its best row; the file's later rows are kept in
    // order, as they may lend it a snippet.
    RankedFiles ranked;
    ranked.phraseSizes = ranking.phraseSizes();
    QHash<qint64, qsizetype> indexByID;
    for (qint64 rows = 0; rows < rowsAtMost && ranked.hits.size() < limit; ++rows) {
        std::optional<RankedPassage> passage = ranking.next();
        if (!passage)
            break;
        const qint64 id = passage->rowid / maxPassagesPerFile;
        const auto known = indexByID.constFind(id);
        if (known != indexByID.constEnd()) {
            ranked.passagesOfHit[*known].append(std::move(*passage));
            continue;
        }
        FileHit hit;
        hit.file.id = id;
        hit.score = -passage->score;
        indexByID.insert(id, ranked.hits.size());
        ranked.hits.append(hit);
        ranked.passagesOfHit.append(QList<RankedPassage>{std::move(*passage)});
    }
    return ranked;
}

void PassageIndex::lendSnippets(RankedFiles &ranked) const
{
    // A hit shows the snippet of its first passage, in rank order, that
    // marks a word. Only a passage with a phrase in its text can: the
    // ranking says which do, so the text is read for those alone, a round
    // at a time, the next such passage of each hit still without a snippet.
    constexpr int bodyColumn = 1;
    const SnippetShape shape{QByteArrayLiteral("⟦"), QByteArrayLiteral("⟧"), QByteArrayLiteral("…"), 18};
    const auto hasText = [&](const RankedPassage &passage) {
        return std::any_of(passage.instances.begin(), passage.instances.end(),
                           [&](const PhraseInstance &instance) { return instance.column == bodyColumn; });
    };
    std::optional<PassageSnippets> snippets;
    QList<qsizetype> tried(ranked.hits.size(), 0); // passages of each hit looked at
    for (;;) {
        QHash<qint64, qsizetype> hitOfPassage;
        for (qsizetype i = 0; i < ranked.hits.size(); ++i) {
            if (ranked.hits.at(i).snippet)
                continue;
            const QList<RankedPassage> &passages = ranked.passagesOfHit.at(i);
            while (tried[i] < passages.size() && !hasText(passages.at(tried[i])))
                ++tried[i];
            if (tried[i] < passages.size())
                hitOfPassage.insert(passages.at(tried[i]).rowid, i);
        }
        if (hitOfPassage.isEmpty())
            return;
        if (!snippets)
            snippets.emplace(*m_db, QString::fromLatin1(tokenize));
        const QList<SQLRow> rows =
            m_db->query(QStringLiteral("SELECT rowid, body FROM passages WHERE rowid IN (SELECT value FROM json_each(?))"),
                        {StoreRows::jsonList(hitOfPassage.keys())});
        for (const SQLRow &row : rows) {
            const qsizetype i = hitOfPassage.value(row.integer(0).value_or(0), -1);
            if (i < 0)
                continue;
            const RankedPassage &passage = ranked.passagesOfHit.at(i).at(tried[i]);
            const QString snippet = snippets->snippet(row.string(1).value_or(QString()), bodyColumn,
                                                      passage.instances, ranked.phraseSizes, shape);
            if (snippet.contains(QStringLiteral("⟦")))
                ranked.hits[i].snippet = snippet;
        }
        for (const qsizetype i : std::as_const(hitOfPassage))
            ++tried[i];
    }
}
