#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <sqlite3.h>

#include <memory>

namespace stbanalytics::delivery {

/// An SQLite connection, as much of it as the spool needs. Nothing throws; what failed is told by error().
class Database
{
public:
    /// Opens the file, and makes it if it is not there. Whether it is a database shows with the first statement.
    bool open(QString const &path);

    bool isOpen() const;

    /// Goes without a word: what has been committed is on the disk.
    void close();

    /// Runs statements that have neither parameters nor rows to read.
    bool run(char const *statements);

    /// The last failure, in SQLite's words; whatever has succeeded since.
    QString error() const;

    /// Whether the last failure tells that the file is broken, rather than that something stands in the way.
    bool isDamaged() const;

private:
    friend class Statement;

    struct Close
    {
        void operator()(sqlite3 *connection) const { sqlite3_close_v2(connection); }
    };

    /// Keeps what failed: SQLite itself forgets it as soon as another statement ends.
    bool hasSucceeded(int result);

    std::unique_ptr<sqlite3, Close> m_connection;
    int m_failure = SQLITE_OK;
    QString m_error;
};

/// A statement with its parameters, and its rows one after the other.
class Statement
{
public:
    Statement(Database &database, char const *text);

    /// The next parameter. Bytes must stay where they are until the statement has run.
    Statement &bind(qint64 value);
    Statement &bind(QByteArray const &value);

    /// Moves to the next row; false after the last one, and when something went wrong.
    bool next();

    /// Runs a statement that has no rows. Parameters are then to be bound anew.
    bool run();

    /// Whether something went wrong.
    bool hasFailed() const;

    qint64 integer(int column) const;
    QByteArray bytes(int column) const;

private:
    struct Finalize
    {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };
    Database &m_database;
    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    int m_parameters = 0;
    int m_result = SQLITE_CANTOPEN;
};

} // namespace stbanalytics::delivery
