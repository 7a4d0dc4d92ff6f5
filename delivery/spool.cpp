#include <delivery/spool_p.h>

#include <delivery/spoolrescue_p.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QUuid>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace stbanalytics::delivery {

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
    SpoolRescue(m_path).removeLeftovers();
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
    if (m_database.run(spoolSchema)) {
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
        if (!insertPackage(m_database, package, packageClass, {}))
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

/// Does the last step of a rescue, if it is still to be done.
bool Spool::finishRescue()
{
    if (SpoolRescue(m_path).finish(m_folder))
        return true;
    m_problem = QStringLiteral("the new spool cannot take its place");
    return false;
}

/// Replaces the spool by a new one with what can be read of it.
bool Spool::rescue()
{
    SpoolRescue const rescue(m_path);
    m_database.close();
    if (!rescue.isUnfinished()) {
        SpoolRescue::Result const result = rescue.begin(m_delivered, m_clock, m_stored.losses);
        if (!result.problem.isEmpty()) {
            m_problem = result.problem;
            // What cannot be set aside now is read as far as it goes, until the disk takes more again.
            m_database.open(m_path);
            return false;
        }
        m_notice = QStringLiteral("the spool was damaged: %1 packages taken over, %2 lost; what it was is %3")
                       .arg(QString::number(result.copied), QString::number(result.lost), result.damagedPath);
        m_stored.losses = result.losses;
        m_delivered.clear();
    }
    if (!finishRescue())
        return false;
    if (m_database.open(m_path) && inspect() == Condition::Sound)
        return true;
    m_problem = m_database.error();
    return false;
}

} // namespace stbanalytics::delivery
