#include <QtCore/QLoggingCategory>
#include <QtCore/QVariant>
#include <QtTest/QtTest>

#include <dlfcn.h>
#include <malloc.h>

/**
 * @file
 * @brief The library and a plug-in are loaded, used and unloaded. This program links neither.
 */

namespace {

/// A library for as long as it is in use here.
class Library
{
public:
    explicit Library(char const *path, int mode = RTLD_NOW | RTLD_LOCAL)
        : m_handle(dlopen(path, mode))
    {
        if (!m_handle)
            qFatal("cannot load it: %s", dlerror());
    }

    ~Library() { dlclose(m_handle); }
    Q_DISABLE_COPY_MOVE(Library)

    template <typename... Arguments> void call(char const *function, Arguments... arguments) const
    {
        void *const address = dlsym(m_handle, function);
        if (!address)
            qFatal("not in the library: %s", function);
        reinterpret_cast<void (*)(Arguments...)>(address)(arguments...);
    }

private:
    void *m_handle;
};

bool isLoaded(char const *path)
{
    void *const handle = dlopen(path, RTLD_NOLOAD | RTLD_LAZY);
    if (handle)
        dlclose(handle);
    return handle;
}

/// The package of an event with a value, from a host in a library.
QByteArray packageWith(QVariant const &value, Library const &host)
{
    QByteArray package;
    host.call<QVariant const &, QByteArray &>("packageWith", value, package);
    return package;
}

qint64 allocatedBytes()
{
    struct mallinfo2 const heap = mallinfo2();
    return qint64(heap.uordblks) + qint64(heap.hblkhd);
}

} // namespace

class TestLoading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void manyTimes_data();
    void manyTimes();
    void plugin();
};

void TestLoading::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics=false"));
    QVERIFY(!isLoaded(STBANALYTICS));
}

void TestLoading::manyTimes_data()
{
    QTest::addColumn<int>("mode");

    QTest::newRow("now, local") << (RTLD_NOW | RTLD_LOCAL);
    QTest::newRow("now, global") << (RTLD_NOW | RTLD_GLOBAL);
    QTest::newRow("lazily, local") << (RTLD_LAZY | RTLD_LOCAL);
    QTest::newRow("lazily, global") << (RTLD_LAZY | RTLD_GLOBAL);
}

void TestLoading::manyTimes()
{
    QFETCH(int, mode);

    qint64 early = 0;
    for (int round = 1; round <= 100; ++round) {
        {
            Library const host(LOADING_HOST, mode);
            QCOMPARE(packageWith(round, host),
                     R"({"events":[{"channel":)" + QByteArray::number(round) + R"(,"event_counter":1}]})");
        }
        if (round == 10)
            early = allocatedBytes();
    }
    qint64 const growth = allocatedBytes() - early;
    QVERIFY2(growth <= qint64(90) * 512, qPrintable(QString::number(growth)));
    QVERIFY(!isLoaded(LOADING_HOST));
    QVERIFY(!isLoaded(STBANALYTICS));
}

/// A plug-in makes records known to Qt, and goes: then the host does so itself, in another order.
void TestLoading::plugin()
{
    Library const host(LOADING_HOST);
    for (int round = 1; round <= 3; ++round) {
        QVERIFY(!QMetaType::fromName("analytics::MemoryModule").isValid());
        {
            Library const plugin(LOADING_PLUGIN);
            plugin.call("begin");
            QVERIFY(QMetaType::fromName("analytics::MemoryModule").isValid());
            QVariant value;
            plugin.call<int, QVariant &>("makeValue", 512, value);
            QCOMPARE(packageWith(value, host),
                     QByteArray(R"({"events":[{"channel":{"mem_size":512},"event_counter":1}]})"));
        }
        QVERIFY(!isLoaded(LOADING_PLUGIN));
        QCOMPARE(packageWith(7, host), QByteArray(R"({"events":[{"channel":7,"event_counter":1}]})"));
    }

    QByteArray package;
    host.call<QByteArray &>("packageWithConversion", package);
    QCOMPARE(package, QByteArray(R"({"events":[{"channel":{"tv_name":"TV"},"event_counter":1}]})"));
    host.call<QByteArray &>("packageWithRecord", package);
    QCOMPARE(package, QByteArray(R"({"events":[{"channel":{"mem_size":256},"event_counter":1}]})"));
}

QTEST_GUILESS_MAIN(TestLoading)
#include "tst_loading.moc"
