// The one SQLite connection of the program and the values that cross it.
// Nothing above this layer calls SQLite directly.
#pragma once

#include "core/Errors.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

class SQLValue
{
public:
    enum class Type { Int, Double, Text, Blob, Null };

    SQLValue() = default; // null
    SQLValue(std::nullptr_t) {}
    SQLValue(qint64 value) : m_value(value) {}
    SQLValue(int value) : m_value(qint64(value)) {}
    SQLValue(double value) : m_value(value) {}
    SQLValue(const QString &value) : m_value(value) {}
    SQLValue(const char *value) : m_value(QString::fromUtf8(value)) {}
    SQLValue(const QByteArray &value) : m_value(value) {}

    // Absent optionals bind as null.
    template<typename T>
    SQLValue(const std::optional<T> &value)
    {
        if (value)
            *this = SQLValue(*value);
    }

    Type type() const;
    bool isNull() const { return type() == Type::Null; }

    // The payload of the matching case, or nothing for any other case.
    std::optional<qint64> intValue() const;
    std::optional<double> doubleValue() const;
    std::optional<QString> textValue() const;
    std::optional<QByteArray> blobValue() const;

    // Calls fn with the payload: qint64, double, QString, QByteArray or
    // std::monostate for null.
    template<typename Fn>
    decltype(auto) visit(Fn &&fn) const
    {
        return std::visit(std::forward<Fn>(fn), m_value);
    }

    friend bool operator==(const SQLValue &a, const SQLValue &b);
    friend size_t qHash(const SQLValue &value, size_t seed);

private:
    // The order of the alternatives is the order of Type.
    std::variant<qint64, double, QString, QByteArray, std::monostate> m_value = std::monostate();
};

using SQLBindings = QList<SQLValue>;

// One result row. Rows of one result share their column map.
class SQLRow
{
public:
    SQLRow() = default;
    SQLRow(std::shared_ptr<const QHash<QString, int>> columns, QList<SQLValue> values);

    const QHash<QString, int> &columns() const;
    const QList<SQLValue> &values() const { return m_values; }

    // The raw value of a column; null when the column is missing.
    SQLValue value(const QString &column) const;

    // The raw value of the column at a position; null past the end.
    SQLValue value(qsizetype index) const;

    // Lenient readers: a missing column or an unsuitable value gives nothing.
    // By name, or by position for loops over many rows, which skip the
    // lookup of the name.
    std::optional<QString> string(const QString &column) const { return string(value(column)); }
    std::optional<qint64> integer(const QString &column) const { return integer(value(column)); }
    std::optional<double> real(const QString &column) const { return real(value(column)); }
    // Seconds since 1970.
    std::optional<double> date(const QString &column) const { return real(value(column)); }
    std::optional<QString> string(qsizetype index) const { return string(value(index)); }
    std::optional<qint64> integer(qsizetype index) const { return integer(value(index)); }
    std::optional<double> real(qsizetype index) const { return real(value(index)); }
    std::optional<double> date(qsizetype index) const { return real(value(index)); }

    static std::optional<QString> string(const SQLValue &value);
    static std::optional<qint64> integer(const SQLValue &value);
    static std::optional<double> real(const SQLValue &value);

private:
    std::shared_ptr<const QHash<QString, int>> m_columns;
    QList<SQLValue> m_values;
};

class SQLiteError : public DescribedError
{
public:
    SQLiteError(int code, QString message);

    int code() const { return m_code; }
    QString message() const { return m_message; }
    // "SQLite error <code>: <message>"
    QString description() const override;

private:
    int m_code;
    QString m_message;
};

class CancellationToken;

// While one lives on a thread, the statements that thread steps stop as
// soon as the token is cancelled: the step fails as interrupted and throws
// SQLiteError. For reads that a newer request has made pointless, so that
// they give the connection up at once rather than when they are done.
// Guards nest; the innermost one counts.
class StopWhenCancelled
{
public:
    explicit StopWhenCancelled(const CancellationToken &token);
    ~StopWhenCancelled();

    StopWhenCancelled(const StopWhenCancelled &) = delete;
    StopWhenCancelled &operator=(const StopWhenCancelled &) = delete;

private:
    // A copy, so that a guard may be given a token that does not outlive it.
    std::unique_ptr<const CancellationToken> m_token;
    const CancellationToken *m_outer;
};

