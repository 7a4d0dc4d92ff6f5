#pragma once

#include <analytics/ieventserializer.h>

namespace analytics {

/**
 * @brief The definition of the wire format: the encoder of the library's first version, built on Qt's JSON classes.
 *
 * The library's own encoder writes the same bytes, asks the provider for the same values and logs the same line in
 * every case. What this one does is not changed.
 */
class ReferenceSerializer : public IEventSerializer
{
public:
    QByteArray serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                         QList<Property> const &properties) const override;
    QByteArray pack(QList<QByteArray> const &events) const override;
};

} // namespace analytics
