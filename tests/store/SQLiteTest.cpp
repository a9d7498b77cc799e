#include "store/IndexStore.h"
#include "store/SQLite.h"
#include "support/TestLibrary.h"

#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <sqlite3.h>
#include <thread>

namespace {

SQLRow rowOf(const SQLValue &value)
{
    auto columns = std::make_shared<QHash<QString, int>>();
    columns->insert(QStringLiteral("c"), 0);
    return SQLRow(columns, {value});
}

QStringList tableNames(SQLiteDatabase &db)
{
    QStringList names;
    for (const SQLRow &row : db.query(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' "
                                                     "AND name IN ('files', 'passages', 'meetings', 'segments', "
                                                     "'live_answers') ORDER BY name")))
        names.append(*row.string(QStringLiteral("name")));
    return names;
}

} // namespace

TEST(SQLValue, EqualityAndHashingGoByCaseAndPayload)
{
    EXPECT_EQ(SQLValue(qint64(1)), SQLValue(1));
    EXPECT_FALSE(SQLValue(1) == SQLValue(1.0)) << "an int and a double are different cases";
    EXPECT_FALSE(SQLValue(QStringLiteral("1")) == SQLValue(QByteArray("1")));
    EXPECT_EQ(SQLValue(), SQLValue(nullptr));
    EXPECT_EQ(SQLValue(0.0), SQLValue(-0.0));
    EXPECT_EQ(qHash(SQLValue(0.0), 0), qHash(SQLValue(-0.0), 0));
    EXPECT_NE(qHash(SQLValue(1), 0), qHash(SQLValue(1.0), 0));
    EXPECT_TRUE(SQLValue(std::optional<QString>()).isNull());
}

