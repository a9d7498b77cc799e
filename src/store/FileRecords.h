// The files table: one row a file, written by the scanner's upsert and
// removed by path, folder, root or reconciliation. Reads list and count files
// under a FileFilter. Made by IndexStore::files().
#pragma once

#include "store/FileQuery.h"
#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <QHash>

#include <memory>
#include <optional>

class PassageIndex;

class FileRecords
{
public:
    std::optional<FileRecord> record(qint64 id) const;
    // The record stored at exactly this path.
    std::optional<FileRecord> recordAt(const QString &path) const;
    QHash<qint64, FileRecord> records(const QList<qint64> &ids) const;

    // Inserts or updates a batch by path, in one transaction. An unchanged
    // file (same size, modification time within a millisecond) gets a light
    // update that keeps its derived data; a changed one is reset.
    void upsert(const QList<FileRecord> &records, const QString &root, double seenAt);
    // The records that upsert would only lightly update, by path, with the
    // kind stored for each: a scan skips reading their content. Reads
    // through a second connection, so that it never waits for a batch being
    // written.
    QHash<QString, FileKind> unchangedKinds(const QList<FileRecord> &records) const;

    // Whether any file under the folder is stored: a walk of a folder that
    // holds none can't meet an unchanged file. Reads the path index's range.
    bool holdsFilesUnder(const QString &folder) const;

    // Each removal takes a file's passages, then its row.
    // Unknown paths are passed over.
    void deletePaths(const QStringList &paths);
    // Every file under the folder, for a vanished path that may have been
    // one. Returns how many files went.
    qint64 deleteFolder(const QString &folder);
    // Every file found through the root, when the user drops the folder.
    void deleteRoot(const QString &root);
    // After a complete walk of root: removes the rows it didn't see again
    // (seen_at before seenBefore) and returns how many.
    qint64 reconcile(const QString &root, double seenBefore);

    QList<FileRecord> list(const FileFilter &filter, FileSort sort, int limit, int offset = 0) const;
    struct Total
    {
        qint64 count = 0;
        qint64 bytes = 0;
    };
    Total count(const FileFilter &filter) const;

    // The text that makes a file findable by name before its content is
    // read: the name, the name split into words, and its two parent folders.
    static QString title(const FileRecord &record);

    // A second connection to the library's file, opened on first use.
    struct Reader;
    static std::shared_ptr<Reader> makeReader();

private:
    friend class IndexStore;
    friend class PassageIndex;
    // Without a reader, unchangedKinds reads through the main connection.
    FileRecords(std::shared_ptr<SQLiteDatabase> db, std::shared_ptr<Reader> reader);

    PassageIndex passages() const;
    // Removes the files of the ids and their passages, in bulk. Runs inside
    // the caller's transaction.
    void deleteFiles(const QList<qint64> &ids);
    // deleteFiles on the ids a statement selects, in one transaction.
    qint64 deleteSelected(const QString &selectIDs, const SQLBindings &bindings);
    // The light update of unchanged files: last-used and added dates,
    // source, screenshot flag, seen time and root.
    void lightUpdate(const QList<std::pair<qint64, const FileRecord *>> &rows, const QString &root, double seenAt);
    // The reader connection, or the main one when the library is in memory
    // or its file can't be opened again.
    SQLiteDatabase &reader() const;

    std::shared_ptr<SQLiteDatabase> m_db;
    std::shared_ptr<Reader> m_reader;
};
