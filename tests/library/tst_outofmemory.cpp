#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>

#include <QtTest/QtTest>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <new>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

/**
 * @file
 * @brief Memory that runs out: each allocation of an event and of a flush fails once, in a process of its own.
 *
 * Qt's containers call malloc, not operator new: it is malloc itself that fails here, for Qt as for the library.
 */

// Allocations

extern "C" {
#ifdef __SANITIZE_ADDRESS__ // Its own heap stands in malloc's place, and frees only what it has given out.
void *__interceptor_malloc(std::size_t size);
void *__interceptor_calloc(std::size_t count, std::size_t size);
void *__interceptor_realloc(void *memory, std::size_t size);
void __interceptor_free(void *memory);
#define UNDERLYING(function) __interceptor_##function
#define UNCHECKED __attribute__((no_sanitize("address"))) // It allocates before it is ready to check anything.
#else
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void __libc_free(void *memory);
#define UNDERLYING(function) __libc_##function
#define UNCHECKED
#endif
}

namespace {

int allocationsToFailure = 0; ///< The one that fails, counted from now on; 0 for none.
bool failsFromThenOn = false; ///< Whether all that follow fail too.
bool hasFailed = false;
int blocksInUse = 0;

UNCHECKED bool fails()
{
    if (allocationsToFailure == 0 || --allocationsToFailure > 0)
        return false;
    if (failsFromThenOn)
        allocationsToFailure = 1;
    hasFailed = true;
    return true;
}

/// Counts a block that has been given out; QtTest's own thread allocates too.
UNCHECKED void *counted(void *memory)
{
    if (memory)
        __atomic_fetch_add(&blocksInUse, 1, __ATOMIC_RELAXED);
    return memory;
}

} // namespace

extern "C" UNCHECKED void *malloc(std::size_t size) noexcept
{
    return fails() ? nullptr : counted(UNDERLYING(malloc)(size));
}

extern "C" UNCHECKED void *calloc(std::size_t count, std::size_t size) noexcept
{
    return fails() ? nullptr : counted(UNDERLYING(calloc)(count, size));
}

extern "C" UNCHECKED void *realloc(void *memory, std::size_t size) noexcept
{
    if (fails())
        return nullptr;
    void *const moved = UNDERLYING(realloc)(memory, size);
    return memory ? moved : counted(moved);
}

extern "C" UNCHECKED void free(void *memory) noexcept
{
    if (memory)
        __atomic_fetch_sub(&blocksInUse, 1, __ATOMIC_RELAXED);
    UNDERLYING(free)(memory);
}

#ifdef __SANITIZE_ADDRESS__ // Its operator new does not call malloc; the usual one does.
void *operator new(std::size_t size)
{
    if (void *const memory = malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    free(memory);
}
#endif

// The box

using namespace analytics;

namespace {

/// A type of the host's own that converts to a record.
struct Native
{
};

/// Values of all kinds. They have been made before: a host's own troubles are its own.
class Provider : public IPropertyProvider
{
public:
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        return property == Property::EventCounter ? data.tag : values.value(property);
    }

    QHash<Property, QVariant> values = {
        {Property::EventId, QStringLiteral("id")},
        {Property::Channel, QVariant::fromValue(Channel{7, {}})},
        {Property::CurLocation, QVariantList{QStringLiteral("c"), QVariant::fromValue(MediaItem{5, {}})}},
        {Property::CurSubLocation, QVariant::fromValue(Native())},
        {Property::MediaInfo, QVariant::fromValue(MediaInfo{{}, {}, {}, {}, {}, {}, 23.976f})},
        // Longer than the room that there is without asking for memory
        {Property::PlaybackUrl, QString(5000, QLatin1Char('u'))},
        {Property::SubLocation, QStringList{QStringLiteral("a"), QStringLiteral("b")}},
        {Property::VmxErrors, QVariant::fromValue(VmxErrors{1, {{QStringLiteral("decrypt"), 2, {}, {}, {}}}})},
    };
};

QString text(char const *utf8)
{
    return QString::fromUtf8(utf8);
}

/// What an event with this counter is on the wire.
QByteArray wire(int counter)
{
    return R"({"channel":{"channel_id":7},"cur_location":["c",{"media_item_id":5}],)"
           R"("cur_sub_location":{"api_url":"native"},"event_counter":)"
        + QByteArray::number(counter)
        + R"(,"event_id":"id","media_info":{"video_frame_rate":23.97599983215332},"playback_url":")"
        + QByteArray(5000, 'u')
        + R"(","sub_location":["a","b"],"vmx_errors":{"total_error_count":1,)"
          R"("vmx_cas_errors":[{"command":"decrypt","error_code":2}]}})";
}

/// Has its events ready, and keeps the list that it has packed last.
class ReadySerializer : public JsonEventSerializer
{
public:
    QByteArray serialize(IPropertyProvider const *, AnalyticsEventData const &data,
                         QList<Property> const &) const override
    {
        return m_events[data.tag];
    }

