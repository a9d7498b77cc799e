#include "store/SQLite.h"

#include "core/Tasks.h"

#include <QLocale>
#include <QStringEncoder>
#include <QUrl>

#include <sqlite3.h>

#include <cmath>
#include <limits>
#include <utility>

// ---- SQLValue ----

SQLValue::Type SQLValue::type() const
{
    return static_cast<Type>(m_value.index());
}

std::optional<qint64> SQLValue::intValue() const
{
    if (auto *v = std::get_if<qint64>(&m_value))
        return *v;
    return std::nullopt;
}

std::optional<double> SQLValue::doubleValue() const
{
    if (auto *v = std::get_if<double>(&m_value))
        return *v;
    return std::nullopt;
}

std::optional<QString> SQLValue::textValue() const
{
    if (auto *v = std::get_if<QString>(&m_value))
        return *v;
    return std::nullopt;
}

std::optional<QByteArray> SQLValue::blobValue() const
{
    if (auto *v = std::get_if<QByteArray>(&m_value))
        return *v;
    return std::nullopt;
}

bool operator==(const SQLValue &a, const SQLValue &b)
{
    return a.m_value == b.m_value;
}

size_t qHash(const SQLValue &value, size_t seed)
{
    // Case discriminators: null 0, int 1, double 2, text 3, blob 4.
    switch (value.type()) {
    case SQLValue::Type::Int:
        return qHashMulti(seed, 1, *value.intValue());
    case SQLValue::Type::Double: {
        double d = *value.doubleValue();
        if (d == 0.0)
            d = 0.0; // -0.0 and 0.0 are equal, so they hash alike
        return qHashMulti(seed, 2, d);
    }
    case SQLValue::Type::Text:
        return qHashMulti(seed, 3, *value.textValue());
    case SQLValue::Type::Blob:
        return qHashMulti(seed, 4, *value.blobValue());
    case SQLValue::Type::Null:
        break;
    }
    return qHashMulti(seed, 0);
}

// ---- SQLRow ----

SQLRow::SQLRow(std::shared_ptr<const QHash<QString, int>> columns, QList<SQLValue> values)
    : m_columns(std::move(columns))
    , m_values(std::move(values))
{
}

const QHash<QString, int> &SQLRow::columns() const
{
    static const QHash<QString, int> empty;
    return m_columns ? *m_columns : empty;
}

SQLValue SQLRow::value(const QString &column) const
{
    if (!m_columns)
        return {};
    const auto it = m_columns->constFind(column);
    if (it == m_columns->constEnd() || *it >= m_values.size())
        return {};
    return m_values.at(*it);
}

SQLValue SQLRow::value(qsizetype index) const
{
    return index >= 0 && index < m_values.size() ? m_values.at(index) : SQLValue();
}

std::optional<QString> SQLRow::string(const SQLValue &v)
{
    switch (v.type()) {
    case SQLValue::Type::Int:
        return QString::number(*v.intValue());
    case SQLValue::Type::Double:
        // Shortest text that reads back as the same double.
        return QString::number(*v.doubleValue(), 'g', QLocale::FloatingPointShortest);
    case SQLValue::Type::Text:
        return v.textValue();
    default:
        return std::nullopt;
    }
}

std::optional<qint64> SQLRow::integer(const SQLValue &v)
{
    switch (v.type()) {
    case SQLValue::Type::Int:
        return v.intValue();
    case SQLValue::Type::Double: {
        const double d = *v.doubleValue();
        // A value that no 64-bit integer can hold reads as nothing rather
        // than stopping the program over one odd cell.
        if (!std::isfinite(d) || d >= 9223372036854775808.0 || d < -9223372036854775808.0)
            return std::nullopt;
        return static_cast<qint64>(std::trunc(d));
    }
    case SQLValue::Type::Text: {
        QString text = *v.textValue();
        if (text.startsWith(QLatin1Char('+')))
            text.remove(0, 1);
        bool ok = false;
        const qint64 parsed = text.toLongLong(&ok, 10);
        if (!ok || text.isEmpty() || text.front().isSpace() || text.back().isSpace())
            return std::nullopt;
        return parsed;
    }
    default:
        return std::nullopt;
    }
}

