#include "support.h"

#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/records.h>
#include <analytics/valuenames.h>

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

#include <atomic>
#include <thread>
#include <vector>

/**
 * @file
 * @brief What threads share: the serializer, the plug-ins that do nothing, the tables, and Qt's list of types.
 *
 * The threads are std::thread's: ThreadSanitizer cannot see into Qt, and takes what a QThread orders for unordered, or
 * what it does not order for ordered. They compare nothing themselves, as QtTest's macros are for its own thread.
 */

using namespace analytics;

namespace {

constexpr int threadCount = 4;

/// Runs a function on several threads, which all begin it together, with the number of each.
template <typename Function> void together(Function function)
{
    std::atomic<int> waitedFor{threadCount};
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
        threads.emplace_back([&waitedFor, &function, number] {
            for (--waitedFor; waitedFor > 0;)
                std::this_thread::yield();
            function(number);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

/// Knows what the events of a test carry: their tag as the counter, their value as the channel.
class Provider : public IPropertyProvider
{
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        switch (property) {
        case Property::EventCounter:
            return data.tag;
        case Property::EventId:
            return QStringLiteral("event");
        case Property::Channel:
            return data.value;
        default:
            return {};
        }
    }
};

class Sender : public IPackageSender
{
public:
    void send(QByteArray const &package, bool) override { packages.append(package); }

    QList<QByteArray> packages;
};

QVariant channel(int id)
{
    Channel channel;
    channel.channelId = id;
    return QVariant::fromValue(channel);
}

/// A type of the host's own for a record.
template <typename Record> struct Native
{
};

/// Makes the host's own type convertible to a record, by one field of it, and reports a value of that type.
template <typename Record, typename Value> QByteArray convertedTo(Value Record::*field, Value const &value)
{
    QMetaType::registerConverter<Native<Record>, Record>([field, value](Native<Record> const &) {
        Record record;
        record.*field = value;
        return record;
    });
    return encoded(QVariant::fromValue(Native<Record>()));
}

struct Conversion
{
    QByteArray (*make)();
    char const *expected;
};

// clang-format off

/// Each with a record that is not used elsewhere in this program.
constexpr Conversion conversions[] = {
    {[] { return convertedTo(&MediaItem::assetId, std::optional<qint64>(1)); },       R"({"asset_id":1})"},
    {[] { return convertedTo(&NetworkInterface::gateway, text("a")); },               R"({"gateway":"a"})"},
    {[] { return convertedTo(&MemoryModule::memInfo, text("b")); },                   R"({"mem_info":"b"})"},
    {[] { return convertedTo(&Endpoints::apiUrl, text("c")); },                       R"({"api_url":"c"})"},
    {[] { return convertedTo(&HdmiInfo::tvName, text("d")); },                        R"({"tv_name":"d"})"},
    {[] { return convertedTo(&PowerInfo::powerState, text("e")); },                   R"({"power_state":"e"})"},
    {[] { return convertedTo(&HardwareInfo::modelName, text("f")); },                 R"({"model_name":"f"})"},
    {[] { return convertedTo(&WifiInfo::wifiSsid, text("g")); },                      R"({"wifi_ssid":"g"})"},
    {[] { return convertedTo(&MdiInfo::df, std::optional<quint64>(2)); },             R"({"df":2})"},
    {[] { return convertedTo(&DashInfo::dashSegmentErrors, std::optional<qint64>(3)); }, R"({"dash_segment_errors":3})"},
    {[] { return convertedTo(&HlsInfo::hlsDiscontinuities, std::optional<qint64>(4)); }, R"({"hls_discontinuities":4})"},
    {[] { return convertedTo(&BufferingInfo::bufferingMs, std::optional<qint64>(5)); },  R"({"buffering_ms":5})"},
    {[] { return convertedTo(&MediaInfo::videoCodec, text("h")); },                   R"({"video_codec":"h"})"},
    {[] { return convertedTo(&NcError::debugMessage, text("i")); },                   R"({"debug_message":"i"})"},
    {[] { return convertedTo(&HttpError::httpRequestUri, text("j")); },               R"({"http_request_uri":"j"})"},
    {[] { return convertedTo(&Scte35::splicePtsTime, std::optional<qint64>(6)); },    R"({"splice_pts_time":6})"},
};

// clang-format on

} // namespace

class TestThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { ++m_functions; }
    void firstUse();
    void recordsBeingRegistered();
    void oneSerializer();

private:
    int m_functions = 0; ///< How many have begun.
};

void TestThreads::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics=false"));
}

