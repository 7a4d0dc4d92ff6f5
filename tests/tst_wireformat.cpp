#include "random/randomvalues.h"
#include "support.h"

#include <analytics/records.h>
#include <stbhost/properties.h>
#include <wireformat/doccomments.h>
#include <wireformat/faults.h>
#include <wireformat/model.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaEnum>
#include <QtTest/QTest>

using namespace analytics;
using wireformat::model;

namespace {

QByteArray readData(char const *name)
{
    QFile file(QStringLiteral(WIREFORMAT_DATA "/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", name, qPrintable(file.errorString()));
    return file.readAll();
}

QByteArrayList linesOf(char const *name)
{
    QByteArrayList lines = readData(name).split('\n');
    if (!lines.takeLast().isEmpty())
        qFatal("%s: no newline at its end", name);
    return lines;
}

QJsonValue parsed(QByteArray const &json)
{
    QJsonParseError error;
    QJsonArray const array = QJsonDocument::fromJson('[' + json + ']', &error).array();
    if (array.size() != 1)
        qFatal("%s: %s", qPrintable(error.errorString()), json.constData());
    return array.first();
}

QStringList faultsOf(QJsonValue const &package)
{
    wireformat::PackageVerdict const verdict = wireformat::checkPackage(package);
    QStringList faults = verdict.faults;
    for (wireformat::EventVerdict const &event : verdict.events)
        faults += event.faults;
    return faults;
}

/// A record of each kind by chance, as the library writes it: the model knows it all.
template <typename... Records> QStringList faultsOfRandomRecords(Random &random)
{
    QStringList faults;
    auto const collect = [&](char const *name, QByteArray const &json) {
        QString const record = QString::fromLatin1(name).section(QStringLiteral("::"), 1);
        if (!model().records.contains(record))
            faults.append(record + QStringLiteral(": no such record"));
        else if (!json.isEmpty())
            faults += wireformat::checkValue(parsed(json), model().records.value(record), record);
    };
    (collect(QMetaType::fromType<Records>().name(), encoded(QVariant::fromValue(randomRecord<Records>(random)))), ...);
    return faults;
}

} // namespace

class WireFormatTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics=false")); }
    void names();
    void golden_data();
    void golden();
    void broken_data();
    void broken();
    void randomRecords();
    void hostAgrees_data();
    void hostAgrees();
    void docComments();
};

void WireFormatTest::names()
{
    QCOMPARE(model().properties.size(), 139);
    QCOMPARE(model().properties.value(Property::B2bType).name, QStringLiteral("B2bType"));
    QCOMPARE(model().properties.value(Property::B2bType).key, QStringLiteral("btb_type"));
    QCOMPARE(model().generic,
             (QList<Property>{Property::EventId, Property::EventVersion, Property::EventCounter, Property::Timestamp,
                              Property::MacAddress, Property::Uid}));
    QCOMPARE(model().events.size(), 42);
    QCOMPARE(model().events.first().type, QStringLiteral("Discover"));
    QCOMPARE(model().events.last().name, QStringLiteral("kivo_status"));
    QCOMPARE(QStringList(model().records.keys()).join(QLatin1Char(' ')),
             QStringLiteral("BufferingInfo Channel CpuInfo DashInfo DecoderInfo DhcpOption Endpoints Etr290Info "
                            "HardwareInfo HdmiInfo HlsInfo HttpError MdiInfo MediaInfo MediaItem MemoryInfo "
                            "MemoryModule MessageTarget NcError NetworkInfo NetworkInterface PowerInfo "
                            "PurchaseVariant Scte35 SystemSettings VerimatrixError VmxErrors WifiInfo"));
}

/// The golden packages are literal: one for each type of event, with all of its fields and members.
void WireFormatTest::golden_data()
{
    QTest::addColumn<EventType>("type");
    QTest::addColumn<QByteArray>("package");

    QByteArrayList const packages = linesOf("golden.jsonl");
    QCOMPARE(packages.size(), 42);
    for (int i = 0; i < 42; ++i)
        QTest::newRow(qPrintable(model().events.at(i).name)) << static_cast<EventType>(i + 1) << packages.at(i);
}

