#include "counts.h"
#include "logcapture.h"
#include "support.h"

#include <analytics/records.h>

#include <QtCore/QMetaEnum>
#include <QtTest/QtTest>

#include <optional>

using namespace analytics;

namespace {

/// Answers each request with the next of the values that a property has, and notes what it was asked for.
class ScriptedProvider : public IPropertyProvider
{
public:
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        asked.append(property);
        linesWhenAsked = LogCapture::lines.size();
        askedFor = &data;
        QVariantList &rest = values[property];
        return rest.isEmpty() ? QVariant() : rest.takeFirst();
    }

    mutable QHash<Property, QVariantList> values;
    mutable QList<Property> asked;
    mutable qsizetype linesWhenAsked = 0;
    mutable AnalyticsEventData const *askedFor = nullptr;
};

AnalyticsEventData eventOf(EventType type)
{
    AnalyticsEventData data;
    data.type = type;
    return data;
}

} // namespace

class TestSerializer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void unknownType_data();
    void unknownType();
    void nothingToSay();
    void whatIsAskedFor();
    void zapAsksTwice();
    void sortedKeys();
    void compactForm();
    void writtenOrNot_data();
    void writtenOrNot();
    void sameKeyTwice_data();
    void sameKeyTwice();
    void sharedKey();
    void propertyWithoutKey();
    void everyEventWritesItsKeys_data();
    void everyEventWritesItsKeys();
    void diagnosticLine_data();
    void diagnosticLine();
    void diagnosticLineFollowsTheValues();
    void idInForeignMemory();
    void pack_data();
    void pack();

private:
    JsonEventSerializer m_serializer;
    std::optional<LogCapture> m_log;
};

void TestSerializer::init()
{
    m_log.emplace(QStringLiteral("stbanalytics.debug=true"));
}

void TestSerializer::cleanup()
{
    m_log.reset();
}

void TestSerializer::unknownType_data()
{
    QTest::addColumn<EventType>("type");

    QTest::newRow("Invalid") << EventType::Invalid;
    QTest::newRow("past the last") << unknownEventType;
    QTest::newRow("negative") << EventType(-1);
}

void TestSerializer::unknownType()
{
    QFETCH(EventType, type);

    ScriptedProvider const provider;
    QVERIFY(m_serializer.serialize(&provider, eventOf(type), {Property::EventId}).isNull());
    QCOMPARE(provider.asked, QList<Property>());
    QCOMPARE(LogCapture::lines.size(), 0);
}

void TestSerializer::nothingToSay()
{
    ScriptedProvider const provider;
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::SqmMetrics), {Property::EventId}), QByteArray("{}"));
}

void TestSerializer::whatIsAskedFor()
{
    ScriptedProvider const provider;
    AnalyticsEventData const data = eventOf(EventType::SearchResult);
    m_serializer.serialize(&provider, data,
                           {Property::Uid, Property::EventId, Property::Uid, unknownProperty, Property(-1)});
    QCOMPARE(provider.asked,
             (QList<Property>{Property::Uid, Property::EventId, Property::Uid, unknownProperty, Property(-1),
                              Property::San, Property::Query, Property::TotalItems}));
    QCOMPARE(provider.askedFor, &data);
}

void TestSerializer::zapAsksTwice()
{
    ScriptedProvider provider;
    provider.values[Property::CurrentMrf] = {QStringLiteral("first"), QStringLiteral("second")};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::PlaybackZap), {}),
             QByteArray("{\"current_mrf\":\"second\"}"));
    QCOMPARE(provider.asked.count(Property::CurrentMrf), 2);
    QCOMPARE(provider.asked.indexOf(Property::CurrentMrf), 2);
    QCOMPARE(provider.asked.lastIndexOf(Property::CurrentMrf), 5);
    QCOMPARE(provider.asked.size(), 16);
}

