#include "support.h"

#include <analytics/records.h>
#include <analytics/recordwriter_p.h>

#include <QtTest/QTest>

#include <limits>
#include <utility>

using namespace analytics;

static char const *const leftOut = "";

template <typename Number> static constexpr Number lowest = std::numeric_limits<Number>::lowest();
template <typename Number> static constexpr Number highest = std::numeric_limits<Number>::max();
static constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
static constexpr float infinity = std::numeric_limits<float>::infinity();

template <typename Record> static QVariant of(Record const &record)
{
    return QVariant::fromValue(record);
}

/// A record with one field set. The value takes no part in finding the field's type, so that a row can write plain
/// numbers and braces.
template <typename Record, typename Type>
static QVariant with(Type Record::*field, typename std::common_type<Type>::type const &value)
{
    Record record;
    record.*field = value;
    return of(record);
}

/// Types of fields that lack something of what is needed to write them.
struct WithoutMaxBytes
{
};
struct WithoutIsEmpty
{
};
struct WithoutWrite
{
};

namespace analytics {

template <> struct FieldWriter<WithoutMaxBytes>
{
    static bool isEmpty(WithoutMaxBytes const &);
    static char *write(char *at, WithoutMaxBytes const &);
};
template <> struct FieldWriter<WithoutIsEmpty>
{
    static qsizetype maxBytes(WithoutIsEmpty const &);
    static char *write(char *at, WithoutIsEmpty const &);
};
template <> struct FieldWriter<WithoutWrite>
{
    static qsizetype maxBytes(WithoutWrite const &);
    static bool isEmpty(WithoutWrite const &);
};

} // namespace analytics

static QVariant amongNulls(QVariant const &record)
{
    return QVariantList{QVariant(), record, QVariant()};
}

static void addColumns()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");
}

static void addRow(char const *name, QVariant const &value, QByteArray const &json)
{
    QTest::newRow(name) << value << json;
}

class RecordEncodingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void empty_data();
    void empty() { compare(); }
    void singleField_data();
    void singleField() { compare(); }
    void full_data();
    void full() { compare(); }
    void limits_data();
    void limits() { compare(); }
    void numbers_data();
    void numbers() { compare(); }
    void lists_data();
    void lists() { compare(); }
    void texts_data();
    void texts() { compare(); }
    void emptyAmongNulls_data();
    void emptyAmongNulls() { compare(); }
    void setAmongNulls_data();
    void setAmongNulls() { compare(); }
    void fieldTypes_data();
    void fieldTypes();

private:
    void compare();
};

void RecordEncodingTest::compare()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);
    QCOMPARE(encoded(value), json);
}

// clang-format off

void RecordEncodingTest::empty_data()
{
    addColumns();
    addRow("Channel",         of(Channel{}),         leftOut);
    addRow("MediaItem",       of(MediaItem{}),       leftOut);
    addRow("PurchaseVariant", of(PurchaseVariant{}), R"({"usage_model":""})");
    addRow("NetworkInfo",     of(NetworkInfo{}),     R"({"statistics":{}})");
    addRow("NetworkInterface", of(NetworkInterface{}), leftOut);
    addRow("MemoryModule",    of(MemoryModule{}),    leftOut);
    addRow("Endpoints",       of(Endpoints{}),       leftOut);
    addRow("CpuInfo",         of(CpuInfo{}),         leftOut);
    addRow("MemoryInfo",      of(MemoryInfo{}),      leftOut);
    addRow("HdmiInfo",        of(HdmiInfo{}),        leftOut);
    addRow("PowerInfo",       of(PowerInfo{}),       leftOut);
    addRow("HardwareInfo",    of(HardwareInfo{}),    leftOut);
    addRow("WifiInfo",        of(WifiInfo{}),        leftOut);
    addRow("MdiInfo",         of(MdiInfo{}),         leftOut);
    addRow("Etr290Info",      of(Etr290Info{}),      R"({"extra_counters":{},"first_priority":{}})");
    addRow("DecoderInfo",     of(DecoderInfo{}),     leftOut);
    addRow("DashInfo",        of(DashInfo{}),        leftOut);
    addRow("HlsInfo",         of(HlsInfo{}),         leftOut);
    addRow("BufferingInfo",   of(BufferingInfo{}),   leftOut);
    addRow("MediaInfo",       of(MediaInfo{}),       leftOut);
    addRow("NcError",         of(NcError{}),         leftOut);
    addRow("HttpError",       of(HttpError{}),       leftOut);
    addRow("SystemSettings",  of(SystemSettings{}),  leftOut);
    addRow("Scte35",          of(Scte35{}),          leftOut);
    addRow("VerimatrixError", of(VerimatrixError{}), R"({"command":"","error_code":0})");
    addRow("VmxErrors",       of(VmxErrors{}),       leftOut);
    addRow("MessageTarget",   of(MessageTarget{}),   R"({"link":{}})");
}

