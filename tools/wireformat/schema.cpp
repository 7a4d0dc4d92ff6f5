#include <wireformat/schema.h>

#include <wireformat/doccomments.h>
#include <wireformat/document.h>
#include <wireformat/model.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace wireformat {

using analytics::Property;

namespace {

QJsonObject reference(QString const &kind, QString const &name)
{
    return {{QStringLiteral("$ref"), QStringLiteral("#/$defs/%1.%2").arg(kind, name)}};
}

/// The type, and what else of a value JSON Schema has one word for.
QJsonObject typed(QString const &type, Value const &value)
{
    QJsonObject schema;
    if (value.mayBeNull)
        schema.insert(QStringLiteral("type"), QJsonArray{type, QStringLiteral("null")});
    else
        schema.insert(QStringLiteral("type"), type);
    if (value.range) {
        schema.insert(QStringLiteral("minimum"), value.range->lowest);
        schema.insert(QStringLiteral("maximum"), value.range->highest);
    }
    return schema;
}

class Writer
{
public:
    explicit Writer(DocComments const &comments)
        : m_comments(comments)
    {
    }

    QJsonObject definitions() const
    {
        QJsonObject definitions;
        definitions.insert(QStringLiteral("anyValue"), anyValue());
        definitions.insert(QStringLiteral("anyEvent"), anyEvent());
        for (auto it = model().records.begin(); it != model().records.end(); ++it) {
            QJsonObject schema = object(*it, it.key());
            schema.insert(QStringLiteral("description"), m_comments.of(it.key()));
            definitions.insert(QStringLiteral("record.") + it.key(), schema);
        }
        for (PropertyInfo const &property : model().properties) {
            QJsonObject schema = of(property.value, QString());
            schema.insert(QStringLiteral("description"), m_comments.of(QStringLiteral("Property"), property.name));
            definitions.insert(QStringLiteral("property.") + property.name, schema);
        }
        for (EventInfo const &event : model().events)
            definitions.insert(QStringLiteral("event.") + event.name, eventOf(event));
        return definitions;
    }

private:
    QJsonObject of(Value const &value, QString const &record) const
    {
        switch (value.kind) {
        case Value::Kind::Any:
            return {{QStringLiteral("$ref"), QStringLiteral("#/$defs/anyValue")}};
        case Value::Kind::Boolean:
            return typed(QStringLiteral("boolean"), value);
        case Value::Kind::Integer:
            return typed(QStringLiteral("integer"), value);
        case Value::Kind::Number:
            return typed(QStringLiteral("number"), value);
        case Value::Kind::Text: {
            QJsonObject schema = typed(QStringLiteral("string"), value);
            if (!value.words.isEmpty())
                schema.insert(QStringLiteral("enum"), QJsonArray::fromStringList(value.words));
            else if (!value.mayBeEmpty)
                schema.insert(QStringLiteral("minLength"), 1);
            return schema;
        }
        case Value::Kind::Object: {
            QJsonObject schema
                = value.record.isEmpty() ? object(value, record) : reference(QStringLiteral("record"), value.record);
            if (!value.mayBeEmpty)
                schema.insert(QStringLiteral("minProperties"), 1);
            if (value.mayBeNull)
                schema = {{QStringLiteral("anyOf"),
                           QJsonArray{schema, QJsonObject{{QStringLiteral("type"), QStringLiteral("null")}}}}};
            return schema;
        }
        case Value::Kind::NamedText: {
            QJsonObject schema = typed(QStringLiteral("object"), value);
            schema.insert(QStringLiteral("minProperties"), 1);
            schema.insert(QStringLiteral("maxProperties"), 1);
            schema.insert(QStringLiteral("additionalProperties"),
                          QJsonObject{{QStringLiteral("type"), QStringLiteral("string")}});
            return schema;
        }
        case Value::Kind::List: {
            QJsonObject schema = typed(QStringLiteral("array"), value);
            schema.insert(QStringLiteral("minItems"), 1);
            schema.insert(QStringLiteral("items"), of(value.element.first(), QString()));
            return schema;
        }
        }
        Q_UNREACHABLE();
    }

