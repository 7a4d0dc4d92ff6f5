#include "counts.h"
#include "support.h"

#include <analytics/analyticsmanager.h>
#include <analytics/analyticsmanager_p.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipackagesender.h>
#include <analytics/records.h>

#include <QtTest/QtTest>

#include <stdexcept>
#include <thread>

using namespace analytics;
using namespace std::chrono_literals;

namespace {

/// What the plug-ins were asked to do, in order.
struct Journal
{
    QStringList calls;
    QList<std::thread::id> threads;

    void note(QString const &call)
    {
        calls.append(call);
        threads.append(std::this_thread::get_id());
    }
};

class RecordingProvider : public IPropertyProvider
{
public:
    explicit RecordingProvider(Journal *calls)
        : journal(calls)
    {
    }

    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        journal->note(QStringLiteral("value %1 of %2").arg(int(property)).arg(data.tag));
        return {};
    }

    Journal *journal;
};

/// Serializes event number n to "e<n>" by its tag.
class RecordingSerializer : public IEventSerializer
{
public:
    explicit RecordingSerializer(Journal *calls)
        : journal(calls)
    {
    }

    QByteArray serialize(IPropertyProvider const *usedProvider, AnalyticsEventData const &data,
                         QList<Property> const &usedProperties) const override
    {
        journal->note(QStringLiteral("serialize %1").arg(data.tag));
        provider = usedProvider;
        event = data;
        properties = usedProperties;
        QByteArray bytes = "e" + QByteArray::number(data.tag);
        if (askProvider)
            usedProvider->value(Property::Uid, data);
        if (callersValue) {
            event.value.clear(); // Or this copy would outlive the call.
            isSharedInSerialize = !callersValue->isDetached();
        }
        return bytes;
    }

    QByteArray pack(QList<QByteArray> const &events) const override
    {
        journal->note(QStringLiteral("pack %1").arg(QString::fromUtf8(events.join(','))));
        storage = events.constData();
        isSharedInPack = callersValue && !callersValue->isDetached();
        return "[" + events.join(',') + "]";
    }

    Journal *journal;
    bool askProvider = false;
    QVariant const *callersValue = nullptr; ///< What the caller gives appendEvent(), where it is looked at.
    mutable bool isSharedInSerialize = false;
    mutable bool isSharedInPack = true;
    mutable IPropertyProvider const *provider = nullptr;
    mutable AnalyticsEventData event;
    mutable QList<Property> properties;
    mutable QByteArray const *storage = nullptr;
};

class RecordingSender : public IPackageSender
{
public:
    explicit RecordingSender(Journal *calls)
        : journal(calls)
    {
    }

    void send(QByteArray const &package, bool highPriority) override
    {
        if (fails)
            throw std::runtime_error("no way out");
        journal->note(QStringLiteral("send %1 %2")
                          .arg(package.isNull() ? QStringLiteral("null") : QString::fromUtf8(package),
                               highPriority ? QStringLiteral("high") : QStringLiteral("normal")));
    }

    Journal *journal;
    bool fails = false;
};

QStringList calls(std::initializer_list<char const *> list)
{
    QStringList result;
    for (char const *call : list)
        result.append(QString::fromLatin1(call));
    return result;
}

/// A manager with recording plug-ins.
struct Recorded
{
    Recorded()
    {
        manager.setPropertyProvider(&provider);
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&sender);
    }

    void append(int tag, EventPriority priority)
    {
        manager.appendEvent(EventType::SearchResult, tag, 0ms, {}, priority);
    }

    /// What is pending, as the package of a Medium event (tag 99) shows it; the buffer is empty afterwards.
    QString pending()
    {
        manager.setEnabled(true);
        append(99, EventPriority::Medium);
        return journal.calls.last();
    }

    Journal journal;
    RecordingProvider provider{&journal};
    RecordingSerializer serializer{&journal};
    RecordingSender sender{&journal};
    AnalyticsManager manager;
};

enum class Slot { Provider, Serializer, Sender };

constexpr EventPriority outOfRange = static_cast<EventPriority>(3);

} // namespace

class TestManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newManager();
    void metaObjectOfTheClass();
    void metaType();
    void privatePartStarts();
    void privatePartEnds();
    void defaultPlugIns();
    void genericList();

    void dispatch_data();
    void dispatch();
    void disabledBuffersInCallOrder();
    void enablingAloneDoesNothing();
    void mediumFlushesEverything();
    void highGoesAloneAndLeavesThePending();
    void disablingKeepsThePending();
    void sentBeforeTheBufferIsCleared();

    void argumentsReachThePlugIns();
    void callOrderAndThread();
    void recordIsGoneBeforePacking_data();
    void recordIsGoneBeforePacking();
    void nothingLimitsThePending();
    void bufferKeepsItsCapacity();

    void withoutProvider();
    void withoutSerializer();
    void withoutSender();
    void senderUnplugged();
    void samePlugInAgain_data();
    void samePlugInAgain();
    void serializerReplacedWhilePending();
    void unknownTypeTravelsEmpty();
    void destructionCallsNoPlugIn();
};

void TestManager::newManager()
{
    AnalyticsManager manager;
    QCOMPARE(manager.objectName(), QStringLiteral("AnalyticsManager"));
    QCOMPARE(manager.parent(), nullptr);

    QObject parent;
    AnalyticsManager child(&parent);
    QCOMPARE(child.parent(), &parent);
    QCOMPARE(child.objectName(), QStringLiteral("AnalyticsManager"));
}

void TestManager::metaObjectOfTheClass()
{
    AnalyticsManager manager;
    QMetaObject const *meta = manager.metaObject();
    QCOMPARE(meta->className(), "analytics::AnalyticsManager");
    QCOMPARE(meta->superClass(), &QObject::staticMetaObject);
    QCOMPARE(manager.qt_metacast("analytics::AnalyticsManager"), static_cast<void *>(&manager));
    QCOMPARE(meta->methodCount(), meta->methodOffset());
    QCOMPARE(meta->propertyCount(), meta->propertyOffset());
    QCOMPARE(meta->enumeratorCount(), meta->enumeratorOffset());
    QCOMPARE(meta->constructorCount(), 0);
    QCOMPARE(sizeof(AnalyticsManager), sizeof(QObject) + sizeof(void *));
}

void TestManager::metaType()
{
    QMetaType const type = QMetaType::fromType<AnalyticsManager>();
    QCOMPARE(type.name(), "analytics::AnalyticsManager");
    QVERIFY(type.id() >= QMetaType::User);
    QCOMPARE(QMetaType::fromName("analytics::AnalyticsManager"), type);

    void *made = operator new(size_t(type.sizeOf()));
    auto *manager = static_cast<AnalyticsManager *>(type.construct(made));
    QCOMPARE(manager->parent(), nullptr);
    QCOMPARE(manager->objectName(), QStringLiteral("AnalyticsManager"));
    type.destruct(made);
    operator delete(made);
}

void TestManager::privatePartStarts()
{
    AnalyticsManager manager;
    AnalyticsManagerPrivate const d(&manager);
    QCOMPARE(d.q, &manager);
    QCOMPARE(d.propertyProvider, AnalyticsManagerPrivate::dummyPropertyProvider());
    QCOMPARE(d.eventSerializer, AnalyticsManagerPrivate::dummyEventSerializer());
    QCOMPARE(d.packageSender, AnalyticsManagerPrivate::dummyPackageSender());
    QCOMPARE(d.enabled, false);
    QVERIFY(d.pendingEvents.isEmpty());

    // The fields stand in this order.
    QVERIFY(static_cast<void const *>(&d) == static_cast<void const *>(&d.q));
    QVERIFY(static_cast<void const *>(&d.q) < static_cast<void const *>(&d.propertyProvider));
    QVERIFY(static_cast<void const *>(&d.propertyProvider) < static_cast<void const *>(&d.eventSerializer));
    QVERIFY(static_cast<void const *>(&d.eventSerializer) < static_cast<void const *>(&d.packageSender));
    QVERIFY(static_cast<void const *>(&d.packageSender) < static_cast<void const *>(&d.enabled));
    QVERIFY(static_cast<void const *>(&d.enabled) < static_cast<void const *>(&d.pendingEvents));
}