std::optional<double> SQLRow::real(const SQLValue &v)
{
    if (auto i = v.intValue())
        return double(*i);
    return v.doubleValue();
}

// ---- SQLiteError ----

SQLiteError::SQLiteError(int code, QString message)
    : m_code(code)
    , m_message(std::move(message))
{
}

QString SQLiteError::description() const
{
    return QStringLiteral("SQLite error %1: %2").arg(m_code).arg(m_message);
}

// ---- SQLiteDatabase ----

namespace {

template<typename... Fns>
struct Overloaded : Fns...
{
    using Fns::operator()...;
};
template<typename... Fns>
Overloaded(Fns...) -> Overloaded<Fns...>;

int bindValue(sqlite3_stmt *stmt, int index, const SQLValue &value)
{
    return value.visit(Overloaded{
        [&](qint64 v) { return sqlite3_bind_int64(stmt, index, v); },
        [&](double v) { return sqlite3_bind_double(stmt, index, v); },
        [&](const QString &v) {
            // Encoded straight into memory that SQLite takes over: binding
            // is on the path of every file of every scan.
            QStringEncoder encoder(QStringEncoder::Utf8);
            auto *text = static_cast<char *>(sqlite3_malloc64(sqlite3_uint64(encoder.requiredSpace(v.size())) + 1));
            if (!text)
                return SQLITE_NOMEM;
            const char *end = encoder.appendToBuffer(text, v);
            return sqlite3_bind_text64(stmt, index, text, sqlite3_uint64(end - text), sqlite3_free, SQLITE_UTF8);
        },
        [&](const QByteArray &v) {
            // A zero-length blob still binds as a blob, never as null.
            static const char emptyBlob = 0;
            return sqlite3_bind_blob(stmt, index, v.isEmpty() ? &emptyBlob : v.constData(), int(v.size()),
                                     SQLITE_TRANSIENT);
        },
        [&](std::monostate) { return sqlite3_bind_null(stmt, index); },
    });
}

SQLValue columnValue(sqlite3_stmt *stmt, int index)
{
    switch (sqlite3_column_type(stmt, index)) {
    case SQLITE_INTEGER:
        return SQLValue(qint64(sqlite3_column_int64(stmt, index)));
    case SQLITE_FLOAT:
        return SQLValue(sqlite3_column_double(stmt, index));
    case SQLITE_TEXT:
        return SQLValue(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, index))));
    case SQLITE_BLOB: {
        const void *data = sqlite3_column_blob(stmt, index);
        const int size = sqlite3_column_bytes(stmt, index);
        return SQLValue(size > 0 ? QByteArray(static_cast<const char *>(data), size) : QByteArray(""));
    }
    default:
        return SQLValue();
    }
}

// The token whose cancellation stops the statements of this thread.
thread_local const CancellationToken *stopToken = nullptr;

// SQLite calls this every stepsBetweenLooks steps of a running statement;
// a non-zero answer interrupts it.
int stopIfCancelled(void *)
{
    return stopToken && stopToken->isCancelled() ? 1 : 0;
}

// How many virtual machine steps run between two looks at the token: a
// look is a thread-local read, and a long search runs millions of steps.
constexpr int stepsBetweenLooks = 1000;

} // namespace

StopWhenCancelled::StopWhenCancelled(const CancellationToken &token)
    : m_token(std::make_unique<const CancellationToken>(token))
    , m_outer(std::exchange(stopToken, m_token.get()))
{
}

StopWhenCancelled::~StopWhenCancelled()
{
    stopToken = m_outer;
}

