#include "support.h"

#include <analytics/records.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <QtTest/QTest>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

using namespace analytics;

using Text = QString;
using Texts = QStringList;
using Pairs = QList<std::pair<QString, QString>>;
using Int = std::optional<int>;
using Int8 = std::optional<qint8>;
using Int16 = std::optional<qint16>;
using Int32 = std::optional<qint32>;
using Int64 = std::optional<qint64>;
using UInt16 = std::optional<quint16>;
using UInt32 = std::optional<quint32>;
using UInt64 = std::optional<quint64>;
using Float = std::optional<float>;

/// A record with something in every field, no two alike.
template <typename Record> static Record full();

// clang-format off
template <> Channel full() { return {1, 2}; }
template <> MediaItem full() { return {3, 4}; }
template <> MediaInfo full() { return {text("vc"), text("ac"), text("st"), 6, 1920, 1080, 29.97f}; }
template <> DecoderInfo full() { return {1, 2, 3, 4, 5, std::numeric_limits<qint64>::max()}; }
template <> DashInfo full() { return {7, 8, 9}; }
template <> HlsInfo full() { return {10, 11, 12, 13, 14}; }
template <> BufferingInfo full() { return {15, 16, 17}; }
template <> Etr290Info full() { return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, std::numeric_limits<quint64>::max()}; }
template <> MdiInfo full() { return {18, 19}; }
template <> Scte35 full() { return {20, 21}; }
template <> MessageTarget full() { return {text("ty"), text("ti"), 1, 2, 3, 4, 5, 6, 7, 8, 9, text("sn"), text("ct"), text("mit"), text("n"), 10, 11, 12, text("u"), text("a")}; }
template <> PurchaseVariant full() { return {1, 2, text("ct"), text("cu"), 3, text("um"), text("ty"), 4, 5}; }
template <> CpuInfo full() { return {-1, 2, 3, 4, 5}; }
template <> MemoryInfo full() { return {1, 2, 3, 4, 5, std::numeric_limits<quint32>::max(), 7, 8}; }
template <> MemoryModule full() { return {text("mt"), 4, text("mi")}; }
template <> HardwareInfo full() { return {text("ma"), text("mo"), text("pl"), text("hr"), {full<MemoryModule>(), {}}}; }
template <> HdmiInfo full() { return {text("tn"), text("po"), text("co")}; }
template <> WifiInfo full() { return {text("ss"), text("bs"), -70, 5180, 866, text("ge")}; }
template <> PowerInfo full() { return {text("ps"), 60, text("cc")}; }
template <> SystemSettings full() { return {text("ur"), text("fs"), text("rl"), -5, text("am"), text("ad"), {{text("on"), text("om")}, {}}, text("br"), text("bt"), text("pb"), text("cc")}; }
template <> NetworkInfo full() { return {text("in"), text("im"), text("ma"), 1000, text("du"), 2, 3, 4, 5, 6, 7, 8}; }
template <> DhcpOption full() { return {qint32(1), QStringLiteral("x")}; }
template <> NetworkInterface full() { return {text("in"), text("st"), text("ma"), text("im"), text("i4"), text("nm"), text("gw"), text("i6"), {full<DhcpOption>(), {}}, {text("d1"), text("d2")}}; }
template <> Endpoints full() { return {text("a"), text("w"), text("s"), text("i"), text("p")}; }
template <> NcError full() { return {text("au"), text("GET"), text("/p"), {{text("n"), text("v")}, {}}, text("dm"), 503, -9}; }
template <> HttpError full() { return {text("GET"), text("uri"), 404}; }
template <> VerimatrixError full() { return {text("cmd"), -3, 4, 5, 6}; }
template <> VmxErrors full() { return {7, {full<VerimatrixError>(), {}}}; }
// clang-format on

template <typename T> static bool isEmpty(std::optional<T> const &value)
{
    return !value.has_value();
}
template <typename T> static bool isEmpty(QList<T> const &value)
{
    return value.isEmpty();
}
static bool isEmpty(QString const &value)
{
    return value.isEmpty();
}
static bool isEmpty(int value)
{
    return value == 0;
}

template <typename T> static bool same(T const &a, T const &b)
{
    return a == b;
}

static bool same(MemoryModule const &a, MemoryModule const &b)
{
    return a.memType == b.memType && a.memSize == b.memSize && a.memInfo == b.memInfo;
}

