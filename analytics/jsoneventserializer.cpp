#include <analytics/jsoneventserializer.h>

#include <analytics/catalogue_p.h>
#include <analytics/diagnosticline_p.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsonwriter_p.h>
#include <analytics/recordwriter_p.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QMutex>

#include <algorithm>
#include <array>
#include <atomic>

namespace analytics {

// Records

template <typename Record> static void writeRecord(JsonBuffer &out, void const *data)
{
    static_assert(isDescribed<Record>, "this record has no members<...> in recordfields_p.h");
    static_assert(isSorted(members<Record>), "the members of a record stand in the order of their keys, none twice");
    Record const &record = *static_cast<Record const *>(data);
    char *const begin = out.room(maxBytes(record, members<Record>) + json::roomForKey);
    out.setEnd(write(begin, record, members<Record>));
}

/// A value that does not hold the record itself is converted; where the converter fails, the record stays as it began.
template <typename Record>
[[gnu::cold]] static void writeConverted(JsonBuffer &out, QVariant const &value, QMetaType recordType)
{
    Record record{};
    QMetaType::convert(value.metaType(), value.constData(), recordType, &record);
    writeRecord<Record>(out, &record);
}

namespace {

struct RecordType
{
    std::string_view name;
    void (*write)(JsonBuffer &out, void const *record);
    void (*writeConverted)(JsonBuffer &out, QVariant const &value, QMetaType recordType);
};

template <typename Record> constexpr RecordType recordType(std::string_view name)
{
    return {name, writeRecord<Record>, writeConverted<Record>};
}

constexpr std::string_view namespacePrefix = "analytics::";

constexpr RecordType recordTypes[] = {
    recordType<Channel>("analytics::Channel"),
    recordType<MediaItem>("analytics::MediaItem"),
    recordType<PurchaseVariant>("analytics::PurchaseVariant"),
    recordType<NetworkInfo>("analytics::NetworkInfo"),
    recordType<NetworkInterface>("analytics::NetworkInterface"),
    recordType<MemoryModule>("analytics::MemoryModule"),
    recordType<Endpoints>("analytics::Endpoints"),
    recordType<CpuInfo>("analytics::CpuInfo"),
    recordType<MemoryInfo>("analytics::MemoryInfo"),
    recordType<HdmiInfo>("analytics::HdmiInfo"),
    recordType<PowerInfo>("analytics::PowerInfo"),
    recordType<HardwareInfo>("analytics::HardwareInfo"),
    recordType<WifiInfo>("analytics::WifiInfo"),
    recordType<MdiInfo>("analytics::MdiInfo"),
    recordType<Etr290Info>("analytics::Etr290Info"),
    recordType<DecoderInfo>("analytics::DecoderInfo"),
    recordType<DashInfo>("analytics::DashInfo"),
    recordType<HlsInfo>("analytics::HlsInfo"),
    recordType<BufferingInfo>("analytics::BufferingInfo"),
    recordType<MediaInfo>("analytics::MediaInfo"),
    recordType<NcError>("analytics::NcError"),
    recordType<HttpError>("analytics::HttpError"),
    recordType<SystemSettings>("analytics::SystemSettings"),
    recordType<Scte35>("analytics::Scte35"),
    recordType<VerimatrixError>("analytics::VerimatrixError"),
    recordType<VmxErrors>("analytics::VmxErrors"),
    recordType<MessageTarget>("analytics::MessageTarget"),
};
constexpr std::size_t recordTypeCount = std::size(recordTypes);

template <typename... Record> constexpr bool haveRows(RecordList<Record...>)
{
    bool isInOrder = recordTypeCount == sizeof...(Record);
    std::size_t i = 0;
    ((isInOrder = isInOrder && recordTypes[i++].write == writeRecord<Record>), ...);
    return isInOrder;
}
static_assert(haveRows(PayloadRecords()), "recordTypes: a row for each of the PayloadRecords, in their order");
static_assert(recordTypeCount < 32, "more records than the bits of a quint32: take a quint64 for the sets of records");

/// Finds a record type by its name, which is by what Qt itself tells types apart. Here are no meta-type objects of the
/// records: a host has its own, and those of 27 records are a tenth of the library.
class RecordNames
{
public:
    constexpr RecordNames()
    {
        for (std::size_t i = 0; i < recordTypeCount; ++i)
            m_places[placeOf(recordTypes[i].name)] = static_cast<quint8>(i + 1);
    }

