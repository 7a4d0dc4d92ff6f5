#pragma once

#include <analytics/records.h>

#include <string_view>
#include <tuple>
#include <type_traits>

/**
 * @file
 * @brief Describes the JSON object of each record: the one place in the library where the keys of records are spelled.
 * recordwriter_p.h includes it, and so do the wire-format tools and the benchmarks.
 *
 * A description is a std::tuple of rows; a row is a Field, a FieldGroup or a ListField. Code that writes, documents or
 * checks records visits the rows with std::apply. Rows have the order of their keys, which is the order on the wire.
 */

namespace analytics {

template <typename... Record> struct RecordList
{
};

/// The record types of payloads. The order matters: a value that converts to several of them is written as the
/// first one.
using PayloadRecords = RecordList<Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule,
                                  Endpoints, CpuInfo, MemoryInfo, HdmiInfo, PowerInfo, HardwareInfo, WifiInfo, MdiInfo,
                                  Etr290Info, DecoderInfo, DashInfo, HlsInfo, BufferingInfo, MediaInfo, NcError,
                                  HttpError, SystemSettings, Scte35, VerimatrixError, VmxErrors, MessageTarget>;

template <typename Record, typename... Listed> constexpr bool isPayload(RecordList<Listed...>)
{
    return (std::is_same_v<Record, Listed> || ...);
}

/// Whether a field is left out of the object while it is empty or absent.
enum class EmptyField { LeftOut, Written };

/// A string or a number.
template <typename Record, typename Value> struct Field
{
    std::string_view key;
    Value Record::*pointer;
    EmptyField whenEmpty;
};

/// Fields of the record that are written in an object of their own, even if it is empty.
template <typename... Fields> struct FieldGroup
{
    std::string_view key;
    std::tuple<Fields...> fields;
};

/// A list, left out if it is empty. The form of an element is AsString, AsSingletonObject, or the description of the
/// element's object.
template <typename Record, typename Element, typename Form> struct ListField
{
    std::string_view key;
    QList<Element> Record::*pointer;
    Form elementForm;
};

/// Writes an element, a QString, as a JSON string.
struct AsString
{
};

/// Writes an element, a pair of strings, as an object with one member: the first string is its key, the second one its
/// value.
struct AsSingletonObject
{
};

using StringPair = std::pair<QString, QString>;

template <typename Record, typename Value>
constexpr Field<Record, Value> field(std::string_view key, Value Record::*pointer,
                                     EmptyField whenEmpty = EmptyField::LeftOut)
{
    return {key, pointer, whenEmpty};
}

template <typename... Fields> constexpr FieldGroup<Fields...> group(std::string_view key, Fields... fields)
{
    return {key, {fields...}};
}

template <typename Record, typename Element, typename Form>
constexpr ListField<Record, Element, Form> list(std::string_view key, QList<Element> Record::*pointer, Form elementForm)
{
    return {key, pointer, elementForm};
}

/// Whether the rows of a description have the order of their keys, none twice, inside groups too.
template <typename... Rows> constexpr bool isSorted(std::tuple<Rows...> const &rows);

template <typename Row> constexpr bool isSortedInside(Row const &)
{
    return true;
}

template <typename... Fields> constexpr bool isSortedInside(FieldGroup<Fields...> const &group)
{
    return isSorted(group.fields);
}

template <typename... Rows> constexpr bool isSorted(std::tuple<Rows...> const &rows)
{
    return std::apply(
        [](auto const &...row) {
            std::string_view before;
            bool const isInOrder = ((before < row.key && (before = row.key, true)) && ...);
            return isInOrder && (isSortedInside(row) && ...);
        },
        rows);
}

/// The description of each record.
template <typename Record> inline constexpr auto fieldsOf = nullptr;

template <typename Record>
inline constexpr bool isDescribed = !std::is_null_pointer_v<std::remove_const_t<decltype(fieldsOf<Record>)>>;

/// The description of a payload record.
template <typename Record, typename... Rows> constexpr std::tuple<Rows...> payload(Rows... rows)
{
    static_assert(isPayload<Record>(PayloadRecords()),
                  "this record is not among the PayloadRecords: append it there, or no payload of its type is written");
    return {rows...};
}

// clang-format off

template <> inline constexpr auto fieldsOf<Channel> = payload<Channel>(
    field("channel_id", &Channel::channelId),
    field("program_id", &Channel::programId));

template <> inline constexpr auto fieldsOf<MediaItem> = payload<MediaItem>(
    field("asset_id",      &MediaItem::assetId),
    field("media_item_id", &MediaItem::mediaItemId));

template <> inline constexpr auto fieldsOf<PurchaseVariant> = payload<PurchaseVariant>(
    field("composite_component_id", &PurchaseVariant::compositeComponentId),
    field("content_id",             &PurchaseVariant::contentId),
    field("content_type",           &PurchaseVariant::contentType),
    field("currency",               &PurchaseVariant::currency),
    field("price_id",               &PurchaseVariant::priceId),
    field("purchase_cost",          &PurchaseVariant::purchaseCost),
    field("service_id",             &PurchaseVariant::serviceId),
    field("type",                   &PurchaseVariant::type),
    field("usage_model",            &PurchaseVariant::usageModel, EmptyField::Written));

template <> inline constexpr auto fieldsOf<NetworkInfo> = payload<NetworkInfo>(
    field("bitrate_kbps",   &NetworkInfo::bitrateKbps),
    field("duplex",         &NetworkInfo::duplex),
    field("interface_mode", &NetworkInfo::interfaceMode),
    field("interface_name", &NetworkInfo::interfaceName),
    field("mac",            &NetworkInfo::mac),
    field("speed_mbps",     &NetworkInfo::speedMbps),
    group("statistics",
        field("rx_crc_errors",   &NetworkInfo::rxCrcErrors),
        field("rx_dropped",      &NetworkInfo::rxDropped),
        field("rx_errors",       &NetworkInfo::rxErrors),
        field("rx_frame_errors", &NetworkInfo::rxFrameErrors),
        field("tx_dropped",      &NetworkInfo::txDropped),
        field("tx_errors",       &NetworkInfo::txErrors)));

template <> inline constexpr auto fieldsOf<DhcpOption> = std::tuple(
    field("code",  &DhcpOption::code),
    field("value", &DhcpOption::value));

template <> inline constexpr auto fieldsOf<NetworkInterface> = payload<NetworkInterface>(
    list ("dhcp_options",   &NetworkInterface::dhcpOptions, fieldsOf<DhcpOption>),
    list ("dns",            &NetworkInterface::dns, AsString()),
    field("gateway",        &NetworkInterface::gateway),
    field("interface_mode", &NetworkInterface::interfaceMode),
    field("interface_name", &NetworkInterface::interfaceName),
    field("ip_v4",          &NetworkInterface::ipV4),
    field("ip_v6",          &NetworkInterface::ipV6),
    field("mac",            &NetworkInterface::mac),
    field("netmask",        &NetworkInterface::netmask),
    field("status",         &NetworkInterface::status));

template <> inline constexpr auto fieldsOf<MemoryModule> = payload<MemoryModule>(
    field("mem_info", &MemoryModule::memInfo),
    field("mem_size", &MemoryModule::memSize),
    field("mem_type", &MemoryModule::memType));

template <> inline constexpr auto fieldsOf<Endpoints> = payload<Endpoints>(
    field("api_url",   &Endpoints::apiUrl),
    field("img_url",   &Endpoints::imgUrl),
    field("proxy_url", &Endpoints::proxyUrl),
    field("spy_url",   &Endpoints::spyUrl),
    field("ws_url",    &Endpoints::wsUrl));

template <> inline constexpr auto fieldsOf<CpuInfo> = payload<CpuInfo>(
    field("cpu_average_load",   &CpuInfo::cpuAverageLoad),
    field("cpu_cores",          &CpuInfo::cpuCores),
    field("cpu_max_load",       &CpuInfo::cpuMaxLoad),
    field("cpu_temperature",    &CpuInfo::cpuTemperature),
    field("sys_clock_freq_mhz", &CpuInfo::sysClockFreqMhz));

template <> inline constexpr auto fieldsOf<MemoryInfo> = payload<MemoryInfo>(
    field("avmem_average_usage", &MemoryInfo::avmemAverageUsage),
    field("avmem_max_usage",     &MemoryInfo::avmemMaxUsage),
    field("mem_average_usage",   &MemoryInfo::memAverageUsage),
    field("mem_max_usage",       &MemoryInfo::memMaxUsage),
    field("mem_total",           &MemoryInfo::memTotal),
    field("vm_rss",              &MemoryInfo::vmRss),
    field("vm_rss_max",          &MemoryInfo::vmRssMax),
    field("vm_size",             &MemoryInfo::vmSize));

template <> inline constexpr auto fieldsOf<HdmiInfo> = payload<HdmiInfo>(
    field("stb_current_output",  &HdmiInfo::stbCurrentOutput),
    field("tv_name",             &HdmiInfo::tvName),
    field("tv_preferred_output", &HdmiInfo::tvPreferredOutput));

template <> inline constexpr auto fieldsOf<PowerInfo> = payload<PowerInfo>(
    field("power_change_cause", &PowerInfo::powerChangeCause),
    field("power_state",        &PowerInfo::powerState),
    field("power_state_period", &PowerInfo::powerStatePeriod));

template <> inline constexpr auto fieldsOf<HardwareInfo> = payload<HardwareInfo>(
    field("hw_revision",  &HardwareInfo::hwRevision),
    field("manufacturer", &HardwareInfo::manufacturer),
    list ("memory",       &HardwareInfo::memory, fieldsOf<MemoryModule>),
    field("model_name",   &HardwareInfo::modelName),
    field("platform",     &HardwareInfo::platform));

template <> inline constexpr auto fieldsOf<WifiInfo> = payload<WifiInfo>(
    field("wifi_bssid",      &WifiInfo::wifiBssid),
    field("wifi_freq_mhz",   &WifiInfo::wifiFreqMhz),
    field("wifi_generation", &WifiInfo::wifiGeneration),
    field("wifi_rssi",       &WifiInfo::wifiRssi),
    field("wifi_speed_mbps", &WifiInfo::wifiSpeedMbps),
    field("wifi_ssid",       &WifiInfo::wifiSsid));

template <> inline constexpr auto fieldsOf<MdiInfo> = payload<MdiInfo>(
    field("df",  &MdiInfo::df),
    field("mlr", &MdiInfo::mlr));

template <> inline constexpr auto fieldsOf<Etr290Info> = payload<Etr290Info>(
    group("extra_counters",
        field("cc_error_audio",      &Etr290Info::ccErrorAudio),
        field("cc_error_video",      &Etr290Info::ccErrorVideo),
        field("pid_error_audio",     &Etr290Info::pidErrorAudio),
        field("pid_error_ecm",       &Etr290Info::pidErrorEcm),
        field("pid_error_subtitles", &Etr290Info::pidErrorSubtitles),
        field("pid_error_teletext",  &Etr290Info::pidErrorTeletext),
        field("pid_error_video",     &Etr290Info::pidErrorVideo)),
    group("first_priority",
        field("continuity_count_error", &Etr290Info::continuityCountError),
        field("pat_error",              &Etr290Info::patError),
        field("pid_error",              &Etr290Info::pidError),
        field("pmt_error",              &Etr290Info::pmtError),
        field("sync_byte_error",        &Etr290Info::syncByteError),
        field("ts_sync_loss",           &Etr290Info::tsSyncLoss)));

template <> inline constexpr auto fieldsOf<DecoderInfo> = payload<DecoderInfo>(
    field("audio_data_errors",    &DecoderInfo::audioDataErrors),
    field("audio_decode_errors",  &DecoderInfo::audioDecodeErrors),
    field("audio_frames_decoded", &DecoderInfo::audioFramesDecoded),
    field("video_data_errors",    &DecoderInfo::videoDataErrors),
    field("video_decode_errors",  &DecoderInfo::videoDecodeErrors),
    field("video_frames_decoded", &DecoderInfo::videoFramesDecoded));

template <> inline constexpr auto fieldsOf<DashInfo> = payload<DashInfo>(
    field("dash_playlist_errors",  &DashInfo::dashPlaylistErrors),
    field("dash_profile_switches", &DashInfo::dashProfileSwitches),
    field("dash_segment_errors",   &DashInfo::dashSegmentErrors));

template <> inline constexpr auto fieldsOf<HlsInfo> = payload<HlsInfo>(
    field("hls_discontinuities",        &HlsInfo::hlsDiscontinuities),
    field("hls_master_playlist_errors", &HlsInfo::hlsMasterPlaylistErrors),
    field("hls_media_playlist_errors",  &HlsInfo::hlsMediaPlaylistErrors),
    field("hls_media_segment_errors",   &HlsInfo::hlsMediaSegmentErrors),
    field("hls_profile_switches",       &HlsInfo::hlsProfileSwitches));

template <> inline constexpr auto fieldsOf<BufferingInfo> = payload<BufferingInfo>(
    field("buffering_events",  &BufferingInfo::bufferingEvents),
    field("buffering_ms",      &BufferingInfo::bufferingMs),
    field("buffering_seconds", &BufferingInfo::bufferingSeconds));

template <> inline constexpr auto fieldsOf<MediaInfo> = payload<MediaInfo>(
    field("audio_channels",   &MediaInfo::audioChannels),
    field("audio_codec",      &MediaInfo::audioCodec),
    field("video_codec",      &MediaInfo::videoCodec),
    field("video_frame_rate", &MediaInfo::videoFrameRate),
    field("video_height",     &MediaInfo::videoHeight),
    field("video_scan_type",  &MediaInfo::videoScanType),
    field("video_width",      &MediaInfo::videoWidth));

template <> inline constexpr auto fieldsOf<NcError> = payload<NcError>(
    field("api_url",             &NcError::apiUrl),
    field("debug_message",       &NcError::debugMessage),
    field("error_code",          &NcError::errorCode),
    field("http_request_method", &NcError::httpRequestMethod),
    field("http_request_path",   &NcError::httpRequestPath),
    list ("http_request_query",  &NcError::httpRequestQuery, AsSingletonObject()),
    field("http_response_code",  &NcError::httpResponseCode));

template <> inline constexpr auto fieldsOf<HttpError> = payload<HttpError>(
    field("http_request_method", &HttpError::httpRequestMethod),
    field("http_request_uri",    &HttpError::httpRequestUri),
    field("http_response_code",  &HttpError::httpResponseCode));

inline constexpr auto videoOutputFields = std::tuple(
    field("output_mode", &StringPair::second),
    field("output_name", &StringPair::first));

template <> inline constexpr auto fieldsOf<SystemSettings> = payload<SystemSettings>(
    field("audio_downmix",             &SystemSettings::audioDownmix),
    field("audio_level",               &SystemSettings::audioLevel),
    field("audio_mute",                &SystemSettings::audioMute),
    field("background_radio_playback", &SystemSettings::backgroundRadioPlayback),
    field("background_tv_playback",    &SystemSettings::backgroundTvPlayback),
    field("content_card_playback",     &SystemSettings::contentCardPlayback),
    field("font_size",                 &SystemSettings::fontSize),
    field("promo_banner_playback",     &SystemSettings::promoBannerPlayback),
    field("rcu_layout",                &SystemSettings::rcuLayout),
    field("ui_resolution",             &SystemSettings::uiResolution),
    list ("video_outputs",             &SystemSettings::videoOutputs, videoOutputFields));

template <> inline constexpr auto fieldsOf<Scte35> = payload<Scte35>(
    field("splice_event_id", &Scte35::spliceEventId),
    field("splice_pts_time", &Scte35::splicePtsTime));

template <> inline constexpr auto fieldsOf<VerimatrixError> = payload<VerimatrixError>(
    field("activity_code", &VerimatrixError::activityCode),
    field("command",       &VerimatrixError::command, EmptyField::Written),
    field("error_code",    &VerimatrixError::errorCode, EmptyField::Written),
    field("error_count",   &VerimatrixError::errorCount),
    field("module_code",   &VerimatrixError::moduleCode));

template <> inline constexpr auto fieldsOf<VmxErrors> = payload<VmxErrors>(
    field("total_error_count", &VmxErrors::totalErrorCount),
    list ("vmx_cas_errors",    &VmxErrors::vmxCasErrors, fieldsOf<VerimatrixError>));

template <> inline constexpr auto fieldsOf<MessageTarget> = payload<MessageTarget>(
    group("link",
        field("alias",           &MessageTarget::alias),
        field("category_id",     &MessageTarget::categoryId),
        field("channel_id",      &MessageTarget::channelId),
        field("collection_id",   &MessageTarget::collectionId),
        field("content_type",    &MessageTarget::contentType),
        field("epg_id",          &MessageTarget::epgId),
        field("genre_id",        &MessageTarget::genreId),
        field("id",              &MessageTarget::id),
        field("media_item_type", &MessageTarget::mediaItemType),
        field("name",            &MessageTarget::name),
        field("nc_channel_id",   &MessageTarget::ncChannelId),
        field("original_id",     &MessageTarget::originalId),
        field("program_id",      &MessageTarget::programId),
        field("screen_name",     &MessageTarget::screenName),
        field("tab_id",          &MessageTarget::tabId),
        field("theme_id",        &MessageTarget::themeId),
        field("type_id",         &MessageTarget::typeId),
        field("url",             &MessageTarget::url)),
    field("title", &MessageTarget::title),
    field("type",  &MessageTarget::type));

// clang-format on

} // namespace analytics