void TestManager::privatePartEnds()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    {
        AnalyticsManagerPrivate const d(&recorded.manager);
    }
    recorded.append(1, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls, QStringList());

    // All three slots are back on the defaults, not only the serializer's.
    recorded.manager.setEventSerializer(&recorded.serializer);
    recorded.append(2, EventPriority::High);
    QCOMPARE(recorded.journal.calls, calls({"serialize 2", "pack e2"}));
    QCOMPARE(recorded.serializer.provider, AnalyticsManagerPrivate::dummyPropertyProvider());
}

void TestManager::defaultPlugIns()
{
    IPropertyProvider *const provider = AnalyticsManagerPrivate::dummyPropertyProvider();
    IEventSerializer *const serializer = AnalyticsManagerPrivate::dummyEventSerializer();
    IPackageSender *const sender = AnalyticsManagerPrivate::dummyPackageSender();

    QVERIFY(!provider->value(Property::EventId, {}).isValid());
    QVERIFY(serializer->serialize(provider, {}, {Property::EventId}).isNull());
    QVERIFY(serializer->pack({"e1", "e2"}).isNull());
    sender->send("package", true);

    {
        AnalyticsManager first;
        AnalyticsManager second;
        QCOMPARE(AnalyticsManagerPrivate::dummyPropertyProvider(), provider);
        QCOMPARE(AnalyticsManagerPrivate::dummyEventSerializer(), serializer);
        QCOMPARE(AnalyticsManagerPrivate::dummyPackageSender(), sender);
    }
    QCOMPARE(AnalyticsManagerPrivate::dummyPropertyProvider(), provider);
}

void TestManager::genericList()
{
    QList<Property> const first = AnalyticsManagerPrivate::genericProperties();
    QList<Property> const second = AnalyticsManagerPrivate::genericProperties();
    QCOMPARE(first,
             (QList<Property>{Property::EventId, Property::EventVersion, Property::EventCounter, Property::Timestamp,
                              Property::MacAddress, Property::Uid}));
    QCOMPARE(second, first);
    QCOMPARE(second.constData(), first.constData());
}

void TestManager::dispatch_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<EventPriority>("priority");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QString>("pendingAfterwards");

    // One event (tag 1) is pending already; the row appends tag 2.
    // clang-format off
    QTest::newRow("disabled, Low")          << false << EventPriority::Low    << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e2,e99] normal");
    QTest::newRow("disabled, Medium")       << false << EventPriority::Medium << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e2,e99] normal");
    QTest::newRow("disabled, High")         << false << EventPriority::High   << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e2,e99] normal");
    QTest::newRow("disabled, out of range") << false << outOfRange            << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e2,e99] normal");
    QTest::newRow("enabled, Low")           << true  << EventPriority::Low    << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e2,e99] normal");
    QTest::newRow("enabled, Medium")        << true  << EventPriority::Medium << calls({"serialize 2", "pack e1,e2", "send [e1,e2] normal"}) << QStringLiteral("send [e99] normal");
    QTest::newRow("enabled, High")          << true  << EventPriority::High   << calls({"serialize 2", "pack e2", "send [e2] high"})         << QStringLiteral("send [e1,e99] normal");
    QTest::newRow("enabled, out of range")  << true  << outOfRange            << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e99] normal");
    QTest::newRow("enabled, negative")      << true  << EventPriority(-1)     << calls({"serialize 2"})                                     << QStringLiteral("send [e1,e99] normal");
    // clang-format on
}

void TestManager::dispatch()
{
    QFETCH(bool, enabled);
    QFETCH(EventPriority, priority);
    QFETCH(QStringList, expected);
    QFETCH(QString, pendingAfterwards);

    Recorded recorded;
    recorded.append(1, EventPriority::Low);
    recorded.journal.calls.clear();
    recorded.manager.setEnabled(enabled);
    recorded.append(2, priority);
    QCOMPARE(recorded.journal.calls, expected);
    QCOMPARE(recorded.pending(), pendingAfterwards);
}

