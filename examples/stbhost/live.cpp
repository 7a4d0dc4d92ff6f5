#include <stbhost/live.h>

#include <stbhost/host.h>

#include <QtCore/QDateTime>

namespace stbhost {

using namespace analytics;

void reportLive(Host &host, std::chrono::milliseconds interval, std::optional<int> count, EventPriority priority,
                std::function<bool(std::chrono::steady_clock::time_point)> const &goesOnAfter)
{
    auto const now = [] { return std::chrono::milliseconds(QDateTime::currentMSecsSinceEpoch()); };
    host.report(EventType::SystemStatus, EventPriority::Medium, now(), {});

    auto next = std::chrono::steady_clock::now();
    for (int samples = 0; samples != count && goesOnAfter(next); ++samples) {
        host.report(EventType::SqmMetrics, priority, now(),
                    {{Property::Interval, QVariant::fromValue<qint64>(interval.count())}});
        next += interval;
    }
}

} // namespace stbhost
