#include <stbhost/host.h>

#include <analytics/records.h>
#include <stbhost/payload.h>

#include <algorithm>
#include <utility>

namespace stbhost {

using namespace analytics;

Host::Host(Machine &machine, IPackageSender &sender, QString box)
    : m_provider(machine)
    , m_box(std::move(box))
{
    m_manager.setPropertyProvider(&m_provider);
    m_manager.setEventSerializer(&m_serializer);
    m_manager.setPackageSender(&sender);
    m_manager.setEnabled(true);
}

QList<Property> Host::report(EventType type, EventPriority priority, std::chrono::milliseconds time,
                             QHash<Property, QVariant> values)
{
    if (!m_box.isEmpty() && !values.contains(Property::Uid))
        values.insert(Property::Uid, m_box);
    auto const payload = QVariant::fromValue(Payload{QUuid::createUuid(), values});
    m_manager.appendEvent(type, ++m_events, time, payload, priority);

    switch (priority) {
    case EventPriority::Low:
        ++m_pendingEvents;
        break;
    case EventPriority::Medium:
        m_pendingEvents = 0;
        break;
    case EventPriority::High:
        break;
    }

    QSet<Property> const asked = m_provider.takeAsked();
    QList<Property> leftOut;
    for (auto it = values.keyBegin(); it != values.keyEnd(); ++it) {
        if (!asked.contains(*it))
            leftOut.append(*it);
    }
    std::sort(leftOut.begin(), leftOut.end());

    // Nobody knows when a box comes back from standby, nor whether with power.
    bool const isStandby = values.value(Property::PowerInfo).value<PowerInfo>().powerState == QLatin1String("standby");
    if (isStandby && m_pendingEvents > 0)
        report(EventType::SystemStatus, EventPriority::Medium, time, {});

    return leftOut;
}

int Host::events() const
{
    return m_events;
}

int Host::pendingEvents() const
{
    return m_pendingEvents;
}

} // namespace stbhost