void TestSerializer::sortedKeys()
{
    ScriptedProvider provider;
    provider.values[Property::ZapTime] = {1};
    provider.values[Property::San] = {2};
    provider.values[Property::AppPreparationTime] = {3};
    provider.values[Property::CurSubLocation] = {4};
    provider.values[Property::CurLocation] = {5};
    provider.values[Property::CurrentMrf] = {6};
    provider.values[Property::MediaType] = {7};
    provider.values[Property::MediaReceivingTime] = {8};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::PlaybackZap), {}),
             QByteArray("{\"app_preparation_time\":3,\"cur_location\":5,\"cur_sub_location\":4,\"current_mrf\":6,"
                        "\"media_receiving_time\":8,\"media_type\":7,\"san\":2,\"zap_time\":1}"));
}

void TestSerializer::compactForm()
{
    Channel channel;
    channel.channelId = 7;
    ScriptedProvider provider;
    provider.values[Property::EventId] = {QStringLiteral("a b")};
    provider.values[Property::EventCounter] = {1};
    provider.values[Property::Channel] = {QVariant::fromValue(channel)};
    provider.values[Property::DemoMode] = {false};
    provider.values[Property::MediaType] = {QVariantList{1, QVariant(), QStringLiteral("x")}};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::PlaybackStart),
                                    {Property::EventId, Property::EventCounter}),
             QByteArray("{\"channel\":{\"channel_id\":7},\"demo_mode\":false,\"event_counter\":1,\"event_id\":\"a b\","
                        "\"media_type\":[1,null,\"x\"]}"));
}

void TestSerializer::writtenOrNot_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("event");

    QTest::newRow("invalid") << QVariant() << QByteArray("{}");
    QTest::newRow("null") << QVariant::fromValue(nullptr) << QByteArray("{}");
    QTest::newRow("empty string") << QVariant(QString()) << QByteArray("{}");
    QTest::newRow("empty variant list") << QVariant(QVariantList()) << QByteArray("{}");
    QTest::newRow("empty string list") << QVariant(QStringList()) << QByteArray("{}");
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QByteArray("{}");
    QTest::newRow("record without members") << QVariant::fromValue(Channel()) << QByteArray("{}");
    QTest::newRow("unknown type") << QVariant::fromValue(std::string("x")) << QByteArray("{}");
    QTest::newRow("false") << QVariant(false) << QByteArray("{\"query\":false}");
    QTest::newRow("0") << QVariant(0) << QByteArray("{\"query\":0}");
    QTest::newRow("0.0") << QVariant(0.0) << QByteArray("{\"query\":0}");
    QTest::newRow("blank") << QVariant(QStringLiteral(" ")) << QByteArray("{\"query\":\" \"}");
    QTest::newRow("list of nothing") << QVariant(QVariantList{QVariant()}) << QByteArray("{\"query\":[null]}");
    QTest::newRow("list of an empty string") << QVariant(QStringList{QString()}) << QByteArray("{\"query\":[\"\"]}");
}

void TestSerializer::writtenOrNot()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, event);

    ScriptedProvider provider;
    provider.values[Property::Query] = {value};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::SearchResult), {}), event);
}

void TestSerializer::sameKeyTwice_data()
{
    QTest::addColumn<QVariant>("generic");
    QTest::addColumn<QVariant>("own");
    QTest::addColumn<QByteArray>("event");

    QVariant const undefined = QVariant::fromValue(QJsonValue(QJsonValue::Undefined));
    QTest::newRow("the later wins") << QVariant(1) << QVariant(2) << QByteArray("{\"query\":2}");
    QTest::newRow("the later is of another type") << QVariant(1) << QVariant(false) << QByteArray("{\"query\":false}");
    QTest::newRow("the later is absent") << QVariant(1) << QVariant() << QByteArray("{\"query\":1}");
    QTest::newRow("the later is an empty string") << QVariant(1) << QVariant(QString()) << QByteArray("{\"query\":1}");
    QTest::newRow("the later is an empty list")
        << QVariant(1) << QVariant(QVariantList()) << QByteArray("{\"query\":1}");
    QTest::newRow("the later is an empty record")
        << QVariant(1) << QVariant::fromValue(Channel()) << QByteArray("{\"query\":1}");
    QTest::newRow("only the later") << QVariant() << QVariant(2) << QByteArray("{\"query\":2}");
    QTest::newRow("the later is undefined: Qt takes the key away") << QVariant(1) << undefined << QByteArray("{}");
    QTest::newRow("the earlier is undefined") << undefined << QVariant(2) << QByteArray("{\"query\":2}");
}

