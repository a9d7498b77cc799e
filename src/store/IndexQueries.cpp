// IndexStore: removing rows, document text, the text queue, the full-text
// statements, listing, aggregates, and the candidates for the tidy-up tools.
#include "store/IndexStore.h"

#include "search/SearchQuery.h"
#include "store/FullTextRank.h"
#include "store/PassageSnippets.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <numeric>

size_t qHash(const PassageHit &hit, size_t seed)
{
    seed = qHashMulti(seed, hit.ownerType, hit.ownerID, hit.ord, hit.title);
    return qHashMulti(seed, hit.body, hit.snippet, hit.score);
}

size_t qHash(const KindStat &stat, size_t seed)
{
    return qHashMulti(seed, int(stat.kind), stat.count, stat.bytes);
}

size_t qHash(const SourceStat &stat, size_t seed)
{
    return qHashMulti(seed, stat.source, stat.count, stat.bytes);
}

// ---- Removing rows ----

void IndexStore::deleteFiles(const QList<qint64> &ids)
{
    if (ids.isEmpty())
        return;
    QList<PassageOwner> owners;
    owners.reserve(ids.size());
    for (qint64 id : ids)
        owners.append({QStringLiteral("file"), QString::number(id)});
    deletePassages(owners);
    constexpr qsizetype idsPerStatement = 500;
    for (qsizetype i = 0; i < ids.size(); i += idsPerStatement) {
        QStringList numbers;
        for (qint64 id : ids.mid(i, idsPerStatement))
            numbers.append(QString::number(id));
        // Ids are integers, so inlining them is safe.
        m_db->run(QStringLiteral("DELETE FROM files WHERE id IN (%1)").arg(numbers.join(u',')));
    }
}

qint64 IndexStore::deleteSelected(const QString &selectIDs, const SQLBindings &bindings)
{
    return m_db->transaction([&] {
        QList<qint64> ids;
        for (const SQLRow &row : m_db->query(selectIDs, bindings)) {
            if (const auto id = row.values().value(0).intValue())
                ids.append(*id);
        }
        deleteFiles(ids);
        return qint64(ids.size());
    });
}

void IndexStore::deletePaths(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    m_db->transaction([&] {
        QList<qint64> ids;
        for (const QString &path : paths) {
            if (const auto id = m_db->scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue())
                ids.append(*id);
        }
        deleteFiles(ids);
    });
}

void IndexStore::deleteFolder(const QString &folder)
{
    FileFilter filter;
    filter.folder = folder;
    const CompiledFilter compiled = compileFilter(filter);
    deleteSelected(QStringLiteral("SELECT f.id FROM files f WHERE ") + compiled.clause, compiled.bindings);
}

void IndexStore::deleteRoot(const QString &root)
{
    deleteSelected(QStringLiteral("SELECT id FROM files WHERE root = ?"), {root});
}

qint64 IndexStore::reconcile(const QString &root, double seenBefore)
{
    return deleteSelected(QStringLiteral("SELECT id FROM files WHERE root = ? AND seen_at < ?"), {root, seenBefore});
}

// ---- Text ----

