#pragma once

#include <analytics/catalogue_p.h>
#include <analytics/jsonwriter_p.h>

#include <algorithm>

/**
 * @file
 * @brief The catalogue as the serializer reads it. Only jsoneventserializer.cpp includes this header.
 */

// One translation unit includes this header.
// NOLINTBEGIN(misc-definitions-in-headers)
namespace analytics {

namespace {

/// Finds an event's entry by its type, and a property's key by the rank of the key. Ranks have the order in which Qt's
/// JSON objects sort keys, so that an event's members are sorted without a comparison. Properties with the same key
/// have the same rank.
class CatalogueIndex
{
public:
    static constexpr int propertyCount = endOf(propertyKeyRows, &PropertyKeyRow::property);
    static constexpr int eventTypeCount = endOf(eventRows, &EventRow::type);
    static constexpr unsigned noRank = 0xff;
    static_assert(propertyCount <= int(noRank), "a rank no longer fits its quint8");

    [[gnu::cold]] CatalogueIndex() // Runs once.
    {
        for (auto it = eventTable.begin(); it != eventTable.end(); ++it)
            m_events[static_cast<int>(it.key())] = &*it;

        // An insertion sort: std::sort and std::unique would take more code.
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
            return json::PackedKey({key.data(), static_cast<std::size_t>(key.size())});
        });

        std::fill(std::begin(m_ranks), std::end(m_ranks), quint8(noRank));
        for (auto it = propertyKeys.begin(); it != propertyKeys.end(); ++it)
            m_ranks[static_cast<int>(it.key())] = static_cast<quint8>(std::lower_bound(keys, end, *it) - keys);
    }

    /// An event's entry, or null for a type without one.
    EventProperties const *event(EventType type) const
    {
        auto const index = static_cast<unsigned>(type);
        return index < eventTypeCount ? m_events[index] : nullptr;
    }

    /// The rank of a property's key, or noRank for a property without a key.
    unsigned rankOf(Property property) const
    {
        auto const index = static_cast<unsigned>(property);
        return index < propertyCount ? m_ranks[index] : noRank;
    }

    json::PackedKey const &keyAt(unsigned rank) const { return m_keys[rank]; }

private:
    EventProperties const *m_events[eventTypeCount] = {};
    json::PackedKey m_keys[propertyCount];
    quint8 m_ranks[propertyCount];
};

CatalogueIndex const catalogue;

} // namespace

} // namespace analytics
// NOLINTEND(misc-definitions-in-headers)
