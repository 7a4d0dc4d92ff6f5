#include <delivery/spoolclock_p.h>

#include <algorithm>

#include <ctime>

namespace stbanalytics::delivery {

/// No box runs this software before 2020-01-01: such a clock has not been set.
static constexpr qint64 earliestWallTime = 1577836800;

static qint64 read(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec;
}

SpoolClock::SpoolClock()
    : m_offset(-sinceBoot())
{
}

void SpoolClock::resume(qint64 time, qint64 wallTime)
{
    qint64 const wallNow = SpoolClock::wallTime();
    bool const areSet = wallTime >= earliestWallTime && wallNow >= earliestWallTime;
    qint64 const off = areSet ? std::max<qint64>(0, wallNow - wallTime) : 0;
    m_offset = time + off - sinceBoot();
}

qint64 SpoolClock::now() const
{
    return sinceBoot() + m_offset;
}

qint64 SpoolClock::wallTime()
{
    return read(CLOCK_REALTIME);
}

qint64 SpoolClock::sinceBoot()
{
    return read(CLOCK_BOOTTIME);
}

} // namespace stbanalytics::delivery