    /// An object with its members spelled out; the record is the one that has the fields.
    QJsonObject object(Value const &value, QString const &record) const
    {
        QJsonObject properties;
        QJsonArray always;
        for (Member const &member : value.members) {
            QJsonObject schema = of(member.value, record);
            if (QString const meaning = meaningOf(record, member, m_comments); !meaning.isEmpty())
                schema.insert(QStringLiteral("description"), meaning);
            properties.insert(member.key, schema);
            if (member.isAlways)
                always.append(member.key);
        }
        QJsonObject schema{{QStringLiteral("type"), QStringLiteral("object")},
                           {QStringLiteral("properties"), properties},
                           {QStringLiteral("additionalProperties"), false}};
        if (!always.isEmpty())
            schema.insert(QStringLiteral("required"), always);
        return schema;
    }

    QJsonObject eventOf(EventInfo const &event) const
    {
        QJsonObject properties;
        for (Property property : model().generic + event.properties) {
            PropertyInfo const info = model().properties.value(property);
            properties.insert(info.key, reference(QStringLiteral("property"), info.name));
        }
        return {{QStringLiteral("description"), m_comments.of(QStringLiteral("EventType"), event.type)},
                {QStringLiteral("type"), QStringLiteral("object")},
                {QStringLiteral("properties"), properties},
                {QStringLiteral("additionalProperties"), false}};
    }

    static QJsonObject anyValue()
    {
        QJsonArray const types{QStringLiteral("boolean"), QStringLiteral("number"), QStringLiteral("string"),
                               QStringLiteral("object"), QStringLiteral("array")};
        return {
            {QStringLiteral("description"), QStringLiteral("What the host gives, which is neither null nor empty.")},
            {QStringLiteral("type"), types},
            {QStringLiteral("minLength"), 1},
            {QStringLiteral("minProperties"), 1},
            {QStringLiteral("minItems"), 1}};
    }

    static QJsonObject anyEvent()
    {
        QStringList keys;
        for (PropertyInfo const &property : model().properties)
            keys.append(property.key);
        keys.sort();
        keys.removeDuplicates();
        return {
            {QStringLiteral("description"),
             QStringLiteral("The form of an event whatever its type, and whatever types of values its host gives.")},
            {QStringLiteral("type"), QStringLiteral("object")},
            {QStringLiteral("propertyNames"), QJsonObject{{QStringLiteral("enum"), QJsonArray::fromStringList(keys)}}},
            {QStringLiteral("additionalProperties"),
             QJsonObject{{QStringLiteral("$ref"), QStringLiteral("#/$defs/anyValue")}}}};
    }

    DocComments const &m_comments;
};

} // namespace

QByteArray makeSchema(DocComments const &comments, QString const &version)
{
    QJsonArray anyOf;
    for (EventInfo const &event : model().events)
        anyOf.append(reference(QStringLiteral("event"), event.name));
    QJsonObject const events{{QStringLiteral("type"), QStringLiteral("array")},
                             {QStringLiteral("items"), QJsonObject{{QStringLiteral("anyOf"), anyOf}}}};

    QJsonObject const schema{
        {QStringLiteral("$schema"), QStringLiteral("https://json-schema.org/draft/2020-12/schema")},
        {QStringLiteral("$id"), QStringLiteral("urn:stbanalytics:events:") + version},
        {QStringLiteral("title"), QStringLiteral("Package of analytics events, version ") + version},
        {QStringLiteral("description"),
         QStringLiteral("What the library sends. An event does not tell its type: it fits one definition at least. A "
                        "member that is absent is not known.")},
        {QStringLiteral("type"), QStringLiteral("object")},
        {QStringLiteral("properties"), QJsonObject{{QStringLiteral("events"), events}}},
        {QStringLiteral("required"), QJsonArray{QStringLiteral("events")}},
        {QStringLiteral("additionalProperties"), false},
        {QStringLiteral("$defs"), Writer(comments).definitions()},
    };
    return QJsonDocument(schema).toJson();
}

} // namespace wireformat
