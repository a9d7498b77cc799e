// What the tidy-up tools read and keep in the library: the files that may be
// duplicates or clutter, their content digests and their image fingerprints.
// Made by IndexStore::tidy().
#pragma once

#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <QHash>

#include <memory>

class TidyCandidates
{
public:
    // Groups of two or more files of one size (applications left out),
    // largest size first, each group ordered by path.
    QList<QList<FileRecord>> sizeDuplicates(qint64 minSize) const;
    // Installers, applications, screenshots, big videos and anything in the
    // Downloads folder.
    QList<FileRecord> cleanup(const QString &downloadsFolder) const;
    // The stored image descriptors of those files that have one.
    QHash<qint64, QByteArray> featurePrints(const QList<qint64> &ids) const;

    // Kept until the file changes: the upsert of a changed file clears both.
    void setDigest(qint64 id, const QString &sha256);
    void setFeaturePrint(qint64 id, const QByteArray &print);

private:
    friend class IndexStore;
    explicit TidyCandidates(std::shared_ptr<SQLiteDatabase> db);

    std::shared_ptr<SQLiteDatabase> m_db;
};