namespace {

// Lines of single-spaced words; a run of blank lines becomes one empty line.
QString normalizedText(const QString &text)
{
    static const QRegularExpression newline(QStringLiteral("\\r\\n|[\\n\\r\\x{0B}\\x{0C}\\x{85}\\x{2028}\\x{2029}]"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    QStringList kept;
    bool pendingBlank = false;
    for (const QString &line : text.split(newline)) {
        const QString simplified = line.simplified();
        if (simplified.isEmpty()) {
            pendingBlank = !kept.isEmpty();
            continue;
        }
        if (pendingBlank)
            kept.append(QString());
        pendingBlank = false;
        kept.append(simplified);
    }
    return kept.join(u'\n').trimmed();
}

// Keeps a cut from falling between the two halves of a surrogate pair.
qsizetype safeCut(const QString &text, qsizetype at)
{
    if (at > 0 && at < text.size() && text.at(at).isLowSurrogate() && text.at(at - 1).isHighSurrogate())
        return at - 1;
    return at;
}

// Where a slice [start, end) should end instead of at end: just after the
// last paragraph break, sentence end or space in its second half.
std::optional<qsizetype> betterBreak(const QString &text, qsizetype start, qsizetype end)
{
    const QStringView slice = QStringView(text).mid(start, end - start);
    const qsizetype mid = slice.size() / 2;
    static const QString separators[] = {QStringLiteral("\n\n"), QStringLiteral(". "), QStringLiteral("? "),
                                         QStringLiteral("! "), QStringLiteral(".\n"), QStringLiteral("\n")};
    for (const QString &separator : separators) {
        const qsizetype at = slice.lastIndexOf(separator);
        if (at > mid)
            return start + at + separator.size();
    }
    const qsizetype space = slice.lastIndexOf(u' ');
    if (space > mid)
        return start + space + 1;
    return std::nullopt;
}

} // namespace

QStringList passages(const QString &text, int size, int overlap)
{
    const QString normalized = normalizedText(text);
    if (normalized.isEmpty())
        return {};
    if (normalized.size() <= size)
        return {normalized};

    QStringList result;
    const qsizetype length = normalized.size();
    qsizetype start = 0;
    while (true) {
        qsizetype end = std::min<qsizetype>(start + size, length);
        if (end != length) {
            end = safeCut(normalized, end);
            if (const auto cut = betterBreak(normalized, start, end))
                end = *cut;
        }
        const QString piece = normalized.mid(start, end - start).trimmed();
        if (!piece.isEmpty())
            result.append(piece);
        if (end == length)
            break;

        const qsizetype back = std::min<qsizetype>((end - start) / 2, overlap);
        qsizetype next = safeCut(normalized, end - back);
        // Begin the next passage at a word.
        for (qsizetype i = next; i < end; ++i) {
            const QChar c = normalized.at(i);
            if (c == u' ' || c == u'\n') {
                next = i + 1;
                break;
            }
        }
        if (next <= start)
            next = end;
        if (next >= length)
            break;
        start = next;
    }
    return result;
}

void IndexStore::setText(const FileRecord &record, const QString &text, std::optional<qint64> pages)
{
    const QStringList chunks = passages(text, 900, 120);
    std::optional<QString> excerpt;
    if (!chunks.isEmpty())
        excerpt = chunks.first().left(600);
    const int state = int(chunks.isEmpty() ? TextState::NoText : TextState::Extracted);
    m_db->transaction([&] {
        // A file deleted while its text was read keeps no passages.
        if (m_db->run(QStringLiteral("UPDATE files SET text_state = ?, text_excerpt = ?, pages = COALESCE(?, pages) "
                                     "WHERE id = ?"),
                      {state, excerpt, pages, record.id})
            == 0)
            return;
        setPassages(QStringLiteral("file"), QString::number(record.id), title(record), chunks);
    });
}

namespace {

QList<FileRecord> decodeRecords(const QList<SQLRow> &rows)
{
    QList<FileRecord> records;
    records.reserve(rows.size());
    for (const SQLRow &row : rows)
        records.append(IndexStore::decodeRecord(row));
    return records;
}

} // namespace

QList<FileRecord> IndexStore::textQueue(int limit) const
{
    return decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f WHERE text_state = 0 AND kind IN ('document', 'image') "
                       "ORDER BY CASE kind WHEN 'document' THEN 0 ELSE 1 END, is_screenshot DESC, modified DESC "
                       "LIMIT ?"),
        {limit}));
}

qint64 IndexStore::textQueueCount() const
{
    return m_db
        ->scalar(QStringLiteral(
            "SELECT COUNT(*) AS n FROM files WHERE text_state = 0 AND kind IN ('document', 'image')"))
        .intValue()
        .value_or(0);
}

// ---- Full text ----

