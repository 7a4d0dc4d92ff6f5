#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>

/**
 * @file
 * @brief Typed values out of JSON, strictly.
 *
 * Every reader returns what is wrong, and an empty string when nothing is. A reader sees its own part only and begins
 * with a colon, as in ": expected an integer, got true"; each level above puts its step in front, so that at the top it
 * reads ".link.id: expected an integer, got true".
 */

namespace stbhost {

inline QString expected(QString const &what, QJsonValue const &json)
{
    QString got;
    if (json.isObject())
        got = QStringLiteral("an object");
    else if (json.isArray())
        got = QStringLiteral("an array");
    else
        got = QString::fromUtf8(QJsonDocument(QJsonArray{json}).toJson(QJsonDocument::Compact).chopped(1).mid(1));
    return QStringLiteral(": expected %1, got %2").arg(what, got);
}

/// A member of a record: how it is called in JSON, and what reads it.
template <typename Record> struct Field
{
    char const *key;
    QString (*read)(QJsonValue const &json, Record &record);
};

/// The members of each record: an array of fields.
template <typename Record> constexpr std::nullptr_t fields = nullptr;

template <typename T> QString read(QJsonValue const &json, T &value);
template <typename T> QString read(QJsonValue const &json, std::optional<T> &value);
template <typename T> QString read(QJsonValue const &json, QList<T> &value);

/// Reads a JSON object that has no members but those of the table.
template <typename Record, std::size_t Count>
QString readObject(QJsonValue const &json, Field<Record> const (&table)[Count], Record &record)
{
    if (!json.isObject())
        return expected(QStringLiteral("an object"), json);

    QJsonObject const object = json.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        auto const field = std::find_if(std::begin(table), std::end(table),
                                        [&](Field<Record> const &row) { return it.key() == QLatin1String(row.key); });
        QString const problem
            = field != std::end(table) ? field->read(it.value(), record) : QStringLiteral(": unknown field");
        if (!problem.isEmpty())
            return QLatin1Char('.') + it.key() + problem;
    }
    return {};
}

template <typename Integer> QString readInteger(QJsonValue const &json, Integer &value)
{
    // JSON numbers reach as far as qint64 does, the upper half of quint64 excepted.
    constexpr bool isWide = sizeof(Integer) == sizeof(qint64);
    constexpr qint64 lowest = std::is_signed_v<Integer> ? static_cast<qint64>(std::numeric_limits<Integer>::min()) : 0;
    constexpr qint64 highest
        = isWide ? std::numeric_limits<qint64>::max() : static_cast<qint64>(std::numeric_limits<Integer>::max());

    // Only a true integer comes out the same whatever stands in for the others.
    qint64 const number = json.toInteger(0);
    if (number == json.toInteger(1) && number >= lowest && number <= highest) {
        value = static_cast<Integer>(number);
        return {};
    }
    return expected(isWide && lowest < 0 ? QStringLiteral("an integer")
                        : isWide         ? QStringLiteral("an integer from 0")
                                         : QStringLiteral("an integer from %1 to %2").arg(lowest).arg(highest),
                    json);
}

template <typename Float> QString readFloat(QJsonValue const &json, Float &value)
{
    if (!json.isDouble() || std::abs(json.toDouble()) > static_cast<double>(std::numeric_limits<Float>::max()))
        return expected(QStringLiteral("a number"), json);
    value = static_cast<Float>(json.toDouble());
    return {};
}

template <typename T> QString read(QJsonValue const &json, T &value)
{
    if constexpr (std::is_same_v<T, QString>) {
        if (!json.isString())
            return expected(QStringLiteral("a string"), json);
        value = json.toString();
        return {};
    } else if constexpr (std::is_same_v<T, bool>) {
        if (!json.isBool())
            return expected(QStringLiteral("true or false"), json);
        value = json.toBool();
        return {};
    } else if constexpr (std::is_integral_v<T>) {
        return readInteger(json, value);
    } else if constexpr (std::is_floating_point_v<T>) {
        return readFloat(json, value);
    } else {
        return readObject(json, fields<T>, value);
    }
}

template <typename T> QString read(QJsonValue const &json, std::optional<T> &value)
{
    return read(json, value.emplace());
}

template <typename T> QString read(QJsonValue const &json, QList<T> &value)
{
    if (!json.isArray())
        return expected(QStringLiteral("an array"), json);

    QJsonArray const array = json.toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        QString const problem = read(array.at(i), value.emplaceBack());
        if (!problem.isEmpty())
            return QStringLiteral("[%1]").arg(i) + problem;
    }
    return {};
}

template <typename Member> struct MemberTraits;
template <typename R, typename T> struct MemberTraits<T R::*>
{
    using Record = R;
};
template <auto Member> using RecordOf = typename MemberTraits<decltype(Member)>::Record;

/// Field reader: the member itself.
template <auto Member> QString member(QJsonValue const &json, RecordOf<Member> &record)
{
    return read(json, record.*Member);
}

/// Field reader: members of the record that stand in an object of their own.
template <auto const &Table, typename Record> QString group(QJsonValue const &json, Record &record)
{
    return readObject(json, Table, record);
}

} // namespace stbhost
