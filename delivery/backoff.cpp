#include <delivery/backoff_p.h>

#include <algorithm>

namespace stbanalytics::delivery {

Backoff::Backoff(BackoffLimits limits, std::uint64_t seed)
    : m_limits(limits)
    , m_bound(std::min(limits.first, limits.most))
    , m_random(seed)
{
}

Backoff::Duration Backoff::afterStart()
{
    return upTo(m_limits.spread);
}

Backoff::Duration Backoff::afterFailure(Duration retryAfter)
{
    Duration const jitter = upTo(retryAfter > Duration::zero() ? std::max(m_bound, m_limits.spread) : m_bound);
    m_bound = std::min(m_bound * 2, m_limits.most);
    return retryAfter + jitter;
}

void Backoff::succeeded()
{
    m_bound = std::min(m_limits.first, m_limits.most);
}

Backoff::Duration Backoff::upTo(Duration bound)
{
    return Duration(std::uniform_int_distribution<Duration::rep>(0, bound.count())(m_random));
}

} // namespace stbanalytics::delivery
