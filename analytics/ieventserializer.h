#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace analytics {

class IPropertyProvider;

/**
 * @brief Turns events into bytes; JsonEventSerializer is the library's own.
 *
 * The host owns its serializer and keeps it alive while it is plugged into a manager. It is called on
 * the thread that appends the event, synchronously.
 */
class STBANALYTICS_EXPORT IEventSerializer
{
public:
    virtual ~IEventSerializer();

    /**
     * @brief Turns one event into bytes.
     * @param provider knows the values; never null when the manager calls
     * @param data the event; valid during the call only
     * @param properties the properties wanted in addition to those of the event's own type
     * @return the serialized event; a null array when nothing can be produced
     */
    virtual QByteArray serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                                 QList<Property> const &properties) const = 0;

    /**
     * @brief Joins serialized events, in list order, into one package.
     * @param events results of serialize(); may hold empty arrays
     * @return the package
     */
    virtual QByteArray pack(QList<QByteArray> const &events) const = 0;
};

} // namespace analytics