    /// The index among the record types, or -1.
    int indexOf(std::string_view name) const
    {
        if (name.size() <= namespacePrefix.size())
            return -1;
        int const index = m_places[placeOf(name)] - 1;
        return index >= 0 && recordTypes[index].name == name ? index : -1;
    }

    constexpr bool isComplete() const
    {
        for (std::size_t i = 0; i < recordTypeCount; ++i) {
            if (m_places[placeOf(recordTypes[i].name)] != i + 1)
                return false;
        }
        return true;
    }

private:
    static constexpr std::size_t placeCount = 64;

    static constexpr std::size_t placeOf(std::string_view name)
    {
        auto const letter = [name](std::size_t at) { return static_cast<std::size_t>(static_cast<uchar>(name[at])); };
        return (5 * letter(namespacePrefix.size()) + 2 * letter(name.size() - 1) + name.size()) % placeCount;
    }

    std::array<quint8, placeCount> m_places = {};
};

constexpr RecordNames recordNames;
static_assert(recordNames.isComplete(),
              "two of the recordTypes share a place: try other factors in placeOf(), or more places");

/**
 * @brief Knows which record types are registered with Qt.
 *
 * A host may register a converter from a record to another record at any time, and where that one stands earlier in the
 * order, it is written instead. Qt can only be asked for one pair at a time, so every record in an event costs a
 * look-up for each record before it. But a converter leads to a registered type, and few hosts use all records: only
 * what is registered is looked for.
 *
 * Qt gives a new type the lowest free number. As long as the number that was the lowest is free, nothing has been
 * registered, unless a number below has been given back: a record that has been registered under that one since is
 * found by the next refresh() only.
 */
class RegisteredRecords
{
public:
    /// Those of some record types that are registered; both have one bit for each type, by its index. A type that has
    /// been taken back stays among them until the next refresh(), with a number that may be
    /// another type's by now.
    quint32 among(quint32 wanted)
    {
        if (wanted == 0)
            return 0;
        if (Q_UNLIKELY(QMetaType::isRegistered(m_lowestFree.load(std::memory_order_acquire))))
            refresh();
        return m_mask.load(std::memory_order_acquire) & wanted;
    }

    /// Looks anew. Returns all record types that are registered now, each under its own number.
    [[gnu::cold]] quint32 refresh()
    {
        // One at a time, or one that has seen less might have the last word. No test can tell: it takes two threads
        // that refresh while a third one registers a type.
        QMutexLocker const lock(&m_mutex);
        // Before the types: one that is registered meanwhile takes this number, and is noticed by it.
        int lowestFree = firstTypeId;
        while (QMetaType::isRegistered(lowestFree))
            ++lowestFree;
        quint32 mask = 0;
        for (std::size_t i = 0; i < recordTypeCount; ++i) {
            if (!isCurrent(i)) {
                std::string_view const name = recordTypes[i].name;
                QMetaType const registered = QMetaType::fromName({name.data(), static_cast<qsizetype>(name.size())});
                if (!registered.isValid())
                    continue;
                m_types[i].typeId.storeRelaxed(registered.id());
            }
            mask |= 1u << i;
        }
        // A thread that sees the number sees the mask, and with the mask the types.
        m_mask.store(mask, std::memory_order_release);
        m_lowestFree.store(lowestFree, std::memory_order_release);
        return mask;
    }

