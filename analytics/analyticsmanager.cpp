#include <analytics/analyticsmanager.h>

#include <analytics/analyticseventdata.h>
#include <analytics/analyticsmanager_p.h>
#include <analytics/catalogue_p.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>

#include <QtCore/QScopeGuard>

namespace analytics {

AnalyticsEventData::~AnalyticsEventData() = default;
IPropertyProvider::~IPropertyProvider() = default;
IEventSerializer::~IEventSerializer() = default;
IPackageSender::~IPackageSender() = default;

namespace {

class DummyPropertyProvider : public IPropertyProvider
{
public:
    QVariant value(Property, AnalyticsEventData const &) const override { return {}; }
};

class DummyEventSerializer : public IEventSerializer
{
public:
    QByteArray serialize(IPropertyProvider const *, AnalyticsEventData const &, QList<Property> const &) const override
    {
        return {};
    }

    QByteArray pack(QList<QByteArray> const &) const override { return {}; }
};

class DummyPackageSender : public IPackageSender
{
public:
    void send(QByteArray const &, bool) override { }
};

/// Copies the elements from an index on into a new list. QList's own functions that copy, or make a list of given
/// elements, do not report a failed allocation; append() throws std::bad_alloc.
template <typename Values> QList<typename Values::value_type> copied(Values const &values, qsizetype begin = 0)
{
    QList<typename Values::value_type> list;
    for (auto value = values.begin() + begin; value != values.end(); ++value)
        list.append(*value);
    return list;
}

} // namespace

AnalyticsManagerPrivate::AnalyticsManagerPrivate(AnalyticsManager *manager)
    : q(manager)
{
    // Static objects are destroyed in reverse order. A manager may be static and report while static objects are
    // destroyed, so the list has to be constructed before the manager.
    genericProperties();
    q->setObjectName(QStringLiteral("AnalyticsManager")); // May throw: nothing leaks yet.
}

AnalyticsManagerPrivate::~AnalyticsManagerPrivate()
{
    q->setPackageSender(nullptr);
    q->setEventSerializer(nullptr);
    q->setPropertyProvider(nullptr);
}

IPropertyProvider *AnalyticsManagerPrivate::dummyPropertyProvider()
{
    static DummyPropertyProvider provider;
    return &provider;
}

IEventSerializer *AnalyticsManagerPrivate::dummyEventSerializer()
{
    static DummyEventSerializer serializer;
    return &serializer;
}

IPackageSender *AnalyticsManagerPrivate::dummyPackageSender()
{
    static DummyPackageSender sender;
    return &sender;
}

QList<Property> AnalyticsManagerPrivate::genericProperties()
{
    static QList<Property> const properties = copied(std::initializer_list<Property>{
        Property::EventId,
        Property::EventVersion,
        Property::EventCounter,
        Property::Timestamp,
        Property::MacAddress,
        Property::Uid,
    });
    return properties;
}

void AnalyticsManagerPrivate::sendAlone(QByteArray const &event)
{
    QByteArray const package = eventSerializer->pack(copied(std::initializer_list<QByteArray>{event}));
    packageSender->send(package, true);
}

void AnalyticsManagerPrivate::flush()
{
    // The events in flight stay pending until they are sent, because a plug-in may throw. No other flush sends them: a
    // plug-in may append events, and so flush, from inside its call.
    qsizetype const begin = eventsInFlight;
    qsizetype const count = pendingEvents.size() - begin;
    eventsInFlight += count;
    auto const restoreInFlight = qScopeGuard([this, begin] { eventsInFlight = begin; });

    // pack() gets a copy, since a plug-in may append events during the call.
    QByteArray const package = eventSerializer->pack(begin == 0 ? pendingEvents : copied(pendingEvents, begin));
    // If the serializer kept a copy, remove() would have to allocate, and that may not fail once the package is sent.
    if (!pendingEvents.isDetached())
        pendingEvents = copied(pendingEvents);
    packageSender->send(package, false);
    pendingEvents.remove(begin, count);
}

AnalyticsManager::AnalyticsManager(QObject *parent)
    : QObject(parent)
    , d(new AnalyticsManagerPrivate(this))
{
}

AnalyticsManager::~AnalyticsManager()
{
    // A plain pointer, not a std::unique_ptr: the destructor of the private part calls the setters, which use d.
    delete d;
}

void AnalyticsManager::setPropertyProvider(IPropertyProvider *provider)
{
    d->propertyProvider = provider ? provider : AnalyticsManagerPrivate::dummyPropertyProvider();
}

void AnalyticsManager::setEventSerializer(IEventSerializer *serializer)
{
    d->eventSerializer = serializer ? serializer : AnalyticsManagerPrivate::dummyEventSerializer();
}

void AnalyticsManager::setPackageSender(IPackageSender *sender)
{
    d->packageSender = sender ? sender : AnalyticsManagerPrivate::dummyPackageSender();
}

void AnalyticsManager::setEnabled(bool enabled)
{
    d->enabled = enabled;
}

void AnalyticsManager::appendEvent(EventType type, int tag, std::chrono::milliseconds time, QVariant const &value,
                                   EventPriority priority)
{
    QByteArray event;
    {
        AnalyticsEventData data;
        data.type = type;
        data.time = time;
        data.value = value;
        data.tag = tag;
        event = d->eventSerializer->serialize(d->propertyProvider, data, AnalyticsManagerPrivate::genericProperties());
    }

    if (!d->enabled) {
        d->pendingEvents.append(event);
        return;
    }

    switch (priority) {
    case EventPriority::Low:
        d->pendingEvents.append(event);
        break;
    case EventPriority::Medium:
        d->pendingEvents.append(event);
        d->flush();
        break;
    case EventPriority::High:
        d->sendAlone(event);
        break;
    }
}

} // namespace analytics
