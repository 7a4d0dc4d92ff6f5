#include "counts.h"
#include "random/randomvalues.h"
#include "support.h"

#include <analytics/records.h>
#include <stbhost/properties.h>
#include <wireformat/doccomments.h>
#include <wireformat/faults.h>
#include <wireformat/model.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaEnum>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace analytics;
using wireformat::model;

namespace {

QByteArray readFile(QString const &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qPrintable(name), qPrintable(file.errorString()));
    return file.readAll();
}

QByteArray readData(char const *name)
{
    return readFile(QStringLiteral(WIREFORMAT_DATA "/") + QLatin1String(name));
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

/// How the program that writes the format ended.
struct Result
{
    int status = -1;
    QByteArray errors;
};

Result run(QStringList const &arguments)
{
    // WIREFORMAT is a command, not a path: a program for another processor is run by an emulator.
    QStringList command;
    for (char const *word : {WIREFORMAT})
        command.append(QString::fromUtf8(word));

    QProcess process;
    process.start(command.first(), command.mid(1) + arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardError()};
}

/// A source tree with the files that the program reads, and a folder for those that it writes.
struct Trees
{
    Trees()
    {
        for (char const *name : {"analytics/enums.h", "analytics/records.h", "tools/wireformat/introduction.md"})
            put(name, readFile(QStringLiteral(WIREFORMAT_SOURCES "/") + QLatin1String(name)));
    }

    void put(char const *name, QByteArray const &contents) const
    {
        QString const path = sources.filePath(QLatin1String(name));
        QVERIFY(QDir().mkpath(path.section(QLatin1Char('/'), 0, -2)));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }

    QByteArray get(char const *name) const { return readFile(sources.filePath(QLatin1String(name))); }

    Result write() const { return run({sources.path(), folder.path()}); }

    QTemporaryDir sources;
    QTemporaryDir folder;
};

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
    void program();
    void usage_data();
    void usage();
    void missingComments();
    void missingSources_data();
    void missingSources();
    void folderThatTakesNothing();
};

void WireFormatTest::names()
{
    QCOMPARE(model().properties.size(), propertyCount);
    QCOMPARE(model().properties.value(Property::B2bType).name, QStringLiteral("B2bType"));
    QCOMPARE(model().properties.value(Property::B2bType).key, QStringLiteral("btb_type"));
    QCOMPARE(model().generic,
             (QList<Property>{Property::EventId, Property::EventVersion, Property::EventCounter, Property::Timestamp,
                              Property::MacAddress, Property::Uid}));
    QCOMPARE(model().events.size(), eventTypeCount);
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
    QVERIFY2(packages.size() == eventTypeCount, "golden.jsonl: a line for each type of event, in their order");
    for (int i = 0; i < eventTypeCount; ++i)
        QTest::newRow(qPrintable(model().events.at(i).name)) << static_cast<EventType>(i + 1) << packages.at(i);
}

void WireFormatTest::golden()
{
    QFETCH(EventType, type);
    QFETCH(QByteArray, package);

    QHash<Property, QVariant> values;
    QJsonObject const json = parsed(readData("values.json")).toObject();
    QVERIFY2(json.size() == propertyCount, "values.json: a value for each property");
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
             QStringLiteral("The client's error code."));
    QCOMPARE(comments.missing(), QStringList());
    QCOMPARE(comments.of(QStringLiteral("MdiInfo"), QStringLiteral("jitter")), QString());
    QCOMPARE(comments.missing(), QStringList{QStringLiteral("MdiInfo::jitter")});

    QCOMPARE(comments.read(QStringLiteral("no-such.h")), QStringLiteral("no-such.h: No such file or directory"));
}

/// The repository's document and schema are what the program writes.
void WireFormatTest::program()
{
    Trees const trees;
    Result const result = trees.write();
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.status, 0);
    for (char const *name : {"docs/receiver/wire-format.md", "schema/stbanalytics-events.schema.json"}) {
        QByteArrayList const expected
            = readFile(QStringLiteral(WIREFORMAT_SOURCES "/") + QLatin1String(name)).split('\n');
        QByteArrayList const written = readFile(trees.folder.filePath(QLatin1String(name))).split('\n');
        for (qsizetype i = 0; i < expected.size(); ++i)
            QCOMPARE(written.value(i), expected.at(i));
        QCOMPARE(written.size(), expected.size());
    }
}

void WireFormatTest::usage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("one") << QStringList{QStringLiteral("a")};
    QTest::newRow("three") << QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
}

void WireFormatTest::usage()
{
    QFETCH(QStringList, arguments);

    Result const result = run(arguments);
    QVERIFY2(result.errors.startsWith("usage: stbanalytics-wireformat SOURCES FOLDER\n"), result.errors.constData());
    QCOMPARE(result.status, 2);
}

/// A comment that is missing is an error: the document and the schema would lack a meaning.
void WireFormatTest::missingComments()
{
    Trees const trees;
    QByteArray enums = trees.get("analytics/enums.h");
    trees.put("analytics/enums.h", enums.replace("    San, ///< ", "    San, // "));
    QByteArray records = trees.get("analytics/records.h");
    records.replace("/// Media delivery index (RFC 4445).\n", "");
    trees.put("analytics/records.h", records.replace("QString duplex; ///< ", "QString duplex; // "));

    Result const result = trees.write();
    QCOMPARE(result.errors,
             QByteArray("stbanalytics-wireformat: no doc comment for Property::San, MdiInfo, NetworkInfo::duplex\n"));
    QCOMPARE(result.status, 1);
    QCOMPARE(QDir(trees.folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

void WireFormatTest::missingSources_data()
{
    QTest::addColumn<QString>("name");
    for (char const *name : {"analytics/enums.h", "analytics/records.h", "tools/wireformat/introduction.md"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void WireFormatTest::missingSources()
{
    QFETCH(QString, name);

    Trees const trees;
    QString const path = trees.sources.filePath(name);
    QVERIFY(QFile::remove(path));
    Result const result = trees.write();
    QCOMPARE(QString::fromLocal8Bit(result.errors),
             QStringLiteral("stbanalytics-wireformat: %1: No such file or directory\n").arg(path));
    QCOMPARE(result.status, 1);
}

void WireFormatTest::folderThatTakesNothing()
{
    Trees const trees;
    QString const path = trees.folder.filePath(QStringLiteral("docs"));
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    Result const result = trees.write();
    QVERIFY2(result.errors.startsWith("stbanalytics-wireformat: " + path.toLocal8Bit() + "/receiver/wire-format.md: "),
             result.errors.constData());
    QCOMPARE(result.status, 1);
}

QTEST_GUILESS_MAIN(WireFormatTest)
#include "tst_wireformat.moc"
