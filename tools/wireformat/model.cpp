#include <wireformat/model.h>

#include <analytics/analyticsmanager.h>
#include <analytics/catalogue_p.h>
#include <analytics/ieventserializer.h>

#include <QtCore/QMetaEnum>

#include <algorithm>

namespace wireformat {

using namespace analytics;

namespace {

/// Hears from a manager which properties every event carries: the list is private to it.
class GenericProperties : public IEventSerializer
{
public:
    QByteArray serialize(IPropertyProvider const *, AnalyticsEventData const &,
                         QList<Property> const &properties) const override
    {
        heard = properties;
        return {};
    }
    QByteArray pack(QList<QByteArray> const &) const override { return {}; }

    mutable QList<Property> heard;
};

QList<Property> genericProperties()
{
    GenericProperties serializer;
    AnalyticsManager manager;
    manager.setEventSerializer(&serializer);
    manager.appendEvent(EventType::Discover, 0, {}, {}, EventPriority::Low);
    return serializer.heard;
}

void collectRecords(Value const &value, QMap<QString, Value> &records)
{
    if (!value.record.isEmpty()) {
        Value record = value;
        record.mayBeEmpty = true; // Which is for the place to say.
        record.mayBeNull = false;
        records.insert(value.record, record);
    }
    for (Member const &member : value.members)
        collectRecords(member.value, records);
    for (Value const &element : value.element)
        collectRecords(element, records);
}

template <typename Enumeration> QString nameOf(Enumeration enumerator)
{
    return QString::fromLatin1(QMetaEnum::fromType<Enumeration>().valueToKey(static_cast<int>(enumerator)));
}

Model makeModel()
{
    Model result;
    for (auto it = propertyKeys.begin(); it != propertyKeys.end(); ++it) {
        Value const value = valueOf(it.key());
        result.properties.insert(it.key(), {nameOf(it.key()), *it, value});
        collectRecords(value, result.records);
    }

    result.generic = genericProperties();

    QList<EventType> types = eventTable.keys();
    std::sort(types.begin(), types.end());
    for (EventType type : types) {
        EventProperties const event = eventTable.value(type);
        result.events.append({nameOf(type), event.name, event.priority, event.properties});
    }
    return result;
}

} // namespace

Model const &model()
{
    static Model const made = makeModel();
    return made;
}

} // namespace wireformat
