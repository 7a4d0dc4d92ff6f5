#include "counts.h"

#include <analytics/catalogue_p.h>
#include <analytics/eventnames.h>

#include <QtCore/QMetaEnum>
#include <QtCore/QSet>
#include <QtTest/QtTest>

using namespace analytics;

namespace {

struct ExpectedKey
{
    int value;
    char const *property;
    char const *key;
};

struct ExpectedEvent
{
    int value;
    char const *type;
    char const *name;
    int priority;
    char const *properties;
};

// clang-format off

QList<ExpectedKey> const expectedKeys = {
    {  0, "ActiveInterface",        "active_interface"},
    {  1, "AdDuration",             "ad_duration"},
    {  2, "AdPlaceType",            "ad_place_type"},
    {  3, "AdPlaylist",             "ad_playlist"},
    {  4, "AdServer",               "ad_server"},
    {  5, "AppPreparationTime",     "app_preparation_time"},
    {  6, "AppScreen",              "app_screen"},
    {  7, "AuthMode",               "auth_mode"},
    {  8, "B2bType",                "btb_type"},
    {  9, "BroadcastType",          "broadcast_type"},
    { 10, "BufferingInfo",          "buffering"},
    { 11, "ButtonName",             "button_name"},
    { 12, "Channel",                "channel"},
    { 13, "ClockContinuityGap",     "clock_continuity_gap"},
    { 14, "Components",             "components"},
    { 15, "ContentId",              "content_id"},
    { 16, "ContentType",            "content_type"},
    { 17, "CpuInfo",                "cpu_info"},
    { 18, "CurLocation",            "cur_location"},
    { 19, "CurSubLocation",         "cur_sub_location"},
    { 20, "CurrentMrf",             "current_mrf"},
    { 21, "Dash",                   "dash"},
    { 22, "Decoder",                "decoder"},
    { 23, "DefaultAgeLimit",        "default_age_limit"},
    { 24, "DemoMode",               "demo_mode"},
    { 25, "DeviceType",             "device_type"},
    { 26, "DiscoverCase",           "discover_case"},
    { 27, "Elements",               "elements"},
    { 28, "Endpoints",              "endpoints"},
    { 29, "ErrorDetails",           "error_details"},
    { 30, "ErrorReason",            "error_reason"},
    { 31, "Etr290",                 "etr290"},
    { 32, "EventCounter",           "event_counter"},
    { 33, "EventId",                "event_id"},
    { 34, "EventVersion",           "event_version"},
    { 35, "Feedback",               "feedback"},
    { 36, "FirmwareVersion",        "firmware_version"},
    { 37, "HdmiInfo",               "hdmi_info"},
    { 38, "HdmiStatus",             "hdmi_status"},
    { 39, "Hls",                    "hls"},
    { 40, "HomeMrf",                "home_mrf"},
    { 41, "HttpError",              "http_error"},
    { 42, "HwInfo",                 "hw_info"},
    { 43, "Id",                     "id"},
    { 44, "Interval",               "interval_ms"},
    { 45, "IpTos",                  "ip_tos"},
    { 46, "IsQuickPurchase",        "is_quick_purchase"},
    { 47, "IsShouldLinkCard",       "is_should_link_card"},
    { 48, "IsTest",                 "is_test"},
    { 49, "ItemId",                 "item_id"},
    { 50, "ItemPosition",           "item_position"},
    { 51, "ItemTarget",             "target"},
    { 52, "ItemType",               "item_type"},
    { 53, "Location",               "location"},
    { 54, "LoginMode",              "login_mode"},
    { 55, "LinkFaults",             "link_faults"},
    { 56, "MacAddress",             "mac_address"},
    { 57, "Manufacturer",           "manufacturer"},
    { 58, "McastSource",            "mcast_source"},
    { 59, "Mdi",                    "mdi"},
    { 60, "MediaBlock",             "media_block"},
    { 61, "MediaBlockPosition",     "media_block_position"},
    { 62, "MediaBlockShort",        "media_block_short"},
    { 63, "MediaInfo",              "media_info"},
    { 64, "MediaItem",              "media_item"},
    { 65, "MediaKBitrate",          "media_bitrate_kbps"},
    { 66, "MediaProcessingTime",    "media_processing_time"},
    { 67, "MediaReceivingTime",     "media_receiving_time"},
    { 68, "MediaType",              "media_type"},
    { 69, "MemoryInfo",             "memory_info"},
    { 70, "MessageDelivery",        "delivery"},
    { 71, "MessageId",              "message_id"},
    { 72, "MessageTarget",          "target"},
    { 73, "MessageType",            "message_type"},
    { 74, "ModelName",              "model_name"},
    { 75, "Name",                   "name"},
    { 76, "NcError",                "nc_error"},
    { 77, "NetworkInfo",            "network_info"},
    { 78, "NetworkInterfaces",      "network_interfaces"},
    { 79, "Offset",                 "offset"},
    { 80, "OldOffset",              "old_offset"},
    { 81, "Path",                   "path"},
    { 82, "PayMethodId",            "pay_method_id"},
    { 83, "Pin",                    "pin"},
    { 84, "PlaybackDuration",       "playback_duration"},
    { 85, "PlaybackPlaylistUrl",    "playback_playlist_url"},
    { 86, "PlaybackPosition",       "playback_position"},
    { 87, "PlaybackRealIp",         "playback_real_ip"},
    { 88, "PlaybackSegmentUrl",     "playback_segment_url"},
    { 89, "PlaybackSession",        "playback_session"},
    { 90, "PlaybackState",          "playback_state"},
    { 91, "PlaybackTrickModeSpeed", "trickmode_speed"},
    { 92, "PlaybackUrl",            "playback_url"},
    { 93, "PlaybackUrlFailed",      "playback_url_failed"},
    { 94, "PlaybackUrlNew",         "playback_url_new"},
    { 95, "PlaybackUrlsList",       "playback_urls_list"},
    { 96, "PlayerMode",             "player_mode"},
    { 97, "PollResult",             "poll_result"},
    { 98, "PowerInfo",              "power_info"},
    { 99, "ProfileId",              "profile_id"},
    {100, "ProfileType",            "profile_type"},
    {101, "PurchaseVariant",        "purchase_variant"},
    {102, "PurchaseVariants",       "purchase_variants"},
    {103, "Query",                  "query"},
    {104, "Rating",                 "rating"},
    {105, "RcuIdlePeriod",          "rcu_idle_period"},
    {106, "RestoreReason",          "restore_reason"},
    {107, "ResultCode",             "result_code"},
    {108, "San",                    "san"},
    {109, "Scte35",                 "scte35"},
    {110, "SerialNumber",           "serial_number"},
    {111, "ServiceId",              "service_id"},
    {112, "SessionState",           "session_state"},
    {113, "SubLocation",            "sub_location"},
    {114, "SystemLoadTime",         "system_load_time"},
    {115, "SystemSettings",         "system_settings"},
    {116, "SystemUptime",           "system_uptime"},
    {117, "Target",                 "target"},
    {118, "TicketId",               "ticket_id"},
    {119, "TimeZone",               "timezone"},
    {120, "Timestamp",              "timestamp"},
    {121, "Title",                  "title"},
    {122, "TotalItems",             "total_items"},
    {123, "TriggerContentType",     "trigger_content_type"},
    {124, "TriggerId",              "trigger_id"},
    {125, "Uid",                    "uid"},
    {126, "UsageModel",             "usage_model"},
    {127, "UserInteractionTime",    "user_interaction_time"},
    {128, "ValidUntil",             "valid_until"},
    {129, "VerimatrixCasError",     "vmx_cas_error"},
    {130, "VerimatrixDrmError",     "vmx_drm_error"},
    {131, "VmxErrors",              "vmx_errors"},
    {132, "WidgetName",             "widget_name"},
    {133, "WifiInfo",               "wifi_info"},
    {134, "KivoLoadTime",           "kivo_load_time"},
    {135, "KivoModuleName",         "kivo_module_name"},
    {136, "KivoStatus",             "status"},
    {137, "KivoVersion",            "kivo_version"},
    {138, "ZapTime",                "zap_time"},
};

QList<ExpectedEvent> const expectedEvents = {
    { 1, "Discover",                  "discover",                    1, "SerialNumber DiscoverCase Endpoints"},
    { 2, "MessageClicked",            "message_clicked",             1, "San AppScreen MessageId MessageType MessageTarget MessageDelivery PollResult"},
    { 3, "MessageShown",              "message_shown",               1, "San AppScreen MessageId MessageType MessageTarget MessageDelivery"},
    { 4, "PlaybackAd",                "playback_ad",                 0, "San Channel MediaItem PlaybackSession Scte35 AdPlaylist AdPlaceType AdServer AdDuration PlaybackUrl"},
    { 5, "PlaybackAdStop",            "playback_ad_stop",            0, "San Channel MediaItem PlaybackSession Scte35 AdPlaylist AdPlaceType AdServer PlaybackUrl PlaybackPosition PlaybackDuration AdDuration"},
    { 6, "PlaybackError",             "playback_error",              2, "San FirmwareVersion KivoVersion Channel MediaItem MediaType PlaybackUrl PlaybackSession ErrorReason ErrorDetails PlaybackRealIp HomeMrf CurrentMrf VerimatrixCasError VerimatrixDrmError RcuIdlePeriod PlaybackPlaylistUrl PlaybackSegmentUrl"},
    { 7, "PlaybackFallback",          "playback_fallback",           1, "San Channel MediaItem MediaType PlaybackUrlFailed PlaybackUrlNew PlaybackUrlsList PlaybackSession Offset DemoMode"},
    { 8, "PlaybackNewProgram",        "playback_new_program",        0, "San Channel MediaType DemoMode UsageModel"},
    { 9, "PlaybackPause",             "playback_pause",              1, "San Channel MediaItem PlaybackSession Offset"},
    {10, "PlaybackPauseResume",       "playback_pause_resume",       1, "San Channel MediaItem MediaType PlaybackSession DemoMode Offset UsageModel"},
    {11, "PlaybackRestore",           "playback_restore",            1, "San FirmwareVersion KivoVersion Channel MediaItem MediaType PlaybackUrl PlaybackSession Offset DemoMode"},
    {12, "PlaybackSetPosition",       "playback_set_position",       1, "San Channel MediaItem MediaType PlaybackSession DemoMode Offset OldOffset UsageModel"},
    {13, "PlaybackStart",             "playback_start",              1, "San Channel MediaItem MediaType PlaybackSession DemoMode Offset UsageModel"},
    {14, "PlaybackStatus",            "playback_status",             1, "San Channel MediaItem MediaType PlaybackUrl PlaybackSession DemoMode Offset PlaybackState UsageModel PlayerMode RcuIdlePeriod"},
    {15, "PlaybackStop",              "playback_stop",               1, "San Channel MediaItem MediaType PlaybackSession Offset"},
    {16, "PlaybackTrickMode",         "playback_trickmode",          1, "San Channel MediaItem PlaybackSession Offset PlaybackTrickModeSpeed"},
    {17, "PlaybackTrickModeResume",   "playback_trickmode_resume",   1, "San Channel MediaItem MediaType PlaybackSession DemoMode Offset UsageModel"},
    {18, "PlaybackZap",               "playback_zap",                1, "San HomeMrf CurrentMrf Location SubLocation CurrentMrf CurLocation CurSubLocation PlaybackSession AppPreparationTime UserInteractionTime MediaReceivingTime MediaProcessingTime ZapTime MediaType PlaybackUrl"},
    {19, "ProfileChange",             "profile_change",              1, "San ProfileId DefaultAgeLimit Pin ProfileType"},
    {20, "PurchaseOptions",           "purchase_options",            1, "San TriggerId TriggerContentType PurchaseVariants"},
    {21, "PurchaseRequest",           "purchase_request",            1, "San PurchaseVariant TriggerId TriggerContentType"},
    {22, "PurchaseResult",            "purchase_result",             1, "San PurchaseVariant TicketId PayMethodId IsShouldLinkCard ResultCode"},
    {23, "PurchaseServiceComponents", "purchase_service_components", 1, "San ServiceId Components"},
    {24, "PurchaseUnsubscribe",       "purchase_unsubscribe",        1, "San ServiceId ValidUntil ResultCode"},
    {25, "SearchResult",              "search_result",               1, "San Query TotalItems"},
    {26, "SqmMetrics",                "sqm_metrics",                 1, "San HomeMrf Location SubLocation CurrentMrf CurLocation CurSubLocation KivoVersion FirmwareVersion DeviceType BroadcastType MediaType Channel MediaItem PlaybackState PlaybackUrl PlaybackSession IpTos McastSource SystemUptime ActiveInterface RcuIdlePeriod Interval Decoder BufferingInfo ClockContinuityGap MediaKBitrate LinkFaults Mdi Etr290 Hls Dash CpuInfo MemoryInfo PowerInfo NetworkInfo WifiInfo ErrorReason PlaybackRealIp MediaInfo VmxErrors PlaybackPlaylistUrl PlaybackSegmentUrl"},
    {27, "SystemBoot",                "system_boot",                 1, "TimeZone SerialNumber NetworkInterfaces ActiveInterface WifiInfo HwInfo CpuInfo MemoryInfo FirmwareVersion KivoVersion SystemLoadTime HdmiStatus HdmiInfo SystemSettings"},
    {28, "SystemStatus",              "system_status",               1, "TimeZone SerialNumber SystemUptime ActiveInterface NetworkInterfaces WifiInfo CpuInfo FirmwareVersion KivoVersion PowerInfo MemoryInfo HdmiStatus HdmiInfo SystemSettings RcuIdlePeriod"},
    {29, "UiButtonClick",             "ui_button_click",             1, "San AppScreen Path ButtonName ContentId ContentType MediaBlockShort"},
    {30, "UiContentRating",           "ui_content_rating",           1, "San ContentId ContentType Rating"},
    {31, "UiFeedback",                "ui_feedback",                 1, "San ContentId ContentType Feedback"},
    {32, "UiItemClick",               "ui_item_click",               1, "San AppScreen MediaBlockShort MediaBlockPosition ItemId ItemType ItemPosition ItemTarget Path"},
    {33, "UiMediaBlockChange",        "ui_media_block_change",       1, "San AppScreen MediaBlock MediaBlockPosition Path"},
    {34, "UiMediaBlockFocus",         "ui_media_block_focus",        1, "San AppScreen MediaBlock MediaBlockPosition Path"},
    {35, "UiMenuClick",               "ui_menu_click",               1, "San Id Title Target Path AppScreen"},
    {36, "UiTargetView",              "ui_target_view",              1, "San AppScreen Target Elements Name Path"},
    {37, "UiWidgetClicked",           "ui_widget_clicked",           1, "San AppScreen Path WidgetName ContentId ContentType"},
    {38, "UiWidgetShown",             "ui_widget_shown",             0, "San AppScreen Path WidgetName ContentId ContentType Offset"},
    {39, "KivoAuth",                  "kivo_auth",                   0, "San AuthMode LoginMode"},
    {40, "KivoError",                 "kivo_error",                  2, "San FirmwareVersion KivoVersion SessionState KivoModuleName ErrorReason ErrorDetails NcError HttpError HomeMrf CurrentMrf RcuIdlePeriod"},
    {41, "KivoRestore",               "kivo_restore",                0, "San FirmwareVersion KivoVersion ErrorReason RestoreReason"},
    {42, "KivoStatus",                "kivo_status",                 1, "AuthMode BroadcastType B2bType IsTest CurLocation CurSubLocation HomeMrf Location ModelName Manufacturer ProfileId DeviceType San FirmwareVersion SessionState KivoStatus SubLocation CurrentMrf KivoVersion KivoLoadTime"},
};

// clang-format on

QByteArray nameOf(Property property)
{
    return QMetaEnum::fromType<Property>().valueToKey(static_cast<int>(property));
}

} // namespace

class TestCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keys_data();
    void keys();
    void keyTable();
    void events_data();
    void events();
    void noEventName();
    void eventTableAsAWhole();
    void irregularities();
    void defaultProperties();
};

void TestCatalogue::keys_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("key");

    for (ExpectedKey const &row : expectedKeys)
        QTest::newRow(row.property) << row.value << QByteArray(row.key);
}

void TestCatalogue::keys()
{
    QFETCH(int, value);
    QFETCH(QByteArray, key);

    QCOMPARE(nameOf(static_cast<Property>(value)), QByteArray(QTest::currentDataTag()));
    QLatin1String const found = propertyKeys.value(static_cast<Property>(value));
    QCOMPARE(QByteArray(found.data(), found.size()), key);
}

void TestCatalogue::keyTable()
{
    QCOMPARE(propertyKeys.size(), propertyCount);
    QVERIFY2(expectedKeys.size() == propertyCount, "expectedKeys: a row for each property");
    QCOMPARE(std::size(propertyKeyRows), size_t(propertyCount + 1));
    QCOMPARE(propertyKeyRows[53].property, Property::Location);
    QCOMPARE(propertyKeyRows[56].property, Property::Location);
    QCOMPARE(propertyKeyRows[56].key, "location");
    QVERIFY(propertyKeys.value(unknownProperty).isNull());
    QVERIFY(propertyKeys.value(static_cast<Property>(-1)).isNull());

    QHash<QByteArray, QByteArrayList> properties;
    for (ExpectedKey const &row : expectedKeys) {
        QLatin1String const key = propertyKeys.value(static_cast<Property>(row.value));
        QVERIFY(key.size() >= 2 && key.size() <= 21);
        properties[QByteArray(key.data(), key.size())].append(row.property);
    }
    QCOMPARE(properties.size(), 137);
    QCOMPARE(properties.value("target"), (QByteArrayList{"ItemTarget", "MessageTarget", "Target"}));
}

