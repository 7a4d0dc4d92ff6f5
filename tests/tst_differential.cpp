#include "randomvalues.h"
#include "reference/referenceserializer.h"

#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>

#include <QtCore/QBitArray>
#include <QtCore/QCborArray>
#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QLocale>
#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaEnum>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtCore/qfloat16.h>
#include <QtTest/QtTest>

#include <algorithm>
#include <climits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/**
 * @file
 * @brief The library's encoder against the reference: events by chance, compared byte by byte, call by call.
 *
 * An event follows from the base seed and its number alone. Its values are drawn when they are asked for first, and the
 * second serializer is given the same ones again, call by call.
 *
 * STBANALYTICS_DIFFERENTIAL_EVENTS and _SEED make a run longer or another one, _ONLY repeats a single event and shows
 * its bytes. A run of millions takes longer than QtTest allows a function: set QTEST_FUNCTION_TIMEOUT too.
 */

using namespace analytics;

namespace {

constexpr char seedVariable[] = "STBANALYTICS_DIFFERENTIAL_SEED";
constexpr char eventsVariable[] = "STBANALYTICS_DIFFERENTIAL_EVENTS";
constexpr char onlyVariable[] = "STBANALYTICS_DIFFERENTIAL_ONLY";

// What happens while a serializer is at work

struct Step
{
    enum What { Asked, AskedForAnotherEvent, Converted, Logged };

    What what;
    int number; ///< The property, the converter, or the kind of message.
    QString text;

