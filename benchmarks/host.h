#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>

#include <vector>

/// A provider that has a value for every property of a service-quality sample, a status of the application and a start
/// of playback. The values are made once: asking for one costs a copy of a variant.
class FullProvider : public analytics::IPropertyProvider
{
public:
    FullProvider();

    QVariant value(analytics::Property property, analytics::AnalyticsEventData const &data) const override;

private:
    std::vector<QVariant> m_values;
};

/// A sender that costs nothing.
class NoSender : public analytics::IPackageSender
{
public:
    void send(QByteArray const &, bool) override { }
};

/// What the manager asks for with every event.
QList<analytics::Property> genericProperties();

/// What an event of the type asks for besides.
QList<analytics::Property> propertiesOf(analytics::EventType type);

analytics::AnalyticsEventData eventOf(analytics::EventType type);

/// Takes the diagnostic line's output, not its making, out of what is measured.
void silenceLog();
