// The full-text table `passages`: the text of files, meeting notes and
// transcripts cut into passages, and the two searches over it (passages for
// Ask and live answers, one hit a file for search). Made by
// IndexStore::passages().
#pragma once

#include "store/FileQuery.h"
#include "store/SQLite.h"

#include <QStringList>

#include <memory>
#include <optional>

class CancellationToken;

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

// A term of the full-text index and the number of passages that hold it.
struct IndexedTerm
{
    QString term;
    qint64 passages = 0;
};

// Whose passages: "file" with the decimal file id, or "note" and
// "transcript" with a meeting id.
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

class PassageIndex
{
public:
    // Passages of files live at rowids (file id << 12) + ord, so that a
    // file's rows are one rowid range of the full-text table rather than a
    // scan over all of it (the table can't index its owner columns). Other
    // owners take negative rowids, counting down. A file keeps at most this
    // many passages.
    static constexpr int maxPassagesPerFile = 4096;
    // How the passages table cuts text into tokens.
    static constexpr char tokenize[] = "porter unicode61 remove_diacritics 2";

    // Replaces an owner's passages; the first one carries the title. Meant to
    // run inside a transaction. All passages enter the library through here
    // or addPassages.
    void setPassages(const QString &ownerType, const QString &ownerID, const QString &title,
                     const QStringList &bodies);
    // The same for many owners at once: one delete and few inserts into the
    // full-text table, however many owners. An owner named twice keeps the
    // last set.
    void setPassages(const QList<PassageSet> &sets);
    // Writes the sets without removing anything first: for owners that have
    // no passages yet.
    void addPassages(const QList<PassageSet> &sets);
    // Removes every passage of the owners. All passages leave the library
    // through here.
    void deletePassages(const QList<PassageOwner> &owners);

    // The owner's passages in order, joined by line breaks.
    QString text(const PassageOwner &owner) const;

    // The best passages of the owner types, bm25 first, with their snippets.
    // The match comes only from the search layer's builders.
    QList<PassageHit> searchPassages(const QString &match, const QStringList &ownerTypes,
                                     const std::optional<QString> &excludingOwner, int limit) const;
    // One hit a file, best first, under the filter: bm25(passages, 6.0, 1.0)
    // over every matching passage, the best limit × 6 rows folded into one
    // hit a file, with the snippet of its first passage that marks a word.
    QList<FileHit> searchFiles(const FullTextMatch &match, const FileFilter &filter, int limit) const;

    // The terms the index makes of a text, as it holds them: lower case,
    // without accents, stemmed ("Invoices" is "invoic").
    QStringList termsOf(const QString &text) const;
    // The index's terms that start with the prefix, in order, from the
    // table's own vocabulary. Counting a term's passages reads its whole
    // entry, so the cost grows with how common the prefix is: a common first
    // letter of a large library takes a quarter of a second. The terms are
    // read a page at a time, each page under the connection's lock on its
    // own, so a search waiting for the connection goes between two pages;
    // once the token is cancelled the read stops at the next page and
    // returns what it has.
    QList<IndexedTerm> termsStartingWith(const QString &prefix, const CancellationToken &token) const;

private:
    friend class IndexStore;
    friend class FileRecords;
    friend class TextQueue;
    friend class MeetingRows;
    explicit PassageIndex(std::shared_ptr<SQLiteDatabase> db);

    struct RankedFiles;
    // How searchFiles reaches the rows that pass its filter.
    enum class RankPlan {
        unjoined, // no filter: every passage of a file
        joined, // through the files table
    };
    // Ranks the rows of the match that pass the filter and folds them to files.
    RankedFiles rankFiles(RankPlan plan, const FullTextMatch &match, const CompiledFilter &filter, int limit) const;
    // Gives each hit the snippet of the first of its passages, in order,
    // whose snippet for the match marks a word, if any does.
    void lendSnippets(RankedFiles &ranked) const;

    std::shared_ptr<SQLiteDatabase> m_db;
};
