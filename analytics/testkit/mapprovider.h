#pragma once

#include <analytics/ipropertyprovider.h>

#include <QtCore/QHash>

namespace analytics {

/// What of the event itself a MapProvider answers with.
enum class FromEvent {
    Value, ///< The caller's payload.
    Tag, ///< The caller's integer.
    Time, ///< The caller's time, as a number of milliseconds.
};

/**
 * @brief A provider for tests, which answers from a table, and with nothing for what the table does not hold.
 *
 * The table may change between two events; it belongs to the thread that reports them.
 */
class MapProvider : public IPropertyProvider
{
public:
    /**
     * @brief Makes a provider that knows some properties from the start.
     * @param values the value of each property
     */
    explicit MapProvider(QHash<Property, QVariant> values = {});

    ~MapProvider() override;

    /**
     * @brief Gives a property a value, for each event from now on.
     * @param property the property
     * @param value its value; an invalid variant takes the property out of the events
     */
    void set(Property property, QVariant const &value);

    /**
     * @brief Hands on what the caller of AnalyticsManager::appendEvent() gave for the event.
     * @param property the property
     * @param source which of the caller's arguments
     */
    void set(Property property, FromEvent source);

    QVariant value(Property property, AnalyticsEventData const &data) const override;

private:
    QHash<Property, QVariant> m_values; // A FromEvent among them stands for what it names.
};

} // namespace analytics