void TestSerializer::sameKeyTwice()
{
    QFETCH(QVariant, generic);
    QFETCH(QVariant, own);
    QFETCH(QByteArray, event);

    ScriptedProvider provider;
    provider.values[Property::Query] = {generic, own};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::SearchResult), {Property::Query}), event);
    QCOMPARE(provider.asked, (QList<Property>{Property::Query, Property::San, Property::Query, Property::TotalItems}));
}

void TestSerializer::sharedKey()
{
    ScriptedProvider provider;
    provider.values[Property::ItemTarget] = {QStringLiteral("item")};
    provider.values[Property::MessageTarget] = {QStringLiteral("message")};
    provider.values[Property::Target] = {QStringLiteral("menu")};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::UiMenuClick),
                                    {Property::ItemTarget, Property::MessageTarget}),
             QByteArray("{\"target\":\"menu\"}"));
}

void TestSerializer::propertyWithoutKey()
{
    ScriptedProvider provider;
    provider.values[unknownProperty] = {QStringLiteral("lost")};
    provider.values[Property(-1)] = {QStringLiteral("lost")};
    provider.values[Property::ZapTime] = {1};
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::SearchResult),
                                    {unknownProperty, Property::ZapTime, Property(-1)}),
             QByteArray("{\"zap_time\":1}"));
}

