#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace quenlofar {

/// Why a catalogue cannot be read or written.
class CatalogueError : public std::runtime_error
{
public:
    /// `text` is a sentence for people, without a full stop.
    explicit CatalogueError(const QString &text) : std::runtime_error(text.toStdString()) { }

    /// The sentence.
    QString text() const { return QString::fromUtf8(what()); }
};

/// A prepared statement of a Database, which outlives it. Every operation throws CatalogueError where SQLite fails.
class Statement
{
public:
    /// Binds `values` to the parameters, in their order, and does the statement; rows are passed over.
    template <typename... Values> void run(const Values &...values)
    {
        query(values...);
        while (next()) { }
    }
    /// Binds `values` to the parameters, in their order; next() then goes to the first row.
    template <typename... Values> void query(const Values &...values)
    {
        reset();
        int parameter = 0;
        (bind(++parameter, values), ...);
    }
    /// To the next row; false, and the statement is reset, where there is none.
    bool next();
    /// Ends the query.
    void reset();

    qint64 number(int column) const; ///< of the row, columns from 0; 0 for NULL
    QString text(int column) const; ///< null for NULL
    QByteArray bytes(int column) const; ///< null for NULL
    bool isNull(int column) const; ///< NULL

private:
    friend class Database;
    struct Finalizer
    {
        void operator()(sqlite3_stmt *statement) const;
    };
    explicit Statement(sqlite3_stmt *statement) : m_statement(statement) { }

    void bind(int parameter, qint64 value);
    void bind(int parameter, int value) { bind(parameter, qint64(value)); }
    void bind(int parameter, std::optional<qint64> value);
    void bind(int parameter, const QString &value); // null: NULL
    void bind(int parameter, const QByteArray &value); // a BLOB; null: NULL
    void check(int result) const;

    std::unique_ptr<sqlite3_stmt, Finalizer> m_statement;
};

/// A connection to a database of SQLite. Every operation throws CatalogueError where SQLite fails.
class Database
{
public:
    enum class Access {
        Read,
        ReadAlone, ///< nobody writes meanwhile; no file beside the database is read or made
        Create, ///< reads and writes, makes a database where there is none
    };

    /// Opens the file `path` (see pathFromBytes). Another program that writes is waited for, half a minute.
    Database(const QString &path, Access access);

    /// Does `sql`, one or more statements.
    void execute(const QByteArray &sql);
    /// Prepares `sql`, one statement.
    Statement prepare(const QByteArray &sql);
    /// The first column of the first row of what `sql` asks for; 0 where there is no row.
    qint64 number(const QByteArray &sql);
    /// The id of the row that was inserted last.
    qint64 lastId() const;
    /// Whether the file system, or how it was opened, forbids writing.
    bool isReadOnly() const;

private:
    struct Closer
    {
        void operator()(sqlite3 *database) const;
    };

    std::unique_ptr<sqlite3, Closer> m_database;
    QString m_path;
};

/// A transaction that begins with the object and is taken back with it, unless it was committed.
class Transaction
{
public:
    /// Takes the right to write at once. `database` outlives the object.
    explicit Transaction(Database &database);
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    ~Transaction();

    /// Keeps what was done.
    void commit();

private:
    Database &m_database;
    bool m_isOpen = true;
};

} // namespace quenlofar
