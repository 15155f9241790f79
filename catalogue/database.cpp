#include "database.h"

#include "filepath.h"

#include <sqlite3.h>

#include <new>

namespace quenlofar {

namespace {

constexpr int mostMilliseconds = 30000; // that another program is waited for

[[noreturn]] void fail(sqlite3 *database, const QString &path)
{
    const int code = database ? sqlite3_errcode(database) : SQLITE_NOMEM;
    if (code == SQLITE_NOMEM)
        throw std::bad_alloc();
    throw CatalogueError(QStringLiteral("%1: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(database))));
}

QString pathOf(sqlite3 *database)
{
    const char *const path = sqlite3_db_filename(database, "main");
    return path ? pathFromBytes(QByteArray(path)) : QString();
}

/// As SQLite takes it: a name such as ":memory:" is a file's, too.
QByteArray nameOf(const QString &path)
{
    const QByteArray bytes = pathToBytes(path);
    return bytes.startsWith('/') ? bytes : "./" + bytes;
}

} // namespace

void Statement::Finalizer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

bool Statement::next()
{
    const int result = sqlite3_step(m_statement.get());
    if (result == SQLITE_ROW)
        return true;
    if (result != SQLITE_DONE)
        check(result);
    reset();
    return false;
}

void Statement::reset()
{
    sqlite3_reset(m_statement.get()); // what it answers was answered by the step before
}

qint64 Statement::number(int column) const
{
    return sqlite3_column_int64(m_statement.get(), column);
}

QString Statement::text(int column) const
{
    if (isNull(column))
        return {};
    const void *const bytes = sqlite3_column_blob(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return size == 0 ? QStringLiteral("") : QString::fromUtf8(static_cast<const char *>(bytes), size);
}

QByteArray Statement::bytes(int column) const
{
    if (isNull(column))
        return {};
    const void *const bytes = sqlite3_column_blob(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return size == 0 ? QByteArray("") : QByteArray(static_cast<const char *>(bytes), size);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

void Statement::bind(int parameter, qint64 value)
{
    check(sqlite3_bind_int64(m_statement.get(), parameter, value));
}

void Statement::bind(int parameter, std::optional<qint64> value)
{
    if (value)
        bind(parameter, *value);
    else
        check(sqlite3_bind_null(m_statement.get(), parameter));
}

void Statement::bind(int parameter, const QString &value)
{
    if (value.isNull()) {
        check(sqlite3_bind_null(m_statement.get(), parameter));
        return;
    }
    const QByteArray bytes = value.toUtf8();
    check(sqlite3_bind_text(m_statement.get(), parameter, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT));
}

void Statement::bind(int parameter, const QByteArray &value)
{
    if (value.isNull()) {
        check(sqlite3_bind_null(m_statement.get(), parameter));
        return;
    }
    check(sqlite3_bind_blob(m_statement.get(), parameter, value.constData(), int(value.size()), SQLITE_TRANSIENT));
}

void Statement::check(int result) const
{
    if (result == SQLITE_OK)
        return;
    sqlite3 *const database = sqlite3_db_handle(m_statement.get());
    if (result == SQLITE_NOMEM)
        throw std::bad_alloc();
    fail(database, pathOf(database));
}

void Database::Closer::operator()(sqlite3 *database) const
{
    sqlite3_close_v2(database); // later, where a statement is still there
}

Database::Database(const QString &path, Access access) : m_path(path)
{
    QByteArray name = nameOf(path);
    int flags = access == Access::Create ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
    if (access == Access::ReadAlone) {
        name = "file:" + name.toPercentEncoding("/") + "?immutable=1";
        flags |= SQLITE_OPEN_URI;
    }
    sqlite3 *opened = nullptr;
    const int result = sqlite3_open_v2(name.constData(), &opened, flags, nullptr);
    m_database.reset(opened);
    if (result != SQLITE_OK)
        fail(opened, path);
    sqlite3_busy_timeout(opened, mostMilliseconds);
}

void Database::execute(const QByteArray &sql)
{
    if (sqlite3_exec(m_database.get(), sql.constData(), nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(m_database.get(), m_path);
}

Statement Database::prepare(const QByteArray &sql)
{
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v3(m_database.get(), sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement,
                           nullptr)
        != SQLITE_OK)
        fail(m_database.get(), m_path);
    return Statement(statement);
}

qint64 Database::number(const QByteArray &sql)
{
    Statement statement = prepare(sql);
    return statement.next() ? statement.number(0) : 0;
}

qint64 Database::lastId() const
{
    return sqlite3_last_insert_rowid(m_database.get());
}

bool Database::isReadOnly() const
{
    return sqlite3_db_readonly(m_database.get(), "main") != 0;
}

Transaction::Transaction(Database &database) : m_database(database)
{
    m_database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!m_isOpen)
        return;
    try {
        m_database.execute("ROLLBACK");
    } catch (const std::exception &) {
        // SQLite has taken it back already, or does when the connection is closed.
    }
}

void Transaction::commit()
{
    m_database.execute("COMMIT");
    m_isOpen = false;
}

} // namespace quenlofar
