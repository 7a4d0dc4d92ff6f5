#pragma once

#include <analytics/jsonwriter_p.h>
#include <analytics/records.h>

#include <string_view>
#include <tuple>
#include <type_traits>

/**
 * @file
 * @brief What each record's JSON object holds: the one place where the keys of records are spelled.
 *
 * A description is a tuple of the three kinds below. Whoever writes, documents or checks records walks it with
 * std::apply. Rows stand in the order of their keys, which is the order on the wire.
 */

namespace analytics {

template <typename... Record> struct RecordList
{
};

/// What a payload may be, in the order in which a value is tried for them: one that converts to several becomes the
/// first.
using PayloadRecords = RecordList<Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule,
                                  Endpoints, CpuInfo, MemoryInfo, HdmiInfo, PowerInfo, HardwareInfo, WifiInfo, MdiInfo,
                                  Etr290Info, DecoderInfo, DashInfo, HlsInfo, BufferingInfo, MediaInfo, NcError,
                                  HttpError, SystemSettings, Scte35, VerimatrixError, VmxErrors, MessageTarget>;

template <typename Record, typename... Listed> constexpr bool isPayload(RecordList<Listed...>)
{
    return (std::is_same_v<Record, Listed> || ...);
}

/// A field that is left out when it is empty or absent, unless it is always written.
template <typename Record, typename Value> struct Member
{
    json::Key key;
    Value Record::*field;
    bool isAlways;
};

/// Fields of the record that stand in an object of their own, which is always written.
template <typename... Members> struct Group
{
    json::Key key;
    std::tuple<Members...> members;
};

/// A list, left out when it is empty. The form is the description of an element's object, or one of the two below.
template <typename Record, typename Element, typename Form> struct List
{
    json::Key key;
    QList<Element> Record::*field;
    Form form;
};

/// The form of a list of texts.
struct PlainText
{
};

/// The form of a list of pairs of texts: each is an object with the one member that the pair's first text names.
struct NamedText
{
};

template <typename Record, typename Value>
constexpr Member<Record, Value> member(std::string_view key, Value Record::*field)
{
    return {json::Key(key), field, false};
}

template <typename Record, typename Value>
constexpr Member<Record, Value> always(std::string_view key, Value Record::*field)
{
    return {json::Key(key), field, true};
}

template <typename... Members> constexpr Group<Members...> group(std::string_view key, Members... members)
{
    return {json::Key(key), {members...}};
}

template <typename Record, typename Element, typename Form>
constexpr List<Record, Element, Form> list(std::string_view key, QList<Element> Record::*field, Form form)
{
    return {json::Key(key), field, form};
}

/// Whether a description's rows stand in the order of their keys, none twice, inside groups too.
template <typename... Members> constexpr bool isSorted(std::tuple<Members...> const &members);

template <typename Row> constexpr bool isSortedInside(Row const &)
{
    return true;
}

template <typename... Members> constexpr bool isSortedInside(Group<Members...> const &group)
{
    return isSorted(group.members);
}

template <typename... Members> constexpr bool isSorted(std::tuple<Members...> const &members)
{
    return std::apply(
        [](auto const &...member) {
            std::string_view before;
            bool const isInOrder = ((before < member.key.name() && (before = member.key.name(), true)) && ...);
            return isInOrder && (isSortedInside(member) && ...);
        },
        members);
}

/// The description of each record.
template <typename Record> inline constexpr auto members = nullptr;

template <typename Record>
inline constexpr bool isDescribed = !std::is_null_pointer_v<std::remove_const_t<decltype(members<Record>)>>;

/// The description of a payload record.
template <typename Record, typename... Rows> constexpr std::tuple<Rows...> describe(Rows... rows)
{
    static_assert(isPayload<Record>(PayloadRecords()),
                  "this record is not among the PayloadRecords: append it there, or no payload of its type is written");
    return {rows...};
}

inline constexpr PlainText plainText;
inline constexpr NamedText namedText;
using TextPair = std::pair<QString, QString>;

// clang-format off

template <> inline constexpr auto members<Channel> = describe<Channel>(
    member("channel_id", &Channel::channelId),
    member("program_id", &Channel::programId));

template <> inline constexpr auto members<MediaItem> = describe<MediaItem>(
    member("asset_id",      &MediaItem::assetId),
    member("media_item_id", &MediaItem::mediaItemId));

template <> inline constexpr auto members<PurchaseVariant> = describe<PurchaseVariant>(
    member("composite_component_id", &PurchaseVariant::compositeComponentId),
    member("content_id",             &PurchaseVariant::contentId),
    member("content_type",           &PurchaseVariant::contentType),
    member("currency",               &PurchaseVariant::currency),
    member("price_id",               &PurchaseVariant::priceId),
    member("purchase_cost",          &PurchaseVariant::purchaseCost),
    member("service_id",             &PurchaseVariant::serviceId),
    member("type",                   &PurchaseVariant::type),
    always("usage_model",            &PurchaseVariant::usageModel));

template <> inline constexpr auto members<NetworkInfo> = describe<NetworkInfo>(
    member("bitrate_kbps",   &NetworkInfo::bitrateKbps),
    member("duplex",         &NetworkInfo::duplex),
    member("interface_mode", &NetworkInfo::interfaceMode),
    member("interface_name", &NetworkInfo::interfaceName),
    member("mac",            &NetworkInfo::mac),
    member("speed_mbps",     &NetworkInfo::speedMbps),
    group ("statistics",
        member("rx_crc_errors",   &NetworkInfo::rxCrcErrors),
        member("rx_dropped",      &NetworkInfo::rxDropped),
        member("rx_errors",       &NetworkInfo::rxErrors),
        member("rx_frame_errors", &NetworkInfo::rxFrameErrors),
        member("tx_dropped",      &NetworkInfo::txDropped),
        member("tx_errors",       &NetworkInfo::txErrors)));

template <> inline constexpr auto members<DhcpOption> = std::tuple(
    member("code",  &DhcpOption::code),
    member("value", &DhcpOption::value));

template <> inline constexpr auto members<NetworkInterface> = describe<NetworkInterface>(
    list  ("dhcp_options",   &NetworkInterface::dhcpOptions, members<DhcpOption>),
    list  ("dns",            &NetworkInterface::dns, plainText),
    member("gateway",        &NetworkInterface::gateway),
    member("interface_mode", &NetworkInterface::interfaceMode),
    member("interface_name", &NetworkInterface::interfaceName),
    member("ip_v4",          &NetworkInterface::ipV4),
    member("ip_v6",          &NetworkInterface::ipV6),
    member("mac",            &NetworkInterface::mac),
    member("netmask",        &NetworkInterface::netmask),
    member("status",         &NetworkInterface::status));

template <> inline constexpr auto members<MemoryModule> = describe<MemoryModule>(
    member("mem_info", &MemoryModule::memInfo),
    member("mem_size", &MemoryModule::memSize),
    member("mem_type", &MemoryModule::memType));

template <> inline constexpr auto members<Endpoints> = describe<Endpoints>(
    member("api_url",   &Endpoints::apiUrl),
    member("img_url",   &Endpoints::imgUrl),
    member("proxy_url", &Endpoints::proxyUrl),
    member("spy_url",   &Endpoints::spyUrl),
    member("ws_url",    &Endpoints::wsUrl));

template <> inline constexpr auto members<CpuInfo> = describe<CpuInfo>(
    member("cpu_average_load",   &CpuInfo::cpuAverageLoad),
    member("cpu_cores",          &CpuInfo::cpuCores),
    member("cpu_max_load",       &CpuInfo::cpuMaxLoad),
    member("cpu_temperature",    &CpuInfo::cpuTemperature),
    member("sys_clock_freq_mhz", &CpuInfo::sysClockFreqMhz));

template <> inline constexpr auto members<MemoryInfo> = describe<MemoryInfo>(
    member("avmem_average_usage", &MemoryInfo::avmemAverageUsage),
    member("avmem_max_usage",     &MemoryInfo::avmemMaxUsage),
    member("mem_average_usage",   &MemoryInfo::memAverageUsage),
    member("mem_max_usage",       &MemoryInfo::memMaxUsage),
    member("mem_total",           &MemoryInfo::memTotal),
    member("vm_rss",              &MemoryInfo::vmRss),
    member("vm_rss_max",          &MemoryInfo::vmRssMax),
    member("vm_size",             &MemoryInfo::vmSize));

template <> inline constexpr auto members<HdmiInfo> = describe<HdmiInfo>(
    member("stb_current_output",  &HdmiInfo::stbCurrentOutput),
    member("tv_name",             &HdmiInfo::tvName),
    member("tv_preferred_output", &HdmiInfo::tvPreferredOutput));

template <> inline constexpr auto members<PowerInfo> = describe<PowerInfo>(
    member("power_change_cause", &PowerInfo::powerChangeCause),
    member("power_state",        &PowerInfo::powerState),
    member("power_state_period", &PowerInfo::powerStatePeriod));

template <> inline constexpr auto members<HardwareInfo> = describe<HardwareInfo>(
    member("hw_revision",  &HardwareInfo::hwRevision),
    member("manufacturer", &HardwareInfo::manufacturer),
    list  ("memory",       &HardwareInfo::memory, members<MemoryModule>),
    member("model_name",   &HardwareInfo::modelName),
    member("platform",     &HardwareInfo::platform));

template <> inline constexpr auto members<WifiInfo> = describe<WifiInfo>(
    member("wifi_bssid",      &WifiInfo::wifiBssid),
    member("wifi_freq_mhz",   &WifiInfo::wifiFreqMhz),
    member("wifi_generation", &WifiInfo::wifiGeneration),
    member("wifi_rssi",       &WifiInfo::wifiRssi),
    member("wifi_speed_mbps", &WifiInfo::wifiSpeedMbps),
    member("wifi_ssid",       &WifiInfo::wifiSsid));

template <> inline constexpr auto members<MdiInfo> = describe<MdiInfo>(
    member("df",  &MdiInfo::df),
    member("mlr", &MdiInfo::mlr));

template <> inline constexpr auto members<Etr290Info> = describe<Etr290Info>(
    group ("extra_counters",
        member("cc_error_audio",      &Etr290Info::ccErrorAudio),
        member("cc_error_video",      &Etr290Info::ccErrorVideo),
        member("pid_error_audio",     &Etr290Info::pidErrorAudio),
        member("pid_error_ecm",       &Etr290Info::pidErrorEcm),
        member("pid_error_subtitles", &Etr290Info::pidErrorSubtitles),
        member("pid_error_teletext",  &Etr290Info::pidErrorTeletext),
        member("pid_error_video",     &Etr290Info::pidErrorVideo)),
    group ("first_priority",
        member("continuity_count_error", &Etr290Info::continuityCountError),
        member("pat_error",              &Etr290Info::patError),
        member("pid_error",              &Etr290Info::pidError),
        member("pmt_error",              &Etr290Info::pmtError),
        member("sync_byte_error",        &Etr290Info::syncByteError),
        member("ts_sync_loss",           &Etr290Info::tsSyncLoss)));

template <> inline constexpr auto members<DecoderInfo> = describe<DecoderInfo>(
    member("audio_data_errors",    &DecoderInfo::audioDataErrors),
    member("audio_decode_errors",  &DecoderInfo::audioDecodeErrors),
    member("audio_frames_decoded", &DecoderInfo::audioFramesDecoded),
    member("video_data_errors",    &DecoderInfo::videoDataErrors),
    member("video_decode_errors",  &DecoderInfo::videoDecodeErrors),
    member("video_frames_decoded", &DecoderInfo::videoFramesDecoded));

template <> inline constexpr auto members<DashInfo> = describe<DashInfo>(
    member("dash_playlist_errors",  &DashInfo::dashPlaylistErrors),
    member("dash_profile_switches", &DashInfo::dashProfileSwitches),
    member("dash_segment_errors",   &DashInfo::dashSegmentErrors));

template <> inline constexpr auto members<HlsInfo> = describe<HlsInfo>(
    member("hls_discontinuities",        &HlsInfo::hlsDiscontinuities),
    member("hls_master_playlist_errors", &HlsInfo::hlsMasterPlaylistErrors),
    member("hls_media_playlist_errors",  &HlsInfo::hlsMediaPlaylistErrors),
    member("hls_media_segment_errors",   &HlsInfo::hlsMediaSegmentErrors),
    member("hls_profile_switches",       &HlsInfo::hlsProfileSwitches));

template <> inline constexpr auto members<BufferingInfo> = describe<BufferingInfo>(
    member("buffering_events",  &BufferingInfo::bufferingEvents),
    member("buffering_ms",      &BufferingInfo::bufferingMs),
    member("buffering_seconds", &BufferingInfo::bufferingSeconds));

template <> inline constexpr auto members<MediaInfo> = describe<MediaInfo>(
    member("audio_channels",   &MediaInfo::audioChannels),
    member("audio_codec",      &MediaInfo::audioCodec),
    member("video_codec",      &MediaInfo::videoCodec),
    member("video_frame_rate", &MediaInfo::videoFrameRate),
    member("video_height",     &MediaInfo::videoHeight),
    member("video_scan_type",  &MediaInfo::videoScanType),
    member("video_width",      &MediaInfo::videoWidth));

template <> inline constexpr auto members<NcError> = describe<NcError>(
    member("api_url",             &NcError::apiUrl),
    member("debug_message",       &NcError::debugMessage),
    member("error_code",          &NcError::errorCode),
    member("http_request_method", &NcError::httpRequestMethod),
    member("http_request_path",   &NcError::httpRequestPath),
    list  ("http_request_query",  &NcError::httpRequestQuery, namedText),
    member("http_response_code",  &NcError::httpResponseCode));

template <> inline constexpr auto members<HttpError> = describe<HttpError>(
    member("http_request_method", &HttpError::httpRequestMethod),
    member("http_request_uri",    &HttpError::httpRequestUri),
    member("http_response_code",  &HttpError::httpResponseCode));

inline constexpr auto videoOutputMembers = std::tuple(
    member("output_mode", &TextPair::second),
    member("output_name", &TextPair::first));

template <> inline constexpr auto members<SystemSettings> = describe<SystemSettings>(
    member("audio_downmix",             &SystemSettings::audioDownmix),
    member("audio_level",               &SystemSettings::audioLevel),
    member("audio_mute",                &SystemSettings::audioMute),
    member("background_radio_playback", &SystemSettings::backgroundRadioPlayback),
    member("background_tv_playback",    &SystemSettings::backgroundTvPlayback),
    member("content_card_playback",     &SystemSettings::contentCardPlayback),
    member("font_size",                 &SystemSettings::fontSize),
    member("promo_banner_playback",     &SystemSettings::promoBannerPlayback),
    member("rcu_layout",                &SystemSettings::rcuLayout),
    member("ui_resolution",             &SystemSettings::uiResolution),
    list  ("video_outputs",             &SystemSettings::videoOutputs, videoOutputMembers));

template <> inline constexpr auto members<Scte35> = describe<Scte35>(
    member("splice_event_id", &Scte35::spliceEventId),
    member("splice_pts_time", &Scte35::splicePtsTime));

template <> inline constexpr auto members<VerimatrixError> = describe<VerimatrixError>(
    member("activity_code", &VerimatrixError::activityCode),
    always("command",       &VerimatrixError::command),
    always("error_code",    &VerimatrixError::errorCode),
    member("error_count",   &VerimatrixError::errorCount),
    member("module_code",   &VerimatrixError::moduleCode));

template <> inline constexpr auto members<VmxErrors> = describe<VmxErrors>(
    member("total_error_count", &VmxErrors::totalErrorCount),
    list  ("vmx_cas_errors",    &VmxErrors::vmxCasErrors, members<VerimatrixError>));

template <> inline constexpr auto members<MessageTarget> = describe<MessageTarget>(
    group ("link",
        member("alias",           &MessageTarget::alias),
        member("category_id",     &MessageTarget::categoryId),
        member("channel_id",      &MessageTarget::channelId),
        member("collection_id",   &MessageTarget::collectionId),
        member("content_type",    &MessageTarget::contentType),
        member("epg_id",          &MessageTarget::epgId),
        member("genre_id",        &MessageTarget::genreId),
        member("id",              &MessageTarget::id),
        member("media_item_type", &MessageTarget::mediaItemType),
        member("name",            &MessageTarget::name),
        member("nc_channel_id",   &MessageTarget::ncChannelId),
        member("original_id",     &MessageTarget::originalId),
        member("program_id",      &MessageTarget::programId),
        member("screen_name",     &MessageTarget::screenName),
        member("tab_id",          &MessageTarget::tabId),
        member("theme_id",        &MessageTarget::themeId),
        member("type_id",         &MessageTarget::typeId),
        member("url",             &MessageTarget::url)),
    member("title", &MessageTarget::title),
    member("type",  &MessageTarget::type));

// clang-format on

} // namespace analytics