// The single connection, shared by every store and every thread. Its
// recursive mutex is the innermost lock of the program: a transaction holds
// it to its end and the statements inside re-enter it.
class SQLiteDatabase
{
public:
    enum class Access {
        // Creates the file when it's missing, and sets WAL with normal syncing.
        readWrite,
        // For a file that can't be written: only reads, and changes nothing
        // on disk, not even the journal mode.
        readOnly,
        // Read-only where not even WAL's index can be made beside the file
        // (a read-only folder without one): the file is taken as unchanging.
        readOnlyUnchanging,
    };

    // ":memory:" opens an in-memory database. Fails when this SQLite has no
    // FTS5 full-text search.
    explicit SQLiteDatabase(const QString &path, Access access = Access::readWrite);
    ~SQLiteDatabase();

    SQLiteDatabase(const SQLiteDatabase &) = delete;
    SQLiteDatabase &operator=(const SQLiteDatabase &) = delete;

    // Runs a whole script without parameters.
    void execute(const QString &sql);
    // Steps a statement once and returns the number of changed rows.
    int run(const QString &sql, const SQLBindings &bindings = {});
    QList<SQLRow> query(const QString &sql, const SQLBindings &bindings = {});
    // Steps a statement to its end, for what its functions do on the way,
    // and returns the number of rows it gave without reading them.
    qint64 stepThrough(const QString &sql, const SQLBindings &bindings = {});
    // The first column of the first row, or null when there is no row.
    SQLValue scalar(const QString &sql, const SQLBindings &bindings = {});
    // Only meaningful while the caller holds lock() across its insert.
    qint64 lastInsertRowID();

    std::recursive_mutex &lock() { return m_lock; }
    // The connection itself, for registering functions on it; use it only
    // while holding lock().
    sqlite3 *handle() const { return m_handle; }

    // Runs body inside BEGIN IMMEDIATE ... COMMIT, rolling back and rethrowing
    // when the body or the commit throws. Transactions don't nest.
    template<typename Body>
    auto transaction(Body &&body) -> decltype(body())
    {
        std::lock_guard guard(m_lock);
        return enclosed(QStringLiteral("BEGIN IMMEDIATE"), body);
    }

    // Runs body so that all of its statements read one state of the
    // database: in a read transaction of its own, or in the caller's open
    // transaction. Holds the lock throughout; rethrows what body throws.
    template<typename Body>
    auto readTransaction(Body &&body) -> decltype(body())
    {
        std::lock_guard guard(m_lock);
        if (inTransaction())
            return body();
        return enclosed(QStringLiteral("BEGIN DEFERRED"), body);
    }
    // Whether a transaction is open on the connection.
    bool inTransaction();

    QString path() const { return m_path; }

private:
    // body between begin and COMMIT, rolled back when either throws.
    template<typename Body>
    auto enclosed(const QString &begin, Body &body) -> decltype(body())
    {
        execute(begin);
        try {
            if constexpr (std::is_void_v<decltype(body())>) {
                body();
                execute(QStringLiteral("COMMIT"));
            } else {
                auto result = body();
                execute(QStringLiteral("COMMIT"));
                return result;
            }
        } catch (...) {
            rollbackQuietly();
            throw;
        }
    }

    class CachedStatement;
    friend class CachedStatement;

    // Prepares (or reuses) and binds a statement, then steps it up to
    // rowsAtMost rows (all with -1), calling onRow, if given, on each.
    void stepRows(const QString &sql, const SQLBindings &bindings, qint64 rowsAtMost,
                  const std::function<void(sqlite3_stmt *)> &onRow);

    void rollbackQuietly();
    void finalizeStatements();
    SQLiteError lastError(int code) const;

    sqlite3 *m_handle = nullptr;
    // Prepared statements by their text, reset after each use. Preparing is
    // a large share of a short statement's cost, and the indexer runs the
    // same few statements hundreds of thousands of times.
    QHash<QString, sqlite3_stmt *> m_statements;
    std::recursive_mutex m_lock;
    QString m_path;
};
