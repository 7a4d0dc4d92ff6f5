#include <delivery/spool_p.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QUuid>
#include <QtCore/QtEndian>

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace stbanalytics::delivery {

/// What a package takes besides its body: key, numbers, its place in the index.
static constexpr qint64 rowBytes = 200;

static constexpr int pageSize = 4096;

// The tables are always made in this order, so each begins on the same page in every spool; rescue() counts on it.
// It also takes whatever rows a page has for packages, so what is deleted may not stay on a page that is free.
static constexpr char const *schema = R"(
    PRAGMA locking_mode = EXCLUSIVE;
    PRAGMA page_size = 4096;
    PRAGMA journal_mode = WAL;
    PRAGMA synchronous = FULL;
    PRAGMA wal_autocheckpoint = 256;
    PRAGMA journal_size_limit = 1048576;
    PRAGMA secure_delete = ON;
    BEGIN IMMEDIATE;
    CREATE TABLE IF NOT EXISTS package (
        id INTEGER PRIMARY KEY, class INTEGER NOT NULL, created INTEGER NOT NULL, checksum INTEGER NOT NULL,
        key BLOB NOT NULL, body BLOB NOT NULL, reason BLOB);
    CREATE INDEX IF NOT EXISTS waiting ON package (class, id);
    CREATE TABLE IF NOT EXISTS state (
        id INTEGER PRIMARY KEY, time INTEGER NOT NULL, wall_time INTEGER NOT NULL,
        lost_to_quota INTEGER NOT NULL, lost_to_age INTEGER NOT NULL, lost_to_damage INTEGER NOT NULL,
        refused INTEGER NOT NULL, packages INTEGER NOT NULL, checksum INTEGER NOT NULL);
    COMMIT;)";

/// Of everything that never changes. SQLite notices a page that makes no sense, but not a letter that is another.
static qint64 checksum(Package const &package)
{
    uLong sum = 0;
    auto const add = [&sum](void const *bytes, qsizetype size) {
        sum = crc32_z(sum, static_cast<Bytef const *>(bytes), static_cast<z_size_t>(size));
    };
    std::array<qint64, 2> const numbers{qToLittleEndian(package.id), qToLittleEndian(package.created)};
    add(numbers.data(), sizeof numbers);
    add(package.key.constData(), package.key.size());
    add(package.body.constData(), package.body.size());
    return static_cast<qint64>(sum);
}

static qint64 sizeOf(Package const &package)
{
    return package.body.size() + rowBytes;
}

static bool insert(Database &database, Package const &package, int packageClass, QByteArray const &reason)
{
    Statement statement(
        database, "INSERT INTO package (id, class, created, checksum, key, body, reason) VALUES (?, ?, ?, ?, ?, ?, ?)");
    return statement.bind(package.id)
        .bind(packageClass)
        .bind(package.created)
        .bind(checksum(package))
        .bind(package.key)
        .bind(package.body)
        .bind(reason)
        .run();
}

/// What the state is made of, in the order of its columns.
using StateNumbers = std::array<qint64, 7>;

/// A clock that jumps would make every package too old.
static qint64 checksum(StateNumbers numbers)
{
    std::transform(numbers.begin(), numbers.end(), numbers.begin(),
                   [](qint64 number) { return qToLittleEndian(number); });
    return static_cast<qint64>(
        crc32_z(0, reinterpret_cast<Bytef const *>(numbers.data()), numbers.size() * sizeof(qint64)));
}

