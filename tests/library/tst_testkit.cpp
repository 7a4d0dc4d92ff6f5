#include <analytics/analyticsmanager.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>
#include <analytics/testkit/mapprovider.h>
#include <analytics/testkit/packagereader.h>
#include <analytics/testkit/recordingsender.h>

#include <QtTest/QtTest>

#include <sys/wait.h>
#include <unistd.h>

using namespace analytics;
using namespace std::chrono_literals;

class TestTestkit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void threeLines();
    void providerAnswers();
    void providerChangesItsMind();
    void senderKeepsPackages();
    void senderKeepsOrder();
    void senderRefusesToOverlook();
    void eventByProperty();
    void eventByKey();
    void package_data();
    void package();
    void brokenPackage_data();
    void brokenPackage();
};

/// A manager with the kit plugged in, as a test of a box has it.
struct Box
{
    Box()
    {
        provider.set(Property::ItemId, FromEvent::Value);
        provider.set(Property::EventCounter, FromEvent::Tag);
        manager.setPropertyProvider(&provider);
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&sender);
        manager.setEnabled(true);
    }

    void chooseItem(int id, EventPriority priority = EventPriority::Medium, int tag = 1)
    {
        manager.appendEvent(EventType::UiItemClick, tag, {}, id, priority);
    }

    MapProvider provider;
    JsonEventSerializer serializer;
    RecordingSender sender;
    AnalyticsManager manager;
};

void TestTestkit::threeLines()
{
    Box box;
    RecordingSender const &sender = box.sender;

    box.chooseItem(8714);
    QCOMPARE(sender.events().size(), 1);
    QCOMPARE(sender.events().at(0)[Property::ItemId].toInt(), 8714);
}

void TestTestkit::providerAnswers()
{
    MapProvider provider({{Property::San, QStringLiteral("0042")}});
    provider.set(Property::Channel, FromEvent::Value);
    provider.set(Property::EventCounter, FromEvent::Tag);
    provider.set(Property::Timestamp, FromEvent::Time);
    provider.set(Property::Offset, 12.5);

    AnalyticsEventData data;
    data.value = QStringLiteral("payload");
    data.tag = -7;
    data.time = 1700000000123ms;

    QCOMPARE(provider.value(Property::San, data), QVariant(QStringLiteral("0042")));
    QCOMPARE(provider.value(Property::Channel, data), QVariant(QStringLiteral("payload")));
    QCOMPARE(provider.value(Property::EventCounter, data), QVariant(-7));
    QCOMPARE(provider.value(Property::Timestamp, data), QVariant(Q_INT64_C(1700000000123)));
    QCOMPARE(provider.value(Property::Offset, data), QVariant(12.5));
    QVERIFY(!provider.value(Property::Uid, data).isValid());
}

void TestTestkit::providerChangesItsMind()
{
    Box box;
    box.provider.set(Property::ItemId, 5);
    box.chooseItem(8714);
    box.provider.set(Property::ItemId, QVariant());
    box.chooseItem(8714);
    box.provider.set(Property::ItemId, FromEvent::Tag);
    box.chooseItem(8714);

    QCOMPARE(box.sender.packages().size(), 3);
    QCOMPARE(box.sender.packages().at(0).package, QByteArray(R"({"events":[{"event_counter":1,"item_id":5}]})"));
    QCOMPARE(box.sender.packages().at(1).package, QByteArray(R"({"events":[{"event_counter":1}]})"));
    QCOMPARE(box.sender.packages().at(2).package, QByteArray(R"({"events":[{"event_counter":1,"item_id":1}]})"));
}

void TestTestkit::senderKeepsPackages()
{
    Box box;
    QVERIFY(box.sender.packages().isEmpty());
    QVERIFY(box.sender.events().isEmpty());

    box.chooseItem(1, EventPriority::Low);
    box.chooseItem(2, EventPriority::High);
    box.chooseItem(3, EventPriority::Medium);

    QList<SentPackage> const packages = box.sender.packages();
    QCOMPARE(packages.size(), 2);
    QCOMPARE(packages.at(0).package, QByteArray(R"({"events":[{"event_counter":1,"item_id":2}]})"));
    QVERIFY(packages.at(0).highPriority);
    QCOMPARE(packages.at(1).package,
             QByteArray(R"({"events":[{"event_counter":1,"item_id":1},{"event_counter":1,"item_id":3}]})"));
    QVERIFY(!packages.at(1).highPriority);

    box.sender.clear();
    QVERIFY(box.sender.packages().isEmpty());
    QVERIFY(box.sender.events().isEmpty());

    box.chooseItem(4);
    QCOMPARE(box.sender.events().size(), 1);
    QCOMPARE(box.sender.events().at(0)[Property::ItemId].toInt(), 4);
}

void TestTestkit::senderKeepsOrder()
{
    Box box;
    box.chooseItem(10, EventPriority::Low);
    box.chooseItem(20, EventPriority::High);
    box.chooseItem(30, EventPriority::Medium);

    QList<ReportedEvent> const events = box.sender.events();
    QCOMPARE(events.size(), 3);
    QCOMPARE(events.at(0)[Property::ItemId].toInt(), 20);
    QCOMPARE(events.at(1)[Property::ItemId].toInt(), 10);
    QCOMPARE(events.at(2)[Property::ItemId].toInt(), 30);
}

