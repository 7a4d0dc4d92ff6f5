#pragma once

#include <analytics/qtinternals_p.h>
#include <analytics/recordwriter_p.h>

#include <QtCore/QMetaType>
#include <QtCore/QVariant>
#include <QtCore/QtAlgorithms>

#include <array>
#include <atomic>
#include <mutex>

/**
 * @file
 * @brief The record types: their names, an index by name, and which of them are registered with Qt. Only
 * jsoneventserializer.cpp includes this header.
 */

// One translation unit includes this header.
// NOLINTBEGIN(misc-definitions-in-headers)
namespace analytics {

template <typename Record> static void appendRecord(JsonBuffer &out, void const *data)
{
    static_assert(isDescribed<Record>, "this record has no fieldsOf<...> in recordfields_p.h");
    static_assert(isSorted(fieldsOf<Record>), "the fields of a record stand in the order of their keys, none twice");
    Record const &record = *static_cast<Record const *>(data);
    char *const begin = out.reserve(maxBytesOfObject(record, packedRowsOf<Record>) + json::maxBytesOfKey);
    out.commit(writeObject(begin, record, packedRowsOf<Record>));
}

/// Converts the value to the record. If the converter fails, the record is written as it is default-constructed.
template <typename Record>
[[gnu::cold]] static void appendConvertedRecord(JsonBuffer &out, QVariant const &value, QMetaType recordType)
{
    Record record{};
    QMetaType::convert(value.metaType(), value.constData(), recordType, &record);
    appendRecord<Record>(out, &record);
}

namespace {

struct RecordType
{
    std::string_view name;
    void (*append)(JsonBuffer &out, void const *record);
    void (*appendConverted)(JsonBuffer &out, QVariant const &value, QMetaType recordType);
};

template <typename Record> constexpr RecordType recordType(std::string_view name)
{
    return {name, appendRecord<Record>, appendConvertedRecord<Record>};
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
    ((isInOrder = isInOrder && recordTypes[i++].append == appendRecord<Record>), ...);
    return isInOrder;
}
static_assert(haveRows(PayloadRecords()), "recordTypes: a row for each of the PayloadRecords, in their order");

/// A set of record types: bit i stands for recordTypes[i].
using RecordTypeSet = quint32;
static_assert(recordTypeCount < 32, "more record types than RecordTypeSet has bits: make it a quint64");

/// The lowest index in a set that is not empty.
constexpr int firstOf(RecordTypeSet set)
{
    return static_cast<int>(qCountTrailingZeroBits(set));
}

constexpr RecordTypeSet withoutFirst(RecordTypeSet set)
{
    return set & (set - 1);
}

/// Finds a record type by its name, as Qt itself does. The library has no QMetaType::fromType<>() of the records: the
/// meta-type objects of 27 records would add 25 kB, a sixth of its size, and the host has its own.
class RecordTypeIndex
{
public:
    constexpr RecordTypeIndex()
    {
        for (std::size_t i = 0; i < recordTypeCount; ++i)
            m_slots[slotOf(recordTypes[i].name)] = static_cast<quint8>(i + 1);
    }

    /// The index among the recordTypes, or -1.
    int indexOf(std::string_view name) const
    {
        if (name.size() <= namespacePrefix.size())
            return -1;
        int const index = m_slots[slotOf(name)] - 1;
        return index >= 0 && recordTypes[index].name == name ? index : -1;
    }

    constexpr bool isComplete() const
    {
        for (std::size_t i = 0; i < recordTypeCount; ++i) {
            if (m_slots[slotOf(recordTypes[i].name)] != i + 1)
                return false;
        }
        return true;
    }

private:
    static constexpr std::size_t slotCount = 64;

    static constexpr std::size_t slotOf(std::string_view name)
    {
        auto const letter = [name](std::size_t at) { return static_cast<std::size_t>(static_cast<uchar>(name[at])); };
        return (5 * letter(namespacePrefix.size()) + 2 * letter(name.size() - 1) + name.size()) % slotCount;
    }

