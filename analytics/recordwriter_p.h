#pragma once

#include <analytics/jsonwriter_p.h>
#include <analytics/recordfields_p.h>

#include <optional>
#include <type_traits>

/**
 * @file
 * @brief Writes a record as recordfields_p.h describes it. recordtypes_p.h includes it, and so does
 * tst_recordencoding.cpp, which checks the FieldWriters.
 */

namespace analytics {

/// Writes the fields of one type: maxBytes() is an upper limit of the bytes that write() needs, and isEmpty() returns
/// whether the field may be left out. There is no general template: a new type of field gets its specialization here.
template <typename Value, typename = void> struct FieldWriter;

template <> struct FieldWriter<QString>
{
    static qsizetype maxBytes(QString const &text) { return json::maxBytesOfString(text); }
    static bool isEmpty(QString const &text) { return text.isEmpty(); }
    static char *write(char *cursor, QString const &text) { return json::writeString(cursor, text); }
};

/// The types of numbers that need no more than json::maxBytesOfNumber. A bool is no number in JSON.
template <typename Number>
inline constexpr bool isNumberOfField
    = std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool> && sizeof(Number) <= sizeof(qint64);

template <typename Number> struct FieldWriter<std::optional<Number>, std::enable_if_t<isNumberOfField<Number>>>
{
    static constexpr qsizetype maxBytes(std::optional<Number> const &) { return json::maxBytesOfNumber; }
    static bool isEmpty(std::optional<Number> const &number) { return !number.has_value(); }
    static char *write(char *cursor, std::optional<Number> const &number)
    {
        if constexpr (std::is_floating_point_v<Number>)
            return json::writeNumber(cursor, static_cast<double>(*number));
        else if constexpr (sizeof(Number) < sizeof(qint64))
            return json::writeInteger(cursor, *number);
        else
            return json::writeCounter(cursor, *number);
    }
};

template <> struct FieldWriter<int>
{
    static constexpr qsizetype maxBytes(int) { return json::maxBytesOfNumber; }
    static constexpr bool isEmpty(int) { return false; }
    static char *write(char *cursor, int number) { return json::writeInteger(cursor, number); }
};

/// Whether a type of field has a FieldWriter with all three functions.
template <typename Value, typename = void> inline constexpr bool isFieldType = false;

template <typename Value>
inline constexpr bool isFieldType<
    Value,
    std::void_t<decltype(qsizetype(FieldWriter<Value>::maxBytes(std::declval<Value const &>()))),
                decltype(bool(FieldWriter<Value>::isEmpty(std::declval<Value const &>()))),
                decltype(FieldWriter<Value>::write(std::declval<char *&>(), std::declval<Value const &>()))>> = true;

// The rows of a description, with packed keys instead of plain ones. They are made at compile time.

template <typename Record, typename Value> struct PackedField
{
    json::PackedKey key;
    Value Record::*pointer;
    EmptyField whenEmpty;
};

template <typename Rows> struct PackedGroup
{
    json::PackedKey key;
    Rows rows;
};

template <typename Record, typename Element, typename Form> struct PackedList
{
    json::PackedKey key;
    QList<Element> Record::*pointer;
    Form elementForm;
};

template <typename... Rows> constexpr auto packedRows(std::tuple<Rows...> const &rows);

constexpr AsString packedForm(AsString form)
{
    return form;
}

constexpr AsSingletonObject packedForm(AsSingletonObject form)
{
    return form;
}

template <typename... Rows> constexpr auto packedForm(std::tuple<Rows...> const &rows)
{
    return packedRows(rows);
}

template <typename Record, typename Value>
constexpr PackedField<Record, Value> packedRow(Field<Record, Value> const &field)
{
    return {json::PackedKey(field.key), field.pointer, field.whenEmpty};
}

template <typename... Fields> constexpr auto packedRow(FieldGroup<Fields...> const &group)
{
    auto const rows = packedRows(group.fields);
    return PackedGroup<std::remove_const_t<decltype(rows)>>{json::PackedKey(group.key), rows};
}

template <typename Record, typename Element, typename Form>
constexpr auto packedRow(ListField<Record, Element, Form> const &list)
{
    auto const form = packedForm(list.elementForm);
    return PackedList<Record, Element, std::remove_const_t<decltype(form)>>{json::PackedKey(list.key), list.pointer,
                                                                            form};
}

template <typename... Rows> constexpr auto packedRows(std::tuple<Rows...> const &rows)
{
    return std::apply([](auto const &...row) { return std::tuple(packedRow(row)...); }, rows);
}

template <typename Record> inline constexpr auto packedRowsOf = packedRows(fieldsOf<Record>);

// The elements of a list

template <typename Record, typename... Rows>
qsizetype maxBytesOfObject(Record const &record, std::tuple<Rows...> const &rows);

template <typename Record, typename... Rows>
static char *writeObject(char *cursor, Record const &record, std::tuple<Rows...> const &rows);

inline qsizetype maxBytesOfElement(QString const &text, AsString)
{
    return FieldWriter<QString>::maxBytes(text);
}

inline char *writeElement(char *cursor, QString const &text, AsString)
{
    return FieldWriter<QString>::write(cursor, text);
}

inline qsizetype maxBytesOfElement(StringPair const &pair, AsSingletonObject)
{
    return FieldWriter<QString>::maxBytes(pair.first) + FieldWriter<QString>::maxBytes(pair.second) + 3;
}

inline char *writeElement(char *cursor, StringPair const &pair, AsSingletonObject)
{
    *cursor++ = '{';
    cursor = FieldWriter<QString>::write(cursor, pair.first);
    *cursor++ = ':';
    cursor = FieldWriter<QString>::write(cursor, pair.second);
    *cursor++ = '}';
    return cursor;
}

template <typename Element, typename... Rows>
qsizetype maxBytesOfElement(Element const &element, std::tuple<Rows...> const &rows)
{
    return maxBytesOfObject(element, rows);
}

template <typename Element, typename... Rows>
static char *writeElement(char *cursor, Element const &element, std::tuple<Rows...> const &rows)
{
    return writeObject(cursor, element, rows);
}

// The members of an object

template <typename Record, typename Value>
qsizetype maxBytesOfRow(Record const &record, PackedField<Record, Value> const &field)
{
    static_assert(isFieldType<Value>, "a field of a new type: give it a FieldWriter with maxBytes, isEmpty and write");
    return field.key.size() + FieldWriter<Value>::maxBytes(record.*field.pointer);
}

template <typename Record, typename Rows> qsizetype maxBytesOfRow(Record const &record, PackedGroup<Rows> const &group)
{
    return group.key.size() + maxBytesOfObject(record, group.rows);
}

template <typename Record, typename Element, typename Form>
qsizetype maxBytesOfRow(Record const &record, PackedList<Record, Element, Form> const &list)
{
    qsizetype bytes = list.key.size() + 2;
    for (Element const &element : record.*list.pointer)
        bytes += maxBytesOfElement(element, list.elementForm) + 1;
    return bytes;
}

template <typename Record, typename Value>
static char *writeRow(char *cursor, Record const &record, PackedField<Record, Value> const &field)
{
    Value const &value = record.*field.pointer;
    if (field.whenEmpty == EmptyField::LeftOut && FieldWriter<Value>::isEmpty(value))
        return cursor;
    return FieldWriter<Value>::write(json::writeKey(cursor, field.key), value);
}

template <typename Record, typename Rows>
static char *writeRow(char *cursor, Record const &record, PackedGroup<Rows> const &group)
{
    return writeObject(json::writeKey(cursor, group.key), record, group.rows);
}

template <typename Record, typename Element, typename Form>
static char *writeRow(char *cursor, Record const &record, PackedList<Record, Element, Form> const &list)
{
    QList<Element> const &elements = record.*list.pointer;
    if (elements.isEmpty())
        return cursor;
    cursor = json::writeKey(cursor, list.key);
    *cursor++ = '[';
    for (Element const &element : elements) {
        cursor = writeElement(cursor, element, list.elementForm);
        *cursor++ = ',';
    }
    return json::closeList(cursor);
}

template <typename Record, typename... Rows>
qsizetype maxBytesOfObject(Record const &record, std::tuple<Rows...> const &rows)
{
    return std::apply([&](auto const &...row) { return (maxBytesOfRow(record, row) + ... + 2); }, rows);
}

template <typename Record, typename... Rows>
static char *writeObject(char *cursor, Record const &record, std::tuple<Rows...> const &rows)
{
    char *const begin = cursor;
    std::apply([&](auto const &...row) { ((cursor = writeRow(cursor, record, row)), ...); }, rows);
    return json::closeObject(begin, cursor);
}

} // namespace analytics
