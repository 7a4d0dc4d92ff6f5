#pragma once

#include <wireformat/model.h>

#include <analytics/recordfields_p.h>

#include <limits>
#include <string_view>
#include <type_traits>

/**
 * @file
 * @brief What the library's description of a record says of the JSON that it becomes.
 */

namespace wireformat {

/// What a field of a record is written as.
template <typename Field> struct FieldValue
{
    static Value value()
    {
        static_assert(std::is_integral_v<Field>, "the other types of fields are told below");
        Value value{Value::Kind::Integer};
        value.range = {static_cast<double>(std::numeric_limits<Field>::min()),
                       static_cast<double>(std::numeric_limits<Field>::max())};
        return value;
    }
};

template <> struct FieldValue<QString>
{
    static Value value() { return {Value::Kind::Text}; }
};

/// The library writes null for a number that is not finite.
template <> struct FieldValue<float>
{
    static Value value()
    {
        Value value{Value::Kind::Number};
        value.mayBeNull = true;
        value.range = {static_cast<double>(std::numeric_limits<float>::lowest()),
                       static_cast<double>(std::numeric_limits<float>::max())};
        return value;
    }
};

template <typename Number> struct FieldValue<std::optional<Number>> : FieldValue<Number>
{
};

inline QString toString(std::string_view text)
{
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

template <typename... Rows> Value object(std::tuple<Rows...> const &rows);

template <typename Record, typename Type> Member memberOf(analytics::Field<Record, Type> const &row)
{
    bool const isAlwaysWritten = row.whenEmpty == analytics::EmptyField::Written;
    Value value = FieldValue<Type>::value();
    value.mayBeEmpty = isAlwaysWritten;
    return {toString(row.key), value, isAlwaysWritten};
}

template <typename... Fields> Member memberOf(analytics::FieldGroup<Fields...> const &row)
{
    Value value = object(row.fields);
    value.mayBeEmpty = true;
    return {toString(row.key), value, true};
}

template <typename Element> Value elementOf(analytics::AsString)
{
    return {Value::Kind::Text};
}

template <typename Element> Value elementOf(analytics::AsSingletonObject)
{
    return {Value::Kind::NamedText};
}

template <typename Element, typename... Rows> Value elementOf(std::tuple<Rows...> const &rows)
{
    Value value = object(rows);
    if constexpr (!std::is_same_v<Element, analytics::StringPair>)
        value.record = QString::fromLatin1(QMetaType::fromType<Element>().name()).mid(int(sizeof("analytics::")) - 1);
    return value;
}

template <typename Record, typename Element, typename Form>
Member memberOf(analytics::ListField<Record, Element, Form> const &row)
{
    Value value{Value::Kind::List};
    value.element = {elementOf<Element>(row.elementForm)};
    value.element.first().mayBeEmpty = true;
    return {toString(row.key), value, false};
}

template <typename... Rows> Value object(std::tuple<Rows...> const &rows)
{
    Value value{Value::Kind::Object};
    std::apply([&value](auto const &...row) { (value.members.append(memberOf(row)), ...); }, rows);
    return value;
}

template <typename Record> Value record()
{
    return elementOf<Record>(analytics::fieldsOf<Record>);
}

} // namespace wireformat
