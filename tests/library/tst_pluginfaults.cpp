#include "support.h"

#include <analytics/analyticsmanager.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipackagesender.h>

#include <QtTest/QtTest>

#include <pthread.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

/**
 * @file
 * @brief Plug-ins that misbehave: what holds when they throw, call back, keep what they are given or answer too much.
 */

using namespace analytics;
using namespace std::chrono_literals;

namespace {

/// Something to do the next time that a place is passed, and only then.
class Surprise
{
public:
    Surprise &operator=(std::function<void()> action)
    {
        m_action = std::move(action);
        return *this;
    }

    void operator()() const
    {
        if (auto const action = std::exchange(m_action, nullptr))
            action();
    }

private:
    mutable std::function<void()> m_action;
};

class SurprisingProvider : public IPropertyProvider
{
public:
    QVariant value(Property, AnalyticsEventData const &) const override
    {
        inValue();
        return {};
    }

    Surprise inValue;
};

/// Writes event n as "<n>" and a package as "[<n>,<n>]"; both with a letter of its own, where it has one.
class SurprisingSerializer : public IEventSerializer
{
public:
    explicit SurprisingSerializer(QByteArray mark = {})
        : m_mark(std::move(mark))
    {
    }

    QByteArray serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                         QList<Property> const &) const override
    {
        inSerialize();
        provider->value(Property::Uid, data);
        return m_mark + QByteArray::number(data.tag);
    }

    QByteArray pack(QList<QByteArray> const &events) const override
    {
        inPack();
        if (keepsLists)
            kept.append(events);
        return m_mark + "[" + events.join(',') + "]";
    }

    Surprise inSerialize;
    Surprise inPack;
    bool keepsLists = false;
    mutable QList<QList<QByteArray>> kept;

private:
    QByteArray m_mark;
};

class SurprisingSender : public IPackageSender
{
public:
    void send(QByteArray const &package, bool highPriority) override
    {
        packages.append(package);
        sent += (sent.isEmpty() ? "" : " ") + package + (highPriority ? "!" : "");
        inSend();
    }

    Surprise inSend;
    QByteArray sent; ///< All packages; one of high priority is followed by an exclamation mark.
    QList<QByteArray> packages;
};

/// An enabled manager with these plug-ins, and event 1 pending.
struct Box
{
    Box()
    {
        manager.setPropertyProvider(&provider);
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&sender);
        manager.setEnabled(true);
        append(1, EventPriority::Low);
    }

    void append(int tag, EventPriority priority)
    {
        manager.appendEvent(EventType::SearchResult, tag, 0ms, {}, priority);
    }

    Surprise &place(QString const &name)
    {
        if (name == QStringLiteral("value"))
            return provider.inValue;
        if (name == QStringLiteral("serialize"))
            return serializer.inSerialize;
        if (name == QStringLiteral("pack"))
            return serializer.inPack;
        return sender.inSend;
    }

    /// Everything that has been sent, and at last event 9, with what has been pending before it.
    QByteArray sentAtLast()
    {
        manager.setEnabled(true);
        append(9, EventPriority::Medium);
        return sender.sent;
    }

    AnalyticsManager manager;
    SurprisingProvider provider;
    SurprisingSerializer serializer;
    SurprisingSender sender;
};

