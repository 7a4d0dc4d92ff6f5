#include <stbhost/provider.h>

#include <stbhost/payload.h>
#include <stbhost/properties.h>

#include <utility>

namespace stbhost {

using namespace analytics;

PropertyProvider::PropertyProvider(Machine &machine)
    : m_machine(machine)
{
}

QVariant PropertyProvider::value(Property property, AnalyticsEventData const &data) const
{
    m_asked.insert(property);

    auto const payload = data.value.value<Payload>();
    auto const it = payload.values.constFind(property);
    return it != payload.values.cend() ? *it : knownValue(property, m_machine, data);
}

QSet<Property> PropertyProvider::takeAsked()
{
    return std::exchange(m_asked, {});
}

} // namespace stbhost
