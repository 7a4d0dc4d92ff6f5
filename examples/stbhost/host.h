#pragma once

#include <analytics/analyticsmanager.h>
#include <analytics/jsoneventserializer.h>
#include <stbhost/provider.h>

#include <QtCore/QHash>

namespace stbhost {

/// The library with everything plugged in.
class Host
{
public:
    /**
     * @brief Tells events of the machine, and of what each brings.
     * @param machine what the host knows by itself
     * @param sender takes the packages; must outlive the host
     * @param box what the events call the box; empty for the machine's own identifier
     */
    Host(Machine &machine, analytics::IPackageSender &sender, QString box = {});

    /// Reports one event; and where that says that the box goes to standby, whatever is pending, by its status. Returns
    /// those of the values that this type of event does not carry and that were left out.
    QList<analytics::Property> report(analytics::EventType type, analytics::EventPriority priority,
                                      std::chrono::milliseconds time, QHash<analytics::Property, QVariant> values);

    /// How many events have been reported.
    int events() const;

    /// How many events wait for one of medium priority. The library discards them with the manager.
    int pendingEvents() const;

private:
    PropertyProvider m_provider;
    analytics::JsonEventSerializer m_serializer;
    QString m_box;
    // Last, so that it goes before what is plugged into it.
    analytics::AnalyticsManager m_manager;
    int m_events = 0;
    int m_pendingEvents = 0;
};

} // namespace stbhost