    bool operator==(Step const &other) const
    {
        return what == other.what && number == other.number && text == other.text;
    }
};

QList<Step> *steps = nullptr;
QtMessageHandler otherMessages = nullptr;

void keepLine(QtMsgType type, QMessageLogContext const &context, QString const &text)
{
    if (!steps || std::string_view(context.category) != "stbanalytics") {
        otherMessages(type, context, text);
        return;
    }
    QString const place
        = QStringLiteral("%1:%2 %3: ")
              .arg(QString::fromUtf8(context.file), QString::number(context.line), QString::fromUtf8(context.function));
    steps->append({Step::Logged, type, place + text});
}

/// What a serializer has made of an event, and how.
struct Outcome
{
    QByteArray bytes;
    QList<Step> steps;
};

// Types of which Qt knows nothing but what the converters below tell

template <int> struct Custom
{
    quint64 seed = 0;
};

enum class Unregistered { Zero, Four = 4 };
enum class UnregisteredWide : qint64 { Zero };

// Records

// clang-format off
template <typename... Records> struct RecordList {};
using AllRecords = RecordList<
    Channel, MediaItem, PurchaseVariant, NetworkInfo, NetworkInterface, MemoryModule, Endpoints, CpuInfo, MemoryInfo,
    HdmiInfo, PowerInfo, HardwareInfo, WifiInfo, MdiInfo, Etr290Info, DecoderInfo, DashInfo, HlsInfo, BufferingInfo,
    MediaInfo, NcError, HttpError, SystemSettings, Scte35, VerimatrixError, VmxErrors, MessageTarget>;
// clang-format on

struct RecordKind
{
    QVariant (*make)(Random &random);
    char const *name;
    int count;
};

template <typename... Records> std::vector<RecordKind> kindsOf(RecordList<Records...>)
{
    return {{[](Random &random) { return QVariant::fromValue(randomRecord<Records>(random)); },
             QMetaType::fromType<Records>().name(), 0}...};
}

std::vector<RecordKind> recordKinds = kindsOf(AllRecords());
int const allRecordKinds = static_cast<int>(recordKinds.size());
int recordKindsInUse = 0;

// Values

struct ValueKind
{
    char const *name;
    int weight;
    QVariant (*make)(Random &random, int depth);
    int count;
};

QVariant randomValue(Random &random, int depth);

template <typename Type> QVariant of(Type const &value)
{
    return QVariant::fromValue(value);
}

template <typename Integer> QVariant integer(Random &random, int)
{
    return of(randomInteger<Integer>(random));
}

template <typename Enum> QVariant enumerator(Random &random, int)
{
    int const count = QMetaEnum::fromType<Enum>().keyCount();
    return of(static_cast<Enum>(random.oneIn(4) ? randomInteger<int>(random) : random.between(-1, count)));
}

template <int number> QVariant custom(Random &random, int)
{
    return of(Custom<number>{random.bits()});
}

template <int... numbers> QVariant anyCustom(Random &random, std::integer_sequence<int, numbers...>)
{
    constexpr QVariant (*makers[])(Random &, int) = {custom<numbers>...};
    return random.oneOf(makers)(random, 0);
}

template <typename Type> QVariant nullOf()
{
    return QVariant(QMetaType::fromType<Type>());
}

QVariant builtInNull(Random &random, int)
{
    int const type = random.between(QMetaType::Bool, QMetaType::QVariantPair);
    return QMetaType::isRegistered(type) && type != QMetaType::Void ? QVariant(QMetaType(type)) : QVariant();
}

template <typename... Records> QVariant recordNull(Random &random, RecordList<Records...>)
{
    constexpr QVariant (*makers[])() = {nullOf<Records>...};
    return random.oneOf(makers)();
}

/// How many elements a container has, none when it lies too deep.
int elements(Random &random, int depth)
{
    return depth < 5 ? random.below(5) : 0;
}

QVariantList randomList(Random &random, int depth)
{
    QVariantList list;
    for (int count = elements(random, depth); count > 0; --count)
        list.append(randomValue(random, depth + 1));
    return list;
}

/// Lists are for values of one kind mostly, as the list of interfaces is.
QVariantList recordList(Random &random)
{
    QVariantList list;
    RecordKind &kind = recordKinds[static_cast<std::size_t>(random.below(std::max(recordKindsInUse, 1)))];
    for (int count = recordKindsInUse > 0 ? random.below(5) : 0; count > 0; --count) {
        ++kind.count;
        list.append(kind.make(random));
    }
    return list;
}

template <typename Map> Map randomMap(Random &random, int depth)
{
    Map map;
    for (int count = elements(random, depth); count > 0; --count) {
        QString const key = randomText(random);
        // Qt 6.8 crashes in its own JSON objects over an empty key beside one that is not ASCII.
        if (QT_VERSION < QT_VERSION_CHECK(6, 5, 0) || !key.isEmpty())
            map.insert(key, randomValue(random, depth + 1));
    }
    return map;
}

QJsonValue randomJson(Random &random, int depth)
{
    switch (random.below(8)) {
    case 0:
        return QJsonValue::Null;
    case 1:
        return random.oneIn(2);
    case 2:
        return randomDouble(random);
    case 3:
        return randomInteger<qint64>(random);
    case 4:
        return randomText(random);
    case 5:
        return QJsonValue::Undefined;
    case 6:
        return QJsonArray::fromVariantList(randomList(random, depth));
    default:
        return QJsonObject::fromVariantMap(randomMap<QVariantMap>(random, depth));
    }
}

QDateTime randomMoment(Random &random)
{
    // From some years before our era to some after 9999, beyond what the text form allows.
    qint64 const milliseconds = static_cast<qint64>(random.bits() % 400000000000000) - 70000000000000;
    return random.oneIn(8) ? QDateTime() : QDateTime::fromMSecsSinceEpoch(milliseconds).toUTC();
}

QCborValue randomCbor(Random &random, int depth)
{
    switch (random.below(12)) {
    case 0:
        return QCborValue(QCborValue::Null);
    case 1:
        return QCborValue(QCborValue::Undefined);
    case 2:
        return QCborValue(random.oneIn(2));
    case 3:
        return QCborValue(randomInteger<qint64>(random));
    case 4:
        return QCborValue(randomDouble(random));
    case 5:
        return QCborValue(randomText(random));
    case 6:
        return QCborValue(randomBytes(random));
    case 7:
        return QCborValue(static_cast<QCborSimpleType>(random.below(256)));
    case 8:
        return QCborValue(randomMoment(random));
    case 9:
        return QCborValue(QCborTag(randomInteger<quint64>(random)), QCborValue(randomInteger<qint64>(random)));
    case 10:
        return QCborArray::fromVariantList(randomList(random, depth));
    default:
        return QCborMap::fromVariantMap(randomMap<QVariantMap>(random, depth));
    }
}

QChar randomCharacter(Random &random)
{
    return random.oneIn(2) ? QChar(strangeUnit(random)) : QChar(static_cast<char16_t>(random.bits()));
}

QStringList randomTexts(Random &random)
{
    QStringList texts;
    for (int count = random.below(5); count > 0; --count)
        texts.append(randomText(random));
    return texts;
}

// clang-format off
std::vector<ValueKind> valueKinds = {
    {"invalid",             4, [](Random &, int) { return QVariant(); }, 0},
    {"built-in null",       2, builtInNull, 0},
    {"record null",         2, [](Random &random, int) { return recordNull(random, AllRecords()); }, 0},
    {"custom null",         1, [](Random &, int) { return nullOf<Custom<1>>(); }, 0},
    {"bool",                3, [](Random &random, int) { return of(random.oneIn(2)); }, 0},
    {"char",                1, integer<char>, 0},
    {"signed char",         1, integer<signed char>, 0},
    {"uchar",               1, integer<uchar>, 0},
    {"short",               1, integer<short>, 0},
    {"ushort",              1, integer<ushort>, 0},
    {"int",                 4, integer<int>, 0},
    {"uint",                3, integer<uint>, 0},
    {"long",                1, integer<long>, 0},
    {"ulong",               1, integer<ulong>, 0},
    {"qlonglong",           4, integer<qlonglong>, 0},
    {"qulonglong",          4, integer<qulonglong>, 0},
    {"float16",             1, [](Random &random, int) { return of(qfloat16(static_cast<float>(random.between(-9999, 9999)) / 16.0f)); }, 0},
    {"float",               2, [](Random &random, int) { return of(randomFloat(random)); }, 0},
    {"double",              6, [](Random &random, int) { return of(randomDouble(random)); }, 0},
    {"QChar",               2, [](Random &random, int) { return of(randomCharacter(random)); }, 0},
    {"char16_t",            1, [](Random &random, int) { return of(strangeUnit(random)); }, 0},
    {"char32_t",            1, [](Random &random, int) { return of(static_cast<char32_t>(random.bits() % 0x110000)); }, 0},
    {"QString",            14, [](Random &random, int) { return of(randomText(random)); }, 0},
    {"QByteArray",          3, [](Random &random, int) { return of(randomBytes(random)); }, 0},
    {"QBitArray",           1, [](Random &random, int) { return of(QBitArray(random.below(9), true)); }, 0},
    {"QStringList",         3, [](Random &random, int) { return of(randomTexts(random)); }, 0},
    {"QByteArrayList",      1, [](Random &random, int) { return of(QByteArrayList(random.below(4), randomBytes(random))); }, 0},
    {"list",                5, [](Random &random, int depth) { return QVariant(randomList(random, depth)); }, 0},
    {"list of records",     3, [](Random &random, int) { return QVariant(recordList(random)); }, 0},
    {"list of Undefined",   1, [](Random &random, int) { return QVariant(QVariantList(random.below(3), of(QJsonValue(QJsonValue::Undefined)))); }, 0},
    {"map",                 3, [](Random &random, int depth) { return QVariant(randomMap<QVariantMap>(random, depth)); }, 0},
    {"hash",                2, [](Random &random, int depth) { return QVariant(randomMap<QVariantHash>(random, depth)); }, 0},
    {"variant in variant",  1, [](Random &random, int depth) { QVariant const inner = randomValue(random, depth + 1); return QVariant(QMetaType::fromType<QVariant>(), &inner); }, 0},
    {"pair of variants",    1, [](Random &random, int depth) { return of(std::pair<QVariant, QVariant>(randomText(random), depth < 5 ? randomValue(random, depth + 1) : QVariant())); }, 0},
    {"QList<int>",          1, [](Random &random, int) { return of(QList<int>(random.below(4), random.below(100))); }, 0},
    {"QList of a record",   1, [](Random &random, int) { return of(QList<Channel>{randomRecord<Channel>(random)}); }, 0},
    {"QMap",                1, [](Random &random, int) { return of(QMap<QString, int>{{randomText(random), random.below(100)}}); }, 0},
    {"std::vector",         1, [](Random &random, int) { return of(std::vector<int>{random.below(100)}); }, 0},
    {"std::map",            1, [](Random &random, int) { return of(std::map<QString, QString>{{randomText(random), randomText(random)}}); }, 0},
    {"std::string",         1, [](Random &random, int) { return of(randomBytes(random).toStdString()); }, 0},
    {"std::optional",       1, [](Random &random, int) { return of(std::optional<int>(random.below(10))); }, 0},
    {"QUrl",                2, [](Random &random, int) { return of(random.oneIn(2) ? QUrl(QStringLiteral("http://h/p?q=") + randomText(random)) : QUrl(randomText(random))); }, 0},
    {"QUuid",               2, [](Random &random, int) { return of(random.oneIn(8) ? QUuid() : QUuid(static_cast<uint>(random.bits()), static_cast<ushort>(random.bits()), 0, 1, 2, 3, 4, 5, 6, 7, static_cast<uchar>(random.bits()))); }, 0},
    {"QDate",               1, [](Random &random, int) { return of(randomMoment(random).date()); }, 0},
    {"QTime",               1, [](Random &random, int) { return of(randomMoment(random).time()); }, 0},
    {"QDateTime",           2, [](Random &random, int) { return of(randomMoment(random)); }, 0},
    {"QPoint",              1, [](Random &random, int) { return of(QPoint(random.below(9), 1)); }, 0},
    {"QRectF",              1, [](Random &random, int) { return of(QRectF(0, 0, random.below(9), 1)); }, 0},
    {"QLocale",             1, [](Random &, int) { return of(QLocale::c()); }, 0},
    {"QRegularExpression",  1, [](Random &, int) { return of(QRegularExpression(QStringLiteral("a.b"))); }, 0},
    {"QJsonValue",          4, [](Random &random, int depth) { return of(randomJson(random, depth)); }, 0},
    {"QJsonValue Undefined",1, [](Random &, int) { return of(QJsonValue(QJsonValue::Undefined)); }, 0},
    {"QJsonArray",          2, [](Random &random, int depth) { return of(QJsonArray::fromVariantList(randomList(random, depth))); }, 0},
    {"QJsonObject",         2, [](Random &random, int depth) { return of(QJsonObject::fromVariantMap(randomMap<QVariantMap>(random, depth))); }, 0},
    {"QJsonDocument",       1, [](Random &random, int depth) { return of(QJsonDocument(QJsonArray::fromVariantList(randomList(random, depth)))); }, 0},
    {"QCborValue",          2, [](Random &random, int depth) { return of(randomCbor(random, depth)); }, 0},
    {"QCborArray",          1, [](Random &random, int depth) { return of(QCborArray::fromVariantList(randomList(random, depth))); }, 0},
    {"QCborMap",            1, [](Random &random, int depth) { return of(QCborMap::fromVariantMap(randomMap<QVariantMap>(random, depth))); }, 0},
    {"QCborSimpleType",     1, [](Random &random, int) { return of(static_cast<QCborSimpleType>(random.below(256))); }, 0},
    {"PlaybackStatus",      1, enumerator<PlaybackStatus>, 0},
    {"MediaType",           1, enumerator<MediaType>, 0},
    {"EventType",           1, enumerator<EventType>, 0},
    {"Property",            1, enumerator<Property>, 0},
    {"flags",               1, [](Random &random, int) { return of(Qt::Alignment(static_cast<int>(random.bits() & 0x1ff))); }, 0},
    {"unregistered enum",   1, [](Random &random, int) { return of(random.oneIn(2) ? Unregistered::Zero : Unregistered::Four); }, 0},
    {"unregistered wide",   1, [](Random &random, int) { return of(static_cast<UnregisteredWide>(randomInteger<qint64>(random))); }, 0},
    {"nullptr",             1, [](Random &, int) { return of(nullptr); }, 0},
    {"void pointer",        1, [](Random &random, int) { static int pointee; return of(random.oneIn(2) ? static_cast<void *>(&pointee) : nullptr); }, 0},
    {"QObject pointer",     1, [](Random &random, int) { return of(random.oneIn(2) ? static_cast<QObject *>(QCoreApplication::instance()) : nullptr); }, 0},
    {"text pointer",        1, [](Random &random, int) { return of(random.oneIn(2) ? static_cast<char const *>("text") : nullptr); }, 0},
    {"record pointer",      1, [](Random &random, int) { static Channel channel{1, 2}; return of(random.oneIn(2) ? &channel : nullptr); }, 0},
    {"DhcpOption",          1, [](Random &random, int) { return of(randomRecord<DhcpOption>(random)); }, 0},
    {"custom",             14, [](Random &random, int) { return anyCustom(random, std::make_integer_sequence<int, 12>()); }, 0},
    {"record",             50, nullptr, 0},
};
// clang-format on

QVariant randomValue(Random &random, int depth)
{
    static std::vector<ValueKind *> const byWeight = [] {
        std::vector<ValueKind *> kinds;
        for (ValueKind &kind : valueKinds)
            kinds.insert(kinds.end(), static_cast<std::size_t>(kind.weight), &kind);
        return kinds;
    }();

    ValueKind &kind = *byWeight[static_cast<std::size_t>(random.bits() % byWeight.size())];
    ++kind.count;
    if (kind.make)
        return kind.make(random, depth);
    if (recordKindsInUse == 0)
        return {};
    RecordKind &record = recordKinds[static_cast<std::size_t>(random.below(recordKindsInUse))];
    ++record.count;
    return record.make(random);
}

/// The event's id and its counter stand in the diagnostic line too, so they are not left to chance alone.
QVariant randomValueOf(Property property, Random &random)
{
    if (property == Property::EventId && random.oneIn(2)) {
        switch (random.below(10)) {
        case 0:
            return of(randomCharacter(random));
        case 1:
            return randomBytes(random);
        case 2:
            return QUrl(randomText(random));
        case 3:
            return of(QJsonValue(randomText(random)));
        default:
            return randomText(random);
        }
    }
    if (property == Property::EventCounter && random.oneIn(2)) {
        switch (random.below(10)) {
        case 0:
            return randomInteger<uint>(random);
        case 1:
            return randomInteger<qint64>(random);
        case 2:
            return randomDouble(random);
        case 3:
            return of(QJsonValue(randomDouble(random)));
        case 4:
            return of(QJsonValue(randomInteger<qint64>(random)));
        case 5:
            return QString::number(random.between(-5, 5));
        default:
            return randomInteger<int>(random);
        }
    }
    return randomValue(random, 0);
}

// Converters: what they yield depends on the value, and each call is noted.

enum class Success { Always, Sometimes, Never };

struct Converter
{
    QMetaType from;
    QMetaType to;
    QMetaType::ConverterFunction convert;
    bool isForRecords;
    bool isRegistered;
};

template <int number> quint64 seedOf(Custom<number> const &value)
{
    return value.seed;
}

/// Records are the aggregates here. Of a type that is not listed, a converter makes the same each time.
template <typename From> quint64 seedOf(From const &value)
{
    if constexpr (std::is_aggregate_v<From>) {
        return digestOf(value);
    } else if constexpr (std::is_same_v<From, double>) {
        quint64 bits;
        std::memcpy(&bits, &value, sizeof(bits));
        return bits;
    } else if constexpr (std::is_enum_v<From>) {
        return static_cast<quint64>(value);
    } else {
        return 1;
    }
}

template <typename To> To randomResult(Random &random)
{
    if constexpr (std::is_same_v<To, QString>)
        return random.oneIn(4) ? QString() : randomText(random);
    else if constexpr (std::is_same_v<To, int>)
        return randomInteger<int>(random);
    else if constexpr (std::is_same_v<To, QVariantList>)
        return {QVariant(randomInteger<int>(random))};
    else
        return randomRecord<To>(random);
}

std::vector<Converter> converters;
std::size_t convertersInUse = 0;

template <typename From, typename To> void addConverter(bool isForRecords, Success success = Success::Always)
{
    int const index = static_cast<int>(converters.size());
    auto const convert = [index, success](void const *from, void *to) {
        if (steps)
            steps->append({Step::Converted, index, QString()});
        Random random(seedOf(*static_cast<From const *>(from)));
        bool const succeeds = success == Success::Always || (success == Success::Sometimes && random.oneIn(2));
        // One that fails may have written something all the same.
        if (succeeds || random.oneIn(2))
            *static_cast<To *>(to) = randomResult<To>(random);
        return succeeds;
    };
    converters.push_back({QMetaType::fromType<From>(), QMetaType::fromType<To>(), convert, isForRecords, false});
}

template <typename From, typename... To> void addConverters(RecordList<To...>)
{
    (addConverter<From, To>(false, Success::Sometimes), ...);
}

void listConverters()
{
    addConverter<Custom<0>, QString>(false);
    addConverter<Custom<1>, Channel>(false);
    addConverter<Custom<2>, MessageTarget>(false);
    addConverter<Custom<3>, VmxErrors>(false);
    addConverter<Custom<3>, MediaItem>(false);
    addConverter<Custom<3>, HttpError>(false);
    addConverter<Custom<4>, QString>(false, Success::Sometimes);
    addConverter<Custom<4>, NetworkInfo>(false);
    addConverter<Custom<5>, Channel>(false, Success::Sometimes);
    addConverter<Custom<5>, NetworkInterface>(false);
    addConverter<Custom<6>, PurchaseVariant>(false, Success::Never);
    addConverter<Custom<7>, int>(false);
    addConverter<Custom<7>, QVariantList>(false);
    addConverters<Custom<8>>(AllRecords());
    addConverter<Custom<9>, QString>(false, Success::Never);
    addConverter<Custom<9>, VerimatrixError>(false, Success::Sometimes);
    addConverter<Custom<10>, DhcpOption>(false);

    // Plain types that have a plain form always
    addConverter<bool, Channel>(false);
    addConverter<int, Channel>(false);
    addConverter<qulonglong, Channel>(false);
    addConverter<QString, Channel>(false);
    addConverter<QByteArray, Channel>(false);
    addConverter<QStringList, Channel>(false);
    addConverter<QVariantList, Channel>(false);
    addConverter<QVariantMap, Channel>(false);

    // Plain types that have none now and then
    addConverter<QDate, HlsInfo>(false);
    addConverter<PlaybackStatus, DashInfo>(false);
    addConverter<QCborValue, VmxErrors>(false);
    addConverter<double, CpuInfo>(false);
    addConverter<QJsonValue, BufferingInfo>(false);
    addConverter<Unregistered, MediaInfo>(false);
    addConverter<QObject *, Endpoints>(false);
    addConverter<QPoint, Scte35>(false);
    addConverter<std::string, QString>(false);

    addConverter<Channel, QString>(true);
    addConverter<HlsInfo, QString>(true, Success::Sometimes);
    addConverter<WifiInfo, QString>(true, Success::Never);
    addConverter<WifiInfo, PowerInfo>(true);
    addConverter<NetworkInfo, Channel>(true);
    addConverter<VmxErrors, VerimatrixError>(true);
    addConverter<MediaItem, NetworkInfo>(true);
    addConverter<PowerInfo, HardwareInfo>(true);
    addConverter<MessageTarget, VmxErrors>(true);
    addConverter<MessageTarget, HttpError>(true);
    addConverter<MessageTarget, MemoryModule>(true, Success::Sometimes);
    addConverter<CpuInfo, MediaItem>(true, Success::Never);
    addConverter<Endpoints, NetworkInterface>(true, Success::Sometimes);
    addConverter<Etr290Info, PurchaseVariant>(true, Success::Sometimes);
    addConverter<Scte35, QString>(true, Success::Sometimes);
    addConverter<Scte35, MdiInfo>(true);
    addConverter<NcError, int>(true);
    addConverter<DhcpOption, SystemSettings>(true);
    addConverter<DhcpOption, QString>(true, Success::Sometimes);
}

void setRegistered(Converter &converter, bool isRegistered)
{
    if (converter.isRegistered == isRegistered)
        return;
    if (!isRegistered)
        QMetaType::unregisterConverterFunction(converter.from, converter.to);
    else if (!QMetaType::registerConverterFunction(converter.convert, converter.from, converter.to))
        qFatal("There is such a converter already.");
    converter.isRegistered = isRegistered;
}

// Stages: which converters there are follows from an event's number too.

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

// Events

EventType randomType(Random &random)
{
    constexpr int outOfRange[] = {0, 43, -1, 1000, INT_MIN, INT_MAX};
    return static_cast<EventType>(random.oneIn(24) ? random.oneOf(outOfRange) : random.between(1, 42));
}

QList<Property> randomProperties(Random &random)
{
    constexpr int outOfRange[] = {139, 140, 191, 192, -1, 1000, INT_MIN, INT_MAX};
    int const chance = random.below(20);
    if (chance < 6)
        return {Property::EventId,   Property::EventVersion, Property::EventCounter,
                Property::Timestamp, Property::MacAddress,   Property::Uid};
    if (chance < 9)
        return {};

    // Where the list draws on few properties they come again and again.
    int const first = random.oneIn(2) ? 0 : random.below(139);
    int const count = first == 0 ? 139 : random.between(1, 139 - first);
    QList<Property> properties;
    for (int left = chance < 19 ? random.below(16) : random.below(201); left > 0; --left) {
        int const kind = random.below(16);
        properties.append(kind == 0       ? Property::EventId
                              : kind == 1 ? Property::EventCounter
                              : kind == 2 ? static_cast<Property>(random.oneOf(outOfRange))
                                          : static_cast<Property>(first + random.below(count)));
    }
    return properties;
}

/// An event, which is also the provider that replays its values.
class Event : public IPropertyProvider
{
public:
    explicit Event(quint64 seed)
        : m_random(seed)
        , m_isReferenceFirst(m_random.oneIn(2))
    {
        m_data.type = randomType(m_random);
        m_data.time = std::chrono::milliseconds(m_random.below(1000));
        m_data.tag = m_random.below(10);
        m_properties = randomProperties(m_random);
    }

