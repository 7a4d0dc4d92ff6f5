#pragma once

#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QVariant>

#include <chrono>

namespace analytics {

/**
 * @brief One event while it is being serialized.
 *
 * The manager makes one for each event and destroys it as soon as the event is serialized: plug-ins
 * may copy it but keep no reference to it. The library reads only the type; the rest is carried
 * unchanged from AnalyticsManager::appendEvent() to the property provider.
 */
class STBANALYTICS_EXPORT AnalyticsEventData
{
public:
    virtual ~AnalyticsEventData();

    EventType type = EventType::Invalid; ///< What happened.
    std::chrono::milliseconds time{}; ///< The caller's time, in milliseconds; the epoch is the host's choice.
    QVariant value; ///< The caller's payload: a record, a list, a plain value, or nothing.
    int tag = 0; ///< The caller's integer.
};

} // namespace analytics
