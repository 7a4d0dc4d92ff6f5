#include <analytics/analyticsmanager.h>
#include <analytics/ieventserializer.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>

#include <QtTest/QtTest>

#include <cstring>
#include <dlfcn.h>
#include <link.h>

using namespace analytics;

namespace {

/// The slot of a virtual member function, read from the form that the Itanium C++ ABI gives a pointer to it.
template <typename Function> std::ptrdiff_t slotOf(Function function)
{
    struct
    {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } parts;
    static_assert(sizeof(parts) == sizeof(function));
    std::memcpy(&parts, &function, sizeof(parts));
#if defined(__arm__) || defined(__aarch64__)
    // Here the mark of a virtual function is kept in the adjustment.
    return (parts.adjustment & 1) ? parts.pointer / std::ptrdiff_t(sizeof(void *)) : -1;
#else
    return (parts.pointer & 1) ? (parts.pointer - 1) / std::ptrdiff_t(sizeof(void *)) : -1;
#endif
}

/// How many slots the library's virtual table of a class has.
qsizetype slotCount(char const *tableSymbol)
{
    void *const table = dlsym(RTLD_DEFAULT, tableSymbol);
    Dl_info info;
    ElfW(Sym) *symbol = nullptr;
    if (!table || !dladdr1(table, &info, reinterpret_cast<void **>(&symbol), RTLD_DL_SYMENT) || !symbol)
        return -1;
    qsizetype const headerEntries = 2; // offset to top, type information
    return qsizetype(symbol->st_size / sizeof(void *)) - headerEntries;
}

int destroyed = 0;

/// Counts its own destruction, so that a destructor that is called through its slot can be told.
template <typename Base> class Counted : public Base
{
public:
    ~Counted() override { ++destroyed; }
};

class Provider : public IPropertyProvider
{
    QVariant value(Property, AnalyticsEventData const &) const override { return {}; }
};

class Serializer : public IEventSerializer
{
    QByteArray serialize(IPropertyProvider const *, AnalyticsEventData const &, QList<Property> const &) const override
    {
        return {};
    }
    QByteArray pack(QList<QByteArray> const &) const override { return {}; }
};

class Sender : public IPackageSender
{
    void send(QByteArray const &, bool) override { }
};

/// Calls the destructor in slot 0 on an object in memory of our own, and the deleting one in slot 1 on an object on
/// the heap; returns how many destructions they made.
template <typename Class> int destroyThroughSlots()
{
    using Destructor = void (*)(void *);
    destroyed = 0;

    alignas(Counted<Class>) unsigned char memory[sizeof(Counted<Class>)];
    void *const placed = new (memory) Counted<Class>;
    (*static_cast<Destructor **>(placed))[0](placed); // NOLINT(clang-analyzer-core.NullDereference): a table is there

    void *const onTheHeap = new Counted<Class>;
    (*static_cast<Destructor **>(onTheHeap))[1](onTheHeap);
    return destroyed;
}

} // namespace

class TestAbi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slotsOfTheInterfaces();
    void destructorsComeFirst();
    void tableSizes_data();
    void tableSizes();
    void eventData();
};

void TestAbi::slotsOfTheInterfaces()
{
    QCOMPARE(slotOf(&IPropertyProvider::value), 2);
    QCOMPARE(slotOf(&IEventSerializer::serialize), 2);
    QCOMPARE(slotOf(&IEventSerializer::pack), 3);
    QCOMPARE(slotOf(&IPackageSender::send), 2);
    QCOMPARE(slotOf(&JsonEventSerializer::serialize), 2);
    QCOMPARE(slotOf(&JsonEventSerializer::pack), 3);
}

void TestAbi::destructorsComeFirst()
{
    QCOMPARE(destroyThroughSlots<AnalyticsEventData>(), 2);
    QCOMPARE(destroyThroughSlots<Provider>(), 2);
    QCOMPARE(destroyThroughSlots<Serializer>(), 2);
    QCOMPARE(destroyThroughSlots<Sender>(), 2);
    QCOMPARE(destroyThroughSlots<JsonEventSerializer>(), 2);
}

void TestAbi::tableSizes_data()
{
    QTest::addColumn<QByteArray>("symbol");
    QTest::addColumn<int>("size");

    QTest::newRow("AnalyticsEventData") << QByteArray("_ZTVN9analytics18AnalyticsEventDataE") << 2;
    QTest::newRow("IPropertyProvider") << QByteArray("_ZTVN9analytics17IPropertyProviderE") << 3;
    QTest::newRow("IEventSerializer") << QByteArray("_ZTVN9analytics16IEventSerializerE") << 4;
    QTest::newRow("IPackageSender") << QByteArray("_ZTVN9analytics14IPackageSenderE") << 3;
    QTest::newRow("JsonEventSerializer") << QByteArray("_ZTVN9analytics19JsonEventSerializerE") << 4;
}

void TestAbi::tableSizes()
{
    QFETCH(QByteArray, symbol);
    QFETCH(int, size);
    QCOMPARE(slotCount(symbol.constData()), size);
}

void TestAbi::eventData()
{
    AnalyticsEventData const data;
    QCOMPARE(data.type, EventType::Invalid);
    QCOMPARE(data.time.count(), 0);
    QVERIFY(!data.value.isValid());
    QCOMPARE(data.tag, 0);

    auto const place = [&data](void const *field) {
        return static_cast<char const *>(field) - reinterpret_cast<char const *>(&data);
    };
    QCOMPARE(place(&data.type), std::ptrdiff_t(sizeof(void *)));
    QVERIFY(place(&data.type) < place(&data.time));
    QVERIFY(place(&data.time) < place(&data.value));
    QVERIFY(place(&data.value) < place(&data.tag));
    static_assert(std::is_same_v<decltype(data.time), std::chrono::milliseconds>);
    static_assert(std::is_same_v<decltype(data.tag), int>);
}

QTEST_GUILESS_MAIN(TestAbi)
#include "tst_abi.moc"
