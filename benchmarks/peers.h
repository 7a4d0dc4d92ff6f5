#pragma once

#include <analytics/analyticseventdata.h>
#include <analytics/ipropertyprovider.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

// The same work as JsonEventSerializer::serialize() does, done with other people's libraries: each asks the provider
// for the same values and writes the same members. What they share is what they are given: the catalogue and the
// description of the records. Of plain values they know those that a FullProvider gives, and lists.

/// What becomes of the converters that a host has registered.
enum class Converters {
    Ignored, ///< A record is written as it is, found by its type's id; nothing is left out.
    Honoured, ///< As the library does: each record is tried for a text and for each record before it.
};

/// Builds the event as a tree of nlohmann::json, whose objects are sorted, and dumps it.
QByteArray serializeWithNlohmann(analytics::IPropertyProvider const &provider,
                                 analytics::AnalyticsEventData const &data,
                                 QList<analytics::Property> const &properties, Converters converters);

/// Writes the event with a RapidJSON Writer, in whatever order the values come.
QByteArray serializeWithRapidJson(analytics::IPropertyProvider const &provider,
                                  analytics::AnalyticsEventData const &data,
                                  QList<analytics::Property> const &properties, Converters converters);