    std::array<quint8, slotCount> m_slots = {}; // The index plus 1; 0 in an empty slot.
};

constexpr RecordTypeIndex recordTypeIndex;
static_assert(recordTypeIndex.isComplete(),
              "two of the recordTypes have the same slot: try other factors in slotOf(), or more slots");

/**
 * @brief Knows which record types are registered with Qt.
 *
 * A host may register a converter from a record to another record at any time. If the other record is an earlier one
 * of the recordTypes, it is written instead of the record that the value holds. Qt answers for one pair of types at a
 * time, so each record in an event costs a look-up for each earlier record. A converter leads to a registered type, and
 * few hosts use all records: only the registered ones are looked up.
 *
 * RegistrationWatch tells when the set has to be refreshed. A record that was registered between two refreshes may be
 * noticed late if another type was unregistered meanwhile.
 */
class RegisteredRecordTypes
{
public:
    /// The record types of a set that are registered. A type that has been unregistered stays among them until the next
    /// refresh, and its id may belong to another type by then.
    RecordTypeSet registeredAmong(RecordTypeSet wanted)
    {
        if (wanted == 0)
            return 0;
        if (Q_UNLIKELY(m_watch.hasFired()))
            refresh();
        return m_registered.load(std::memory_order_acquire) & wanted;
    }

    /// Looks all record types up again. Returns those that are registered now, each under its own id.
    [[gnu::cold]] RecordTypeSet refresh()
    {
        // Without the lock a slower thread could overwrite a newer set with an older one. No test shows this: two
        // threads have to refresh while a third one registers a type.
        std::lock_guard<std::mutex> const lock(m_mutex);
        int const lowestFreeId = qtinternals::RegistrationWatch::lowestFreeId();
        RecordTypeSet registered = 0;
        for (std::size_t i = 0; i < recordTypeCount; ++i) {
            if (!isCurrent(i)) {
                std::string_view const name = recordTypes[i].name;
                QMetaType const found = QMetaType::fromName({name.data(), static_cast<qsizetype>(name.size())});
                if (!found.isValid())
                    continue;
                m_types[i].setId(found.id());
            }
            registered |= 1u << i;
        }
        // A thread that sees the set also sees the ids.
        m_registered.store(registered, std::memory_order_release);
        m_watch.arm(lowestFreeId);
        return registered;
    }

    /// A registered record type. Safe to look up a converter to it; to convert to it, only right after refresh().
    QMetaType type(int index) const { return m_types[index].type(); }

private:
    /// Whether the id still belongs to the record type.
    bool isCurrent(std::size_t index) const
    {
        int const id = m_types[index].id();
        // Qt warns of a free id.
        char const *const name = QMetaType::isRegistered(id) ? QMetaType(id).name() : nullptr;
        return name && recordTypes[index].name == name;
    }

    std::mutex m_mutex;
    std::atomic<RecordTypeSet> m_registered{0};
    qtinternals::RegistrationWatch m_watch;
    qtinternals::TypeById m_types[recordTypeCount];
};

RegisteredRecordTypes registeredRecordTypes;
QMetaType const stringType(QMetaType::QString);

/// Whether a converter is registered from a record to a string or to an earlier record: the value is then not written
/// as the record that it holds.
inline bool hasOverridingConverter(QMetaType type, int index)
{
    if (QMetaType::hasRegisteredConverterFunction(type, stringType))
        return true;
    RecordTypeSet const earlier = (1u << index) - 1;
    for (RecordTypeSet left = registeredRecordTypes.registeredAmong(earlier); left != 0; left = withoutFirst(left)) {
        if (QMetaType::hasRegisteredConverterFunction(type, registeredRecordTypes.type(firstOf(left))))
            return true;
    }
    return false;
}

} // namespace

} // namespace analytics
// NOLINTEND(misc-definitions-in-headers)