    EventType type() const { return m_data.type; }
    bool isReferenceFirst() const { return m_isReferenceFirst; }

    Outcome serializedBy(IEventSerializer const &serializer)
    {
        Outcome outcome;
        m_calls = 0;
        steps = &outcome.steps;
        outcome.bytes = serializer.serialize(this, m_data, m_properties);
        steps = nullptr;
        return outcome;
    }

    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        steps->append({&data == &m_data ? Step::Asked : Step::AskedForAnotherEvent, static_cast<int>(property), {}});
        if (m_calls == m_values.size()) {
            QList<Step> *const kept = std::exchange(steps, nullptr); // Making a value may convert another.
            m_values.append(randomValueOf(property, m_random));
            steps = kept;
        }
        return m_values.at(m_calls++);
    }

private:
    mutable Random m_random;
    bool m_isReferenceFirst;
    AnalyticsEventData m_data;
    QList<Property> m_properties;
    mutable QVariantList m_values;
    mutable qsizetype m_calls = 0;
};

// Differences

QByteArray describe(Step const &step)
{
    QByteArray const number = QByteArray::number(step.number);
    switch (step.what) {
    case Step::Asked:
        return "asked for property " + number;
    case Step::AskedForAnotherEvent:
        return "asked for property " + number + " of another data object";
    case Step::Converted: {
        Converter const &converter = converters[static_cast<std::size_t>(step.number)];
        return QByteArray("converted ") + converter.from.name() + " to " + converter.to.name();
    }
    case Step::Logged:
        break;
    }
    return "logged (" + number + ") " + step.text.toUtf8();
}

