#pragma once

#include <analytics/records.h>
#include <stbhost/jsonreader.h>

#include <utility>

/**
 * @file
 * @brief The members of the payload records, called as they are on the wire.
 */

namespace stbhost {

// SystemSettings and NcError keep pairs, which take a different form each.

struct VideoOutput
{
    QString name;
    QString mode;
};

inline QString videoOutputs(QJsonValue const &json, analytics::SystemSettings &settings);
inline QString requestQuery(QJsonValue const &json, analytics::NcError &error);

// clang-format off

template <> inline constexpr Field<VideoOutput> fields<VideoOutput>[] = {
    {"output_name", member<&VideoOutput::name>},
    {"output_mode", member<&VideoOutput::mode>},
};

// What is played, and how well

template <> inline constexpr Field<analytics::Channel> fields<analytics::Channel>[] = {
    {"channel_id", member<&analytics::Channel::channelId>},
    {"program_id", member<&analytics::Channel::programId>},
};

template <> inline constexpr Field<analytics::MediaItem> fields<analytics::MediaItem>[] = {
    {"media_item_id", member<&analytics::MediaItem::mediaItemId>},
    {"asset_id",      member<&analytics::MediaItem::assetId>},
};

template <> inline constexpr Field<analytics::MediaInfo> fields<analytics::MediaInfo>[] = {
    {"video_codec",      member<&analytics::MediaInfo::videoCodec>},
    {"audio_codec",      member<&analytics::MediaInfo::audioCodec>},
    {"video_scan_type",  member<&analytics::MediaInfo::videoScanType>},
    {"audio_channels",   member<&analytics::MediaInfo::audioChannels>},
    {"video_width",      member<&analytics::MediaInfo::videoWidth>},
    {"video_height",     member<&analytics::MediaInfo::videoHeight>},
    {"video_frame_rate", member<&analytics::MediaInfo::videoFrameRate>},
};

template <> inline constexpr Field<analytics::DecoderInfo> fields<analytics::DecoderInfo>[] = {
    {"video_frames_decoded", member<&analytics::DecoderInfo::videoFramesDecoded>},
    {"video_decode_errors",  member<&analytics::DecoderInfo::videoDecodeErrors>},
    {"video_data_errors",    member<&analytics::DecoderInfo::videoDataErrors>},
    {"audio_frames_decoded", member<&analytics::DecoderInfo::audioFramesDecoded>},
    {"audio_decode_errors",  member<&analytics::DecoderInfo::audioDecodeErrors>},
    {"audio_data_errors",    member<&analytics::DecoderInfo::audioDataErrors>},
};

template <> inline constexpr Field<analytics::DashInfo> fields<analytics::DashInfo>[] = {
    {"dash_profile_switches", member<&analytics::DashInfo::dashProfileSwitches>},
    {"dash_playlist_errors",  member<&analytics::DashInfo::dashPlaylistErrors>},
    {"dash_segment_errors",   member<&analytics::DashInfo::dashSegmentErrors>},
};

template <> inline constexpr Field<analytics::HlsInfo> fields<analytics::HlsInfo>[] = {
    {"hls_profile_switches",       member<&analytics::HlsInfo::hlsProfileSwitches>},
    {"hls_master_playlist_errors", member<&analytics::HlsInfo::hlsMasterPlaylistErrors>},
    {"hls_media_playlist_errors",  member<&analytics::HlsInfo::hlsMediaPlaylistErrors>},
    {"hls_media_segment_errors",   member<&analytics::HlsInfo::hlsMediaSegmentErrors>},
    {"hls_discontinuities",        member<&analytics::HlsInfo::hlsDiscontinuities>},
};

template <> inline constexpr Field<analytics::BufferingInfo> fields<analytics::BufferingInfo>[] = {
    {"buffering_events",  member<&analytics::BufferingInfo::bufferingEvents>},
    {"buffering_seconds", member<&analytics::BufferingInfo::bufferingSeconds>},
    {"buffering_ms",      member<&analytics::BufferingInfo::bufferingMs>},
};

constexpr Field<analytics::Etr290Info> etr290FirstPriority[] = {
    {"ts_sync_loss",           member<&analytics::Etr290Info::tsSyncLoss>},
    {"sync_byte_error",        member<&analytics::Etr290Info::syncByteError>},
    {"pat_error",              member<&analytics::Etr290Info::patError>},
    {"continuity_count_error", member<&analytics::Etr290Info::continuityCountError>},
    {"pmt_error",              member<&analytics::Etr290Info::pmtError>},
    {"pid_error",              member<&analytics::Etr290Info::pidError>},
};

constexpr Field<analytics::Etr290Info> etr290ExtraCounters[] = {
    {"cc_error_video",      member<&analytics::Etr290Info::ccErrorVideo>},
    {"cc_error_audio",      member<&analytics::Etr290Info::ccErrorAudio>},
    {"pid_error_video",     member<&analytics::Etr290Info::pidErrorVideo>},
    {"pid_error_audio",     member<&analytics::Etr290Info::pidErrorAudio>},
    {"pid_error_subtitles", member<&analytics::Etr290Info::pidErrorSubtitles>},
    {"pid_error_teletext",  member<&analytics::Etr290Info::pidErrorTeletext>},
    {"pid_error_ecm",       member<&analytics::Etr290Info::pidErrorEcm>},
};

template <> inline constexpr Field<analytics::Etr290Info> fields<analytics::Etr290Info>[] = {
    {"first_priority", group<etr290FirstPriority>},
    {"extra_counters", group<etr290ExtraCounters>},
};

template <> inline constexpr Field<analytics::MdiInfo> fields<analytics::MdiInfo>[] = {
    {"mlr", member<&analytics::MdiInfo::mlr>},
    {"df",  member<&analytics::MdiInfo::df>},
};

template <> inline constexpr Field<analytics::Scte35> fields<analytics::Scte35>[] = {
    {"splice_event_id", member<&analytics::Scte35::spliceEventId>},
    {"splice_pts_time", member<&analytics::Scte35::splicePtsTime>},
};

constexpr Field<analytics::MessageTarget> messageLink[] = {
    {"id",              member<&analytics::MessageTarget::id>},
    {"category_id",     member<&analytics::MessageTarget::categoryId>},
    {"collection_id",   member<&analytics::MessageTarget::collectionId>},
    {"genre_id",        member<&analytics::MessageTarget::genreId>},
    {"channel_id",      member<&analytics::MessageTarget::channelId>},
    {"nc_channel_id",   member<&analytics::MessageTarget::ncChannelId>},
    {"program_id",      member<&analytics::MessageTarget::programId>},
    {"epg_id",          member<&analytics::MessageTarget::epgId>},
    {"original_id",     member<&analytics::MessageTarget::originalId>},
    {"screen_name",     member<&analytics::MessageTarget::screenName>},
    {"content_type",    member<&analytics::MessageTarget::contentType>},
    {"media_item_type", member<&analytics::MessageTarget::mediaItemType>},
    {"name",            member<&analytics::MessageTarget::name>},
    {"type_id",         member<&analytics::MessageTarget::typeId>},
    {"tab_id",          member<&analytics::MessageTarget::tabId>},
    {"theme_id",        member<&analytics::MessageTarget::themeId>},
    {"url",             member<&analytics::MessageTarget::url>},
    {"alias",           member<&analytics::MessageTarget::alias>},
};

template <> inline constexpr Field<analytics::MessageTarget> fields<analytics::MessageTarget>[] = {
    {"type",  member<&analytics::MessageTarget::type>},
    {"title", member<&analytics::MessageTarget::title>},
    {"link",  group<messageLink>},
};

template <> inline constexpr Field<analytics::PurchaseVariant> fields<analytics::PurchaseVariant>[] = {
    {"service_id",             member<&analytics::PurchaseVariant::serviceId>},
    {"content_id",             member<&analytics::PurchaseVariant::contentId>},
    {"content_type",           member<&analytics::PurchaseVariant::contentType>},
    {"currency",               member<&analytics::PurchaseVariant::currency>},
    {"purchase_cost",          member<&analytics::PurchaseVariant::purchaseCost>},
    {"usage_model",            member<&analytics::PurchaseVariant::usageModel>},
    {"type",                   member<&analytics::PurchaseVariant::type>},
    {"price_id",               member<&analytics::PurchaseVariant::priceId>},
    {"composite_component_id", member<&analytics::PurchaseVariant::compositeComponentId>},
};

// The box

template <> inline constexpr Field<analytics::CpuInfo> fields<analytics::CpuInfo>[] = {
    {"cpu_temperature",    member<&analytics::CpuInfo::cpuTemperature>},
    {"cpu_average_load",   member<&analytics::CpuInfo::cpuAverageLoad>},
    {"cpu_max_load",       member<&analytics::CpuInfo::cpuMaxLoad>},
    {"cpu_cores",          member<&analytics::CpuInfo::cpuCores>},
    {"sys_clock_freq_mhz", member<&analytics::CpuInfo::sysClockFreqMhz>},
};

template <> inline constexpr Field<analytics::MemoryInfo> fields<analytics::MemoryInfo>[] = {
    {"mem_total",           member<&analytics::MemoryInfo::memTotal>},
    {"mem_average_usage",   member<&analytics::MemoryInfo::memAverageUsage>},
    {"mem_max_usage",       member<&analytics::MemoryInfo::memMaxUsage>},
    {"avmem_average_usage", member<&analytics::MemoryInfo::avmemAverageUsage>},
    {"avmem_max_usage",     member<&analytics::MemoryInfo::avmemMaxUsage>},
    {"vm_size",             member<&analytics::MemoryInfo::vmSize>},
    {"vm_rss",              member<&analytics::MemoryInfo::vmRss>},
    {"vm_rss_max",          member<&analytics::MemoryInfo::vmRssMax>},
};

template <> inline constexpr Field<analytics::MemoryModule> fields<analytics::MemoryModule>[] = {
    {"mem_type", member<&analytics::MemoryModule::memType>},
    {"mem_size", member<&analytics::MemoryModule::memSize>},
    {"mem_info", member<&analytics::MemoryModule::memInfo>},
};

template <> inline constexpr Field<analytics::HardwareInfo> fields<analytics::HardwareInfo>[] = {
    {"manufacturer", member<&analytics::HardwareInfo::manufacturer>},
    {"model_name",   member<&analytics::HardwareInfo::modelName>},
    {"platform",     member<&analytics::HardwareInfo::platform>},
    {"hw_revision",  member<&analytics::HardwareInfo::hwRevision>},
    {"memory",       member<&analytics::HardwareInfo::memory>},
};

template <> inline constexpr Field<analytics::HdmiInfo> fields<analytics::HdmiInfo>[] = {
    {"tv_name",             member<&analytics::HdmiInfo::tvName>},
    {"tv_preferred_output", member<&analytics::HdmiInfo::tvPreferredOutput>},
    {"stb_current_output",  member<&analytics::HdmiInfo::stbCurrentOutput>},
};

template <> inline constexpr Field<analytics::WifiInfo> fields<analytics::WifiInfo>[] = {
    {"wifi_ssid",       member<&analytics::WifiInfo::wifiSsid>},
    {"wifi_bssid",      member<&analytics::WifiInfo::wifiBssid>},
    {"wifi_rssi",       member<&analytics::WifiInfo::wifiRssi>},
    {"wifi_freq_mhz",   member<&analytics::WifiInfo::wifiFreqMhz>},
    {"wifi_speed_mbps", member<&analytics::WifiInfo::wifiSpeedMbps>},
    {"wifi_generation", member<&analytics::WifiInfo::wifiGeneration>},
};

template <> inline constexpr Field<analytics::PowerInfo> fields<analytics::PowerInfo>[] = {
    {"power_state",        member<&analytics::PowerInfo::powerState>},
    {"power_state_period", member<&analytics::PowerInfo::powerStatePeriod>},
    {"power_change_cause", member<&analytics::PowerInfo::powerChangeCause>},
};

template <> inline constexpr Field<analytics::SystemSettings> fields<analytics::SystemSettings>[] = {
    {"ui_resolution",             member<&analytics::SystemSettings::uiResolution>},
    {"font_size",                 member<&analytics::SystemSettings::fontSize>},
    {"rcu_layout",                member<&analytics::SystemSettings::rcuLayout>},
    {"audio_level",               member<&analytics::SystemSettings::audioLevel>},
    {"audio_mute",                member<&analytics::SystemSettings::audioMute>},
    {"audio_downmix",             member<&analytics::SystemSettings::audioDownmix>},
    {"video_outputs",             videoOutputs},
    {"background_radio_playback", member<&analytics::SystemSettings::backgroundRadioPlayback>},
    {"background_tv_playback",    member<&analytics::SystemSettings::backgroundTvPlayback>},
    {"promo_banner_playback",     member<&analytics::SystemSettings::promoBannerPlayback>},
    {"content_card_playback",     member<&analytics::SystemSettings::contentCardPlayback>},
};

// The network

constexpr Field<analytics::NetworkInfo> networkStatistics[] = {
    {"rx_errors",       member<&analytics::NetworkInfo::rxErrors>},
    {"tx_errors",       member<&analytics::NetworkInfo::txErrors>},
    {"rx_dropped",      member<&analytics::NetworkInfo::rxDropped>},
    {"tx_dropped",      member<&analytics::NetworkInfo::txDropped>},
    {"rx_crc_errors",   member<&analytics::NetworkInfo::rxCrcErrors>},
    {"rx_frame_errors", member<&analytics::NetworkInfo::rxFrameErrors>},
};

template <> inline constexpr Field<analytics::NetworkInfo> fields<analytics::NetworkInfo>[] = {
    {"interface_name", member<&analytics::NetworkInfo::interfaceName>},
    {"interface_mode", member<&analytics::NetworkInfo::interfaceMode>},
    {"mac",            member<&analytics::NetworkInfo::mac>},
    {"speed_mbps",     member<&analytics::NetworkInfo::speedMbps>},
    {"duplex",         member<&analytics::NetworkInfo::duplex>},
    {"bitrate_kbps",   member<&analytics::NetworkInfo::bitrateKbps>},
    {"statistics",     group<networkStatistics>},
};

template <> inline constexpr Field<analytics::DhcpOption> fields<analytics::DhcpOption>[] = {
    {"code",  member<&analytics::DhcpOption::code>},
    {"value", member<&analytics::DhcpOption::value>},
};

template <> inline constexpr Field<analytics::NetworkInterface> fields<analytics::NetworkInterface>[] = {
    {"interface_name", member<&analytics::NetworkInterface::interfaceName>},
    {"status",         member<&analytics::NetworkInterface::status>},
    {"mac",            member<&analytics::NetworkInterface::mac>},
    {"interface_mode", member<&analytics::NetworkInterface::interfaceMode>},
    {"ip_v4",          member<&analytics::NetworkInterface::ipV4>},
    {"netmask",        member<&analytics::NetworkInterface::netmask>},
    {"gateway",        member<&analytics::NetworkInterface::gateway>},
    {"ip_v6",          member<&analytics::NetworkInterface::ipV6>},
    {"dhcp_options",   member<&analytics::NetworkInterface::dhcpOptions>},
    {"dns",            member<&analytics::NetworkInterface::dns>},
};

template <> inline constexpr Field<analytics::Endpoints> fields<analytics::Endpoints>[] = {
    {"api_url",   member<&analytics::Endpoints::apiUrl>},
    {"ws_url",    member<&analytics::Endpoints::wsUrl>},
    {"spy_url",   member<&analytics::Endpoints::spyUrl>},
    {"img_url",   member<&analytics::Endpoints::imgUrl>},
    {"proxy_url", member<&analytics::Endpoints::proxyUrl>},
};

// Errors

template <> inline constexpr Field<analytics::NcError> fields<analytics::NcError>[] = {
    {"api_url",             member<&analytics::NcError::apiUrl>},
    {"http_request_method", member<&analytics::NcError::httpRequestMethod>},
    {"http_request_path",   member<&analytics::NcError::httpRequestPath>},
    {"http_request_query",  requestQuery},
    {"debug_message",       member<&analytics::NcError::debugMessage>},
    {"http_response_code",  member<&analytics::NcError::httpResponseCode>},
    {"error_code",          member<&analytics::NcError::errorCode>},
};

template <> inline constexpr Field<analytics::HttpError> fields<analytics::HttpError>[] = {
    {"http_request_method", member<&analytics::HttpError::httpRequestMethod>},
    {"http_request_uri",    member<&analytics::HttpError::httpRequestUri>},
    {"http_response_code",  member<&analytics::HttpError::httpResponseCode>},
};

template <> inline constexpr Field<analytics::VerimatrixError> fields<analytics::VerimatrixError>[] = {
    {"command",       member<&analytics::VerimatrixError::command>},
    {"error_code",    member<&analytics::VerimatrixError::errorCode>},
    {"activity_code", member<&analytics::VerimatrixError::activityCode>},
    {"module_code",   member<&analytics::VerimatrixError::moduleCode>},
    {"error_count",   member<&analytics::VerimatrixError::errorCount>},
};

template <> inline constexpr Field<analytics::VmxErrors> fields<analytics::VmxErrors>[] = {
    {"total_error_count", member<&analytics::VmxErrors::totalErrorCount>},
    {"vmx_cas_errors",    member<&analytics::VmxErrors::vmxCasErrors>},
};

// clang-format on

inline QString videoOutputs(QJsonValue const &json, analytics::SystemSettings &settings)
{
    QList<VideoOutput> outputs;
    QString problem = read(json, outputs);
    for (VideoOutput const &output : std::as_const(outputs))
        settings.videoOutputs.append({output.name, output.mode});
    return problem;
}

/// Each item of a query is an object of its own, since a name may come more than once: [{"id":"7"},{"id":"8"}].
inline QString requestQuery(QJsonValue const &json, analytics::NcError &error)
{
    if (!json.isArray())
        return expected(QStringLiteral("an array"), json);

    QJsonArray const items = json.toArray();
    for (qsizetype i = 0; i < items.size(); ++i) {
        QJsonObject const item = items.at(i).toObject();
        if (item.size() != 1 || !item.begin()->isString())
            return QStringLiteral("[%1]: expected an object of one string").arg(i);
        error.httpRequestQuery.append({item.begin().key(), item.begin()->toString()});
    }
    return {};
}

} // namespace stbhost
