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

    AnalyticsManager *q;
    IPropertyProvider *propertyProvider = dummyPropertyProvider();
    IEventSerializer *eventSerializer = dummyEventSerializer();
    IPackageSender *packageSender = dummyPackageSender();
    bool enabled = false;
    QList<QByteArray> pendingEvents; ///< Oldest first.
};

} // namespace analytics
