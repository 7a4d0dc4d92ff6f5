#pragma once

#include <analytics/analyticsmanager.h>
#include <analytics/jsoneventserializer.h>
#include <stbhost/provider.h>
#include <stbhost/sender.h>

#include <QtCore/QHash>

namespace stbhost {

/// The library with everything plugged in.
class Host
{
public:
    /// Tells events of the machine, and of what each brings, to the device.
    Host(Machine &machine, QIODevice &output);

    /// Reports one event. Returns those of the values that this type of event does not carry and that were left out.
    QList<analytics::Property> report(analytics::EventType type, analytics::EventPriority priority,
                                      std::chrono::milliseconds time,
                                      QHash<analytics::Property, QVariant> const &values);

    /// How many events wait for one of medium priority. The library discards them with the manager.
    int pendingEvents() const;

    /// Why packages do not go out any more; empty as long as they do.
    QString error() const;

private:
    PropertyProvider m_provider;
    analytics::JsonEventSerializer m_serializer;
    LineSender m_sender;
    // Last, so that it goes before what is plugged into it.
    analytics::AnalyticsManager m_manager;
    int m_events = 0;
    int m_pendingEvents = 0;
};

} // namespace stbhost
