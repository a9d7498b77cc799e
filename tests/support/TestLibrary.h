// A library in memory with its connection at hand, for tests that look at
// the rows behind the store's answers or set up rows the store never writes.
#pragma once

#include "store/IndexStore.h"

#include <memory>

struct TestLibrary
{
    std::shared_ptr<SQLiteDatabase> db = std::make_shared<SQLiteDatabase>(QStringLiteral(":memory:"));
    IndexStore store{db};

    TestLibrary() { store.migrate(); }

    qint64 idOf(const QString &path) const
    {
        return db->scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue().value_or(0);
    }
    SQLRow row(qint64 id) const
    {
        return db->query(QStringLiteral("SELECT * FROM files WHERE id = ?"), {id}).value(0);
    }
    qint64 passageCount(const QString &ownerType, const QString &ownerID) const
    {
        return db->scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_type = ? AND owner_id = ?"),
                          {ownerType, ownerID})
            .intValue()
            .value_or(-1);
    }
    qint64 passageCount(qint64 fileID) const { return passageCount(QStringLiteral("file"), QString::number(fileID)); }
    qint64 rowCount(const QString &table) const
    {
        return db->scalar(QStringLiteral("SELECT COUNT(*) FROM ") + table).intValue().value_or(-1);
    }
};