/// Runs a function on a thread with a stack of a certain size, as a box's own threads have one.
void runOnStack(std::size_t bytes, std::function<void()> function)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    QCOMPARE(pthread_attr_setstacksize(&attributes, bytes), 0);
    pthread_t thread;
    auto const run = [](void *argument) -> void * {
        (*static_cast<std::function<void()> *>(argument))();
        return nullptr;
    };
    QCOMPARE(pthread_create(&thread, &attributes, run, &function), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

QVariant nestedList(int depth)
{
    QVariant value = 1;
    for (int i = 0; i < depth; ++i)
        value = QVariant(QVariantList{value});
    return value;
}

/// Empties a nested list from outside to inside: its own destructor would need a stack for all levels.
void unnest(QVariant value)
{
    while (value.metaType().id() == QMetaType::QVariantList) {
        QVariant inner = static_cast<QVariantList const *>(value.constData())->value(0);
        value = std::move(inner);
    }
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stackFor10000Levels = 64 << 20;
#else
constexpr std::size_t stackFor10000Levels = 8 << 20;
#endif

} // namespace

class TestPlugInFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void throws_data();
    void throws();
    void throwsOutOfMemory();
    void throwsAgainAndAgain();

    void appends_data();
    void appends();
    void appendsWhileDisabled();
    void appendsMediumFromEachSend();
    void appendsAndThrows();
    void appendsAndIsCaught();
    void appendsWhileItReadsTheList();

    void switchesOff_data();
    void switchesOff();
    void switchesOn();

    void replacesProvider();
    void replacesSerializer();
    void replacesSerializerWhilePacking();
    void replacesSender();
    void deletesTheSenderBeforeItIsUsed();
    void unplugs_data();
    void unplugs();

    void keepsPackages();
    void handsPackagesToAnotherThread();
    void keepsLists();

    void answersDifferentlyTheSecondTime();
    void hugeList();
    void hugeString();
    void deepList();
};

void TestPlugInFaults::throws_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<EventPriority>("priority");
    QTest::addColumn<QByteArray>("sentAtLast");

    auto const row = [](char const *place, bool enabled, EventPriority priority, char const *sentAtLast) {
        static constexpr char const *names[] = {"Low", "Medium", "High"};
        QTest::addRow("%s, %s%s", place, names[static_cast<int>(priority)], enabled ? "" : ", disabled")
            << QString::fromLatin1(place) << enabled << priority << QByteArray(sentAtLast);
    };
    // Event 2 is appended while 1 is pending; afterwards event 9 flushes. A sender notes a package before it throws.
    row("value", true, EventPriority::Low, "[1,9]");
    row("value", true, EventPriority::Medium, "[1,9]");
    row("value", true, EventPriority::High, "[1,9]");
    row("value", false, EventPriority::Medium, "[1,9]");
    row("serialize", true, EventPriority::Low, "[1,9]");
    row("serialize", true, EventPriority::Medium, "[1,9]");
    row("serialize", true, EventPriority::High, "[1,9]");
    row("serialize", false, EventPriority::Medium, "[1,9]");
    row("pack", true, EventPriority::Medium, "[1,2,9]");
    row("pack", true, EventPriority::High, "[1,9]");
    row("send", true, EventPriority::Medium, "[1,2] [1,2,9]");
    row("send", true, EventPriority::High, "[2]! [1,9]");
}

void TestPlugInFaults::throws()
{
    QFETCH(QString, place);
    QFETCH(bool, enabled);
    QFETCH(EventPriority, priority);
    QFETCH(QByteArray, sentAtLast);

    Box box;
    box.manager.setEnabled(enabled);
    box.place(place) = [] { throw std::runtime_error("the host's own"); };
    try {
        box.append(2, priority);
        QFAIL("The exception got lost.");
    } catch (std::runtime_error const &error) {
        QCOMPARE(error.what(), "the host's own");
    }
    QCOMPARE(box.sentAtLast(), sentAtLast);
}

void TestPlugInFaults::throwsOutOfMemory()
{
    Box box;
    box.sender.inSend = [] { throw std::bad_alloc(); };
    QVERIFY_EXCEPTION_THROWN(box.append(2, EventPriority::Medium), std::bad_alloc);
    QCOMPARE(box.sentAtLast(), QByteArray("[1,2] [1,2,9]"));
}

void TestPlugInFaults::throwsAgainAndAgain()
{
    Box box;
    for (int tag = 2; tag < 5; ++tag) {
        box.serializer.inPack = [] { throw std::runtime_error("not yet"); };
        QVERIFY_EXCEPTION_THROWN(box.append(tag, EventPriority::Medium), std::runtime_error);
    }
    box.append(5, EventPriority::Low);
    QCOMPARE(box.sentAtLast(), QByteArray("[1,2,3,4,5,9]"));
    box.append(6, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("[1,2,3,4,5,9] [6]"));
}

