// The least that a host does: it knows the values, it delivers the packages, and it reports what happens.

#include <analytics/analyticsmanager.h>
#include <analytics/eventnames.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>

#include <cstdio>

using namespace analytics;

class Provider : public IPropertyProvider
{
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        switch (property) {
        case Property::EventId:
            // No other key carries the type. 7f3a stands for a random number that a box makes at each start.
            return QStringLiteral("%1/7f3a-%2").arg(eventTypeToName(data.type)).arg(data.tag);
        case Property::EventCounter:
            return data.tag;
        case Property::Timestamp:
            return qint64(data.time.count());
        case Property::Channel:
            return data.value;
        default:
            return {}; // Left out of the event.
        }
    }
};

class Sender : public IPackageSender
{
    void send(QByteArray const &package, bool highPriority) override
    {
        std::printf("%s: %s\n", highPriority ? "high" : "normal", package.constData());
    }
};

int main()
{
    Provider provider;
    JsonEventSerializer serializer;
    Sender sender;

    AnalyticsManager manager;
    manager.setPropertyProvider(&provider);
    manager.setEventSerializer(&serializer);
    manager.setPackageSender(&sender);
    manager.setEnabled(true);

    Channel channel;
    channel.channelId = 7;
    QVariant const value = QVariant::fromValue(channel);
    std::chrono::seconds const time(1795212000);
    manager.appendEvent(EventType::PlaybackNewProgram, 1, time, value, EventPriority::Low); // waits
    manager.appendEvent(EventType::PlaybackError, 2, time, value, EventPriority::High); // goes alone
    manager.appendEvent(EventType::PlaybackStop, 3, time, value, EventPriority::Medium); // takes what waits along
}
