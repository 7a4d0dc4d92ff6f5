#include "peers.h"

#include <analytics/catalogue_p.h>
#include <analytics/recordfields_p.h>

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

template <typename Record, typename Value> bool isWritten(Record const &record, Field<Record, Value> const &field)
{
    return field.whenEmpty == EmptyField::Written || !isUnset(record.*field.pointer);
}

template <typename Record, typename... Fields> bool isWritten(Record const &, FieldGroup<Fields...> const &)
{
    return true;
}

template <typename Record, typename Element, typename Form>
bool isWritten(Record const &record, ListField<Record, Element, Form> const &list)
{
    return !(record.*list.pointer).isEmpty();
}

template <typename... Records> struct RecordTypes
{
};

/// In the order in which a value is tried for them.
constexpr RecordTypes<Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule, Endpoints,
                      CpuInfo, MemoryInfo, HdmiInfo, PowerInfo, HardwareInfo, WifiInfo, MdiInfo, Etr290Info,
                      DecoderInfo, DashInfo, HlsInfo, BufferingInfo, MediaInfo, NcError, HttpError, SystemSettings,
                      Scte35, VerimatrixError, VmxErrors, MessageTarget>
    allRecords;

/// Calls the visitor for the record that a variant holds, found by its type's id.
template <typename... Records, typename Visitor>
void visitHeldRecord(QVariant const &value, Visitor const &visitor, RecordTypes<Records...>)
{
    using Visit = void (*)(QVariant const &, Visitor const &);
    static QHash<int, Visit> const visits
        = {{qMetaTypeId<Records>(), [](QVariant const &held, Visitor const &with) {
                with(*static_cast<Records const *>(held.constData()), fieldsOf<Records>);
            }}...};
    if (Visit const visit = visits.value(value.typeId()))
        visit(value, visitor);
}

/// Calls the visitor unless the record has no members.
template <typename Record, typename Visitor> void visitUnlessEmpty(Record const &record, Visitor const &visitor)
{
    bool const hasMembers
        = std::apply([&record](auto const &...row) { return (isWritten(record, row) || ...); }, fieldsOf<Record>);
    if (hasMembers)
        visitor(record, fieldsOf<Record>);
}

/// Returns whether the variant holds the record, or can be converted to it.
template <typename Record, typename Visitor>
bool visitRecordIf(QVariant const &value, QMetaType type, Visitor const &visitor)
{
    QMetaType const recordType = QMetaType::fromType<Record>();
    if (type == recordType)
        visitUnlessEmpty(*static_cast<Record const *>(value.constData()), visitor);
    else if (QMetaType::canConvert(type, recordType))
        visitUnlessEmpty(value.value<Record>(), visitor);
    else
        return false;
    return true;
}

/// Calls the visitor for the first record that a variant holds or can be converted to.
template <typename... Records, typename Visitor>
void visitFirstRecord(QVariant const &value, Visitor const &visitor, RecordTypes<Records...>)
{
    QMetaType const type = value.metaType();
    (visitRecordIf<Records>(value, type, visitor) || ...);
}

/// Calls the visitor with what a variant holds, and with the form that it is written in if it is a record or a list.
template <typename Visitor> void visit(QVariant const &value, Converters converters, Visitor const &visitor)
{
    if (converters == Converters::Honoured && value.isNull())
        return;
    switch (value.typeId()) {
    case QMetaType::Bool:
        visitor(value.toBool());
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        visitor(value.toLongLong());
        break;
    case QMetaType::Double:
        visitor(value.toDouble());
        break;
    case QMetaType::QString:
        visitor(*static_cast<QString const *>(value.constData()));
        break;
    case QMetaType::QVariantList:
        visitor(*static_cast<QVariantList const *>(value.constData()), converters);
        break;
    default:
        if (converters == Converters::Ignored)
            visitHeldRecord(value, visitor, allRecords);
        else if (QString const text = value.toString(); !text.isEmpty())
            visitor(text);
        else
            visitFirstRecord(value, visitor, allRecords);
        break;
    }
}

// What an event leaves out; records without members never come as far.

template <typename... Held> bool isEmpty(Held const &...)
{
    return false;
}

bool isEmpty(QString const &text)
{
    return text.isEmpty();
}

bool isEmpty(QVariantList const &list, Converters)
{
    return list.isEmpty();
}

// nlohmann::json

using Tree = nlohmann::json;

Tree treeOf(QString const &text)
{
    return text.toStdString();
}

template <typename Number> Tree treeOf(Number number)
{
    return number;
}

template <typename Number> Tree treeOf(std::optional<Number> const &number)
{
    return *number;
}

template <typename Record, typename... Rows> Tree treeOf(Record const &record, std::tuple<Rows...> const &rows);

Tree treeOf(QString const &text, AsString)
{
    return treeOf(text);
}

Tree treeOf(StringPair const &pair, AsSingletonObject)
{
    return {{pair.first.toStdString(), treeOf(pair.second)}};
}

template <typename Record, typename Value>
void addRow(Tree &tree, Record const &record, Field<Record, Value> const &field)
{
    if (isWritten(record, field))
        tree[std::string(field.key)] = treeOf(record.*field.pointer);
}

