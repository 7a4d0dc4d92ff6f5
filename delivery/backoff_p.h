#pragma once

#include <delivery/deliveryoptions.h>

#include <chrono>
#include <cstdint>
#include <random>

namespace stbanalytics::delivery {

/**
 * @brief When a box may try again.
 *
 * Exponential backoff with full jitter: after the n-th failure in a row the wait is anything between nothing and
 * `first` doubled n - 1 times, but no more than `most`. The boxes of a fleet that failed together so come back one by
 * one, and the longer the outage, the thinner. It knows no clock, and starts no timer.
 */
class Backoff
{
public:
    using Duration = std::chrono::milliseconds;

    /// Boxes are to have different seeds: those with the same one come back together.
    Backoff(BackoffLimits limits, std::uint64_t seed);

    /// The wait before the first attempt: a power cut ends for a whole town at once.
    Duration afterStart();

    /// The wait after a failure. When the collector names a time to stay away, the jitter comes on top of it, and its
    /// bound is at least `spread`: all boxes may have been told the same.
    Duration afterFailure(Duration retryAfter = Duration::zero());

    /// The next failure is a first one again.
    void succeeded();

private:
    Duration upTo(Duration bound);

    BackoffLimits m_limits;
    Duration m_bound;
    std::mt19937_64 m_random;
};

} // namespace stbanalytics::delivery
