#pragma once

#include <analytics/export.h>
#include <analytics/ieventserializer.h>

namespace analytics {

/**
 * @brief Writes an event as one compact JSON object.
 *
 * Stateless: threads may share an instance if the provider and the host's log are thread-safe. A property is
 * written under its key; a property whose value is null, or an empty string, list or record, is left out. Keys come out
 * sorted. The serializer throws nothing of its own but std::bad_alloc.
 */
class STBANALYTICS_EXPORT JsonEventSerializer : public IEventSerializer
{
public:
    ~JsonEventSerializer() override;

    /**
     * @brief Turns one event into a compact JSON object and writes one line to the host's log.
     * @param provider asked for each of @p properties and then for each property of the event's own
     * type, in order; must not be null
     * @param data the event; only its type is read here
     * @param properties the properties wanted in addition to those of the event's own type
     * @return the object; an empty array, and no log line, for a type that has no catalogue entry
     */
    QByteArray serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                         QList<Property> const &properties) const override;

    /**
     * @brief Joins serialized events into `{"events":[...]}`.
     * @param events copied byte for byte, neither parsed nor checked
     * @return the package
     */
    QByteArray pack(QList<QByteArray> const &events) const override;
};

} // namespace analytics