void TestCatalogue::events_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("priority");
    QTest::addColumn<QByteArrayList>("properties");

    for (ExpectedEvent const &row : expectedEvents)
        QTest::newRow(row.type) << row.value << QByteArray(row.name) << row.priority
                                << QByteArray(row.properties).split(' ');
}

void TestCatalogue::events()
{
    QFETCH(int, value);
    QFETCH(QByteArray, name);
    QFETCH(int, priority);
    QFETCH(QByteArrayList, properties);

    EventType const type = static_cast<EventType>(value);
    QCOMPARE(QMetaEnum::fromType<EventType>().valueToKey(value), QTest::currentDataTag());
    QVERIFY(eventTable.contains(type));

    EventProperties const event = eventTable.value(type);
    QCOMPARE(QByteArray(event.name.data(), event.name.size()), name);
    QCOMPARE(QByteArray(eventTypeToName(type).data(), eventTypeToName(type).size()), name);
    QCOMPARE(eventTypeFromName(name.toStdString()), type);
    QCOMPARE(static_cast<int>(event.priority), priority);

    QByteArrayList names;
    for (Property property : event.properties)
        names.append(nameOf(property));
    QCOMPARE(names, properties);
}

void TestCatalogue::noEventName()
{
    for (EventType type : {EventType::Invalid, EventType(-1), unknownEventType})
        QVERIFY(eventTypeToName(type).isNull());
    for (char const *name : {"", "Discover", "discover ", "discove", "playback_trick_mode", "invalid"})
        QCOMPARE(eventTypeFromName(name), EventType::Invalid);
    static_assert(eventTypeFromName("ui_widget_shown") == EventType::UiWidgetShown);
}

