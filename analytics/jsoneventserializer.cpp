#include <analytics/jsoneventserializer.h>

#include <analytics/catalogueindex_p.h>
#include <analytics/diagnosticline_p.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsonwriter_p.h>
#include <analytics/qtinternals_p.h>
#include <analytics/recordtypes_p.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>

#include <algorithm>

// Functions marked [[gnu::cold]] are compiled for size. Q_ALWAYS_INLINE and Q_NEVER_INLINE keep the code for strings,
// the most frequent values, inline in the function that inserts a property, and the code for other values out of it.

namespace analytics {

// Values

namespace {

enum class Written {
    Nothing, ///< The value is null, or a record without members.
    Value,
    Undefined, ///< QJsonValue::Undefined, which removes a member written earlier, as in QJsonObject::insert().
};

} // namespace

/// Rolls back a record without members, which counts as no value.
static Written keepUnlessEmpty(qsizetype begin, JsonBuffer &out)
{
    if (out.size() - begin > 2)
        return Written::Value;
    out.truncate(begin);
    return Written::Nothing;
}

static void appendInteger(JsonBuffer &out, qint64 number)
{
    out.commit(json::writeInteger(out.reserve(json::maxBytesOfNumber), number));
}

static void appendNumber(JsonBuffer &out, double number)
{
    out.commit(json::writeNumber(out.reserve(json::maxBytesOfNumber), number));
}

Q_ALWAYS_INLINE static void appendString(JsonBuffer &out, QString const &text)
{
    out.commit(json::writeString(out.reserve(json::maxBytesOfString(text)), text));
}

static void appendLiteral(JsonBuffer &out, QByteArrayView json)
{
    out.commit(json::writeLiteral(out.reserve(json.size()), json));
}

/// Appends a list. The function appends one element to the buffer.
template <typename List, typename Append>
static void appendList(JsonBuffer &out, List const &list, Append appendElement)
{
    appendLiteral(out, "[");
    for (auto const &element : list) {
        appendElement(out, element);
        appendLiteral(out, ",");
    }
    out.commit(json::closeList(out.reserve(1)));
}

/// Appends a value of any type: in the form that QJsonValue::fromVariant() gives it, or else as the first record that
/// the value converts to.
static Written appendGenericValue(JsonBuffer &out, QVariant const &value)
{
    QJsonValue const plain = QJsonValue::fromVariant(value);
    if (plain.isUndefined())
        return Written::Undefined;
    if (!plain.isNull()) {
        QByteArray const array = QJsonDocument(QJsonArray{plain}).toJson(QJsonDocument::Compact);
        appendLiteral(out, QByteArrayView(array).sliced(1, array.size() - 2));
        return Written::Value;
    }

    // Few values come here, so there is time for a refresh.
    for (RecordTypeSet left = registeredRecordTypes.refresh(); left != 0; left = withoutFirst(left)) {
        int const index = firstOf(left);
        QMetaType const recordType = registeredRecordTypes.type(index);
        if (!QMetaType::canConvert(value.metaType(), recordType))
            continue;
        qsizetype const begin = out.size();
        if (value.metaType() == recordType)
            recordTypes[index].append(out, value.constData());
        else
            recordTypes[index].appendConverted(out, value, recordType);
        return keepUnlessEmpty(begin, out);
    }
    return Written::Nothing;
}

Q_NEVER_INLINE static Written appendUncommonValue(JsonBuffer &out, QVariant const &value);

/// Appends a value of any type. Most values are strings.
Q_ALWAYS_INLINE static Written appendValue(JsonBuffer &out, QVariant const &value)
{
    qtinternals::VariantReader const held(value);
    if (held.isFlaggedNull())
        return Written::Nothing;
    if (held.typeId() != QMetaType::QString)
        return appendUncommonValue(out, value);
    appendString(out, *static_cast<QString const *>(held.data()));
    return Written::Value;
}

/// Appends a value that is not a string and not flagged as null.
static Written appendUncommonValue(JsonBuffer &out, QVariant const &value)
{
    qtinternals::VariantReader const held(value);
    void const *const data = held.data();

    // These types have the same form with every version of Qt and on every processor.
    switch (held.typeId()) {
    case QMetaType::Bool:
        appendLiteral(out, *static_cast<bool const *>(data) ? "true" : "false");
        return Written::Value;
    case QMetaType::Int:
        appendInteger(out, *static_cast<int const *>(data));
        return Written::Value;
    case QMetaType::UInt:
        appendInteger(out, *static_cast<uint const *>(data));
        return Written::Value;
    case QMetaType::LongLong:
        appendInteger(out, *static_cast<qlonglong const *>(data));
        return Written::Value;
    case QMetaType::ULongLong:
        if (qulonglong const number = *static_cast<qulonglong const *>(data);
            number <= static_cast<qulonglong>(std::numeric_limits<qlonglong>::max()))
            appendInteger(out, static_cast<qlonglong>(number));
        else
            appendNumber(out, static_cast<double>(number));
        return Written::Value;
    case QMetaType::Double:
        // Qt gives null for one that is not finite.
        if (double const number = *static_cast<double const *>(data); qIsFinite(number)) {
            appendNumber(out, number);
            return Written::Value;
        }
        break;
    case QMetaType::QStringList:
        appendList(out, *static_cast<QStringList const *>(data),
                   [](JsonBuffer &elements, QString const &element) { appendString(elements, element); });
        return Written::Value;
    case QMetaType::QVariantList:
        appendList(out, *static_cast<QVariantList const *>(data), [](JsonBuffer &elements, QVariant const &element) {
            if (appendValue(elements, element) != Written::Value)
                appendLiteral(elements, "null");
        });
        return Written::Value;
    default:
        if (int const index = recordTypeIndex.indexOf(held.type().name());
            index >= 0 && !hasOverridingConverter(held.type(), index)) {
            qsizetype const begin = out.size();
            recordTypes[index].append(out, data);
            return keepUnlessEmpty(begin, out);
        }
        if (value.isNull()) // A pointer.
            return Written::Nothing;
        break;
    }
    return appendGenericValue(out, value);
}

// Events

namespace {

/// The object of one event. Members are collected as they come; toJson() puts them into the order of their keys.
class EventObject
{
public:
    void insert(Property property, QVariant const &value)
    {
        unsigned const rank = catalogue.rankOf(property);
        qsizetype const begin = m_bytes.size();
        if (Q_UNLIKELY(rank == CatalogueIndex::noRank)) {
            // Nothing is written, but the value is encoded: a host notices whether its converter is called.
            appendValue(m_bytes, value);
            m_bytes.truncate(begin);
            return;
        }

        m_bytes.commit(json::writeKey(m_bytes.reserve(json::maxBytesOfKey), catalogue.keyAt(rank)));
        qsizetype const beginOfValue = m_bytes.size();
        Written const written = appendValue(m_bytes, value);

        if (written == Written::Value && !isEmptyFrom(beginOfValue)) {
            remove(rank);
            m_members[rank] = {begin, m_bytes.size() - begin};
            m_taken[rank / 64] |= bitOf(rank);
            if (Q_UNLIKELY(*m_bytes.at(beginOfValue) == 'n') && property == Property::EventCounter)
                m_notFiniteCounter = QJsonValue::fromVariant(value).toInt(0);
        } else {
            m_bytes.truncate(begin);
            if (written == Written::Undefined)
                remove(rank);
        }
    }

