#include <delivery/spoolrescue_p.h>

#include <delivery/spoolformat_p.h>

#include <QtCore/QFile>

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace stbanalytics::delivery {

static constexpr int pageSize = 4096;

static QString walOf(QString const &path)
{
    return path + QLatin1String("-wal");
}

static void removeDatabase(QString const &path)
{
    QFile::remove(path);
    QFile::remove(walOf(path));
}

/// Copies a database as far as it can be read. Returns whether the copy found its place.
static bool copyDatabase(QString const &from, QString const &to)
{
    removeDatabase(to);
    QFile::copy(walOf(from), walOf(to));
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !target.open(QIODevice::WriteOnly))
        return !source.exists();
    for (qint64 offset = 0; offset < source.size(); offset += pageSize) {
        source.seek(offset);
        QByteArray page = source.read(pageSize);
        // A disk may have lost a part of it.
        page = page.leftJustified(static_cast<qsizetype>(std::min<qint64>(pageSize, source.size() - offset)), '\0');
        if (target.write(page) != page.size())
            return false;
    }
    return target.flush();
}

/// QFile would copy what it cannot move, and a copy may be broken off.
static bool moveFile(QString const &from, QString const &to)
{
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

/// The file goes first, since power may fail in between: finish() removes a log that is left alone, but a file
/// that is left alone is a spool without the packages that are only in its log.
static bool moveDatabase(QString const &from, QString const &to)
{
    removeDatabase(to);
    return moveFile(from, to) && (!QFile::exists(walOf(from)) || moveFile(walOf(from), walOf(to)));
}

/// Opens a damaged spool to be read as far as that goes. The first page of a sound one, which has the same tables in
/// the same places, takes the place of its own: there a single letter decides whether SQLite finds any package at all.
static void openDamaged(Database &damaged, QString const &path, QByteArray const &soundPage)
{
    QFile file(path);
    if (file.open(QIODevice::ReadWrite))
        file.write(soundPage);
    file.close();
    damaged.open(path);
    damaged.run("PRAGMA locking_mode = EXCLUSIVE");
}

/// The first page of a spool whose file it is, such that SQLite believes the file's size rather than the page.
static QByteArray firstPage(QString const &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray page = file.read(pageSize);
    // The size in the header counts only while these two numbers are the same.
    constexpr int versionValidFor = 92;
    constexpr int changeCounter = 24;
    if (page.size() == pageSize)
        page[versionValidFor] = static_cast<char>(~page.at(changeCounter));
    return page;
}

static std::set<qint64> idsIn(Database &damaged, char const *scan)
{
    std::set<qint64> ids;
    Statement rows(damaged, scan);
    while (rows.next())
        ids.insert(rows.integer(0));
    return ids;
}

/// All numbers of packages that can be found, from either end and by the index: a scan ends where a page is broken.
static std::set<qint64> allIdsIn(Database &damaged)
{
    std::set<qint64> ids;
    for (char const *scan :
         {"SELECT id FROM package INDEXED BY waiting ORDER BY class, id",
          "SELECT id FROM package INDEXED BY waiting ORDER BY class DESC, id DESC",
          "SELECT id FROM package NOT INDEXED ORDER BY id", "SELECT id FROM package NOT INDEXED ORDER BY id DESC"})
        ids.merge(idsIn(damaged, scan));
    return ids;
}

/// Copies a package as it is; false where it cannot be read.
static bool copyPackage(Database &damaged, Database &fresh, qint64 id)
{
    Statement row(damaged, "SELECT class, key, body, created, checksum, reason FROM package NOT INDEXED WHERE id = ?");
    if (!row.bind(id).next())
        return false;
    Package const package{id, row.bytes(1), row.bytes(2), false, row.integer(3)};
    return row.integer(4) == checksum(package)
        && insertPackage(fresh, package, static_cast<int>(std::clamp<qint64>(row.integer(0), 0, 2)), row.bytes(5));
}

/// Copies those of the packages that are not settled yet; they are then.
static void copyPackages(Database &damaged, std::set<qint64> const &ids, std::set<qint64> &settled, Database &fresh)
{
    for (qint64 id : ids) {
        if (settled.count(id) == 0 && copyPackage(damaged, fresh, id))
            settled.insert(id);
    }
}

/// Copies packages that cannot be found from the table's first page: each page that holds packages takes the place of
/// that one in turn.
static void copyScattered(QString const &path, std::set<qint64> &settled, Database &fresh)
{
    constexpr qint64 rootOfPackages = pageSize;
    constexpr char holdsRows = 0x0d;

    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return;
    auto const pageAt = [&file](qint64 offset) {
        file.seek(offset);
        return file.read(pageSize);
    };
    auto const putRoot = [&file](QByteArray const &page) {
        file.seek(rootOfPackages);
        file.write(page);
    };
    for (qint64 offset = 2 * rootOfPackages; offset < file.size(); offset += pageSize) {
        QByteArray const page = pageAt(offset);
        if (!page.startsWith(holdsRows))
            continue;
        putRoot(page);
        Database damaged;
        damaged.open(path);
        damaged.run("PRAGMA locking_mode = EXCLUSIVE");
        copyPackages(damaged, idsIn(damaged, "SELECT id FROM package NOT INDEXED ORDER BY id"), settled, fresh);
    }
}

/// Fills a new spool with what can be read of a damaged one. Returns how many packages cannot be.
static qint64 copyReadable(QString const &scanPath, QByteArray const &soundPage, std::set<qint64> const &delivered,
                           Database &fresh, qint64 &copied, SpoolClock &clock, Losses &losses)
{
    std::set<qint64> ids;
    std::set<qint64> settled = delivered;
    std::optional<qint64> known;
    {
        Database damaged;
        openDamaged(damaged, scanPath, soundPage);
        known = readState(damaged, clock, losses);
        ids = allIdsIn(damaged);
        copyPackages(damaged, ids, settled, fresh);
    }
    auto const lacking = [&] { return known.value_or(0) - static_cast<qint64>(settled.size()); };
    // Where the index is broken, too, there may be more than the scans have found.
    if (!known || lacking() > 0)
        copyScattered(scanPath, settled, fresh);
    copied = static_cast<qint64>(settled.size() - delivered.size());
    qint64 const unread = std::count_if(ids.begin(), ids.end(), [&](qint64 id) { return settled.count(id) == 0; });
    return std::max(unread, lacking());
}

SpoolRescue::SpoolRescue(QString const &path)
    : m_path(path)
    , m_freshPath(path + QLatin1String(".new"))
    , m_scanPath(path + QLatin1String(".scan"))
{
}

void SpoolRescue::removeLeftovers() const
{
    removeDatabase(m_scanPath);
}

bool SpoolRescue::isUnfinished() const
{
    return !QFile::exists(m_path) && QFile::exists(m_freshPath);
}

SpoolRescue::Result SpoolRescue::begin(std::set<qint64> const &delivered, SpoolClock &clock, Losses const &losses) const
{
    Result result;
    auto const failure = [this](QString const &problem) {
        removeDatabase(m_scanPath);
        return Result{problem, 0, 0, {}, {}};
    };
    removeDatabase(m_freshPath);
    if (!copyDatabase(m_path, m_scanPath))
        return failure(QStringLiteral("no room to read the damaged spool"));

    result.losses = losses;
    {
        Database fresh;
        if (!fresh.open(m_freshPath) || !fresh.run(spoolSchema) || !fresh.run("PRAGMA wal_checkpoint(TRUNCATE); BEGIN"))
            return failure(fresh.error());
        result.lost
            = copyReadable(m_scanPath, firstPage(m_freshPath), delivered, fresh, result.copied, clock, result.losses);
        result.losses.damage += result.lost;
        if (!insertState(fresh, clock, result.losses, result.copied) || !fresh.run("COMMIT"))
            return failure(fresh.error());
    }
    // What was committed may be in the log only, where the disk took that but not the file.
    if (QFile::exists(walOf(m_freshPath)))
        return failure(QStringLiteral("the new spool cannot be written"));
    removeDatabase(m_scanPath);
    // A log that stays behind goes with the last step.
    result.damagedPath = m_path + QLatin1String(".damaged");
    moveDatabase(m_path, result.damagedPath);
    if (QFile::exists(m_path))
        return failure(QStringLiteral("the damaged file cannot be set aside"));
    return result;
}

bool SpoolRescue::finish(int folder) const
{
    if (!isUnfinished())
        return true;
    if (!moveDatabase(m_freshPath, m_path))
        return false;
    fsync(folder);
    return true;
}

} // namespace stbanalytics::delivery
