#include "store/FileRecords.h"

#include "store/PassageIndex.h"
#include "store/StoreRows.h"

#include <cmath>
#include <mutex>

struct FileRecords::Reader
{
    std::mutex lock;
    bool tried = false;
    std::unique_ptr<SQLiteDatabase> database;
};

std::shared_ptr<FileRecords::Reader> FileRecords::makeReader()
{
    return std::make_shared<Reader>();
}

FileRecords::FileRecords(std::shared_ptr<SQLiteDatabase> db, std::shared_ptr<Reader> reader)
    : m_db(std::move(db))
    , m_reader(std::move(reader))
{
}

PassageIndex FileRecords::passages() const
{
    return PassageIndex(m_db);
}

std::optional<FileRecord> FileRecords::record(qint64 id) const
{
    const auto rows = m_db->query(QStringLiteral("SELECT f.* FROM files f WHERE id = ?"), {id});
    if (rows.isEmpty())
        return std::nullopt;
    return StoreRows::decodeRecord(rows.first());
}

QHash<qint64, FileRecord> FileRecords::records(const QList<qint64> &ids) const
{
    QHash<qint64, FileRecord> result;
    if (ids.isEmpty())
        return result;
    const auto rows = m_db->query(QStringLiteral("SELECT f.* FROM files f WHERE id IN (SELECT value FROM json_each(?))"),
                                  {StoreRows::jsonList(ids)});
    for (const SQLRow &row : rows) {
        FileRecord record = StoreRows::decodeRecord(row);
        result.insert(record.id, std::move(record));
    }
    return result;
}

std::optional<FileRecord> FileRecords::recordAt(const QString &path) const
{
    const auto rows = m_db->query(QStringLiteral("SELECT f.* FROM files f WHERE path = ?"), {path});
    if (rows.isEmpty())
        return std::nullopt;
    return StoreRows::decodeRecord(rows.first());
}

namespace {

// Images and documents wait for text; other kinds have none to read.
int initialTextState(FileKind kind)
{
    return (kind == FileKind::image || kind == FileKind::document) ? 0 : 2;
}

// What the upsert compares of a stored row.
struct StoredFile
{
    std::optional<qint64> id;
    std::optional<qint64> size;
    double modified = -1.0; // -1 when absent
    FileKind kind = FileKind::other;
};

bool isUnchanged(const StoredFile &stored, const FileRecord &record)
{
    if (!stored.size || *stored.size != record.size)
        return false;
    return std::abs(stored.modified - record.modified.value_or(-1.0)) < 0.001;
}

// The bindings that the insert and the full update share, in statement order.
SQLBindings contentBindings(const FileRecord &r)
{
    return {r.name, r.ext, r.uti, fileKindRawValue(r.kind), r.size, r.created, r.modified, r.added, r.opened,
            r.sourceID, r.sourceURL, r.bundleID, r.isScreenshot ? 1 : 0, r.width, r.height, r.duration, r.pages};
}

} // namespace

// The stored rows of the records' paths, looked up in slices of 500, well
// within SQLite's limit on parameters.
static QHash<QString, StoredFile> storedFiles(SQLiteDatabase &db, const QList<FileRecord> &records)
{
    QHash<QString, StoredFile> stored;
    constexpr qsizetype slice = 500;
    for (qsizetype from = 0; from < records.size(); from += slice) {
        const qsizetype count = std::min(slice, records.size() - from);
        SQLBindings bindings;
        bindings.reserve(count);
        for (qsizetype i = from; i < from + count; ++i)
            bindings.append(records.at(i).path);
        const QString marks = QStringLiteral("?,").repeated(count).chopped(1);
        const auto rows = db.query(
            QStringLiteral("SELECT id, path, size, modified, kind FROM files WHERE path IN (") + marks + u')', bindings);
        // Read by position: this runs for every file of every scan.
        for (const SQLRow &row : rows) {
            stored.insert(row.string(1).value_or(QString()),
                          {row.integer(0), row.integer(2), row.date(3).value_or(-1.0),
                           fileKindFromRawValue(row.string(4).value_or(QString()))});
        }
    }
    return stored;
}

SQLiteDatabase &FileRecords::reader() const
{
    if (!m_reader)
        return *m_db;
    std::lock_guard guard(m_reader->lock);
    if (!m_reader->tried) {
        m_reader->tried = true;
        const QString path = m_db->path();
        if (!path.isEmpty() && path != QLatin1String(":memory:")) {
            try {
                m_reader->database = std::make_unique<SQLiteDatabase>(path);
            } catch (const DescribedError &) {
                m_reader->database.reset();
            }
        }
    }
    return m_reader->database ? *m_reader->database : *m_db;
}

