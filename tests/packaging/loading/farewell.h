#pragma once

#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>

#include <QtCore/QStringList>

#include <cstdio>
#include <cstdlib>

/// An object that outlives main(), reports its first event from there, and several more while it is destroyed. It
/// ends the program with status 1 where an event is not what it should be.
class Farewell
{
public:
    Farewell()
    {
        m_manager.setPropertyProvider(&m_provider);
        m_manager.setEventSerializer(&m_serializer);
        m_manager.setPackageSender(&m_sender);
        m_manager.setEnabled(true);
    }

    ~Farewell()
    {
        // New texts take the places of whatever has been freed by now.
        QStringList steps;
        for (int step = 2; step <= 7; ++step) {
            steps.append(QString(step, QLatin1Char('s')));
            report(step);
        }
        if (m_sender.sent
            == R"({"events":[{"event_counter":1}]})"
               R"({"events":[{"event_counter":2}]})"
               R"({"events":[{"event_counter":3}]})"
               R"({"events":[{"event_counter":4}]})"
               R"({"events":[{"event_counter":5}]})"
               R"({"events":[{"event_counter":6}]})"
               R"({"events":[{"event_counter":7}]})")
            return;
        std::fprintf(stderr, "not what was reported: %s\n", m_sender.sent.constData());
        std::_Exit(1);
    }

    Q_DISABLE_COPY_MOVE(Farewell)

    void report(int number)
    {
        m_manager.appendEvent(analytics::EventType::SystemStatus, number, {}, {}, analytics::EventPriority::Medium);
    }

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
    public:
        void send(QByteArray const &package, bool) override { sent += package; }

        QByteArray sent;
    };

    Provider m_provider;
    analytics::JsonEventSerializer m_serializer;
    Sender m_sender;
    analytics::AnalyticsManager m_manager;
};
