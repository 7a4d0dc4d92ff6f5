#include "support.h"

#include <analytics/records.h>

#include <QtTest/QtTest>

using namespace analytics;

/// Record types that nobody has registered with Qt, until a converter does it. In a program of its own: once a type is
/// registered, it stays so.
class TestLateConverters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordToUnknownRecord();
    void customTypeToUnknownRecord();
    void recordUnderAFreedNumber();
    void recordUnderAnotherNumber();
    void recordThatIsNoticedLater_data();
    void recordThatIsNoticedLater();
    void recordAboveAFreedNumber();
};

void TestLateConverters::recordToUnknownRecord()
{
    MessageTarget target;
    target.title = QStringLiteral("News");
    QVariant const value = QVariant::fromValue(target);
    QVERIFY(!QMetaType::fromName("analytics::Endpoints").isValid());
    QCOMPARE(encoded(value), QByteArray(R"({"link":{},"title":"News"})"));

    QVERIFY((QMetaType::registerConverter<MessageTarget, Endpoints>([](MessageTarget const &from) {
        Endpoints endpoints;
        endpoints.apiUrl = from.title;
        return endpoints;
    })));
    QCOMPARE(encoded(value), QByteArray(R"({"api_url":"News"})"));

    QMetaType::unregisterConverterFunction(QMetaType::fromType<MessageTarget>(), QMetaType::fromType<Endpoints>());
    QCOMPARE(encoded(value), QByteArray(R"({"link":{},"title":"News"})"));
}

struct Custom
{
};

void TestLateConverters::customTypeToUnknownRecord()
{
    QVariant const value = QVariant::fromValue(Custom());
    QVERIFY(!QMetaType::fromName("analytics::HdmiInfo").isValid());
    QCOMPARE(encoded(value), QByteArray());

    QVERIFY((QMetaType::registerConverter<Custom, HdmiInfo>([](Custom) {
        HdmiInfo info;
        info.tvName = QStringLiteral("TV");
        return info;
    })));
    QCOMPARE(encoded(value), QByteArray(R"({"tv_name":"TV"})"));
}

template <int> struct Own
{
};

/// A record gets the number that a type of the host's had.
void TestLateConverters::recordUnderAFreedNumber()
{
    int const number = qRegisterMetaType<Own<0>>();
    qRegisterMetaType<Own<1>>();
    QVariant const value = QVariant::fromValue(Custom());
    QVERIFY(!QMetaType::fromName("analytics::MemoryInfo").isValid());
    QMetaType::unregisterConverterFunction(QMetaType::fromType<Custom>(), QMetaType::fromType<HdmiInfo>());
    QCOMPARE(encoded(value), QByteArray());

    QMetaType::unregisterMetaType(QMetaType::fromType<Own<0>>());
    QVERIFY((QMetaType::registerConverter<Custom, MemoryInfo>([](Custom) {
        MemoryInfo info;
        info.memTotal = 5;
        return info;
    })));
    QCOMPARE(QMetaType::fromType<MemoryInfo>().id(), number);
    QCOMPARE(encoded(value), QByteArray(R"({"mem_total":5})"));
}

/// A record that was known is registered again, after another type has got its number.
void TestLateConverters::recordUnderAnotherNumber()
{
    QVariant const value = QVariant::fromValue(MediaItem{1, 2});
    int const number = qRegisterMetaType<Channel>();
    QCOMPARE(encoded(value), QByteArray(R"({"asset_id":2,"media_item_id":1})"));

    QMetaType::unregisterMetaType(QMetaType::fromType<Channel>());
    QCOMPARE(qRegisterMetaType<Own<2>>(), number);
    QVERIFY((QMetaType::registerConverter<MediaItem, Channel>([](MediaItem const &item) {
        return Channel{item.mediaItemId, {}};
    })));
    QVERIFY(QMetaType::fromType<Channel>().id() != number);
    QCOMPARE(encoded(value), QByteArray(R"({"channel_id":1})"));

    QMetaType::unregisterConverterFunction(QMetaType::fromType<MediaItem>(), QMetaType::fromType<Channel>());
    QCOMPARE(encoded(value), QByteArray(R"({"asset_id":2,"media_item_id":1})"));
}

void TestLateConverters::recordThatIsNoticedLater_data()
{
    QTest::addColumn<bool>("isNewNumber");

    QTest::newRow("a type with a new number") << true;
    QTest::newRow("a value of the host's own type") << false;
}

/// A converter from one record to another one, whose number was given back since anybody looked.
void TestLateConverters::recordThatIsNoticedLater()
{
    QFETCH(bool, isNewNumber);

    QMetaType const freed = QMetaType::fromType<Own<3>>();
    QMetaType const from = QMetaType::fromType<VmxErrors>();
    QMetaType const to = QMetaType::fromType<PurchaseVariant>();
    QVariant const value = QVariant::fromValue(VmxErrors{3, {}});
    int const number = freed.id();
    QVERIFY(!QMetaType::fromName("analytics::PurchaseVariant").isValid());
    QCOMPARE(encoded(value), QByteArray(R"({"total_error_count":3})"));

    QMetaType::unregisterMetaType(freed);
    QVERIFY((QMetaType::registerConverter<VmxErrors, PurchaseVariant>([](VmxErrors const &errors) {
        PurchaseVariant variant;
        variant.priceId = errors.totalErrorCount;
        return variant;
    })));
    QCOMPARE(to.id(), number);
    if (isNewNumber)
        qRegisterMetaType<Own<5>>();
    else
        QCOMPARE(encoded(QVariant::fromValue(Own<4>())), QByteArray());
    QCOMPARE(encoded(value), QByteArray(R"({"price_id":3,"usage_model":""})"));

    QMetaType::unregisterConverterFunction(from, to);
    QMetaType::unregisterMetaType(to);
}

/// The type that took the lowest free number is gone again before anybody looks.
void TestLateConverters::recordAboveAFreedNumber()
{
    QMetaType const freed = QMetaType::fromType<Own<6>>();
    QMetaType const from = QMetaType::fromType<VmxErrors>();
    QMetaType const to = QMetaType::fromType<PowerInfo>();
    QVariant const value = QVariant::fromValue(VmxErrors{3, {}});
    QVERIFY(!QMetaType::fromName("analytics::PowerInfo").isValid());
    QCOMPARE(encoded(QVariant::fromValue(Own<4>())), QByteArray());

    int const number = freed.id();
    QVERIFY((QMetaType::registerConverter<VmxErrors, PowerInfo>([](VmxErrors const &) {
        PowerInfo info;
        info.powerState = QStringLiteral("on");
        return info;
    })));
    QVERIFY(to.id() > number);
    QMetaType::unregisterMetaType(freed);
    QCOMPARE(QMetaType::fromType<Own<7>>().id(), number);
    QCOMPARE(encoded(value), QByteArray(R"({"power_state":"on"})"));

    QMetaType::unregisterConverterFunction(from, to);
    QMetaType::unregisterMetaType(to);
}

QTEST_GUILESS_MAIN(TestLateConverters)
#include "tst_lateconverters.moc"