void TestManager::disabledBuffersInCallOrder()
{
    Recorded recorded;
    recorded.append(1, EventPriority::High);
    recorded.append(2, EventPriority::Low);
    recorded.append(3, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls, calls({"serialize 1", "serialize 2", "serialize 3"}));
    QCOMPARE(recorded.pending(), QStringLiteral("send [e1,e2,e3,e99] normal"));
}

void TestManager::enablingAloneDoesNothing()
{
    Recorded recorded;
    recorded.append(1, EventPriority::Medium);
    recorded.journal.calls.clear();
    recorded.manager.setEnabled(true);
    recorded.manager.setEnabled(true);
    recorded.manager.setEnabled(false);
    recorded.manager.setEnabled(true);
    QCOMPARE(recorded.journal.calls, QStringList());
    QCOMPARE(recorded.pending(), QStringLiteral("send [e1,e99] normal"));
}

void TestManager::mediumFlushesEverything()
{
    Recorded recorded;
    recorded.append(1, EventPriority::Medium);
    recorded.manager.setEnabled(true);
    recorded.append(2, EventPriority::Low);
    recorded.append(3, EventPriority::Medium);
    recorded.append(4, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls,
             calls({"serialize 1", "serialize 2", "serialize 3", "pack e1,e2,e3", "send [e1,e2,e3] normal",
                    "serialize 4", "pack e4", "send [e4] normal"}));
}

void TestManager::highGoesAloneAndLeavesThePending()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Low);
    recorded.append(2, EventPriority::High);
    recorded.append(3, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls,
             calls({"serialize 1", "serialize 2", "pack e2", "send [e2] high", "serialize 3", "pack e1,e3",
                    "send [e1,e3] normal"}));
}

void TestManager::disablingKeepsThePending()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Low);
    recorded.manager.setEnabled(false);
    recorded.append(2, EventPriority::Medium);
    QCOMPARE(recorded.pending(), QStringLiteral("send [e1,e2,e99] normal"));
}

void TestManager::sentBeforeTheBufferIsCleared()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Low);
    recorded.sender.fails = true;
    QVERIFY_EXCEPTION_THROWN(recorded.append(2, EventPriority::Medium), std::runtime_error);
    recorded.sender.fails = false;
    QCOMPARE(recorded.pending(), QStringLiteral("send [e1,e2,e99] normal"));
}

void TestManager::argumentsReachThePlugIns()
{
    Recorded recorded;
    recorded.manager.appendEvent(EventType::KivoError, -7, -12345678901ms, QStringLiteral("payload"),
                                 EventPriority::Low);
    QCOMPARE(recorded.serializer.provider, &recorded.provider);
    QCOMPARE(recorded.serializer.event.type, EventType::KivoError);
    QCOMPARE(recorded.serializer.event.tag, -7);
    QCOMPARE(recorded.serializer.event.time.count(), -12345678901);
    QCOMPARE(recorded.serializer.event.value, QVariant(QStringLiteral("payload")));
    QCOMPARE(recorded.serializer.properties,
             (QList<Property>{Property::EventId, Property::EventVersion, Property::EventCounter, Property::Timestamp,
                              Property::MacAddress, Property::Uid}));
    QCOMPARE(recorded.serializer.properties.constData(), AnalyticsManagerPrivate::genericProperties().constData());
}

void TestManager::callOrderAndThread()
{
    Recorded recorded;
    recorded.serializer.askProvider = true;

    std::thread::id caller;
    std::thread thread([&] {
        caller = std::this_thread::get_id();
        recorded.append(1, EventPriority::High);
        recorded.manager.setEnabled(true);
        recorded.append(2, EventPriority::Low);
        recorded.append(3, EventPriority::High);
        recorded.append(4, EventPriority::Medium);
    });
    thread.join();
    QCOMPARE(recorded.journal.calls,
             calls({"serialize 1", "value 125 of 1", "serialize 2", "value 125 of 2", "serialize 3", "value 125 of 3",
                    "pack e3", "send [e3] high", "serialize 4", "value 125 of 4", "pack e1,e2,e4",
                    "send [e1,e2,e4] normal"}));
    for (std::thread::id id : recorded.journal.threads)
        QVERIFY(id == caller);
}

