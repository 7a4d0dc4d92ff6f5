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

QTEST_GUILESS_MAIN(TestLateConverters)
#include "tst_lateconverters.moc"
