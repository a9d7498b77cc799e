// Files waiting for their text, and the storing of what their text came to.
// Made by IndexStore::textQueue().
#pragma once

#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <QStringList>

#include <memory>
#include <optional>

// What a file's text extraction came to, in files.text_state.
enum class TextState {
    Waiting = 0, // images and documents until their text is read
    Extracted = 1, // has passages
    NoText = 2, // other kinds, or nothing was found
    Failed = 3, // extraction failed while storing
};

class TextQueue
{
public:
    // Files waiting for text: documents, then screenshots, then other
    // images, each newest first.
    QList<FileRecord> next(int limit) const;
    qint64 count() const;

    // Stores a file's text, already cut into passages, and its excerpt (the
    // start of the first passage). No passages: the file has no text. An
    // absent page count keeps the one the scanner found. A file deleted in
    // the meantime gets nothing.
    void setText(const FileRecord &record, const QStringList &passages, std::optional<qint64> pages = std::nullopt);
    // Takes a file out of the queue without text.
    void setState(qint64 id, TextState state);

private:
    friend class IndexStore;
    explicit TextQueue(std::shared_ptr<SQLiteDatabase> db);

    std::shared_ptr<SQLiteDatabase> m_db;
};
