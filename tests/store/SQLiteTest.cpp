#include "store/IndexStore.h"
#include "store/SQLite.h"
#include "core/Tasks.h"
#include "support/TestLibrary.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

SQLRow rowOf(const SQLValue &value)
{
    return SQLRow(std::make_shared<QHash<QString, int>>(QHash<QString, int>{{u"c"_s, 0}}), {value});
}

QStringList tableNames(SQLiteDatabase &db)
{
    QStringList names;
    for (const SQLRow &row : db.query(u"SELECT name FROM sqlite_master WHERE type = 'table' AND name IN ('files', "
                                      "'passages', 'meetings', 'segments', 'live_answers') ORDER BY name"_s))
        names.append(*row.string(0));
    return names;
}

// Whether another thread can take the connection's lock and write.
bool writableFromAnotherThread(SQLiteDatabase &db)
{
    bool ran = false;
    std::thread([&] { ran = db.transaction([&] { return db.run(u"INSERT INTO t VALUES(2)"_s); }) == 1; }).join();
    return ran;
}

} // namespace

TEST(SQLValue, EqualityAndHashingGoByCaseAndPayload)
{
    EXPECT_EQ(SQLValue(qint64(1)), SQLValue(1));
    EXPECT_FALSE(SQLValue(1) == SQLValue(1.0)) << "an int and a double are different cases";
    EXPECT_FALSE(SQLValue(u"1"_s) == SQLValue(QByteArray("1")));
    EXPECT_EQ(SQLValue(), SQLValue(nullptr));
    EXPECT_TRUE(SQLValue(0.0) == SQLValue(-0.0) && qHash(SQLValue(0.0), 0) == qHash(SQLValue(-0.0), 0));
    EXPECT_TRUE(SQLValue(std::optional<QString>()).isNull());
}

TEST(SQLRow, LenientReadersConvertOrGiveNothing)
{
    EXPECT_EQ(rowOf(u"+7"_s).integer(0), 7);
    EXPECT_EQ(rowOf(u"-12"_s).integer(0), -12);
    EXPECT_EQ(rowOf(u"abc"_s).integer(0), std::nullopt);
    EXPECT_EQ(rowOf(-2.9).integer(0), -2) << "truncated toward zero";
    EXPECT_EQ(rowOf(1e300).integer(0), std::nullopt);
    EXPECT_EQ(rowOf(qint64(42)).string(0), "42");
    EXPECT_EQ(rowOf(0.1).string(0), "0.1");
    EXPECT_EQ(rowOf(QByteArray("x")).string(0), std::nullopt);
    EXPECT_EQ(rowOf(qint64(3)).real(0), 3.0);
    EXPECT_EQ(rowOf(u"3"_s).real(0), std::nullopt);
    EXPECT_EQ(rowOf(qint64(86400)).date(u"c"_s), 86400.0);
    EXPECT_EQ(rowOf(1).string(u"missing"_s), std::nullopt);
    EXPECT_EQ(SQLRow().integer(0), std::nullopt);
}

TEST(SQLiteDatabase, ValuesRoundTripAndEmptyResultsAndDuplicateNamesReadRight)
{
    SQLiteDatabase db(u":memory:"_s);
    db.execute(u"CREATE TABLE t(a, b, c, d, e)"_s);
    const QList<SQLValue> values{qint64(1) << 40, 2.5, u"naïve ⟦x⟧"_s, QByteArray("\x00\x01\x02\xff\x10", 5),
                                 SQLValue()};
    EXPECT_EQ(db.run(u"INSERT INTO t VALUES(?, ?, ?, ?, ?)"_s, values), 1);
    EXPECT_EQ(db.query(u"SELECT * FROM t"_s).value(0).values(), values);
    EXPECT_EQ(db.scalar(u"SELECT ?"_s, {QByteArray()}), SQLValue(QByteArray())) << "an empty blob is a blob, not null";
    EXPECT_EQ(db.scalar(u"SELECT ?"_s, {QString()}), SQLValue(QString())) << "an empty text is text";
    EXPECT_TRUE(db.query(u"SELECT a FROM t WHERE 0"_s).isEmpty());
    EXPECT_TRUE(db.scalar(u"SELECT a FROM t WHERE 0"_s).isNull());
    EXPECT_EQ(db.query(u"SELECT 1 AS x, 2 AS x"_s).first().integer(u"x"_s), 2) << "the later column of a name wins";
}

TEST(SQLiteDatabase, ErrorsCarryTheirCodeAndFailedTransactionsRollBackAndReleaseTheLock)
{
    SQLiteDatabase db(u":memory:"_s);
    db.execute(u"CREATE TABLE t(a UNIQUE)"_s);
    try {
        db.query(u"SELECT * FROM nowhere"_s);
        FAIL() << "expected an error";
    } catch (const SQLiteError &error) {
        EXPECT_EQ(error.code(), SQLITE_ERROR);
        EXPECT_EQ(error.description(), "SQLite error 1: no such table: nowhere");
    }
    const auto count = [&] { return db.scalar(u"SELECT COUNT(*) FROM t"_s); };
    EXPECT_THROW(db.transaction([&] {
        db.run(u"INSERT INTO t VALUES(1)"_s);
        db.run(u"INSERT INTO t VALUES(1)"_s);
    }),
                 SQLiteError);
    EXPECT_EQ(count(), SQLValue(0));
    // Inside a write transaction a read transaction sees that transaction's rows.
    db.transaction([&] {
        db.run(u"INSERT INTO t VALUES(1)"_s);
        EXPECT_EQ(db.readTransaction(count), SQLValue(1));
        EXPECT_TRUE(db.inTransaction());
    });
    EXPECT_EQ(db.readTransaction(count), SQLValue(1));
    EXPECT_FALSE(db.inTransaction());
    EXPECT_THROW(db.readTransaction([&] { db.query(u"SELECT nothing FROM t"_s); }), SQLiteError);
    EXPECT_FALSE(db.inTransaction());
    EXPECT_TRUE(writableFromAnotherThread(db));
}