void TestManager::recordIsGoneBeforePacking_data()
{
    QTest::addColumn<EventPriority>("priority");

    QTest::newRow("Medium") << EventPriority::Medium;
    QTest::newRow("High") << EventPriority::High;
}

/// A value too large to lie in the variant itself is shared by as many variants as there are copies.
void TestManager::recordIsGoneBeforePacking()
{
    QFETCH(EventPriority, priority);

    Recorded recorded;
    QVariant const value = QVariant::fromValue(HardwareInfo{});
    QVERIFY(value.isDetached());
    recorded.serializer.callersValue = &value;
    recorded.manager.setEnabled(true);
    recorded.manager.appendEvent(EventType::SearchResult, 1, 0ms, value, priority);
    QVERIFY(recorded.serializer.isSharedInSerialize);
    QVERIFY(!recorded.serializer.isSharedInPack);
}

/// Nothing but a Medium event of an enabled manager empties the buffer.
void TestManager::nothingLimitsThePending()
{
    constexpr int count = 100'000;
    Recorded recorded;
    QByteArray all = "e0";
    for (int i = 0; i < count; ++i) {
        recorded.manager.setEnabled(i >= count / 2);
        recorded.append(i, EventPriority::Low);
        if (i > 0)
            all += ",e" + QByteArray::number(i);
    }
    QCOMPARE(recorded.journal.calls.size(), count);
    QVERIFY(recorded.pending() == QString::fromLatin1("send [" + all + ",e99] normal"));
}

void TestManager::bufferKeepsItsCapacity()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    for (int i = 0; i < 50; ++i)
        recorded.append(i, EventPriority::Low);
    recorded.append(50, EventPriority::Medium);
    QByteArray const *const storage = recorded.serializer.storage;
    for (int i = 0; i < 50; ++i)
        recorded.append(i, EventPriority::Low);
    recorded.append(50, EventPriority::Medium);
    QCOMPARE(recorded.serializer.storage, storage);
}

void TestManager::withoutProvider()
{
    Recorded recorded;
    JsonEventSerializer json;
    recorded.manager.setEventSerializer(&json);
    recorded.manager.setPropertyProvider(nullptr);
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::High);
    QCOMPARE(recorded.journal.calls, calls({"send {\"events\":[{}]} high"}));
}

void TestManager::withoutSerializer()
{
    Recorded recorded;
    recorded.manager.setEventSerializer(nullptr);
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Medium);
    recorded.append(2, EventPriority::High);
    QCOMPARE(recorded.journal.calls, calls({"send null normal", "send null high"}));
}

void TestManager::withoutSender()
{
    Recorded recorded;
    recorded.manager.setPackageSender(nullptr);
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls, calls({"serialize 1", "pack e1"}));
}

void TestManager::senderUnplugged()
{
    Recorded recorded;
    recorded.manager.setEnabled(true);
    recorded.append(1, EventPriority::Low);
    recorded.manager.setPackageSender(nullptr);
    recorded.append(2, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls, calls({"serialize 1", "serialize 2", "pack e1,e2"}));

    recorded.manager.setPackageSender(&recorded.sender);
    QCOMPARE(recorded.pending(), QStringLiteral("send [e99] normal"));
}

