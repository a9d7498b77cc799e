#include "store/TextQueue.h"

#include "store/FileRecords.h"
#include "store/PassageIndex.h"
#include "store/StoreRows.h"

TextQueue::TextQueue(std::shared_ptr<SQLiteDatabase> db)
    : m_db(std::move(db))
{
}

QList<FileRecord> TextQueue::next(int limit) const
{
    return StoreRows::decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f WHERE text_state = 0 AND kind IN ('document', 'image') "
                       "ORDER BY CASE kind WHEN 'document' THEN 0 ELSE 1 END, is_screenshot DESC, modified DESC "
                       "LIMIT ?"),
        {limit}));
}

qint64 TextQueue::count() const
{
    return m_db
        ->scalar(QStringLiteral(
            "SELECT COUNT(*) AS n FROM files WHERE text_state = 0 AND kind IN ('document', 'image')"))
        .intValue()
        .value_or(0);
}

void TextQueue::setText(const FileRecord &record, const QStringList &passages, std::optional<qint64> pages)
{
    std::optional<QString> excerpt;
    if (!passages.isEmpty())
        excerpt = passages.first().left(600);
    const int state = int(passages.isEmpty() ? TextState::NoText : TextState::Extracted);
    m_db->transaction([&] {
        // A file deleted while its text was read keeps no passages.
        if (m_db->run(QStringLiteral("UPDATE files SET text_state = ?, text_excerpt = ?, pages = COALESCE(?, pages) "
                                     "WHERE id = ?"),
                      {state, excerpt, pages, record.id})
            == 0)
            return;
        PassageIndex(m_db).setPassages(QStringLiteral("file"), QString::number(record.id), FileRecords::title(record),
                                       passages);
    });
}

void TextQueue::setState(qint64 id, TextState state)
{
    m_db->run(QStringLiteral("UPDATE files SET text_state = ? WHERE id = ?"), {int(state), id});
}
