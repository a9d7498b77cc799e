// All reads and writes of files and passages. Safe to call from any thread:
// every call goes through the database's lock.
#pragma once

#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <QHash>
#include <QUrl>

#include <memory>

class IndexStore
{
public:
    // Wraps an open database. Call migrate() before use.
    explicit IndexStore(std::shared_ptr<SQLiteDatabase> database);

    // Creates the folder that holds the file (with its parents), opens the
    // database on it and migrates it. Throws FileSystemError or SQLiteError.
    static std::unique_ptr<IndexStore> open(const QUrl &url);
    // An empty library in memory, migrated.
    static std::unique_ptr<IndexStore> openInMemory();
    // $XDG_DATA_HOME/Larder/Library.sqlite
    static QUrl defaultURL();

    SQLiteDatabase &db() const { return *m_db; }
    std::shared_ptr<SQLiteDatabase> database() const { return m_db; }

    // Brings the schema to the current version. A file of a newer version is
    // left as it is.
    void migrate();
    static constexpr int schemaVersion = 1;
    // The user_version of the open file.
    qint64 storedSchemaVersion() const;

    std::optional<FileRecord> record(qint64 id) const;
    QHash<qint64, FileRecord> records(const QList<qint64> &ids) const;

    // Inserts or updates a batch by path, in one transaction. An unchanged
    // file (same size, modification time within a millisecond) gets a light
    // update that keeps its derived data; a changed one is reset.
    void upsert(const QList<FileRecord> &records, const QString &root, double seenAt);

    // The passages of one owner: "file" with the decimal file id, or "note"
    // and "transcript" with a meeting id.
    struct PassageOwner
    {
        QString type;
        QString id;
        friend bool operator==(const PassageOwner &, const PassageOwner &) = default;
    };
    struct PassageSet
    {
        PassageOwner owner;
        QString title; // carried by the first passage only
        QStringList bodies; // none still makes one row, so the title stands
    };

    // Replaces an owner's passages; the first one carries the title. Meant to
    // run inside a transaction.
    void setPassages(const QString &ownerType, const QString &ownerID, const QString &title,
                     const QStringList &bodies);
    // The same for many owners at once: one delete and few inserts into the
    // full-text table, however many owners. An owner named twice keeps the
    // last set.
    void setPassages(const QList<PassageSet> &sets);
    // Removes every passage of the owners. All passages leave the library
    // through here.
    void deletePassages(const QList<PassageOwner> &owners);

    // Passages of files live at rowids (file id << 12) + ord, so that a
    // file's rows are one rowid range of the full-text table rather than a
    // scan over all of it (the table can't index its owner columns). Other
    // owners take negative rowids, counting down. A file keeps at most this
    // many passages.
    static constexpr int maxPassagesPerFile = 4096;

    // The text that makes a file findable by name before its content is read.
    static QString title(const FileRecord &record);

    static FileRecord decodeRecord(const SQLRow &row);

    struct Counts
    {
        qint64 files = 0;
        qint64 passages = 0;
        qint64 meetings = 0;
    };
    Counts counts() const;

private:
    // Writes the sets without removing anything first: for owners that have
    // no passages yet.
    void insertPassages(const QList<PassageSet> &sets);

    std::shared_ptr<SQLiteDatabase> m_db;
};
