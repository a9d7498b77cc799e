// Fills a library the way the indexer does, for tests of what reads it:
// files through the upsert, their text through setText.
#pragma once

#include "store/IndexStore.h"

namespace LibraryBuilder {

struct File
{
    QString path;
    FileKind kind = FileKind::document;
    qint64 size = 1000;
    double modified = 0; // seconds since 1970
    QString text; // document text; none when empty
    std::optional<QString> source = std::nullopt;
    bool screenshot = false;
};

// Adds the files under the root "/library" and returns their ids, in order.
QList<qint64> add(IndexStore &store, const QList<File> &files);

// Upserts the records under root and returns them as the library now holds
// them, with their ids.
QList<FileRecord> add(IndexStore &store, const QList<FileRecord> &records, const QString &root);

} // namespace LibraryBuilder
