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
CREATE INDEX IF NOT EXISTS files_kind ON files(kind, modified DESC);
CREATE INDEX IF NOT EXISTS files_size ON files(size DESC);
CREATE INDEX IF NOT EXISTS files_source ON files(source);
CREATE INDEX IF NOT EXISTS files_modified ON files(modified DESC);
CREATE INDEX IF NOT EXISTS files_text_state ON files(text_state);
CREATE INDEX IF NOT EXISTS files_root ON files(root, seen_at);

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
        m_db->execute(QStringLiteral("PRAGMA user_version = 1"));
    });
}