void TestPlugInFaults::appends_data()
{
    QTest::addColumn<EventPriority>("outer");
    QTest::addColumn<QString>("place");
    QTest::addColumn<EventPriority>("inner");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("sentAtLast");

    // Event 2 is appended while 1 is pending, and event 3 from inside a call that event 2 makes.
    constexpr auto Low = EventPriority::Low;
    constexpr auto Medium = EventPriority::Medium;
    constexpr auto High = EventPriority::High;
    auto const row
        = [](EventPriority outer, char const *place, EventPriority inner, char const *sent, char const *sentAtLast) {
              static constexpr char const *names[] = {"Low", "Medium", "High"};
              QTest::addRow("%s in the %s of %s", names[static_cast<int>(inner)], place, names[static_cast<int>(outer)])
                  << outer << QString::fromLatin1(place) << inner << QByteArray(sent) << QByteArray(sentAtLast);
          };
    // clang-format off
    row(Low,    "value",     Low,    "",                 "[1,3,2,9]");
    row(Low,    "value",     Medium, "[1,3]",            "[1,3] [2,9]");
    row(Low,    "value",     High,   "[3]!",             "[3]! [1,2,9]");
    row(Low,    "serialize", Low,    "",                 "[1,3,2,9]");
    row(Low,    "serialize", Medium, "[1,3]",            "[1,3] [2,9]");
    row(Low,    "serialize", High,   "[3]!",             "[3]! [1,2,9]");
    row(Medium, "value",     Low,    "[1,3,2]",          "[1,3,2] [9]");
    row(Medium, "value",     Medium, "[1,3] [2]",        "[1,3] [2] [9]");
    row(Medium, "value",     High,   "[3]! [1,2]",       "[3]! [1,2] [9]");
    row(Medium, "serialize", Low,    "[1,3,2]",          "[1,3,2] [9]");
    row(Medium, "serialize", Medium, "[1,3] [2]",        "[1,3] [2] [9]");
    row(Medium, "serialize", High,   "[3]! [1,2]",       "[3]! [1,2] [9]");
    row(Medium, "pack",      Low,    "[1,2]",            "[1,2] [3,9]");
    row(Medium, "pack",      Medium, "[3] [1,2]",        "[3] [1,2] [9]");
    row(Medium, "pack",      High,   "[3]! [1,2]",       "[3]! [1,2] [9]");
    row(Medium, "send",      Low,    "[1,2]",            "[1,2] [3,9]");
    row(Medium, "send",      Medium, "[1,2] [3]",        "[1,2] [3] [9]");
    row(Medium, "send",      High,   "[1,2] [3]!",       "[1,2] [3]! [9]");
    row(High,   "value",     Low,    "[2]!",             "[2]! [1,3,9]");
    row(High,   "value",     Medium, "[1,3] [2]!",       "[1,3] [2]! [9]");
    row(High,   "value",     High,   "[3]! [2]!",        "[3]! [2]! [1,9]");
    row(High,   "serialize", Low,    "[2]!",             "[2]! [1,3,9]");
    row(High,   "serialize", Medium, "[1,3] [2]!",       "[1,3] [2]! [9]");
    row(High,   "serialize", High,   "[3]! [2]!",        "[3]! [2]! [1,9]");
    row(High,   "pack",      Low,    "[2]!",             "[2]! [1,3,9]");
    row(High,   "pack",      Medium, "[1,3] [2]!",       "[1,3] [2]! [9]");
    row(High,   "pack",      High,   "[3]! [2]!",        "[3]! [2]! [1,9]");
    row(High,   "send",      Low,    "[2]!",             "[2]! [1,3,9]");
    row(High,   "send",      Medium, "[2]! [1,3]",       "[2]! [1,3] [9]");
    row(High,   "send",      High,   "[2]! [3]!",        "[2]! [3]! [1,9]");
    // clang-format on
}