QByteArray stepAt(QList<Step> const &list, qsizetype at)
{
    return at < list.size() ? describe(list.at(at)) : QByteArray("nothing more");
}

QByteArray differenceOf(QByteArray const &library, QByteArray const &reference)
{
    constexpr qsizetype context = 40;
    auto const [in, _] = std::mismatch(library.begin(), library.end(), reference.begin(), reference.end());
    qsizetype const at = in - library.begin();
    qsizetype const begin = std::max(qsizetype(0), at - context);
    return "first difference at byte " + QByteArray::number(at) + "\n    library (" + QByteArray::number(library.size())
        + "):   " + library.mid(begin, 2 * context) + "\n    reference (" + QByteArray::number(reference.size())
        + "): " + reference.mid(begin, 2 * context);
}

/// Nothing where the two agree.
QByteArray differenceOf(Outcome const &library, Outcome const &reference)
{
    QByteArray difference;
    if (library.bytes != reference.bytes)
        difference += "\n  " + differenceOf(library.bytes, reference.bytes);
    else if (library.bytes.isNull() != reference.bytes.isNull())
        difference += "\n  one is null, the other empty";
    if (library.steps != reference.steps) {
        auto const [in, _]
            = std::mismatch(library.steps.begin(), library.steps.end(), reference.steps.begin(), reference.steps.end());
        qsizetype const at = in - library.steps.begin();
        difference += "\n  first difference at step " + QByteArray::number(at)
            + "\n    library:   " + stepAt(library.steps, at) + "\n    reference: " + stepAt(reference.steps, at);
    }
    return difference;
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
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=true"));
    otherMessages = qInstallMessageHandler(keepLine);
}

void DifferentialTest::cleanup()
{
    qInstallMessageHandler(otherMessages);
    QLoggingCategory::setFilterRules(QString());
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
    walk([&](qint64 number) { outcomes.push_back(Event(seedOfEvent(number)).serializedBy(m_library)); });
    walk([&](qint64 number) {
        Event event(seedOfEvent(number));
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

        Event event(seedOfEvent(number));
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
