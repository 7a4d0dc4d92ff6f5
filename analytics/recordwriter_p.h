#pragma once

#include <analytics/recordfields_p.h>

#include <optional>
#include <type_traits>

/**
 * @file
 * @brief Writes a record as its description in recordfields_p.h tells. Only the serializer includes it.
 */

namespace analytics {

/// How a field of a type is written: the most bytes that a value takes, whether it is left out, and its bytes. A new
/// type of field gets its specialization with all three here; there is none that fits every type.
template <typename Value, typename = void> struct FieldWriter;

template <> struct FieldWriter<QString>
{
    static qsizetype maxBytes(QString const &text) { return json::roomForString(text); }
    static bool isEmpty(QString const &text) { return text.isEmpty(); }
    static char *write(char *at, QString const &text) { return json::writeString(at, text); }
};

/// The numbers that fit json::roomForNumber; JSON has its own words for a bool.
template <typename Number>
inline constexpr bool isNumberOfField
    = std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool> && sizeof(Number) <= sizeof(qint64);

template <typename Number> struct FieldWriter<std::optional<Number>, std::enable_if_t<isNumberOfField<Number>>>
{
    static constexpr qsizetype maxBytes(std::optional<Number> const &) { return json::roomForNumber; }
    static bool isEmpty(std::optional<Number> const &number) { return !number.has_value(); }
    static char *write(char *at, std::optional<Number> const &number)
    {
        if constexpr (std::is_floating_point_v<Number>)
            return json::writeNumber(at, static_cast<double>(*number));
        else if constexpr (sizeof(Number) < sizeof(qint64))
            return json::writeInteger(at, *number);
        else
            return json::writeCounter(at, *number);
    }
};

template <> struct FieldWriter<int>
{
    static constexpr qsizetype maxBytes(int) { return json::roomForNumber; }
    static constexpr bool isEmpty(int) { return false; }
    static char *write(char *at, int number) { return json::writeInteger(at, number); }
};

/// Whether fields of a type can be written: all that is needed for it is there.
template <typename Value, typename = void> inline constexpr bool isFieldType = false;

template <typename Value>
inline constexpr bool isFieldType<
    Value,
    std::void_t<decltype(qsizetype(FieldWriter<Value>::maxBytes(std::declval<Value const &>()))),
                decltype(bool(FieldWriter<Value>::isEmpty(std::declval<Value const &>()))),
                decltype(FieldWriter<Value>::write(std::declval<char *&>(), std::declval<Value const &>()))>> = true;

// The same for an element of a list, and for an object of rows.

inline qsizetype maxBytes(QString const &text, PlainText)
{
    return FieldWriter<QString>::maxBytes(text);
}

inline char *write(char *at, QString const &text, PlainText)
{
    return FieldWriter<QString>::write(at, text);
}

inline qsizetype maxBytes(TextPair const &pair, NamedText)
{
    return FieldWriter<QString>::maxBytes(pair.first) + FieldWriter<QString>::maxBytes(pair.second) + 3;
}

inline char *write(char *at, TextPair const &pair, NamedText)
{
    *at++ = '{';
    at = FieldWriter<QString>::write(at, pair.first);
    *at++ = ':';
    at = FieldWriter<QString>::write(at, pair.second);
    *at++ = '}';
    return at;
}

template <typename Record, typename... Rows> qsizetype maxBytes(Record const &record, std::tuple<Rows...> const &rows);

template <typename Record, typename... Rows>
static char *write(char *at, Record const &record, std::tuple<Rows...> const &rows);

template <typename Record, typename Value>
qsizetype maxBytesOfRow(Record const &record, Member<Record, Value> const &member)
{
    static_assert(isFieldType<Value>, "a field of a new type: give it a FieldWriter with maxBytes, isEmpty and write");
    return member.key.size() + FieldWriter<Value>::maxBytes(record.*member.field);
}

template <typename Record, typename... Members>
qsizetype maxBytesOfRow(Record const &record, Group<Members...> const &group)
{
    return group.key.size() + maxBytes(record, group.members);
}

template <typename Record, typename Element, typename Form>
qsizetype maxBytesOfRow(Record const &record, List<Record, Element, Form> const &list)
{
    qsizetype bytes = list.key.size() + 2;
    for (Element const &element : record.*list.field)
        bytes += maxBytes(element, list.form) + 1;
    return bytes;
}

template <typename Record, typename Value>
static char *writeRow(char *at, Record const &record, Member<Record, Value> const &member)
{
    Value const &value = record.*member.field;
    if (!member.isAlways && FieldWriter<Value>::isEmpty(value))
        return at;
    return FieldWriter<Value>::write(json::writeKey(at, member.key), value);
}

template <typename Record, typename... Members>
static char *writeRow(char *at, Record const &record, Group<Members...> const &group)
{
    return write(json::writeKey(at, group.key), record, group.members);
}

template <typename Record, typename Element, typename Form>
static char *writeRow(char *at, Record const &record, List<Record, Element, Form> const &list)
{
    QList<Element> const &elements = record.*list.field;
    if (elements.isEmpty())
        return at;
    at = json::writeKey(at, list.key);
    *at++ = '[';
    for (Element const &element : elements) {
        at = write(at, element, list.form);
        *at++ = ',';
    }
    return json::writeEndOfList(at);
}

template <typename Record, typename... Rows> qsizetype maxBytes(Record const &record, std::tuple<Rows...> const &rows)
{
    return std::apply([&](auto const &...row) { return (maxBytesOfRow(record, row) + ... + 2); }, rows);
}

template <typename Record, typename... Rows>
static char *write(char *at, Record const &record, std::tuple<Rows...> const &rows)
{
    char *const begin = at;
    std::apply([&](auto const &...row) { ((at = writeRow(at, record, row)), ...); }, rows);
    return json::writeObject(begin, at);
}

} // namespace analytics