    QByteArray pack(QList<QByteArray> const &list) const override
    {
        m_kept = list;
        return JsonEventSerializer::pack(list);
    }

private:
    QByteArrayList m_events = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "14"};
    mutable QList<QByteArray> m_kept;
};

/// Keeps what it is given, without an allocation of its own.
class Sender : public IPackageSender
{
public:
    void send(QByteArray const &package, bool) override
    {
        packages[count++] = package;
        if (auto const action = std::exchange(inSend, nullptr))
            action();
    }

    QByteArray packages[4];
    int count = 0;
    std::function<void()> inSend; ///< What it does the next time.
};

struct Box
{
    explicit Box(IEventSerializer &serializer)
    {
        manager.setPropertyProvider(&provider);
        manager.setEventSerializer(&serializer);
        manager.setPackageSender(&sender);
        manager.setEnabled(true);
    }

    void append(int tag, EventPriority priority) { manager.appendEvent(EventType::SqmMetrics, tag, {}, {}, priority); }

    Provider provider;
    Sender sender;
    AnalyticsManager manager;
};

// Memory that runs out

struct Shortage
{
    int allocation; ///< The one that fails; 0 for none.
    bool lasts; ///< Whether all that follow fail too.
};

/// Whether a call comes through while memory is short; otherwise it has thrown what tells so.
template <typename Function> bool comesThrough(Shortage shortage, Function function)
{
    hasFailed = false;
    failsFromThenOn = shortage.lasts;
    allocationsToFailure = shortage.allocation;
    bool isThrough = true;
    try {
        function();
    } catch (std::bad_alloc const &) {
        isThrough = false;
    }
    allocationsToFailure = 0;
    return isThrough;
}

enum Outcome { NothingFailed, AllIsRight, SomethingIsWrong, WrongAnyway };

Outcome outcomeOf(bool isRight)
{
    if (hasFailed)
        return isRight ? AllIsRight : SomethingIsWrong;
    return isRight ? NothingFailed : WrongAnyway;
}

using Packages = QList<QByteArrayList>; ///< The events in each.

bool areSent(Sender const &sender, Packages const &expected)
{
    if (sender.count != expected.size())
        return false;
    for (int i = 0; i < sender.count; ++i) {
        if (sender.packages[i] != R"({"events":[)" + expected[i].join(',') + "]}")
            return false;
    }
    return true;
}

QByteArrayList numbers(int first, int last)
{
    QByteArrayList list;
    for (int number = first; number <= last; ++number)
        list.append(QByteArray::number(number));
    return list;
}

/// Lets the first allocation fail, then the second, until none does, each in a process of its own, which may end by it.
/// Returns those after which something was wrong: 0 where it is so without any failure.
template <typename Function> QList<int> wrongAllocations(bool lasts, Function run)
{
    QList<int> list;
    for (Shortage shortage{1, lasts};; ++shortage.allocation) {
        pid_t const child = fork();
        if (child == 0) {
            for (int number : {SIGABRT, SIGSEGV, SIGBUS, SIGILL}) // QtTest would begin to tell of them at length.
                signal(number, SIG_DFL);
            _exit(run(shortage));
        }
        int status = -1;
        if (child < 0 || waitpid(child, &status, 0) != child)
            qFatal("no process to run out of memory in");
        int const outcome = WIFEXITED(status) ? WEXITSTATUS(status) : SomethingIsWrong;
        if (outcome == NothingFailed)
            return list;
        if (outcome == WrongAnyway)
            return {0};
        if (outcome != AllIsRight)
            list.append(shortage.allocation);
    }
}

} // namespace

class TestOutOfMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void firstManager();
    void oneEvent_data();
    void oneEvent();
    void plainForm_data() { oneEvent_data(); }
    void plainForm();
    void buffer_data() { oneEvent_data(); }
    void buffer();
    void insideFlush();
    void manager();
};