static bool same(DhcpOption const &a, DhcpOption const &b)
{
    return a.code == b.code && a.value == b.value;
}

static bool same(VerimatrixError const &a, VerimatrixError const &b)
{
    return a.command == b.command && a.errorCode == b.errorCode && a.activityCode == b.activityCode
        && a.moduleCode == b.moduleCode && a.errorCount == b.errorCount;
}

template <typename T> static bool same(QList<T> const &a, QList<T> const &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](T const &x, T const &y) { return same(x, y); });
}

/// A record as `Record record;` leaves it, in memory that was not zero before.
template <typename Record> class Uninitialized
{
public:
    Uninitialized()
    {
        std::memset(memory, 0xa5, sizeof memory);
        record = new (memory) Record;
    }
    ~Uninitialized() { record->~Record(); }
    Q_DISABLE_COPY_MOVE(Uninitialized)

    Record const &operator*() const { return *record; }

private:
    alignas(Record) unsigned char memory[sizeof(Record)];
    Record *record;
};

class RecordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaType_data();
    void metaType();
    void fields_data();
    void fields();
    void noOtherRecordIsAnError_data();
    void noOtherRecordIsAnError();
    void valueTypes();

private:
    template <typename Record> void addRecord(char const *name);
    template <typename Type, typename Record> void addField(char const *name, Type Record::*field);

    QStringList added;
    QMetaType lastRecord;
    qptrdiff lastOffset = -1;
};

template <typename Record> void RecordsTest::addRecord(char const *name)
{
    static_assert(std::is_default_constructible_v<Record> && std::is_destructible_v<Record>);
    static_assert(std::is_copy_constructible_v<Record> && std::is_copy_assignable_v<Record>);
    static_assert(std::is_move_constructible_v<Record> && std::is_move_assignable_v<Record>);
    QTest::newRow(name) << QVariant::fromValue(full<Record>());
    added.append(QString::fromLatin1(name));
}

/// The records of records.h, in their order there.
static QStringList declared()
{
    QFile file(QStringLiteral(RECORDS));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read", RECORDS);
    QString const text = QString::fromUtf8(file.readAll());
    QStringList names;
    for (QRegularExpressionMatch const &match :
         QRegularExpression(QStringLiteral("Q_DECLARE_METATYPE\\((.*)\\)")).globalMatch(text))
        names.append(match.captured(1));
    return names;
}

/// Adds a row for a field. A pointer to a member converts to no other type: this compiles for the exact type only.
template <typename Type, typename Record> void RecordsTest::addField(char const *name, Type Record::*field)
{
    Record const record = full<Record>();
    auto const taken = qvariant_cast<Record>(QVariant::fromValue(record));

    QMetaType const recordType = QMetaType::fromType<Record>();
    qptrdiff const offset = reinterpret_cast<char const *>(&(record.*field)) - reinterpret_cast<char const *>(&record);
    bool const inOrder = recordType != lastRecord || offset > lastOffset;
    lastRecord = recordType;
    lastOffset = offset;

    QTest::newRow(name) << isEmpty(*Uninitialized<Record>().*field) << isEmpty(Record{}.*field)
                        << isEmpty(record.*field) << same(taken.*field, record.*field) << inOrder;
}

void RecordsTest::metaType_data()
{
    QTest::addColumn<QVariant>("record");

    addRecord<Channel>("analytics::Channel");
    addRecord<MediaItem>("analytics::MediaItem");
    addRecord<PurchaseVariant>("analytics::PurchaseVariant");
    addRecord<NetworkInfo>("analytics::NetworkInfo");
    addRecord<NetworkInterface>("analytics::NetworkInterface");
    addRecord<Endpoints>("analytics::Endpoints");
    addRecord<CpuInfo>("analytics::CpuInfo");
    addRecord<MemoryInfo>("analytics::MemoryInfo");
    addRecord<MemoryModule>("analytics::MemoryModule");
    addRecord<HardwareInfo>("analytics::HardwareInfo");
    addRecord<HdmiInfo>("analytics::HdmiInfo");
    addRecord<WifiInfo>("analytics::WifiInfo");
    addRecord<MdiInfo>("analytics::MdiInfo");
    addRecord<DecoderInfo>("analytics::DecoderInfo");
    addRecord<DashInfo>("analytics::DashInfo");
    addRecord<HlsInfo>("analytics::HlsInfo");
    addRecord<BufferingInfo>("analytics::BufferingInfo");
    addRecord<NcError>("analytics::NcError");
    addRecord<SystemSettings>("analytics::SystemSettings");
    addRecord<Scte35>("analytics::Scte35");
    addRecord<VerimatrixError>("analytics::VerimatrixError");
    addRecord<VmxErrors>("analytics::VmxErrors");
    addRecord<MessageTarget>("analytics::MessageTarget");
    addRecord<HttpError>("analytics::HttpError");
    addRecord<MediaInfo>("analytics::MediaInfo");
    addRecord<Etr290Info>("analytics::Etr290Info");
    addRecord<PowerInfo>("analytics::PowerInfo");
    // Who appends a record to records.h learns here what else it needs: the rows above and below ask for the rest.
    QCOMPARE(added, declared());
}

