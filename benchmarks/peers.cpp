#include "peers.h"

#include <analytics/catalogue_p.h>
#include <analytics/recordmembers_p.h>

#include <nlohmann/json.hpp>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

using namespace analytics;

namespace {

template <typename Value> bool isUnset(Value const &value)
{
    if constexpr (std::is_same_v<Value, QString>)
        return value.isEmpty();
    else if constexpr (std::is_same_v<Value, int>)
        return false;
    else
        return !value.has_value();
}

/// Calls one of the visitor's functions for the record that a variant holds, found by its type's id.
template <typename Visitor> void visitRecord(QVariant const &value, Visitor const &visitor)
{
    using Visit = void (*)(QVariant const &, Visitor const &);
    static auto const visits = [] {
        QHash<int, Visit> table;
        auto const add = [&table](auto record) {
            using Record = decltype(record);
            table.insert(qMetaTypeId<Record>(), [](QVariant const &held, Visitor const &with) {
                with(*static_cast<Record const *>(held.constData()), members<Record>);
            });
        };
        std::apply([&add](auto... records) { (add(records), ...); },
                   std::tuple<Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule,
                              Endpoints, CpuInfo, MemoryInfo, HdmiInfo, PowerInfo, HardwareInfo, WifiInfo, MdiInfo,
                              Etr290Info, DecoderInfo, DashInfo, HlsInfo, BufferingInfo, MediaInfo, NcError, HttpError,
                              SystemSettings, Scte35, VerimatrixError, VmxErrors, MessageTarget>());
        return table;
    }();
    if (Visit const visit = visits.value(value.typeId()))
        visit(value, visitor);
}

// nlohmann::json

using Tree = nlohmann::json;

Tree treeOf(QString const &text)
{
    return text.toStdString();
}

Tree treeOf(int number)
{
    return number;
}

template <typename Number> Tree treeOf(std::optional<Number> const &number)
{
    return *number;
}

template <typename Record, typename... Rows> Tree treeOf(Record const &record, std::tuple<Rows...> const &rows);

Tree treeOf(QString const &text, PlainText)
{
    return treeOf(text);
}

Tree treeOf(TextPair const &pair, NamedText)
{
    return {{pair.first.toStdString(), treeOf(pair.second)}};
}

template <typename Record, typename Value>
void addRow(Tree &tree, Record const &record, Member<Record, Value> const &member)
{
    if (member.isAlways || !isUnset(record.*member.field))
        tree[std::string(member.key)] = treeOf(record.*member.field);
}

template <typename Record, typename... Members>
void addRow(Tree &tree, Record const &record, Group<Members...> const &group)
{
    tree[std::string(group.key)] = treeOf(record, group.members);
}

template <typename Record, typename Element, typename Form>
void addRow(Tree &tree, Record const &record, List<Record, Element, Form> const &list)
{
    if ((record.*list.field).isEmpty())
        return;
    Tree array = Tree::array();
    for (Element const &element : record.*list.field)
        array.push_back(treeOf(element, list.form));
    tree[std::string(list.key)] = std::move(array);
}

template <typename Record, typename... Rows> Tree treeOf(Record const &record, std::tuple<Rows...> const &rows)
{
    Tree tree = Tree::object();
    std::apply([&](auto const &...row) { (addRow(tree, record, row), ...); }, rows);
    return tree;
}

Tree treeOf(QVariant const &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QString:
        return treeOf(value.toString());
    case QMetaType::QVariantList: {
        Tree array = Tree::array();
        for (QVariant const &element : *static_cast<QVariantList const *>(value.constData()))
            array.push_back(treeOf(element));
        return array;
    }
    default: {
        Tree tree;
        visitRecord(value, [&tree](auto const &record, auto const &rows) { tree = treeOf(record, rows); });
        return tree;
    }
    }
}

// RapidJSON

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void writeKey(Writer &writer, std::string_view key)
{
    writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
}