template <typename Record, typename... Fields>
void addRow(Tree &tree, Record const &record, FieldGroup<Fields...> const &group)
{
    tree[std::string(group.key)] = treeOf(record, group.fields);
}

template <typename Record, typename Element, typename Form>
void addRow(Tree &tree, Record const &record, ListField<Record, Element, Form> const &list)
{
    if (!isWritten(record, list))
        return;
    Tree array = Tree::array();
    for (Element const &element : record.*list.pointer)
        array.push_back(treeOf(element, list.elementForm));
    tree[std::string(list.key)] = std::move(array);
}

template <typename Record, typename... Rows> Tree treeOf(Record const &record, std::tuple<Rows...> const &rows)
{
    Tree tree = Tree::object();
    std::apply([&](auto const &...row) { (addRow(tree, record, row), ...); }, rows);
    return tree;
}

Tree treeOf(QVariantList const &list, Converters converters)
{
    Tree array = Tree::array();
    for (QVariant const &element : list) {
        Tree &tree = array.emplace_back(nullptr);
        visit(element, converters, [&tree](auto const &...held) { tree = treeOf(held...); });
    }
    return array;
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

template <typename Number> void write(Writer &writer, Number number)
{
    if constexpr (std::is_same_v<Number, bool>)
        writer.Bool(number);
    else if constexpr (std::is_floating_point_v<Number>)
        writer.Double(static_cast<double>(number));
    else if constexpr (std::is_signed_v<Number>)
        writer.Int64(number);
    else
        writer.Uint64(number);
}

template <typename Number> void write(Writer &writer, std::optional<Number> const &number)
{
    write(writer, *number);
}

template <typename Record, typename... Rows>
void write(Writer &writer, Record const &record, std::tuple<Rows...> const &rows);

void write(Writer &writer, QString const &text, AsString)
{
    write(writer, text);
}

void write(Writer &writer, StringPair const &pair, AsSingletonObject)
{
    writer.StartObject();
    writeKey(writer, pair.first.toStdString());
    write(writer, pair.second);
    writer.EndObject();
}

template <typename Record, typename Value>
void writeRow(Writer &writer, Record const &record, Field<Record, Value> const &field)
{
    if (!isWritten(record, field))
        return;
    writeKey(writer, field.key);
    write(writer, record.*field.pointer);
}

template <typename Record, typename... Fields>
void writeRow(Writer &writer, Record const &record, FieldGroup<Fields...> const &group)
{
    writeKey(writer, group.key);
    write(writer, record, group.fields);
}

template <typename Record, typename Element, typename Form>
void writeRow(Writer &writer, Record const &record, ListField<Record, Element, Form> const &list)
{
    if (!isWritten(record, list))
        return;
    writeKey(writer, list.key);
    writer.StartArray();
    for (Element const &element : record.*list.pointer)
        write(writer, element, list.elementForm);
    writer.EndArray();
}

template <typename Record, typename... Rows>
void write(Writer &writer, Record const &record, std::tuple<Rows...> const &rows)
{
    writer.StartObject();
    std::apply([&](auto const &...row) { (writeRow(writer, record, row), ...); }, rows);
    writer.EndObject();
}

void write(Writer &writer, QVariantList const &list, Converters converters)
{
    writer.StartArray();
    for (QVariant const &element : list) {
        bool hasValue = false;
        visit(element, converters, [&writer, &hasValue](auto const &...held) {
            write(writer, held...);
            hasValue = true;
        });
        if (!hasValue)
            writer.Null();
    }
    writer.EndArray();
}

/// Calls the function with the key of each value that is to be written, what it holds and the form of it.
template <typename Write>
void forEachMember(IPropertyProvider const &provider, AnalyticsEventData const &data, QList<Property> const &properties,
                   Converters converters, Write const &write)
{
    auto const writeValue = [&](Property property) {
        visit(provider.value(property, data), converters, [&](auto const &...held) {
            if (converters == Converters::Honoured && isEmpty(held...))
                return;
            QLatin1String const key = propertyKeys.value(property);
            write(std::string_view(key.data(), static_cast<std::size_t>(key.size())), held...);
        });
    };
    for (Property property : properties)
        writeValue(property);
    for (Property property : eventTable.constFind(data.type)->properties)
        writeValue(property);
}

} // namespace

QByteArray serializeWithNlohmann(IPropertyProvider const &provider, AnalyticsEventData const &data,
                                 QList<Property> const &properties, Converters converters)
{
    Tree event = Tree::object();
    forEachMember(provider, data, properties, converters,
                  [&event](std::string_view key, auto const &...held) { event[std::string(key)] = treeOf(held...); });
    return QByteArray::fromStdString(event.dump());
}

QByteArray serializeWithRapidJson(IPropertyProvider const &provider, AnalyticsEventData const &data,
                                  QList<Property> const &properties, Converters converters)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    forEachMember(provider, data, properties, converters, [&writer](std::string_view key, auto const &...held) {
        writeKey(writer, key);
        write(writer, held...);
    });
    writer.EndObject();
    return {buffer.GetString(), static_cast<qsizetype>(buffer.GetSize())};
}
