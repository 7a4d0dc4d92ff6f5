#pragma once

#include <analytics/enums.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace analytics {

class AnalyticsManager;
class IEventSerializer;
class IPackageSender;
class IPropertyProvider;

/// The state of a manager. Plug-ins are the host's and never null.
class AnalyticsManagerPrivate
{
public:
    explicit AnalyticsManagerPrivate(AnalyticsManager *manager);
    ~AnalyticsManagerPrivate();
    Q_DISABLE_COPY_MOVE(AnalyticsManagerPrivate)

    static IPropertyProvider *dummyPropertyProvider();
    static IEventSerializer *dummyEventSerializer();
    static IPackageSender *dummyPackageSender();

    /// What every event carries in addition to its own properties.
    static QList<Property> genericProperties();

    /// Sends a package of this event only.
    void sendAlone(QByteArray const &event);

    /// Sends a package of all pending events that are not in flight already; they stay pending where that fails.
    void flush();

    AnalyticsManager *q;
    IPropertyProvider *propertyProvider = dummyPropertyProvider();
    IEventSerializer *eventSerializer = dummyEventSerializer();
    IPackageSender *packageSender = dummyPackageSender();
    bool enabled = false;
    QList<QByteArray> pendingEvents; ///< Oldest first.
    qsizetype eventsInFlight = 0; ///< How many of them, from the oldest on, are in a flush under way.
};

} // namespace analytics
