#pragma once

#include <analytics/ipropertyprovider.h>

#include <QtCore/QSet>

namespace stbhost {

class Machine;

/// Answers from the event's Payload, and where that has nothing, from the machine.
class PropertyProvider : public analytics::IPropertyProvider
{
public:
    explicit PropertyProvider(Machine &machine);

    QVariant value(analytics::Property property, analytics::AnalyticsEventData const &data) const override;

    /// What has been asked for since the last call, which is what the events in between carry.
    QSet<analytics::Property> takeAsked();

private:
    Machine &m_machine;
    mutable QSet<analytics::Property> m_asked;
};

} // namespace stbhost