void TestSerializer::everyEventWritesItsKeys_data()
{
    QTest::addColumn<EventType>("type");
    QTest::addColumn<QByteArray>("keys");

    // clang-format off
    QTest::newRow("Discover")                  << EventType::Discover                  << QByteArray("discover_case endpoints serial_number");
    QTest::newRow("MessageClicked")            << EventType::MessageClicked            << QByteArray("app_screen delivery message_id message_type poll_result san target");
    QTest::newRow("MessageShown")              << EventType::MessageShown              << QByteArray("app_screen delivery message_id message_type san target");
    QTest::newRow("PlaybackAd")                << EventType::PlaybackAd                << QByteArray("ad_duration ad_place_type ad_playlist ad_server channel media_item playback_session playback_url san scte35");
    QTest::newRow("PlaybackAdStop")            << EventType::PlaybackAdStop            << QByteArray("ad_duration ad_place_type ad_playlist ad_server channel media_item playback_duration playback_position playback_session playback_url san scte35");
    QTest::newRow("PlaybackError")             << EventType::PlaybackError             << QByteArray("channel current_mrf error_details error_reason firmware_version home_mrf kivo_version media_item media_type playback_playlist_url playback_real_ip playback_segment_url playback_session playback_url rcu_idle_period san vmx_cas_error vmx_drm_error");
    QTest::newRow("PlaybackFallback")          << EventType::PlaybackFallback          << QByteArray("channel demo_mode media_item media_type offset playback_session playback_url_failed playback_url_new playback_urls_list san");
    QTest::newRow("PlaybackNewProgram")        << EventType::PlaybackNewProgram        << QByteArray("channel demo_mode media_type san usage_model");
    QTest::newRow("PlaybackPause")             << EventType::PlaybackPause             << QByteArray("channel media_item offset playback_session san");
    QTest::newRow("PlaybackPauseResume")       << EventType::PlaybackPauseResume       << QByteArray("channel demo_mode media_item media_type offset playback_session san usage_model");
    QTest::newRow("PlaybackRestore")           << EventType::PlaybackRestore           << QByteArray("channel demo_mode firmware_version kivo_version media_item media_type offset playback_session playback_url san");
    QTest::newRow("PlaybackSetPosition")       << EventType::PlaybackSetPosition       << QByteArray("channel demo_mode media_item media_type offset old_offset playback_session san usage_model");
    QTest::newRow("PlaybackStart")             << EventType::PlaybackStart             << QByteArray("channel demo_mode media_item media_type offset playback_session san usage_model");
    QTest::newRow("PlaybackStatus")            << EventType::PlaybackStatus            << QByteArray("channel demo_mode media_item media_type offset playback_session playback_state playback_url player_mode rcu_idle_period san usage_model");
    QTest::newRow("PlaybackStop")              << EventType::PlaybackStop              << QByteArray("channel media_item media_type offset playback_session san");
    QTest::newRow("PlaybackTrickMode")         << EventType::PlaybackTrickMode         << QByteArray("channel media_item offset playback_session san trickmode_speed");
    QTest::newRow("PlaybackTrickModeResume")   << EventType::PlaybackTrickModeResume   << QByteArray("channel demo_mode media_item media_type offset playback_session san usage_model");
    QTest::newRow("PlaybackZap")               << EventType::PlaybackZap               << QByteArray("app_preparation_time cur_location cur_sub_location current_mrf home_mrf location media_processing_time media_receiving_time media_type playback_session playback_url san sub_location user_interaction_time zap_time");
    QTest::newRow("ProfileChange")             << EventType::ProfileChange             << QByteArray("default_age_limit pin profile_id profile_type san");
    QTest::newRow("PurchaseOptions")           << EventType::PurchaseOptions           << QByteArray("purchase_variants san trigger_content_type trigger_id");
    QTest::newRow("PurchaseRequest")           << EventType::PurchaseRequest           << QByteArray("purchase_variant san trigger_content_type trigger_id");
    QTest::newRow("PurchaseResult")            << EventType::PurchaseResult            << QByteArray("is_should_link_card pay_method_id purchase_variant result_code san ticket_id");
    QTest::newRow("PurchaseServiceComponents") << EventType::PurchaseServiceComponents << QByteArray("components san service_id");
    QTest::newRow("PurchaseUnsubscribe")       << EventType::PurchaseUnsubscribe       << QByteArray("result_code san service_id valid_until");
    QTest::newRow("SearchResult")              << EventType::SearchResult              << QByteArray("query san total_items");
    QTest::newRow("SqmMetrics")                << EventType::SqmMetrics                << QByteArray("active_interface broadcast_type buffering channel clock_continuity_gap cpu_info cur_location cur_sub_location current_mrf dash decoder device_type error_reason etr290 firmware_version hls home_mrf interval_ms ip_tos kivo_version link_faults location mcast_source mdi media_bitrate_kbps media_info media_item media_type memory_info network_info playback_playlist_url playback_real_ip playback_segment_url playback_session playback_state playback_url power_info rcu_idle_period san sub_location system_uptime vmx_errors wifi_info");
    QTest::newRow("SystemBoot")                << EventType::SystemBoot                << QByteArray("active_interface cpu_info firmware_version hdmi_info hdmi_status hw_info kivo_version memory_info network_interfaces serial_number system_load_time system_settings timezone wifi_info");
    QTest::newRow("SystemStatus")              << EventType::SystemStatus              << QByteArray("active_interface cpu_info firmware_version hdmi_info hdmi_status kivo_version memory_info network_interfaces power_info rcu_idle_period serial_number system_settings system_uptime timezone wifi_info");
    QTest::newRow("UiButtonClick")             << EventType::UiButtonClick             << QByteArray("app_screen button_name content_id content_type media_block_short path san");
    QTest::newRow("UiContentRating")           << EventType::UiContentRating           << QByteArray("content_id content_type rating san");
    QTest::newRow("UiFeedback")                << EventType::UiFeedback                << QByteArray("content_id content_type feedback san");
    QTest::newRow("UiItemClick")               << EventType::UiItemClick               << QByteArray("app_screen item_id item_position item_type media_block_position media_block_short path san target");
    QTest::newRow("UiMediaBlockChange")        << EventType::UiMediaBlockChange        << QByteArray("app_screen media_block media_block_position path san");
    QTest::newRow("UiMediaBlockFocus")         << EventType::UiMediaBlockFocus         << QByteArray("app_screen media_block media_block_position path san");
    QTest::newRow("UiMenuClick")               << EventType::UiMenuClick               << QByteArray("app_screen id path san target title");
    QTest::newRow("UiTargetView")              << EventType::UiTargetView              << QByteArray("app_screen elements name path san target");
    QTest::newRow("UiWidgetClicked")           << EventType::UiWidgetClicked           << QByteArray("app_screen content_id content_type path san widget_name");
    QTest::newRow("UiWidgetShown")             << EventType::UiWidgetShown             << QByteArray("app_screen content_id content_type offset path san widget_name");
    QTest::newRow("KivoAuth")                  << EventType::KivoAuth                  << QByteArray("auth_mode login_mode san");
    QTest::newRow("KivoError")                 << EventType::KivoError                 << QByteArray("current_mrf error_details error_reason firmware_version home_mrf http_error kivo_module_name kivo_version nc_error rcu_idle_period san session_state");
    QTest::newRow("KivoRestore")               << EventType::KivoRestore               << QByteArray("error_reason firmware_version kivo_version restore_reason san");
    QTest::newRow("KivoStatus")                << EventType::KivoStatus                << QByteArray("auth_mode broadcast_type btb_type cur_location cur_sub_location current_mrf device_type firmware_version home_mrf is_test kivo_load_time kivo_version location manufacturer model_name profile_id san session_state status sub_location");
    // clang-format on
}

