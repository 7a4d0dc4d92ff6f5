#pragma once

#include <analytics/recordwriter_p.h>

#include <QtCore/QMetaType>
#include <QtCore/QMutex>
#include <QtCore/QVariant>

#include <array>
#include <atomic>

/**
 * @file
 * @brief The types of records: their names, the index by name, and which of them are registered with Qt. Only
 * jsoneventserializer.cpp includes it.
 */

namespace analytics {

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
inline bool leadsElsewhere(QMetaType type, int index)
{
    if (QMetaType::hasRegisteredConverterFunction(type, stringType))
        return true;
    quint32 const before = (1u << index) - 1;
    return anyOf(registeredRecords.among(before), [type](int other) {
        return QMetaType::hasRegisteredConverterFunction(type, registeredRecords.type(other));
    });
}

} // namespace

} // namespace analytics
