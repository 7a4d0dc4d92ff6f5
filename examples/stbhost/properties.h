#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/enums.h>

#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace stbhost {

class Machine;

/// Reads what a script gives for a property into the type that the property travels as. Returns what is wrong with it,
/// led by the way to it inside the value; an empty string when nothing is.
QString readProperty(analytics::Property property, QJsonValue const &json, QVariant &value);

/// What stbhost knows of a property without being told; an invalid variant for nothing.
QVariant knownValue(analytics::Property property, Machine &machine, analytics::AnalyticsEventData const &data);

} // namespace stbhost
