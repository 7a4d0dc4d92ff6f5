#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class QJsonValue;

namespace wireformat {

/// What breaks the format, and where: "events[2].channel.channel_id: expected an integer, got true".
using Faults = QStringList;

struct Value;

/// Tells what is wrong with a value at a path.
Faults checkValue(QJsonValue const &json, Value const &value, QString const &path);

struct EventVerdict
{
    QStringList types; ///< Wire names of the types whose keys and values the event has; empty if it is broken.
    Faults faults; ///< By paths that begin with the given one.
};

/// Tells what an event may be. The rules are the schema's.
EventVerdict checkEvent(QJsonValue const &event, QString const &path);

struct PackageVerdict
{
    QList<EventVerdict> events;
    Faults faults; ///< Of the package itself.
};

/// Tells of what events a package consists.
PackageVerdict checkPackage(QJsonValue const &package);

} // namespace wireformat
