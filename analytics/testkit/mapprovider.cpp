#include <analytics/testkit/mapprovider.h>

#include <utility>

namespace analytics {

MapProvider::MapProvider(QHash<Property, QVariant> values)
    : m_values(std::move(values))
{
}

MapProvider::~MapProvider() = default;

void MapProvider::set(Property property, QVariant const &value)
{
    m_values.insert(property, value);
}

void MapProvider::set(Property property, FromEvent source)
{
    m_values.insert(property, QVariant::fromValue(source));
}

QVariant MapProvider::value(Property property, AnalyticsEventData const &data) const
{
    QVariant value = m_values.value(property);
    if (value.metaType() != QMetaType::fromType<FromEvent>())
        return value;

    switch (value.value<FromEvent>()) {
    case FromEvent::Value:
        return data.value;
    case FromEvent::Tag:
        return data.tag;
    case FromEvent::Time:
        return qint64(data.time.count());
    }
    return {};
}

} // namespace analytics
