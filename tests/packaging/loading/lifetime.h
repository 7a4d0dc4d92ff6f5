#pragma once

#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>

#include <cstdio>

/// Reports an event when it is made and another one when it is destroyed, which prints the package of both.
class Lifetime
{
public:
    explicit Lifetime(int number)
        : m_number(number)
    {
        m_manager.setPropertyProvider(&m_provider);
        m_manager.setEventSerializer(&m_serializer);
        m_manager.setPackageSender(&m_sender);
        m_manager.setEnabled(true);
        m_manager.appendEvent(analytics::EventType::SystemBoot, m_number, {}, {}, analytics::EventPriority::Low);
    }

    ~Lifetime()
    {
        m_manager.appendEvent(analytics::EventType::SystemStatus, m_number + 1, {}, {},
                              analytics::EventPriority::Medium);
    }

    Q_DISABLE_COPY_MOVE(Lifetime)

private:
    class Provider : public analytics::IPropertyProvider
    {
        QVariant value(analytics::Property property, analytics::AnalyticsEventData const &data) const override
        {
            return property == analytics::Property::EventCounter ? data.tag : QVariant();
        }
    };

    class Sender : public analytics::IPackageSender
    {
        void send(QByteArray const &package, bool) override { std::puts(package.constData()); }
    };

    int m_number;
    Provider m_provider;
    analytics::JsonEventSerializer m_serializer;
    Sender m_sender;
    analytics::AnalyticsManager m_manager;
};
