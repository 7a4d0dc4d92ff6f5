#pragma once

#include <analytics/enums.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace analytics {

class AnalyticsManager;
class IEventSerializer;
class IPackageSender;
class IPropertyProvider;

/// The state of a manager. The pointers to plug-ins are never null; the host owns the plug-ins. analyticsmanager.cpp
/// includes this header, and so does tst_manager.cpp.
class AnalyticsManagerPrivate
{
public:
    explicit AnalyticsManagerPrivate(AnalyticsManager *manager);
    ~AnalyticsManagerPrivate();
    Q_DISABLE_COPY_MOVE(AnalyticsManagerPrivate)

    static IPropertyProvider *dummyPropertyProvider();
    static IEventSerializer *dummyEventSerializer();
    static IPackageSender *dummyPackageSender();

    /// The properties that every event has in addition to its own.
    static QList<Property> genericProperties();

    /// Sends a package with this event alone.
    void sendAlone(QByteArray const &event);

    /// Sends a package of all pending events that are not in flight yet. If a plug-in throws, they stay pending.
    void flush();

    AnalyticsManager *q;
    IPropertyProvider *propertyProvider = dummyPropertyProvider();
    IEventSerializer *eventSerializer = dummyEventSerializer();
    IPackageSender *packageSender = dummyPackageSender();
    bool enabled = false;
    QList<QByteArray> pendingEvents; ///< Oldest first.
    qsizetype eventsInFlight = 0; ///< The number of the oldest pending events that a flush is sending.
};

} // namespace analytics