void RecordEncodingTest::singleField_data()
{
    addColumns();
    addRow("Channel::channelId",                      with(&Channel::channelId, 0),                              R"({"channel_id":0})");
    addRow("Channel::programId",                      with(&Channel::programId, 0),                              R"({"program_id":0})");
    addRow("MediaItem::mediaItemId",                  with(&MediaItem::mediaItemId, 0),                          R"({"media_item_id":0})");
    addRow("MediaItem::assetId",                      with(&MediaItem::assetId, 0),                              R"({"asset_id":0})");
    addRow("PurchaseVariant::serviceId",              with(&PurchaseVariant::serviceId, 0),                      R"({"service_id":0,"usage_model":""})");
    addRow("PurchaseVariant::contentId",              with(&PurchaseVariant::contentId, 0),                      R"({"content_id":0,"usage_model":""})");
    addRow("PurchaseVariant::contentType",            with(&PurchaseVariant::contentType, text("x")),            R"({"content_type":"x","usage_model":""})");
    addRow("PurchaseVariant::currency",               with(&PurchaseVariant::currency, text("x")),               R"({"currency":"x","usage_model":""})");
    addRow("PurchaseVariant::purchaseCost",           with(&PurchaseVariant::purchaseCost, 0),                   R"({"purchase_cost":0,"usage_model":""})");
    addRow("PurchaseVariant::type",                   with(&PurchaseVariant::type, text("x")),                   R"({"type":"x","usage_model":""})");
    addRow("PurchaseVariant::priceId",                with(&PurchaseVariant::priceId, 0),                        R"({"price_id":0,"usage_model":""})");
    addRow("PurchaseVariant::compositeComponentId",   with(&PurchaseVariant::compositeComponentId, 0),           R"({"composite_component_id":0,"usage_model":""})");
    addRow("PurchaseVariant::usageModel",             with(&PurchaseVariant::usageModel, text("x")),             R"({"usage_model":"x"})");
    addRow("NetworkInfo::interfaceName",              with(&NetworkInfo::interfaceName, text("x")),              R"({"interface_name":"x","statistics":{}})");
    addRow("NetworkInfo::interfaceMode",              with(&NetworkInfo::interfaceMode, text("x")),              R"({"interface_mode":"x","statistics":{}})");
    addRow("NetworkInfo::mac",                        with(&NetworkInfo::mac, text("x")),                        R"({"mac":"x","statistics":{}})");
    addRow("NetworkInfo::speedMbps",                  with(&NetworkInfo::speedMbps, 0),                          R"({"speed_mbps":0,"statistics":{}})");
    addRow("NetworkInfo::duplex",                     with(&NetworkInfo::duplex, text("x")),                     R"({"duplex":"x","statistics":{}})");
    addRow("NetworkInfo::bitrateKbps",                with(&NetworkInfo::bitrateKbps, 0),                        R"({"bitrate_kbps":0,"statistics":{}})");
    addRow("NetworkInfo::rxErrors",                   with(&NetworkInfo::rxErrors, 0),                           R"({"statistics":{"rx_errors":0}})");
    addRow("NetworkInfo::txErrors",                   with(&NetworkInfo::txErrors, 0),                           R"({"statistics":{"tx_errors":0}})");
    addRow("NetworkInfo::rxDropped",                  with(&NetworkInfo::rxDropped, 0),                          R"({"statistics":{"rx_dropped":0}})");
    addRow("NetworkInfo::txDropped",                  with(&NetworkInfo::txDropped, 0),                          R"({"statistics":{"tx_dropped":0}})");
    addRow("NetworkInfo::rxCrcErrors",                with(&NetworkInfo::rxCrcErrors, 0),                        R"({"statistics":{"rx_crc_errors":0}})");
    addRow("NetworkInfo::rxFrameErrors",              with(&NetworkInfo::rxFrameErrors, 0),                      R"({"statistics":{"rx_frame_errors":0}})");
    addRow("NetworkInterface::interfaceName",         with(&NetworkInterface::interfaceName, text("x")),         R"({"interface_name":"x"})");
    addRow("NetworkInterface::status",                with(&NetworkInterface::status, text("x")),                R"({"status":"x"})");
    addRow("NetworkInterface::mac",                   with(&NetworkInterface::mac, text("x")),                   R"({"mac":"x"})");
    addRow("NetworkInterface::interfaceMode",         with(&NetworkInterface::interfaceMode, text("x")),         R"({"interface_mode":"x"})");
    addRow("NetworkInterface::ipV4",                  with(&NetworkInterface::ipV4, text("x")),                  R"({"ip_v4":"x"})");
    addRow("NetworkInterface::netmask",               with(&NetworkInterface::netmask, text("x")),               R"({"netmask":"x"})");
    addRow("NetworkInterface::gateway",               with(&NetworkInterface::gateway, text("x")),               R"({"gateway":"x"})");
    addRow("NetworkInterface::ipV6",                  with(&NetworkInterface::ipV6, text("x")),                  R"({"ip_v6":"x"})");
    addRow("NetworkInterface::dhcpOptions",           with(&NetworkInterface::dhcpOptions, {{0, {}}}),           R"({"dhcp_options":[{"code":0}]})");
    addRow("NetworkInterface::dns",                   with(&NetworkInterface::dns, {text("x")}),                 R"({"dns":["x"]})");
    addRow("MemoryModule::memType",                   with(&MemoryModule::memType, text("x")),                   R"({"mem_type":"x"})");
    addRow("MemoryModule::memSize",                   with(&MemoryModule::memSize, 0),                           R"({"mem_size":0})");
    addRow("MemoryModule::memInfo",                   with(&MemoryModule::memInfo, text("x")),                   R"({"mem_info":"x"})");
    addRow("Endpoints::apiUrl",                       with(&Endpoints::apiUrl, text("x")),                       R"({"api_url":"x"})");
    addRow("Endpoints::wsUrl",                        with(&Endpoints::wsUrl, text("x")),                        R"({"ws_url":"x"})");
    addRow("Endpoints::spyUrl",                       with(&Endpoints::spyUrl, text("x")),                       R"({"spy_url":"x"})");
    addRow("Endpoints::imgUrl",                       with(&Endpoints::imgUrl, text("x")),                       R"({"img_url":"x"})");
    addRow("Endpoints::proxyUrl",                     with(&Endpoints::proxyUrl, text("x")),                     R"({"proxy_url":"x"})");
    addRow("CpuInfo::cpuTemperature",                 with(&CpuInfo::cpuTemperature, 0),                         R"({"cpu_temperature":0})");
    addRow("CpuInfo::cpuAverageLoad",                 with(&CpuInfo::cpuAverageLoad, 0),                         R"({"cpu_average_load":0})");
    addRow("CpuInfo::cpuMaxLoad",                     with(&CpuInfo::cpuMaxLoad, 0),                             R"({"cpu_max_load":0})");
    addRow("CpuInfo::cpuCores",                       with(&CpuInfo::cpuCores, 0),                               R"({"cpu_cores":0})");
    addRow("CpuInfo::sysClockFreqMhz",                with(&CpuInfo::sysClockFreqMhz, 0),                        R"({"sys_clock_freq_mhz":0})");
    addRow("MemoryInfo::memTotal",                    with(&MemoryInfo::memTotal, 0),                            R"({"mem_total":0})");
    addRow("MemoryInfo::memAverageUsage",             with(&MemoryInfo::memAverageUsage, 0),                     R"({"mem_average_usage":0})");
    addRow("MemoryInfo::memMaxUsage",                 with(&MemoryInfo::memMaxUsage, 0),                         R"({"mem_max_usage":0})");
    addRow("MemoryInfo::avmemAverageUsage",           with(&MemoryInfo::avmemAverageUsage, 0),                   R"({"avmem_average_usage":0})");
    addRow("MemoryInfo::avmemMaxUsage",               with(&MemoryInfo::avmemMaxUsage, 0),                       R"({"avmem_max_usage":0})");
    addRow("MemoryInfo::vmSize",                      with(&MemoryInfo::vmSize, 0),                              R"({"vm_size":0})");
    addRow("MemoryInfo::vmRss",                       with(&MemoryInfo::vmRss, 0),                               R"({"vm_rss":0})");
    addRow("MemoryInfo::vmRssMax",                    with(&MemoryInfo::vmRssMax, 0),                            R"({"vm_rss_max":0})");
    addRow("HdmiInfo::tvName",                        with(&HdmiInfo::tvName, text("x")),                        R"({"tv_name":"x"})");
    addRow("HdmiInfo::tvPreferredOutput",             with(&HdmiInfo::tvPreferredOutput, text("x")),             R"({"tv_preferred_output":"x"})");
    addRow("HdmiInfo::stbCurrentOutput",              with(&HdmiInfo::stbCurrentOutput, text("x")),              R"({"stb_current_output":"x"})");
    addRow("PowerInfo::powerState",                   with(&PowerInfo::powerState, text("x")),                   R"({"power_state":"x"})");
    addRow("PowerInfo::powerStatePeriod",             with(&PowerInfo::powerStatePeriod, 0),                     R"({"power_state_period":0})");
    addRow("PowerInfo::powerChangeCause",             with(&PowerInfo::powerChangeCause, text("x")),             R"({"power_change_cause":"x"})");
    addRow("HardwareInfo::manufacturer",              with(&HardwareInfo::manufacturer, text("x")),              R"({"manufacturer":"x"})");
    addRow("HardwareInfo::modelName",                 with(&HardwareInfo::modelName, text("x")),                 R"({"model_name":"x"})");
    addRow("HardwareInfo::platform",                  with(&HardwareInfo::platform, text("x")),                  R"({"platform":"x"})");
    addRow("HardwareInfo::hwRevision",                with(&HardwareInfo::hwRevision, text("x")),                R"({"hw_revision":"x"})");
    addRow("HardwareInfo::memory",                    with(&HardwareInfo::memory, {{text("x"), {}, {}}}),        R"({"memory":[{"mem_type":"x"}]})");
    addRow("WifiInfo::wifiSsid",                      with(&WifiInfo::wifiSsid, text("x")),                      R"({"wifi_ssid":"x"})");
    addRow("WifiInfo::wifiBssid",                     with(&WifiInfo::wifiBssid, text("x")),                     R"({"wifi_bssid":"x"})");
    addRow("WifiInfo::wifiRssi",                      with(&WifiInfo::wifiRssi, 0),                              R"({"wifi_rssi":0})");
    addRow("WifiInfo::wifiFreqMhz",                   with(&WifiInfo::wifiFreqMhz, 0),                           R"({"wifi_freq_mhz":0})");
    addRow("WifiInfo::wifiSpeedMbps",                 with(&WifiInfo::wifiSpeedMbps, 0),                         R"({"wifi_speed_mbps":0})");
    addRow("WifiInfo::wifiGeneration",                with(&WifiInfo::wifiGeneration, text("x")),                R"({"wifi_generation":"x"})");
    addRow("MdiInfo::mlr",                            with(&MdiInfo::mlr, 0),                                    R"({"mlr":0})");
    addRow("MdiInfo::df",                             with(&MdiInfo::df, 0),                                     R"({"df":0})");
    addRow("Etr290Info::tsSyncLoss",                  with(&Etr290Info::tsSyncLoss, 0),                          R"({"extra_counters":{},"first_priority":{"ts_sync_loss":0}})");
    addRow("Etr290Info::syncByteError",               with(&Etr290Info::syncByteError, 0),                       R"({"extra_counters":{},"first_priority":{"sync_byte_error":0}})");
    addRow("Etr290Info::patError",                    with(&Etr290Info::patError, 0),                            R"({"extra_counters":{},"first_priority":{"pat_error":0}})");
    addRow("Etr290Info::continuityCountError",        with(&Etr290Info::continuityCountError, 0),                R"({"extra_counters":{},"first_priority":{"continuity_count_error":0}})");
    addRow("Etr290Info::pmtError",                    with(&Etr290Info::pmtError, 0),                            R"({"extra_counters":{},"first_priority":{"pmt_error":0}})");
    addRow("Etr290Info::pidError",                    with(&Etr290Info::pidError, 0),                            R"({"extra_counters":{},"first_priority":{"pid_error":0}})");
    addRow("Etr290Info::ccErrorVideo",                with(&Etr290Info::ccErrorVideo, 0),                        R"({"extra_counters":{"cc_error_video":0},"first_priority":{}})");
    addRow("Etr290Info::ccErrorAudio",                with(&Etr290Info::ccErrorAudio, 0),                        R"({"extra_counters":{"cc_error_audio":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorVideo",               with(&Etr290Info::pidErrorVideo, 0),                       R"({"extra_counters":{"pid_error_video":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorAudio",               with(&Etr290Info::pidErrorAudio, 0),                       R"({"extra_counters":{"pid_error_audio":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorSubtitles",           with(&Etr290Info::pidErrorSubtitles, 0),                   R"({"extra_counters":{"pid_error_subtitles":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorTeletext",            with(&Etr290Info::pidErrorTeletext, 0),                    R"({"extra_counters":{"pid_error_teletext":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorEcm",                 with(&Etr290Info::pidErrorEcm, 0),                         R"({"extra_counters":{"pid_error_ecm":0},"first_priority":{}})");
    addRow("DecoderInfo::videoFramesDecoded",         with(&DecoderInfo::videoFramesDecoded, 0),                 R"({"video_frames_decoded":0})");
    addRow("DecoderInfo::videoDecodeErrors",          with(&DecoderInfo::videoDecodeErrors, 0),                  R"({"video_decode_errors":0})");
    addRow("DecoderInfo::videoDataErrors",            with(&DecoderInfo::videoDataErrors, 0),                    R"({"video_data_errors":0})");
    addRow("DecoderInfo::audioFramesDecoded",         with(&DecoderInfo::audioFramesDecoded, 0),                 R"({"audio_frames_decoded":0})");
    addRow("DecoderInfo::audioDecodeErrors",          with(&DecoderInfo::audioDecodeErrors, 0),                  R"({"audio_decode_errors":0})");
    addRow("DecoderInfo::audioDataErrors",            with(&DecoderInfo::audioDataErrors, 0),                    R"({"audio_data_errors":0})");
    addRow("DashInfo::dashProfileSwitches",           with(&DashInfo::dashProfileSwitches, 0),                   R"({"dash_profile_switches":0})");
    addRow("DashInfo::dashPlaylistErrors",            with(&DashInfo::dashPlaylistErrors, 0),                    R"({"dash_playlist_errors":0})");
    addRow("DashInfo::dashSegmentErrors",             with(&DashInfo::dashSegmentErrors, 0),                     R"({"dash_segment_errors":0})");
    addRow("HlsInfo::hlsProfileSwitches",             with(&HlsInfo::hlsProfileSwitches, 0),                     R"({"hls_profile_switches":0})");
    addRow("HlsInfo::hlsMasterPlaylistErrors",        with(&HlsInfo::hlsMasterPlaylistErrors, 0),                R"({"hls_master_playlist_errors":0})");
    addRow("HlsInfo::hlsMediaPlaylistErrors",         with(&HlsInfo::hlsMediaPlaylistErrors, 0),                 R"({"hls_media_playlist_errors":0})");
    addRow("HlsInfo::hlsMediaSegmentErrors",          with(&HlsInfo::hlsMediaSegmentErrors, 0),                  R"({"hls_media_segment_errors":0})");
    addRow("HlsInfo::hlsDiscontinuities",             with(&HlsInfo::hlsDiscontinuities, 0),                     R"({"hls_discontinuities":0})");
    addRow("BufferingInfo::bufferingEvents",          with(&BufferingInfo::bufferingEvents, 0),                  R"({"buffering_events":0})");
    addRow("BufferingInfo::bufferingSeconds",         with(&BufferingInfo::bufferingSeconds, 0),                 R"({"buffering_seconds":0})");
    addRow("BufferingInfo::bufferingMs",              with(&BufferingInfo::bufferingMs, 0),                      R"({"buffering_ms":0})");
    addRow("MediaInfo::videoCodec",                   with(&MediaInfo::videoCodec, text("x")),                   R"({"video_codec":"x"})");
    addRow("MediaInfo::audioCodec",                   with(&MediaInfo::audioCodec, text("x")),                   R"({"audio_codec":"x"})");
    addRow("MediaInfo::videoScanType",                with(&MediaInfo::videoScanType, text("x")),                R"({"video_scan_type":"x"})");
    addRow("MediaInfo::audioChannels",                with(&MediaInfo::audioChannels, 0),                        R"({"audio_channels":0})");
    addRow("MediaInfo::videoWidth",                   with(&MediaInfo::videoWidth, 0),                           R"({"video_width":0})");
    addRow("MediaInfo::videoHeight",                  with(&MediaInfo::videoHeight, 0),                          R"({"video_height":0})");
    addRow("MediaInfo::videoFrameRate",               with(&MediaInfo::videoFrameRate, 0.0f),                    R"({"video_frame_rate":0})");
    addRow("NcError::apiUrl",                         with(&NcError::apiUrl, text("x")),                         R"({"api_url":"x"})");
    addRow("NcError::httpRequestMethod",              with(&NcError::httpRequestMethod, text("x")),              R"({"http_request_method":"x"})");
    addRow("NcError::httpRequestPath",                with(&NcError::httpRequestPath, text("x")),                R"({"http_request_path":"x"})");
    addRow("NcError::debugMessage",                   with(&NcError::debugMessage, text("x")),                   R"({"debug_message":"x"})");
    addRow("NcError::httpResponseCode",               with(&NcError::httpResponseCode, 0),                       R"({"http_response_code":0})");
    addRow("NcError::errorCode",                      with(&NcError::errorCode, 0),                              R"({"error_code":0})");
    addRow("NcError::httpRequestQuery",               with(&NcError::httpRequestQuery, {{text("x"), text("x")}}), R"({"http_request_query":[{"x":"x"}]})");
    addRow("HttpError::httpRequestMethod",            with(&HttpError::httpRequestMethod, text("x")),            R"({"http_request_method":"x"})");
    addRow("HttpError::httpRequestUri",               with(&HttpError::httpRequestUri, text("x")),               R"({"http_request_uri":"x"})");
    addRow("HttpError::httpResponseCode",             with(&HttpError::httpResponseCode, 0),                     R"({"http_response_code":0})");
    addRow("SystemSettings::uiResolution",            with(&SystemSettings::uiResolution, text("x")),            R"({"ui_resolution":"x"})");
    addRow("SystemSettings::fontSize",                with(&SystemSettings::fontSize, text("x")),                R"({"font_size":"x"})");
    addRow("SystemSettings::rcuLayout",               with(&SystemSettings::rcuLayout, text("x")),               R"({"rcu_layout":"x"})");
    addRow("SystemSettings::audioLevel",              with(&SystemSettings::audioLevel, 0),                      R"({"audio_level":0})");
    addRow("SystemSettings::audioMute",               with(&SystemSettings::audioMute, text("x")),               R"({"audio_mute":"x"})");
    addRow("SystemSettings::audioDownmix",            with(&SystemSettings::audioDownmix, text("x")),            R"({"audio_downmix":"x"})");
    addRow("SystemSettings::backgroundRadioPlayback", with(&SystemSettings::backgroundRadioPlayback, text("x")), R"({"background_radio_playback":"x"})");
    addRow("SystemSettings::backgroundTvPlayback",    with(&SystemSettings::backgroundTvPlayback, text("x")),    R"({"background_tv_playback":"x"})");
    addRow("SystemSettings::promoBannerPlayback",     with(&SystemSettings::promoBannerPlayback, text("x")),     R"({"promo_banner_playback":"x"})");
    addRow("SystemSettings::contentCardPlayback",     with(&SystemSettings::contentCardPlayback, text("x")),     R"({"content_card_playback":"x"})");
    addRow("SystemSettings::videoOutputs",            with(&SystemSettings::videoOutputs, {{text("x"), text("x")}}), R"({"video_outputs":[{"output_mode":"x","output_name":"x"}]})");
    addRow("Scte35::spliceEventId",                   with(&Scte35::spliceEventId, 0),                           R"({"splice_event_id":0})");
    addRow("Scte35::splicePtsTime",                   with(&Scte35::splicePtsTime, 0),                           R"({"splice_pts_time":0})");
    addRow("VerimatrixError::activityCode",           with(&VerimatrixError::activityCode, 0),                   R"({"activity_code":0,"command":"","error_code":0})");
    addRow("VerimatrixError::moduleCode",             with(&VerimatrixError::moduleCode, 0),                     R"({"command":"","error_code":0,"module_code":0})");
    addRow("VerimatrixError::errorCount",             with(&VerimatrixError::errorCount, 0),                     R"({"command":"","error_code":0,"error_count":0})");
    addRow("VerimatrixError::command",                with(&VerimatrixError::command, text("x")),                R"({"command":"x","error_code":0})");
    addRow("VerimatrixError::errorCode",              with(&VerimatrixError::errorCode, 1),                      R"({"command":"","error_code":1})");
    addRow("VmxErrors::totalErrorCount",              with(&VmxErrors::totalErrorCount, 0),                      R"({"total_error_count":0})");
    addRow("VmxErrors::vmxCasErrors",                 with(&VmxErrors::vmxCasErrors, {{}}),                      R"({"vmx_cas_errors":[{"command":"","error_code":0}]})");
    addRow("MessageTarget::type",                     with(&MessageTarget::type, text("x")),                     R"({"link":{},"type":"x"})");
    addRow("MessageTarget::title",                    with(&MessageTarget::title, text("x")),                    R"({"link":{},"title":"x"})");
    addRow("MessageTarget::id",                       with(&MessageTarget::id, 0),                               R"({"link":{"id":0}})");
    addRow("MessageTarget::categoryId",               with(&MessageTarget::categoryId, 0),                       R"({"link":{"category_id":0}})");
    addRow("MessageTarget::collectionId",             with(&MessageTarget::collectionId, 0),                     R"({"link":{"collection_id":0}})");
    addRow("MessageTarget::genreId",                  with(&MessageTarget::genreId, 0),                          R"({"link":{"genre_id":0}})");
    addRow("MessageTarget::channelId",                with(&MessageTarget::channelId, 0),                        R"({"link":{"channel_id":0}})");
    addRow("MessageTarget::ncChannelId",              with(&MessageTarget::ncChannelId, 0),                      R"({"link":{"nc_channel_id":0}})");
    addRow("MessageTarget::programId",                with(&MessageTarget::programId, 0),                        R"({"link":{"program_id":0}})");
    addRow("MessageTarget::epgId",                    with(&MessageTarget::epgId, 0),                            R"({"link":{"epg_id":0}})");
    addRow("MessageTarget::originalId",               with(&MessageTarget::originalId, 0),                       R"({"link":{"original_id":0}})");
    addRow("MessageTarget::screenName",               with(&MessageTarget::screenName, text("x")),               R"({"link":{"screen_name":"x"}})");
    addRow("MessageTarget::contentType",              with(&MessageTarget::contentType, text("x")),              R"({"link":{"content_type":"x"}})");
    addRow("MessageTarget::mediaItemType",            with(&MessageTarget::mediaItemType, text("x")),            R"({"link":{"media_item_type":"x"}})");
    addRow("MessageTarget::name",                     with(&MessageTarget::name, text("x")),                     R"({"link":{"name":"x"}})");
    addRow("MessageTarget::typeId",                   with(&MessageTarget::typeId, 0),                           R"({"link":{"type_id":0}})");
    addRow("MessageTarget::tabId",                    with(&MessageTarget::tabId, 0),                            R"({"link":{"tab_id":0}})");
    addRow("MessageTarget::themeId",                  with(&MessageTarget::themeId, 0),                          R"({"link":{"theme_id":0}})");
    addRow("MessageTarget::url",                      with(&MessageTarget::url, text("x")),                      R"({"link":{"url":"x"}})");
    addRow("MessageTarget::alias",                    with(&MessageTarget::alias, text("x")),                    R"({"link":{"alias":"x"}})");
}