void FileRecords::upsert(const QList<FileRecord> &records, const QString &root, double seenAt)
{
    if (records.isEmpty())
        return;
    m_db->transaction([&] {
        // One lookup for the batch instead of one a record; the map follows
        // the batch's own writes, so a path that comes twice sees its first
        // row.
        QHash<QString, StoredFile> stored = storedFiles(*m_db, records);
        // Light updates are gathered and written together, in order before
        // any other write of the batch.
        QList<std::pair<qint64, const FileRecord *>> light;
        const auto writeLight = [&] {
            if (!light.isEmpty())
                lightUpdate(light, root, seenAt);
            light.clear();
        };
        // Title rows are written after the files rows, all at once: each
        // statement on the full-text table flushes its pending index data, so
        // one statement per batch instead of two per file keeps the index
        // compact and the batch fast. Files that had rows before the batch
        // lose their old passages first.
        QList<PassageSet> titles;
        QHash<qint64, qsizetype> titleOfID;
        QList<PassageOwner> replaced;
        for (const FileRecord &r : records) {
            const StoredFile row = stored.value(r.path);
            if (row.id && isUnchanged(row, r)) {
                light.append({*row.id, &r});
                continue;
            }
            writeLight();
            qint64 id = 0;
            if (!row.id) {
                SQLBindings bindings = contentBindings(r);
                bindings << initialTextState(r.kind) << seenAt << root << r.path;
                std::lock_guard guard(m_db->lock());
                m_db->run(QStringLiteral(
                              "INSERT INTO files(name, ext, uti, kind, size, created, modified, added, opened, source, "
                              "source_url, bundle_id, is_screenshot, width, height, duration, pages, text_state, "
                              "seen_at, root, path) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                          bindings);
                id = m_db->lastInsertRowID();
            } else {
                id = *row.id;
                if (!titleOfID.contains(id))
                    replaced.append({QStringLiteral("file"), QString::number(id)});
                SQLBindings bindings = contentBindings(r);
                bindings << initialTextState(r.kind) << seenAt << root << id;
                m_db->run(QStringLiteral(
                              "UPDATE files SET name = ?, ext = ?, uti = ?, kind = ?, size = ?, created = ?, "
                              "modified = ?, added = ?, opened = ?, source = ?, source_url = ?, bundle_id = ?, "
                              "is_screenshot = ?, width = ?, height = ?, duration = ?, pages = ?, sha256 = NULL, "
                              "feature_print = NULL, text_state = ?, text_excerpt = NULL, seen_at = ?, root = ? "
                              "WHERE id = ?"),
                          bindings);
            }
            stored.insert(r.path, {id, r.size, r.modified.value_or(-1.0), r.kind});
            // A path seen twice in one batch keeps the title of its last record.
            const PassageSet set{{QStringLiteral("file"), QString::number(id)}, title(r), {}};
            if (const auto it = titleOfID.constFind(id); it != titleOfID.constEnd()) {
                titles[*it] = set;
            } else {
                titleOfID.insert(id, titles.size());
                titles.append(set);
            }
        }
        writeLight();
        passages().deletePassages(replaced);
        passages().addPassages(titles);
    });
}

void FileRecords::lightUpdate(const QList<std::pair<qint64, const FileRecord *>> &rows, const QString &root,
                             double seenAt)
{
    // One statement for many rows: an unchanged file costs a row of it
    // instead of a statement of its own. The desktop prunes its list of
    // recently used files, so a missing last-used date means unknown: the
    // stored one stays. A source the scan didn't find stays too. Rows
    // without a source leave the source columns out of the statement, which
    // spares the source index a rewrite of every row.
    QList<std::pair<qint64, const FileRecord *>> withSource;
    QList<std::pair<qint64, const FileRecord *>> withoutSource;
    for (const auto &row : rows)
        (row.second->sourceID || row.second->sourceURL ? withSource : withoutSource).append(row);
    constexpr qsizetype slice = 400;
    for (const bool sourced : {true, false}) {
        const auto &group = sourced ? withSource : withoutSource;
        for (qsizetype from = 0; from < group.size(); from += slice) {
            SQLBindings bindings;
            QStringList values;
            for (const auto &[id, r] : group.mid(from, slice)) {
                values.append(sourced ? QStringLiteral("(?, ?, ?, ?, ?, ?)") : QStringLiteral("(?, ?, ?, ?)"));
                bindings << id << r->opened << r->added;
                if (sourced)
                    bindings << r->sourceID << r->sourceURL;
                bindings << (r->isScreenshot ? 1 : 0);
            }
            bindings << seenAt << root;
            const QString columns = sourced ? QStringLiteral("id, opened, added, source, source_url, shot")
                                            : QStringLiteral("id, opened, added, shot");
            const QString sources = sourced ? QStringLiteral("source = COALESCE(v.source, files.source), "
                                                             "source_url = COALESCE(v.source_url, files.source_url), ")
                                            : QString();
            m_db->run(QStringLiteral("WITH v(") + columns + QStringLiteral(") AS (VALUES ") + values.join(u',')
                          + QStringLiteral(") UPDATE files SET opened = COALESCE(v.opened, files.opened), "
                                           "added = v.added, ")
                          + sources
                          + QStringLiteral("is_screenshot = v.shot, seen_at = ?, root = ? FROM v WHERE files.id = v.id"),
                      bindings);
        }
    }
}

QHash<QString, FileKind> FileRecords::unchangedKinds(const QList<FileRecord> &records) const
{
    // Only what is committed is seen, which is all a scan needs: it asks
    // about the paths of the batch it has just read, and the upsert looks
    // them up again in its own transaction.
    const QHash<QString, StoredFile> stored = storedFiles(reader(), records);
    QHash<QString, FileKind> unchanged;
    for (const FileRecord &r : records) {
        const auto row = stored.constFind(r.path);
        if (row != stored.constEnd() && row->id && isUnchanged(*row, r))
            unchanged.insert(r.path, row->kind);
    }
    return unchanged;
}

bool FileRecords::holdsFilesUnder(const QString &folder) const
{
    FileFilter filter;
    filter.folder = folder;
    const CompiledFilter compiled = compileFilter(filter);
    return reader()
               .scalar(QStringLiteral("SELECT EXISTS(SELECT 1 FROM files f WHERE ") + compiled.clause + u')',
                       compiled.bindings)
               .intValue()
               .value_or(1)
           != 0;
}

namespace {

// "ACMEInvoice2024" becomes "ACMEInvoice 2024"; "myFile" becomes "my File".
QString spacedBaseName(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    const QString base = dot > 0 ? name.left(dot) : name;
    QString spaced;
    spaced.reserve(base.size() + 8);
    for (qsizetype i = 0; i < base.size(); ++i) {
        if (i > 0) {
            const QChar previous = base.at(i - 1);
            const QChar current = base.at(i);
            if ((previous.isLower() && current.isUpper()) || (previous.isLetter() && current.isNumber()))
                spaced.append(u' ');
        }
        spaced.append(base.at(i));
    }
    return spaced;
}

} // namespace

QString FileRecords::title(const FileRecord &record)
{
    // The name, the name spaced at case and digit changes, and the names of
    // the last two folders above the file.
    QString title = record.name + u' ' + spacedBaseName(record.name);
    const QStringView path(record.path);
    QStringView folders[2];
    qsizetype end = path.lastIndexOf(u'/');
    for (int found = 0; found < 2 && end > 0;) {
        const qsizetype start = path.lastIndexOf(u'/', end - 1);
        if (end - start > 1)
            folders[found++] = path.sliced(start + 1, end - start - 1);
        end = start;
    }
    for (int i = 1; i >= 0; --i) {
        if (!folders[i].isEmpty()) {
            title += u' ';
            title += folders[i];
        }
    }
    return title;
}

// ---- Removing rows ----

void FileRecords::deleteFiles(const QList<qint64> &ids)
{
    if (ids.isEmpty())
        return;
    QList<PassageOwner> owners;
    owners.reserve(ids.size());
    for (qint64 id : ids)
        owners.append({QStringLiteral("file"), QString::number(id)});
    passages().deletePassages(owners);
    constexpr qsizetype idsPerStatement = 500;
    for (qsizetype i = 0; i < ids.size(); i += idsPerStatement) {
        QStringList numbers;
        for (qint64 id : ids.mid(i, idsPerStatement))
            numbers.append(QString::number(id));
        // Ids are integers, so inlining them is safe.
        m_db->run(QStringLiteral("DELETE FROM files WHERE id IN (%1)").arg(numbers.join(u',')));
    }
}

qint64 FileRecords::deleteSelected(const QString &selectIDs, const SQLBindings &bindings)
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

void FileRecords::deletePaths(const QStringList &paths)
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

qint64 FileRecords::deleteFolder(const QString &folder)
{
    FileFilter filter;
    filter.folder = folder;
    const CompiledFilter compiled = compileFilter(filter);
    return deleteSelected(QStringLiteral("SELECT f.id FROM files f WHERE ") + compiled.clause, compiled.bindings);
}

void FileRecords::deleteRoot(const QString &root)
{
    deleteSelected(QStringLiteral("SELECT id FROM files WHERE root = ?"), {root});
}

qint64 FileRecords::reconcile(const QString &root, double seenBefore)
{
    return deleteSelected(QStringLiteral("SELECT id FROM files WHERE root = ? AND seen_at < ?"), {root, seenBefore});
}

// ---- Listing ----

QList<FileRecord> FileRecords::list(const FileFilter &filter, FileSort sort, int limit, int offset) const
{
    const CompiledFilter compiled = compileFilter(filter);
    SQLBindings bindings = compiled.bindings;
    bindings << limit << offset;
    return StoreRows::decodeRecords(m_db->query(QStringLiteral("SELECT f.* FROM files f WHERE ") + compiled.clause
                                         + QStringLiteral(" ORDER BY ") + compileSort(sort)
                                         + QStringLiteral(" LIMIT ? OFFSET ?"),
                                     bindings));
}

FileRecords::Total FileRecords::count(const FileFilter &filter) const
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