/// Stands first: what is made on first use has not been made yet.
void TestThreads::firstUse()
{
    QCOMPARE(m_functions, 1);
    QList<QByteArray> sent[threadCount];
    QString names[threadCount];

    together([&sent, &names](int number) {
        Provider provider;
        JsonEventSerializer serializer;
        Sender sender;
        AnalyticsManager manager;
        manager.setEnabled(true);
        manager.appendEvent(EventType::PlaybackStop, 1, {}, {}, EventPriority::High);
        manager.setPackageSender(&sender);
        manager.appendEvent(EventType::PlaybackStop, 2, {}, {}, EventPriority::Medium);
        manager.setEventSerializer(&serializer);
        manager.appendEvent(EventType::PlaybackStop, 3, {}, {}, EventPriority::Medium);
        manager.setPropertyProvider(&provider);
        manager.appendEvent(EventType::PlaybackStop, 4, {}, channel(7), EventPriority::Medium);
        manager.setPropertyProvider(nullptr);
        manager.setEventSerializer(nullptr);
        manager.setPackageSender(nullptr);
        sent[number] = sender.packages;

        names[number] = settingTypeToName()[SettingType::Led] + playbackStatusToName()[PlaybackStatus::Play]
            + mediaTypeToName()[MediaType::Vod] + restoreReasonTypeToName()[RestoreReasonType::User]
            + widgetNameToName()[WidgetName::Lu];
    });

    for (int number = 0; number < threadCount; ++number) {
        QCOMPARE(sent[number].size(), 3);
        QCOMPARE(sent[number][0], QByteArray());
        QCOMPARE(sent[number][1], QByteArray(R"({"events":[{}]})"));
        QCOMPARE(sent[number][2],
                 QByteArray(R"({"events":[{"channel":{"channel_id":7},"event_counter":4,"event_id":"event"}]})"));
        QCOMPARE(names[number], QStringLiteral("ledplayvoduserLU"));
    }
}

/// Records become known to Qt while others are written: each is seen as soon as its own thread has registered it, and
/// changes nothing for the others.
void TestThreads::recordsBeingRegistered()
{
    QVERIFY(!QMetaType::fromName("analytics::MemoryModule").isValid());
    constexpr int rounds = 100;
    constexpr int count = int(std::size(conversions));
    static_assert(count % threadCount == 0);
    QByteArray converted[count];
    int right[threadCount] = {};

    together([&converted, &right](int number) {
        // All records that are registered are looked for, for each of these.
        MessageTarget target;
        target.title = text("News");
        QVariant const value = QVariant::fromValue(target);
        for (int i = number; i < count; i += threadCount) {
            converted[i] = conversions[i].make();
            for (int round = 0; round < rounds; ++round)
                right[number] += encoded(value) == R"({"link":{},"title":"News"})";
        }
    });

    for (int i = 0; i < count; ++i)
        QCOMPARE(converted[i], QByteArray(conversions[i].expected));
    for (int number : right)
        QCOMPARE(number, rounds * count / threadCount);
}

/// Managers on threads of their own, and one serializer and one provider for all.
void TestThreads::oneSerializer()
{
    constexpr int rounds = 500;
    Provider const provider;
    JsonEventSerializer serializer;
    Sender senders[threadCount];

    together([&provider, &serializer, &senders](int number) {
        AnalyticsManager manager;
        manager.setPropertyProvider(const_cast<Provider *>(&provider));
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&senders[number]);
        manager.setEnabled(true);
        for (int round = 0; round < rounds; ++round) {
            int const tag = round * 10 + number;
            manager.appendEvent(EventType::PlaybackStart, tag, {}, channel(number), EventPriority::Low);
            manager.appendEvent(EventType::PlaybackError, tag, {}, channel(number), EventPriority::High);
            manager.appendEvent(EventType::SearchResult, tag, {}, {}, EventPriority::Medium);
        }
    });

    for (int number = 0; number < threadCount; ++number) {
        QList<QByteArray> const &packages = senders[number].packages;
        QCOMPARE(packages.size(), 2 * rounds);
        for (int round = 0; round < rounds; ++round) {
            QByteArray const counter = QByteArray::number(round * 10 + number);
            QByteArray const playback = R"({"channel":{"channel_id":)" + QByteArray::number(number)
                + R"(},"event_counter":)" + counter + R"(,"event_id":"event"})";
            QByteArray const search = R"({"event_counter":)" + counter + R"(,"event_id":"event"})";
            QCOMPARE(packages[2 * round], QByteArray(R"({"events":[)" + playback + "]}"));
            QCOMPARE(packages[2 * round + 1], QByteArray(R"({"events":[)" + playback + "," + search + "]}"));
        }
    }
}

QTEST_GUILESS_MAIN(TestThreads)
#include "tst_threads.moc"
