#pragma once

#include <chrono>
#include <optional>

namespace stbhost {

class Host;

/**
 * @brief Reports the machine's status, and then a sample of its service quality at every interval.
 *
 * Runs the event loop until there have been as many samples as wanted, SIGINT or SIGTERM arrives, or the host's output
 * fails. The two signals stay blocked afterwards.
 */
void reportLive(Host &host, std::chrono::milliseconds interval, std::optional<int> count);

} // namespace stbhost