void TestCatalogue::eventTableAsAWhole()
{
    QCOMPARE(eventTable.size(), eventTypeCount);
    QVERIFY2(expectedEvents.size() == eventTypeCount, "expectedEvents: a row for each type of event");
    QVERIFY(!eventTable.contains(EventType::Invalid));

    QHash<qsizetype, int> typesByLength;
    QHash<EventPriority, int> typesByPriority;
    for (EventProperties const &event : eventTable) {
        ++typesByLength[event.properties.size()];
        ++typesByPriority[event.priority];
    }
    QCOMPARE(typesByLength.value(43), 1);
    QCOMPARE(eventTable.value(EventType::SqmMetrics).properties.size(), 43);
    QCOMPARE(typesByLength.value(3), 4);
    QCOMPARE(typesByPriority.value(EventPriority::High), 2);
    QCOMPARE(typesByPriority.value(EventPriority::Low), 6);
    QCOMPARE(typesByPriority.value(EventPriority::Medium), 34);
}

void TestCatalogue::irregularities()
{
    QList<Property> const zap = eventTable.value(EventType::PlaybackZap).properties;
    QCOMPARE(zap.size(), 16);
    QCOMPARE(zap.at(2), Property::CurrentMrf);
    QCOMPARE(zap.at(5), Property::CurrentMrf);
    QCOMPARE(QSet<Property>(zap.begin(), zap.end()).size(), 15);

    QSet<Property> const generic = {Property::EventId,   Property::EventVersion, Property::EventCounter,
                                    Property::Timestamp, Property::MacAddress,   Property::Uid};
    for (auto it = eventTable.begin(); it != eventTable.end(); ++it) {
        QList<Property> const &properties = it->properties;
        QVERIFY(!properties.contains(Property::IsQuickPurchase));
        QVERIFY(!QSet<Property>(properties.begin(), properties.end()).intersects(generic));
        QVERIFY(properties.contains(Property::ItemTarget) + properties.contains(Property::MessageTarget)
                    + properties.contains(Property::Target)
                <= 1);

        qsizetype const san = properties.indexOf(Property::San);
        switch (it.key()) {
        case EventType::Discover:
        case EventType::SystemBoot:
        case EventType::SystemStatus:
            QCOMPARE(san, -1);
            break;
        case EventType::KivoStatus:
            QCOMPARE(san, 12);
            break;
        default:
            QCOMPARE(san, 0);
        }
    }
}

void TestCatalogue::defaultProperties()
{
    EventProperties const none = eventTable.value(EventType::Invalid);
    QVERIFY(none.name.isNull());
    QCOMPARE(none.priority, EventPriority::Low);
    QVERIFY(none.properties.isEmpty());
}

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
