#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QVariant>

namespace analytics {

/**
 * @brief Knows the value of each property of an event; the host implements it.
 *
 * The host owns its provider and keeps it alive while it is plugged into a manager. It is called on the
 * thread that appends the event, synchronously, once for each occurrence of a property in the lists of
 * an event.
 */
class STBANALYTICS_EXPORT IPropertyProvider
{
public:
    virtual ~IPropertyProvider();

    /**
     * @brief Returns the value of one property for one event.
     * @param property the property
     * @param data the event; valid during the call only
     * @return a plain value, a payload record, or a QVariantList of these (the only list that may hold
     * records); an invalid variant when there is no value, and the property is then left out of the event
     */
    virtual QVariant value(Property property, AnalyticsEventData const &data) const = 0;
};

} // namespace analytics
