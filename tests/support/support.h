#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>

#include <QtCore/QHash>

/// A provider that answers from a table, and with nothing for what the table does not hold.
class MapProvider : public analytics::IPropertyProvider
{
public:
    explicit MapProvider(QHash<analytics::Property, QVariant> table)
        : values(std::move(table))
    {
    }

    QVariant value(analytics::Property property, analytics::AnalyticsEventData const &) const override
    {
        return values.value(property);
    }

    QHash<analytics::Property, QVariant> values;
};

/// The JSON that a provider's value becomes inside an event; empty when it is left out.
inline QByteArray encoded(QVariant const &value)
{
    MapProvider const provider({{analytics::Property::Query, value}});
    analytics::AnalyticsEventData data;
    data.type = analytics::EventType::SearchResult;

    QByteArray const event = analytics::JsonEventSerializer().serialize(&provider, data, {});
    if (event == "{}")
        return {};
    QByteArray const prefix = "{\"query\":";
    if (!event.startsWith(prefix) || !event.endsWith('}'))
        qFatal("not an event with one property: %s", event.constData());
    return event.mid(prefix.size(), event.size() - prefix.size() - 1);
}

/// UTF-8 as a QString.
inline QString text(char const *utf8)
{
    return QString::fromUtf8(utf8);
}