void RecordEncodingTest::full_data()
{
    addColumns();
    addRow("Channel",         of(Channel{1, 2}),
           R"({"channel_id":1,"program_id":2})");
    addRow("MediaItem",       of(MediaItem{1, 2}),
           R"({"asset_id":2,"media_item_id":1})");
    addRow("PurchaseVariant", of(PurchaseVariant{1, 2, text("film"), text("EUR"), 3, text("rent"), text("once"), 4, 5}),
           R"({"composite_component_id":5,"content_id":2,"content_type":"film","currency":"EUR","price_id":4,"purchase_cost":3,"service_id":1,"type":"once","usage_model":"rent"})");
    addRow("NetworkInfo",     of(NetworkInfo{text("eth0"), text("dhcp"), text("00:11"), 100, text("full"), 5000, 1, 2, 3, 4, 5, 6}),
           R"({"bitrate_kbps":5000,"duplex":"full","interface_mode":"dhcp","interface_name":"eth0","mac":"00:11","speed_mbps":100,"statistics":{"rx_crc_errors":5,"rx_dropped":3,"rx_errors":1,"rx_frame_errors":6,"tx_dropped":4,"tx_errors":2}})");
    addRow("NetworkInterface", of(NetworkInterface{text("eth0"), text("up"), text("00:11"), text("dhcp"), text("10.0.0.2"), text("/24"), text("10.0.0.1"), text("fe80::1"), {{60, text("a")}, {43, text("b")}}, {text("8.8.8.8"), text("1.1.1.1")}}),
           R"({"dhcp_options":[{"code":60,"value":"a"},{"code":43,"value":"b"}],"dns":["8.8.8.8","1.1.1.1"],"gateway":"10.0.0.1","interface_mode":"dhcp","interface_name":"eth0","ip_v4":"10.0.0.2","ip_v6":"fe80::1","mac":"00:11","netmask":"/24","status":"up"})");
    addRow("MemoryModule",    of(MemoryModule{text("DDR4"), 2048, text("slot 0")}),
           R"({"mem_info":"slot 0","mem_size":2048,"mem_type":"DDR4"})");
    addRow("Endpoints",       of(Endpoints{text("a"), text("b"), text("c"), text("d"), text("e")}),
           R"({"api_url":"a","img_url":"d","proxy_url":"e","spy_url":"c","ws_url":"b"})");
    addRow("CpuInfo",         of(CpuInfo{-10, 20, 30, 4, 1500}),
           R"({"cpu_average_load":20,"cpu_cores":4,"cpu_max_load":30,"cpu_temperature":-10,"sys_clock_freq_mhz":1500})");
    addRow("MemoryInfo",      of(MemoryInfo{1, 2, 3, 4, 5, 6, 7, 8}),
           R"({"avmem_average_usage":4,"avmem_max_usage":5,"mem_average_usage":2,"mem_max_usage":3,"mem_total":1,"vm_rss":7,"vm_rss_max":8,"vm_size":6})");
    addRow("HdmiInfo",        of(HdmiInfo{text("TV"), text("2160p50"), text("1080p50")}),
           R"({"stb_current_output":"1080p50","tv_name":"TV","tv_preferred_output":"2160p50"})");
    addRow("PowerInfo",       of(PowerInfo{text("on"), 60, text("key")}),
           R"({"power_change_cause":"key","power_state":"on","power_state_period":60})");
    addRow("HardwareInfo",    of(HardwareInfo{text("m"), text("n"), text("p"), text("r"), {{text("DDR4"), 1, {}}, {{}, 2, text("i")}}}),
           R"({"hw_revision":"r","manufacturer":"m","memory":[{"mem_size":1,"mem_type":"DDR4"},{"mem_info":"i","mem_size":2}],"model_name":"n","platform":"p"})");
    addRow("WifiInfo",        of(WifiInfo{text("home"), text("aa:bb"), -70, 5180, 866, text("ac")}),
           R"({"wifi_bssid":"aa:bb","wifi_freq_mhz":5180,"wifi_generation":"ac","wifi_rssi":-70,"wifi_speed_mbps":866,"wifi_ssid":"home"})");
    addRow("MdiInfo",         of(MdiInfo{1, 2}),
           R"({"df":2,"mlr":1})");
    addRow("Etr290Info",      of(Etr290Info{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}),
           R"({"extra_counters":{"cc_error_audio":8,"cc_error_video":7,"pid_error_audio":10,"pid_error_ecm":13,"pid_error_subtitles":11,"pid_error_teletext":12,"pid_error_video":9},"first_priority":{"continuity_count_error":4,"pat_error":3,"pid_error":6,"pmt_error":5,"sync_byte_error":2,"ts_sync_loss":1}})");
    addRow("DecoderInfo",     of(DecoderInfo{1, 2, 3, 4, 5, 6}),
           R"({"audio_data_errors":6,"audio_decode_errors":5,"audio_frames_decoded":4,"video_data_errors":3,"video_decode_errors":2,"video_frames_decoded":1})");
    addRow("DashInfo",        of(DashInfo{1, 2, 3}),
           R"({"dash_playlist_errors":2,"dash_profile_switches":1,"dash_segment_errors":3})");
    addRow("HlsInfo",         of(HlsInfo{1, 2, 3, 4, 5}),
           R"({"hls_discontinuities":5,"hls_master_playlist_errors":2,"hls_media_playlist_errors":3,"hls_media_segment_errors":4,"hls_profile_switches":1})");
    addRow("BufferingInfo",   of(BufferingInfo{1, 2, 3}),
           R"({"buffering_events":1,"buffering_ms":3,"buffering_seconds":2})");
    addRow("MediaInfo",       of(MediaInfo{text("hevc"), text("ac3"), text("p"), 6, 1920, 1080, 50.0f}),
           R"({"audio_channels":6,"audio_codec":"ac3","video_codec":"hevc","video_frame_rate":50,"video_height":1080,"video_scan_type":"p","video_width":1920})");
    addRow("NcError",         of(NcError{text("http://a"), text("GET"), text("/p"), {{text("k"), text("v")}, {text("l"), text("w")}}, text("why"), 503, -9}),
           R"({"api_url":"http://a","debug_message":"why","error_code":-9,"http_request_method":"GET","http_request_path":"/p","http_request_query":[{"k":"v"},{"l":"w"}],"http_response_code":503})");
    addRow("HttpError",       of(HttpError{text("GET"), text("http://a"), 404}),
           R"({"http_request_method":"GET","http_request_uri":"http://a","http_response_code":404})");
    addRow("SystemSettings",  of(SystemSettings{text("720p"), text("big"), text("a"), 50, text("on"), text("off"), {{text("hdmi"), text("1080p")}, {text("cvbs"), text("pal")}}, text("b"), text("c"), text("d"), text("e")}),
           R"({"audio_downmix":"off","audio_level":50,"audio_mute":"on","background_radio_playback":"b","background_tv_playback":"c","content_card_playback":"e","font_size":"big","promo_banner_playback":"d","rcu_layout":"a","ui_resolution":"720p","video_outputs":[{"output_mode":"1080p","output_name":"hdmi"},{"output_mode":"pal","output_name":"cvbs"}]})");
    addRow("Scte35",          of(Scte35{1, 2}),
           R"({"splice_event_id":1,"splice_pts_time":2})");
    addRow("VerimatrixError", of(VerimatrixError{text("c"), 1, 2, 3, 4}),
           R"({"activity_code":2,"command":"c","error_code":1,"error_count":4,"module_code":3})");
    addRow("VmxErrors",       of(VmxErrors{5, {{text("c"), 1, 2, 3, 4}, {text("d"), 6, {}, {}, {}}}}),
           R"({"total_error_count":5,"vmx_cas_errors":[{"activity_code":2,"command":"c","error_code":1,"error_count":4,"module_code":3},{"command":"d","error_code":6}]})");
    addRow("MessageTarget",   of(MessageTarget{text("t"), text("u"), 1, 2, 3, 4, 5, 6, 7, 8, 9, text("sn"), text("ct"), text("mi"), text("na"), 10, 11, 12, text("ur"), text("al")}),
           R"({"link":{"alias":"al","category_id":2,"channel_id":5,"collection_id":3,"content_type":"ct","epg_id":8,"genre_id":4,"id":1,"media_item_type":"mi","name":"na","nc_channel_id":6,"original_id":9,"program_id":7,"screen_name":"sn","tab_id":11,"theme_id":12,"type_id":10,"url":"ur"},"title":"u","type":"t"})");
}

void RecordEncodingTest::limits_data()
{
    addColumns();
    addRow("Channel::channelId lowest",                     with(&Channel::channelId, lowest<qint64>),                     R"({"channel_id":-9223372036854776000})");
    addRow("Channel::channelId highest",                    with(&Channel::channelId, highest<qint64>),                    R"({"channel_id":9223372036854776000})");
    addRow("Channel::programId lowest",                     with(&Channel::programId, lowest<qint64>),                     R"({"program_id":-9223372036854776000})");
    addRow("Channel::programId highest",                    with(&Channel::programId, highest<qint64>),                    R"({"program_id":9223372036854776000})");
    addRow("MediaItem::mediaItemId lowest",                 with(&MediaItem::mediaItemId, lowest<qint64>),                 R"({"media_item_id":-9223372036854776000})");
    addRow("MediaItem::mediaItemId highest",                with(&MediaItem::mediaItemId, highest<qint64>),                R"({"media_item_id":9223372036854776000})");
    addRow("MediaItem::assetId lowest",                     with(&MediaItem::assetId, lowest<qint64>),                     R"({"asset_id":-9223372036854776000})");
    addRow("MediaItem::assetId highest",                    with(&MediaItem::assetId, highest<qint64>),                    R"({"asset_id":9223372036854776000})");
    addRow("PurchaseVariant::serviceId lowest",             with(&PurchaseVariant::serviceId, lowest<qint64>),             R"({"service_id":-9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::serviceId highest",            with(&PurchaseVariant::serviceId, highest<qint64>),            R"({"service_id":9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::contentId lowest",             with(&PurchaseVariant::contentId, lowest<qint64>),             R"({"content_id":-9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::contentId highest",            with(&PurchaseVariant::contentId, highest<qint64>),            R"({"content_id":9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::purchaseCost lowest",          with(&PurchaseVariant::purchaseCost, lowest<qint64>),          R"({"purchase_cost":-9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::purchaseCost highest",         with(&PurchaseVariant::purchaseCost, highest<qint64>),         R"({"purchase_cost":9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::priceId lowest",               with(&PurchaseVariant::priceId, lowest<qint64>),               R"({"price_id":-9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::priceId highest",              with(&PurchaseVariant::priceId, highest<qint64>),              R"({"price_id":9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::compositeComponentId lowest",  with(&PurchaseVariant::compositeComponentId, lowest<qint64>),  R"({"composite_component_id":-9223372036854776000,"usage_model":""})");
    addRow("PurchaseVariant::compositeComponentId highest", with(&PurchaseVariant::compositeComponentId, highest<qint64>), R"({"composite_component_id":9223372036854776000,"usage_model":""})");
    addRow("NetworkInfo::speedMbps lowest",                 with(&NetworkInfo::speedMbps, lowest<quint32>),                R"({"speed_mbps":0,"statistics":{}})");
    addRow("NetworkInfo::speedMbps highest",                with(&NetworkInfo::speedMbps, highest<quint32>),               R"({"speed_mbps":4294967295,"statistics":{}})");
    addRow("NetworkInfo::bitrateKbps lowest",               with(&NetworkInfo::bitrateKbps, lowest<quint32>),              R"({"bitrate_kbps":0,"statistics":{}})");
    addRow("NetworkInfo::bitrateKbps highest",              with(&NetworkInfo::bitrateKbps, highest<quint32>),             R"({"bitrate_kbps":4294967295,"statistics":{}})");
    addRow("NetworkInfo::rxErrors lowest",                  with(&NetworkInfo::rxErrors, lowest<quint32>),                 R"({"statistics":{"rx_errors":0}})");
    addRow("NetworkInfo::rxErrors highest",                 with(&NetworkInfo::rxErrors, highest<quint32>),                R"({"statistics":{"rx_errors":4294967295}})");
    addRow("NetworkInfo::txErrors lowest",                  with(&NetworkInfo::txErrors, lowest<quint32>),                 R"({"statistics":{"tx_errors":0}})");
    addRow("NetworkInfo::txErrors highest",                 with(&NetworkInfo::txErrors, highest<quint32>),                R"({"statistics":{"tx_errors":4294967295}})");
    addRow("NetworkInfo::rxDropped lowest",                 with(&NetworkInfo::rxDropped, lowest<quint32>),                R"({"statistics":{"rx_dropped":0}})");
    addRow("NetworkInfo::rxDropped highest",                with(&NetworkInfo::rxDropped, highest<quint32>),               R"({"statistics":{"rx_dropped":4294967295}})");
    addRow("NetworkInfo::txDropped lowest",                 with(&NetworkInfo::txDropped, lowest<quint32>),                R"({"statistics":{"tx_dropped":0}})");
    addRow("NetworkInfo::txDropped highest",                with(&NetworkInfo::txDropped, highest<quint32>),               R"({"statistics":{"tx_dropped":4294967295}})");
    addRow("NetworkInfo::rxCrcErrors lowest",               with(&NetworkInfo::rxCrcErrors, lowest<quint32>),              R"({"statistics":{"rx_crc_errors":0}})");
    addRow("NetworkInfo::rxCrcErrors highest",              with(&NetworkInfo::rxCrcErrors, highest<quint32>),             R"({"statistics":{"rx_crc_errors":4294967295}})");
    addRow("NetworkInfo::rxFrameErrors lowest",             with(&NetworkInfo::rxFrameErrors, lowest<quint32>),            R"({"statistics":{"rx_frame_errors":0}})");
    addRow("NetworkInfo::rxFrameErrors highest",            with(&NetworkInfo::rxFrameErrors, highest<quint32>),           R"({"statistics":{"rx_frame_errors":4294967295}})");
    addRow("MemoryModule::memSize lowest",                  with(&MemoryModule::memSize, lowest<quint32>),                 R"({"mem_size":0})");
    addRow("MemoryModule::memSize highest",                 with(&MemoryModule::memSize, highest<quint32>),                R"({"mem_size":4294967295})");
    addRow("CpuInfo::cpuTemperature lowest",                with(&CpuInfo::cpuTemperature, lowest<qint16>),                R"({"cpu_temperature":-32768})");
    addRow("CpuInfo::cpuTemperature highest",               with(&CpuInfo::cpuTemperature, highest<qint16>),               R"({"cpu_temperature":32767})");
    addRow("CpuInfo::cpuAverageLoad lowest",                with(&CpuInfo::cpuAverageLoad, lowest<qint16>),                R"({"cpu_average_load":-32768})");
    addRow("CpuInfo::cpuAverageLoad highest",               with(&CpuInfo::cpuAverageLoad, highest<qint16>),               R"({"cpu_average_load":32767})");
    addRow("CpuInfo::cpuMaxLoad lowest",                    with(&CpuInfo::cpuMaxLoad, lowest<qint16>),                    R"({"cpu_max_load":-32768})");
    addRow("CpuInfo::cpuMaxLoad highest",                   with(&CpuInfo::cpuMaxLoad, highest<qint16>),                   R"({"cpu_max_load":32767})");
    addRow("CpuInfo::cpuCores lowest",                      with(&CpuInfo::cpuCores, lowest<qint16>),                      R"({"cpu_cores":-32768})");
    addRow("CpuInfo::cpuCores highest",                     with(&CpuInfo::cpuCores, highest<qint16>),                     R"({"cpu_cores":32767})");
    addRow("CpuInfo::sysClockFreqMhz lowest",               with(&CpuInfo::sysClockFreqMhz, lowest<qint16>),               R"({"sys_clock_freq_mhz":-32768})");
    addRow("CpuInfo::sysClockFreqMhz highest",              with(&CpuInfo::sysClockFreqMhz, highest<qint16>),              R"({"sys_clock_freq_mhz":32767})");
    addRow("MemoryInfo::memTotal lowest",                   with(&MemoryInfo::memTotal, lowest<qint32>),                   R"({"mem_total":-2147483648})");
    addRow("MemoryInfo::memTotal highest",                  with(&MemoryInfo::memTotal, highest<qint32>),                  R"({"mem_total":2147483647})");
    addRow("MemoryInfo::memAverageUsage lowest",            with(&MemoryInfo::memAverageUsage, lowest<qint32>),            R"({"mem_average_usage":-2147483648})");
    addRow("MemoryInfo::memAverageUsage highest",           with(&MemoryInfo::memAverageUsage, highest<qint32>),           R"({"mem_average_usage":2147483647})");
    addRow("MemoryInfo::memMaxUsage lowest",                with(&MemoryInfo::memMaxUsage, lowest<qint32>),                R"({"mem_max_usage":-2147483648})");
    addRow("MemoryInfo::memMaxUsage highest",               with(&MemoryInfo::memMaxUsage, highest<qint32>),               R"({"mem_max_usage":2147483647})");
    addRow("MemoryInfo::avmemAverageUsage lowest",          with(&MemoryInfo::avmemAverageUsage, lowest<qint32>),          R"({"avmem_average_usage":-2147483648})");
    addRow("MemoryInfo::avmemAverageUsage highest",         with(&MemoryInfo::avmemAverageUsage, highest<qint32>),         R"({"avmem_average_usage":2147483647})");
    addRow("MemoryInfo::avmemMaxUsage lowest",              with(&MemoryInfo::avmemMaxUsage, lowest<qint32>),              R"({"avmem_max_usage":-2147483648})");
    addRow("MemoryInfo::avmemMaxUsage highest",             with(&MemoryInfo::avmemMaxUsage, highest<qint32>),             R"({"avmem_max_usage":2147483647})");
    addRow("MemoryInfo::vmSize lowest",                     with(&MemoryInfo::vmSize, lowest<quint32>),                    R"({"vm_size":0})");
    addRow("MemoryInfo::vmSize highest",                    with(&MemoryInfo::vmSize, highest<quint32>),                   R"({"vm_size":4294967295})");
    addRow("MemoryInfo::vmRss lowest",                      with(&MemoryInfo::vmRss, lowest<qint32>),                      R"({"vm_rss":-2147483648})");
    addRow("MemoryInfo::vmRss highest",                     with(&MemoryInfo::vmRss, highest<qint32>),                     R"({"vm_rss":2147483647})");
    addRow("MemoryInfo::vmRssMax lowest",                   with(&MemoryInfo::vmRssMax, lowest<qint32>),                   R"({"vm_rss_max":-2147483648})");
    addRow("MemoryInfo::vmRssMax highest",                  with(&MemoryInfo::vmRssMax, highest<qint32>),                  R"({"vm_rss_max":2147483647})");
    addRow("PowerInfo::powerStatePeriod lowest",            with(&PowerInfo::powerStatePeriod, lowest<quint32>),           R"({"power_state_period":0})");
    addRow("PowerInfo::powerStatePeriod highest",           with(&PowerInfo::powerStatePeriod, highest<quint32>),          R"({"power_state_period":4294967295})");
    addRow("WifiInfo::wifiRssi lowest",                     with(&WifiInfo::wifiRssi, lowest<qint8>),                      R"({"wifi_rssi":-128})");
    addRow("WifiInfo::wifiRssi highest",                    with(&WifiInfo::wifiRssi, highest<qint8>),                     R"({"wifi_rssi":127})");
    addRow("WifiInfo::wifiFreqMhz lowest",                  with(&WifiInfo::wifiFreqMhz, lowest<quint16>),                 R"({"wifi_freq_mhz":0})");
    addRow("WifiInfo::wifiFreqMhz highest",                 with(&WifiInfo::wifiFreqMhz, highest<quint16>),                R"({"wifi_freq_mhz":65535})");
    addRow("WifiInfo::wifiSpeedMbps lowest",                with(&WifiInfo::wifiSpeedMbps, lowest<quint32>),               R"({"wifi_speed_mbps":0})");
    addRow("WifiInfo::wifiSpeedMbps highest",               with(&WifiInfo::wifiSpeedMbps, highest<quint32>),              R"({"wifi_speed_mbps":4294967295})");
    addRow("MdiInfo::mlr lowest",                           with(&MdiInfo::mlr, lowest<quint64>),                          R"({"mlr":0})");
    addRow("MdiInfo::mlr highest",                          with(&MdiInfo::mlr, highest<quint64>),                         R"({"mlr":18446744073709552000})");
    addRow("MdiInfo::df lowest",                            with(&MdiInfo::df, lowest<quint64>),                           R"({"df":0})");
    addRow("MdiInfo::df highest",                           with(&MdiInfo::df, highest<quint64>),                          R"({"df":18446744073709552000})");
    addRow("Etr290Info::tsSyncLoss lowest",                 with(&Etr290Info::tsSyncLoss, lowest<quint64>),                R"({"extra_counters":{},"first_priority":{"ts_sync_loss":0}})");
    addRow("Etr290Info::tsSyncLoss highest",                with(&Etr290Info::tsSyncLoss, highest<quint64>),               R"({"extra_counters":{},"first_priority":{"ts_sync_loss":18446744073709552000}})");
    addRow("Etr290Info::syncByteError lowest",              with(&Etr290Info::syncByteError, lowest<quint64>),             R"({"extra_counters":{},"first_priority":{"sync_byte_error":0}})");
    addRow("Etr290Info::syncByteError highest",             with(&Etr290Info::syncByteError, highest<quint64>),            R"({"extra_counters":{},"first_priority":{"sync_byte_error":18446744073709552000}})");
    addRow("Etr290Info::patError lowest",                   with(&Etr290Info::patError, lowest<quint64>),                  R"({"extra_counters":{},"first_priority":{"pat_error":0}})");
    addRow("Etr290Info::patError highest",                  with(&Etr290Info::patError, highest<quint64>),                 R"({"extra_counters":{},"first_priority":{"pat_error":18446744073709552000}})");
    addRow("Etr290Info::continuityCountError lowest",       with(&Etr290Info::continuityCountError, lowest<quint64>),      R"({"extra_counters":{},"first_priority":{"continuity_count_error":0}})");
    addRow("Etr290Info::continuityCountError highest",      with(&Etr290Info::continuityCountError, highest<quint64>),     R"({"extra_counters":{},"first_priority":{"continuity_count_error":18446744073709552000}})");
    addRow("Etr290Info::pmtError lowest",                   with(&Etr290Info::pmtError, lowest<quint64>),                  R"({"extra_counters":{},"first_priority":{"pmt_error":0}})");
    addRow("Etr290Info::pmtError highest",                  with(&Etr290Info::pmtError, highest<quint64>),                 R"({"extra_counters":{},"first_priority":{"pmt_error":18446744073709552000}})");
    addRow("Etr290Info::pidError lowest",                   with(&Etr290Info::pidError, lowest<quint64>),                  R"({"extra_counters":{},"first_priority":{"pid_error":0}})");
    addRow("Etr290Info::pidError highest",                  with(&Etr290Info::pidError, highest<quint64>),                 R"({"extra_counters":{},"first_priority":{"pid_error":18446744073709552000}})");
    addRow("Etr290Info::ccErrorVideo lowest",               with(&Etr290Info::ccErrorVideo, lowest<quint64>),              R"({"extra_counters":{"cc_error_video":0},"first_priority":{}})");
    addRow("Etr290Info::ccErrorVideo highest",              with(&Etr290Info::ccErrorVideo, highest<quint64>),             R"({"extra_counters":{"cc_error_video":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::ccErrorAudio lowest",               with(&Etr290Info::ccErrorAudio, lowest<quint64>),              R"({"extra_counters":{"cc_error_audio":0},"first_priority":{}})");
    addRow("Etr290Info::ccErrorAudio highest",              with(&Etr290Info::ccErrorAudio, highest<quint64>),             R"({"extra_counters":{"cc_error_audio":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::pidErrorVideo lowest",              with(&Etr290Info::pidErrorVideo, lowest<quint64>),             R"({"extra_counters":{"pid_error_video":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorVideo highest",             with(&Etr290Info::pidErrorVideo, highest<quint64>),            R"({"extra_counters":{"pid_error_video":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::pidErrorAudio lowest",              with(&Etr290Info::pidErrorAudio, lowest<quint64>),             R"({"extra_counters":{"pid_error_audio":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorAudio highest",             with(&Etr290Info::pidErrorAudio, highest<quint64>),            R"({"extra_counters":{"pid_error_audio":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::pidErrorSubtitles lowest",          with(&Etr290Info::pidErrorSubtitles, lowest<quint64>),         R"({"extra_counters":{"pid_error_subtitles":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorSubtitles highest",         with(&Etr290Info::pidErrorSubtitles, highest<quint64>),        R"({"extra_counters":{"pid_error_subtitles":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::pidErrorTeletext lowest",           with(&Etr290Info::pidErrorTeletext, lowest<quint64>),          R"({"extra_counters":{"pid_error_teletext":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorTeletext highest",          with(&Etr290Info::pidErrorTeletext, highest<quint64>),         R"({"extra_counters":{"pid_error_teletext":18446744073709552000},"first_priority":{}})");
    addRow("Etr290Info::pidErrorEcm lowest",                with(&Etr290Info::pidErrorEcm, lowest<quint64>),               R"({"extra_counters":{"pid_error_ecm":0},"first_priority":{}})");
    addRow("Etr290Info::pidErrorEcm highest",               with(&Etr290Info::pidErrorEcm, highest<quint64>),              R"({"extra_counters":{"pid_error_ecm":18446744073709552000},"first_priority":{}})");
    addRow("DecoderInfo::videoFramesDecoded lowest",        with(&DecoderInfo::videoFramesDecoded, lowest<qint64>),        R"({"video_frames_decoded":-9223372036854776000})");
    addRow("DecoderInfo::videoFramesDecoded highest",       with(&DecoderInfo::videoFramesDecoded, highest<qint64>),       R"({"video_frames_decoded":9223372036854776000})");
    addRow("DecoderInfo::videoDecodeErrors lowest",         with(&DecoderInfo::videoDecodeErrors, lowest<qint64>),         R"({"video_decode_errors":-9223372036854776000})");
    addRow("DecoderInfo::videoDecodeErrors highest",        with(&DecoderInfo::videoDecodeErrors, highest<qint64>),        R"({"video_decode_errors":9223372036854776000})");
    addRow("DecoderInfo::videoDataErrors lowest",           with(&DecoderInfo::videoDataErrors, lowest<qint64>),           R"({"video_data_errors":-9223372036854776000})");
    addRow("DecoderInfo::videoDataErrors highest",          with(&DecoderInfo::videoDataErrors, highest<qint64>),          R"({"video_data_errors":9223372036854776000})");
    addRow("DecoderInfo::audioFramesDecoded lowest",        with(&DecoderInfo::audioFramesDecoded, lowest<qint64>),        R"({"audio_frames_decoded":-9223372036854776000})");
    addRow("DecoderInfo::audioFramesDecoded highest",       with(&DecoderInfo::audioFramesDecoded, highest<qint64>),       R"({"audio_frames_decoded":9223372036854776000})");
    addRow("DecoderInfo::audioDecodeErrors lowest",         with(&DecoderInfo::audioDecodeErrors, lowest<qint64>),         R"({"audio_decode_errors":-9223372036854776000})");
    addRow("DecoderInfo::audioDecodeErrors highest",        with(&DecoderInfo::audioDecodeErrors, highest<qint64>),        R"({"audio_decode_errors":9223372036854776000})");
    addRow("DecoderInfo::audioDataErrors lowest",           with(&DecoderInfo::audioDataErrors, lowest<qint64>),           R"({"audio_data_errors":-9223372036854776000})");
    addRow("DecoderInfo::audioDataErrors highest",          with(&DecoderInfo::audioDataErrors, highest<qint64>),          R"({"audio_data_errors":9223372036854776000})");
    addRow("DashInfo::dashProfileSwitches lowest",          with(&DashInfo::dashProfileSwitches, lowest<qint64>),          R"({"dash_profile_switches":-9223372036854776000})");
    addRow("DashInfo::dashProfileSwitches highest",         with(&DashInfo::dashProfileSwitches, highest<qint64>),         R"({"dash_profile_switches":9223372036854776000})");
    addRow("DashInfo::dashPlaylistErrors lowest",           with(&DashInfo::dashPlaylistErrors, lowest<qint64>),           R"({"dash_playlist_errors":-9223372036854776000})");
    addRow("DashInfo::dashPlaylistErrors highest",          with(&DashInfo::dashPlaylistErrors, highest<qint64>),          R"({"dash_playlist_errors":9223372036854776000})");
    addRow("DashInfo::dashSegmentErrors lowest",            with(&DashInfo::dashSegmentErrors, lowest<qint64>),            R"({"dash_segment_errors":-9223372036854776000})");
    addRow("DashInfo::dashSegmentErrors highest",           with(&DashInfo::dashSegmentErrors, highest<qint64>),           R"({"dash_segment_errors":9223372036854776000})");
    addRow("HlsInfo::hlsProfileSwitches lowest",            with(&HlsInfo::hlsProfileSwitches, lowest<qint64>),            R"({"hls_profile_switches":-9223372036854776000})");
    addRow("HlsInfo::hlsProfileSwitches highest",           with(&HlsInfo::hlsProfileSwitches, highest<qint64>),           R"({"hls_profile_switches":9223372036854776000})");
    addRow("HlsInfo::hlsMasterPlaylistErrors lowest",       with(&HlsInfo::hlsMasterPlaylistErrors, lowest<qint64>),       R"({"hls_master_playlist_errors":-9223372036854776000})");
    addRow("HlsInfo::hlsMasterPlaylistErrors highest",      with(&HlsInfo::hlsMasterPlaylistErrors, highest<qint64>),      R"({"hls_master_playlist_errors":9223372036854776000})");
    addRow("HlsInfo::hlsMediaPlaylistErrors lowest",        with(&HlsInfo::hlsMediaPlaylistErrors, lowest<qint64>),        R"({"hls_media_playlist_errors":-9223372036854776000})");
    addRow("HlsInfo::hlsMediaPlaylistErrors highest",       with(&HlsInfo::hlsMediaPlaylistErrors, highest<qint64>),       R"({"hls_media_playlist_errors":9223372036854776000})");
    addRow("HlsInfo::hlsMediaSegmentErrors lowest",         with(&HlsInfo::hlsMediaSegmentErrors, lowest<qint64>),         R"({"hls_media_segment_errors":-9223372036854776000})");
    addRow("HlsInfo::hlsMediaSegmentErrors highest",        with(&HlsInfo::hlsMediaSegmentErrors, highest<qint64>),        R"({"hls_media_segment_errors":9223372036854776000})");
    addRow("HlsInfo::hlsDiscontinuities lowest",            with(&HlsInfo::hlsDiscontinuities, lowest<qint64>),            R"({"hls_discontinuities":-9223372036854776000})");
    addRow("HlsInfo::hlsDiscontinuities highest",           with(&HlsInfo::hlsDiscontinuities, highest<qint64>),           R"({"hls_discontinuities":9223372036854776000})");
    addRow("BufferingInfo::bufferingEvents lowest",         with(&BufferingInfo::bufferingEvents, lowest<qint64>),         R"({"buffering_events":-9223372036854776000})");
    addRow("BufferingInfo::bufferingEvents highest",        with(&BufferingInfo::bufferingEvents, highest<qint64>),        R"({"buffering_events":9223372036854776000})");
    addRow("BufferingInfo::bufferingSeconds lowest",        with(&BufferingInfo::bufferingSeconds, lowest<qint64>),        R"({"buffering_seconds":-9223372036854776000})");
    addRow("BufferingInfo::bufferingSeconds highest",       with(&BufferingInfo::bufferingSeconds, highest<qint64>),       R"({"buffering_seconds":9223372036854776000})");
    addRow("BufferingInfo::bufferingMs lowest",             with(&BufferingInfo::bufferingMs, lowest<qint64>),             R"({"buffering_ms":-9223372036854776000})");
    addRow("BufferingInfo::bufferingMs highest",            with(&BufferingInfo::bufferingMs, highest<qint64>),            R"({"buffering_ms":9223372036854776000})");
    addRow("MediaInfo::audioChannels lowest",               with(&MediaInfo::audioChannels, lowest<qint32>),               R"({"audio_channels":-2147483648})");
    addRow("MediaInfo::audioChannels highest",              with(&MediaInfo::audioChannels, highest<qint32>),              R"({"audio_channels":2147483647})");
    addRow("MediaInfo::videoWidth lowest",                  with(&MediaInfo::videoWidth, lowest<qint32>),                  R"({"video_width":-2147483648})");
    addRow("MediaInfo::videoWidth highest",                 with(&MediaInfo::videoWidth, highest<qint32>),                 R"({"video_width":2147483647})");
    addRow("MediaInfo::videoHeight lowest",                 with(&MediaInfo::videoHeight, lowest<qint32>),                 R"({"video_height":-2147483648})");
    addRow("MediaInfo::videoHeight highest",                with(&MediaInfo::videoHeight, highest<qint32>),                R"({"video_height":2147483647})");
    addRow("NcError::httpResponseCode lowest",              with(&NcError::httpResponseCode, lowest<qint32>),              R"({"http_response_code":-2147483648})");
    addRow("NcError::httpResponseCode highest",             with(&NcError::httpResponseCode, highest<qint32>),             R"({"http_response_code":2147483647})");
    addRow("NcError::errorCode lowest",                     with(&NcError::errorCode, lowest<qint64>),                     R"({"error_code":-9223372036854776000})");
    addRow("NcError::errorCode highest",                    with(&NcError::errorCode, highest<qint64>),                    R"({"error_code":9223372036854776000})");
    addRow("HttpError::httpResponseCode lowest",            with(&HttpError::httpResponseCode, lowest<qint32>),            R"({"http_response_code":-2147483648})");
    addRow("HttpError::httpResponseCode highest",           with(&HttpError::httpResponseCode, highest<qint32>),           R"({"http_response_code":2147483647})");
    addRow("SystemSettings::audioLevel lowest",             with(&SystemSettings::audioLevel, lowest<qint16>),             R"({"audio_level":-32768})");
    addRow("SystemSettings::audioLevel highest",            with(&SystemSettings::audioLevel, highest<qint16>),            R"({"audio_level":32767})");
    addRow("Scte35::spliceEventId lowest",                  with(&Scte35::spliceEventId, lowest<qint64>),                  R"({"splice_event_id":-9223372036854776000})");
    addRow("Scte35::spliceEventId highest",                 with(&Scte35::spliceEventId, highest<qint64>),                 R"({"splice_event_id":9223372036854776000})");
    addRow("Scte35::splicePtsTime lowest",                  with(&Scte35::splicePtsTime, lowest<qint64>),                  R"({"splice_pts_time":-9223372036854776000})");
    addRow("Scte35::splicePtsTime highest",                 with(&Scte35::splicePtsTime, highest<qint64>),                 R"({"splice_pts_time":9223372036854776000})");
    addRow("VerimatrixError::activityCode lowest",          with(&VerimatrixError::activityCode, lowest<qint32>),          R"({"activity_code":-2147483648,"command":"","error_code":0})");
    addRow("VerimatrixError::activityCode highest",         with(&VerimatrixError::activityCode, highest<qint32>),         R"({"activity_code":2147483647,"command":"","error_code":0})");
    addRow("VerimatrixError::moduleCode lowest",            with(&VerimatrixError::moduleCode, lowest<qint32>),            R"({"command":"","error_code":0,"module_code":-2147483648})");
    addRow("VerimatrixError::moduleCode highest",           with(&VerimatrixError::moduleCode, highest<qint32>),           R"({"command":"","error_code":0,"module_code":2147483647})");
    addRow("VerimatrixError::errorCount lowest",            with(&VerimatrixError::errorCount, lowest<qint64>),            R"({"command":"","error_code":0,"error_count":-9223372036854776000})");
    addRow("VerimatrixError::errorCount highest",           with(&VerimatrixError::errorCount, highest<qint64>),           R"({"command":"","error_code":0,"error_count":9223372036854776000})");
    addRow("VerimatrixError::errorCode lowest",             with(&VerimatrixError::errorCode, lowest<qint32>),             R"({"command":"","error_code":-2147483648})");
    addRow("VerimatrixError::errorCode highest",            with(&VerimatrixError::errorCode, highest<qint32>),            R"({"command":"","error_code":2147483647})");
    addRow("VmxErrors::totalErrorCount lowest",             with(&VmxErrors::totalErrorCount, lowest<qint64>),             R"({"total_error_count":-9223372036854776000})");
    addRow("VmxErrors::totalErrorCount highest",            with(&VmxErrors::totalErrorCount, highest<qint64>),            R"({"total_error_count":9223372036854776000})");
    addRow("MessageTarget::id lowest",                      with(&MessageTarget::id, lowest<qint64>),                      R"({"link":{"id":-9223372036854776000}})");
    addRow("MessageTarget::id highest",                     with(&MessageTarget::id, highest<qint64>),                     R"({"link":{"id":9223372036854776000}})");
    addRow("MessageTarget::categoryId lowest",              with(&MessageTarget::categoryId, lowest<qint64>),              R"({"link":{"category_id":-9223372036854776000}})");
    addRow("MessageTarget::categoryId highest",             with(&MessageTarget::categoryId, highest<qint64>),             R"({"link":{"category_id":9223372036854776000}})");
    addRow("MessageTarget::collectionId lowest",            with(&MessageTarget::collectionId, lowest<qint64>),            R"({"link":{"collection_id":-9223372036854776000}})");
    addRow("MessageTarget::collectionId highest",           with(&MessageTarget::collectionId, highest<qint64>),           R"({"link":{"collection_id":9223372036854776000}})");
    addRow("MessageTarget::genreId lowest",                 with(&MessageTarget::genreId, lowest<qint64>),                 R"({"link":{"genre_id":-9223372036854776000}})");
    addRow("MessageTarget::genreId highest",                with(&MessageTarget::genreId, highest<qint64>),                R"({"link":{"genre_id":9223372036854776000}})");
    addRow("MessageTarget::channelId lowest",               with(&MessageTarget::channelId, lowest<qint64>),               R"({"link":{"channel_id":-9223372036854776000}})");
    addRow("MessageTarget::channelId highest",              with(&MessageTarget::channelId, highest<qint64>),              R"({"link":{"channel_id":9223372036854776000}})");
    addRow("MessageTarget::ncChannelId lowest",             with(&MessageTarget::ncChannelId, lowest<qint64>),             R"({"link":{"nc_channel_id":-9223372036854776000}})");
    addRow("MessageTarget::ncChannelId highest",            with(&MessageTarget::ncChannelId, highest<qint64>),            R"({"link":{"nc_channel_id":9223372036854776000}})");
    addRow("MessageTarget::programId lowest",               with(&MessageTarget::programId, lowest<qint64>),               R"({"link":{"program_id":-9223372036854776000}})");
    addRow("MessageTarget::programId highest",              with(&MessageTarget::programId, highest<qint64>),              R"({"link":{"program_id":9223372036854776000}})");
    addRow("MessageTarget::epgId lowest",                   with(&MessageTarget::epgId, lowest<qint64>),                   R"({"link":{"epg_id":-9223372036854776000}})");
    addRow("MessageTarget::epgId highest",                  with(&MessageTarget::epgId, highest<qint64>),                  R"({"link":{"epg_id":9223372036854776000}})");
    addRow("MessageTarget::originalId lowest",              with(&MessageTarget::originalId, lowest<qint64>),              R"({"link":{"original_id":-9223372036854776000}})");
    addRow("MessageTarget::originalId highest",             with(&MessageTarget::originalId, highest<qint64>),             R"({"link":{"original_id":9223372036854776000}})");
    addRow("MessageTarget::typeId lowest",                  with(&MessageTarget::typeId, lowest<qint64>),                  R"({"link":{"type_id":-9223372036854776000}})");
    addRow("MessageTarget::typeId highest",                 with(&MessageTarget::typeId, highest<qint64>),                 R"({"link":{"type_id":9223372036854776000}})");
    addRow("MessageTarget::tabId lowest",                   with(&MessageTarget::tabId, lowest<qint64>),                   R"({"link":{"tab_id":-9223372036854776000}})");
    addRow("MessageTarget::tabId highest",                  with(&MessageTarget::tabId, highest<qint64>),                  R"({"link":{"tab_id":9223372036854776000}})");
    addRow("MessageTarget::themeId lowest",                 with(&MessageTarget::themeId, lowest<qint64>),                 R"({"link":{"theme_id":-9223372036854776000}})");
    addRow("MessageTarget::themeId highest",                with(&MessageTarget::themeId, highest<qint64>),                R"({"link":{"theme_id":9223372036854776000}})");
}

void RecordEncodingTest::numbers_data()
{
    addColumns();
    // From 2^53 on not every integer is a double: odd ones go to the neighbour with the even mantissa.
    addRow("5 * 10^15",           with(&Channel::channelId, 5000000000000000), R"({"channel_id":5000000000000000})");
    addRow("2^53 - 1",            with(&Channel::channelId, 9007199254740991), R"({"channel_id":9007199254740991})");
    addRow("2^53",                with(&Channel::channelId, 9007199254740992), R"({"channel_id":9007199254740992})");
    addRow("2^53 + 1",            with(&Channel::channelId, 9007199254740993), R"({"channel_id":9007199254740992})");
    addRow("2^53 + 2",            with(&Channel::channelId, 9007199254740994), R"({"channel_id":9007199254740994})");
    addRow("2^53 + 3",            with(&Channel::channelId, 9007199254740995), R"({"channel_id":9007199254740996})");
    addRow("-2^53 - 1",           with(&Channel::channelId, -9007199254740993), R"({"channel_id":-9007199254740992})");
    addRow("-1",                  with(&Channel::channelId, -1), R"({"channel_id":-1})");
    addRow("unsigned 2^53 + 1",   with(&MdiInfo::df, 9007199254740993), R"({"df":9007199254740992})");
    // Printed with the fewest digits that give the same double again, hence not ...775808.
    addRow("unsigned 2^63",       with(&Etr290Info::tsSyncLoss, 9223372036854775808u), R"({"extra_counters":{},"first_priority":{"ts_sync_loss":9223372036854776000}})");
    addRow("unsigned 2^31",       with(&MemoryInfo::vmSize, 2147483648u), R"({"vm_size":2147483648})");
    addRow("signed -70",          with(&WifiInfo::wifiRssi, -70), R"({"wifi_rssi":-70})");
    addRow("unsigned 5180",       with(&WifiInfo::wifiFreqMhz, 5180), R"({"wifi_freq_mhz":5180})");
    // A round power of ten is shorter with an exponent.
    addRow("1e16",                with(&Channel::channelId, 10000000000000000), R"({"channel_id":1e+16})");

    // Single precision, widened: the digits of the float, not those that were typed.
    addRow("23.976 fps",          with(&MediaInfo::videoFrameRate, 23.976f), R"({"video_frame_rate":23.97599983215332})");
    addRow("25 fps",              with(&MediaInfo::videoFrameRate, 25.0f), R"({"video_frame_rate":25})");
    addRow("29.97 fps",           with(&MediaInfo::videoFrameRate, 29.97f), R"({"video_frame_rate":29.969999313354492})");
    addRow("50 fps",              with(&MediaInfo::videoFrameRate, 50.0f), R"({"video_frame_rate":50})");
    addRow("59.94 fps",           with(&MediaInfo::videoFrameRate, 59.94f), R"({"video_frame_rate":59.939998626708984})");
    addRow("12.5 fps",            with(&MediaInfo::videoFrameRate, 12.5f), R"({"video_frame_rate":12.5})");
    addRow("-1 fps",              with(&MediaInfo::videoFrameRate, -1.0f), R"({"video_frame_rate":-1})");
    addRow("-0 fps",              with(&MediaInfo::videoFrameRate, -0.0f), R"({"video_frame_rate":0})");
    addRow("lowest fps",          with(&MediaInfo::videoFrameRate, lowest<float>), R"({"video_frame_rate":-3.4028234663852886e+38})");
    addRow("highest fps",         with(&MediaInfo::videoFrameRate, highest<float>), R"({"video_frame_rate":3.4028234663852886e+38})");
    // The number is there, so the member is; JSON has no way to write it.
    addRow("not a number",        with(&MediaInfo::videoFrameRate, notANumber), R"({"video_frame_rate":null})");
    addRow("infinity",            with(&MediaInfo::videoFrameRate, infinity), R"({"video_frame_rate":null})");
    addRow("negative infinity",   with(&MediaInfo::videoFrameRate, -infinity), R"({"video_frame_rate":null})");
}

void RecordEncodingTest::lists_data()
{
    addColumns();
    addRow("empty memory module",           with(&HardwareInfo::memory, {{}}), R"({"memory":[{}]})");
    addRow("memory modules in order",       with(&HardwareInfo::memory, {{{}, 2, {}}, {}, {{}, 1, {}}}), R"({"memory":[{"mem_size":2},{},{"mem_size":1}]})");
    addRow("equal memory modules",          with(&HardwareInfo::memory, {{{}, 2, {}}, {{}, 2, {}}}), R"({"memory":[{"mem_size":2},{"mem_size":2}]})");

    addRow("empty video output",            with(&SystemSettings::videoOutputs, {{{}, {}}}), R"({"video_outputs":[{}]})");
    addRow("video output without mode",     with(&SystemSettings::videoOutputs, {{text("n"), {}}}), R"({"video_outputs":[{"output_name":"n"}]})");
    addRow("video output without name",     with(&SystemSettings::videoOutputs, {{{}, text("m")}}), R"({"video_outputs":[{"output_mode":"m"}]})");
    addRow("video outputs in order",        with(&SystemSettings::videoOutputs, {{text("b"), {}}, {{}, {}}, {text("a"), {}}}), R"({"video_outputs":[{"output_name":"b"},{},{"output_name":"a"}]})");

    // Unlike most text a query item is written as it was asked, empty or not.
    addRow("empty query item",              with(&NcError::httpRequestQuery, {{{}, {}}}), R"({"http_request_query":[{"":""}]})");
    addRow("query item without value",      with(&NcError::httpRequestQuery, {{text("n"), {}}}), R"({"http_request_query":[{"n":""}]})");
    addRow("query item without name",       with(&NcError::httpRequestQuery, {{{}, text("v")}}), R"({"http_request_query":[{"":"v"}]})");
    addRow("query items of one name",       with(&NcError::httpRequestQuery, {{text("n"), text("2")}, {text("n"), text("1")}}), R"({"http_request_query":[{"n":"2"},{"n":"1"}]})");
    addRow("query items in order",          with(&NcError::httpRequestQuery, {{text("b"), text("1")}, {text("a"), text("2")}}), R"({"http_request_query":[{"b":"1"},{"a":"2"}]})");

    addRow("empty DHCP option",             with(&NetworkInterface::dhcpOptions, {{}}), R"({"dhcp_options":[{}]})");
    addRow("DHCP option without value",     with(&NetworkInterface::dhcpOptions, {{60, {}}}), R"({"dhcp_options":[{"code":60}]})");
    addRow("DHCP option without code",      with(&NetworkInterface::dhcpOptions, {{{}, text("v")}}), R"({"dhcp_options":[{"value":"v"}]})");
    addRow("DHCP option, lowest code",      with(&NetworkInterface::dhcpOptions, {{lowest<qint32>, {}}}), R"({"dhcp_options":[{"code":-2147483648}]})");
    addRow("DHCP option, highest code",     with(&NetworkInterface::dhcpOptions, {{highest<qint32>, {}}}), R"({"dhcp_options":[{"code":2147483647}]})");
    addRow("DHCP options in order",         with(&NetworkInterface::dhcpOptions, {{2, {}}, {}, {1, {}}}), R"({"dhcp_options":[{"code":2},{},{"code":1}]})");

    addRow("empty name server",             with(&NetworkInterface::dns, {text("")}), R"({"dns":[""]})");
    addRow("null name server",              with(&NetworkInterface::dns, {QString()}), R"({"dns":[""]})");
    addRow("name servers in order",         with(&NetworkInterface::dns, {text("b"), text(""), text("a"), text("b")}), R"({"dns":["b","","a","b"]})");

    addRow("default error",                 with(&VmxErrors::vmxCasErrors, {{}}), R"({"vmx_cas_errors":[{"command":"","error_code":0}]})");
    addRow("default errors",                with(&VmxErrors::vmxCasErrors, {{}, {}}), R"({"vmx_cas_errors":[{"command":"","error_code":0},{"command":"","error_code":0}]})");
    addRow("errors in order",               with(&VmxErrors::vmxCasErrors, {{text("b"), 2, {}, {}, {}}, {}, {text("a"), 1, {}, {}, {}}}), R"({"vmx_cas_errors":[{"command":"b","error_code":2},{"command":"","error_code":0},{"command":"a","error_code":1}]})");
    addRow("error with all codes",          with(&VmxErrors::vmxCasErrors, {{text("c"), 0, 0, 0, 0}}), R"({"vmx_cas_errors":[{"activity_code":0,"command":"c","error_code":0,"error_count":0,"module_code":0}]})");

    addRow("empty records",                 QVariantList({of(Channel{}), of(MediaItem{})}), "[null,null]");
    addRow("records of several types",      QVariantList({of(Channel{1, {}}), of(MediaItem{}), of(Scte35{{}, 2})}), R"([{"channel_id":1},null,{"splice_pts_time":2}])");
    addRow("records in nested lists",       QVariantList({QVariant(QVariantList({of(Channel{1, {}})})), QVariant(QVariantList({of(Channel{})}))}), R"([[{"channel_id":1}],[null]])");
    // A list of a record's own type is none that can be looked into; hosts fill a QVariantList.
    addRow("QList of a record",             QVariant::fromValue(QList<PurchaseVariant>{{}}), leftOut);
}

void RecordEncodingTest::texts_data()
{
    addColumns();
    addRow("null",                  with(&PurchaseVariant::currency, QString()), R"({"usage_model":""})");
    addRow("empty",                 with(&PurchaseVariant::currency, text("")), R"({"usage_model":""})");
    addRow("null, always written",  with(&PurchaseVariant::usageModel, QString()), R"({"usage_model":""})");
    addRow("empty, always written", with(&VerimatrixError::command, text("")), R"({"command":"","error_code":0})");
    addRow("space",                 with(&HdmiInfo::tvName, text(" ")), R"({"tv_name":" "})");
    addRow("quote",                 with(&HdmiInfo::tvName, text(R"(a"b)")), R"({"tv_name":"a\"b"})");
    addRow("backslash",             with(&HdmiInfo::tvName, text(R"(a\b)")), R"({"tv_name":"a\\b"})");
    addRow("slash",                 with(&HdmiInfo::tvName, text("a/b")), R"({"tv_name":"a/b"})");
    addRow("short escapes",         with(&HdmiInfo::tvName, text("\b\f\n\r\t")), R"({"tv_name":"\b\f\n\r\t"})");
    addRow("control characters",    with(&HdmiInfo::tvName, text("\x01\x1f")), R"({"tv_name":"\u0001\u001f"})");
    addRow("NUL",                   with(&HdmiInfo::tvName, QString(QChar(u'\0'))), R"({"tv_name":"\u0000"})");
    addRow("DEL",                   with(&HdmiInfo::tvName, text("\x7f")), "{\"tv_name\":\"\x7f\"}");
    addRow("markup",                with(&HdmiInfo::tvName, text("<a>&'")), R"({"tv_name":"<a>&'"})");
    addRow("Latin",                 with(&HdmiInfo::tvName, text("Größe")), R"({"tv_name":"Größe"})");
    addRow("Cyrillic",              with(&HdmiInfo::tvName, text("Жизнь")), R"({"tv_name":"Жизнь"})");
    addRow("Chinese",               with(&HdmiInfo::tvName, text("电视")), R"({"tv_name":"电视"})");
    addRow("emoji",                 with(&HdmiInfo::tvName, text("📺")), R"({"tv_name":"📺"})");
    addRow("line separator",        with(&HdmiInfo::tvName, QString(QChar(0x2028))), "{\"tv_name\":\"\xe2\x80\xa8\"}");
    // Half of a pair has no UTF-8; its escape is read back by few.
    addRow("lone high surrogate",   with(&HdmiInfo::tvName, QString(QChar(0xd83d))), R"({"tv_name":"\ud83d"})");
    addRow("lone low surrogate",    with(&HdmiInfo::tvName, QString(QChar(0xdcfa))), R"({"tv_name":"\udcfa"})");
    addRow("surrogates swapped",    with(&HdmiInfo::tvName, QString(QChar(0xdcfa)) + QChar(0xd83d)), R"({"tv_name":"\udcfa\ud83d"})");

    addRow("quote in an always written text", with(&VerimatrixError::command, text(R"(")")), R"({"command":"\"","error_code":0})");
    addRow("emoji in a nested object",        with(&MessageTarget::alias, text("📺")), R"({"link":{"alias":"📺"}})");
    addRow("quote in a list",                 with(&NetworkInterface::dns, {text(R"(")")}), R"({"dns":["\""]})");

    // Longer than what there is room for at the outset.
    QString const controls(3000, QChar(1));
    QByteArray const escapes = QByteArray(R"(\u0001)").repeated(3000);
    addRow("long texts", of(Endpoints{controls, controls, controls, controls, controls}),
        R"({"api_url":")" + escapes + R"(","img_url":")" + escapes + R"(","proxy_url":")" + escapes + R"(","spy_url":")" + escapes + R"(","ws_url":")" + escapes + R"("})");
    addRow("many texts", with(&NetworkInterface::dns, QStringList(3000, text("\x01"))),
        R"({"dns":[)" + QByteArray(R"("\u0001",)").repeated(2999) + R"("\u0001"]})");
    addRow("many pairs", with(&NcError::httpRequestQuery, QList<std::pair<QString, QString>>(3000, {text("\x01"), text("\x02")})),
        R"({"http_request_query":[)" + QByteArray(R"({"\u0001":"\u0002"},)").repeated(2999) + R"({"\u0001":"\u0002"}]})");

    addRow("query name, quote",             with(&NcError::httpRequestQuery, {{text(R"(a"b)"), text(R"(c"d)")}}), R"({"http_request_query":[{"a\"b":"c\"d"}]})");
    addRow("query name, backslash",         with(&NcError::httpRequestQuery, {{text(R"(\)"), text(R"(\)")}}), R"({"http_request_query":[{"\\":"\\"}]})");
    addRow("query name, control character", with(&NcError::httpRequestQuery, {{text("\n"), text("\x01")}}), R"({"http_request_query":[{"\n":"\u0001"}]})");
    addRow("query name, Latin",             with(&NcError::httpRequestQuery, {{text("ö"), text("ß")}}), R"({"http_request_query":[{"ö":"ß"}]})");
    addRow("query name, Cyrillic",          with(&NcError::httpRequestQuery, {{text("Ж"), text("я")}}), R"({"http_request_query":[{"Ж":"я"}]})");
    addRow("query name, emoji",             with(&NcError::httpRequestQuery, {{text("📺"), text("📺")}}), R"({"http_request_query":[{"📺":"📺"}]})");
    addRow("query name, lone surrogate",    with(&NcError::httpRequestQuery, {{QString(QChar(0xd83d)), QString(QChar(0xdcfa))}}), R"({"http_request_query":[{"\ud83d":"\udcfa"}]})");
}

void RecordEncodingTest::emptyAmongNulls_data()
{
    addColumns();
    addRow("Channel",         amongNulls(of(Channel{})),         R"([null,null,null])");
    addRow("MediaItem",       amongNulls(of(MediaItem{})),       R"([null,null,null])");
    addRow("PurchaseVariant", amongNulls(of(PurchaseVariant{})), R"([null,{"usage_model":""},null])");
    addRow("NetworkInfo",     amongNulls(of(NetworkInfo{})),     R"([null,{"statistics":{}},null])");
    addRow("NetworkInterface", amongNulls(of(NetworkInterface{})), R"([null,null,null])");
    addRow("MemoryModule",    amongNulls(of(MemoryModule{})),    R"([null,null,null])");
    addRow("Endpoints",       amongNulls(of(Endpoints{})),       R"([null,null,null])");
    addRow("CpuInfo",         amongNulls(of(CpuInfo{})),         R"([null,null,null])");
    addRow("MemoryInfo",      amongNulls(of(MemoryInfo{})),      R"([null,null,null])");
    addRow("HdmiInfo",        amongNulls(of(HdmiInfo{})),        R"([null,null,null])");
    addRow("PowerInfo",       amongNulls(of(PowerInfo{})),       R"([null,null,null])");
    addRow("HardwareInfo",    amongNulls(of(HardwareInfo{})),    R"([null,null,null])");
    addRow("WifiInfo",        amongNulls(of(WifiInfo{})),        R"([null,null,null])");
    addRow("MdiInfo",         amongNulls(of(MdiInfo{})),         R"([null,null,null])");
    addRow("Etr290Info",      amongNulls(of(Etr290Info{})),      R"([null,{"extra_counters":{},"first_priority":{}},null])");
    addRow("DecoderInfo",     amongNulls(of(DecoderInfo{})),     R"([null,null,null])");
    addRow("DashInfo",        amongNulls(of(DashInfo{})),        R"([null,null,null])");
    addRow("HlsInfo",         amongNulls(of(HlsInfo{})),         R"([null,null,null])");
    addRow("BufferingInfo",   amongNulls(of(BufferingInfo{})),   R"([null,null,null])");
    addRow("MediaInfo",       amongNulls(of(MediaInfo{})),       R"([null,null,null])");
    addRow("NcError",         amongNulls(of(NcError{})),         R"([null,null,null])");
    addRow("HttpError",       amongNulls(of(HttpError{})),       R"([null,null,null])");
    addRow("SystemSettings",  amongNulls(of(SystemSettings{})),  R"([null,null,null])");
    addRow("Scte35",          amongNulls(of(Scte35{})),          R"([null,null,null])");
    addRow("VerimatrixError", amongNulls(of(VerimatrixError{})), R"([null,{"command":"","error_code":0},null])");
    addRow("VmxErrors",       amongNulls(of(VmxErrors{})),       R"([null,null,null])");
    addRow("MessageTarget",   amongNulls(of(MessageTarget{})),   R"([null,{"link":{}},null])");
}

void RecordEncodingTest::setAmongNulls_data()
{
    addColumns();
    addRow("Channel",         amongNulls(with(&Channel::channelId, 0)),                           R"([null,{"channel_id":0},null])");
    addRow("MediaItem",       amongNulls(with(&MediaItem::mediaItemId, 0)),                       R"([null,{"media_item_id":0},null])");
    addRow("PurchaseVariant", amongNulls(with(&PurchaseVariant::serviceId, 0)),                   R"([null,{"service_id":0,"usage_model":""},null])");
    addRow("NetworkInfo",     amongNulls(with(&NetworkInfo::interfaceName, text("x"))),           R"([null,{"interface_name":"x","statistics":{}},null])");
    addRow("NetworkInterface", amongNulls(with(&NetworkInterface::interfaceName, text("x"))),      R"([null,{"interface_name":"x"},null])");
    addRow("MemoryModule",    amongNulls(with(&MemoryModule::memType, text("x"))),                R"([null,{"mem_type":"x"},null])");
    addRow("Endpoints",       amongNulls(with(&Endpoints::apiUrl, text("x"))),                    R"([null,{"api_url":"x"},null])");
    addRow("CpuInfo",         amongNulls(with(&CpuInfo::cpuTemperature, 0)),                      R"([null,{"cpu_temperature":0},null])");
    addRow("MemoryInfo",      amongNulls(with(&MemoryInfo::memTotal, 0)),                         R"([null,{"mem_total":0},null])");
    addRow("HdmiInfo",        amongNulls(with(&HdmiInfo::tvName, text("x"))),                     R"([null,{"tv_name":"x"},null])");
    addRow("PowerInfo",       amongNulls(with(&PowerInfo::powerState, text("x"))),                R"([null,{"power_state":"x"},null])");
    addRow("HardwareInfo",    amongNulls(with(&HardwareInfo::manufacturer, text("x"))),           R"([null,{"manufacturer":"x"},null])");
    addRow("WifiInfo",        amongNulls(with(&WifiInfo::wifiSsid, text("x"))),                   R"([null,{"wifi_ssid":"x"},null])");
    addRow("MdiInfo",         amongNulls(with(&MdiInfo::mlr, 0)),                                 R"([null,{"mlr":0},null])");
    addRow("Etr290Info",      amongNulls(with(&Etr290Info::tsSyncLoss, 0)),                       R"([null,{"extra_counters":{},"first_priority":{"ts_sync_loss":0}},null])");
    addRow("DecoderInfo",     amongNulls(with(&DecoderInfo::videoFramesDecoded, 0)),              R"([null,{"video_frames_decoded":0},null])");
    addRow("DashInfo",        amongNulls(with(&DashInfo::dashProfileSwitches, 0)),                R"([null,{"dash_profile_switches":0},null])");
    addRow("HlsInfo",         amongNulls(with(&HlsInfo::hlsProfileSwitches, 0)),                  R"([null,{"hls_profile_switches":0},null])");
    addRow("BufferingInfo",   amongNulls(with(&BufferingInfo::bufferingEvents, 0)),               R"([null,{"buffering_events":0},null])");
    addRow("MediaInfo",       amongNulls(with(&MediaInfo::videoCodec, text("x"))),                R"([null,{"video_codec":"x"},null])");
    addRow("NcError",         amongNulls(with(&NcError::apiUrl, text("x"))),                      R"([null,{"api_url":"x"},null])");
    addRow("HttpError",       amongNulls(with(&HttpError::httpRequestMethod, text("x"))),         R"([null,{"http_request_method":"x"},null])");
    addRow("SystemSettings",  amongNulls(with(&SystemSettings::uiResolution, text("x"))),         R"([null,{"ui_resolution":"x"},null])");
    addRow("Scte35",          amongNulls(with(&Scte35::spliceEventId, 0)),                        R"([null,{"splice_event_id":0},null])");
    addRow("VerimatrixError", amongNulls(with(&VerimatrixError::activityCode, 0)),                R"([null,{"activity_code":0,"command":"","error_code":0},null])");
    addRow("VmxErrors",       amongNulls(with(&VmxErrors::totalErrorCount, 0)),                   R"([null,{"total_error_count":0},null])");
    addRow("MessageTarget",   amongNulls(with(&MessageTarget::type, text("x"))),                  R"([null,{"link":{},"type":"x"},null])");
}

// clang-format on

void RecordEncodingTest::fieldTypes_data()
{
    QTest::addColumn<bool>("isTaken");
    QTest::addColumn<bool>("isExpected");

    // clang-format off
    QTest::newRow("QString")             << isFieldType<QString>               << true;
    QTest::newRow("int")                 << isFieldType<int>                   << true;
    QTest::newRow("optional qint8")      << isFieldType<std::optional<qint8>>  << true;
    QTest::newRow("optional quint64")    << isFieldType<std::optional<quint64>> << true;
    QTest::newRow("optional float")      << isFieldType<std::optional<float>>  << true;

    QTest::newRow("bool")                << isFieldType<bool>                  << false;
    QTest::newRow("qint64")              << isFieldType<qint64>                << false;
    QTest::newRow("double")              << isFieldType<double>                << false;
    QTest::newRow("QByteArray")          << isFieldType<QByteArray>            << false;
    QTest::newRow("QStringList")         << isFieldType<QStringList>           << false;
    QTest::newRow("optional bool")       << isFieldType<std::optional<bool>>   << false;
    QTest::newRow("optional QString")    << isFieldType<std::optional<QString>> << false;
    QTest::newRow("optional QByteArray") << isFieldType<std::optional<QByteArray>> << false;
    QTest::newRow("without maxBytes")    << isFieldType<WithoutMaxBytes>       << false;
    QTest::newRow("without isEmpty")     << isFieldType<WithoutIsEmpty>        << false;
    QTest::newRow("without write")       << isFieldType<WithoutWrite>          << false;
    // clang-format on
}

/// A field of any other type does not compile.
void RecordEncodingTest::fieldTypes()
{
    QFETCH(bool, isTaken);
    QFETCH(bool, isExpected);
    QCOMPARE(isTaken, isExpected);
}

QTEST_GUILESS_MAIN(RecordEncodingTest)
#include "tst_recordencoding.moc"