void RecordsTest::metaType()
{
    QFETCH(QVariant, record);
    QMetaType const type = record.metaType();

    QCOMPARE(QByteArray(type.name()), QByteArray(QTest::currentDataTag()));
    QVERIFY(QMetaType::fromName(QTest::currentDataTag()) == type);
    QVERIFY2(!encoded(record).isEmpty(), "the library writes no such payload: give it its row in recordTypes");
    QVERIFY(type.id() > QMetaType::User);

    void *const empty = type.create();
    QVERIFY(empty != nullptr);
    type.destroy(empty);
    void *const copy = type.create(record.constData());
    QVERIFY(copy != nullptr);
    type.destroy(copy);

    QVERIFY(!type.isEqualityComparable());
    QVERIFY(!type.isOrdered());
    QVERIFY(!type.hasRegisteredDebugStreamOperator());
    QVERIFY(!type.hasRegisteredDataStreamOperators());
}

void RecordsTest::fields_data()
{
    QTest::addColumn<bool>("emptyInDefault");
    QTest::addColumn<bool>("emptyInBraces");
    QTest::addColumn<bool>("emptyInFull");
    QTest::addColumn<bool>("keptInVariant");
    QTest::addColumn<bool>("inOrder");

    lastRecord = QMetaType();
    // clang-format off
    addField<Int64>                 ("Channel::channelId", &Channel::channelId);
    addField<Int64>                 ("Channel::programId", &Channel::programId);
    addField<Int64>                 ("MediaItem::mediaItemId", &MediaItem::mediaItemId);
    addField<Int64>                 ("MediaItem::assetId", &MediaItem::assetId);
    addField<Text>                  ("MediaInfo::videoCodec", &MediaInfo::videoCodec);
    addField<Text>                  ("MediaInfo::audioCodec", &MediaInfo::audioCodec);
    addField<Text>                  ("MediaInfo::videoScanType", &MediaInfo::videoScanType);
    addField<Int>                   ("MediaInfo::audioChannels", &MediaInfo::audioChannels);
    addField<Int>                   ("MediaInfo::videoWidth", &MediaInfo::videoWidth);
    addField<Int>                   ("MediaInfo::videoHeight", &MediaInfo::videoHeight);
    addField<Float>                 ("MediaInfo::videoFrameRate", &MediaInfo::videoFrameRate);
    addField<Int64>                 ("DecoderInfo::videoFramesDecoded", &DecoderInfo::videoFramesDecoded);
    addField<Int64>                 ("DecoderInfo::videoDecodeErrors", &DecoderInfo::videoDecodeErrors);
    addField<Int64>                 ("DecoderInfo::videoDataErrors", &DecoderInfo::videoDataErrors);
    addField<Int64>                 ("DecoderInfo::audioFramesDecoded", &DecoderInfo::audioFramesDecoded);
    addField<Int64>                 ("DecoderInfo::audioDecodeErrors", &DecoderInfo::audioDecodeErrors);
    addField<Int64>                 ("DecoderInfo::audioDataErrors", &DecoderInfo::audioDataErrors);
    addField<Int64>                 ("DashInfo::dashProfileSwitches", &DashInfo::dashProfileSwitches);
    addField<Int64>                 ("DashInfo::dashPlaylistErrors", &DashInfo::dashPlaylistErrors);
    addField<Int64>                 ("DashInfo::dashSegmentErrors", &DashInfo::dashSegmentErrors);
    addField<Int64>                 ("HlsInfo::hlsProfileSwitches", &HlsInfo::hlsProfileSwitches);
    addField<Int64>                 ("HlsInfo::hlsMasterPlaylistErrors", &HlsInfo::hlsMasterPlaylistErrors);
    addField<Int64>                 ("HlsInfo::hlsMediaPlaylistErrors", &HlsInfo::hlsMediaPlaylistErrors);
    addField<Int64>                 ("HlsInfo::hlsMediaSegmentErrors", &HlsInfo::hlsMediaSegmentErrors);
    addField<Int64>                 ("HlsInfo::hlsDiscontinuities", &HlsInfo::hlsDiscontinuities);
    addField<Int64>                 ("BufferingInfo::bufferingEvents", &BufferingInfo::bufferingEvents);
    addField<Int64>                 ("BufferingInfo::bufferingSeconds", &BufferingInfo::bufferingSeconds);
    addField<Int64>                 ("BufferingInfo::bufferingMs", &BufferingInfo::bufferingMs);
    addField<UInt64>                ("Etr290Info::tsSyncLoss", &Etr290Info::tsSyncLoss);
    addField<UInt64>                ("Etr290Info::syncByteError", &Etr290Info::syncByteError);
    addField<UInt64>                ("Etr290Info::patError", &Etr290Info::patError);
    addField<UInt64>                ("Etr290Info::continuityCountError", &Etr290Info::continuityCountError);
    addField<UInt64>                ("Etr290Info::pmtError", &Etr290Info::pmtError);
    addField<UInt64>                ("Etr290Info::pidError", &Etr290Info::pidError);
    addField<UInt64>                ("Etr290Info::ccErrorVideo", &Etr290Info::ccErrorVideo);
    addField<UInt64>                ("Etr290Info::ccErrorAudio", &Etr290Info::ccErrorAudio);
    addField<UInt64>                ("Etr290Info::pidErrorVideo", &Etr290Info::pidErrorVideo);
    addField<UInt64>                ("Etr290Info::pidErrorAudio", &Etr290Info::pidErrorAudio);
    addField<UInt64>                ("Etr290Info::pidErrorSubtitles", &Etr290Info::pidErrorSubtitles);
    addField<UInt64>                ("Etr290Info::pidErrorTeletext", &Etr290Info::pidErrorTeletext);
    addField<UInt64>                ("Etr290Info::pidErrorEcm", &Etr290Info::pidErrorEcm);
    addField<UInt64>                ("MdiInfo::mlr", &MdiInfo::mlr);
    addField<UInt64>                ("MdiInfo::df", &MdiInfo::df);
    addField<Int64>                 ("Scte35::spliceEventId", &Scte35::spliceEventId);
    addField<Int64>                 ("Scte35::splicePtsTime", &Scte35::splicePtsTime);
    addField<Text>                  ("MessageTarget::type", &MessageTarget::type);
    addField<Text>                  ("MessageTarget::title", &MessageTarget::title);
    addField<Int64>                 ("MessageTarget::id", &MessageTarget::id);
    addField<Int64>                 ("MessageTarget::categoryId", &MessageTarget::categoryId);
    addField<Int64>                 ("MessageTarget::collectionId", &MessageTarget::collectionId);
    addField<Int64>                 ("MessageTarget::genreId", &MessageTarget::genreId);
    addField<Int64>                 ("MessageTarget::channelId", &MessageTarget::channelId);
    addField<Int64>                 ("MessageTarget::ncChannelId", &MessageTarget::ncChannelId);
    addField<Int64>                 ("MessageTarget::programId", &MessageTarget::programId);
    addField<Int64>                 ("MessageTarget::epgId", &MessageTarget::epgId);
    addField<Int64>                 ("MessageTarget::originalId", &MessageTarget::originalId);
    addField<Text>                  ("MessageTarget::screenName", &MessageTarget::screenName);
    addField<Text>                  ("MessageTarget::contentType", &MessageTarget::contentType);
    addField<Text>                  ("MessageTarget::mediaItemType", &MessageTarget::mediaItemType);
    addField<Text>                  ("MessageTarget::name", &MessageTarget::name);
    addField<Int64>                 ("MessageTarget::typeId", &MessageTarget::typeId);
    addField<Int64>                 ("MessageTarget::tabId", &MessageTarget::tabId);
    addField<Int64>                 ("MessageTarget::themeId", &MessageTarget::themeId);
    addField<Text>                  ("MessageTarget::url", &MessageTarget::url);
    addField<Text>                  ("MessageTarget::alias", &MessageTarget::alias);
    addField<Int64>                 ("PurchaseVariant::serviceId", &PurchaseVariant::serviceId);
    addField<Int64>                 ("PurchaseVariant::contentId", &PurchaseVariant::contentId);
    addField<Text>                  ("PurchaseVariant::contentType", &PurchaseVariant::contentType);
    addField<Text>                  ("PurchaseVariant::currency", &PurchaseVariant::currency);
    addField<Int64>                 ("PurchaseVariant::purchaseCost", &PurchaseVariant::purchaseCost);
    addField<Text>                  ("PurchaseVariant::usageModel", &PurchaseVariant::usageModel);
    addField<Text>                  ("PurchaseVariant::type", &PurchaseVariant::type);
    addField<Int64>                 ("PurchaseVariant::priceId", &PurchaseVariant::priceId);
    addField<Int64>                 ("PurchaseVariant::compositeComponentId", &PurchaseVariant::compositeComponentId);
    addField<Int16>                 ("CpuInfo::cpuTemperature", &CpuInfo::cpuTemperature);
    addField<Int16>                 ("CpuInfo::cpuAverageLoad", &CpuInfo::cpuAverageLoad);
    addField<Int16>                 ("CpuInfo::cpuMaxLoad", &CpuInfo::cpuMaxLoad);
    addField<Int16>                 ("CpuInfo::cpuCores", &CpuInfo::cpuCores);
    addField<Int16>                 ("CpuInfo::sysClockFreqMhz", &CpuInfo::sysClockFreqMhz);
    addField<Int>                   ("MemoryInfo::memTotal", &MemoryInfo::memTotal);
    addField<Int>                   ("MemoryInfo::memAverageUsage", &MemoryInfo::memAverageUsage);
    addField<Int>                   ("MemoryInfo::memMaxUsage", &MemoryInfo::memMaxUsage);
    addField<Int>                   ("MemoryInfo::avmemAverageUsage", &MemoryInfo::avmemAverageUsage);
    addField<Int>                   ("MemoryInfo::avmemMaxUsage", &MemoryInfo::avmemMaxUsage);
    addField<UInt32>                ("MemoryInfo::vmSize", &MemoryInfo::vmSize);
    addField<Int>                   ("MemoryInfo::vmRss", &MemoryInfo::vmRss);
    addField<Int>                   ("MemoryInfo::vmRssMax", &MemoryInfo::vmRssMax);
    addField<Text>                  ("MemoryModule::memType", &MemoryModule::memType);
    addField<UInt32>                ("MemoryModule::memSize", &MemoryModule::memSize);
    addField<Text>                  ("MemoryModule::memInfo", &MemoryModule::memInfo);
    addField<Text>                  ("HardwareInfo::manufacturer", &HardwareInfo::manufacturer);
    addField<Text>                  ("HardwareInfo::modelName", &HardwareInfo::modelName);
    addField<Text>                  ("HardwareInfo::platform", &HardwareInfo::platform);
    addField<Text>                  ("HardwareInfo::hwRevision", &HardwareInfo::hwRevision);
    addField<QList<MemoryModule>>   ("HardwareInfo::memory", &HardwareInfo::memory);
    addField<Text>                  ("HdmiInfo::tvName", &HdmiInfo::tvName);
    addField<Text>                  ("HdmiInfo::tvPreferredOutput", &HdmiInfo::tvPreferredOutput);
    addField<Text>                  ("HdmiInfo::stbCurrentOutput", &HdmiInfo::stbCurrentOutput);
    addField<Text>                  ("WifiInfo::wifiSsid", &WifiInfo::wifiSsid);
    addField<Text>                  ("WifiInfo::wifiBssid", &WifiInfo::wifiBssid);
    addField<Int8>                  ("WifiInfo::wifiRssi", &WifiInfo::wifiRssi);
    addField<UInt16>                ("WifiInfo::wifiFreqMhz", &WifiInfo::wifiFreqMhz);
    addField<UInt32>                ("WifiInfo::wifiSpeedMbps", &WifiInfo::wifiSpeedMbps);
    addField<Text>                  ("WifiInfo::wifiGeneration", &WifiInfo::wifiGeneration);
    addField<Text>                  ("PowerInfo::powerState", &PowerInfo::powerState);
    addField<UInt32>                ("PowerInfo::powerStatePeriod", &PowerInfo::powerStatePeriod);
    addField<Text>                  ("PowerInfo::powerChangeCause", &PowerInfo::powerChangeCause);
    addField<Text>                  ("SystemSettings::uiResolution", &SystemSettings::uiResolution);
    addField<Text>                  ("SystemSettings::fontSize", &SystemSettings::fontSize);
    addField<Text>                  ("SystemSettings::rcuLayout", &SystemSettings::rcuLayout);
    addField<Int16>                 ("SystemSettings::audioLevel", &SystemSettings::audioLevel);
    addField<Text>                  ("SystemSettings::audioMute", &SystemSettings::audioMute);
    addField<Text>                  ("SystemSettings::audioDownmix", &SystemSettings::audioDownmix);
    addField<Pairs>                 ("SystemSettings::videoOutputs", &SystemSettings::videoOutputs);
    addField<Text>                  ("SystemSettings::backgroundRadioPlayback", &SystemSettings::backgroundRadioPlayback);
    addField<Text>                  ("SystemSettings::backgroundTvPlayback", &SystemSettings::backgroundTvPlayback);
    addField<Text>                  ("SystemSettings::promoBannerPlayback", &SystemSettings::promoBannerPlayback);
    addField<Text>                  ("SystemSettings::contentCardPlayback", &SystemSettings::contentCardPlayback);
    addField<Text>                  ("NetworkInfo::interfaceName", &NetworkInfo::interfaceName);
    addField<Text>                  ("NetworkInfo::interfaceMode", &NetworkInfo::interfaceMode);
    addField<Text>                  ("NetworkInfo::mac", &NetworkInfo::mac);
    addField<UInt32>                ("NetworkInfo::speedMbps", &NetworkInfo::speedMbps);
    addField<Text>                  ("NetworkInfo::duplex", &NetworkInfo::duplex);
    addField<UInt32>                ("NetworkInfo::bitrateKbps", &NetworkInfo::bitrateKbps);
    addField<UInt32>                ("NetworkInfo::rxErrors", &NetworkInfo::rxErrors);
    addField<UInt32>                ("NetworkInfo::txErrors", &NetworkInfo::txErrors);
    addField<UInt32>                ("NetworkInfo::rxDropped", &NetworkInfo::rxDropped);
    addField<UInt32>                ("NetworkInfo::txDropped", &NetworkInfo::txDropped);
    addField<UInt32>                ("NetworkInfo::rxCrcErrors", &NetworkInfo::rxCrcErrors);
    addField<UInt32>                ("NetworkInfo::rxFrameErrors", &NetworkInfo::rxFrameErrors);
    addField<Int32>                 ("DhcpOption::code", &DhcpOption::code);
    addField<Text>                  ("DhcpOption::value", &DhcpOption::value);
    addField<Text>                  ("NetworkInterface::interfaceName", &NetworkInterface::interfaceName);
    addField<Text>                  ("NetworkInterface::status", &NetworkInterface::status);
    addField<Text>                  ("NetworkInterface::mac", &NetworkInterface::mac);
    addField<Text>                  ("NetworkInterface::interfaceMode", &NetworkInterface::interfaceMode);
    addField<Text>                  ("NetworkInterface::ipV4", &NetworkInterface::ipV4);
    addField<Text>                  ("NetworkInterface::netmask", &NetworkInterface::netmask);
    addField<Text>                  ("NetworkInterface::gateway", &NetworkInterface::gateway);
    addField<Text>                  ("NetworkInterface::ipV6", &NetworkInterface::ipV6);
    addField<QList<DhcpOption>>     ("NetworkInterface::dhcpOptions", &NetworkInterface::dhcpOptions);
    addField<Texts>                 ("NetworkInterface::dns", &NetworkInterface::dns);
    addField<Text>                  ("Endpoints::apiUrl", &Endpoints::apiUrl);
    addField<Text>                  ("Endpoints::wsUrl", &Endpoints::wsUrl);
    addField<Text>                  ("Endpoints::spyUrl", &Endpoints::spyUrl);
    addField<Text>                  ("Endpoints::imgUrl", &Endpoints::imgUrl);
    addField<Text>                  ("Endpoints::proxyUrl", &Endpoints::proxyUrl);
    addField<Text>                  ("NcError::apiUrl", &NcError::apiUrl);
    addField<Text>                  ("NcError::httpRequestMethod", &NcError::httpRequestMethod);
    addField<Text>                  ("NcError::httpRequestPath", &NcError::httpRequestPath);
    addField<Pairs>                 ("NcError::httpRequestQuery", &NcError::httpRequestQuery);
    addField<Text>                  ("NcError::debugMessage", &NcError::debugMessage);
    addField<Int>                   ("NcError::httpResponseCode", &NcError::httpResponseCode);
    addField<Int64>                 ("NcError::errorCode", &NcError::errorCode);
    addField<Text>                  ("HttpError::httpRequestMethod", &HttpError::httpRequestMethod);
    addField<Text>                  ("HttpError::httpRequestUri", &HttpError::httpRequestUri);
    addField<Int32>                 ("HttpError::httpResponseCode", &HttpError::httpResponseCode);
    addField<Text>                  ("VerimatrixError::command", &VerimatrixError::command);
    addField<int>                   ("VerimatrixError::errorCode", &VerimatrixError::errorCode);
    addField<Int>                   ("VerimatrixError::activityCode", &VerimatrixError::activityCode);
    addField<Int>                   ("VerimatrixError::moduleCode", &VerimatrixError::moduleCode);
    addField<Int64>                 ("VerimatrixError::errorCount", &VerimatrixError::errorCount);
    addField<Int64>                 ("VmxErrors::totalErrorCount", &VmxErrors::totalErrorCount);
    addField<QList<VerimatrixError>>("VmxErrors::vmxCasErrors", &VmxErrors::vmxCasErrors);
    // clang-format on
}