void TestSerializer::everyEventWritesItsKeys()
{
    QFETCH(EventType, type);
    QFETCH(QByteArray, keys);

    ScriptedProvider provider;
    QMetaEnum const properties = QMetaEnum::fromType<Property>();
    for (int i = 0; i < properties.keyCount(); ++i)
        provider.values[Property(i)] = {1, 1};

    QByteArray event = m_serializer.serialize(&provider, eventOf(type), {});
    QVERIFY(event.startsWith("{\"") && event.endsWith("\":1}"));
    event = event.mid(2, event.size() - 6).replace("\":1,\"", " ");
    QCOMPARE(event, keys);
}

/// An id of the host's own type. The line shows the text that the one conversion yielded.
struct HostId
{
};
Q_DECLARE_METATYPE(HostId)

static int conversions = 0;

// clang-format off

void TestSerializer::diagnosticLine_data()
{
    static bool const isRegistered = QMetaType::registerConverter<HostId, QString>([](HostId) {
        ++conversions;
        return QStringLiteral("host");
    });
    QVERIFY(isRegistered);

    QTest::addColumn<QVariant>("id");
    QTest::addColumn<QVariant>("counter");
    QTest::addColumn<QString>("text");

    auto const row = [](char const *name, QVariant const &id, QVariant const &counter, QByteArray const &text) {
        QTest::newRow(name) << id << counter << QString::fromUtf8(text);
    };
    QVariant const some = QStringLiteral("x");
    row("both", QStringLiteral("4f1c"), 17, "analytics event prepared: id = \"4f1c\" counter = 17");
    row("neither", {}, {}, "analytics event prepared: id = \"\" counter = 0");
    row("empty id", QString(), 1, "analytics event prepared: id = \"\" counter = 1");
    row("id is a number", 5, 1, "analytics event prepared: id = \"\" counter = 1");
    row("id is bytes", QByteArray("4f1c"), 1, "analytics event prepared: id = \"4f1c\" counter = 1");
    row("id is a list", QStringList{QStringLiteral("a")}, 1, "analytics event prepared: id = \"\" counter = 1");
    row("id with quotes", QStringLiteral("a\"b\\c"), 1, "analytics event prepared: id = \"a\\\"b\\\\c\" counter = 1");
    row("id beyond ASCII", QString::fromUtf8("ж\n"), 1, "analytics event prepared: id = \"ж\\n\" counter = 1");
    row("id is one that Qt converts", QVariant::fromValue(HostId{}), 1, "analytics event prepared: id = \"host\" counter = 1");
    row("id with control characters", QStringLiteral("\b\f\r\t\u0001x"), 1, "analytics event prepared: id = \"\\b\\f\\r\\t\\u0001x\" counter = 1");
    row("id with a backslash at its end", QStringLiteral("a\\"), 1, "analytics event prepared: id = \"a\\\\\" counter = 1");
    row("id begins with U+FEFF", QString(QChar(0xfeff)) + QLatin1Char('x'), 1, "analytics event prepared: id = \"\\uFEFFx\" counter = 1");
    row("id with half a pair", QString(QChar(0xd800)) + QLatin1Char('x'), 1, "analytics event prepared: id = \"\\uD800x\" counter = 1");
    row("id beyond the first plane", QString::fromUtf8("\xf0\x9f\x93\xba"), 1, "analytics event prepared: id = \"\xf0\x9f\x93\xba\" counter = 1");
    row("id of 300 characters", QString(300, QLatin1Char('a')), 1, "analytics event prepared: id = \"" + QByteArray(300, 'a') + "\" counter = 1");
    row("id is a list with texts", QStringList{QStringLiteral("a"), QStringLiteral("b")}, 1, "analytics event prepared: id = \"\" counter = 1");
    row("counter is infinite", some, QVariant::fromValue(QJsonValue(qInf())), "analytics event prepared: id = \"x\" counter = 0");
    row("counter is not a number", some, QVariant::fromValue(QJsonValue(qQNaN())), "analytics event prepared: id = \"x\" counter = " + QByteArray::number(QJsonValue(qQNaN()).toInt(0)));
    row("counter is a list", some, QVariantList{7}, "analytics event prepared: id = \"x\" counter = 0");
    row("counter is a string", some, QStringLiteral("3"), "analytics event prepared: id = \"x\" counter = 0");
    row("counter is true", some, true, "analytics event prepared: id = \"x\" counter = 0");
    row("counter is a whole double", some, 3.0, "analytics event prepared: id = \"x\" counter = 3");
    row("counter is a whole float", some, 3.0f, "analytics event prepared: id = \"x\" counter = 3");
    row("counter is a fraction", some, 3.5, "analytics event prepared: id = \"x\" counter = 0");
    row("counter is negative", some, -1, "analytics event prepared: id = \"x\" counter = -1");
    row("counter is the largest int", some, 2147483647, "analytics event prepared: id = \"x\" counter = 2147483647");
    row("counter is the lowest int", some, -2147483647 - 1, "analytics event prepared: id = \"x\" counter = -2147483648");
    row("counter of 19 digits", some, Q_INT64_C(4294967297000000000), "analytics event prepared: id = \"x\" counter = 0");
    row("counter of 20 digits", some, Q_UINT64_C(9223372036854775808), "analytics event prepared: id = \"x\" counter = 0");
    row("counter is beyond int", some, Q_INT64_C(2147483648), "analytics event prepared: id = \"x\" counter = 0");
    row("counter is below int", some, -2147483649.0, "analytics event prepared: id = \"x\" counter = 0");
}