    /// The type of a record that is registered; good for look-ups, and for conversions right after refresh().
    QMetaType type(int index) const { return QMetaType(&m_types[index]); }

private:
    static constexpr int firstTypeId = QMetaType::User + 1;

    /// Whether a type's number is still its own.
    bool isCurrent(std::size_t index) const
    {
        int const id = m_types[index].typeId.loadRelaxed();
        // Qt warns of a number that is free.
        char const *const name = QMetaType::isRegistered(id) ? QMetaType(id).name() : nullptr;
        return name && recordTypes[index].name == name;
    }

    QBasicMutex m_mutex;
    std::atomic<quint32> m_mask{0};
    std::atomic<int> m_lowestFree{firstTypeId};
    // Nothing but ids, in the form in which Qt takes them: the registered objects may be in a plug-in that has gone
    // since.
    QtPrivate::QMetaTypeInterface m_types[recordTypeCount] = {};
};

RegisteredRecords registeredRecords;
QMetaType const stringType(QMetaType::QString);

/// Calls a function with the index of each bit, lowest first, until one returns true. Returns whether one did.
template <typename Function> bool anyOf(quint32 mask, Function function)
{
    for (; mask != 0; mask &= mask - 1) {
        if (function(static_cast<int>(qCountTrailingZeroBits(mask))))
            return true;
    }
    return false;
}

/// Whether a converter leads from a record to a string or to a record that stands before it.
bool leadsElsewhere(QMetaType type, int index)
{
    if (QMetaType::hasRegisteredConverterFunction(type, stringType))
        return true;
    quint32 const before = (1u << index) - 1;
    return anyOf(registeredRecords.among(before), [type](int other) {
        return QMetaType::hasRegisteredConverterFunction(type, registeredRecords.type(other));
    });
}

// Values

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

/// The catalogue as the serializer reads it. The keys have the order in which Qt's JSON objects keep them, so that an
/// event's members can be put into their places without a comparison.
class CatalogueIndex
{
public:
    static constexpr int propertyCount = endOf(propertyKeyRows, &PropertyKeyRow::property);
    static constexpr int eventTypeCount = endOf(eventRows, &EventRow::type);
    static constexpr unsigned noPlace = 0xff;
    static_assert(propertyCount <= int(noPlace), "a place no longer fits its quint8");

    [[gnu::cold]] CatalogueIndex()
    {
        for (auto it = eventTable.begin(); it != eventTable.end(); ++it)
            m_events[static_cast<int>(it.key())] = &*it;

        QLatin1String keys[propertyCount];
        QLatin1String *end = keys;
        for (QLatin1String key : propertyKeys) {
            QLatin1String *const at = std::lower_bound(keys, end, key);
            if (at == end || *at != key) {
                std::copy_backward(at, end, end + 1);
                *at = key;
                ++end;
            }
        }
        std::transform(keys, end, m_keys, [](QLatin1String key) {
            return json::Key({key.data(), static_cast<std::size_t>(key.size())});
        });

        std::fill(std::begin(m_places), std::end(m_places), quint8(noPlace));
        for (auto it = propertyKeys.begin(); it != propertyKeys.end(); ++it)
            m_places[static_cast<int>(it.key())] = static_cast<quint8>(std::lower_bound(keys, end, *it) - keys);
    }

    /// An event's entry, or null for a type that has none.
    EventProperties const *event(EventType type) const
    {
        auto const index = static_cast<unsigned>(type);
        return index < eventTypeCount ? m_events[index] : nullptr;
    }

    /// The place of a property's key, or noPlace for a property that has none.
    unsigned placeOf(Property property) const
    {
        auto const index = static_cast<unsigned>(property);
        return index < propertyCount ? m_places[index] : noPlace;
    }

    json::Key const &keyAt(unsigned place) const { return m_keys[place]; }

private:
    EventProperties const *m_events[eventTypeCount] = {};
    json::Key m_keys[propertyCount];
    quint8 m_places[propertyCount];
};

CatalogueIndex const catalogue;

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
