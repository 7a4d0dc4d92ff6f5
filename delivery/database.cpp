#include <delivery/database_p.h>

namespace stbanalytics::delivery {

bool Database::open(QString const &path)
{
    sqlite3 *connection = nullptr;
    int const result = sqlite3_open_v2(path.toUtf8().constData(), &connection,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    m_connection.reset(connection);
    bool const isDone = hasSucceeded(result);
    if (!isDone)
        close(); // SQLite gives one that is good for nothing but its error.
    return isDone;
}

bool Database::isOpen() const
{
    return m_connection != nullptr;
}

void Database::close()
{
    m_connection.reset();
}

bool Database::run(char const *statements)
{
    return hasSucceeded(isOpen() ? sqlite3_exec(m_connection.get(), statements, nullptr, nullptr, nullptr)
                                 : SQLITE_CANTOPEN);
}

QString Database::error() const
{
    return m_error;
}

bool Database::isDamaged() const
{
    switch (m_failure) {
    case SQLITE_ERROR: // A statement that does not fit the tables.
    case SQLITE_READONLY: // By its header, that is: where the disk says so, there will be no other file, either.
    case SQLITE_NOTADB:
    case SQLITE_IOERR_READ:
    case SQLITE_IOERR_SHORT_READ:
        return true;
    default:
        constexpr int primaryCode = 0xff;
        return (m_failure & primaryCode) == SQLITE_CORRUPT;
    }
}

bool Database::hasSucceeded(int result)
{
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE)
        return true;
    m_failure = isOpen() ? sqlite3_extended_errcode(m_connection.get()) : result;
    m_error = QString::fromUtf8(isOpen() ? sqlite3_errmsg(m_connection.get()) : sqlite3_errstr(result));
    return false;
}

Statement::Statement(Database &database, char const *text)
    : m_database(database)
{
    if (database.isOpen()) {
        sqlite3_stmt *statement = nullptr;
        m_result = sqlite3_prepare_v2(database.m_connection.get(), text, -1, &statement, nullptr);
        m_statement.reset(statement);
    }
    database.hasSucceeded(m_result);
}

Statement &Statement::bind(qint64 value)
{
    if (m_statement)
        sqlite3_bind_int64(m_statement.get(), ++m_parameters, value);
    return *this;
}

Statement &Statement::bind(QByteArray const &value)
{
    if (m_statement)
        sqlite3_bind_blob64(m_statement.get(), ++m_parameters, value.constData(), sqlite3_uint64(value.size()),
                            SQLITE_STATIC);
    return *this;
}

bool Statement::next()
{
    if (!m_statement)
        return false;
    m_result = sqlite3_step(m_statement.get());
    m_database.hasSucceeded(m_result);
    return m_result == SQLITE_ROW;
}

bool Statement::run()
{
    next();
    m_parameters = 0;
    if (m_statement)
        sqlite3_reset(m_statement.get());
    return m_result == SQLITE_DONE;
}

bool Statement::hasFailed() const
{
    return m_result != SQLITE_OK && m_result != SQLITE_ROW && m_result != SQLITE_DONE;
}

qint64 Statement::integer(int column) const
{
    return sqlite3_column_int64(m_statement.get(), column);
}

QByteArray Statement::bytes(int column) const
{
    auto const *data = static_cast<char const *>(sqlite3_column_blob(m_statement.get(), column));
    return {data, sqlite3_column_bytes(m_statement.get(), column)};
}

} // namespace stbanalytics::delivery
