#pragma once

#include "randomvalues.h"

#include <analytics/analyticseventdata.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipropertyprovider.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <vector>

/**
 * @file
 * @brief Events by chance, what a serializer makes of them, and how two serializers differ in it.
 */

/// Something that happens while a serializer is at work.
struct Step
{
    enum What { Asked, AskedForAnotherEvent, Converted, Logged };

    What what;
    int number; ///< The property, the converter, or the kind of message.
    QString text;

    bool operator==(Step const &other) const
    {
        return what == other.what && number == other.number && text == other.text;
    }
};

/// What a serializer has made of an event, and how.
struct Outcome
{
    QByteArray bytes;
    QList<Step> steps;
};

/// From here on the serializers log, and what they log is a step of theirs.
void keepLines();
void keepLinesNoMore();

struct RecordKind
{
    QVariant (*make)(Random &random);
    char const *name;
    int count; ///< How many have been drawn.
};

extern std::vector<RecordKind> recordKinds;
extern int const allRecordKinds;
extern int recordKindsInUse; ///< None at first.

struct ValueKind
{
    char const *name;
    int weight;
    QVariant (*make)(Random &random, int depth);
    int count; ///< How many have been drawn.
};

extern std::vector<ValueKind> valueKinds;

/// A conversion between types that a host registers with Qt.
struct Converter
{
    QMetaType from;
    QMetaType to;
    QMetaType::ConverterFunction convert;
    bool isForRecords;
    bool isRegistered;
};

extern std::vector<Converter> converters; ///< Empty before listConverters().

void listConverters();
void setRegistered(Converter &converter, bool isRegistered);

/// An event, which is also the provider that replays its values: they are drawn when they are asked for first, and the
/// second serializer is given the same ones again, call by call.
class Event : public analytics::IPropertyProvider
{
public:
    explicit Event(Random const &random);

    analytics::EventType type() const { return m_data.type; }
    bool isReferenceFirst() const { return m_isReferenceFirst; }
    QVariantList const &values() const { return m_values; }

    Outcome serializedBy(analytics::IEventSerializer const &serializer);

    QVariant value(analytics::Property property, analytics::AnalyticsEventData const &data) const override;

private:
    mutable Random m_random;
    bool m_isReferenceFirst;
    analytics::AnalyticsEventData m_data;
    QList<analytics::Property> m_properties;
    mutable QVariantList m_values;
    mutable qsizetype m_calls = 0;
};

/// Where the two part first.
QByteArray differenceOf(QByteArray const &library, QByteArray const &reference);

/// Nothing where the two agree.
QByteArray differenceOf(Outcome const &library, Outcome const &reference);