void TestPlugInFaults::appends()
{
    QFETCH(EventPriority, outer);
    QFETCH(QString, place);
    QFETCH(EventPriority, inner);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, sentAtLast);

    Box box;
    box.place(place) = [&box, inner] { box.append(3, inner); };
    box.append(2, outer);
    QCOMPARE(box.sender.sent, sent);
    QCOMPARE(box.sentAtLast(), sentAtLast);
}

void TestPlugInFaults::appendsWhileDisabled()
{
    Box box;
    box.manager.setEnabled(false);
    box.serializer.inSerialize = [&box] { box.append(3, EventPriority::Medium); };
    box.append(2, EventPriority::Medium);
    QCOMPARE(box.sentAtLast(), QByteArray("[1,3,2,9]"));
}

void TestPlugInFaults::appendsMediumFromEachSend()
{
    Box box;
    int tag = 3;
    std::function<void()> const appendNext = [&] {
        if (tag < 7)
            box.sender.inSend = appendNext;
        box.append(tag++, EventPriority::Low);
        box.append(tag++, EventPriority::Medium);
    };
    box.sender.inSend = appendNext;
    box.append(2, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("[1,2] [3,4] [5,6] [7,8]"));
}

void TestPlugInFaults::appendsAndThrows()
{
    Box box;
    box.sender.inSend = [&box] {
        box.append(3, EventPriority::Low);
        throw std::runtime_error("no way out");
    };
    QVERIFY_EXCEPTION_THROWN(box.append(2, EventPriority::Medium), std::runtime_error);
    QCOMPARE(box.sentAtLast(), QByteArray("[1,2] [1,2,3,9]"));
}

void TestPlugInFaults::appendsAndIsCaught()
{
    Box box;
    box.sender.inSend = [&box] {
        box.serializer.inPack = [] { throw std::runtime_error("too early"); };
        try {
            box.append(3, EventPriority::Medium);
        } catch (std::runtime_error const &) {
        }
        box.append(4, EventPriority::Low);
    };
    box.append(2, EventPriority::Medium);
    QCOMPARE(box.sentAtLast(), QByteArray("[1,2] [3,4,9]"));
}

void TestPlugInFaults::appendsWhileItReadsTheList()
{
    Box box;
    for (int tag = 2; tag < 4; ++tag)
        box.append(tag, EventPriority::Low);
    box.serializer.inPack = [&box] {
        for (int tag = 100; tag < 200; ++tag)
            box.append(tag, EventPriority::Low);
    };
    box.append(4, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("[1,2,3,4]"));
}

void TestPlugInFaults::switchesOff_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("sentAtLast");

    // Event 2 is a Medium one, and event 3 follows.
    QTest::newRow("value") << QStringLiteral("value") << QByteArray() << QByteArray("[1,2,3,9]");
    QTest::newRow("serialize") << QStringLiteral("serialize") << QByteArray() << QByteArray("[1,2,3,9]");
    QTest::newRow("pack") << QStringLiteral("pack") << QByteArray("[1,2]") << QByteArray("[1,2] [3,9]");
    QTest::newRow("send") << QStringLiteral("send") << QByteArray("[1,2]") << QByteArray("[1,2] [3,9]");
}

void TestPlugInFaults::switchesOff()
{
    QFETCH(QString, place);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, sentAtLast);

    Box box;
    box.place(place) = [&box] { box.manager.setEnabled(false); };
    box.append(2, EventPriority::Medium);
    box.append(3, EventPriority::Medium);
    QCOMPARE(box.sender.sent, sent);
    QCOMPARE(box.sentAtLast(), sentAtLast);
}

void TestPlugInFaults::switchesOn()
{
    Box box;
    box.manager.setEnabled(false);
    box.provider.inValue = [&box] { box.manager.setEnabled(true); };
    box.append(2, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("[1,2]"));
}