void RecordsTest::fields()
{
    QFETCH(bool, emptyInDefault);
    QVERIFY(emptyInDefault);
    QFETCH(bool, emptyInBraces);
    QVERIFY(emptyInBraces);
    QFETCH(bool, emptyInFull);
    QVERIFY(!emptyInFull);
    QFETCH(bool, keptInVariant);
    QVERIFY(keptInVariant);
    QFETCH(bool, inOrder);
    QVERIFY(inOrder);
}

void RecordsTest::noOtherRecordIsAnError_data()
{
    QTest::addColumn<QVariant>("record");

    addRecord<Channel>("Channel");
    addRecord<MediaItem>("MediaItem");
    addRecord<PurchaseVariant>("PurchaseVariant");
    addRecord<NetworkInfo>("NetworkInfo");
    addRecord<NetworkInterface>("NetworkInterface");
    addRecord<Endpoints>("Endpoints");
    addRecord<CpuInfo>("CpuInfo");
    addRecord<MemoryInfo>("MemoryInfo");
    addRecord<MemoryModule>("MemoryModule");
    addRecord<HardwareInfo>("HardwareInfo");
    addRecord<HdmiInfo>("HdmiInfo");
    addRecord<WifiInfo>("WifiInfo");
    addRecord<MdiInfo>("MdiInfo");
    addRecord<DecoderInfo>("DecoderInfo");
    addRecord<DashInfo>("DashInfo");
    addRecord<HlsInfo>("HlsInfo");
    addRecord<BufferingInfo>("BufferingInfo");
    addRecord<NcError>("NcError");
    addRecord<SystemSettings>("SystemSettings");
    addRecord<Scte35>("Scte35");
    addRecord<VmxErrors>("VmxErrors");
    addRecord<MessageTarget>("MessageTarget");
    addRecord<HttpError>("HttpError");
    addRecord<MediaInfo>("MediaInfo");
    addRecord<Etr290Info>("Etr290Info");
    addRecord<PowerInfo>("PowerInfo");
}

void RecordsTest::noOtherRecordIsAnError()
{
    QFETCH(QVariant, record);
    auto const error = qvariant_cast<VerimatrixError>(record);

    QVERIFY(same(error, VerimatrixError{}));
    QCOMPARE(encoded(QVariant::fromValue(error)), QByteArray(R"({"command":"","error_code":0})"));
}

void RecordsTest::valueTypes()
{
    QVariant const first = QVariant::fromValue(full<HardwareInfo>());
    QVariant second = first;
    static_cast<HardwareInfo *>(second.data())->memory.clear();

    QCOMPARE(qvariant_cast<HardwareInfo>(first).memory.size(), 2);
    QCOMPARE(qvariant_cast<HardwareInfo>(second).memory.size(), 0);
}

QTEST_GUILESS_MAIN(RecordsTest)
#include "tst_records.moc"
