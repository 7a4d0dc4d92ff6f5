#pragma once

#include <delivery/spool_p.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <sqlite3.h>

#include <algorithm>
#include <random>

static constexpr int pageSize = 4096;
static constexpr int everything = 100'000'000;

/// What all that happens by chance in a run follows from.
inline quint32 seed()
{
    static quint32 const chosen = qEnvironmentVariableIsSet("STBANALYTICS_SEED")
        ? qEnvironmentVariable("STBANALYTICS_SEED").toUInt()
        : std::random_device()();
    return chosen;
}

/// The files of a spool, as they are on the disk.
struct Image
{
    QByteArray database;
    QByteArray log;
};

inline QByteArray read(QString const &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void write(QString const &path, QByteArray const &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
}

inline QString databaseOf(QString const &folder)
{
    return folder + QLatin1String("/spool.db");
}

inline QString logOf(QString const &folder)
{
    return databaseOf(folder) + QLatin1String("-wal");
}

inline QString damagedOf(QString const &folder)
{
    return databaseOf(folder) + QLatin1String(".damaged");
}

inline Image imageOf(QString const &folder)
{
    return {read(databaseOf(folder)), read(logOf(folder))};
}

inline void writeImage(QString const &folder, Image const &image)
{
    write(databaseOf(folder), image.database);
    QFile::remove(logOf(folder));
    if (!image.log.isEmpty())
        write(logOf(folder), image.log);
}

/// Runs SQL on a spool that no one has open, and returns the rows, a line each, and "|" between the columns.
inline QByteArray sql(QString const &path, QByteArray const &text)
{
    auto const addRow = [](void *rows, int columns, char **values, char **) {
        for (int column = 0; column < columns; ++column)
            static_cast<QByteArray *>(rows)->append(values[column]).append(column + 1 < columns ? '|' : '\n');
        return 0;
    };
    QByteArray rows;
    sqlite3 *database = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &database) != SQLITE_OK
        || sqlite3_exec(database, text.constData(), addRow, &rows, nullptr) != SQLITE_OK)
        qFatal("%s: %s", text.constData(), sqlite3_errmsg(database));
    sqlite3_close(database);
    rows.chop(1);
    return rows;
}

inline QList<QByteArray> bodiesOf(QList<stbanalytics::delivery::Package> const &packages)
{
    QList<QByteArray> bodies;
    for (stbanalytics::delivery::Package const &package : packages)
        bodies.append(package.body);
    return bodies;
}

inline QList<QByteArray> keysOf(QList<stbanalytics::delivery::Package> const &packages)
{
    QList<QByteArray> keys;
    for (stbanalytics::delivery::Package const &package : packages)
        keys.append(package.key);
    return keys;
}

/// Everything that a spool has to send, in the order in which it sends it.
inline QList<stbanalytics::delivery::Package> delivered(stbanalytics::delivery::Spool &spool)
{
    QList<stbanalytics::delivery::Package> packages;
    while (!spool.take(everything, everything).isEmpty()) {
        packages += spool.taken();
        spool.delivered();
        if (packages.size() > 10'000)
            qFatal("the spool gives without end");
    }
    return packages;
}

/// Adds packages, each a word that begins with h where its priority is high. Further letters tell what is done at once
/// with a package: after "!" it is refused.
inline void addWords(stbanalytics::delivery::Spool &spool, QByteArray const &words)
{
    for (QByteArray const &word : words.split(' ')) {
        bool const isRefused = word.endsWith('!');
        QByteArray body = word.left(word.size() - (isRefused ? 1 : 0));
        // Each takes 250 bytes of the quota, 200 of which are for its row.
        body = body.leftJustified(50, '.');
        spool.add(body, word.startsWith('h'));
        if (isRefused) {
            spool.take(everything, 1);
            spool.refused(QStringLiteral("why not"));
        }
    }
}

inline QByteArray wordsOf(QList<stbanalytics::delivery::Package> const &packages)
{
    QList<QByteArray> words;
    for (stbanalytics::delivery::Package const &package : packages)
        words.append(package.body.left(package.body.indexOf('.')));
    return words.join(' ');
}

inline QByteArray randomBytes(std::mt19937 &random, qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}