// clang-format on

void TestSerializer::diagnosticLine()
{
    QFETCH(QVariant, id);
    QFETCH(QVariant, counter);
    QFETCH(QString, text);

    ScriptedProvider provider;
    provider.values[Property::EventId] = {id};
    provider.values[Property::EventCounter] = {counter};
    conversions = 0;
    m_serializer.serialize(&provider, eventOf(EventType::SearchResult), {Property::EventId, Property::EventCounter});
    QCOMPARE(conversions, id.typeId() == qMetaTypeId<HostId>() ? 1 : 0);

    QCOMPARE(LogCapture::lines.size(), 1);
    QCOMPARE(LogCapture::lines[0].text, text);
    QCOMPARE(LogCapture::lines[0].type, QtDebugMsg);
    QCOMPARE(LogCapture::lines[0].category, QByteArray("stbanalytics"));
    QCOMPARE(LogCapture::lines[0].file, QByteArray());
    QCOMPARE(LogCapture::lines[0].function, QByteArray());
    QCOMPARE(LogCapture::lines[0].line, 0);
}

void TestSerializer::diagnosticLineFollowsTheValues()
{
    // The line is written when everything has been asked for, and shows what stands in the object in the end.
    ScriptedProvider provider;
    provider.values[Property::EventId] = {QStringLiteral("first"), QStringLiteral("second"), QString()};
    m_serializer.serialize(&provider, eventOf(EventType::SearchResult),
                           {Property::EventId, Property::EventId, Property::EventId});
    QCOMPARE(LogCapture::lines.size(), 1);
    QCOMPARE(LogCapture::lines[0].text, QStringLiteral("analytics event prepared: id = \"second\" counter = 0"));
    QCOMPARE(provider.asked.last(), Property::TotalItems);
    QCOMPARE(provider.linesWhenAsked, 0);
}