void TestTestkit::senderRefusesToOverlook()
{
    static int said[2];
    QCOMPARE(pipe(said), 0);

    pid_t const child = fork();
    if (child == 0) {
        // Qt Test's own handler would end this test's log.
        qInstallMessageHandler([](QtMsgType, QMessageLogContext const &, QString const &message) {
            QByteArray const text = message.toUtf8();
            _exit(write(said[1], text.constData(), size_t(text.size())) == text.size() ? 3 : 4);
        });
        RecordingSender sender;
        sender.send(R"({"events":[{"san":1}]})", false);
        sender.send(R"({"events":[,{"san":2}]})", false);
        _exit(int(sender.events().size()));
    }
    QVERIFY(child > 0);
    close(said[1]);

    QByteArray text(200, '\0');
    text.resize(qMax<ssize_t>(read(said[0], text.data(), size_t(text.size())), 0));
    close(said[0]);
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 3);
    QCOMPARE(text,
             QByteArray("RecordingSender: cannot read a package: illegal value at offset 12: "
                        R"({"events":[,{"san":2}]})"));
}

void TestTestkit::eventByProperty()
{
    RecordingSender sender;
    sender.send(R"({"events":[{"btb_type":"hotel","offset":9007199254740993,"target":"home","zap_time":0}]})", false);

    ReportedEvent const event = sender.events().at(0);
    QCOMPARE(event[Property::B2bType].toString(), QStringLiteral("hotel"));
    QCOMPARE(event[Property::Offset].toInteger(), Q_INT64_C(9007199254740993));
    QCOMPARE(event[Property::Target].toString(), QStringLiteral("home"));
    QCOMPARE(event[Property::ItemTarget].toString(), QStringLiteral("home"));
    QCOMPARE(event[Property::MessageTarget].toString(), QStringLiteral("home"));
    QCOMPARE(event[Property::ZapTime].toInt(-1), 0);
    QVERIFY(event[Property::OldOffset].isUndefined());
    QVERIFY(event[static_cast<Property>(9999)].isUndefined());
}

void TestTestkit::eventByKey()
{
    Box box;
    box.provider.set(Property::Channel, FromEvent::Value);
    box.manager.appendEvent(EventType::PlaybackStart, 3, {}, QVariant::fromValue(Channel{7, 42}), EventPriority::High);

    ReportedEvent const event = box.sender.events().at(0);
    QCOMPARE(event[u"event_counter"].toInt(), 3);
    QCOMPARE(event[u"channel"][u"program_id"].toInt(), 42);
    QCOMPARE(event[Property::Channel][u"channel_id"].toInt(), 7);
    QVERIFY(event[u"Channel"].isUndefined());
    QCOMPARE(event.members().keys(), QStringList({QStringLiteral("channel"), QStringLiteral("event_counter")}));
}

void TestTestkit::package_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QList<int>>("counters");

    QTest::newRow("no event") << QByteArray(R"({"events":[]})") << QList<int>();
    QTest::newRow("event without members") << QByteArray(R"({"events":[{}]})") << QList<int>({0});
    QTest::newRow("events") << QByteArray(R"({"events":[{"event_counter":7},{},{"event_counter":9}]})")
                            << QList<int>({7, 0, 9});
    QTest::newRow("more than events") << QByteArray(R"({"box":1,"events":[{"event_counter":7}]})") << QList<int>({7});
}

void TestTestkit::package()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QList<int>, counters);

    QString error = QStringLiteral("of an earlier package");
    std::optional<QList<ReportedEvent>> const events = readPackage(bytes, &error);
    QVERIFY(events.has_value());
    QCOMPARE(error, QString());
    QList<int> read;
    for (ReportedEvent const &event : *events)
        read.append(event[Property::EventCounter].toInt());
    QCOMPARE(read, counters);
}

void TestTestkit::brokenPackage_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");

    QTest::newRow("no bytes") << QByteArray() << QStringLiteral("no bytes: no serializer is plugged in");
    QTest::newRow("unknown type first") << QByteArray(R"({"events":[,{"san":1}]})")
                                        << QStringLiteral("illegal value at offset 12");
    QTest::newRow("unknown type in the middle")
        << QByteArray(R"({"events":[{},,{}]})") << QStringLiteral("illegal value at offset 15");
    QTest::newRow("unknown type last") << QByteArray(R"({"events":[{},]})")
                                       << QStringLiteral("object is missing after a comma at offset 15");
    QTest::newRow("cut off") << QByteArray(R"({"events":[{"san":1})")
                             << QStringLiteral("unterminated array at offset 20");
    QTest::newRow("two packages") << QByteArray(R"({"events":[]}{"events":[]})")
                                  << QStringLiteral("garbage at the end of the document at offset 13");
    QTest::newRow("not UTF-8") << QByteArray("{\"events\":[{\"san\":\"\xff\"}]}")
                               << QStringLiteral("invalid UTF8 string at offset 19");
    QTest::newRow("list") << QByteArray(R"([{"san":1}])") << QStringLiteral("no list of events");
    QTest::newRow("event alone") << QByteArray(R"({"san":1})") << QStringLiteral("no list of events");
    QTest::newRow("events are an object") << QByteArray(R"({"events":{}})") << QStringLiteral("no list of events");
    QTest::newRow("number for an event") << QByteArray(R"({"events":[{},5]})")
                                         << QStringLiteral("event 1 is no object");
}

void TestTestkit::brokenPackage()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, error);

    QString said;
    QVERIFY(!readPackage(bytes, &said).has_value());
    QCOMPARE(said, error);
    QVERIFY(!readPackage(bytes).has_value());
}

QTEST_GUILESS_MAIN(TestTestkit)
#include "tst_testkit.moc"