void TestManager::samePlugInAgain_data()
{
    QTest::addColumn<Slot>("slot");
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<bool>("isEnabled");
    QTest::addColumn<QStringList>("sent");

    QStringList const whileOn = calls({"send [e2] high", "send [e1,e99] normal"});
    QStringList const whileOff = calls({"send [e1,e2,e99] normal"});

    QTest::newRow("provider, on") << Slot::Provider << false << true << whileOn;
    QTest::newRow("provider, off") << Slot::Provider << false << false << whileOff;
    QTest::newRow("no provider, on") << Slot::Provider << true << true << whileOn;
    QTest::newRow("no provider, off") << Slot::Provider << true << false << whileOff;
    QTest::newRow("serializer, on") << Slot::Serializer << false << true << whileOn;
    QTest::newRow("serializer, off") << Slot::Serializer << false << false << whileOff;
    QTest::newRow("no serializer, on") << Slot::Serializer << true << true
                                       << calls({"send [e2] high", "send [,e99] normal"});
    QTest::newRow("no serializer, off") << Slot::Serializer << true << false << calls({"send [,e2,e99] normal"});
    QTest::newRow("sender, on") << Slot::Sender << false << true << whileOn;
    QTest::newRow("sender, off") << Slot::Sender << false << false << whileOff;
    QTest::newRow("no sender, on") << Slot::Sender << true << true << whileOn;
    QTest::newRow("no sender, off") << Slot::Sender << true << false << whileOff;
}

/// What is plugged in already is plugged in again, or null where there is nothing.
void TestManager::samePlugInAgain()
{
    QFETCH(Slot, slot);
    QFETCH(bool, isNull);
    QFETCH(bool, isEnabled);
    QFETCH(QStringList, sent);

    Recorded recorded;
    auto const plugIn = [&recorded, slot](bool none) {
        switch (slot) {
        case Slot::Provider:
            recorded.manager.setPropertyProvider(none ? nullptr : &recorded.provider);
            break;
        case Slot::Serializer:
            recorded.manager.setEventSerializer(none ? nullptr : &recorded.serializer);
            break;
        case Slot::Sender:
            recorded.manager.setPackageSender(none ? nullptr : &recorded.sender);
            break;
        }
    };
    plugIn(isNull);
    recorded.manager.setEnabled(isEnabled);
    recorded.append(1, EventPriority::Low);
    plugIn(isNull);
    if (slot != Slot::Provider)
        plugIn(false); // It shows what the events before became.

    recorded.append(2, EventPriority::High);
    QCOMPARE(recorded.serializer.provider,
             slot == Slot::Provider && isNull ? AnalyticsManagerPrivate::dummyPropertyProvider() : &recorded.provider);
    recorded.pending();
    QCOMPARE(recorded.journal.calls.filter(QStringLiteral("send ")), sent);
}

void TestManager::serializerReplacedWhilePending()
{
    Recorded recorded;
    recorded.append(1, EventPriority::Low);
    JsonEventSerializer json;
    recorded.manager.setEventSerializer(&json);
    QCOMPARE(recorded.pending(), QStringLiteral("send {\"events\":[e1,{}]} normal"));
}

void TestManager::unknownTypeTravelsEmpty()
{
    Recorded recorded;
    JsonEventSerializer json;
    recorded.manager.setEventSerializer(&json);
    recorded.manager.setEnabled(true);
    recorded.manager.appendEvent(EventType::Invalid, 1, 0ms, {}, EventPriority::Low);
    recorded.manager.appendEvent(unknownEventType, 2, 0ms, {}, EventPriority::High);
    recorded.manager.appendEvent(EventType::Invalid, 3, 0ms, {}, EventPriority::Medium);
    QCOMPARE(recorded.journal.calls, calls({"send {\"events\":[]} high", "send {\"events\":[,]} normal"}));
}

void TestManager::destructionCallsNoPlugIn()
{
    Journal journal;
    RecordingProvider provider(&journal);
    RecordingSerializer serializer(&journal);
    RecordingSender sender(&journal);
    {
        AnalyticsManager manager;
        manager.setPropertyProvider(&provider);
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&sender);
        manager.setEnabled(true);
        manager.appendEvent(EventType::SearchResult, 1, 0ms, {}, EventPriority::Low);
        journal.calls.clear();
    }
    QCOMPARE(journal.calls, QStringList());
}

QTEST_GUILESS_MAIN(TestManager)
#include "tst_manager.moc"