void TestOutOfMemory::initTestCase()
{
    qInstallMessageHandler([](QtMsgType type, QMessageLogContext const &, QString const &text) {
        if (type != QtDebugMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QVERIFY((QMetaType::registerConverter<Native, Endpoints>([](Native) {
        Endpoints endpoints;
        endpoints.apiUrl = QString::fromUtf8("native");
        return endpoints;
    })));
}

/// Stands first: the first manager makes a list that stays, which is one block. Another one follows the one that fails.
void TestOutOfMemory::firstManager()
{
    QCOMPARE(wrongAllocations(false,
                              [](Shortage shortage) {
                                  int const blocksBefore = blocksInUse;
                                  comesThrough(shortage, [] { AnalyticsManager const manager; });
                                  AnalyticsManager();
                                  return outcomeOf(blocksInUse == blocksBefore + 1);
                              }),
             QList<int>());
}

void TestOutOfMemory::oneEvent_data()
{
    QTest::addColumn<EventPriority>("priority");
    QTest::addColumn<bool>("lasts");

    QTest::newRow("Low") << EventPriority::Low << false;
    QTest::newRow("Medium") << EventPriority::Medium << false;
    QTest::newRow("High") << EventPriority::High << false;
    QTest::newRow("Low, for good") << EventPriority::Low << true;
    QTest::newRow("Medium, for good") << EventPriority::Medium << true;
    QTest::newRow("High, for good") << EventPriority::High << true;
}

/// Appends an event behind some that wait, during a shortage, and then one that flushes.
template <typename Events>
Outcome append(Box &box, int waiting, EventPriority priority, Shortage shortage, Events events)
{
    for (int number = 1; number <= waiting; ++number)
        box.append(number, EventPriority::Low);
    int const number = waiting + 1;
    bool const isThrough = comesThrough(shortage, [&] { box.append(number, priority); });
    box.append(number + 1, EventPriority::Medium);

    Packages const without = {events(1, waiting) + events(number + 1, number + 1)};
    Packages const with = {events(1, number + 1)};
    Packages const apart = {events(1, number), events(number + 1, number + 1)};
    Packages const alone = {events(number, number), without[0]};
    switch (priority) {
    case EventPriority::Low:
        return outcomeOf(areSent(box.sender, isThrough ? with : without));
    case EventPriority::Medium: // It waits like the others where only the flush has failed.
        return outcomeOf(isThrough ? areSent(box.sender, apart)
                                   : areSent(box.sender, with) || areSent(box.sender, without));
    case EventPriority::High:
        return outcomeOf(areSent(box.sender, isThrough ? alone : without));
    }
    return SomethingIsWrong;
}

void TestOutOfMemory::oneEvent()
{
    QFETCH(EventPriority, priority);
    QFETCH(bool, lasts);

    auto const run = [priority](Shortage shortage) {
        int const blocksBefore = blocksInUse;
        Outcome outcome;
        {
            JsonEventSerializer serializer;
            Box box(serializer);
            outcome = append(box, 2, priority, shortage, [](int first, int last) {
                QByteArrayList events;
                for (int number = first; number <= last; ++number)
                    events.append(wire(number));
                return events;
            });
        }
        return blocksInUse == blocksBefore ? outcome : outcomeOf(false);
    };
    run({0, false}); // Qt makes some things once, and keeps them.
    QCOMPARE(wrongAllocations(lasts, run), QList<int>());
}

/// A value that is left to Qt's own JSON classes; these lose some memory when they cannot get more.
void TestOutOfMemory::plainForm()
{
    QFETCH(EventPriority, priority);
    QFETCH(bool, lasts);

    auto const run = [priority](Shortage shortage) {
        JsonEventSerializer serializer;
        Box box(serializer);
        box.provider.values = {{Property::Location, QVariantMap{{text("city"), text("Riga")}, {text("zone"), 3.5f}}}};
        return append(box, 0, priority, shortage, [](int first, int last) {
            QByteArrayList events;
            for (int number = first; number <= last; ++number)
                events.append(R"({"event_counter":)" + QByteArray::number(number)
                              + R"(,"location":{"city":"Riga","zone":3.5}})");
            return events;
        });
    };
    QCOMPARE(wrongAllocations(lasts, run), QList<int>());
}

/// However many wait, so also where their list grows; and where the serializer keeps the list that it packs.
void TestOutOfMemory::buffer()
{
    QFETCH(EventPriority, priority);
    QFETCH(bool, lasts);

    for (int waiting = 0; waiting <= 12; ++waiting) {
        auto const run = [priority, waiting](Shortage shortage) {
            int const blocksBefore = blocksInUse;
            Outcome outcome;
            {
                ReadySerializer serializer;
                Box box(serializer);
                outcome = append(box, waiting, priority, shortage, numbers);
            }
            return blocksInUse == blocksBefore ? outcome : outcomeOf(false);
        };
        QCOMPARE(wrongAllocations(lasts, run), QList<int>());
    }
}

/// An event from inside the sender's call flushes too, while what is being sent still waits.
void TestOutOfMemory::insideFlush()
{
    auto const run = [](Shortage shortage) {
        ReadySerializer serializer;
        Box box(serializer);
        bool isThrough = false;
        box.sender.inSend = [&] { isThrough = comesThrough(shortage, [&] { box.append(2, EventPriority::Medium); }); };
        box.append(1, EventPriority::Medium);
        box.append(3, EventPriority::Medium);
        return outcomeOf(isThrough ? areSent(box.sender, {{"1"}, {"2"}, {"3"}})
                                   : areSent(box.sender, {{"1"}, {"2", "3"}}) || areSent(box.sender, {{"1"}, {"3"}}));
    };
    QCOMPARE(wrongAllocations(false, run), QList<int>());
}

/// A manager that there is no memory for leaves nothing behind.
void TestOutOfMemory::manager()
{
    auto const run = [](Shortage shortage) {
        int const blocksBefore = blocksInUse;
        comesThrough(shortage, [] { AnalyticsManager const manager; });
        return outcomeOf(blocksInUse == blocksBefore);
    };
    run({0, false});
    QCOMPARE(wrongAllocations(false, run), QList<int>());
}

QTEST_GUILESS_MAIN(TestOutOfMemory)
#include "tst_outofmemory.moc"
