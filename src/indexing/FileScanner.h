// Turns paths on disk into file records: the walk of a folder tree in
// batches, and single paths from change events. It skips hidden entries,
// links, special files and the build and cache folders; a folder package
// counts as one file. Content facts (pixel size, duration, pages) are read
// only for files the library doesn't already hold unchanged, so a rescan of
// an unchanged tree reads no file content.
#pragma once

#include "core/Tasks.h"
#include "store/FileRecord.h"

#include <QList>
#include <QStringList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class IndexStore;

class FileScanner
{
public:
    // Records a walk hands over at a time: each batch is upserted in one
    // transaction by the indexer, the change flush and `larder scan`.
    static constexpr int defaultBatchSize = 400;

    // With a library, records it holds at the same size and modification
    // time skip their content facts (the upsert keeps the stored ones).
    explicit FileScanner(const IndexStore *store = nullptr);
    ~FileScanner();

    using Flush = std::function<void(const QList<FileRecord> &batch)>;

    // Walks root depth first, handing records to flush in batches of
    // batchSize and the rest at the end, also after cancellation, which is
    // checked before every entry. An error thrown by flush ends the walk and
    // propagates. Flush runs on a thread of the walk's own, one batch at a
    // time and in order, while the walk gathers the next batch; every call
    // has ended when walk returns. Returns the number of records produced.
    qint64 walk(const QString &root, int batchSize, const Flush &flush,
                const CancellationToken &token = CancellationToken::none());

    // The record of one path, for a change event; nothing for folders (other
    // than packages), links, special files and what can't be read.
    std::optional<FileRecord> record(const QString &path);

    // Entries of the last walk whose names aren't valid UTF-8: they can't be
    // named again through the rest of the program, so they are left out.
    qint64 skippedNameCount() const;
    // Folders of the last walk that couldn't be opened (no permission, or an
    // error of the disk): their files are missing from it.
    QStringList unreadableFolders() const;
    // What the user is told about those folders, in one line.
    static QString unreadableMessage(const QStringList &folders);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