void TestSerializer::idInForeignMemory()
{
    // A host may make its ids in a buffer of its own, and use it again for the next value.
    class Provider : public IPropertyProvider
    {
    public:
        QVariant value(Property property, AnalyticsEventData const &) const override
        {
            if (property == Property::EventId)
                return QString::fromRawData(buffer, 4);
            std::fill(std::begin(buffer), std::end(buffer), u'x');
            return {};
        }

        mutable QChar buffer[4] = {u'4', u'f', u'1', u'c'};
    };

    Provider const provider;
    QCOMPARE(m_serializer.serialize(&provider, eventOf(EventType::SearchResult), {Property::EventId, Property::Uid}),
             QByteArray(R"({"event_id":"4f1c"})"));
    QCOMPARE(LogCapture::lines.size(), 1);
    QCOMPARE(LogCapture::lines[0].text, QStringLiteral("analytics event prepared: id = \"4f1c\" counter = 0"));
}

void TestSerializer::pack_data()
{
    QTest::addColumn<QByteArrayList>("events");
    QTest::addColumn<QByteArray>("package");

    QTest::newRow("none") << QByteArrayList() << QByteArray("{\"events\":[]}");
    QTest::newRow("one") << QByteArrayList{"e"} << QByteArray("{\"events\":[e]}");
    QTest::newRow("three") << QByteArrayList{"{\"a\":1}", "{}", "{\"b\":2}"}
                           << QByteArray("{\"events\":[{\"a\":1},{},{\"b\":2}]}");
    QTest::newRow("empty between") << QByteArrayList{"a", "", "b"} << QByteArray("{\"events\":[a,,b]}");
    QTest::newRow("one empty") << QByteArrayList{""} << QByteArray("{\"events\":[]}");
    QTest::newRow("two null") << QByteArrayList{QByteArray(), QByteArray()} << QByteArray("{\"events\":[,]}");
    QTest::newRow("not JSON") << QByteArrayList{"not, json]", " \n"} << QByteArray("{\"events\":[not, json], \n]}");
    QTest::newRow("with a null byte") << QByteArrayList{QByteArray("a\0b", 3)} << QByteArray("{\"events\":[a\0b]}", 16);
}

void TestSerializer::pack()
{
    QFETCH(QByteArrayList, events);
    QFETCH(QByteArray, package);
    QCOMPARE(m_serializer.pack(events), package);
}

QTEST_GUILESS_MAIN(TestSerializer)
#include "tst_serializer.moc"
