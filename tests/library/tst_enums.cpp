#include "counts.h"

#include <analytics/enums.h>

#include <QtCore/QDebug>
#include <QtCore/QMetaEnum>
#include <QtCore/QVariant>
#include <QtTest/QtTest>

using namespace analytics;

namespace {

struct Enumeration
{
    char const *name;
    QList<char const *> keys; // by value, from 0
};

// In the order of the namespace's meta-object.
// clang-format off
QList<Enumeration> const enumerations = {
    {"EventPriority",
     {
        "Low", "Medium", "High",
     }},
    {"EventType",
     {
        "Invalid", "Discover", "MessageClicked", "MessageShown", "PlaybackAd", "PlaybackAdStop", "PlaybackError",
        "PlaybackFallback", "PlaybackNewProgram", "PlaybackPause", "PlaybackPauseResume", "PlaybackRestore",
        "PlaybackSetPosition", "PlaybackStart", "PlaybackStatus", "PlaybackStop", "PlaybackTrickMode",
        "PlaybackTrickModeResume", "PlaybackZap", "ProfileChange", "PurchaseOptions", "PurchaseRequest",
        "PurchaseResult", "PurchaseServiceComponents", "PurchaseUnsubscribe", "SearchResult", "SqmMetrics",
        "SystemBoot", "SystemStatus", "UiButtonClick", "UiContentRating", "UiFeedback", "UiItemClick",
        "UiMediaBlockChange", "UiMediaBlockFocus", "UiMenuClick", "UiTargetView", "UiWidgetClicked", "UiWidgetShown",
        "KivoAuth", "KivoError", "KivoRestore", "KivoStatus",
     }},
    {"Property",
     {
        "ActiveInterface", "AdDuration", "AdPlaceType", "AdPlaylist", "AdServer", "AppPreparationTime", "AppScreen",
        "AuthMode", "B2bType", "BroadcastType", "BufferingInfo", "ButtonName", "Channel", "ClockContinuityGap",
        "Components", "ContentId", "ContentType", "CpuInfo", "CurLocation", "CurSubLocation", "CurrentMrf", "Dash",
        "Decoder", "DefaultAgeLimit", "DemoMode", "DeviceType", "DiscoverCase", "Elements", "Endpoints",
        "ErrorDetails", "ErrorReason", "Etr290", "EventCounter", "EventId", "EventVersion", "Feedback",
        "FirmwareVersion", "HdmiInfo", "HdmiStatus", "Hls", "HomeMrf", "HttpError", "HwInfo", "Id", "Interval",
        "IpTos", "IsQuickPurchase", "IsShouldLinkCard", "IsTest", "ItemId", "ItemPosition", "ItemTarget", "ItemType",
        "Location", "LoginMode", "LinkFaults", "MacAddress", "Manufacturer", "McastSource", "Mdi", "MediaBlock",
        "MediaBlockPosition", "MediaBlockShort", "MediaInfo", "MediaItem", "MediaKBitrate", "MediaProcessingTime",
        "MediaReceivingTime", "MediaType", "MemoryInfo", "MessageDelivery", "MessageId", "MessageTarget",
        "MessageType", "ModelName", "Name", "NcError", "NetworkInfo", "NetworkInterfaces", "Offset", "OldOffset",
        "Path", "PayMethodId", "Pin", "PlaybackDuration", "PlaybackPlaylistUrl", "PlaybackPosition", "PlaybackRealIp",
        "PlaybackSegmentUrl", "PlaybackSession", "PlaybackState", "PlaybackTrickModeSpeed", "PlaybackUrl",
        "PlaybackUrlFailed", "PlaybackUrlNew", "PlaybackUrlsList", "PlayerMode", "PollResult", "PowerInfo",
        "ProfileId", "ProfileType", "PurchaseVariant", "PurchaseVariants", "Query", "Rating", "RcuIdlePeriod",
        "RestoreReason", "ResultCode", "San", "Scte35", "SerialNumber", "ServiceId", "SessionState", "SubLocation",
        "SystemLoadTime", "SystemSettings", "SystemUptime", "Target", "TicketId", "TimeZone", "Timestamp", "Title",
        "TotalItems", "TriggerContentType", "TriggerId", "Uid", "UsageModel", "UserInteractionTime", "ValidUntil",
        "VerimatrixCasError", "VerimatrixDrmError", "VmxErrors", "WidgetName", "WifiInfo", "KivoLoadTime",
        "KivoModuleName", "KivoStatus", "KivoVersion", "ZapTime",
     }},
    {"PlaybackStatus",
     {
        "Play", "Pause", "Rewind", "FastForward", "Stop", "Error",
     }},
    {"MediaType",
     {
        "Unknown", "Live", "PauseLive", "Archive", "SavedEpg", "Vod", "SavedVod", "File", "Ad", "Promo",
        "SplashScreen", "Screensaver",
     }},
    {"DiscoverReason",
     {
        "AppStart", "Rebalance",
     }},
    {"PlayerType",
     {
        "Unknown", "Tv", "Vod", "Standard", "Radio",
     }},
    {"KivoStatusSendReason",
     {
        "Unknown", "InitialAppStart", "AppStart", "AppRestart", "StandbyEntry", "StandbyExit", "SuspendEntry",
        "SuspendExit", "NewLocation",
     }},
    {"SettingType",
     {
        "Unknown", "UiResolution", "FontSize", "AudioLevel", "Mute", "RcuLayout", "Led", "Downmix",
     }},
    {"RestoreReasonType",
     {
        "Unknown", "Auto", "User",
     }},
    {"AdType",
     {
        "Unknown", "Alive", "Avod", "Scte35",
     }},
    {"WidgetName",
     {
        "Unknown", "Vex", "Lu", "Dap",
     }},
};
// clang-format on

template <typename Enum>
constexpr bool isPlainScoped
    = std::is_same_v<std::underlying_type_t<Enum>, qint32> && !std::is_convertible_v<Enum, int>;

static_assert(isPlainScoped<EventPriority> && isPlainScoped<EventType> && isPlainScoped<Property>);
static_assert(isPlainScoped<PlaybackStatus> && isPlainScoped<MediaType> && isPlainScoped<DiscoverReason>);
static_assert(isPlainScoped<PlayerType> && isPlainScoped<KivoStatusSendReason> && isPlainScoped<SettingType>);
static_assert(isPlainScoped<RestoreReasonType> && isPlainScoped<AdType> && isPlainScoped<WidgetName>);

} // namespace

