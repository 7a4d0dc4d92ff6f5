#include "support.h"

#include <logging/logging.h>

#include <QtTest/QtTest>

using namespace analytics;

namespace {

struct Call
{
    int level;
    QByteArray category;
    QString message;
    int line;
    QByteArray file;
    QByteArray function;
};

QList<Call> calls;
QString written;
using SetUp = void (*)(QDebug &);
SetUp prepare = nullptr;

} // namespace

/// A host's own logging library, in place of the stand-in.
QDebug logging::toLog(int level, const char *category, const QString &message, int line, const char *file,
                      const char *function)
{
    calls.append({level, category, message, line, file, function});
    written.clear();
    QDebug stream(&written);
    if (prepare)
        prepare(stream);
    return stream;
}

Q_DECLARE_METATYPE(SetUp)

class TestHostLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void arguments();
    void stream_data();
    void stream();
};

void TestHostLogging::arguments()
{
    calls.clear();
    prepare = nullptr;
    encoded(QStringLiteral("x"));
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls[0].level, 4);
    QCOMPARE(calls[0].category, QByteArray("stbanalytics"));
    QCOMPARE(calls[0].message, QString());
    QCOMPARE(calls[0].line, 0);
    QVERIFY(!calls[0].file.isNull() && calls[0].file.isEmpty());
    QVERIFY(!calls[0].function.isNull() && calls[0].function.isEmpty());
}

void TestHostLogging::stream_data()
{
    QTest::addColumn<SetUp>("setUp");
    QTest::addColumn<QString>("expected");

    // The host sets the stream up as it likes; the line's items go into it as single items.
    // clang-format off
    QTest::newRow("as made")  << SetUp([](QDebug &) { })                             << QStringLiteral("analytics event prepared: id = \"an \\\"id\\\"\" counter = 12 ");
    QTest::newRow("no quote") << SetUp([](QDebug &stream) { stream.noquote(); })     << QStringLiteral("analytics event prepared: id = an \"id\" counter = 12 ");
    QTest::newRow("no space") << SetUp([](QDebug &stream) { stream.nospace(); })     << QStringLiteral("analytics event prepared:id =\"an \\\"id\\\"\"counter =12");
    QTest::newRow("begun")    << SetUp([](QDebug &stream) { stream << "[host]"; })   << QStringLiteral("[host] analytics event prepared: id = \"an \\\"id\\\"\" counter = 12 ");
    QTest::newRow("hex")      << SetUp([](QDebug &stream) { stream << Qt::hex; })    << QStringLiteral("analytics event prepared: id = \"an \\\"id\\\"\" counter = c ");
    // clang-format on
}

void TestHostLogging::stream()
{
    QFETCH(SetUp, setUp);
    QFETCH(QString, expected);

    prepare = setUp;
    MapProvider const provider({{Property::EventId, QStringLiteral("an \"id\"")}, {Property::EventCounter, 12}});
    AnalyticsEventData data;
    data.type = EventType::SearchResult;
    JsonEventSerializer().serialize(&provider, data, {Property::EventId, Property::EventCounter});
    QCOMPARE(written, expected);
}

QTEST_GUILESS_MAIN(TestHostLogging)
#include "tst_hostlogging.moc"
