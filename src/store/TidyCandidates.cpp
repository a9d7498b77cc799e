#include "store/TidyCandidates.h"

#include "store/StoreRows.h"

TidyCandidates::TidyCandidates(std::shared_ptr<SQLiteDatabase> db)
    : m_db(std::move(db))
{
}

QList<QList<FileRecord>> TidyCandidates::sizeDuplicates(qint64 minSize) const
{
    const auto records = StoreRows::decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f JOIN ("
                       "SELECT size FROM files WHERE size >= ? AND kind != 'app' GROUP BY size HAVING COUNT(*) > 1"
                       ") s ON s.size = f.size ORDER BY f.size DESC, f.path"),
        {minSize}));
    // Rows come sorted by size, so neighbours of one size make a group.
    QList<QList<FileRecord>> groups;
    for (const FileRecord &record : records) {
        if (groups.isEmpty() || groups.last().first().size != record.size)
            groups.append(QList<FileRecord>());
        groups.last().append(record);
    }
    return groups;
}

QList<FileRecord> TidyCandidates::cleanup(const QString &downloadsFolder) const
{
    QString folder = downloadsFolder;
    if (!folder.endsWith(u'/'))
        folder.append(u'/');
    // Installers of the Mac and of Linux package systems alike.
    return StoreRows::decodeRecords(m_db->query(
        QStringLiteral("SELECT f.* FROM files f "
                       "WHERE f.ext IN ('dmg', 'pkg', 'mpkg', 'deb', 'rpm', 'flatpakref', 'snap') "
                       "OR f.kind = 'app' OR f.is_screenshot = 1 "
                       "OR (f.kind = 'video' AND f.size >= 500000000) OR substr(f.path, 1, ?) = ?"),
        {qint64(folder.toUcs4().size()), folder}));
}

QHash<qint64, QByteArray> TidyCandidates::featurePrints(const QList<qint64> &ids) const
{
    QHash<qint64, QByteArray> prints;
    // Slices of 500 keep each statement well within SQLite's limits.
    constexpr qsizetype slice = 500;
    for (qsizetype from = 0; from < ids.size(); from += slice) {
        QStringList numbers;
        for (qint64 id : ids.mid(from, slice))
            numbers.append(QString::number(id));
        const auto rows = m_db->query(
            QStringLiteral("SELECT id, feature_print FROM files WHERE feature_print IS NOT NULL AND id IN (")
            + numbers.join(u',') + u')');
        for (const SQLRow &row : rows) {
            const auto id = row.integer(QStringLiteral("id"));
            const auto bytes = row.value(QStringLiteral("feature_print")).blobValue();
            if (id && bytes)
                prints.insert(*id, *bytes);
        }
    }
    return prints;
}

void TidyCandidates::setDigest(qint64 id, const QString &sha256)
{
    m_db->run(QStringLiteral("UPDATE files SET sha256 = ? WHERE id = ?"), {sha256, id});
}

void TidyCandidates::setFeaturePrint(qint64 id, const QByteArray &print)
{
    m_db->run(QStringLiteral("UPDATE files SET feature_print = ? WHERE id = ?"), {print, id});
}
