#include "referenceserializer.h"

#include <analytics/catalogue_p.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/records.h>
#include <logging/logging.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

namespace analytics {

// One member of a record's object. Nothing is written for an empty string, nor is an absent number ever passed in.

static QJsonObject &insertNonEmpty(QJsonObject &object, QString const &key, QString const &value)
{
    if (!value.isEmpty())
        object.insert(key, value);
    return object;
}

static void insertOptional(QJsonObject &object, QString const &key, std::optional<quint64> const &value)
{
    object.insert(key, static_cast<double>(value.value()));
}

static void insertOptional(QJsonObject &object, QString const &key, std::optional<quint32> const &value)
{
    object.insert(key, static_cast<double>(value.value()));
}

static void insertOptional(QJsonObject &object, QString const &key, std::optional<qint32> const &value)
{
    object.insert(key, value.value());
}

static void insertOptional(QJsonObject &object, QString const &key, std::optional<qint64> const &value)
{
    object.insert(key, static_cast<double>(value.value()));
}

template <typename Number>
static void insertIfSet(QJsonObject &object, QString const &key, std::optional<Number> const &value)
{
    if (!value.has_value())
        return;
    if constexpr (std::is_floating_point_v<Number>)
        object.insert(key, static_cast<double>(*value));
    else if constexpr (sizeof(Number) < sizeof(qint32))
        insertOptional(object, key, std::optional<qint32>(*value));
    else
        insertOptional(object, key, value);
}

static void insertIfFilled(QJsonObject &object, QString const &key, QJsonArray const &array)
{
    if (!array.isEmpty())
        object.insert(key, array);
}

// Records with an encoder of their own

static QJsonObject toJson(MemoryModule const &module)
{
    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("mem_info"), module.memInfo);
    insertNonEmpty(object, QStringLiteral("mem_type"), module.memType);
    insertIfSet(object, QStringLiteral("mem_size"), module.memSize);
    return object;
}

static QJsonObject toJson(CpuInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("cpu_temperature"), info.cpuTemperature);
    insertIfSet(object, QStringLiteral("cpu_average_load"), info.cpuAverageLoad);
    insertIfSet(object, QStringLiteral("cpu_max_load"), info.cpuMaxLoad);
    insertIfSet(object, QStringLiteral("cpu_cores"), info.cpuCores);
    insertIfSet(object, QStringLiteral("sys_clock_freq_mhz"), info.sysClockFreqMhz);
    return object;
}

static QJsonObject toJson(MemoryInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("mem_total"), info.memTotal);
    insertIfSet(object, QStringLiteral("mem_average_usage"), info.memAverageUsage);
    insertIfSet(object, QStringLiteral("mem_max_usage"), info.memMaxUsage);
    insertIfSet(object, QStringLiteral("avmem_average_usage"), info.avmemAverageUsage);
    insertIfSet(object, QStringLiteral("avmem_max_usage"), info.avmemMaxUsage);
    insertIfSet(object, QStringLiteral("vm_size"), info.vmSize);
    insertIfSet(object, QStringLiteral("vm_rss"), info.vmRss);
    insertIfSet(object, QStringLiteral("vm_rss_max"), info.vmRssMax);
    return object;
}

static QJsonObject toJson(HdmiInfo const &info)
{
    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("tv_name"), info.tvName);
    insertNonEmpty(object, QStringLiteral("tv_preferred_output"), info.tvPreferredOutput);
    insertNonEmpty(object, QStringLiteral("stb_current_output"), info.stbCurrentOutput);
    return object;
}

static QJsonObject toJson(PowerInfo const &info)
{
    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("power_state"), info.powerState);
    insertIfSet(object, QStringLiteral("power_state_period"), info.powerStatePeriod);
    insertNonEmpty(object, QStringLiteral("power_change_cause"), info.powerChangeCause);
    return object;
}

