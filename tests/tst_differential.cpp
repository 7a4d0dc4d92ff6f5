#include "random/randomevents.h"
#include "random/randomvalues.h"
#include "reference/referenceserializer.h"

#include <analytics/jsoneventserializer.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QMetaEnum>
#include <QtTest/QtTest>

#include <algorithm>
#include <map>
#include <vector>

/**
 * @file
 * @brief The library's encoder against the reference: events by chance, compared byte by byte, call by call.
 *
 * An event follows from the base seed and its number alone.
 *
 * STBANALYTICS_DIFFERENTIAL_EVENTS and _SEED make a run longer or another one, _ONLY repeats a single event and shows
 * its bytes. A run of millions takes longer than QtTest allows a function: set QTEST_FUNCTION_TIMEOUT too.
 */

using namespace analytics;

namespace {

constexpr char seedVariable[] = "STBANALYTICS_DIFFERENTIAL_SEED";
constexpr char eventsVariable[] = "STBANALYTICS_DIFFERENTIAL_EVENTS";
constexpr char onlyVariable[] = "STBANALYTICS_DIFFERENTIAL_ONLY";

// Stages: which converters there are follows from an event's number too.

std::size_t convertersInUse = 0;

constexpr qint64 eventsPerStage = 500;
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

} // namespace

class DifferentialTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void libraryAlone();
    void events();
    void packages();

private:
    quint64 seedOfEvent(qint64 number) const;
    void report(qint64 number, EventType type, QByteArray const &difference, QByteArray const &howToRepeat);
    void checkThatNothingWasMissed() const;

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
    m_baseSeed = numberFrom(seedVariable, 1);
    m_eventCount = numberFrom(eventsVariable, 200000);
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

void DifferentialTest::events()
{
    recordKindsInUse = allRecordKinds;
    convertersInUse = converters.size();
    for (ValueKind &kind : valueKinds)
        kind.count = 0;
    for (RecordKind &kind : recordKinds)
        kind.count = 0;

    qint64 const begin = std::max(m_only, qint64(0));
    qint64 const end = m_only >= 0 ? m_only + 1 : m_eventCount;
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
    if (m_only < 0)
        checkThatNothingWasMissed();
}

/// A test that draws nothing finds nothing.
void DifferentialTest::checkThatNothingWasMissed() const
{
    qInfo("%lld bytes on average, %lld events below 40; %lld ids, %lld counters, %lld conversions",
          m_bytes / std::max(m_eventCount, qint64(1)), m_trivial, m_ids, m_counters, m_conversions);
    if (m_eventCount < 10000)
        return;

    qint64 const enough = m_eventCount / 100;
    for (ValueKind const &kind : valueKinds)
        QVERIFY2(kind.count >= enough, kind.name);
    for (RecordKind const &kind : recordKinds)
        QVERIFY2(kind.count >= enough, kind.name);
    for (int type = 1; type <= 42; ++type)
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