void WireFormatTest::golden()
{
    QFETCH(EventType, type);
    QFETCH(QByteArray, package);

    QHash<Property, QVariant> values;
    QJsonObject const json = parsed(readData("values.json")).toObject();
    QCOMPARE(json.size(), 139);
    for (auto it = json.begin(); it != json.end(); ++it) {
        int const property = QMetaEnum::fromType<Property>().keyToValue(it.key().toLatin1());
        QVERIFY2(property >= 0, qPrintable(it.key()));
        QVariant &value = values[static_cast<Property>(property)];
        QCOMPARE(stbhost::readProperty(static_cast<Property>(property), it.value(), value), QString());
    }

    MapProvider const provider(values);
    JsonEventSerializer const serializer;
    AnalyticsEventData event;
    event.type = type;
    QCOMPARE(serializer.pack({serializer.serialize(&provider, event, model().generic)}), package);

    wireformat::PackageVerdict const verdict = wireformat::checkPackage(parsed(package));
    QCOMPARE(verdict.faults + verdict.events.value(0).faults, QStringList());
    QVERIFY(verdict.events.value(0).types.contains(QString::fromLatin1(QTest::currentDataTag())));
}

void WireFormatTest::broken_data()
{
    QTest::addColumn<QJsonObject>("row");

    QByteArrayList const rows = linesOf("broken.jsonl");
    QVERIFY(rows.size() >= 40);
    for (QByteArray const &line : rows) {
        QJsonObject const row = parsed(line).toObject();
        QTest::newRow(qPrintable(row.value(QLatin1String("name")).toString())) << row;
    }
}

void WireFormatTest::broken()
{
    QFETCH(QJsonObject, row);

    QStringList faults;
    for (QJsonValue const fault : row.value(QLatin1String("faults")).toArray())
        faults.append(fault.toString());
    QVERIFY(!faults.isEmpty());
    QCOMPARE(faultsOf(row.value(QLatin1String("broken"))), faults);
    QCOMPARE(faultsOf(row.value(QLatin1String("mended"))), QStringList());
}

void WireFormatTest::randomRecords()
{
    Random random(1);
    for (int i = 0; i < 100; ++i) {
        QStringList const faults
            = faultsOfRandomRecords<Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule,
                                    Endpoints, CpuInfo, MemoryInfo, HdmiInfo, PowerInfo, HardwareInfo, WifiInfo,
                                    MdiInfo, Etr290Info, DecoderInfo, DashInfo, HlsInfo, BufferingInfo, MediaInfo,
                                    NcError, HttpError, SystemSettings, Scte35, VerimatrixError, VmxErrors,
                                    MessageTarget>(random);
        QCOMPARE(faults, QStringList());
    }
}

void WireFormatTest::hostAgrees_data()
{
    QTest::addColumn<Property>("property");

    for (auto it = model().properties.begin(); it != model().properties.end(); ++it)
        QTest::newRow(qPrintable(it->name)) << it.key();
}

/// What the reference host reads for a property is what the model has for it.
void WireFormatTest::hostAgrees()
{
    QFETCH(Property, property);

    for (QByteArray const json : {R"("x")", "true", "7", "1.5", R"(["x"])", R"({"x":1})", "null", R"("live")",
                                  R"("rw")", R"("user")", R"("VEX")"}) {
        QVariant value;
        bool const isRead = stbhost::readProperty(property, parsed(json), value).isEmpty();
        QStringList const faults = wireformat::checkValue(parsed(json), wireformat::valueOf(property), QString());
        QVERIFY2(isRead == faults.isEmpty(), (json + ' ' + faults.join(QLatin1Char(' ')).toUtf8()).constData());
    }
    QJsonValue const value = parsed(readData("values.json")).toObject().value(QLatin1String(QTest::currentDataTag()));
    QVERIFY(!value.isUndefined());
    QVariant read;
    QCOMPARE(stbhost::readProperty(property, value, read), QString());
    QCOMPARE(wireformat::checkValue(parsed(encoded(read)), wireformat::valueOf(property), QString()), QStringList());
}

void WireFormatTest::docComments()
{
    wireformat::DocComments comments;
    QCOMPARE(comments.read(QStringLiteral(WIREFORMAT_SOURCES "/analytics/records.h")), QString());
    QCOMPARE(comments.of(QStringLiteral("MdiInfo")), QStringLiteral("Media delivery index (RFC 4445)."));
    QCOMPARE(comments.of(QStringLiteral("MdiInfo"), QStringLiteral("df")),
             QStringLiteral("Delay factor, in milliseconds."));
    QCOMPARE(comments.of(QStringLiteral("VerimatrixError"), QStringLiteral("errorCode")),
             QStringLiteral("Its error code."));
    QCOMPARE(comments.missing(), QStringList());
    QCOMPARE(comments.of(QStringLiteral("MdiInfo"), QStringLiteral("jitter")), QString());
    QCOMPARE(comments.missing(), QStringList{QStringLiteral("MdiInfo::jitter")});

    QCOMPARE(comments.read(QStringLiteral("no-such.h")), QStringLiteral("no-such.h: No such file or directory"));
}

QTEST_GUILESS_MAIN(WireFormatTest)
#include "tst_wireformat.moc"
