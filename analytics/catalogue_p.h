#pragma once

#include <analytics/enums.h>

#include <QtCore/QHash>
#include <QtCore/QLatin1String>
#include <QtCore/QList>

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace analytics {

/// The catalogue's entry for one type of event.
struct EventProperties
{
    QLatin1String name; ///< Wire name; no key of the event's object carries it.
    EventPriority priority = EventPriority::Low; ///< A recommendation; the priority that the caller passes decides.
    QList<Property> properties; ///< The event's own properties, in the order in which the provider is asked.
};

// The tables are built from constant rows that hold their strings as arrays of characters. An initializer list of
// QLatin1String instead would take code for each row and a relocation for each string.

struct PropertyKeyRow
{
    Property property;
    char key[24];
};

struct EventRow
{
    EventType type;
    char name[28];
    EventPriority priority;
    std::initializer_list<Property> properties;
};

/// The number of enumerators: one more than the last one that a row names.
template <typename Row, std::size_t count, typename Enum>
constexpr int endOf(Row const (&rows)[count], Enum Row::*enumerator)
{
    int end = 0;
    for (Row const &row : rows) {
        if (static_cast<int>(row.*enumerator) >= end)
            end = static_cast<int>(row.*enumerator) + 1;
    }
    return end;
}

/// The number of rows that name an enumerator.
template <typename Row, std::size_t count, typename Enum>
constexpr int rowsOf(int value, Row const (&rows)[count], Enum Row::*enumerator)
{
    int found = 0;
    for (Row const &row : rows)
        found += static_cast<int>(row.*enumerator) == value;
    return found;
}

/// Whether the rows name each enumerator from `first` on, and no other, between `atLeast` and `atMost` times.
template <typename Row, std::size_t count, typename Enum>
constexpr bool nameEach(Row const (&rows)[count], Enum Row::*enumerator, int first, int atLeast, int atMost)
{
    for (Row const &row : rows) {
        if (static_cast<int>(row.*enumerator) < first)
            return false;
    }
    for (int value = first; value < endOf(rows, enumerator); ++value) {
        int const found = rowsOf(value, rows, enumerator);
        if (found < atLeast || found > atMost)
            return false;
    }
    return true;
}

/// Whether an enumeration has an enumerator of this value. If it has none, both compilers print a cast of a number.
template <auto value> constexpr bool isEnumerator()
{
    return std::string_view(__PRETTY_FUNCTION__).find("= (") == std::string_view::npos;
}

// clang-format off

/// The JSON key of each property: every letter is part of the wire format. Three properties share "target";
/// no event carries two of them. Location has two equal rows, one in the order of values and one in the alphabet; the
/// second changes nothing.
static constexpr PropertyKeyRow propertyKeyRows[] = {
    {Property::ActiveInterface,        "active_interface"},
    {Property::AdDuration,             "ad_duration"},
    {Property::AdPlaceType,            "ad_place_type"},
    {Property::AdPlaylist,             "ad_playlist"},
    {Property::AdServer,               "ad_server"},
    {Property::AppPreparationTime,     "app_preparation_time"},
    {Property::AppScreen,              "app_screen"},
    {Property::AuthMode,               "auth_mode"},
    {Property::B2bType,                "btb_type"},
    {Property::BroadcastType,          "broadcast_type"},
    {Property::BufferingInfo,          "buffering"},
    {Property::ButtonName,             "button_name"},
    {Property::Channel,                "channel"},
    {Property::ClockContinuityGap,     "clock_continuity_gap"},
    {Property::Components,             "components"},
    {Property::ContentId,              "content_id"},
    {Property::ContentType,            "content_type"},
    {Property::CpuInfo,                "cpu_info"},
    {Property::CurLocation,            "cur_location"},
    {Property::CurSubLocation,         "cur_sub_location"},
    {Property::CurrentMrf,             "current_mrf"},
    {Property::Dash,                   "dash"},
    {Property::Decoder,                "decoder"},
    {Property::DefaultAgeLimit,        "default_age_limit"},
    {Property::DemoMode,               "demo_mode"},
    {Property::DeviceType,             "device_type"},
    {Property::DiscoverCase,           "discover_case"},
    {Property::Elements,               "elements"},
    {Property::Endpoints,              "endpoints"},
    {Property::ErrorDetails,           "error_details"},
    {Property::ErrorReason,            "error_reason"},
    {Property::Etr290,                 "etr290"},
    {Property::EventCounter,           "event_counter"},
    {Property::EventId,                "event_id"},
    {Property::EventVersion,           "event_version"},
    {Property::Feedback,               "feedback"},
    {Property::FirmwareVersion,        "firmware_version"},
    {Property::HdmiInfo,               "hdmi_info"},
    {Property::HdmiStatus,             "hdmi_status"},
    {Property::Hls,                    "hls"},
    {Property::HomeMrf,                "home_mrf"},
    {Property::HttpError,              "http_error"},
    {Property::HwInfo,                 "hw_info"},
    {Property::Id,                     "id"},
    {Property::Interval,               "interval_ms"},
    {Property::IpTos,                  "ip_tos"},
    {Property::IsQuickPurchase,        "is_quick_purchase"},
    {Property::IsShouldLinkCard,       "is_should_link_card"},
    {Property::IsTest,                 "is_test"},
    {Property::ItemId,                 "item_id"},
    {Property::ItemPosition,           "item_position"},
    {Property::ItemTarget,             "target"},
    {Property::ItemType,               "item_type"},
    {Property::Location,               "location"},
    {Property::LoginMode,              "login_mode"},
    {Property::LinkFaults,             "link_faults"},
    {Property::Location,               "location"},
    {Property::MacAddress,             "mac_address"},
    {Property::Manufacturer,           "manufacturer"},
    {Property::McastSource,            "mcast_source"},
    {Property::Mdi,                    "mdi"},
    {Property::MediaBlock,             "media_block"},
    {Property::MediaBlockPosition,     "media_block_position"},
    {Property::MediaBlockShort,        "media_block_short"},
    {Property::MediaInfo,              "media_info"},
    {Property::MediaItem,              "media_item"},
    {Property::MediaKBitrate,          "media_bitrate_kbps"},
    {Property::MediaProcessingTime,    "media_processing_time"},
    {Property::MediaReceivingTime,     "media_receiving_time"},
    {Property::MediaType,              "media_type"},
    {Property::MemoryInfo,             "memory_info"},
    {Property::MessageDelivery,        "delivery"},
    {Property::MessageId,              "message_id"},
    {Property::MessageTarget,          "target"},
    {Property::MessageType,            "message_type"},
    {Property::ModelName,              "model_name"},
    {Property::Name,                   "name"},
    {Property::NcError,                "nc_error"},
    {Property::NetworkInfo,            "network_info"},
    {Property::NetworkInterfaces,      "network_interfaces"},
    {Property::Offset,                 "offset"},
    {Property::OldOffset,              "old_offset"},
    {Property::Path,                   "path"},
    {Property::PayMethodId,            "pay_method_id"},
    {Property::Pin,                    "pin"},
    {Property::PlaybackDuration,       "playback_duration"},
    {Property::PlaybackPlaylistUrl,    "playback_playlist_url"},
    {Property::PlaybackPosition,       "playback_position"},
    {Property::PlaybackRealIp,         "playback_real_ip"},
    {Property::PlaybackSegmentUrl,     "playback_segment_url"},
    {Property::PlaybackSession,        "playback_session"},
    {Property::PlaybackState,          "playback_state"},
    {Property::PlaybackTrickModeSpeed, "trickmode_speed"},
    {Property::PlaybackUrl,            "playback_url"},
    {Property::PlaybackUrlFailed,      "playback_url_failed"},
    {Property::PlaybackUrlNew,         "playback_url_new"},
    {Property::PlaybackUrlsList,       "playback_urls_list"},
    {Property::PlayerMode,             "player_mode"},
    {Property::PollResult,             "poll_result"},
    {Property::PowerInfo,              "power_info"},
    {Property::ProfileId,              "profile_id"},
    {Property::ProfileType,            "profile_type"},
    {Property::PurchaseVariant,        "purchase_variant"},
    {Property::PurchaseVariants,       "purchase_variants"},
    {Property::Query,                  "query"},
    {Property::Rating,                 "rating"},
    {Property::RcuIdlePeriod,          "rcu_idle_period"},
    {Property::RestoreReason,          "restore_reason"},
    {Property::ResultCode,             "result_code"},
    {Property::San,                    "san"},
    {Property::Scte35,                 "scte35"},
    {Property::SerialNumber,           "serial_number"},
    {Property::ServiceId,              "service_id"},
    {Property::SessionState,           "session_state"},
    {Property::SubLocation,            "sub_location"},
    {Property::SystemLoadTime,         "system_load_time"},
    {Property::SystemSettings,         "system_settings"},
    {Property::SystemUptime,           "system_uptime"},
    {Property::Target,                 "target"},
    {Property::TicketId,               "ticket_id"},
    {Property::TimeZone,               "timezone"},
    {Property::Timestamp,              "timestamp"},
    {Property::Title,                  "title"},
    {Property::TotalItems,             "total_items"},
    {Property::TriggerContentType,     "trigger_content_type"},
    {Property::TriggerId,              "trigger_id"},
    {Property::Uid,                    "uid"},
    {Property::UsageModel,             "usage_model"},
    {Property::UserInteractionTime,    "user_interaction_time"},
    {Property::ValidUntil,             "valid_until"},
    {Property::VerimatrixCasError,     "vmx_cas_error"},
    {Property::VerimatrixDrmError,     "vmx_drm_error"},
    {Property::VmxErrors,              "vmx_errors"},
    {Property::WidgetName,             "widget_name"},
    {Property::WifiInfo,               "wifi_info"},
    {Property::KivoLoadTime,           "kivo_load_time"},
    {Property::KivoModuleName,         "kivo_module_name"},
    {Property::KivoStatus,             "status"},
    {Property::KivoVersion,            "kivo_version"},
    {Property::ZapTime,                "zap_time"},
};

static_assert(nameEach(propertyKeyRows, &PropertyKeyRow::property, 0, 1, 2),
              "propertyKeyRows: a property has no row, or too many of them");
static_assert(!isEnumerator<Property(endOf(propertyKeyRows, &PropertyKeyRow::property))>(),
              "propertyKeyRows: a property that was added has no row with its JSON key");

[[gnu::cold]] static QHash<Property, QLatin1String> makePropertyKeys()
{
    QHash<Property, QLatin1String> table;
    for (PropertyKeyRow const &row : propertyKeyRows)
        table.insert(row.property, QLatin1String(row.key));
    return table;
}

static QHash<Property, QLatin1String> const propertyKeys = makePropertyKeys();

using P = Property;

/// The properties of each type of event. PlaybackZap asks for CurrentMrf twice, KivoStatus carries San in the
/// middle of its list, and no event carries IsQuickPurchase. This is on purpose. eventnames.h
/// repeats the names; tst_catalogue compares them.
static constexpr EventRow eventRows[] = {
    {EventType::PlaybackPause,             "playback_pause",              EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::PlaybackSession, P::Offset}},
    {EventType::PlaybackPauseResume,       "playback_pause_resume",       EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackSession, P::DemoMode, P::Offset, P::UsageModel}},
    {EventType::PlaybackSetPosition,       "playback_set_position",       EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackSession, P::DemoMode, P::Offset, P::OldOffset, P::UsageModel}},
    {EventType::PlaybackStart,             "playback_start",              EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackSession, P::DemoMode, P::Offset, P::UsageModel}},
    {EventType::PlaybackStatus,            "playback_status",             EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackUrl, P::PlaybackSession, P::DemoMode, P::Offset, P::PlaybackState, P::UsageModel, P::PlayerMode, P::RcuIdlePeriod}},
    {EventType::PlaybackStop,              "playback_stop",               EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackSession, P::Offset}},
    {EventType::PlaybackTrickMode,         "playback_trickmode",          EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::PlaybackSession, P::Offset, P::PlaybackTrickModeSpeed}},
    {EventType::PlaybackTrickModeResume,   "playback_trickmode_resume",   EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackSession, P::DemoMode, P::Offset, P::UsageModel}},
    {EventType::ProfileChange,             "profile_change",              EventPriority::Medium, {P::San, P::ProfileId, P::DefaultAgeLimit, P::Pin, P::ProfileType}},
    {EventType::PurchaseRequest,           "purchase_request",            EventPriority::Medium, {P::San, P::PurchaseVariant, P::TriggerId, P::TriggerContentType}},
    {EventType::PurchaseResult,            "purchase_result",             EventPriority::Medium, {P::San, P::PurchaseVariant, P::TicketId, P::PayMethodId, P::IsShouldLinkCard, P::ResultCode}},
    {EventType::SqmMetrics,                "sqm_metrics",                 EventPriority::Medium, {P::San, P::HomeMrf, P::Location, P::SubLocation, P::CurrentMrf, P::CurLocation, P::CurSubLocation, P::KivoVersion, P::FirmwareVersion, P::DeviceType, P::BroadcastType, P::MediaType, P::Channel, P::MediaItem, P::PlaybackState, P::PlaybackUrl, P::PlaybackSession, P::IpTos, P::McastSource, P::SystemUptime, P::ActiveInterface, P::RcuIdlePeriod, P::Interval, P::Decoder, P::BufferingInfo, P::ClockContinuityGap, P::MediaKBitrate, P::LinkFaults, P::Mdi, P::Etr290, P::Hls, P::Dash, P::CpuInfo, P::MemoryInfo, P::PowerInfo, P::NetworkInfo, P::WifiInfo, P::ErrorReason, P::PlaybackRealIp, P::MediaInfo, P::VmxErrors, P::PlaybackPlaylistUrl, P::PlaybackSegmentUrl}},
    {EventType::SystemBoot,                "system_boot",                 EventPriority::Medium, {P::TimeZone, P::SerialNumber, P::NetworkInterfaces, P::ActiveInterface, P::WifiInfo, P::HwInfo, P::CpuInfo, P::MemoryInfo, P::FirmwareVersion, P::KivoVersion, P::SystemLoadTime, P::HdmiStatus, P::HdmiInfo, P::SystemSettings}},
    {EventType::SystemStatus,              "system_status",               EventPriority::Medium, {P::TimeZone, P::SerialNumber, P::SystemUptime, P::ActiveInterface, P::NetworkInterfaces, P::WifiInfo, P::CpuInfo, P::FirmwareVersion, P::KivoVersion, P::PowerInfo, P::MemoryInfo, P::HdmiStatus, P::HdmiInfo, P::SystemSettings, P::RcuIdlePeriod}},
    {EventType::UiButtonClick,             "ui_button_click",             EventPriority::Medium, {P::San, P::AppScreen, P::Path, P::ButtonName, P::ContentId, P::ContentType, P::MediaBlockShort}},
    {EventType::UiContentRating,           "ui_content_rating",           EventPriority::Medium, {P::San, P::ContentId, P::ContentType, P::Rating}},
    {EventType::UiItemClick,               "ui_item_click",               EventPriority::Medium, {P::San, P::AppScreen, P::MediaBlockShort, P::MediaBlockPosition, P::ItemId, P::ItemType, P::ItemPosition, P::ItemTarget, P::Path}},
    {EventType::UiFeedback,                "ui_feedback",                 EventPriority::Medium, {P::San, P::ContentId, P::ContentType, P::Feedback}},
    {EventType::UiMediaBlockFocus,         "ui_media_block_focus",        EventPriority::Medium, {P::San, P::AppScreen, P::MediaBlock, P::MediaBlockPosition, P::Path}},
    {EventType::UiMediaBlockChange,        "ui_media_block_change",       EventPriority::Medium, {P::San, P::AppScreen, P::MediaBlock, P::MediaBlockPosition, P::Path}},
    {EventType::UiMenuClick,               "ui_menu_click",               EventPriority::Medium, {P::San, P::Id, P::Title, P::Target, P::Path, P::AppScreen}},
    {EventType::UiWidgetClicked,           "ui_widget_clicked",           EventPriority::Medium, {P::San, P::AppScreen, P::Path, P::WidgetName, P::ContentId, P::ContentType}},
    {EventType::UiWidgetShown,             "ui_widget_shown",             EventPriority::Low,    {P::San, P::AppScreen, P::Path, P::WidgetName, P::ContentId, P::ContentType, P::Offset}},
    {EventType::MessageShown,              "message_shown",               EventPriority::Medium, {P::San, P::AppScreen, P::MessageId, P::MessageType, P::MessageTarget, P::MessageDelivery}},
    {EventType::MessageClicked,            "message_clicked",             EventPriority::Medium, {P::San, P::AppScreen, P::MessageId, P::MessageType, P::MessageTarget, P::MessageDelivery, P::PollResult}},
    {EventType::PurchaseOptions,           "purchase_options",            EventPriority::Medium, {P::San, P::TriggerId, P::TriggerContentType, P::PurchaseVariants}},
    {EventType::SearchResult,              "search_result",               EventPriority::Medium, {P::San, P::Query, P::TotalItems}},
    {EventType::UiTargetView,              "ui_target_view",              EventPriority::Medium, {P::San, P::AppScreen, P::Target, P::Elements, P::Name, P::Path}},
    {EventType::PurchaseServiceComponents, "purchase_service_components", EventPriority::Medium, {P::San, P::ServiceId, P::Components}},
    {EventType::PurchaseUnsubscribe,       "purchase_unsubscribe",        EventPriority::Medium, {P::San, P::ServiceId, P::ValidUntil, P::ResultCode}},
    {EventType::Discover,                  "discover",                    EventPriority::Medium, {P::SerialNumber, P::DiscoverCase, P::Endpoints}},
    {EventType::KivoAuth,                  "kivo_auth",                   EventPriority::Low,    {P::San, P::AuthMode, P::LoginMode}},
    {EventType::KivoError,                 "kivo_error",                  EventPriority::High,   {P::San, P::FirmwareVersion, P::KivoVersion, P::SessionState, P::KivoModuleName, P::ErrorReason, P::ErrorDetails, P::NcError, P::HttpError, P::HomeMrf, P::CurrentMrf, P::RcuIdlePeriod}},
    {EventType::KivoRestore,               "kivo_restore",                EventPriority::Low,    {P::San, P::FirmwareVersion, P::KivoVersion, P::ErrorReason, P::RestoreReason}},
    {EventType::KivoStatus,                "kivo_status",                 EventPriority::Medium, {P::AuthMode, P::BroadcastType, P::B2bType, P::IsTest, P::CurLocation, P::CurSubLocation, P::HomeMrf, P::Location, P::ModelName, P::Manufacturer, P::ProfileId, P::DeviceType, P::San, P::FirmwareVersion, P::SessionState, P::KivoStatus, P::SubLocation, P::CurrentMrf, P::KivoVersion, P::KivoLoadTime}},
    {EventType::PlaybackZap,               "playback_zap",                EventPriority::Medium, {P::San, P::HomeMrf, P::CurrentMrf, P::Location, P::SubLocation, P::CurrentMrf, P::CurLocation, P::CurSubLocation, P::PlaybackSession, P::AppPreparationTime, P::UserInteractionTime, P::MediaReceivingTime, P::MediaProcessingTime, P::ZapTime, P::MediaType, P::PlaybackUrl}},
    {EventType::PlaybackNewProgram,        "playback_new_program",        EventPriority::Low,    {P::San, P::Channel, P::MediaType, P::DemoMode, P::UsageModel}},
    {EventType::PlaybackError,             "playback_error",              EventPriority::High,   {P::San, P::FirmwareVersion, P::KivoVersion, P::Channel, P::MediaItem, P::MediaType, P::PlaybackUrl, P::PlaybackSession, P::ErrorReason, P::ErrorDetails, P::PlaybackRealIp, P::HomeMrf, P::CurrentMrf, P::VerimatrixCasError, P::VerimatrixDrmError, P::RcuIdlePeriod, P::PlaybackPlaylistUrl, P::PlaybackSegmentUrl}},
    {EventType::PlaybackRestore,           "playback_restore",            EventPriority::Medium, {P::San, P::FirmwareVersion, P::KivoVersion, P::Channel, P::MediaItem, P::MediaType, P::PlaybackUrl, P::PlaybackSession, P::Offset, P::DemoMode}},
    {EventType::PlaybackFallback,          "playback_fallback",           EventPriority::Medium, {P::San, P::Channel, P::MediaItem, P::MediaType, P::PlaybackUrlFailed, P::PlaybackUrlNew, P::PlaybackUrlsList, P::PlaybackSession, P::Offset, P::DemoMode}},
    {EventType::PlaybackAd,                "playback_ad",                 EventPriority::Low,    {P::San, P::Channel, P::MediaItem, P::PlaybackSession, P::Scte35, P::AdPlaylist, P::AdPlaceType, P::AdServer, P::AdDuration, P::PlaybackUrl}},
    {EventType::PlaybackAdStop,            "playback_ad_stop",            EventPriority::Low,    {P::San, P::Channel, P::MediaItem, P::PlaybackSession, P::Scte35, P::AdPlaylist, P::AdPlaceType, P::AdServer, P::PlaybackUrl, P::PlaybackPosition, P::PlaybackDuration, P::AdDuration}},
};

// clang-format on

static_assert(nameEach(eventRows, &EventRow::type, 1, 1, 1),
              "eventRows: a type of event has no row or two of them, or Invalid has one");
static_assert(!isEnumerator<EventType(endOf(eventRows, &EventRow::type))>(),
              "eventRows: a type of event that was added has no row with its name, priority and properties");

[[gnu::cold]] static QHash<EventType, EventProperties> makeEventTable()
{
    QHash<EventType, EventProperties> table;
    for (EventRow const &row : eventRows)
        table.insert(row.type, {QLatin1String(row.name), row.priority, row.properties});
    return table;
}

static QHash<EventType, EventProperties> const eventTable = makeEventTable();

} // namespace analytics