TEST(SQLRow, LenientReadersConvertOrGiveNothing)
{
    EXPECT_EQ(rowOf(SQLValue(QStringLiteral("+7"))).integer(QStringLiteral("c")), 7);
    EXPECT_EQ(rowOf(SQLValue(QStringLiteral("-12"))).integer(QStringLiteral("c")), -12);
    EXPECT_EQ(rowOf(SQLValue(QStringLiteral("abc"))).integer(QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(rowOf(SQLValue(QStringLiteral(""))).integer(QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(rowOf(SQLValue(-2.9)).integer(QStringLiteral("c")), -2) << "truncated toward zero";
    EXPECT_EQ(rowOf(SQLValue(1e300)).integer(QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(rowOf(SQLValue(qint64(42))).string(QStringLiteral("c")), QStringLiteral("42"));
    EXPECT_EQ(rowOf(SQLValue(0.1)).string(QStringLiteral("c")), QStringLiteral("0.1"));
    EXPECT_EQ(rowOf(SQLValue(QByteArray("x"))).string(QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(rowOf(SQLValue(qint64(3))).real(QStringLiteral("c")), 3.0);
    EXPECT_EQ(rowOf(SQLValue(QStringLiteral("3"))).real(QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(rowOf(SQLValue(qint64(86400))).date(QStringLiteral("c")), 86400.0);
    EXPECT_EQ(rowOf(SQLValue(1)).string(QStringLiteral("missing")), std::nullopt);
    EXPECT_EQ(SQLRow().integer(QStringLiteral("c")), std::nullopt);
}

TEST(SQLiteDatabase, ValuesRoundTripIncludingBlobsAndNulls)
{
    SQLiteDatabase db(QStringLiteral(":memory:"));
    db.execute(QStringLiteral("CREATE TABLE t(a, b, c, d, e)"));
    const QByteArray fiveBytes("\x00\x01\x02\xff\x10", 5);
    EXPECT_EQ(db.run(QStringLiteral("INSERT INTO t VALUES(?, ?, ?, ?, ?)"),
                     {qint64(1) << 40, 2.5, QStringLiteral("naïve ⟦x⟧"), fiveBytes, SQLValue()}),
              1);
    db.run(QStringLiteral("INSERT INTO t VALUES(?, ?, ?, ?, ?)"), {0, 0.0, QString(), QByteArray(), SQLValue()});
    const auto rows = db.query(QStringLiteral("SELECT * FROM t ORDER BY rowid"));
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0].values(), (QList<SQLValue>{qint64(1) << 40, 2.5, QStringLiteral("naïve ⟦x⟧"), fiveBytes, SQLValue()}));
    EXPECT_EQ(rows[1].value(QStringLiteral("d")), SQLValue(QByteArray())) << "an empty blob is a blob, not null";
    EXPECT_EQ(rows[1].value(QStringLiteral("c")), SQLValue(QString())) << "an empty text is text";
}

TEST(SQLiteDatabase, EmptyResultsAndDuplicateColumnNames)
{
    SQLiteDatabase db(QStringLiteral(":memory:"));
    db.execute(QStringLiteral("CREATE TABLE t(a)"));
    EXPECT_TRUE(db.query(QStringLiteral("SELECT a FROM t")).isEmpty());
    EXPECT_TRUE(db.scalar(QStringLiteral("SELECT a FROM t")).isNull());
    const auto rows = db.query(QStringLiteral("SELECT 1 AS x, 2 AS x"));
    EXPECT_EQ(rows.first().integer(QStringLiteral("x")), 2) << "the later column of a name wins";
}

TEST(SQLiteDatabase, ErrorsCarryCodeAndMessageAndReleaseTheLock)
{
    SQLiteDatabase db(QStringLiteral(":memory:"));
    try {
        db.query(QStringLiteral("SELECT * FROM nowhere"));
        FAIL() << "expected an error";
    } catch (const SQLiteError &error) {
        EXPECT_EQ(error.code(), SQLITE_ERROR);
        EXPECT_EQ(error.description(), QStringLiteral("SQLite error 1: no such table: nowhere"));
    }
    try {
        db.execute(QStringLiteral("THIS IS NOT SQL"));
        FAIL() << "expected an error";
    } catch (const SQLiteError &error) {
        EXPECT_TRUE(error.message().contains(QStringLiteral("syntax error")));
    }
    // Another thread can still take the lock.
    bool ran = false;
    std::thread([&] { ran = db.scalar(QStringLiteral("SELECT 1")).intValue() == 1; }).join();
    EXPECT_TRUE(ran);
}

TEST(SQLiteDatabase, AFailedTransactionRollsBackAndRethrows)
{
    SQLiteDatabase db(QStringLiteral(":memory:"));
    db.execute(QStringLiteral("CREATE TABLE t(a UNIQUE)"));
    EXPECT_THROW(db.transaction([&] {
        db.run(QStringLiteral("INSERT INTO t VALUES(1)"));
        db.run(QStringLiteral("INSERT INTO t VALUES(1)"));
    }),
                 SQLiteError);
    EXPECT_EQ(db.scalar(QStringLiteral("SELECT COUNT(*) FROM t")), SQLValue(0));
    EXPECT_EQ(db.transaction([&] { return db.run(QStringLiteral("INSERT INTO t VALUES(2)")); }), 1);
}

TEST(SQLiteDatabase, AReadTransactionJoinsAnOpenOneAndEndsWhateverHappens)
{
    SQLiteDatabase db(QStringLiteral(":memory:"));
    db.execute(QStringLiteral("CREATE TABLE t(a)"));
    // Inside a write transaction it reads that transaction's rows.
    db.transaction([&] {
        db.run(QStringLiteral("INSERT INTO t VALUES(1)"));
        EXPECT_EQ(db.readTransaction([&] { return db.scalar(QStringLiteral("SELECT COUNT(*) FROM t")); }), SQLValue(1));
        EXPECT_TRUE(db.inTransaction());
    });
    EXPECT_EQ(db.readTransaction([&] { return db.scalar(QStringLiteral("SELECT COUNT(*) FROM t")); }), SQLValue(1));
    EXPECT_FALSE(db.inTransaction());
    EXPECT_THROW(db.readTransaction([&] { db.query(QStringLiteral("SELECT nothing FROM t")); }), SQLiteError);
    EXPECT_FALSE(db.inTransaction());
    EXPECT_EQ(db.transaction([&] { return db.run(QStringLiteral("INSERT INTO t VALUES(2)")); }), 1);
}

TEST(SQLiteDatabase, ABusyCommitRollsBackAndReachesTheCaller)
{
    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/busy.sqlite");
    SQLiteDatabase db(path);
    db.execute(QStringLiteral("PRAGMA journal_mode = DELETE; CREATE TABLE t(a)"));

    // A second connection holds a read transaction for longer than the busy
    // wait, so the COMMIT can't take its exclusive lock.
    sqlite3 *reader = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT COUNT(*) FROM t;", nullptr, nullptr, nullptr), SQLITE_OK);

    try {
        db.transaction([&] { db.run(QStringLiteral("INSERT INTO t VALUES(1)")); });
        FAIL() << "expected the commit to fail";
    } catch (const SQLiteError &error) {
        EXPECT_EQ(error.code() & 0xff, SQLITE_BUSY);
    }
    sqlite3_exec(reader, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(reader);

    EXPECT_EQ(db.scalar(QStringLiteral("SELECT COUNT(*) FROM t")), SQLValue(0)) << "rolled back";
    bool ran = false;
    std::thread([&] { ran = db.transaction([&] { return db.run(QStringLiteral("INSERT INTO t VALUES(2)")); }) == 1; })
        .join();
    EXPECT_TRUE(ran) << "the lock was released";
}

TEST(Migration, AFreshFileGetsEveryTableAndVersionOne)
{
    TestLibrary library;
    EXPECT_EQ(library.store.storedSchemaVersion(), 1);
    EXPECT_EQ(tableNames(*library.db), (QStringList{QStringLiteral("files"), QStringLiteral("live_answers"),
                                                    QStringLiteral("meetings"), QStringLiteral("passages"),
                                                    QStringLiteral("segments")}));
    EXPECT_EQ(library.db->scalar(QStringLiteral("PRAGMA foreign_keys")), SQLValue(1));
}

TEST(Migration, AMigratedOrNewerFileIsLeftAlone)
{
    TestLibrary library;
    library.db->execute(QStringLiteral("DROP TABLE meetings; PRAGMA user_version = 7"));
    library.store.migrate();
    EXPECT_EQ(library.store.storedSchemaVersion(), 7);
    EXPECT_FALSE(tableNames(*library.db).contains(QStringLiteral("meetings")));
}

TEST(Migration, AScriptThatFailsHalfwayLeavesVersionZeroAndNoTables)
{
    auto db = std::make_shared<SQLiteDatabase>(QStringLiteral(":memory:"));
    // A view named like a later index makes the script fail after the files
    // table was already created.
    db->execute(QStringLiteral("CREATE VIEW files_root AS SELECT 1"));
    IndexStore store(db);
    EXPECT_THROW(store.migrate(), SQLiteError);
    EXPECT_EQ(store.storedSchemaVersion(), 0);
    EXPECT_TRUE(tableNames(*db).isEmpty());
    db->execute(QStringLiteral("DROP VIEW files_root"));
    store.migrate();
    EXPECT_EQ(store.storedSchemaVersion(), 1);
}

TEST(Migration, AHalfMadeFileConverges)
{
    auto db = std::make_shared<SQLiteDatabase>(QStringLiteral(":memory:"));
    db->execute(QStringLiteral("CREATE TABLE meetings(id TEXT PRIMARY KEY, title TEXT NOT NULL, started REAL NOT NULL, "
                               "ended REAL, user_notes TEXT NOT NULL DEFAULT '', enhanced_json TEXT, "
                               "enhanced_at REAL, locale TEXT)"));
    db->run(QStringLiteral("INSERT INTO meetings(id, title, started) VALUES('m', 'Kept', 1)"));
    IndexStore store(db);
    store.migrate();
    EXPECT_EQ(tableNames(*db).size(), 5);
    EXPECT_EQ(store.stats().counts().meetings, 1);
}
