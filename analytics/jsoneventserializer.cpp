#include <analytics/jsoneventserializer.h>

#include <analytics/catalogueindex_p.h>
#include <analytics/diagnosticline_p.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsonwriter_p.h>
#include <analytics/recordtypes_p.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>

#include <algorithm>

namespace analytics {

// Values

namespace {

enum class Written {
    Nothing, ///< The value is null, or a record without members.
    Value,
    Undefined, ///< Not a value at all: Qt's JSON objects take a key away when they are given this for it.
};

} // namespace

/// A record without members is as good as none.
static Written writtenSince(qsizetype begin, JsonBuffer &out)
{
    if (out.size() - begin > 2)
        return Written::Value;
    out.truncate(begin);
    return Written::Nothing;
}

/// Writes a value of any type as the rules have it: in its plain form where Qt knows one, which goes into plainForm too
/// where that is given, else as the first record that it can be converted to.
static Written writeByTheRules(JsonBuffer &out, QVariant const &value, std::optional<QJsonValue> *plainForm)
{
    QJsonValue const plain = QJsonValue::fromVariant(value);
    if (plainForm)
        *plainForm = plain;
    if (plain.isUndefined())
        return Written::Undefined;
    if (!plain.isNull()) {
        QByteArray const array = QJsonDocument(QJsonArray{plain}).toJson(QJsonDocument::Compact);
        out.setEnd(json::writeLiteral(out.room(array.size()), QByteArrayView(array).sliced(1, array.size() - 2)));
        return Written::Value;
    }

    // Few values get here, and most of these are of a host's own types, so that there is time to look anew.
    qsizetype const begin = out.size();
    anyOf(registeredRecords.refresh(), [&out, &value](int index) {
        QMetaType const recordType = registeredRecords.type(index);
        if (!QMetaType::canConvert(value.metaType(), recordType))
            return false;
        if (value.metaType() == recordType)
            recordTypes[index].write(out, value.constData());
        else
            recordTypes[index].writeConverted(out, value, recordType);
        return true;
    });
    return writtenSince(begin, out);
}

static void writeInteger(JsonBuffer &out, qint64 number)
{
    out.setEnd(json::writeInteger(out.room(json::roomForNumber), number));
}

Q_ALWAYS_INLINE static void writeString(JsonBuffer &out, QString const &text)
{
    out.setEnd(json::writeString(out.room(json::roomForString(text)), text));
}

static void writeLiteral(JsonBuffer &out, QByteArrayView json)
{
    out.setEnd(json::writeLiteral(out.room(json.size()), json));
}

Q_NEVER_INLINE static Written writeOther(JsonBuffer &out, QVariant const &value, std::optional<QJsonValue> *plainForm);

/// Writes a value, which mostly is a string.
Q_ALWAYS_INLINE static Written write(JsonBuffer &out, QVariant const &value,
                                     std::optional<QJsonValue> *plainForm = nullptr)
{
    // The variant's public functions are calls into Qt, four for each value, and would cost as much as all the rest.
    QVariant::DataPtr const &held = value.data_ptr();
    if (held.is_null)
        return Written::Nothing;
    if (held.typeInterface()->typeId.loadRelaxed() != QMetaType::QString)
        return writeOther(out, value, plainForm);
    writeString(out, *static_cast<QString const *>(held.storage()));
    return Written::Value;
}

/// Writes a list, whose elements are written by a function that takes the buffer and the element.
template <typename List, typename Write> static void writeList(JsonBuffer &out, List const &list, Write writeElement)
{
    writeLiteral(out, "[");
    for (auto const &element : list) {
        writeElement(out, element);
        writeLiteral(out, ",");
    }
    out.setEnd(json::writeEndOfList(out.room(1)));
}

static Written writeOther(JsonBuffer &out, QVariant const &value, std::optional<QJsonValue> *plainForm)
{
    QVariant::DataPtr const &held = value.data_ptr();
    QMetaType const type = held.type();
    void const *const data = held.storage();

    // Types whose plain form is the same with every version of Qt and on every processor.
    switch (held.typeInterface()->typeId.loadRelaxed()) {
    case QMetaType::Bool:
        writeLiteral(out, *static_cast<bool const *>(data) ? "true" : "false");
        return Written::Value;
    case QMetaType::Int:
        writeInteger(out, *static_cast<int const *>(data));
        return Written::Value;
    case QMetaType::UInt:
        writeInteger(out, *static_cast<uint const *>(data));
        return Written::Value;
    case QMetaType::LongLong:
        writeInteger(out, *static_cast<qlonglong const *>(data));
        return Written::Value;
    case QMetaType::ULongLong:
        if (qulonglong const number = *static_cast<qulonglong const *>(data);
            number <= static_cast<qulonglong>(std::numeric_limits<qlonglong>::max()))
            writeInteger(out, static_cast<qlonglong>(number));
        else
            out.setEnd(json::writeNumber(out.room(json::roomForNumber), static_cast<double>(number)));
        return Written::Value;
    case QMetaType::Double:
        // One that is not finite has no plain form.
        if (double const number = *static_cast<double const *>(data); qIsFinite(number)) {
            out.setEnd(json::writeNumber(out.room(json::roomForNumber), number));
            return Written::Value;
        }
        break;
    case QMetaType::QStringList:
        writeList(out, *static_cast<QStringList const *>(data),
                  [](JsonBuffer &elements, QString const &element) { writeString(elements, element); });
        return Written::Value;
    case QMetaType::QVariantList:
        writeList(out, *static_cast<QVariantList const *>(data), [](JsonBuffer &elements, QVariant const &element) {
            if (write(elements, element) != Written::Value)
                writeLiteral(elements, "null");
        });
        return Written::Value;
    default:
        if (int const index = recordNames.indexOf(type.name()); index >= 0 && !leadsElsewhere(type, index)) {
            qsizetype const begin = out.size();
            recordTypes[index].write(out, data);
            return writtenSince(begin, out);
        }
        if (value.isNull()) // A pointer
            return Written::Nothing;
        break;
    }
    return writeByTheRules(out, value, plainForm);
}

// Events

namespace {

/// Whether a type is one of the numeric ones that are written without asking Qt for their plain form, int apart.
bool isNumber(int type)
{
    switch (type) {
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

/// The object of one event: its members as they come, put into the order of their keys at the end.
class EventObject
{
public:
    void insert(Property property, QVariant &&value)
    {
        unsigned const place = catalogue.placeOf(property);
        qsizetype const begin = m_bytes.size();
        if (Q_UNLIKELY(place == CatalogueIndex::noPlace)) {
            // Nobody will see it, but a host's converter is called all the same.
            write(m_bytes, value);
            m_bytes.truncate(begin);
            return;
        }

        m_bytes.setEnd(json::writeKey(m_bytes.room(json::roomForKey), catalogue.keyAt(place)));
        qsizetype const beginOfValue = m_bytes.size();
        bool const isInLine = property == Property::EventId || property == Property::EventCounter;
        Written const written = write(m_bytes, value, isInLine ? &m_plainForm : nullptr);

        if (written == Written::Value && !isEmptyFrom(beginOfValue)) {
            takeAway(place);
            m_members[place] = {begin, m_bytes.size() - begin};
            m_taken[place / 64] |= bitOf(place);
        } else {
            m_bytes.truncate(begin);
            if (written != Written::Undefined)
                return;
            takeAway(place);
        }
        if (isInLine)
            keepForLine(property, std::move(value));
    }

    /// The event's id if it is a string, otherwise an empty one.
    QString const &eventId() const { return m_eventId; }

    /// The event's counter if it is an integer that fits, otherwise 0.
    int eventCounter() const { return m_eventCounter; }

    QByteArray toJson() const
    {
        qsizetype const size = m_bytes.size() - m_replaced;
        if (size == 0)
            return QByteArrayLiteral("{}");

        QByteArray object(size + 1, Qt::Uninitialized);
        char *at = object.data();
        for (unsigned word = 0; word < wordCount; ++word) {
            for (quint64 taken = m_taken[word]; taken != 0; taken &= taken - 1) {
                Member const &next = m_members[word * 64 + qCountTrailingZeroBits(taken)];
                at = json::writeLiteral(at, {m_bytes.at(next.begin), next.size});
            }
        }
        json::writeObject(object.data(), at);
        return object;
    }

private:
    /// A key's bytes with its value's.
    struct Member
    {
        qsizetype begin;
        qsizetype size;
    };

    static constexpr unsigned wordCount = (CatalogueIndex::propertyCount + 63) / 64;

    static constexpr quint64 bitOf(unsigned place) { return Q_UINT64_C(1) << (place % 64); }

    /// Keeps what the diagnostic line shows. The bytes do not tell: a null among them may have been a number.
    Q_NEVER_INLINE void keepForLine(Property property, QVariant &&value)
    {
        // What is neither a string nor a number has no plain form, or has just been given one.
        int const type = value.metaType().id();
        if (property == Property::EventId) {
            m_eventId = type == QMetaType::QString ? std::move(*static_cast<QString *>(value.data()))
                                                   : m_plainForm.value_or(QJsonValue()).toString();
            if (!m_eventId.data_ptr().isMutable()) // Characters in foreign memory may be gone by then.
                m_eventId.detach();
        } else if (type == QMetaType::Int) {
            m_eventCounter = *static_cast<int const *>(value.constData());
        } else {
            m_eventCounter
                = (isNumber(type) ? QJsonValue::fromVariant(value) : m_plainForm.value_or(QJsonValue())).toInt(0);
        }
        m_plainForm.reset();
    }

    /// Of the values that begin like a string, a list or an object, the empty ones are those of two bytes.
    bool isEmptyFrom(qsizetype begin) const
    {
        char const first = *m_bytes.at(begin);
        return m_bytes.size() - begin == 2 && (first == '"' || first == '[' || first == '{');
    }

    /// Takes away the member that is in a place, if there is one.
    void takeAway(unsigned place)
    {
        if (m_taken[place / 64] & bitOf(place)) {
            m_replaced += m_members[place].size;
            m_taken[place / 64] &= ~bitOf(place);
        }
    }

    JsonBuffer m_bytes;
    std::optional<QJsonValue> m_plainForm;
    QString m_eventId;
    int m_eventCounter = 0;
    quint64 m_taken[wordCount] = {};
    qsizetype m_replaced = 0; // So many of the bytes are of members that have been taken away.
    Member m_members[CatalogueIndex::propertyCount];
};

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

    writeDiagnosticLine(object.eventId(), object.eventCounter());
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
