// All reads and writes of files and passages. Safe to call from any thread:
// every call goes through the database's lock.
#pragma once

#include "core/DownloadSources.h"
#include "store/FileRecord.h"
#include "store/FullTextRank.h"
#include "store/SQLite.h"

#include <QHash>
#include <QSet>
#include <QUrl>

#include <memory>

struct CompiledFilter;
struct FileFilter;
struct FileHit;
enum class FileSort;

// One full-text result over passages of files, notes and transcripts.
struct PassageHit
{
    QString ownerType; // "file", "note" or "transcript"
    QString ownerID; // decimal file id or meeting id
    qint64 ord = 0; // place within the owner, from 0
    QString title;
    QString body;
    QString snippet; // matched words between ⟦ and ⟧
    double score = 0; // raw bm25: lower is better

    friend bool operator==(const PassageHit &, const PassageHit &) = default;
};
size_t qHash(const PassageHit &hit, size_t seed = 0);

struct KindStat
{
    FileKind kind = FileKind::other;
    qint64 count = 0;
    qint64 bytes = 0;

    friend bool operator==(const KindStat &, const KindStat &) = default;
};
size_t qHash(const KindStat &stat, size_t seed = 0);

struct SourceStat
{
    DownloadSource source;
    qint64 count = 0;
    qint64 bytes = 0;

    friend bool operator==(const SourceStat &, const SourceStat &) = default;
};
size_t qHash(const SourceStat &stat, size_t seed = 0);

// What a file's text extraction came to, in files.text_state.
enum class TextState {
    Waiting = 0, // images and documents until their text is read
    Extracted = 1, // has passages
    NoText = 2, // other kinds, or nothing was found
    Failed = 3, // extraction failed while storing
};

// Cuts text into passages of at most size characters that overlap by at most
// overlap characters, breaking at a paragraph, a sentence or a word where the
// second half of a passage offers one. Whitespace is normalised first.
QStringList passages(const QString &text, int size = 900, int overlap = 120);

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
    // The records that upsert would only lightly update, by path, with the
    // kind stored for each: a scan skips reading their content.
    QHash<QString, FileKind> unchangedKinds(const QList<FileRecord> &records) const;

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
    // How the passages table cuts text into tokens.
    static constexpr char passageTokenize[] = "porter unicode61 remove_diacritics 2";

    // ---- Removing rows. Each removes a file's passages, then its row. ----

    // Unknown paths are passed over.
    void deletePaths(const QStringList &paths);
    // Every file under the folder, for a vanished path that may have been one.
    void deleteFolder(const QString &folder);
    // Every file found through the root, when the user drops the folder.
    void deleteRoot(const QString &root);
    // After a complete walk of root: removes the rows it didn't see again
    // (seen_at before seenBefore) and returns how many.
    qint64 reconcile(const QString &root, double seenBefore);

    // ---- Text ----

    // Stores a file's extracted text as passages and its excerpt. An absent
    // page count keeps the one the scanner found.
    void setText(const FileRecord &record, const QString &text, std::optional<qint64> pages = std::nullopt);
    // Files waiting for text: documents, then screenshots, then other images,
    // each newest first.
    QList<FileRecord> textQueue(int limit) const;
    qint64 textQueueCount() const;

    // ---- Full text. The match text comes only from the search engine's
    // builders, which make valid FTS5 expressions. ----

    QList<PassageHit> searchPassages(const QString &match, const QStringList &ownerTypes,
                                     const std::optional<QString> &excludingOwner, int limit) const;
    // One hit a file, best first, under the filter.
    QList<FileHit> searchFiles(const QString &match, const FileFilter &filter, int limit) const;

    // ---- Listing and aggregates ----

    QList<FileRecord> list(const FileFilter &filter, FileSort sort, int limit, int offset = 0) const;
    struct Total
    {
        qint64 count = 0;
        qint64 bytes = 0;
    };
    Total count(const FileFilter &filter) const;
    // In no particular order: callers sort.
    QList<KindStat> kindStats() const;
    // Most files first.
    QList<SourceStat> sourceStats() const;

    // ---- Candidates for duplicates and clean-up ----

    // Groups of two or more files of one size (applications left out),
    // largest size first, each group ordered by path.
    QList<QList<FileRecord>> sizeDuplicateCandidates(qint64 minSize) const;
    // Installers, applications, screenshots, big videos and anything in the
    // Downloads folder.
    QList<FileRecord> cleanupCandidates(const QString &downloadsFolder) const;
    // The stored image descriptors of those files that have one.
    QHash<qint64, QByteArray> featurePrints(const QList<qint64> &ids) const;

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
    // Removes the files of the ids and their passages, in bulk. Runs inside
    // the caller's transaction.
    void deleteFiles(const QList<qint64> &ids);
    // deleteFiles on the ids a statement selects, in one transaction.
    qint64 deleteSelected(const QString &selectIDs, const SQLBindings &bindings);
    // The light update of unchanged files: last-used and added dates,
    // source, screenshot flag, seen time and root.
    void lightUpdate(const QList<std::pair<qint64, const FileRecord *>> &rows, const QString &root, double seenAt);
    // Files ranked by their best passage, each with its passages in rank
    // order; the records are yet to be read.
    struct RankedFiles
    {
        QList<FileHit> hits;
        QList<QList<RankedPassage>> passagesOfHit;
        QList<int> phraseSizes; // of the match's phrases
        QList<qint64> fileIDs() const;
    };
    // How searchFiles reaches the rows that pass its filter.
    enum class RankPlan {
        unjoined, // no filter: every passage of a file
        joined, // through the files table
    };
    // Ranks the rows of the match that pass the filter and folds them to files.
    RankedFiles rankFiles(RankPlan plan, const QString &match, const CompiledFilter &filter, int limit) const;
    // Gives each hit the snippet of the first of its passages, in order,
    // whose snippet for the match marks a word, if any does.
    void lendSnippets(RankedFiles &ranked) const;
    // Numbers as a JSON list, for json_each(): one statement, prepared
    // once, takes any number of them.
    static QString jsonList(const QList<qint64> &numbers);

    // A second connection to the library's file, for the scanner's reads
    // of what it holds: they needn't wait for the batch being written. The
    // main connection when the library is in memory or the file can't be
    // opened again.
    SQLiteDatabase &reader() const;

    std::shared_ptr<SQLiteDatabase> m_db;
    struct Reader;
    std::shared_ptr<Reader> m_reader; // shared by copies, like m_db
};
