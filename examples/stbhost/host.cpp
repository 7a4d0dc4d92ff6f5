#include <stbhost/host.h>

#include <stbhost/payload.h>

#include <algorithm>

namespace stbhost {

using namespace analytics;

Host::Host(Machine &machine, QIODevice &output)
    : m_provider(machine)
    , m_sender(output)
{
    m_manager.setPropertyProvider(&m_provider);
    m_manager.setEventSerializer(&m_serializer);
    m_manager.setPackageSender(&m_sender);
    m_manager.setEnabled(true);
}

QList<Property> Host::report(EventType type, EventPriority priority, std::chrono::milliseconds time,
                             QHash<Property, QVariant> const &values)
{
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
    return leftOut;
}

int Host::pendingEvents() const
{
    return m_pendingEvents;
}

QString Host::error() const
{
    return m_sender.error();
}

} // namespace stbhost