// A statement from the cache (prepared on first use), reset and cleared on
// every way out so that the next user finds it fresh.
class SQLiteDatabase::CachedStatement
{
public:
    CachedStatement(SQLiteDatabase &db, const QString &sql)
    {
        auto it = db.m_statements.constFind(sql);
        if (it != db.m_statements.constEnd()) {
            m_stmt = *it;
            return;
        }
        const QByteArray utf8 = sql.toUtf8();
        m_code = sqlite3_prepare_v3(db.m_handle, utf8.constData(), int(utf8.size()), SQLITE_PREPARE_PERSISTENT,
                                    &m_stmt, nullptr);
        if (m_code != SQLITE_OK) {
            sqlite3_finalize(m_stmt);
            m_stmt = nullptr;
            return;
        }
        // Statements with ids spelled out inline differ every time; a bound
        // on the cache keeps them from piling up.
        constexpr qsizetype cacheLimit = 128;
        if (db.m_statements.size() >= cacheLimit)
            db.finalizeStatements();
        db.m_statements.insert(sql, m_stmt);
    }
    ~CachedStatement()
    {
        if (!m_stmt)
            return;
        sqlite3_reset(m_stmt);
        sqlite3_clear_bindings(m_stmt);
    }
    CachedStatement(const CachedStatement &) = delete;
    CachedStatement &operator=(const CachedStatement &) = delete;

    int prepareCode() const { return m_code; }
    sqlite3_stmt *get() const { return m_stmt; }

private:
    sqlite3_stmt *m_stmt = nullptr;
    int m_code = SQLITE_OK;
};

void SQLiteDatabase::finalizeStatements()
{
    for (sqlite3_stmt *stmt : std::as_const(m_statements))
        sqlite3_finalize(stmt);
    m_statements.clear();
}

