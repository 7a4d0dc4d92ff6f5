#pragma once

#include <analytics/enums.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

/**
 * @file
 * @brief The wire format as data, for programs that describe or check it.
 *
 * Keys, events and the members of records are those that the library writes by: they come from its catalogue and its
 * description of records. Only what a host gives for each property is told here, in valueOf().
 */

namespace wireformat {

struct Member;

/// The bounds of a number, as they are on the wire: those of 64 bits are doubles.
struct Range
{
    double lowest;
    double highest;
};

/// What a JSON value may be.
struct Value
{
    enum class Kind {
        Any, ///< Whatever the host gives.
        Boolean,
        Integer,
        Number,
        Text,
        Object, ///< One that has no members but those that are told.
        NamedText, ///< An object of one member, a text, with whatever key.
        List,
    };

    Kind kind = Kind::Any;
    bool mayBeEmpty = false; ///< Holds for texts, objects and lists.
    bool mayBeNull = false;
    std::optional<Range> range = {}; ///< Of an integer or a number; none where the host chooses the type.
    QStringList words = {}; ///< The only texts; none where all are good.
    QString record = {}; ///< The record that the object is, if it is one.
    QList<Member> members = {}; ///< Of the object, in the order of their keys.
    QList<Value> element = {}; ///< What each of the list's elements may be: one value.
};

struct Member
{
    QString key;
    Value value;
    bool isAlways = false; ///< Is never left out.
};

/// What a host gives for a property.
Value valueOf(analytics::Property property);

struct PropertyInfo
{
    QString name; ///< Of the enumerator.
    QString key;
    Value value;
};

struct EventInfo
{
    QString type; ///< The enumerator's name.
    QString name; ///< The wire name.
    analytics::EventPriority priority;
    QList<analytics::Property> properties; ///< Its own, in the order in which they are asked for.
};

struct Model
{
    QMap<analytics::Property, PropertyInfo> properties;
    QList<analytics::Property> generic; ///< Those that every event carries besides its own.
    QList<EventInfo> events; ///< In the order of EventType.
    QMap<QString, Value> records; ///< By name.
};

Model const &model();

} // namespace wireformat