static QJsonObject toJson(WifiInfo const &info)
{
    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("wifi_ssid"), info.wifiSsid);
    insertNonEmpty(object, QStringLiteral("wifi_bssid"), info.wifiBssid);
    insertIfSet(object, QStringLiteral("wifi_rssi"), info.wifiRssi);
    insertIfSet(object, QStringLiteral("wifi_freq_mhz"), info.wifiFreqMhz);
    insertNonEmpty(object, QStringLiteral("wifi_generation"), info.wifiGeneration);
    insertIfSet(object, QStringLiteral("wifi_speed_mbps"), info.wifiSpeedMbps);
    return object;
}

static QJsonObject toJson(MdiInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("df"), info.df);
    insertIfSet(object, QStringLiteral("mlr"), info.mlr);
    return object;
}

static QJsonObject toJson(Etr290Info const &info)
{
    QJsonObject firstPriority;
    insertIfSet(firstPriority, QStringLiteral("ts_sync_loss"), info.tsSyncLoss);
    insertIfSet(firstPriority, QStringLiteral("sync_byte_error"), info.syncByteError);
    insertIfSet(firstPriority, QStringLiteral("pat_error"), info.patError);
    insertIfSet(firstPriority, QStringLiteral("continuity_count_error"), info.continuityCountError);
    insertIfSet(firstPriority, QStringLiteral("pmt_error"), info.pmtError);
    insertIfSet(firstPriority, QStringLiteral("pid_error"), info.pidError);

    QJsonObject extraCounters;
    insertIfSet(extraCounters, QStringLiteral("cc_error_video"), info.ccErrorVideo);
    insertIfSet(extraCounters, QStringLiteral("cc_error_audio"), info.ccErrorAudio);
    insertIfSet(extraCounters, QStringLiteral("pid_error_video"), info.pidErrorVideo);
    insertIfSet(extraCounters, QStringLiteral("pid_error_audio"), info.pidErrorAudio);
    insertIfSet(extraCounters, QStringLiteral("pid_error_teletext"), info.pidErrorTeletext);
    insertIfSet(extraCounters, QStringLiteral("pid_error_subtitles"), info.pidErrorSubtitles);
    insertIfSet(extraCounters, QStringLiteral("pid_error_ecm"), info.pidErrorEcm);

    QJsonObject object;
    object.insert(QStringLiteral("first_priority"), firstPriority);
    object.insert(QStringLiteral("extra_counters"), extraCounters);
    return object;
}

static QJsonObject toJson(DecoderInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("video_frames_decoded"), info.videoFramesDecoded);
    insertIfSet(object, QStringLiteral("video_decode_errors"), info.videoDecodeErrors);
    insertIfSet(object, QStringLiteral("video_data_errors"), info.videoDataErrors);
    insertIfSet(object, QStringLiteral("audio_frames_decoded"), info.audioFramesDecoded);
    insertIfSet(object, QStringLiteral("audio_decode_errors"), info.audioDecodeErrors);
    insertIfSet(object, QStringLiteral("audio_data_errors"), info.audioDataErrors);
    return object;
}

static QJsonObject toJson(DashInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("dash_profile_switches"), info.dashProfileSwitches);
    insertIfSet(object, QStringLiteral("dash_playlist_errors"), info.dashPlaylistErrors);
    insertIfSet(object, QStringLiteral("dash_segment_errors"), info.dashSegmentErrors);
    return object;
}

static QJsonObject toJson(HlsInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("hls_profile_switches"), info.hlsProfileSwitches);
    insertIfSet(object, QStringLiteral("hls_master_playlist_errors"), info.hlsMasterPlaylistErrors);
    insertIfSet(object, QStringLiteral("hls_media_playlist_errors"), info.hlsMediaPlaylistErrors);
    insertIfSet(object, QStringLiteral("hls_media_segment_errors"), info.hlsMediaSegmentErrors);
    insertIfSet(object, QStringLiteral("hls_discontinuities"), info.hlsDiscontinuities);
    return object;
}

static QJsonObject toJson(BufferingInfo const &info)
{
    QJsonObject object;
    insertIfSet(object, QStringLiteral("buffering_events"), info.bufferingEvents);
    insertIfSet(object, QStringLiteral("buffering_seconds"), info.bufferingSeconds);
    insertIfSet(object, QStringLiteral("buffering_ms"), info.bufferingMs);
    return object;
}

