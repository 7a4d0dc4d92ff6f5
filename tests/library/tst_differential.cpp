#include "counts.h"
#include "random/randomevents.h"
#include "random/randomvalues.h"
#include "reference/referenceserializer.h"
#include "support.h"

#include <analytics/jsoneventserializer.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QMetaEnum>
#include <QtCore/QRandomGenerator>
#include <QtCore/QRectF>
#include <QtCore/QScopeGuard>
#include <QtTest/QtTest>

#include <algorithm>
#include <map>
#include <vector>

/**
 * @file
 * @brief The library's encoder against the reference: events by chance, compared byte by byte, call by call.
 *
 * An event follows from the base seed and its number alone. Each run draws a base seed of its own and prints it.
 *
 * STBANALYTICS_DIFFERENTIAL_EVENTS makes a run longer, _SEED repeats one, _ONLY repeats a single event and shows its
 * bytes.
 */

using namespace analytics;

namespace {

constexpr char seedVariable[] = "STBANALYTICS_SEED";
constexpr char eventsVariable[] = "STBANALYTICS_DIFFERENTIAL_EVENTS";
constexpr char onlyVariable[] = "STBANALYTICS_DIFFERENTIAL_ONLY";

#ifdef QT_NO_DEBUG
constexpr qint64 defaultEvents = 200000;
#else
constexpr qint64 defaultEvents = 50000;
#endif

// Stages: which converters there are follows from an event's number too.

std::size_t convertersInUse = 0;

constexpr qint64 eventsPerStage = 500;
constexpr qint64 eventsPerRow = 4 * eventsPerStage; // QtTest ends a row after five minutes, on slow machines too.
constexpr int stageCount = 4;

void enterStageOf(qint64 event)
{
    qint64 const round = event / eventsPerStage / stageCount;
    auto const stage = event / eventsPerStage % stageCount;
    for (std::size_t i = 0; i < converters.size(); ++i) {
        bool const stays = (i + static_cast<std::size_t>(round)) % 2 == 0;
        setRegistered(converters[i],
                      i < convertersInUse && stage > (converters[i].isForRecords ? 1 : 0) && (stage < 3 || stays));
    }
}

qint64 numberFrom(char const *variable, qint64 otherwise)
{
    bool isNumber = false;
    qint64 const number = qEnvironmentVariable(variable).toLongLong(&isNumber);
    if (!isNumber && qEnvironmentVariableIsSet(variable))
        qFatal("%s is no number", variable);
    return isNumber ? number : otherwise;
}

bool isOwnOrRecord(QMetaType type)
{
    QByteArray const name = type.name();
    return name.startsWith("analytics::") || name.contains("Custom<");
}

/// By the names: comparing two types registers both.
bool isSame(QMetaType left, QMetaType right)
{
    return qstrcmp(left.name(), right.name()) == 0;
}

void takeBack(QMetaType type)
{
    for (Converter &converter : converters) {
        if (isSame(converter.from, type) || isSame(converter.to, type))
            setRegistered(converter, false);
    }
    QMetaType::unregisterMetaType(type);
}

/// A record, or a value of a type that Qt knows nothing of but by a converter.
QVariant randomRecordOrOwn(Random &random)
{
    auto const own = std::find_if(valueKinds.begin(), valueKinds.end(),
                                  [](ValueKind const &kind) { return QByteArray(kind.name) == "custom"; });
    RecordKind const &record = recordKinds[static_cast<std::size_t>(random.below(allRecordKinds))];
    return random.oneIn(2) ? own->make(random, 0) : record.make(random);
}

QByteArray encoded(QVariant const &value, IEventSerializer const &serializer)
{
    MapProvider const provider({{Property::Query, value}});
    AnalyticsEventData data;
    data.type = EventType::SearchResult;
    return serializer.serialize(&provider, data, {});
}

} // namespace

class DifferentialTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void libraryAlone();
    void comingAndGoing_data();
    void comingAndGoing();
    void events_data();
    void events();
    void whatCameUp();
    void packages();

private:
    quint64 seedOfEvent(qint64 number) const;
    void report(qint64 number, EventType type, QByteArray const &difference, QByteArray const &howToRepeat);

    qint64 m_baseSeed = 0;
    qint64 m_eventCount = 0;
    qint64 m_only = -1;
    int m_differences = 0;

    JsonEventSerializer m_library;
    ReferenceSerializer m_reference;

    // What came up
    std::map<EventType, qint64> m_typeCounts;
    qint64 m_bytes = 0;
    qint64 m_trivial = 0;
    qint64 m_ids = 0;
    qint64 m_counters = 0;
    qint64 m_conversions = 0;
};

void DifferentialTest::initTestCase()
{
    m_baseSeed = numberFrom(seedVariable, QRandomGenerator::system()->bounded(1'000'000'000));
    m_eventCount = numberFrom(eventsVariable, defaultEvents);
    m_only = numberFrom(onlyVariable, -1);
    qInfo("%s=%lld %s=%lld", seedVariable, m_baseSeed, eventsVariable, m_eventCount);
    listConverters();
}

void DifferentialTest::init()
{
    m_differences = 0;
    keepLines();
}

void DifferentialTest::cleanup()
{
    keepLinesNoMore();
    enterStageOf(0);
}

quint64 DifferentialTest::seedOfEvent(qint64 number) const
{
    // Base seeds that are neighbours have no events in common.
    return static_cast<quint64>(m_baseSeed) * Q_UINT64_C(0x9e3779b97f4a7c15) + static_cast<quint64>(number);
}

void DifferentialTest::report(qint64 number, EventType type, QByteArray const &difference,
                              QByteArray const &howToRepeat)
{
    QByteArray const name = QMetaEnum::fromType<EventType>().valueToKey(static_cast<int>(type));
    qWarning().noquote() << "event" << number << "of base seed" << m_baseSeed << "- seed" << seedOfEvent(number)
                         << "- type" << static_cast<int>(type) << name << difference.constData()
                         << "\n  again:" << howToRepeat;
    ++m_differences;
}

/// The reference, like Qt's look-up of converters, makes all records known to Qt's type registry; in a host they become
/// known as they are first used, and the library looks at that. So here it is first by itself.
void DifferentialTest::libraryAlone()
{
    if (m_only >= 0) {
        QTest::qSkip("one event only", __FILE__, __LINE__);
        return;
    }

    constexpr qint64 first = -4 * eventsPerStage * stageCount; // Events of its own
    auto const walk = [](auto const &visit) {
        for (qint64 number = first; number < 0; ++number) {
            qint64 const count = number - first;
            recordKindsInUse = static_cast<int>(std::min<qint64>(allRecordKinds, count / 256));
            convertersInUse = std::min(converters.size(), static_cast<std::size_t>(count / 64));
            enterStageOf(count);
            visit(number);
        }
    };

    std::vector<Outcome> outcomes;
    walk([&](qint64 number) { outcomes.push_back(Event(Random(seedOfEvent(number))).serializedBy(m_library)); });
    walk([&](qint64 number) {
        Event event(Random(seedOfEvent(number)));
        QByteArray const difference
            = differenceOf(outcomes[static_cast<std::size_t>(number - first)], event.serializedBy(m_reference));
        if (!difference.isEmpty() && m_differences < 3)
            report(number, event.type(), difference,
                   seedVariable + ('=' + QByteArray::number(m_baseSeed)) + " tst_differential libraryAlone");
    });
    QCOMPARE(m_differences, 0);
}

void DifferentialTest::comingAndGoing_data()
{
    QTest::addColumn<qint64>("seed");

    for (qint64 row = 0; m_only < 0 && row < 20; ++row)
        QTest::addRow("sequence %lld of base seed %lld", row, m_baseSeed) << m_baseSeed * 20 + row;
}

/// Types that are taken back and registered again under other numbers, records as well as the host's own, with
/// converters between them.
///
/// Either encoder may be the first. The reference registers record types as it asks Qt for converters to them, and the
/// library does not: that makes no difference as long as no converter leads to a number that has been given back. So
/// a type takes its converters along when it goes, as a host has to see to it.
///
/// A record that is registered under a number that has been given back is noticed late where another record converts to
/// it: after a type was taken back, the first value is one of another kind, which makes the library look.
void DifferentialTest::comingAndGoing()
{
    QFETCH(qint64, seed);

    Random random(static_cast<quint64>(seed));
    std::mt19937_64 engine(static_cast<quint64>(seed));
    std::vector<QMetaType> types;
    for (Converter const &converter : converters) {
        for (QMetaType type : {converter.from, converter.to}) {
            if (isOwnOrRecord(type)
                && std::none_of(types.begin(), types.end(), [type](QMetaType other) { return isSame(other, type); }))
                types.push_back(type);
        }
    }

    static int warnings;
    warnings = 0;
    QtMessageHandler const messages = qInstallMessageHandler(
        [](QtMsgType type, QMessageLogContext const &, QString const &) { warnings += type == QtWarningMsg; });
    auto const restored = qScopeGuard([messages] { qInstallMessageHandler(messages); });

    recordKindsInUse = allRecordKinds;
    bool isNumberFree = true;
    int compared = 0;
    int longOnes = 0;
    for (int step = 0; step < 2000; ++step) {
        switch (random.below(32)) {
        case 0: // Some go, and some of these come back in another order.
            std::shuffle(types.begin(), types.end(), engine);
            for (std::size_t i = 0, gone = static_cast<std::size_t>(random.between(1, 20)); i < gone; ++i)
                takeBack(types[i]);
            isNumberFree = true;
            std::shuffle(types.begin(), types.end(), engine);
            for (int i = random.below(20); i > 0; --i)
                types[static_cast<std::size_t>(i)].id();
            break;
        case 1:
        case 2:
        case 3:
        case 4: {
            QVariantList values;
            if (isNumberFree)
                values.append(QRectF());
            isNumberFree = false;
            for (int count = random.between(1, 8); count > 0; --count)
                values.append(randomRecordOrOwn(random));
            bool const isReferenceFirst = random.oneIn(2);
            QByteArray reference = isReferenceFirst ? encoded(values, m_reference) : QByteArray();
            QByteArray const library = encoded(values, m_library);
            if (!isReferenceFirst)
                reference = encoded(values, m_reference);
            QVERIFY2(library == reference,
                     ("step " + QByteArray::number(step) + ' ' + differenceOf(library, reference) + "\n  again: "
                      + seedVariable + '=' + QByteArray::number(m_baseSeed) + " tst_differential comingAndGoing")
                         .constData());
            ++compared;
            longOnes += library.size() > 40;
            break;
        }
        default: {
            Converter &converter
                = converters[static_cast<std::size_t>(random.below(static_cast<int>(converters.size())))];
            setRegistered(converter, !converter.isRegistered);
            break;
        }
        }
    }
    QCOMPARE(warnings, 0);
    QVERIFY(compared > 100);
    QVERIFY(longOnes > 100);
}

void DifferentialTest::events_data()
{
    QTest::addColumn<qint64>("begin");
    QTest::addColumn<qint64>("end");

    if (m_only >= 0)
        QTest::addRow("event %lld of base seed %lld", m_only, m_baseSeed) << m_only << m_only + 1;
    for (qint64 begin = 0; m_only < 0 && begin < m_eventCount; begin += eventsPerRow)
        QTest::addRow("from event %lld of base seed %lld", begin, m_baseSeed)
            << begin << std::min(begin + eventsPerRow, m_eventCount);
}

void DifferentialTest::events()
{
    QFETCH(qint64, begin);
    QFETCH(qint64, end);

    recordKindsInUse = allRecordKinds;
    convertersInUse = converters.size();
    if (begin == 0) {
        for (ValueKind &kind : valueKinds)
            kind.count = 0;
        for (RecordKind &kind : recordKinds)
            kind.count = 0;
    }

    for (qint64 number = begin; number < end && m_differences < 3; ++number) {
        if (number == begin || number % eventsPerStage == 0)
            enterStageOf(number);

        Event event(Random(seedOfEvent(number)));
        Outcome reference;
        if (event.isReferenceFirst())
            reference = event.serializedBy(m_reference);
        Outcome const library = event.serializedBy(m_library);
        if (!event.isReferenceFirst())
            reference = event.serializedBy(m_reference);

        QByteArray const difference = differenceOf(library, reference);
        if (!difference.isEmpty()) {
            report(number, event.type(), difference,
                   seedVariable + ('=' + QByteArray::number(m_baseSeed)) + ' ' + onlyVariable + '='
                       + QByteArray::number(number) + " tst_differential events");
        }

        if (m_only >= 0)
            qInfo().noquote() << reference.bytes;

        ++m_typeCounts[event.type()];
        m_bytes += reference.bytes.size();
        if (reference.bytes.size() < 40)
            ++m_trivial;
        for (Step const &step : std::as_const(reference.steps)) {
            if (step.what == Step::Converted)
                ++m_conversions;
            if (step.what != Step::Logged)
                continue;
            m_ids += !step.text.contains(QStringLiteral("id = \"\" "));
            m_counters += !step.text.endsWith(QStringLiteral("counter = 0"));
        }
        if (number % 16 == 0 && !reference.bytes.isEmpty()) {
            QJsonParseError error;
            QVERIFY2(QJsonDocument::fromJson(reference.bytes, &error).isObject(), qPrintable(error.errorString()));
        }
    }
    QCOMPARE(m_differences, 0);
}

/// A test that draws nothing finds nothing.
void DifferentialTest::whatCameUp()
{
    if (m_only >= 0) {
        QTest::qSkip("one event only", __FILE__, __LINE__);
        return;
    }
    qInfo("%lld bytes on average, %lld events below 40; %lld ids, %lld counters, %lld conversions",
          m_bytes / std::max(m_eventCount, qint64(1)), m_trivial, m_ids, m_counters, m_conversions);
    if (m_eventCount < 10000)
        return;

    qint64 const enough = m_eventCount / 100;
    for (ValueKind const &kind : valueKinds)
        QVERIFY2(kind.count >= enough, kind.name);
    for (RecordKind const &kind : recordKinds)
        QVERIFY2(kind.count >= enough, kind.name);
    for (int type = 1; type <= eventTypeCount; ++type)
        QVERIFY2(m_typeCounts.at(static_cast<EventType>(type)) >= enough, QByteArray::number(type).constData());
    QVERIFY(m_typeCounts.at(EventType::Invalid) > 0);
    QVERIFY(m_typeCounts.at(static_cast<EventType>(-1)) > 0);
    QVERIFY(m_trivial < m_eventCount / 4);
    QVERIFY(m_ids > m_eventCount / 5);
    QVERIFY(m_counters > m_eventCount / 10);
    QVERIFY(m_conversions > m_eventCount / 4);
}

void DifferentialTest::packages()
{
    Random random(seedOfEvent(-1));
    for (int number = 0; number < 5000; ++number) {
        QList<QByteArray> events;
        for (int count = random.oneIn(8) ? random.below(300) : random.below(6); count > 0; --count)
            events.append(random.oneIn(4) ? QByteArray() : randomBytes(random));
        QByteArray const library = m_library.pack(events);
        QByteArray const reference = m_reference.pack(events);
        QVERIFY2(library == reference, differenceOf(library, reference).constData());
    }
}

QTEST_GUILESS_MAIN(DifferentialTest)

#include "tst_differential.moc"
