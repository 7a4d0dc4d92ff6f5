#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>
#include <analytics/valuenames.h>

#include <cstdio>

using namespace analytics;

#ifdef NEWER_THAN
static_assert(__cplusplus > NEWER_THAN, "the library's flags have taken the place of the host's own language standard");
#endif

class Provider : public IPropertyProvider
{
    QVariant value(Property property, AnalyticsEventData const &event) const override
    {
        return property == Property::Channel ? event.value : QVariant();
    }
};

class Sender : public IPackageSender
{
    void send(QByteArray const &package, bool) override { std::puts(package.constData()); }
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
    manager.appendEvent(EventType::PlaybackStart, 0, {}, QVariant::fromValue(Channel{7, 42}), EventPriority::High);
    std::puts(mediaTypeToName().value(MediaType::PauseLive).data());
}