static QJsonObject toJson(MediaInfo const &info)
{
    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("video_codec"), info.videoCodec);
    insertIfSet(object, QStringLiteral("video_width"), info.videoWidth);
    insertIfSet(object, QStringLiteral("video_height"), info.videoHeight);
    insertNonEmpty(object, QStringLiteral("audio_codec"), info.audioCodec);
    insertIfSet(object, QStringLiteral("audio_channels"), info.audioChannels);
    insertIfSet(object, QStringLiteral("video_frame_rate"), info.videoFrameRate);
    insertNonEmpty(object, QStringLiteral("video_scan_type"), info.videoScanType);
    return object;
}

static QJsonObject toJson(VerimatrixError const &error)
{
    QJsonObject object;
    object.insert(QStringLiteral("command"), error.command);
    object.insert(QStringLiteral("error_code"), error.errorCode);
    insertIfSet(object, QStringLiteral("error_count"), error.errorCount);
    insertIfSet(object, QStringLiteral("activity_code"), error.activityCode);
    insertIfSet(object, QStringLiteral("module_code"), error.moduleCode);
    return object;
}

static QJsonObject toJson(MessageTarget const &target)
{
    QJsonObject link;
    insertIfSet(link, QStringLiteral("id"), target.id);
    insertIfSet(link, QStringLiteral("category_id"), target.categoryId);
    insertIfSet(link, QStringLiteral("collection_id"), target.collectionId);
    insertIfSet(link, QStringLiteral("genre_id"), target.genreId);
    insertIfSet(link, QStringLiteral("channel_id"), target.channelId);
    insertIfSet(link, QStringLiteral("nc_channel_id"), target.ncChannelId);
    insertIfSet(link, QStringLiteral("program_id"), target.programId);
    insertIfSet(link, QStringLiteral("epg_id"), target.epgId);
    insertIfSet(link, QStringLiteral("original_id"), target.originalId);
    insertNonEmpty(link, QStringLiteral("screen_name"), target.screenName);
    insertNonEmpty(link, QStringLiteral("content_type"), target.contentType);
    insertNonEmpty(link, QStringLiteral("media_item_type"), target.mediaItemType);
    insertNonEmpty(link, QStringLiteral("name"), target.name);
    insertIfSet(link, QStringLiteral("type_id"), target.typeId);
    insertIfSet(link, QStringLiteral("tab_id"), target.tabId);
    insertIfSet(link, QStringLiteral("theme_id"), target.themeId);
    insertNonEmpty(link, QStringLiteral("url"), target.url);
    insertNonEmpty(link, QStringLiteral("alias"), target.alias);

    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("type"), target.type);
    insertNonEmpty(object, QStringLiteral("title"), target.title);
    object.insert(QStringLiteral("link"), link);
    return object;
}

static QJsonObject toJson(SystemSettings const &settings)
{
    QJsonArray outputs;
    for (auto const &[name, mode] : settings.videoOutputs) {
        QJsonObject output;
        insertNonEmpty(output, QStringLiteral("output_name"), name);
        insertNonEmpty(output, QStringLiteral("output_mode"), mode);
        outputs.append(output);
    }

    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("ui_resolution"), settings.uiResolution);
    insertNonEmpty(object, QStringLiteral("font_size"), settings.fontSize);
    insertNonEmpty(object, QStringLiteral("rcu_layout"), settings.rcuLayout);
    insertIfSet(object, QStringLiteral("audio_level"), settings.audioLevel);
    insertNonEmpty(object, QStringLiteral("audio_mute"), settings.audioMute);
    insertNonEmpty(object, QStringLiteral("audio_downmix"), settings.audioDownmix);
    insertIfFilled(object, QStringLiteral("video_outputs"), outputs);
    insertNonEmpty(object, QStringLiteral("background_radio_playback"), settings.backgroundRadioPlayback);
    insertNonEmpty(object, QStringLiteral("background_tv_playback"), settings.backgroundTvPlayback);
    insertNonEmpty(object, QStringLiteral("promo_banner_playback"), settings.promoBannerPlayback);
    insertNonEmpty(object, QStringLiteral("content_card_playback"), settings.contentCardPlayback);
    return object;
}