SQLiteDatabase::SQLiteDatabase(const QString &path, Access access)
    : m_path(path)
{
    if (!sqlite3_compileoption_used("ENABLE_FTS5")) {
        throw SQLiteError(SQLITE_ERROR,
                          QStringLiteral("this SQLite library has no FTS5 full-text search; "
                                         "install a SQLite built with FTS5 (Debian's libsqlite3-0 has it)"));
    }
    const bool writable = access == Access::readWrite;
    QByteArray name = path.toUtf8();
    if (!writable) {
        name = QUrl::fromLocalFile(path).toEncoded()
            + (access == Access::readOnlyUnchanging ? "?mode=ro&immutable=1" : "?mode=ro");
    }
    const int flags = writable ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    const int code = sqlite3_open_v2(name.constData(), &m_handle, flags | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (code != SQLITE_OK) {
        const QString message = m_handle ? QString::fromUtf8(sqlite3_errmsg(m_handle))
                                         : QStringLiteral("unable to open database");
        sqlite3_close(m_handle);
        m_handle = nullptr;
        throw SQLiteError(code, message);
    }
    sqlite3_busy_timeout(m_handle, 5000);
    sqlite3_progress_handler(m_handle, stepsBetweenLooks, stopIfCancelled, nullptr);
    try {
        std::lock_guard guard(m_lock);
        if (writable)
            execute(QStringLiteral("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"));
        execute(QStringLiteral("PRAGMA foreign_keys = ON;"));
        // Reading the file through a memory map rather than read() calls
        // takes a fifth off a full-text search on a large library. SQLite
        // maps at most this much (its default limit) and only as much as
        // the file holds; the map costs address space, not memory.
        execute(QStringLiteral("PRAGMA mmap_size = 2147418112"));
    } catch (...) {
        sqlite3_close_v2(m_handle);
        m_handle = nullptr;
        throw;
    }
}

SQLiteDatabase::~SQLiteDatabase()
{
    finalizeStatements();
    sqlite3_close_v2(m_handle);
}

SQLiteError SQLiteDatabase::lastError(int code) const
{
    return SQLiteError(code, QString::fromUtf8(sqlite3_errmsg(m_handle)));
}

void SQLiteDatabase::execute(const QString &sql)
{
    std::lock_guard guard(m_lock);
    char *error = nullptr;
    const int code = sqlite3_exec(m_handle, sql.toUtf8().constData(), nullptr, nullptr, &error);
    if (code == SQLITE_OK)
        return;
    const QString message = error ? QString::fromUtf8(error) : QStringLiteral("unknown error");
    sqlite3_free(error);
    throw SQLiteError(code, message);
}

namespace {

void bindAll(sqlite3 *db, sqlite3_stmt *stmt, const SQLBindings &bindings)
{
    for (int i = 0; i < bindings.size(); ++i) {
        const int code = bindValue(stmt, i + 1, bindings.at(i));
        if (code != SQLITE_OK)
            throw SQLiteError(code, QString::fromUtf8(sqlite3_errmsg(db)));
    }
}

} // namespace

void SQLiteDatabase::stepRows(const QString &sql, const SQLBindings &bindings, qint64 rowsAtMost,
                              const std::function<void(sqlite3_stmt *)> &onRow)
{
    std::lock_guard guard(m_lock);
    CachedStatement stmt(*this, sql);
    if (stmt.prepareCode() != SQLITE_OK)
        throw lastError(stmt.prepareCode());
    bindAll(m_handle, stmt.get(), bindings);
    for (qint64 rows = 0; rowsAtMost < 0 || rows < rowsAtMost; ++rows) {
        const int code = sqlite3_step(stmt.get());
        if (code == SQLITE_DONE)
            return;
        if (code != SQLITE_ROW)
            throw lastError(code);
        if (onRow)
            onRow(stmt.get());
    }
}

int SQLiteDatabase::run(const QString &sql, const SQLBindings &bindings)
{
    std::lock_guard guard(m_lock);
    stepRows(sql, bindings, 1, {});
    return sqlite3_changes(m_handle);
}

QList<SQLRow> SQLiteDatabase::query(const QString &sql, const SQLBindings &bindings)
{
    std::shared_ptr<QHash<QString, int>> columns;
    QList<SQLRow> rows;
    stepRows(sql, bindings, -1, [&](sqlite3_stmt *stmt) {
        const int count = sqlite3_column_count(stmt);
        if (!columns) {
            columns = std::make_shared<QHash<QString, int>>();
            for (int i = 0; i < count; ++i)
                columns->insert(QString::fromUtf8(sqlite3_column_name(stmt, i)), i); // later index wins
        }
        QList<SQLValue> values;
        values.reserve(count);
        for (int i = 0; i < count; ++i)
            values.append(columnValue(stmt, i));
        rows.append(SQLRow(columns, std::move(values)));
    });
    return rows;
}

qint64 SQLiteDatabase::stepThrough(const QString &sql, const SQLBindings &bindings)
{
    qint64 rows = 0;
    stepRows(sql, bindings, -1, [&](sqlite3_stmt *) { ++rows; });
    return rows;
}

SQLValue SQLiteDatabase::scalar(const QString &sql, const SQLBindings &bindings)
{
    const QList<SQLRow> rows = query(sql, bindings);
    if (rows.isEmpty() || rows.first().values().isEmpty())
        return SQLValue();
    return rows.first().values().first();
}

qint64 SQLiteDatabase::lastInsertRowID()
{
    std::lock_guard guard(m_lock);
    return sqlite3_last_insert_rowid(m_handle);
}

bool SQLiteDatabase::inTransaction()
{
    std::lock_guard guard(m_lock);
    return sqlite3_get_autocommit(m_handle) == 0;
}

void SQLiteDatabase::rollbackQuietly()
{
    try {
        execute(QStringLiteral("ROLLBACK"));
    } catch (const SQLiteError &) {
        // The original error is the one that matters.
    }
}