    /// The JSON of a property's value, or nothing if the object has no such member.
    QByteArrayView value(Property property) const
    {
        unsigned const rank = catalogue.rankOf(property);
        if (!has(rank))
            return {};
        Member const &member = m_members[rank];
        qsizetype const sizeOfKey = catalogue.keyAt(rank).size();
        return {m_bytes.at(member.begin + sizeOfKey), member.size - sizeOfKey};
    }

    /// The integer that the diagnostic line shows for a counter that is not finite. It is written as null, but Qt's
    /// toInt() returns some number for a NaN.
    int notFiniteCounter() const { return m_notFiniteCounter; }

    QByteArray toJson() const
    {
        qsizetype const size = m_bytes.size() - m_bytesRemoved;
        if (size == 0)
            return QByteArrayLiteral("{}");

        QByteArray object(size + 1, Qt::Uninitialized);
        char *cursor = object.data();
        for (unsigned word = 0; word < wordCount; ++word) {
            for (quint64 taken = m_taken[word]; taken != 0; taken &= taken - 1) {
                Member const &next = m_members[word * 64 + qCountTrailingZeroBits(taken)];
                cursor = json::writeLiteral(cursor, {m_bytes.at(next.begin), next.size});
            }
        }
        json::closeObject(object.data(), cursor);
        return object;
    }

private:
    /// The bytes of a key and its value.
    struct Member
    {
        qsizetype begin;
        qsizetype size;
    };

