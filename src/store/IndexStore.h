// The library: one SQLite file of files, their passages and meetings.
// IndexStore opens and migrates it and hands out one small class per concern,
// all over the one connection:
//
//   files()      file records: upsert, lookup, removal, listing
//   passages()   the full-text table and the searches over it
//   textQueue()  files waiting for their text, and storing it
//   tidy()       candidates for duplicates and clean-up, digests, prints
//   stats()      counts and the kind and source aggregates
//   meetingRows() meetings, their segments, answers and passages
//
// Copies share the connection. Every call is safe from any thread: the
// connection's lock serialises them.
#pragma once

#include "store/FileRecords.h"
#include "store/LibraryStats.h"
#include "store/MeetingRows.h"
#include "store/PassageIndex.h"
#include "store/TextQueue.h"
#include "store/TidyCandidates.h"

#include <QUrl>

#include <memory>

class IndexStore
{
public:
    // Wraps an open database. Call migrate() before use. A caller that
    // keeps the database (tests, benchmarks) may also read it directly.
    explicit IndexStore(std::shared_ptr<SQLiteDatabase> database);

    // Creates the folder that holds the file (with its parents), opens the
    // database on it and migrates it. A file that can't be written (a
    // read-only mount or folder) is opened for reading only. Throws
    // FileSystemError or SQLiteError.
    static std::unique_ptr<IndexStore> open(const QUrl &url);
    // An empty library in memory, migrated.
    static std::unique_ptr<IndexStore> openInMemory();
    // $XDG_DATA_HOME/Larder/Library.sqlite
    static QUrl defaultURL();

    // The library file's path; ":memory:" for a library in memory.
    QString path() const;
    bool isInMemory() const;

    // Brings the schema to the current version. A file of a newer version is
    // left as it is.
    void migrate();
    static constexpr int schemaVersion = 1;
    // The user_version of the open file.
    qint64 storedSchemaVersion() const;

    // Runs body in one write transaction, so that the calls inside it
    // commit together or not at all. Only calls that don't open a
    // transaction of their own may run inside it: the passages' setPassages,
    // addPassages and deletePassages, and the single-statement setters
    // (textQueue().setState, tidy().setDigest, tidy().setFeaturePrint).
    // Transactions don't nest.
    template<typename Body>
    auto transaction(Body &&body) const -> decltype(body())
    {
        return m_db->transaction(std::forward<Body>(body));
    }

    // Indexes of the files table that a bulk load left unbuilt (it was cut
    // short); open() builds them when no other process writes the library.
    QStringList missingFileIndexes() const;

    FileRecords files() const;
    PassageIndex passages() const;
    TextQueue textQueue() const;
    TidyCandidates tidy() const;
    LibraryStats stats() const;
    MeetingRows meetingRows() const;

private:
    friend class BulkLoad;
    // The files table's indexes for reading; creating is skipped for those
    // that exist. Run inside a transaction.
    void buildFileIndexes();
    void dropFileIndexes();
    // Builds what missingFileIndexes() names, unless another process holds
    // the library: that one may be loading it in bulk, and builds them itself.
    void restoreFileIndexes();

    std::shared_ptr<SQLiteDatabase> m_db;
    std::shared_ptr<FileRecords::Reader> m_reader; // shared by copies, like m_db
};
