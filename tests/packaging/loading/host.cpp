#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>

// A host in a library of its own, which is loaded and unloaded together with ours.

using namespace analytics;

namespace {

class Provider : public IPropertyProvider
{
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        switch (property) {
        case Property::EventCounter:
            return data.tag;
        case Property::Channel:
            return data.value;
        default:
            return {};
        }
    }
};

class Sender : public IPackageSender
{
public:
    void send(QByteArray const &package, bool) override { sent += package; }

    QByteArray sent;
};

/// A type of the host's own.
struct Television
{
    QString name;
};

} // namespace

/// Gives the package of one event with a value.
extern "C" Q_DECL_EXPORT void packageWith(QVariant const &value, QByteArray &package)
{
    Provider provider;
    JsonEventSerializer serializer;
    Sender sender;
    AnalyticsManager manager;
    manager.setPropertyProvider(&provider);
    manager.setEventSerializer(&serializer);
    manager.setPackageSender(&sender);
    manager.setEnabled(true);
    manager.appendEvent(EventType::PlaybackStop, 1, {}, value, EventPriority::Medium);
    package = sender.sent;
}

/// The same with a record, and with a type that converts to one from now on.
extern "C" Q_DECL_EXPORT void packageWithRecord(QByteArray &package)
{
    MemoryModule module;
    module.memSize = 256;
    packageWith(QVariant::fromValue(module), package);
}

extern "C" Q_DECL_EXPORT void packageWithConversion(QByteArray &package)
{
    QMetaType::registerConverter<Television, HdmiInfo>([](Television const &television) {
        return HdmiInfo{television.name, {}, {}};
    });
    packageWith(QVariant::fromValue(Television{QStringLiteral("TV")}), package);
}
