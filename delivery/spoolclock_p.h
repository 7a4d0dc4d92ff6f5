#pragma once

#include <QtCore/QtGlobal>

namespace stbanalytics::delivery {

/**
 * @brief A clock that only goes forward, in seconds; what the age of a package is told by.
 *
 * A box starts with its clock at 1970, or where it stood when it was switched off, and is set right, forwards or
 * backwards, when the network is there. While the box runs, standby included, this clock counts the seconds since
 * boot. For the time in between it believes the wall clock, as far as that can be: not when it has gone backwards, nor
 * when either reading is of a clock that had not been set.
 */
class SpoolClock
{
public:
    /// Starts anew.
    SpoolClock();

    /// Goes on from where it stood when the wall clock, in seconds since 1970, showed the other time.
    void resume(qint64 time, qint64 wallTime);

    qint64 now() const;

    /// Seconds since 1970, as the box believes.
    static qint64 wallTime();

private:
    static qint64 sinceBoot();

    qint64 m_offset;
};

} // namespace stbanalytics::delivery