QList<PassageHit> IndexStore::searchPassages(const QString &match, const QStringList &ownerTypes,
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

QList<FileHit> IndexStore::searchFiles(const QString &match, const FileFilter &filter, int limit) const
{
    const CompiledFilter compiled = compileFilter(filter);
    // Without a filter, the join only leaves out passages whose file is
    // gone, as a file deleted while its text was being stored can leave.
    // Skipping it saves a lookup a row; when the hits' files show such a
    // passage among the rows read, the joined statement runs after all.
    const bool unfiltered = compiled.clause == QLatin1String("1");
    return m_db->readTransaction([&] {
        RankedFiles ranked = rankFiles(unfiltered ? RankPlan::unjoined : RankPlan::joined, match, compiled, limit);
        QHash<qint64, FileRecord> files = records(ranked.fileIDs());
        if (files.size() < ranked.hits.size()) {
            ranked = rankFiles(RankPlan::joined, match, compiled, limit);
            files = records(ranked.fileIDs());
        }
        for (FileHit &hit : ranked.hits)
            hit.file = files.value(hit.file.id, hit.file);
        lendSnippets(ranked);
        return ranked.hits;
    });
}

namespace {

// Whether a match is one phrase or phrases joined by OR, as the search
// engine's any-word expressions and one-word requests are.
bool isDisjunction(const QString &match)
{
    static const QRegularExpression phrases(QStringLiteral(R"(^\(?"[^"]*"\*?(?: OR "[^"]*"\*?)*\)?$)"));
    return phrases.match(match).hasMatch();
}

} // namespace

QList<qint64> IndexStore::RankedFiles::fileIDs() const
{
    QList<qint64> ids;
    for (const FileHit &hit : hits)
        ids.append(hit.file.id);
    return ids;
}

IndexStore::RankedFiles IndexStore::rankFiles(RankPlan plan, const QString &match, const CompiledFilter &filter,
                                              int limit) const
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
    if (plan == RankPlan::unjoined && isDisjunction(match)) {
        ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages WHERE passages MATCH ? LIMIT 1"),
                       {match}, PassageRanking::Gathering::phraseByPhrase);
        gathered = ranking.complete();
    }
    if (!gathered) {
        const QString join = plan == RankPlan::joined
            ? QStringLiteral("JOIN files f ON f.id = p.rowid / %1").arg(maxPassagesPerFile)
            : QString();
        ranking.gather(QStringLiteral("SELECT passage_rank(passages, 6.0, 1.0) FROM passages p ") + join
                           + QStringLiteral(" WHERE passages MATCH ? AND p.rowid > 0 AND ") + filter.clause,
                       SQLBindings{match} + filter.bindings);
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

void IndexStore::lendSnippets(RankedFiles &ranked) const
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
            snippets.emplace(*m_db, QString::fromLatin1(passageTokenize));
        const QList<SQLRow> rows =
            m_db->query(QStringLiteral("SELECT rowid, body FROM passages WHERE rowid IN (SELECT value FROM json_each(?))"),
                        {jsonList(hitOfPassage.keys())});
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

// ---- Listing and aggregates ----

QList<FileRecord> IndexStore::list(const FileFilter &filter, FileSort sort, int limit, int offset) const
{
    const CompiledFilter compiled = compileFilter(filter);
    SQLBindings bindings = compiled.bindings;
    bindings << limit << offset;
    return decodeRecords(m_db->query(QStringLiteral("SELECT f.* FROM files f WHERE ") + compiled.clause
                                         + QStringLiteral(" ORDER BY ") + compileSort(sort)
                                         + QStringLiteral(" LIMIT ? OFFSET ?"),
                                     bindings));
}

IndexStore::Total IndexStore::count(const FileFilter &filter) const
{
    const CompiledFilter compiled = compileFilter(filter);
    const auto rows = m_db->query(
        QStringLiteral("SELECT COUNT(*) AS n, COALESCE(SUM(f.size), 0) AS bytes FROM files f WHERE ") + compiled.clause,
        compiled.bindings);
    if (rows.isEmpty())
        return {};
    return {rows.first().integer(QStringLiteral("n")).value_or(0),
            rows.first().integer(QStringLiteral("bytes")).value_or(0)};
}

QList<KindStat> IndexStore::kindStats() const
{
    QList<KindStat> stats;
    const auto rows = m_db->query(
        QStringLiteral("SELECT kind, COUNT(*) AS n, COALESCE(SUM(size), 0) AS bytes FROM files GROUP BY kind"));
    for (const SQLRow &row : rows) {
        const QString raw = row.string(QStringLiteral("kind")).value_or(QString());
        const FileKind kind = fileKindFromRawValue(raw);
        // Unknown kinds read as other elsewhere; here they are left out.
        if (fileKindRawValue(kind) != raw)
            continue;
        stats.append({kind, row.integer(QStringLiteral("n")).value_or(0), row.integer(QStringLiteral("bytes")).value_or(0)});
    }
    return stats;
}

QList<SourceStat> IndexStore::sourceStats() const
{
    QList<SourceStat> stats;
    const auto rows = m_db->query(QStringLiteral("SELECT source, COUNT(*) AS n, COALESCE(SUM(size), 0) AS bytes "
                                                 "FROM files WHERE source IS NOT NULL GROUP BY source ORDER BY n DESC"));
    for (const SQLRow &row : rows) {
        stats.append({DownloadSource{row.string(QStringLiteral("source")).value_or(QString())},
                      row.integer(QStringLiteral("n")).value_or(0), row.integer(QStringLiteral("bytes")).value_or(0)});
    }
    return stats;
}

// ---- Candidates ----

QList<QList<FileRecord>> IndexStore::sizeDuplicateCandidates(qint64 minSize) const
{
    const auto records = decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f JOIN ("
                       "SELECT size FROM files WHERE size >= ? AND kind != 'app' GROUP BY size HAVING COUNT(*) > 1"
                       ") s ON s.size = f.size ORDER BY f.size DESC, f.path"),
        {minSize}));
    // Rows come sorted by size, so neighbours of one size make a group.
    QList<QList<FileRecord>> groups;
    for (const FileRecord &record : records) {
        if (groups.isEmpty() || groups.last().first().size != record.size)
            groups.append(QList<FileRecord>());
        groups.last().append(record);
    }
    return groups;
}

