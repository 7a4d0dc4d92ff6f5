#pragma once

#include <analytics/catalogue_p.h>
#include <analytics/jsonwriter_p.h>

#include <algorithm>

/**
 * @file
 * @brief The index over the catalogue. Only jsoneventserializer.cpp includes it.
 */

namespace analytics {

namespace {

/// The catalogue as the serializer reads it. The keys have the order in which Qt's JSON objects keep them, so that an
/// event's members can be put into their places without a comparison.
class CatalogueIndex
{
public:
    static constexpr int propertyCount = endOf(propertyKeyRows, &PropertyKeyRow::property);
    static constexpr int eventTypeCount = endOf(eventRows, &EventRow::type);
    static constexpr unsigned noPlace = 0xff;
    static_assert(propertyCount <= int(noPlace), "a place no longer fits its quint8");

    [[gnu::cold]] CatalogueIndex()
    {
        for (auto it = eventTable.begin(); it != eventTable.end(); ++it)
            m_events[static_cast<int>(it.key())] = &*it;

        QLatin1String keys[propertyCount];
        QLatin1String *end = keys;
        for (QLatin1String key : propertyKeys) {
            QLatin1String *const at = std::lower_bound(keys, end, key);
            if (at == end || *at != key) {
                std::copy_backward(at, end, end + 1);
                *at = key;
                ++end;
            }
        }
        std::transform(keys, end, m_keys, [](QLatin1String key) {
            return json::Key({key.data(), static_cast<std::size_t>(key.size())});
        });

        std::fill(std::begin(m_places), std::end(m_places), quint8(noPlace));
        for (auto it = propertyKeys.begin(); it != propertyKeys.end(); ++it)
            m_places[static_cast<int>(it.key())] = static_cast<quint8>(std::lower_bound(keys, end, *it) - keys);
    }

    /// An event's entry, or null for a type that has none.
    EventProperties const *event(EventType type) const
    {
        auto const index = static_cast<unsigned>(type);
        return index < eventTypeCount ? m_events[index] : nullptr;
    }

    /// The place of a property's key, or noPlace for a property that has none.
    unsigned placeOf(Property property) const
    {
        auto const index = static_cast<unsigned>(property);
        return index < propertyCount ? m_places[index] : noPlace;
    }

    json::Key const &keyAt(unsigned place) const { return m_keys[place]; }

private:
    EventProperties const *m_events[eventTypeCount] = {};
    json::Key m_keys[propertyCount];
    quint8 m_places[propertyCount];
};

CatalogueIndex const catalogue;

} // namespace

} // namespace analytics