class TestEnums : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObject();
    void enumerators_data();
    void enumerators();
    void registration_data();
    void registration();
    void lookups();
    void printByName();
};

void TestEnums::metaObject()
{
    QCOMPARE(analytics::staticMetaObject.className(), "analytics");
    QCOMPARE(analytics::staticMetaObject.enumeratorCount(), 12);
    QCOMPARE(analytics::staticMetaObject.indexOfEnumerator("Property"), 2);
    QCOMPARE(analytics::staticMetaObject.classInfoCount(), 0);
    QCOMPARE(analytics::staticMetaObject.methodCount(), 0);
    QCOMPARE(analytics::staticMetaObject.propertyCount(), 0);
    QCOMPARE(analytics::staticMetaObject.constructorCount(), 0);
}

void TestEnums::enumerators_data()
{
    QTest::addColumn<int>("enumerator");
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("key");

    for (int e = 0; e < enumerations.size(); ++e) {
        for (int v = 0; v < enumerations[e].keys.size(); ++v) {
            QTest::addRow("%s::%s", enumerations[e].name, enumerations[e].keys[v])
                << e << v << QByteArray(enumerations[e].keys[v]);
        }
    }
}

void TestEnums::enumerators()
{
    QFETCH(int, enumerator);
    QFETCH(int, value);
    QFETCH(QByteArray, key);

    QMetaEnum const metaEnum = analytics::staticMetaObject.enumerator(enumerator);
    QCOMPARE(QByteArray(metaEnum.key(value)), key);
    QCOMPARE(metaEnum.value(value), value);
    QCOMPARE(QByteArray(metaEnum.valueToKey(value)), key);
    QCOMPARE(metaEnum.keyToValue(key.constData()), value);
}

void TestEnums::registration_data()
{
    QTest::addColumn<int>("enumerator");

    for (int e = 0; e < enumerations.size(); ++e)
        QTest::newRow(enumerations[e].name) << e;
}

void TestEnums::registration()
{
    QFETCH(int, enumerator);

    QMetaEnum const metaEnum = analytics::staticMetaObject.enumerator(enumerator);
    QCOMPARE(metaEnum.name(), enumerations[enumerator].name);
    QCOMPARE(metaEnum.enumName(), enumerations[enumerator].name);
    QCOMPARE(metaEnum.scope(), "analytics");
    QCOMPARE(metaEnum.keyCount(), int(enumerations[enumerator].keys.size()));
    QVERIFY(metaEnum.isScoped());
    QVERIFY(!metaEnum.isFlag());
}

void TestEnums::lookups()
{
    QVERIFY2(QMetaEnum::fromType<Property>().keyCount() == propertyCount,
             "raise propertyCount in tests/support/counts.h");
    QCOMPARE(QMetaEnum::fromType<Property>().keyToValue("ZapTime"), 138);
    QCOMPARE(QMetaEnum::fromType<Property>().valueToKey(55), "LinkFaults");
    QVERIFY2(QMetaEnum::fromType<EventType>().keyCount() == eventTypeCount + 1,
             "raise eventTypeCount in tests/support/counts.h");
    QCOMPARE(QMetaEnum::fromType<EventType>().valueToKey(0), "Invalid");
    QCOMPARE(QMetaEnum::fromType<EventType>().valueToKey(42), "KivoStatus");
    QCOMPARE(QMetaEnum::fromType<EventPriority>().keyToValue("Low"), 0);
    QCOMPARE(QMetaEnum::fromType<EventPriority>().keyToValue("Medium"), 1);
    QCOMPARE(QMetaEnum::fromType<EventPriority>().keyToValue("High"), 2);
}

void TestEnums::printByName()
{
    QString text;
    QDebug(&text) << EventType::PlaybackZap;
    QCOMPARE(text.trimmed(), QStringLiteral("analytics::EventType::PlaybackZap"));
    QCOMPARE(QVariant::fromValue(MediaType::PauseLive).toString(), QStringLiteral("PauseLive"));
}

QTEST_GUILESS_MAIN(TestEnums)
#include "tst_enums.moc"