static QJsonObject toJson(HardwareInfo const &info)
{
    QJsonArray memory;
    for (MemoryModule const &module : info.memory)
        memory.append(toJson(module));

    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("manufacturer"), info.manufacturer);
    insertNonEmpty(object, QStringLiteral("model_name"), info.modelName);
    insertNonEmpty(object, QStringLiteral("platform"), info.platform);
    insertNonEmpty(object, QStringLiteral("hw_revision"), info.hwRevision);
    insertIfFilled(object, QStringLiteral("memory"), memory);
    return object;
}

static QJsonObject toJson(NcError const &error)
{
    QJsonArray query;
    for (auto const &[name, value] : error.httpRequestQuery)
        query.append(QJsonObject{{name, value}});

    QJsonObject object;
    insertNonEmpty(object, QStringLiteral("api_url"), error.apiUrl);
    insertNonEmpty(object, QStringLiteral("http_request_method"), error.httpRequestMethod);
    insertNonEmpty(object, QStringLiteral("http_request_path"), error.httpRequestPath);
    insertIfFilled(object, QStringLiteral("http_request_query"), query);
    insertIfSet(object, QStringLiteral("http_response_code"), error.httpResponseCode);
    insertIfSet(object, QStringLiteral("error_code"), error.errorCode);
    insertNonEmpty(object, QStringLiteral("debug_message"), error.debugMessage);
    return object;
}

// Values

static bool holds(QVariant const &value, QMetaType recordType)
{
    return QMetaType::canConvert(value.metaType(), recordType);
}

template <typename Record> static bool holds(QVariant const &value)
{
    return holds(value, QMetaType::fromType<Record>());
}