    static constexpr unsigned wordCount = (CatalogueIndex::propertyCount + 63) / 64;

    static constexpr quint64 bitOf(unsigned rank) { return Q_UINT64_C(1) << (rank % 64); }

    /// Whether the value from begin on is an empty string, list or object: "", [] and {} have two bytes.
    bool isEmptyFrom(qsizetype begin) const
    {
        char const first = *m_bytes.at(begin);
        return m_bytes.size() - begin == 2 && (first == '"' || first == '[' || first == '{');
    }

    bool has(unsigned rank) const { return m_taken[rank / 64] & bitOf(rank); }

    /// Removes the member whose key has the rank, if there is one.
    void remove(unsigned rank)
    {
        if (has(rank)) {
            m_bytesRemoved += m_members[rank].size;
            m_taken[rank / 64] &= ~bitOf(rank);
        }
    }

    JsonBuffer m_bytes;
    quint64 m_taken[wordCount] = {}; // A bit for each member, by the rank of its key.
    qsizetype m_bytesRemoved = 0; // The bytes of removed members stay in m_bytes.
    int m_notFiniteCounter = 0;
    Member m_members[CatalogueIndex::propertyCount];
};

/// Writes the diagnostic line with the id and the counter that the finished object has.
void logEvent(EventObject const &object)
{
    QVarLengthArray<QChar, 256> buffer;
    QStringView const id = textOf(object.value(Property::EventId), buffer);
    QByteArrayView const counter = object.value(Property::EventCounter);
    bool const isFinite = counter.isEmpty() || counter.front() != 'n';
    writeDiagnosticLine(id, isFinite ? intOf(counter) : object.notFiniteCounter());
}

} // namespace

JsonEventSerializer::~JsonEventSerializer() = default;

QByteArray JsonEventSerializer::serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                                          QList<Property> const &properties) const
{
    EventProperties const *const event = catalogue.event(data.type);
    if (!event)
        return {};

    EventObject object;
    for (Property property : properties)
        object.insert(property, provider->value(property, data));
    for (Property property : event->properties)
        object.insert(property, provider->value(property, data));

    logEvent(object);
    return object.toJson();
}

QByteArray JsonEventSerializer::pack(QList<QByteArray> const &events) const
{
    constexpr std::string_view head = "{\"events\":[";
    constexpr std::string_view tail = "]}";

    qsizetype size = static_cast<qsizetype>(head.size() + tail.size()) + std::max(events.size() - 1, qsizetype(0));
    for (QByteArray const &event : events)
        size += event.size();

    QByteArray package(size, Qt::Uninitialized);
    char *at = std::copy(head.begin(), head.end(), package.data());
    for (qsizetype i = 0; i < events.size(); ++i) {
        if (i > 0)
            *at++ = ',';
        at = std::copy(events.at(i).begin(), events.at(i).end(), at);
    }
    std::copy(tail.begin(), tail.end(), at);
    return package;
}

} // namespace analytics