// A read that a newer request overtook stops where it is, lets go of the
// connection, and leaves it usable; outside the guard nothing stops.
TEST(SQLiteDatabase, ACancelledReadStopsAndReleasesTheConnection)
{
    SQLiteDatabase db(u":memory:"_s);
    db.execute(u"CREATE TABLE t(a)"_s);
    const QString endless = u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT COUNT(*) FROM n"_s;
    const QString counted = u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) "
                            "SELECT COUNT(*) FROM n"_s;

    CancellationToken token;
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        token.cancel();
    });
    try {
        const StopWhenCancelled stop(token);
        db.readTransaction([&] { return db.scalar(endless); });
        FAIL() << "expected the read to stop";
    } catch (const SQLiteError &error) {
        EXPECT_EQ(error.code(), SQLITE_INTERRUPT);
    }
    canceller.join();
    EXPECT_FALSE(db.inTransaction());
    EXPECT_TRUE(writableFromAnotherThread(db));

    // A guard belongs to its thread and its scope, and the innermost counts.
    EXPECT_EQ(db.scalar(counted), SQLValue(100000));
    {
        const StopWhenCancelled outer(token);
        std::thread([&] { EXPECT_EQ(db.scalar(counted), SQLValue(100000)); }).join();
        {
            const StopWhenCancelled inner(CancellationToken::none());
            EXPECT_EQ(db.scalar(counted), SQLValue(100000));
        }
        EXPECT_THROW(db.scalar(counted), SQLiteError);
    }
    EXPECT_EQ(db.scalar(counted), SQLValue(100000));
}

TEST(SQLiteDatabase, ABusyCommitRollsBackAndReachesTheCaller)
{
    QTemporaryDir dir;
    const QString path = dir.path() + u"/busy.sqlite"_s;
    SQLiteDatabase db(path);
    db.execute(u"PRAGMA journal_mode = DELETE; CREATE TABLE t(a)"_s);

    // A second connection holds a read transaction for longer than the busy
    // wait, so the COMMIT can't take its exclusive lock.
    sqlite3 *reader = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT COUNT(*) FROM t;", nullptr, nullptr, nullptr), SQLITE_OK);
    try {
        db.transaction([&] { db.run(u"INSERT INTO t VALUES(1)"_s); });
        FAIL() << "expected the commit to fail";
    } catch (const SQLiteError &error) {
        EXPECT_EQ(error.code() & 0xff, SQLITE_BUSY);
    }
    sqlite3_close(reader); // rolls its transaction back
    EXPECT_EQ(db.scalar(u"SELECT COUNT(*) FROM t"_s), SQLValue(0)) << "rolled back";
    EXPECT_TRUE(writableFromAnotherThread(db)) << "the lock was released";
}

TEST(Migration, AFreshFileGetsEveryTableAndAMigratedOrNewerOneIsLeftAlone)
{
    TestLibrary library;
    EXPECT_EQ(library.store.storedSchemaVersion(), 1);
    EXPECT_EQ(tableNames(*library.db), (QStringList{"files", "live_answers", "meetings", "passages", "segments"}));
    EXPECT_EQ(library.db->scalar(u"PRAGMA foreign_keys"_s), SQLValue(1));

    library.db->execute(u"DROP TABLE meetings; PRAGMA user_version = 7"_s);
    library.store.migrate();
    EXPECT_EQ(library.store.storedSchemaVersion(), 7);
    EXPECT_FALSE(tableNames(*library.db).contains(u"meetings"_s));
}

// A view named like a later index makes the script fail after the files
// table was made; a meetings table of an earlier attempt is already there.
TEST(Migration, AScriptThatFailsHalfwayLeavesVersionZeroAndAHalfMadeFileConverges)
{
    auto db = std::make_shared<SQLiteDatabase>(u":memory:"_s);
    db->execute(u"CREATE VIEW files_root AS SELECT 1; CREATE TABLE meetings(id TEXT PRIMARY KEY, title TEXT NOT NULL, "
                "started REAL NOT NULL, ended REAL, user_notes TEXT NOT NULL DEFAULT '', enhanced_json TEXT, "
                "enhanced_at REAL, locale TEXT); INSERT INTO meetings(id, title, started) VALUES('m', 'Kept', 1)"_s);
    IndexStore store(db);
    EXPECT_THROW(store.migrate(), SQLiteError);
    EXPECT_EQ(store.storedSchemaVersion(), 0);
    EXPECT_EQ(tableNames(*db), QStringList{u"meetings"_s});
    db->execute(u"DROP VIEW files_root"_s);
    store.migrate();
    EXPECT_EQ(store.storedSchemaVersion(), 1);
    EXPECT_EQ(tableNames(*db).size(), 5);
    EXPECT_EQ(store.stats().counts().meetings, 1);
}