/// The object of whatever record the variant holds or can be converted to; empty when there is none. The first record
/// that the variant converts to is taken, so a converter that a host has registered leads where the order says.
static QJsonObject recordToJson(QVariant const &value)
{
    QJsonObject object;
    if (holds<Channel>(value)) {
        auto const channel = qvariant_cast<Channel>(value);
        insertIfSet(object, QStringLiteral("channel_id"), channel.channelId);
        insertIfSet(object, QStringLiteral("program_id"), channel.programId);
    } else if (holds<MediaItem>(value)) {
        auto const item = qvariant_cast<MediaItem>(value);
        insertIfSet(object, QStringLiteral("media_item_id"), item.mediaItemId);
        insertIfSet(object, QStringLiteral("asset_id"), item.assetId);
    } else if (holds<PurchaseVariant>(value)) {
        auto const variant = qvariant_cast<PurchaseVariant>(value);
        insertIfSet(object, QStringLiteral("service_id"), variant.serviceId);
        insertIfSet(object, QStringLiteral("content_id"), variant.contentId);
        insertNonEmpty(object, QStringLiteral("content_type"), variant.contentType);
        insertNonEmpty(object, QStringLiteral("currency"), variant.currency);
        insertIfSet(object, QStringLiteral("purchase_cost"), variant.purchaseCost);
        object.insert(QStringLiteral("usage_model"), variant.usageModel);
        insertNonEmpty(object, QStringLiteral("type"), variant.type);
        insertIfSet(object, QStringLiteral("price_id"), variant.priceId);
        insertIfSet(object, QStringLiteral("composite_component_id"), variant.compositeComponentId);
    } else if (holds<NetworkInfo>(value)) {
        auto const info = qvariant_cast<NetworkInfo>(value);
        insertNonEmpty(object, QStringLiteral("interface_name"), info.interfaceName);
        insertNonEmpty(object, QStringLiteral("interface_mode"), info.interfaceMode);
        insertNonEmpty(object, QStringLiteral("mac"), info.mac);
        insertIfSet(object, QStringLiteral("speed_mbps"), info.speedMbps);
        insertNonEmpty(object, QStringLiteral("duplex"), info.duplex);
        insertIfSet(object, QStringLiteral("bitrate_kbps"), info.bitrateKbps);

        QJsonObject statistics;
        insertIfSet(statistics, QStringLiteral("rx_errors"), info.rxErrors);
        insertIfSet(statistics, QStringLiteral("tx_errors"), info.txErrors);
        insertIfSet(statistics, QStringLiteral("rx_dropped"), info.rxDropped);
        insertIfSet(statistics, QStringLiteral("tx_dropped"), info.txDropped);
        insertIfSet(statistics, QStringLiteral("rx_crc_errors"), info.rxCrcErrors);
        insertIfSet(statistics, QStringLiteral("rx_frame_errors"), info.rxFrameErrors);
        object.insert(QStringLiteral("statistics"), statistics);
    } else if (holds<NetworkInterface>(value)) {
        auto const interface = qvariant_cast<NetworkInterface>(value);
        insertNonEmpty(object, QStringLiteral("interface_name"), interface.interfaceName);
        insertNonEmpty(object, QStringLiteral("status"), interface.status);
        insertNonEmpty(object, QStringLiteral("mac"), interface.mac);
        insertNonEmpty(object, QStringLiteral("interface_mode"), interface.interfaceMode);
        insertNonEmpty(object, QStringLiteral("ip_v4"), interface.ipV4);
        insertNonEmpty(object, QStringLiteral("netmask"), interface.netmask);
        insertNonEmpty(object, QStringLiteral("gateway"), interface.gateway);
        insertNonEmpty(object, QStringLiteral("ip_v6"), interface.ipV6);

        QJsonArray options;
        for (DhcpOption const &dhcpOption : interface.dhcpOptions) {
            QJsonObject option;
            insertIfSet(option, QStringLiteral("code"), dhcpOption.code);
            insertNonEmpty(option, QStringLiteral("value"), dhcpOption.value);
            options.append(option);
        }
        insertIfFilled(object, QStringLiteral("dhcp_options"), options);
        insertIfFilled(object, QStringLiteral("dns"), QJsonArray::fromStringList(interface.dns));
    } else if (holds<MemoryModule>(value)) {
        object = toJson(qvariant_cast<MemoryModule>(value));
    } else if (holds<Endpoints>(value)) {
        auto const endpoints = qvariant_cast<Endpoints>(value);
        insertNonEmpty(object, QStringLiteral("api_url"), endpoints.apiUrl);
        insertNonEmpty(object, QStringLiteral("ws_url"), endpoints.wsUrl);
        insertNonEmpty(object, QStringLiteral("spy_url"), endpoints.spyUrl);
        insertNonEmpty(object, QStringLiteral("img_url"), endpoints.imgUrl);
        insertNonEmpty(object, QStringLiteral("proxy_url"), endpoints.proxyUrl);
    } else if (holds<CpuInfo>(value)) {
        object = toJson(qvariant_cast<CpuInfo>(value));
    } else if (holds<MemoryInfo>(value)) {
        object = toJson(qvariant_cast<MemoryInfo>(value));
    } else if (holds<HdmiInfo>(value)) {
        object = toJson(qvariant_cast<HdmiInfo>(value));
    } else if (holds<PowerInfo>(value)) {
        object = toJson(qvariant_cast<PowerInfo>(value));
    } else if (holds<HardwareInfo>(value)) {
        object = toJson(qvariant_cast<HardwareInfo>(value));
    } else if (holds<WifiInfo>(value)) {
        object = toJson(qvariant_cast<WifiInfo>(value));
    } else if (holds<MdiInfo>(value)) {
        object = toJson(qvariant_cast<MdiInfo>(value));
    } else if (holds<Etr290Info>(value)) {
        object = toJson(qvariant_cast<Etr290Info>(value));
    } else if (holds<DecoderInfo>(value)) {
        object = toJson(qvariant_cast<DecoderInfo>(value));
    } else if (holds<DashInfo>(value)) {
        object = toJson(qvariant_cast<DashInfo>(value));
    } else if (holds<HlsInfo>(value)) {
        object = toJson(qvariant_cast<HlsInfo>(value));
    } else if (holds<BufferingInfo>(value)) {
        object = toJson(qvariant_cast<BufferingInfo>(value));
    } else if (holds<MediaInfo>(value)) {
        object = toJson(qvariant_cast<MediaInfo>(value));
    } else if (holds<NcError>(value)) {
        object = toJson(qvariant_cast<NcError>(value));
    } else if (holds<HttpError>(value)) {
        auto const error = qvariant_cast<HttpError>(value);
        insertNonEmpty(object, QStringLiteral("http_request_method"), error.httpRequestMethod);
        insertNonEmpty(object, QStringLiteral("http_request_uri"), error.httpRequestUri);
        insertIfSet(object, QStringLiteral("http_response_code"), error.httpResponseCode);
    } else if (holds<SystemSettings>(value)) {
        object = toJson(qvariant_cast<SystemSettings>(value));
    } else if (holds<Scte35>(value)) {
        auto const splice = qvariant_cast<Scte35>(value);
        insertIfSet(object, QStringLiteral("splice_event_id"), splice.spliceEventId);
        insertIfSet(object, QStringLiteral("splice_pts_time"), splice.splicePtsTime);
    } else if (holds<VerimatrixError>(value)) {
        object = toJson(qvariant_cast<VerimatrixError>(value));
    } else if (holds<VmxErrors>(value)) {
        auto const errors = qvariant_cast<VmxErrors>(value);
        insertIfSet(object, QStringLiteral("total_error_count"), errors.totalErrorCount);

        QJsonArray casErrors;
        for (VerimatrixError const &error : errors.vmxCasErrors)
            casErrors.append(toJson(error));
        insertIfFilled(object, QStringLiteral("vmx_cas_errors"), casErrors);
    } else if (holds<MessageTarget>(value)) {
        object = toJson(qvariant_cast<MessageTarget>(value));
    }
    return object;
}

