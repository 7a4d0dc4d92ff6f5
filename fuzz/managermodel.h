#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>

#include <list>

/**
 * @brief What an AnalyticsManager promises, with nothing in mind but that it can be read.
 *
 * Each pending event knows the flush that it is part of, and a null plug-in is simply not called.
 */
class ManagerModel
{
public:
    void setPropertyProvider(analytics::IPropertyProvider *provider) { m_provider = provider; }
    void setEventSerializer(analytics::IEventSerializer *serializer) { m_serializer = serializer; }
    void setPackageSender(analytics::IPackageSender *sender) { m_sender = sender; }
    void setEnabled(bool enabled) { m_isEnabled = enabled; }

    void appendEvent(analytics::EventType type, int tag, std::chrono::milliseconds time, QVariant const &value,
                     analytics::EventPriority priority)
    {
        QByteArray const event = serialized(type, tag, time, value);
        if (!m_isEnabled || priority == analytics::EventPriority::Low) {
            keep(event);
        } else if (priority == analytics::EventPriority::Medium) {
            keep(event);
            flush();
        } else if (priority == analytics::EventPriority::High) {
            deliver({event}, true);
        }
    }

private:
    struct Pending
    {
        QByteArray event;
        int flush; ///< 0 while it is part of none.
    };

    struct KnowsNothing : analytics::IPropertyProvider
    {
        QVariant value(analytics::Property, analytics::AnalyticsEventData const &) const override { return {}; }
    };

    QByteArray serialized(analytics::EventType type, int tag, std::chrono::milliseconds time,
                          QVariant const &value) const
    {
        if (!m_serializer)
            return {};
        analytics::AnalyticsEventData data;
        data.type = type;
        data.time = time;
        data.value = value;
        data.tag = tag;
        KnowsNothing const knowsNothing;
        analytics::IPropertyProvider const *const provider = m_provider ? m_provider : &knowsNothing;
        using analytics::Property;
        return m_serializer->serialize(provider, data,
                                       {Property::EventId, Property::EventVersion, Property::EventCounter,
                                        Property::Timestamp, Property::MacAddress, Property::Uid});
    }

    void keep(QByteArray const &event) { m_pending.push_back({event, 0}); }

    void flush()
    {
        int const number = ++m_flushes;
        QList<QByteArray> events;
        for (Pending &pending : m_pending) {
            if (pending.flush == 0) {
                pending.flush = number;
                events.append(pending.event);
            }
        }
        try {
            deliver(events, false);
        } catch (...) {
            for (Pending &pending : m_pending) {
                if (pending.flush == number)
                    pending.flush = 0;
            }
            throw;
        }
        m_pending.remove_if([number](Pending const &pending) { return pending.flush == number; });
    }

    void deliver(QList<QByteArray> const &events, bool isHigh)
    {
        QByteArray const package = m_serializer ? m_serializer->pack(events) : QByteArray();
        if (m_sender)
            m_sender->send(package, isHigh);
    }

    analytics::IPropertyProvider *m_provider = nullptr;
    analytics::IEventSerializer *m_serializer = nullptr;
    analytics::IPackageSender *m_sender = nullptr;
    bool m_isEnabled = false;
    std::list<Pending> m_pending; ///< Oldest first.
    int m_flushes = 0;
};
