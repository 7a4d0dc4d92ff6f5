#pragma once

#include <delivery/spoolformat_p.h>

#include <QtCore/QList>
#include <QtCore/QString>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <set>
#include <vector>

namespace stbanalytics::delivery {

/**
 * @brief Keeps packages on the disk until the collector has them; power may fail at any moment.
 *
 * What is changed (a package added, delivered, refused) is changed in memory first; save() makes all of it durable in
 * one transaction. When the disk is full, or broken, the spool goes on in memory and the next save() tries again:
 * nothing is lost but what a power-off would take, and what exceeds the memory's limit.
 *
 * Where the spool is over its quota, refused packages go first, then the oldest normal one, then the oldest of high
 * priority; each is counted. One process has the folder to itself. To be used by one thread at a time.
 */
class Spool
{
public:
    /// What packages may take in memory while the disk takes none, in bytes, each with 200.
    static constexpr qint64 memoryLimit = 4'000'000;

    explicit Spool(SpoolLimits limits);
    Spool(Spool const &) = delete;
    Spool &operator=(Spool const &) = delete;
    ~Spool();

    /**
     * @brief Opens the spool in the folder, which is made if it is not there.
     *
     * Of a spool that is damaged everything readable is taken over; the damaged file is set aside as
     * `spool.db.damaged`, and takeNotice() has a line about it.
     *
     * @return why it cannot be opened; an empty string when it is
     */
    QString open(QString const &folder);

    /// Takes a package in; save() makes it durable.
    void add(QByteArray const &body, bool isHigh);

    /// Counts packages that were dropped for want of room before they came here.
    void countDropped(qint64 packages);

    /// Makes all changes durable. Returns whether it did; if not, problem() says why.
    bool save();

    /// Keeps what is not saved within the memory's limit.
    void dropExcess();

    /// Why the last save() failed; empty if it did not.
    QString problem() const;

    /// What save() has yet to make durable.
    std::deque<Package> const &unsaved() const;

    /**
     * @brief Takes what is to be sent next: one package of high priority, or else normal ones, the oldest first.
     *
     * What is taken stays in the spool, and nothing more is taken, until delivered(), refused() or giveBack().
     *
     * @param bytes the limit for normal packages together; one package is taken even if it is larger
     * @param count the limit for their number
     */
    QList<Package> const &take(qint64 bytes, int count);

    /// What is taken.
    QList<Package> const &taken() const;

    /// The collector has what was taken.
    void delivered();

    /// The collector will never take what was taken: set aside in the spool, to be looked at.
    void refused(QString const &reason);

    /// What was taken is to be sent again.
    void giveBack();

    /// How many packages wait, with those that are taken.
    qint64 pending() const;

    /// How many packages are set aside.
    qint64 refusedCount() const;

    Losses losses() const;

    /// Something that whoever runs the box should know, in one line; empty if there is nothing new.
    QString takeNotice();

private:
    /// In the order in which packages go when there is no room.
    enum Class : int { Refused, Normal, High };

    /// What the database holds.
    struct Stored
    {
        qint64 bytes = 0;
        std::array<qint64, 3> counts = {}; ///< By class.
        Losses losses;

        qint64 packages() const { return counts[Refused] + counts[Normal] + counts[High]; }

        /// What is read may be anything, in a file that is broken.
        qint64 &countOf(qint64 packageClass)
        {
            return counts.at(static_cast<size_t>(std::clamp<qint64>(packageClass, Refused, High)));
        }
    };

    struct Refusal
    {
        qint64 id;
        QByteArray reason;
    };

    enum class Condition { Sound, Damaged, Unusable };
    Condition inspect();
    bool readStored();
    bool rescue();
    bool finishRescue();

    bool isAnythingToSave();
    bool isGone(qint64 id) const;
    bool isTaken(qint64 id) const;
    bool write();
    bool writeChanges();
    bool writeUnsaved();
    bool expire();
    bool makeRoom();
    bool remove(qint64 id);

    bool dropUnsaved();
    bool takeStored(Class wanted, qint64 bytes, int count);
    void takeUnsaved(Class wanted, qint64 bytes, int count);

    SpoolLimits m_limits;
    int m_folder = -1;
    QString m_path;
    Database m_database;
    SpoolClock m_clock;
    qint64 m_nextId = 1;
    Stored m_stored;

    // What save() is to bring into the database.
    std::deque<Package> m_unsaved;
    qint64 m_unsavedBytes = 0;
    std::set<qint64> m_delivered;
    QList<Refusal> m_refusals;
    bool m_areLossesSaved = true;

    QList<Package> m_taken;
    QString m_problem;
    bool m_isDamaged = false;
    QString m_notice;
};

} // namespace stbanalytics::delivery
