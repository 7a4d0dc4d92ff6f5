#pragma once

#include <analytics/enums.h>

#include <chrono>
#include <functional>
#include <optional>

namespace stbhost {

class Host;

/**
 * @brief Reports the machine's status, and then a sample of its service quality at every interval.
 *
 * @param host reports the events
 * @param interval the time between two samples
 * @param count how many samples; none for no end
 * @param priority of the samples
 * @param goesOnAfter waits until then; it is over when it says no
 */
void reportLive(Host &host, std::chrono::milliseconds interval, std::optional<int> count,
                analytics::EventPriority priority,
                std::function<bool(std::chrono::steady_clock::time_point)> const &goesOnAfter);

} // namespace stbhost
