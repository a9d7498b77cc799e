// The library's schema and its migration.
#include "store/IndexStore.h"

#include <string_view>

namespace {

// Written with IF NOT EXISTS throughout so that a half-made file converges.
constexpr char schemaVersion1[] = R"SQL(
CREATE TABLE IF NOT EXISTS files(
    id INTEGER PRIMARY KEY,
    path TEXT NOT NULL UNIQUE,
    root TEXT NOT NULL,
    name TEXT NOT NULL,
    ext TEXT NOT NULL,
    uti TEXT,
    kind TEXT NOT NULL,
    size INTEGER NOT NULL,
    created REAL,
    modified REAL,
    added REAL,
    opened REAL,
    source TEXT,
    source_url TEXT,
    bundle_id TEXT,
    is_screenshot INTEGER NOT NULL DEFAULT 0,
    width INTEGER,
    height INTEGER,
    duration REAL,
    pages INTEGER,
    sha256 TEXT,
    feature_print BLOB,
    text_state INTEGER NOT NULL DEFAULT 0,
    text_excerpt TEXT,
    seen_at REAL NOT NULL DEFAULT 0
);

CREATE VIRTUAL TABLE IF NOT EXISTS passages USING fts5(
    title, body,
    owner_type UNINDEXED, owner_id UNINDEXED, ord UNINDEXED,
    tokenize = 'porter unicode61 remove_diacritics 2'
);

CREATE TABLE IF NOT EXISTS meetings(
    id TEXT PRIMARY KEY,
    title TEXT NOT NULL,
    started REAL NOT NULL,
    ended REAL,
    user_notes TEXT NOT NULL DEFAULT '',
    enhanced_json TEXT,
    enhanced_at REAL,
    locale TEXT
);
CREATE INDEX IF NOT EXISTS meetings_started ON meetings(started DESC);

CREATE TABLE IF NOT EXISTS segments(
    id INTEGER PRIMARY KEY,
    meeting_id TEXT NOT NULL REFERENCES meetings(id) ON DELETE CASCADE,
    speaker TEXT NOT NULL,
    start REAL NOT NULL,
    end REAL NOT NULL,
    text TEXT NOT NULL
);
CREATE INDEX IF NOT EXISTS segments_meeting ON segments(meeting_id, start);

CREATE TABLE IF NOT EXISTS live_answers(
    id TEXT PRIMARY KEY,
    meeting_id TEXT NOT NULL REFERENCES meetings(id) ON DELETE CASCADE,
    question TEXT NOT NULL,
    answer TEXT NOT NULL,
    citations_json TEXT NOT NULL,
    created REAL NOT NULL
);
CREATE INDEX IF NOT EXISTS live_answers_meeting ON live_answers(meeting_id, created);
)SQL";

// The indexes of the files table that listings, searches, the text queue and
// the reconciliation read, and that no write of a scan needs: a bulk load
// goes without them (the path's own index stays, for the upsert's lookups).
struct FileIndex
{
    const char *name;
    const char *columns;
};
constexpr FileIndex fileIndexes[] = {
    // A listing's "recent" order is the later of modified and added: the
    // expression stands in the index as the sort writes it, so the first page
    // of a kind is read in order instead of sorting every file of the kind.
    {"files_kind_recent", "kind, max(coalesce(modified, 0), coalesce(added, 0)) DESC"},
    {"files_size", "size DESC"},
    {"files_source", "source"},
    {"files_modified", "modified DESC"},
    {"files_text_state", "text_state"},
    {"files_root", "root, seen_at"},
};

static_assert(std::string_view(schemaVersion1).find(PassageIndex::tokenize) != std::string_view::npos,
              "snippets cut text as the passages table does");

} // namespace

void IndexStore::migrate()
{
    const SQLValue version = m_db->scalar(QStringLiteral("PRAGMA user_version"));
    if (version.intValue().value_or(0) > 0)
        return;
    m_db->transaction([&] {
        m_db->execute(QString::fromUtf8(schemaVersion1));
        buildFileIndexes();
        m_db->execute(QStringLiteral("PRAGMA user_version = 1"));
    });
}

QStringList IndexStore::missingFileIndexes() const
{
    QStringList missing;
    for (const FileIndex &index : fileIndexes) {
        const QString name = QString::fromLatin1(index.name);
        if (!m_db->scalar(QStringLiteral("SELECT 1 FROM sqlite_master WHERE type = 'index' AND name = ?"), {name})
                 .intValue())
            missing.append(name);
    }
    return missing;
}

void IndexStore::buildFileIndexes()
{
    // Libraries made before the recent order was indexed hold an index of
    // kind and modified, which files_kind_recent replaces.
    m_db->execute(QStringLiteral("DROP INDEX IF EXISTS files_kind"));
    for (const FileIndex &index : fileIndexes) {
        m_db->execute(QStringLiteral("CREATE INDEX IF NOT EXISTS %1 ON files(%2)")
                          .arg(QLatin1String(index.name), QLatin1String(index.columns)));
    }
}

void IndexStore::dropFileIndexes()
{
    for (const FileIndex &index : fileIndexes)
        m_db->execute(QStringLiteral("DROP INDEX IF EXISTS %1").arg(QLatin1String(index.name)));
}