static bool insertState(Database &database, SpoolClock const &clock, Losses const &losses, qint64 packages)
{
    StateNumbers const numbers{clock.now(),   SpoolClock::wallTime(), losses.quota, losses.age,
                               losses.damage, losses.refused,         packages};
    Statement statement(database, "INSERT OR REPLACE INTO state VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (qint64 number : numbers)
        statement.bind(number);
    return statement.bind(checksum(numbers)).run();
}

/// Reads the state, if it is there. What is known already may be newer: time and losses only grow. Returns how many
/// packages there were; nothing if that is not known.
static std::optional<qint64> readState(Database &database, SpoolClock &clock, Losses &losses)
{
    Statement state(
        database,
        "SELECT time, wall_time, lost_to_quota, lost_to_age, lost_to_damage, refused, packages, checksum FROM state");
    if (!state.next())
        return {};
    StateNumbers numbers{};
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = state.integer(static_cast<int>(i));
    if (state.integer(static_cast<int>(numbers.size())) != checksum(numbers))
        return {};
    SpoolClock then;
    then.resume(numbers[0], numbers[1]);
    if (then.now() > clock.now())
        clock = then;
    losses = {std::max(losses.quota, numbers[2]), std::max(losses.age, numbers[3]), std::max(losses.damage, numbers[4]),
              std::max(losses.refused, numbers[5])};
    return numbers[6];
}

/// Where rescue() makes a spool's successor.
static QString freshOf(QString const &path)
{
    return path + QLatin1String(".new");
}

/// Where rescue() has a copy that it may change to read it.
static QString scanOf(QString const &path)
{
    return path + QLatin1String(".scan");
}

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

/// The file goes first, since power may fail in between: finishRescue() removes a log that is left alone, but a file
/// that is left alone is a spool without the packages that are only in its log.
static bool moveDatabase(QString const &from, QString const &to)
{
    removeDatabase(to);
    return moveFile(from, to) && (!QFile::exists(walOf(from)) || moveFile(walOf(from), walOf(to)));
}

Spool::Spool(SpoolLimits limits)
    : m_limits(limits)
{
}

Spool::~Spool()
{
    m_database.close();
    if (m_folder >= 0)
        close(m_folder);
}

QString Spool::open(QString const &folder)
{
    QDir().mkpath(folder);
    m_folder = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_folder < 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    for (QString const &path : {folder, folder + QLatin1String("/spool.db")}) {
        if (access(QFile::encodeName(path).constData(), W_OK) != 0 && errno != ENOENT)
            return QString::fromLocal8Bit(std::strerror(errno));
    }
    if (flock(m_folder, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? QStringLiteral("another host uses it")
                                    : QString::fromLocal8Bit(std::strerror(errno));

    m_path = folder + QLatin1String("/spool.db");
    removeDatabase(scanOf(m_path));
    if (!finishRescue())
        return m_problem;

    Condition condition = m_database.open(m_path) ? inspect() : Condition::Unusable;
    if (condition == Condition::Sound) {
        if (!readState(m_database, m_clock, m_stored.losses) && m_stored.packages() > 0)
            m_notice = QStringLiteral("the spool was damaged: its clock and its counts of losses begin anew");
        return save() ? QString() : m_problem;
    }
    m_problem = m_database.error();
    return condition == Condition::Damaged && rescue() ? QString() : m_problem;
}

/// Makes the tables, if they are not there yet, and looks whether everything is in order.
Spool::Condition Spool::inspect()
{
    if (m_database.run(schema)) {
        Statement check(m_database, "PRAGMA quick_check(1)");
        if (check.next() && check.bytes(0) != "ok")
            return Condition::Damaged;
        // The check does not compare the index, by which all is counted and taken, with the table.
        Statement rows(m_database, "SELECT count(*), max(id) FROM package NOT INDEXED");
        if (!check.hasFailed() && readStored() && rows.next()) {
            m_nextId = std::max(m_nextId, rows.integer(1) + 1);
            return rows.integer(0) == m_stored.packages() ? Condition::Sound : Condition::Damaged;
        }
    }
    return m_database.isDamaged() ? Condition::Damaged : Condition::Unusable;
}

bool Spool::readStored()
{
    m_stored.bytes = 0;
    m_stored.counts = {};
    Statement sums(m_database, "SELECT class, count(*), sum(length(body)) FROM package GROUP BY class");
    while (sums.next()) {
        qint64 const packageClass = sums.integer(0);
        m_stored.countOf(packageClass) += sums.integer(1);
        m_stored.bytes += sums.integer(2) + sums.integer(1) * rowBytes;
    }
    return !sums.hasFailed();
}

void Spool::add(QByteArray const &body, bool isHigh)
{
    Package const package{m_nextId, QUuid::createUuid().toByteArray(QUuid::WithoutBraces), body, isHigh, m_clock.now()};
    if (sizeOf(package) > m_limits.bytes) {
        countDropped(1);
        return;
    }
    ++m_nextId;
    m_unsaved.push_back(package);
    m_unsavedBytes += sizeOf(package);
}

/// The oldest normal one goes, or where there is none, the oldest. Returns whether there was any.
bool Spool::dropUnsaved()
{
    auto const isFree = [this](Package const &package) { return !isTaken(package.id); };
    auto it = std::find_if(m_unsaved.begin(), m_unsaved.end(),
                           [&](Package const &package) { return !package.isHigh && isFree(package); });
    if (it == m_unsaved.end())
        it = std::find_if(m_unsaved.begin(), m_unsaved.end(), isFree);
    if (it == m_unsaved.end())
        return false;
    m_unsavedBytes -= sizeOf(*it);
    m_unsaved.erase(it);
    countDropped(1);
    return true;
}

void Spool::countDropped(qint64 packages)
{
    m_stored.losses.quota += packages;
    m_areLossesSaved = m_areLossesSaved && packages == 0;
}

bool Spool::save()
{
    if (!isAnythingToSave() || write() || ((m_isDamaged || !m_database.isOpen()) && rescue() && write())) {
        m_problem.clear();
        return true;
    }
    dropExcess();
    return false;
}

void Spool::dropExcess()
{
    while (m_unsavedBytes > memoryLimit && dropUnsaved())
        ;
}

bool Spool::isAnythingToSave()
{
    if (!m_unsaved.empty() || !m_delivered.empty() || !m_refusals.isEmpty() || !m_areLossesSaved)
        return true;
    if (!m_database.isOpen()) // What it holds is to be sent as soon as it can be opened again.
        return true;
    Statement oldest(m_database, "SELECT created FROM package ORDER BY id LIMIT 1");
    return oldest.next() && oldest.integer(0) < m_clock.now() - m_limits.age.count();
}

bool Spool::write()
{
    Stored const before = m_stored;
    if (m_database.run("BEGIN IMMEDIATE") && writeChanges() && m_database.run("COMMIT")) {
        m_unsaved.clear();
        m_unsavedBytes = 0;
        m_delivered.clear();
        m_refusals.clear();
        m_areLossesSaved = true;
        return true;
    }
    m_problem = m_database.error();
    m_isDamaged = m_database.isDamaged();
    m_database.run("ROLLBACK");
    m_stored = before;
    return false;
}

bool Spool::writeChanges()
{
    if (!writeUnsaved())
        return false;
    for (qint64 id : m_delivered) {
        if (!remove(id))
            return false;
    }
    for (Refusal const &refusal : std::as_const(m_refusals)) {
        Statement former(m_database, "SELECT class FROM package WHERE id = ?");
        if (former.bind(refusal.id).next()) {
            --m_stored.countOf(former.integer(0));
            ++m_stored.countOf(Refused);
        }
        Statement refuse(m_database, "UPDATE package SET class = 0, reason = ? WHERE id = ?");
        if (!refuse.bind(refusal.reason).bind(refusal.id).run())
            return false;
    }
    return expire() && makeRoom() && insertState(m_database, m_clock, m_stored.losses, m_stored.packages());
}

bool Spool::writeUnsaved()
{
    for (Package const &package : m_unsaved) {
        Class const packageClass = package.isHigh ? High : Normal;
        if (!insert(m_database, package, packageClass, {}))
            return false;
        m_stored.bytes += sizeOf(package);
        ++m_stored.countOf(packageClass);
    }
    return true;
}

/// Removes a package from the database, if it is there.
bool Spool::remove(qint64 id)
{
    Statement row(m_database, "SELECT class, length(body) FROM package WHERE id = ?");
    if (row.bind(id).next()) {
        --m_stored.countOf(row.integer(0));
        m_stored.bytes -= row.integer(1) + rowBytes;
    }
    return !row.hasFailed() && Statement(m_database, "DELETE FROM package WHERE id = ?").bind(id).run();
}

bool Spool::expire()
{
    qint64 const oldest = m_clock.now() - m_limits.age.count();
    std::vector<qint64> tooOld;
    Statement rows(m_database, "SELECT id, created, class FROM package ORDER BY id");
    while (rows.next() && rows.integer(1) < oldest) {
        if (isTaken(rows.integer(0)))
            continue;
        tooOld.push_back(rows.integer(0));
        m_stored.losses.age += rows.integer(2) != Refused; // What was refused is counted already.
    }
    return !rows.hasFailed() && std::all_of(tooOld.begin(), tooOld.end(), [this](qint64 id) { return remove(id); });
}

bool Spool::makeRoom()
{
    if (m_stored.bytes <= m_limits.bytes)
        return true;

    std::vector<qint64> superfluous;
    qint64 excess = m_stored.bytes - m_limits.bytes;
    Statement rows(m_database, "SELECT id, length(body), class FROM package ORDER BY class, id");
    while (excess > 0 && rows.next()) {
        if (isTaken(rows.integer(0)))
            continue;
        superfluous.push_back(rows.integer(0));
        excess -= rows.integer(1) + rowBytes;
        m_stored.losses.quota += rows.integer(2) != Refused;
    }
    return !rows.hasFailed()
        && std::all_of(superfluous.begin(), superfluous.end(), [this](qint64 id) { return remove(id); });
}

QString Spool::problem() const
{
    return m_problem;
}

std::deque<Package> const &Spool::unsaved() const
{
    return m_unsaved;
}

QList<Package> const &Spool::take(qint64 bytes, int count)
{
    for (Class wanted : {High, Normal}) {
        int const most = wanted == High ? 1 : count;
        if (!takeStored(wanted, bytes, most) && m_isDamaged && rescue()) {
            m_taken.clear();
            takeStored(wanted, bytes, most);
        }
        takeUnsaved(wanted, bytes, most);
        if (!m_taken.isEmpty())
            break;
    }
    return m_taken;
}

/// Returns whether everything could be read.
bool Spool::takeStored(Class wanted, qint64 bytes, int count)
{
    Statement rows(m_database, "SELECT id, key, body, created, checksum FROM package WHERE class = ? ORDER BY id");
    rows.bind(wanted);
    while (m_taken.size() < count && rows.next()) {
        if (isGone(rows.integer(0)))
            continue;
        Package const package{rows.integer(0), rows.bytes(1), rows.bytes(2), wanted == High, rows.integer(3)};
        if (rows.integer(4) != checksum(package)) {
            m_isDamaged = true;
            return false;
        }
        bytes -= package.body.size();
        if (bytes < 0 && !m_taken.isEmpty())
            return true;
        m_taken.append(package);
    }
    m_isDamaged = rows.hasFailed() && m_database.isDamaged();
    return !rows.hasFailed();
}

void Spool::takeUnsaved(Class wanted, qint64 bytes, int count)
{
    for (Package const &package : m_taken)
        bytes -= package.body.size();
    for (Package const &package : m_unsaved) {
        if (package.isHigh != (wanted == High) || isGone(package.id))
            continue;
        bytes -= package.body.size();
        if (m_taken.size() >= count || (bytes < 0 && !m_taken.isEmpty()))
            return;
        m_taken.append(package);
    }
}

bool Spool::isGone(qint64 id) const
{
    return m_delivered.count(id) != 0
        || std::any_of(m_refusals.begin(), m_refusals.end(), [id](Refusal const &refusal) { return refusal.id == id; });
}

bool Spool::isTaken(qint64 id) const
{
    return std::any_of(m_taken.begin(), m_taken.end(), [id](Package const &package) { return package.id == id; });
}

QList<Package> const &Spool::taken() const
{
    return m_taken;
}

void Spool::delivered()
{
    for (Package const &package : std::as_const(m_taken)) {
        auto const it = std::find_if(m_unsaved.begin(), m_unsaved.end(),
                                     [&](Package const &unsaved) { return unsaved.id == package.id; });
        if (it == m_unsaved.end()) {
            m_delivered.insert(package.id);
            continue;
        }
        m_unsavedBytes -= sizeOf(*it);
        m_unsaved.erase(it);
    }
    m_taken.clear();
}

void Spool::refused(QString const &reason)
{
    for (Package const &package : std::as_const(m_taken))
        m_refusals.append({package.id, reason.toUtf8()});
    m_stored.losses.refused += m_taken.size();
    m_taken.clear();
}

void Spool::giveBack()
{
    m_taken.clear();
}

qint64 Spool::pending() const
{
    return m_stored.counts[Normal] + m_stored.counts[High] + qint64(m_unsaved.size()) - qint64(m_delivered.size())
        - m_refusals.size();
}

qint64 Spool::refusedCount() const
{
    return m_stored.counts[Refused] + m_refusals.size();
}

Losses Spool::losses() const
{
    return m_stored.losses;
}

QString Spool::takeNotice()
{
    return std::exchange(m_notice, {});
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
        && insert(fresh, package, static_cast<int>(std::clamp<qint64>(row.integer(0), 0, 2)), row.bytes(5));
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
qint64 Spool::copyReadable(Database &fresh, qint64 &copied, Losses &sums)
{
    std::set<qint64> ids;
    std::set<qint64> settled = m_delivered;
    std::optional<qint64> known;
    {
        Database damaged;
        openDamaged(damaged, scanOf(m_path), firstPage(freshOf(m_path)));
        known = readState(damaged, m_clock, sums);
        ids = allIdsIn(damaged);
        copyPackages(damaged, ids, settled, fresh);
    }
    auto const lacking = [&] { return known.value_or(0) - static_cast<qint64>(settled.size()); };
    // Where the index is broken, too, there may be more than the scans have found.
    if (!known || lacking() > 0)
        copyScattered(scanOf(m_path), settled, fresh);
    copied = static_cast<qint64>(settled.size() - m_delivered.size());
    qint64 const unread = std::count_if(ids.begin(), ids.end(), [&](qint64 id) { return settled.count(id) == 0; });
    return std::max(unread, lacking());
}

/// Whether there is a new spool, and none in its place: one that rescue() has not completed has the damaged one there.
bool Spool::isRescueUnfinished() const
{
    return !QFile::exists(m_path) && QFile::exists(freshOf(m_path));
}

/// Does the last step of a rescue, if it is still to be done. Where it fails SQLite may not open the spool, since it
/// would make an empty one.
bool Spool::finishRescue()
{
    if (!isRescueUnfinished())
        return true;
    if (!moveDatabase(freshOf(m_path), m_path)) {
        m_problem = QStringLiteral("the new spool cannot take its place");
        return false;
    }
    fsync(m_folder);
    return true;
}

/// Opens what a rescue has made.
bool Spool::openRescued()
{
    if (!finishRescue())
        return false;
    if (m_database.open(m_path) && inspect() == Condition::Sound)
        return true;
    m_problem = m_database.error();
    return false;
}

/// Makes a new spool of what can be read of this one. Power may fail at any moment of this, too.
bool Spool::rescue()
{
    QString const freshPath = freshOf(m_path);
    QString const damagedPath = m_path + QLatin1String(".damaged");
    // What cannot be set aside now is read as far as it goes, until the disk takes more again.
    auto const fail = [this](QString const &problem) {
        m_problem = problem;
        removeDatabase(scanOf(m_path));
        m_database.open(m_path);
        return false;
    };
    m_database.close();
    if (isRescueUnfinished())
        return openRescued();
    removeDatabase(freshPath);
    if (!copyDatabase(m_path, scanOf(m_path)))
        return fail(QStringLiteral("no room to read the damaged spool"));

    qint64 copied = 0;
    qint64 lost = 0;
    Losses sums = m_stored.losses;
    {
        Database fresh;
        if (!fresh.open(freshPath) || !fresh.run(schema) || !fresh.run("PRAGMA wal_checkpoint(TRUNCATE); BEGIN"))
            return fail(fresh.error());
        lost = copyReadable(fresh, copied, sums);
        sums.damage += lost;
        if (!insertState(fresh, m_clock, sums, copied) || !fresh.run("COMMIT"))
            return fail(fresh.error());
    }
    // What was committed may be in the log only, where the disk took that but not the file.
    if (QFile::exists(walOf(freshPath)))
        return fail(QStringLiteral("the new spool cannot be written"));
    removeDatabase(scanOf(m_path));
    // A log that stays behind goes with the last step.
    moveDatabase(m_path, damagedPath);
    if (QFile::exists(m_path))
        return fail(QStringLiteral("the damaged file cannot be set aside"));

    m_notice = QStringLiteral("the spool was damaged: %1 packages taken over, %2 lost; what it was is %3")
                   .arg(QString::number(copied), QString::number(lost), damagedPath);
    m_stored.losses = sums;
    m_delivered.clear();
    return openRescued();
}

} // namespace stbanalytics::delivery