void TestPlugInFaults::replacesProvider()
{
    struct CountingProvider : IPropertyProvider
    {
        QVariant value(Property, AnalyticsEventData const &) const override
        {
            ++asked;
            inValue();
            return {};
        }

        Surprise inValue;
        mutable int asked = 0;
    };

    JsonEventSerializer const json;
    CountingProvider first;
    CountingProvider second;
    AnalyticsManager manager;
    manager.setPropertyProvider(&first);
    manager.setEventSerializer(const_cast<JsonEventSerializer *>(&json));
    first.inValue = [&] { manager.setPropertyProvider(&second); };

    // Six properties that every event carries, and three of its own.
    manager.appendEvent(EventType::SearchResult, 1, 0ms, {}, EventPriority::Low);
    QCOMPARE(first.asked, 9);
    QCOMPARE(second.asked, 0);
    manager.appendEvent(EventType::SearchResult, 2, 0ms, {}, EventPriority::Low);
    QCOMPARE(first.asked, 9);
    QCOMPARE(second.asked, 9);
}

void TestPlugInFaults::replacesSerializer()
{
    Box box;
    SurprisingSerializer other("b");
    box.serializer.inSerialize = [&] { box.manager.setEventSerializer(&other); };
    box.append(2, EventPriority::Medium);
    box.append(3, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("b[1,2] b[b3]"));
}

void TestPlugInFaults::replacesSerializerWhilePacking()
{
    Box box;
    SurprisingSerializer other("b");
    box.serializer.inPack = [&] { box.manager.setEventSerializer(&other); };
    box.append(2, EventPriority::Medium);
    box.append(3, EventPriority::High);
    QCOMPARE(box.sender.sent, QByteArray("[1,2] b[b3]!"));
}

void TestPlugInFaults::replacesSender()
{
    Box box;
    SurprisingSender other;
    box.sender.inSend = [&] { box.manager.setPackageSender(&other); };
    box.append(2, EventPriority::Medium);
    box.append(3, EventPriority::Medium);
    QCOMPARE(box.sender.sent, QByteArray("[1,2]"));
    QCOMPARE(other.sent, QByteArray("[3]"));
}

void TestPlugInFaults::deletesTheSenderBeforeItIsUsed()
{
    for (EventPriority priority : {EventPriority::Medium, EventPriority::High}) {
        Box box;
        auto old = std::make_unique<SurprisingSender>();
        box.manager.setPackageSender(old.get());
        box.serializer.inPack = [&] {
            box.manager.setPackageSender(&box.sender);
            old.reset();
        };
        box.append(2, priority);
        QCOMPARE(box.sender.sent, QByteArray(priority == EventPriority::High ? "[2]!" : "[1,2]"));
    }
}

void TestPlugInFaults::unplugs_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QByteArray>("sent");

    // All three plug-ins are taken out from inside a call of event 2, a Medium one. Nobody is sent anything then.
    QTest::newRow("value") << QStringLiteral("value") << QByteArray();
    QTest::newRow("serialize") << QStringLiteral("serialize") << QByteArray();
    QTest::newRow("pack") << QStringLiteral("pack") << QByteArray();
    QTest::newRow("send") << QStringLiteral("send") << QByteArray("[1,2]");
}

void TestPlugInFaults::unplugs()
{
    QFETCH(QString, place);
    QFETCH(QByteArray, sent);

    Box box;
    box.place(place) = [&box] {
        box.manager.setPropertyProvider(nullptr);
        box.manager.setEventSerializer(nullptr);
        box.manager.setPackageSender(nullptr);
    };
    box.append(2, EventPriority::Medium);
    QCOMPARE(box.sender.sent, sent);

    // The flush to nowhere has been one all the same.
    box.manager.setEventSerializer(&box.serializer);
    box.manager.setPackageSender(&box.sender);
    box.append(3, EventPriority::Medium);
    QCOMPARE(box.sender.sent, sent + (sent.isEmpty() ? "" : " ") + "[3]");
}

void TestPlugInFaults::keepsPackages()
{
    SurprisingSender sender;
    {
        Box box;
        box.manager.setPackageSender(&sender);
        box.append(2, EventPriority::Medium);
        box.append(3, EventPriority::High);
        box.append(4, EventPriority::Medium);
    }
    QCOMPARE(sender.packages, (QList<QByteArray>{"[1,2]", "[3]", "[4]"}));
}

