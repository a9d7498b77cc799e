// Upsert throughput of the library store on a file database: new records,
// light updates (nothing changed) and full updates (every file changed), in
// batches of 400, beside plain INSERTs of the same values into a table
// without full-text search, measured in the same run.
//
//   build/bench/bench_upsert [records]
#include "store/IndexStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr int batchSize = 400;

QList<FileRecord> makeRecords(int count, double modified)
{
    QList<FileRecord> records;
    records.reserve(count);
    for (int i = 0; i < count; ++i) {
        FileRecord r;
        r.name = QStringLiteral("QuarterlyReport%1.pdf").arg(i);
        r.path = QStringLiteral("/home/ada/Documents/Projects/Folder%1/").arg(i / 100) + r.name;
        r.ext = QStringLiteral("pdf");
        r.uti = QStringLiteral("application/pdf");
        r.kind = FileKind::document;
        r.size = 1000 + i;
        r.created = 1.6e9 + i;
        r.modified = modified + i;
        r.added = 1.6e9 + i;
        r.pages = 3;
        records.append(r);
    }
    return records;
}

template<typename Body>
double recordsPerSecond(int count, Body &&body)
{
    QElapsedTimer timer;
    timer.start();
    body();
    return count / (timer.nsecsElapsed() / 1e9);
}

void upsertAll(IndexStore &store, const QList<FileRecord> &records, double seenAt)
{
    for (qsizetype i = 0; i < records.size(); i += batchSize)
        store.files().upsert(records.mid(i, batchSize), QStringLiteral("/home/ada/Documents"), seenAt);
}

// The reference: the same values into a plain table, same batches, same
// connection settings, no full-text index and no lookup.
double plainInserts(SQLiteDatabase &db, const QList<FileRecord> &records)
{
    db.execute(QStringLiteral("CREATE TABLE plain(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, root TEXT, "
                              "name TEXT, ext TEXT, uti TEXT, kind TEXT, size INTEGER, created REAL, modified REAL, "
                              "added REAL, pages INTEGER, seen_at REAL)"));
    return recordsPerSecond(records.size(), [&] {
        for (qsizetype i = 0; i < records.size(); i += batchSize) {
            db.transaction([&] {
                for (const FileRecord &r : records.mid(i, batchSize)) {
                    db.run(QStringLiteral("INSERT INTO plain(path, root, name, ext, uti, kind, size, created, "
                                          "modified, added, pages, seen_at) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                           {r.path, QStringLiteral("/home/ada/Documents"), r.name, r.ext, r.uti,
                            fileKindRawValue(r.kind), r.size, r.created, r.modified, r.added, r.pages, 1.0});
                }
            });
        }
    });
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::max(batchSize, atoi(argv[1])) : 100000;
    QTemporaryDir dir;

    auto store = IndexStore::open(QUrl::fromLocalFile(dir.path() + QStringLiteral("/Library.sqlite")));
    const QList<FileRecord> records = makeRecords(count, 1.7e9);
    const QList<FileRecord> changed = makeRecords(count, 1.8e9);

    const double fresh = recordsPerSecond(count, [&] { upsertAll(*store, records, 1.0); });
    const double light = recordsPerSecond(count, [&] { upsertAll(*store, records, 2.0); });
    const double full = recordsPerSecond(count, [&] { upsertAll(*store, changed, 3.0); });

    SQLiteDatabase plainDb(dir.path() + QStringLiteral("/plain.sqlite"));
    const double plain = plainInserts(plainDb, records);

    std::printf("upsert of %d records in batches of %d, file database (WAL, synchronous NORMAL)\n", count, batchSize);
    std::printf("%-22s %12s %10s %8s\n", "operation", "records/s", "vs plain", "goal");
    std::printf("%-22s %12.0f %9.2fx %8s\n", "plain INSERT (ref)", plain, 1.0, "");
    std::printf("%-22s %12.0f %9.2fx %8s\n", "new records", fresh, fresh / plain, ">=30000");
    std::printf("%-22s %12.0f %9.2fx %8s\n", "light updates", light, light / plain, ">=80000");
    std::printf("%-22s %12.0f %9.2fx %8s\n", "full updates", full, full / plain, "");
    return 0;
}
