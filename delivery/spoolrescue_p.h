#pragma once

#include <delivery/deliveryoptions.h>
#include <delivery/spoolclock_p.h>

#include <QtCore/QString>

#include <set>

namespace stbanalytics::delivery {

/**
 * @brief Makes a new spool of what can be read of a damaged one. Power may fail at any moment of it.
 *
 * begin() fills the new spool beside the damaged one, and then sets the damaged one aside. finish() moves the new one
 * into its place. Nobody else may have the spool open.
 */
class SpoolRescue
{
public:
    struct Result
    {
        QString problem; ///< Why it cannot be done now; then nothing has changed.
        qint64 copied = 0; ///< Packages that the new spool has.
        qint64 lost = 0; ///< Packages that could not be read.
        Losses losses; ///< What both spools know together, with these.
        QString damagedPath; ///< The file that was set aside.
    };

    explicit SpoolRescue(QString const &path);

    /// Removes what a rescue that power cut short has left.
    void removeLeftovers() const;

    /// Whether begin() is done, and finish() is not: there is a new spool, and none in its place.
    bool isUnfinished() const;

    /**
     * @brief Fills the new spool, and sets the damaged one aside.
     *
     * @param delivered packages that are not to be taken over
     * @param clock is set to the damaged spool's time where that is later
     * @param losses what is known of them already
     */
    Result begin(std::set<qint64> const &delivered, SpoolClock &clock, Losses const &losses) const;

    /// Moves the new spool into its place, if there is one. Returns whether nothing is left to do. While it returns
    /// false SQLite may not open the spool, since it would make an empty one.
    bool finish(int folder) const;

private:
    QString m_path;
    QString m_freshPath;
    QString m_scanPath; ///< A copy of the damaged spool that may be changed to read it.
};

} // namespace stbanalytics::delivery