void TestPlugInFaults::handsPackagesToAnotherThread()
{
    struct HandingSender : IPackageSender
    {
        void send(QByteArray const &package, bool) override
        {
            threads.emplace_back([this, package, place = count++] { lengths[place] = package.size(); });
        }

        std::vector<std::thread> threads;
        std::size_t count = 0;
        qsizetype lengths[20] = {};
    };

    HandingSender sender;
    {
        Box box;
        box.manager.setPackageSender(&sender);
        for (int tag = 10; tag < 30; ++tag)
            box.append(tag, EventPriority::Medium);
    }
    for (std::thread &thread : sender.threads)
        thread.join();
    QCOMPARE(sender.lengths[0], 6); // "[1,10]"
    for (int i = 1; i < 20; ++i)
        QCOMPARE(sender.lengths[i], 4); // "[11]"
}

void TestPlugInFaults::keepsLists()
{
    Box box;
    box.serializer.keepsLists = true;
    box.append(2, EventPriority::Medium);
    box.append(3, EventPriority::Low);
    box.append(4, EventPriority::High);
    box.append(5, EventPriority::Medium);
    QCOMPARE(box.serializer.kept, (QList<QList<QByteArray>>{{"1", "2"}, {"4"}, {"3", "5"}}));
    QCOMPARE(box.sender.sent, QByteArray("[1,2] [4]! [3,5]"));
}

void TestPlugInFaults::answersDifferentlyTheSecondTime()
{
    struct FickleProvider : IPropertyProvider
    {
        QVariant value(Property property, AnalyticsEventData const &) const override
        {
            if (property != Property::Query)
                return {};
            return answers.at(asked++);
        }

        QVariantList answers;
        mutable int asked = 0;
    };

    // Asked once as the caller's own property and once as the event's.
    auto const eventOf = [](QVariant const &first, QVariant const &second) {
        FickleProvider provider;
        provider.answers = {first, second};
        AnalyticsEventData data;
        data.type = EventType::SearchResult;
        return JsonEventSerializer().serialize(&provider, data, {Property::Query});
    };
    QCOMPARE(eventOf(1, 2), QByteArray(R"({"query":2})"));
    QCOMPARE(eventOf(1, QStringLiteral("x")), QByteArray(R"({"query":"x"})"));
    QCOMPARE(eventOf(1, QVariant()), QByteArray(R"({"query":1})"));
    QCOMPARE(eventOf(1, QString()), QByteArray(R"({"query":1})"));
    QCOMPARE(eventOf(QVariant(), 2), QByteArray(R"({"query":2})"));
}

void TestPlugInFaults::hugeList()
{
    constexpr int count = 1000000;
    QByteArray const json = encoded(QVariant(QVariantList(count, QVariant(7))));
    QCOMPARE(json.size(), 2000001);
    QCOMPARE(json.left(5), QByteArray("[7,7,"));
    QCOMPARE(json.right(4), QByteArray("7,7]"));
    QCOMPARE(json.count('7'), count);
}

void TestPlugInFaults::hugeString()
{
    // 64 MB of UTF-16.
    constexpr qsizetype length = 32 << 20;
    QString value(length, QLatin1Char('x'));
    value.back() = QLatin1Char('"');
    QByteArray const json = encoded(value);
    QCOMPARE(json.size(), length + 3);
    QCOMPARE(json.count('x'), length - 1);
    QCOMPARE(json.right(4), QByteArray("x\\\"\""));
}

void TestPlugInFaults::deepList()
{
    QByteArray json;
    runOnStack(stackFor10000Levels, [&json] {
        QVariant value = nestedList(10000);
        json = encoded(value);
        unnest(std::move(value));
    });
    QCOMPARE(json, QByteArray(10000, '[') + "1" + QByteArray(10000, ']'));
}

QTEST_GUILESS_MAIN(TestPlugInFaults)
#include "tst_pluginfaults.moc"