void write(Writer &writer, QString const &text)
{
    QByteArray const utf8 = text.toUtf8();
    writer.String(utf8.constData(), static_cast<rapidjson::SizeType>(utf8.size()));
}

void write(Writer &writer, int number)
{
    writer.Int(number);
}

template <typename Number> void write(Writer &writer, std::optional<Number> const &number)
{
    if constexpr (std::is_floating_point_v<Number>)
        writer.Double(static_cast<double>(*number));
    else if constexpr (std::is_signed_v<Number>)
        writer.Int64(*number);
    else
        writer.Uint64(*number);
}

template <typename Record, typename... Rows>
void writeObject(Writer &writer, Record const &record, std::tuple<Rows...> const &rows);

void writeObject(Writer &writer, QString const &text, PlainText)
{
    write(writer, text);
}

void writeObject(Writer &writer, TextPair const &pair, NamedText)
{
    writer.StartObject();
    writeKey(writer, pair.first.toStdString());
    write(writer, pair.second);
    writer.EndObject();
}

template <typename Record, typename Value>
void writeRow(Writer &writer, Record const &record, Member<Record, Value> const &member)
{
    if (!member.isAlways && isUnset(record.*member.field))
        return;
    writeKey(writer, member.key);
    write(writer, record.*member.field);
}

template <typename Record, typename... Members>
void writeRow(Writer &writer, Record const &record, Group<Members...> const &group)
{
    writeKey(writer, group.key);
    writeObject(writer, record, group.members);
}

template <typename Record, typename Element, typename Form>
void writeRow(Writer &writer, Record const &record, List<Record, Element, Form> const &list)
{
    if ((record.*list.field).isEmpty())
        return;
    writeKey(writer, list.key);
    writer.StartArray();
    for (Element const &element : record.*list.field)
        writeObject(writer, element, list.form);
    writer.EndArray();
}

template <typename Record, typename... Rows>
void writeObject(Writer &writer, Record const &record, std::tuple<Rows...> const &rows)
{
    writer.StartObject();
    std::apply([&](auto const &...row) { (writeRow(writer, record, row), ...); }, rows);
    writer.EndObject();
}

void write(Writer &writer, QVariant const &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        writer.Bool(value.toBool());
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        writer.Int64(value.toLongLong());
        break;
    case QMetaType::Double:
        writer.Double(value.toDouble());
        break;
    case QMetaType::QString:
        write(writer, value.toString());
        break;
    case QMetaType::QVariantList:
        writer.StartArray();
        for (QVariant const &element : *static_cast<QVariantList const *>(value.constData()))
            write(writer, element);
        writer.EndArray();
        break;
    default:
        visitRecord(value, [&writer](auto const &record, auto const &rows) { writeObject(writer, record, rows); });
        break;
    }
}

template <typename Insert> void forEachProperty(EventType type, QList<Property> const &properties, Insert const &insert)
{
    for (Property property : properties)
        insert(property, propertyKeys.value(property));
    for (Property property : eventTable.constFind(type)->properties)
        insert(property, propertyKeys.value(property));
}

} // namespace

QByteArray serializeWithNlohmann(IPropertyProvider const &provider, AnalyticsEventData const &data,
                                 QList<Property> const &properties)
{
    Tree event = Tree::object();
    forEachProperty(data.type, properties, [&](Property property, QLatin1String key) {
        event[std::string(key.data(), static_cast<std::size_t>(key.size()))] = treeOf(provider.value(property, data));
    });
    return QByteArray::fromStdString(event.dump());
}

QByteArray serializeWithRapidJson(IPropertyProvider const &provider, AnalyticsEventData const &data,
                                  QList<Property> const &properties)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    forEachProperty(data.type, properties, [&](Property property, QLatin1String key) {
        writeKey(writer, {key.data(), static_cast<std::size_t>(key.size())});
        write(writer, provider.value(property, data));
    });
    writer.EndObject();
    return {buffer.GetString(), static_cast<qsizetype>(buffer.GetSize())};
}