static QJsonValue toJson(QVariant const &value)
{
    if (value.isNull())
        return QJsonValue::Null;

    if (value.typeId() == QMetaType::QVariantList) {
        QJsonArray array;
        QVariantList const elements = value.toList();
        for (QVariant const &element : elements)
            array.append(toJson(element));
        return array;
    }

    QJsonValue plain = QJsonValue::fromVariant(value);
    if (!plain.isNull())
        return plain;

    QJsonObject record = recordToJson(value);
    if (!record.isEmpty())
        return record;
    return QJsonValue::Null;
}

// Events

static bool isWritten(QJsonValue const &value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return false;
    case QJsonValue::Array:
        return !value.toArray().isEmpty();
    case QJsonValue::Object:
        return !value.toObject().isEmpty();
    case QJsonValue::String:
        return !value.toString().isEmpty();
    case QJsonValue::Bool:
    case QJsonValue::Double:
    case QJsonValue::Undefined:
        break;
    }
    return true;
}

static void insertProperty(QJsonObject &object, Property property, IPropertyProvider const *provider,
                           AnalyticsEventData const &data)
{
    QJsonValue const value = toJson(provider->value(property, data));

    QLatin1String const key = propertyKeys.value(property);
    if (key.isEmpty() || !isWritten(value))
        return;
    object.insert(key, value);
}

QByteArray ReferenceSerializer::serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                                          QList<Property> const &properties) const
{
    if (!eventTable.contains(data.type))
        return {};

    QJsonObject object;
    for (Property property : properties)
        insertProperty(object, property, provider, data);

    EventProperties const event = eventTable.value(data.type);
    for (Property property : event.properties)
        insertProperty(object, property, provider, data);

    logging::toLog(4, "stbanalytics", QString(), 0, "", "")
        << "analytics event prepared:"
        << "id =" << object.value(propertyKeys.value(Property::EventId)).toString()
        << "counter =" << object.value(propertyKeys.value(Property::EventCounter)).toInt(0);

    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray ReferenceSerializer::pack(QList<QByteArray> const &events) const
{
    QByteArray package = "{\"events\":[";
    for (qsizetype i = 0; i < events.size(); ++i) {
        if (i > 0)
            package += ',';
        package += events.at(i);
    }
    package += "]}";
    return package;
}

} // namespace analytics
