// Row helpers shared by the store's classes; not for use outside src/store.
#pragma once

#include "store/FileRecord.h"
#include "store/SQLite.h"

namespace StoreRows {

// A row of SELECT f.* FROM files f as a record.
FileRecord decodeRecord(const SQLRow &row);
QList<FileRecord> decodeRecords(const QList<SQLRow> &rows);

// Numbers as a JSON list, for json_each(): one statement, prepared once,
// takes any number of them.
QString jsonList(const QList<qint64> &numbers);

} // namespace StoreRows
