// How passages enter and leave the full-text table.
#include "store/IndexStore.h"

#include <QSet>

namespace {

constexpr int rowidShift = 12;
static_assert((1 << rowidShift) == IndexStore::maxPassagesPerFile);
// Keeps each statement well under SQLite's limit on bound variables.
constexpr qsizetype rowsPerInsert = 400;
constexpr qsizetype rowidsPerDelete = 500;

// The first rowid of a file's passages, when the owner is a file.
std::optional<qint64> fileRowidBase(const IndexStore::PassageOwner &owner)
{
    if (owner.type != QLatin1String("file"))
        return std::nullopt;
    bool ok = false;
    const qint64 id = owner.id.toLongLong(&ok);
    if (!ok || id <= 0 || id >= (qint64(1) << (62 - rowidShift)))
        return std::nullopt;
    return id << rowidShift;
}

} // namespace

void IndexStore::deletePassages(const QList<PassageOwner> &owners)
{
    std::lock_guard guard(m_db->lock());
    // Reading the rowids first lets one DELETE remove them all.
    QList<qint64> rowids;
    for (const PassageOwner &owner : owners) {
        const auto base = fileRowidBase(owner);
        const auto rows = base ? m_db->query(QStringLiteral("SELECT rowid FROM passages WHERE rowid BETWEEN ? AND ? "
                                                            "AND owner_type = ? AND owner_id = ?"),
                                             {*base, *base + maxPassagesPerFile - 1, owner.type, owner.id})
                               : m_db->query(QStringLiteral("SELECT rowid FROM passages WHERE rowid < 0 "
                                                            "AND owner_type = ? AND owner_id = ?"),
                                             {owner.type, owner.id});
        for (const SQLRow &row : rows)
            rowids.append(row.values().first().intValue().value_or(0));
    }
    for (qsizetype i = 0; i < rowids.size(); i += rowidsPerDelete) {
        QStringList numbers;
        for (qint64 rowid : rowids.mid(i, rowidsPerDelete))
            numbers.append(QString::number(rowid));
        // Rowids are integers, so inlining them is safe.
        m_db->run(QStringLiteral("DELETE FROM passages WHERE rowid IN (%1)").arg(numbers.join(u',')));
    }
}

void IndexStore::setPassages(const QString &ownerType, const QString &ownerID, const QString &title,
                             const QStringList &bodies)
{
    setPassages(QList<PassageSet>{{{ownerType, ownerID}, title, bodies}});
}

void IndexStore::setPassages(const QList<PassageSet> &sets)
{
    if (sets.isEmpty())
        return;
    std::lock_guard guard(m_db->lock());

    // The last set of an owner wins, as if each had replaced the one before.
    QList<PassageSet> unique;
    QHash<QString, qsizetype> indexOfOwner;
    for (const PassageSet &set : sets) {
        const QString key = set.owner.type + u'\n' + set.owner.id;
        const auto it = indexOfOwner.constFind(key);
        if (it != indexOfOwner.constEnd()) {
            unique[*it] = set;
            continue;
        }
        indexOfOwner.insert(key, unique.size());
        unique.append(set);
    }
    QList<PassageOwner> owners;
    for (const PassageSet &set : std::as_const(unique))
        owners.append(set.owner);
    deletePassages(owners);
    insertPassages(unique);
}

void IndexStore::insertPassages(const QList<PassageSet> &sets)
{
    std::lock_guard guard(m_db->lock());
    std::optional<qint64> nextNegative;
    SQLBindings values;
    qsizetype rowCount = 0;
    const auto flush = [&] {
        if (rowCount == 0)
            return;
        QStringList tuples(rowCount, QStringLiteral("(?, ?, ?, ?, ?, ?)"));
        m_db->run(QStringLiteral("INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) VALUES ")
                      + tuples.join(u','),
                  values);
        values.clear();
        rowCount = 0;
    };

    for (const PassageSet &set : sets) {
        QStringList bodies = set.bodies.isEmpty() ? QStringList{QString()} : set.bodies;
        qint64 first = 0;
        if (const auto base = fileRowidBase(set.owner)) {
            bodies = bodies.mid(0, maxPassagesPerFile);
            first = *base;
        } else {
            if (!nextNegative) {
                const auto lowest =
                    m_db->scalar(QStringLiteral("SELECT rowid FROM passages ORDER BY rowid ASC LIMIT 1")).intValue();
                nextNegative = std::min<qint64>(0, lowest.value_or(0));
            }
            *nextNegative -= bodies.size();
            first = *nextNegative;
        }
        for (qsizetype i = 0; i < bodies.size(); ++i) {
            values << first + i << (i == 0 ? set.title : QString()) << bodies.at(i) << set.owner.type << set.owner.id
                   << qint64(i);
            if (++rowCount == rowsPerInsert)
                flush();
        }
    }
    flush();
}
