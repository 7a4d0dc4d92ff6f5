#include "randomevents.h"

#include "randomvalues.h"

#include "counts.h"

#include <QtCore/QBitArray>
#include <QtCore/QCborArray>
#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QCoreApplication>
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

#include <algorithm>
#include <climits>
#include <map>
#include <string>
#include <string_view>

using namespace analytics;

// What happens while a serializer is at work

static QList<Step> *steps = nullptr;
static QtMessageHandler otherMessages = nullptr;

static void keepLine(QtMsgType type, QMessageLogContext const &context, QString const &text)
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

void keepLines()
{
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=true"));
    otherMessages = qInstallMessageHandler(keepLine);
}

void keepLinesNoMore()
{
    qInstallMessageHandler(otherMessages);
    QLoggingCategory::setFilterRules(QString());
}

namespace {

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

template <typename... Records> std::vector<RecordKind> kindsOf(RecordList<Records...>)
{
    return {{[](Random &random) { return QVariant::fromValue(randomRecord<Records>(random)); },
             QMetaType::fromType<Records>().name(), 0}...};
}

// Values

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

QVariant randomValue(Random &random, int depth)
{
    static std::vector<ValueKind *> const byWeight = [] {
        std::vector<ValueKind *> kinds;
        for (ValueKind &kind : valueKinds)
            kinds.insert(kinds.end(), static_cast<std::size_t>(kind.weight), &kind);
        return kinds;
    }();

    ValueKind &kind = *byWeight[static_cast<std::size_t>(random.below(static_cast<int>(byWeight.size())))];
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

// Events

EventType randomType(Random &random)
{
    constexpr int outOfRange[] = {0, eventTypeCount + 1, -1, 1000, INT_MIN, INT_MAX};
    return static_cast<EventType>(random.oneIn(24) ? random.oneOf(outOfRange) : random.between(1, eventTypeCount));
}

QList<Property> randomProperties(Random &random)
{
    constexpr int outOfRange[] = {propertyCount, propertyCount + 1, 191, 192, -1, 1000, INT_MIN, INT_MAX};
    int const chance = random.below(20);
    if (chance < 6)
        return {Property::EventId,   Property::EventVersion, Property::EventCounter,
                Property::Timestamp, Property::MacAddress,   Property::Uid};
    if (chance < 9)
        return {};

    // Where the list draws on few properties they come again and again.
    int const first = random.oneIn(2) ? 0 : random.below(propertyCount);
    int const count = first == 0 ? propertyCount : random.between(1, propertyCount - first);
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

} // namespace

std::vector<RecordKind> recordKinds = kindsOf(AllRecords());
int const allRecordKinds = static_cast<int>(recordKinds.size());
int recordKindsInUse = 0;

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

std::vector<Converter> converters;

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

Event::Event(Random const &random)
    : m_random(random)
    , m_isReferenceFirst(m_random.oneIn(2))
{
    m_data.type = randomType(m_random);
    m_data.time = std::chrono::milliseconds(m_random.below(1000));
    m_data.tag = m_random.below(10);
    m_properties = randomProperties(m_random);
}

Outcome Event::serializedBy(IEventSerializer const &serializer)
{
    Outcome outcome;
    m_calls = 0;
    steps = &outcome.steps;
    outcome.bytes = serializer.serialize(this, m_data, m_properties);
    steps = nullptr;
    return outcome;
}

QVariant Event::value(Property property, AnalyticsEventData const &data) const
{
    steps->append({&data == &m_data ? Step::Asked : Step::AskedForAnotherEvent, static_cast<int>(property), {}});
    if (m_calls == m_values.size()) {
        QList<Step> *const kept = std::exchange(steps, nullptr); // Making a value may convert another.
        m_values.append(randomValueOf(property, m_random));
        steps = kept;
    }
    return m_values.at(m_calls++);
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