QList<FileRecord> IndexStore::cleanupCandidates(const QString &downloadsFolder) const
{
    QString folder = downloadsFolder;
    if (!folder.endsWith(u'/'))
        folder.append(u'/');
    // Installers of the Mac and of Linux package systems alike.
    return decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f "
                       "WHERE f.ext IN ('dmg', 'pkg', 'mpkg', 'deb', 'rpm', 'flatpakref', 'snap') "
                       "OR f.kind = 'app' OR f.is_screenshot = 1 "
                       "OR (f.kind = 'video' AND f.size >= 500000000) OR substr(f.path, 1, ?) = ?"),
        {qint64(folder.toUcs4().size()), folder}));
}

QHash<qint64, QByteArray> IndexStore::featurePrints(const QList<qint64> &ids) const
{
    QHash<qint64, QByteArray> prints;
    // Slices of 500 keep each statement well within SQLite's limits.
    constexpr qsizetype slice = 500;
    for (qsizetype from = 0; from < ids.size(); from += slice) {
        QStringList numbers;
        for (qint64 id : ids.mid(from, slice))
            numbers.append(QString::number(id));
        const auto rows = m_db->query(
            QStringLiteral("SELECT id, feature_print FROM files WHERE feature_print IS NOT NULL AND id IN (")
            + numbers.join(u',') + u')');
        for (const SQLRow &row : rows) {
            const auto id = row.integer(QStringLiteral("id"));
            const auto bytes = row.value(QStringLiteral("feature_print")).blobValue();
            if (id && bytes)
                prints.insert(*id, *bytes);
        }
    }
    return prints;
}
