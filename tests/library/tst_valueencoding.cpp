#include "support.h"

#include <analytics/enums.h>
#include <analytics/records.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPoint>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopeGuard>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtTest/QTest>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

using namespace analytics;

static char const *const leftOut = "";

template <typename Number> static constexpr Number lowest = std::numeric_limits<Number>::lowest();
template <typename Number> static constexpr Number highest = std::numeric_limits<Number>::max();
template <typename Number> static constexpr Number notANumber = std::numeric_limits<Number>::quiet_NaN();
template <typename Number> static constexpr Number infinity = std::numeric_limits<Number>::infinity();

/// Known to the meta-type system by its size alone.
struct Opaque
{
    int content = 1;
};

enum class Unregistered { Zero, Four = 4 };

// Each converter stays for the whole process, so each of these types belongs to one test function.
// clang-format off
struct ToChannel {};
struct ToEmptyChannel {};
struct ToPurchaseVariant {};
struct ToTwo {};
struct ToFailing {};
struct ToFailingVariant {};
struct ToFailingFirst {};
struct ToText {};
struct ToEmptyText {};
struct ToTextAndRecord {};
struct ToEmptyTextAndRecord {};
struct ToNumber {};
struct ToList {};
struct ToMap {};
struct Late {};
struct Tuner {};
// clang-format on

/// Converts to two records; the template gives each pair a type of its own.
template <typename Earlier, typename Later> struct ToEither
{
};

template <typename Type> static QVariant of(Type const &value)
{
    return QVariant::fromValue(value);
}

template <typename Type> static QVariant nullOf()
{
    return QVariant(QMetaType::fromType<Type>());
}

static QVariant listOf(QVariantList const &elements)
{
    return elements;
}

static QString utf16(std::initializer_list<char16_t> units)
{
    return QString(reinterpret_cast<QChar const *>(units.begin()), static_cast<qsizetype>(units.size()));
}

static QDateTime moment(char const *iso)
{
    return QDateTime::fromString(text(iso), Qt::ISODateWithMs);
}

/// A conversion between types of which one may be a real record; it ends with its scope.
template <typename From, typename To> class Conversion
{
public:
    explicit Conversion(To const &result)
        : Conversion([result](void const *, void *to) {
            *static_cast<To *>(to) = result;
            return true;
        })
    {
    }
    explicit Conversion(QMetaType::ConverterFunction const &function)
    {
        if (!QMetaType::registerConverterFunction(function, QMetaType::fromType<From>(), QMetaType::fromType<To>()))
            qFatal("There is such a conversion already.");
    }
    ~Conversion() { QMetaType::unregisterConverterFunction(QMetaType::fromType<From>(), QMetaType::fromType<To>()); }
    Q_DISABLE_COPY_MOVE(Conversion)
};

static bool fail(void const *, void *)
{
    return false;
}

/// A record of which each type can be told by its JSON.
template <typename Record> static Record sample();

// clang-format off
template <> Channel sample() { return {1, {}}; }
template <> MediaItem sample() { return {2, {}}; }
template <> PurchaseVariant sample() { return {3, {}, {}, {}, {}, {}, {}, {}, {}}; }
template <> NetworkInfo sample() { return {{}, {}, {}, 4, {}, {}, {}, {}, {}, {}, {}, {}}; }
template <> NetworkInterface sample() { return {text("eth5"), {}, {}, {}, {}, {}, {}, {}, {}, {}}; }
template <> MemoryModule sample() { return {{}, 6, {}}; }
template <> Endpoints sample() { return {text("u7"), {}, {}, {}, {}}; }
template <> CpuInfo sample() { return {8, {}, {}, {}, {}}; }
template <> MemoryInfo sample() { return {9, {}, {}, {}, {}, {}, {}, {}}; }
template <> HdmiInfo sample() { return {text("tv10"), {}, {}}; }
template <> PowerInfo sample() { return {{}, 11, {}}; }
template <> HardwareInfo sample() { return {text("m12"), {}, {}, {}, {}}; }
template <> WifiInfo sample() { return {{}, {}, 13, {}, {}, {}}; }
template <> MdiInfo sample() { return {14, {}}; }
template <> Etr290Info sample() { return {15, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}}; }
template <> DecoderInfo sample() { return {16, {}, {}, {}, {}, {}}; }
template <> DashInfo sample() { return {17, {}, {}}; }
template <> HlsInfo sample() { return {18, {}, {}, {}, {}}; }
template <> BufferingInfo sample() { return {19, {}, {}}; }
template <> MediaInfo sample() { return {{}, {}, {}, 20, {}, {}, {}}; }
template <> NcError sample() { return {{}, {}, {}, {}, {}, 21, {}}; }
template <> HttpError sample() { return {{}, {}, 22}; }
template <> SystemSettings sample() { return {{}, {}, {}, 23, {}, {}, {}, {}, {}, {}, {}}; }
template <> Scte35 sample() { return {24, {}}; }
template <> VerimatrixError sample() { return {{}, 25, {}, {}, {}}; }
template <> VmxErrors sample() { return {26, {}}; }
template <> MessageTarget sample() { return {text("t27"), {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}}; }
// clang-format on

static void addColumns()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");
}

static QVariant wholes(std::initializer_list<qlonglong> numbers)
{
    return QVariantList(numbers.begin(), numbers.end());
}

static void addRow(char const *name, QVariant const &value, QByteArray const &json)
{
    QTest::newRow(name) << value << json;
}

template <typename Earlier, typename Later> static void addPair(char const *name, QByteArray const &json)
{
    using Both = ToEither<Earlier, Later>;
    if (!QMetaType::hasRegisteredConverterFunction<Both, Later>()) {
        QMetaType::registerConverter<Both, Later>([](Both const &) { return sample<Later>(); });
        QMetaType::registerConverter<Both, Earlier>([](Both const &) { return sample<Earlier>(); });
    }
    addRow(name, of(Both{}), json);
}

template <typename Other, typename Record> static QByteArray encodedWithConversion(Record const &record)
{
    Conversion<Record, Other> const conversion(sample<Other>());
    return encoded(of(record));
}

class ValueEncodingTest : public QObject
{
    Q_OBJECT

public:
    enum Mark { Bold = 1, Italic = 2 };
    Q_DECLARE_FLAGS(Marks, Mark)
    Q_FLAG(Marks)

private Q_SLOTS:
    void nulls_data();
    void nulls() { compare(); }
    void lists_data();
    void lists() { compare(); }
    void numbers_data();
    void numbers() { compare(); }
    void characters_data();
    void characters() { compare(); }
    void texts_data();
    void texts() { compare(); }
    void placesInTexts();
    void containers_data();
    void containers() { compare(); }
    void times_data();
    void times() { compare(); }
    void json_data();
    void json() { compare(); }
    void enumerators_data();
    void enumerators() { compare(); }
    void unknownTypes_data();
    void unknownTypes() { compare(); }
    void records_data();
    void records() { compare(); }
    void dispatchOrder_data();
    void dispatchOrder() { compare(); }
    void converted_data();
    void converted() { compare(); }
    void convertedRecord();
    void convertedRecordIsPlain();
    void convertedLate();

private:
    void compare();
};

void ValueEncodingTest::compare()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);
    QCOMPARE(encoded(value), json);
}

// clang-format off

void ValueEncodingTest::nulls_data()
{
    addColumns();
    addRow("invalid",               QVariant(), leftOut);
    addRow("null pointer",          of(nullptr), leftOut);
    addRow("null bool",             nullOf<bool>(), leftOut);
    addRow("null int",              nullOf<int>(), leftOut);
    addRow("null double",           nullOf<double>(), leftOut);
    addRow("null QString",          nullOf<QString>(), leftOut);
    addRow("null QStringList",      nullOf<QStringList>(), leftOut);
    addRow("null QVariantList",     nullOf<QVariantList>(), leftOut);
    addRow("null QVariantMap",      nullOf<QVariantMap>(), leftOut);
    addRow("null custom type",      nullOf<Opaque>(), leftOut);
    addRow("false",                 false, "false");
    addRow("zero",                  0, "0");

    // Default records that would be written, were they there.
    addRow("null PurchaseVariant",  nullOf<PurchaseVariant>(), leftOut);
    addRow("null NetworkInfo",      nullOf<NetworkInfo>(), leftOut);
    addRow("null VerimatrixError",  nullOf<VerimatrixError>(), leftOut);
    addRow("null Etr290Info",       nullOf<Etr290Info>(), leftOut);
    addRow("null MessageTarget",    nullOf<MessageTarget>(), leftOut);

    addRow("nulls in a list",       listOf({nullOf<int>(), of(nullptr), nullOf<QString>(), nullOf<QVariantList>(), nullOf<PurchaseVariant>()}), "[null,null,null,null,null]");
}

void ValueEncodingTest::lists_data()
{
    addColumns();
    addRow("empty",                 listOf({}), leftOut);
    addRow("integers",              listOf({1, 2, 3}), "[1,2,3]");
    addRow("order kept",            listOf({3, 1, 2, 1}), "[3,1,2,1]");
    addRow("mixed",                 listOf({1, true, text("x"), 1.5}), R"([1,true,"x",1.5])");
    addRow("invalid",               listOf({QVariant()}), "[null]");
    addRow("invalid among others",  listOf({1, QVariant(), 2}), "[1,null,2]");
    addRow("zero and false",        listOf({0, false}), "[0,false]");
    addRow("empty text",            listOf({text(""), QString()}), R"(["",""])");
    addRow("empty list in a list",  listOf({listOf({})}), "[[]]");
    addRow("empty map in a list",   listOf({QVariantMap()}), "[{}]");
    addRow("nested",                listOf({listOf({1, listOf({2, listOf({})})}), 3}), "[[1,[2,[]]],3]");
    addRow("undefined",             listOf({of(QJsonValue(QJsonValue::Undefined))}), "[null]");
    addRow("not a number",          listOf({notANumber<double>}), "[null]");
    addRow("unknown type",          listOf({of(Opaque{})}), "[null]");
    addRow("record",                listOf({of(Channel{1, 2})}), R"([{"channel_id":1,"program_id":2}])");
    addRow("empty record",          listOf({of(Channel{})}), "[null]");
    addRow("record in nested list", listOf({listOf({of(Channel{1, {}})})}), R"([[{"channel_id":1}]])");
    addRow("QStringList in a list", listOf({QStringList({text("a")}), QStringList()}), R"([["a"],[]])");
    // A map is Qt's to encode, and Qt knows no records.
    addRow("record in a map",       listOf({QVariantMap({{text("k"), of(Channel{1, 2})}})}), R"([{"k":null}])");
}

void ValueEncodingTest::numbers_data()
{
    addColumns();
    addRow("true",                  true, "true");
    addRow("false",                 false, "false");
    addRow("short lowest",          of(lowest<short>), "-32768");
    addRow("short highest",         of(highest<short>), "32767");
    addRow("short 0",               of(short(0)), "0");
    addRow("ushort 0",              of(ushort(0)), "0");
    addRow("ushort highest",        of(highest<ushort>), "65535");
    addRow("int lowest",            of(lowest<int>), "-2147483648");
    addRow("int highest",           of(highest<int>), "2147483647");
    addRow("int 0",                 of(0), "0");
    addRow("int -1",                of(-1), "-1");
    addRow("uint 0",                of(0u), "0");
    addRow("uint 2^31",             of(2147483648u), "2147483648");
    addRow("uint highest",          of(highest<uint>), "4294967295");
    // Integers of 64 bits are whole in a value of their own, unlike in a record.
    addRow("qlonglong 0",           of(qlonglong(0)), "0");
    addRow("qlonglong lowest",      of(lowest<qlonglong>), "-9223372036854775808");
    addRow("qlonglong highest",     of(highest<qlonglong>), "9223372036854775807");
    addRow("qlonglong 2^53 + 1",    of(qlonglong(9007199254740993)), "9007199254740993");
    addRow("qlonglong 1e16",        of(qlonglong(10000000000000000)), "10000000000000000");
    addRow("1 to 4 digits",         wholes({9, 10, 99, 100, 999, 1000, 1023, 1024, 9999}), "[9,10,99,100,999,1000,1023,1024,9999]");
    addRow("5 to 8 digits",         wholes({10000, 99999, 100000, 999999, 1000000, 9999999, 10000000, 99999999}), "[10000,99999,100000,999999,1000000,9999999,10000000,99999999]");
    addRow("9 and 10 digits",       wholes({100000000, 999999999, 1000000000, 4294967295, 4294967296, 8589934592, 9999999999}), "[100000000,999999999,1000000000,4294967295,4294967296,8589934592,9999999999]");
    addRow("11 to 13 digits",       wholes({10000000000, 99999999999, 100000000000, 999999999999, 1000000000000, 9999999999999}), "[10000000000,99999999999,100000000000,999999999999,1000000000000,9999999999999]");
    addRow("14 to 16 digits",       wholes({10000000000000, 99999999999999, 100000000000000, 999999999999999, 1000000000000000, 9999999999999999}), "[10000000000000,99999999999999,100000000000000,999999999999999,1000000000000000,9999999999999999]");
    addRow("17 to 19 digits",       wholes({10000000000000000, 99999999999999999, 100000000000000000, 999999999999999999, 1000000000000000000}), "[10000000000000000,99999999999999999,100000000000000000,999999999999999999,1000000000000000000]");
    addRow("negative",              wholes({-9, -10, -99, -100, -1023, -4294967295, -4294967296, -999999999999999999, -1000000000000000000}), "[-9,-10,-99,-100,-1023,-4294967295,-4294967296,-999999999999999999,-1000000000000000000]");
    addRow("qulonglong 0",          of(qulonglong(0)), "0");
    addRow("qulonglong 2^63 - 1",   of(qulonglong(9223372036854775807u)), "9223372036854775807");
    // Beyond what a signed integer holds it is a double after all.
    addRow("qulonglong 2^63",       of(qulonglong(9223372036854775808u)), "9223372036854776000");
    addRow("qulonglong highest",    of(highest<qulonglong>), "18446744073709552000");

    // A long is none of the integers that Qt writes as a number, until some version after 6.8.
    if (QT_VERSION < QT_VERSION_CHECK(6, 9, 0) || QT_VERSION >= QT_VERSION_CHECK(6, 11, 0)) {
        QByteArray const five = QT_VERSION < QT_VERSION_CHECK(6, 9, 0) ? R"("5")" : "5";
        addRow("long",              of(5l), five);
        addRow("ulong",             of(5ul), five);
        // On 64-bit Linux the fixed-width types are longs, on 32-bit Linux they are not.
        addRow("int64_t",           of(std::int64_t(5)), std::is_same_v<std::int64_t, long> ? five : "5");
        addRow("uint64_t",          of(std::uint64_t(5)), std::is_same_v<std::uint64_t, ulong> ? five : "5");
        addRow("size_t",            of(std::size_t(5)), std::is_same_v<std::size_t, ulong> ? five : "5");
    }
    if (QT_VERSION < QT_VERSION_CHECK(6, 9, 0)) {
        addRow("long lowest",       of(lowest<long>), sizeof(long) == 8 ? R"("-9223372036854775808")" : R"("-2147483648")");
        addRow("long highest",      of(highest<long>), sizeof(long) == 8 ? R"("9223372036854775807")" : R"("2147483647")");
        addRow("ulong highest",     of(highest<ulong>), sizeof(long) == 8 ? R"("18446744073709551615")" : R"("4294967295")");
    }

    addRow("float 1.5",             of(1.5f), "1.5");
    addRow("float 0",               of(0.0f), "0");
    addRow("float 0.1",             of(0.1f), "0.10000000149011612");
    addRow("float highest",         of(highest<float>), "3.4028234663852886e+38");
    addRow("float not a number",    of(notANumber<float>), leftOut);
    addRow("float infinity",        of(infinity<float>), leftOut);
    addRow("double 0",              of(0.0), "0");
    addRow("double -0",             of(-0.0), "0");
    addRow("double 3",              of(3.0), "3");
    addRow("double -3",             of(-3.0), "-3");
    addRow("double 0.1",            of(0.1), "0.1");
    addRow("double 1e300",          of(1e300), "1e+300");
    addRow("double 5e-324",         of(5e-324), "5e-324");
    addRow("double highest",        of(highest<double>), "1.7976931348623157e+308");
    addRow("double 5 * 10^15",      of(5e15), "5000000000000000");
    addRow("double 2^53",           of(9007199254740992.0), "9007199254740992");
    addRow("double 2^53 + 1",       of(9007199254740993.0), "9007199254740992");
    addRow("double not a number",   of(notANumber<double>), leftOut);
    addRow("double infinity",       of(infinity<double>), leftOut);
    addRow("double -infinity",      of(-infinity<double>), leftOut);
}

void ValueEncodingTest::characters_data()
{
    addColumns();
    // To Qt an integer of 8 bits is a Latin-1 character.
    addRow("char",                  of('A'), R"("A")");
    addRow("char 0",                of('\0'), R"("\u0000")");
    addRow("signed char",           of(static_cast<signed char>(7)), R"("\u0007")");
    addRow("uchar",                 of(uchar(200)), R"("È")");
    addRow("uchar 0",               of(uchar(0)), R"("\u0000")");
    addRow("uchar quote",           of(uchar('"')), R"("\"")");
    addRow("QChar",                 of(QChar(u'z')), R"("z")");
    addRow("QChar Cyrillic",        of(QChar(u'Ж')), R"("Ж")");
    addRow("QChar NUL",             of(QChar()), R"("\u0000")");
    addRow("QChar surrogate",       of(QChar(0xd83d)), R"("\ud83d")");
    // Qt turns a char16_t into text since some version after 6.4.
    if (QT_VERSION < QT_VERSION_CHECK(6, 5, 0) || QT_VERSION >= QT_VERSION_CHECK(6, 8, 0))
        addRow("char16_t",          of(u'z'), QT_VERSION < QT_VERSION_CHECK(6, 5, 0) ? leftOut : R"("z")");
}

/// A text of each length up to three blocks, with each kind of character in each place.
void ValueEncodingTest::placesInTexts()
{
    struct
    {
        char16_t unit;
        QByteArray json;
    } const kinds[] = {
        {u'a', "a"},         {u' ', " "},         {u'!', "!"},         {u'#', "#"},         {u'[', "["},
        {u']', "]"},         {0x7e, "~"},         {0x7f, "\x7f"},      {u'"', R"(\")"},     {u'\\', R"(\\)"},
        {0x1f, R"(\u001f)"}, {0, R"(\u0000)"},    {u'\n', R"(\n)"},    {0x80, "\xc2\x80"},  {0x122, "Ģ"},
        {0x15c, "Ŝ"},        {0x2022, "•"},       {0x8041, "聁"},      {0xd83d, R"(\ud83d)"}, {0xffff, "\xef\xbf\xbf"}};
    QByteArray const letters = "abcdefghijklmnopqrstuvwxyz";
    QLoggingCategory::setFilterRules(text("stbanalytics=false"));
    auto const loud = qScopeGuard([] { QLoggingCategory::setFilterRules(QString()); });
    for (qsizetype length = 1; length <= letters.size(); ++length) {
        for (qsizetype place = 0; place < length; ++place) {
            for (auto const &[unit, json] : kinds) {
                QString value = QString::fromLatin1(letters.left(length));
                value[place] = QChar(unit);
                QCOMPARE(encoded(value), '"' + letters.left(place) + json + letters.mid(place + 1, length - place - 1) + '"');
            }
        }
    }
}

void ValueEncodingTest::texts_data()
{
    addColumns();
    addRow("text",                  text("abc"), R"("abc")");
    addRow("null",                  QString(), leftOut);
    addRow("empty",                 text(""), leftOut);
    addRow("space",                 text(" "), R"(" ")");
    addRow("digits",                text("1"), R"("1")");
    addRow("word null",             text("null"), R"("null")");
    addRow("quote",                 text(R"(a"b)"), R"("a\"b")");
    addRow("backslash",             text(R"(a\b)"), R"("a\\b")");
    addRow("slash",                 text("a/b"), R"("a/b")");
    addRow("short escapes",         text("\b\f\n\r\t"), R"("\b\f\n\r\t")");
    addRow("control characters",    text("\x01\x1f"), R"("\u0001\u001f")");
    addRow("NUL",                   utf16({u'\0'}), R"("\u0000")");
    addRow("NUL inside",            utf16({u'a', u'\0', u'b'}), R"("a\u0000b")");
    addRow("DEL",                   text("\x7f"), "\"\x7f\"");
    addRow("Latin",                 text("Größe"), R"("Größe")");
    addRow("Cyrillic",              text("Жизнь"), R"("Жизнь")");
    addRow("Chinese",               text("电视"), R"("电视")");
    addRow("surrogate pair",        utf16({0xd83d, 0xdcfa}), R"("📺")");
    addRow("lone high surrogate",   utf16({0xd83d}), R"("\ud83d")");
    addRow("lone low surrogate",    utf16({0xdcfa}), R"("\udcfa")");
    addRow("surrogates swapped",    utf16({0xdcfa, 0xd83d}), R"("\udcfa\ud83d")");
    addRow("two high surrogates",   utf16({0xd83d, 0xd83d}), R"("\ud83d\ud83d")");
    addRow("surrogate and letter",  utf16({0xd83d, u'b'}), R"("\ud83db")");
    addRow("byte order mark",       utf16({0xfeff}), "\"\xef\xbb\xbf\"");
    addRow("U+0080",                utf16({0x80}), "\"\xc2\x80\"");
    addRow("U+07FF",                utf16({0x7ff}), "\"\xdf\xbf\"");
    addRow("U+0800",                utf16({0x800}), "\"\xe0\xa0\x80\"");
    addRow("U+FFFF",                utf16({0xffff}), "\"\xef\xbf\xbf\"");
    addRow("U+10000",               utf16({0xd800, 0xdc00}), "\"\xf0\x90\x80\x80\"");
    addRow("U+20000",               utf16({0xd840, 0xdc00}), "\"\xf0\xa0\x80\x80\"");
    addRow("U+10FFFF",              utf16({0xdbff, 0xdfff}), "\"\xf4\x8f\xbf\xbf\"");
    static char16_t const pair[] = {0xd83d, 0xdcfa};
    addRow("half of a pair in foreign memory", QString::fromRawData(reinterpret_cast<QChar const *>(pair), 1), R"("\ud83d")");
    static char16_t const letters[] = {u'a', u'b', u'c', u'd', u'e'};
    addRow("letters in foreign memory", QString::fromRawData(reinterpret_cast<QChar const *>(letters + 3), 2), R"("de")");

    // Plain characters go out four or eight at a time.
    addRow("quote after four",      text(R"(abcd")"), R"("abcd\"")");
    addRow("backslash after four",  text(R"(abcde\)"), R"("abcde\\")");
    addRow("escape after four",     text("abcdef\x1f"), R"("abcdef\u001f")");
    addRow("Latin after four",      text("abcdß"), R"("abcdß")");
    addRow("quote among many",      text(R"(abcdefg"hijklmnop)"), R"("abcdefg\"hijklmnop")");
    addRow("backslash among many",  text(R"(abcdef\ghijklmnop)"), R"("abcdef\\ghijklmnop")");
    addRow("escape among many",     text("abcde\x1f" "fghijklmnop"), R"("abcde\u001ffghijklmnop")");
    addRow("Latin among many",      text("abcdefghßijklmnop"), R"("abcdefghßijklmnop")");

    // Longer than what there is room for at the outset.
    auto const addLong = [](char const *name, QString const &text, QByteArray const &json) {
        addRow(name, text.repeated(9000), '"' + json.repeated(9000) + '"');
    };
    addLong("long, plain",             text("a"), "a");
    addLong("long, quotes",            text(R"(")"), R"(\")");
    addLong("long, control characters", text("\x01"), R"(\u0001)");
    addLong("long, Latin",             text("ö"), "ö");
    addLong("long, Chinese",           text("电"), "电");
    addLong("long, surrogate pairs",   utf16({0xd83d, 0xdcfa}), "📺");
    addLong("long, lone surrogates",   utf16({0xdcfa}), R"(\udcfa)");

    addRow("bytes",                 QByteArray("abc"), R"("abc")");
    addRow("bytes, null",           QByteArray(), leftOut);
    addRow("bytes, empty",          QByteArray(""), leftOut);
    addRow("bytes, UTF-8",          QByteArray("\xc3\xa9"), R"("é")");
    addRow("bytes, not UTF-8",      QByteArray("\xff"), R"("�")");
    addRow("bytes, NUL inside",     QByteArray("a\0b", 3), R"("a\u0000b")");

    addRow("URL",                   QUrl(text("http://h/a b?q=%20#f")), R"("http://h/a%20b?q=%20#f")");
    // The host has to take a password out by itself.
    addRow("URL with password",     QUrl(text("http://u:p@h/")), R"("http://u:p@h/")");
    addRow("URL, empty",            QUrl(), leftOut);
    addRow("UUID",                  QUuid(text("{12345678-1234-5678-9ABC-123456789abc}")), R"("12345678-1234-5678-9abc-123456789abc")");
    addRow("UUID, null",            of(QUuid()), R"("00000000-0000-0000-0000-000000000000")");
}

void ValueEncodingTest::containers_data()
{
    addColumns();
    addRow("QStringList",               QStringList({text("b"), text("a")}), R"(["b","a"])");
    addRow("QStringList, empty",        QStringList(), leftOut);
    addRow("QStringList, empty text",   QStringList({text(""), QString()}), R"(["",""])");
    addRow("QList<QString>",            of(QList<QString>{text("a")}), R"(["a"])");
    addRow("map",                       QVariantMap({{text("b"), 1}, {text("a"), text("x")}}), R"({"a":"x","b":1})");
    addRow("map, empty",                QVariantMap(), leftOut);
    addRow("map, empty key",            QVariantMap({{text(""), 1}}), R"({"":1})");
    addRow("map, invalid value",        QVariantMap({{text("k"), QVariant()}}), R"({"k":null})");
    addRow("map, empty text",           QVariantMap({{text("k"), text("")}}), R"({"k":""})");
    addRow("map, nested",               QVariantMap({{text("m"), QVariantMap({{text("l"), listOf({1, listOf({}), QVariant()})}})}}), R"({"m":{"l":[1,[],null]}})");
    addRow("map with a record",         QVariantMap({{text("k"), of(Channel{1, 2})}}), R"({"k":null})");
    addRow("map with a record's list",  QVariantMap({{text("k"), listOf({of(Channel{1, 2})})}}), R"({"k":[null]})");
    addRow("hash",                      QVariantHash({{text("b"), 1}, {text("a"), 2}}), R"({"a":2,"b":1})");
    addRow("hash, empty",               QVariantHash(), leftOut);
    addRow("hash with a record",        QVariantHash({{text("k"), of(Channel{1, 2})}}), R"({"k":null})");
    // Keys sort by code unit: capitals first, a surrogate pair before the end of the first plane.
    addRow("map, order of keys",        QVariantMap({{text("a"), 1}, {text("B"), 2}, {text("_"), 3}, {text("é"), 4}, {text("📺"), 5}, {text("！"), 6}}), R"({"B":2,"_":3,"a":1,"é":4,"📺":5,"！":6})");
}

void ValueEncodingTest::times_data()
{
    addColumns();
    addRow("date",                      QDate(2024, 2, 29), R"("2024-02-29")");
    addRow("date, invalid",             QDate(), leftOut);
    addRow("time",                      QTime(13, 14, 15, 16), R"("13:14:15.016")");
    addRow("time, whole seconds",       QTime(13, 14, 15), R"("13:14:15.000")");
    addRow("time, midnight",            QTime(0, 0), R"("00:00:00.000")");
    addRow("time, invalid",             QTime(), leftOut);
    addRow("UTC",                       moment("2024-02-29T01:02:03.004Z"), R"("2024-02-29T01:02:03.004Z")");
    addRow("UTC, whole seconds",        moment("2024-02-29T01:02:03Z"), R"("2024-02-29T01:02:03.000Z")");
    addRow("offset from UTC",           moment("2024-02-29T02:02:03.004+01:00"), R"("2024-02-29T02:02:03.004+01:00")");
    addRow("date and time, invalid",    QDateTime(), leftOut);
}

void ValueEncodingTest::json_data()
{
    addColumns();
    addRow("value",                     QJsonValue(5), "5");
    addRow("value, text",               QJsonValue(text("x")), R"("x")");
    addRow("value, empty text",         QJsonValue(text("")), leftOut);
    addRow("value, false",              QJsonValue(false), "false");
    addRow("value, infinity",           QJsonValue(infinity<double>), "null");
    addRow("value, null",               QJsonValue(QJsonValue::Null), leftOut);
    addRow("value, undefined",          QJsonValue(QJsonValue::Undefined), leftOut);
    addRow("object",                    QJsonObject({{text("b"), 1}, {text("a"), QJsonObject()}}), R"({"a":{},"b":1})");
    addRow("object, empty",             QJsonObject(), leftOut);
    addRow("object, null member",       QJsonObject({{text("k"), QJsonValue()}}), R"({"k":null})");
    addRow("array",                     QJsonArray({1, QJsonValue(), text("x")}), R"([1,null,"x"])");
    addRow("array, empty",              QJsonArray(), leftOut);
    addRow("array, empty inside",       QJsonArray({1, QJsonArray()}), "[1,[]]");
    addRow("document, object",          QJsonDocument(QJsonObject({{text("k"), 1}})), R"({"k":1})");
    addRow("document, array",           QJsonDocument(QJsonArray({1})), "[1]");
    addRow("document, empty",           QJsonDocument(), leftOut);
}

void ValueEncodingTest::enumerators_data()
{
    addColumns();
    // The enumerator's name, which is not the wire name of such a value: the host looks that one up.
    addRow("MediaType::Unknown",        of(MediaType::Unknown), R"("Unknown")");
    addRow("MediaType::PauseLive",      of(MediaType::PauseLive), R"("PauseLive")");
    addRow("MediaType out of range",    of(static_cast<MediaType>(99)), leftOut);
    addRow("EventType::PlaybackStart",  of(EventType::PlaybackStart), R"("PlaybackStart")");
    addRow("Property::Dash",            of(Property::Dash), R"("Dash")");
    addRow("WidgetName::Vex",           of(WidgetName::Vex), R"("Vex")");
    addRow("enumerators in a list",     listOf({of(AdType::Avod), of(static_cast<AdType>(-1))}), R"(["Avod",null])");
    // Qt writes flags since some version after 6.2.
    if (QT_VERSION < QT_VERSION_CHECK(6, 3, 0) || QT_VERSION >= QT_VERSION_CHECK(6, 4, 0))
        addRow("flags",                 of(Marks(Bold | Italic)), QT_VERSION < QT_VERSION_CHECK(6, 3, 0) ? leftOut : R"("Bold|Italic")");
    // Qt writes the number of an enumerator that it has no name for, as text, since some version after 6.4.
    if (QT_VERSION < QT_VERSION_CHECK(6, 5, 0) || QT_VERSION >= QT_VERSION_CHECK(6, 8, 0))
        addRow("unregistered",          of(Unregistered::Four), QT_VERSION < QT_VERSION_CHECK(6, 5, 0) ? leftOut : R"("4")");
}

void ValueEncodingTest::unknownTypes_data()
{
    static Channel const somewhere = {1, 2};

    addColumns();
    addRow("struct",                    of(Opaque{}), leftOut);
    addRow("std::string",               of(std::string("a")), leftOut);
    addRow("std::vector<int>",          of(std::vector<int>{1}), leftOut);
    addRow("QList<int>",                of(QList<int>{1}), leftOut);
    addRow("QList<Channel>",            of(QList<Channel>{{1, 2}}), leftOut);
    addRow("QMap<QString, int>",        of(QMap<QString, int>{{text("a"), 1}}), leftOut);
    addRow("QHash<QString, QString>",   of(QHash<QString, QString>{{text("a"), text("b")}}), leftOut);
    addRow("std::optional<int>",        of(std::optional<int>(5)), leftOut);
    addRow("QPoint",                    QPoint(1, 2), leftOut);
    addRow("QRegularExpression",        QRegularExpression(text("a")), leftOut);
    addRow("DhcpOption",                of(DhcpOption{1, text("x")}), leftOut);
    addRow("pointer to a record",       of(&somewhere), leftOut);
}

void ValueEncodingTest::records_data()
{
    addColumns();
    addRow("Channel, empty",            of(Channel{}), leftOut);
    addRow("Channel, zero",             of(Channel{{}, 0}), R"({"program_id":0})");
    addRow("PurchaseVariant, empty",    of(PurchaseVariant{}), R"({"usage_model":""})");
    addRow("NetworkInfo, empty",        of(NetworkInfo{}), R"({"statistics":{}})");
    addRow("VmxErrors, empty",          of(VmxErrors{}), leftOut);
    addRow("HdmiInfo, empty",           of(HdmiInfo{}), leftOut);
    addRow("VerimatrixError, empty",    of(VerimatrixError{}), R"({"command":"","error_code":0})");
}

void ValueEncodingTest::dispatchOrder_data()
{
    addColumns();
    addPair<Channel, MediaItem>             ("Channel before MediaItem", R"({"channel_id":1})");
    addPair<MediaItem, PurchaseVariant>     ("MediaItem before PurchaseVariant", R"({"media_item_id":2})");
    addPair<PurchaseVariant, NetworkInfo>   ("PurchaseVariant before NetworkInfo", R"({"service_id":3,"usage_model":""})");
    addPair<NetworkInfo, NetworkInterface>  ("NetworkInfo before NetworkInterface", R"({"speed_mbps":4,"statistics":{}})");
    addPair<NetworkInterface, MemoryModule> ("NetworkInterface before MemoryModule", R"({"interface_name":"eth5"})");
    addPair<MemoryModule, Endpoints>        ("MemoryModule before Endpoints", R"({"mem_size":6})");
    addPair<Endpoints, CpuInfo>             ("Endpoints before CpuInfo", R"({"api_url":"u7"})");
    addPair<CpuInfo, MemoryInfo>            ("CpuInfo before MemoryInfo", R"({"cpu_temperature":8})");
    addPair<MemoryInfo, HdmiInfo>           ("MemoryInfo before HdmiInfo", R"({"mem_total":9})");
    addPair<HdmiInfo, PowerInfo>            ("HdmiInfo before PowerInfo", R"({"tv_name":"tv10"})");
    addPair<PowerInfo, HardwareInfo>        ("PowerInfo before HardwareInfo", R"({"power_state_period":11})");
    addPair<HardwareInfo, WifiInfo>         ("HardwareInfo before WifiInfo", R"({"manufacturer":"m12"})");
    addPair<WifiInfo, MdiInfo>              ("WifiInfo before MdiInfo", R"({"wifi_rssi":13})");
    addPair<MdiInfo, Etr290Info>            ("MdiInfo before Etr290Info", R"({"mlr":14})");
    addPair<Etr290Info, DecoderInfo>        ("Etr290Info before DecoderInfo", R"({"extra_counters":{},"first_priority":{"ts_sync_loss":15}})");
    addPair<DecoderInfo, DashInfo>          ("DecoderInfo before DashInfo", R"({"video_frames_decoded":16})");
    addPair<DashInfo, HlsInfo>              ("DashInfo before HlsInfo", R"({"dash_profile_switches":17})");
    addPair<HlsInfo, BufferingInfo>         ("HlsInfo before BufferingInfo", R"({"hls_profile_switches":18})");
    addPair<BufferingInfo, MediaInfo>       ("BufferingInfo before MediaInfo", R"({"buffering_events":19})");
    addPair<MediaInfo, NcError>             ("MediaInfo before NcError", R"({"audio_channels":20})");
    addPair<NcError, HttpError>             ("NcError before HttpError", R"({"http_response_code":21})");
    addPair<HttpError, SystemSettings>      ("HttpError before SystemSettings", R"({"http_response_code":22})");
    addPair<SystemSettings, Scte35>         ("SystemSettings before Scte35", R"({"audio_level":23})");
    addPair<Scte35, VerimatrixError>        ("Scte35 before VerimatrixError", R"({"splice_event_id":24})");
    addPair<VerimatrixError, VmxErrors>     ("VerimatrixError before VmxErrors", R"({"command":"","error_code":25})");
    addPair<VmxErrors, MessageTarget>       ("VmxErrors before MessageTarget", R"({"total_error_count":26})");
    addPair<Channel, MessageTarget>         ("Channel before MessageTarget", R"({"channel_id":1})");
}

void ValueEncodingTest::converted_data()
{
    static Conversion<ToChannel, Channel> const toChannel({1, 2});
    static Conversion<ToEmptyChannel, Channel> const toEmptyChannel(Channel{});
    static Conversion<ToPurchaseVariant, PurchaseVariant> const toPurchaseVariant(PurchaseVariant{});
    static Conversion<ToTwo, MessageTarget> const toTarget(sample<MessageTarget>());
    static Conversion<ToTwo, CpuInfo> const toCpuInfo(CpuInfo{});
    static Conversion<ToFailing, Channel> const failing(fail);
    static Conversion<ToFailingVariant, PurchaseVariant> const failingVariant(fail);
    static Conversion<ToFailingFirst, Channel> const failingFirst(fail);
    static Conversion<ToFailingFirst, MediaItem> const fallback(sample<MediaItem>());
    static Conversion<ToText, QString> const toText(text("x"));
    static Conversion<ToEmptyText, QString> const toEmptyText(QString{});
    static Conversion<ToTextAndRecord, Channel> const besideText(sample<Channel>());
    static Conversion<ToTextAndRecord, QString> const besideRecord(text("x"));
    static Conversion<ToEmptyTextAndRecord, Channel> const besideEmptyText(sample<Channel>());
    static Conversion<ToEmptyTextAndRecord, QString> const emptyBesideRecord(QString{});
    static Conversion<ToNumber, int> const toNumber(5);
    static Conversion<ToList, QVariantList> const toList(QVariantList{1});
    static Conversion<ToMap, QVariantMap> const toMap(QVariantMap{{text("k"), 1}});
    static Conversion<Tuner *, Channel> const tunedTo(sample<Channel>());
    static Tuner tuner;

    addColumns();
    addRow("record",                        of(ToChannel{}), R"({"channel_id":1,"program_id":2})");
    addRow("record, in a list",             listOf({of(ToChannel{}), of(ToEmptyChannel{})}), R"([{"channel_id":1,"program_id":2},null])");
    addRow("record, null",                  nullOf<ToChannel>(), leftOut);
    addRow("record, from a pointer",        of(&tuner), R"({"channel_id":1})");
    addRow("record, from a null pointer",   of(static_cast<Tuner *>(nullptr)), leftOut);
    addRow("empty record",                  of(ToEmptyChannel{}), leftOut);
    addRow("empty record that is written",  of(ToPurchaseVariant{}), R"({"usage_model":""})");
    // The earlier one is taken although it has nothing to say.
    addRow("two records, earlier empty",    of(ToTwo{}), leftOut);
    // What can be converted is taken, before it is tried; failing leaves the default.
    addRow("failing",                       of(ToFailing{}), leftOut);
    addRow("failing, default written",      of(ToFailingVariant{}), R"({"usage_model":""})");
    addRow("failing before another",        of(ToFailingFirst{}), leftOut);
    addRow("text",                          of(ToText{}), R"("x")");
    addRow("empty text",                    of(ToEmptyText{}), leftOut);
    addRow("text and record",               of(ToTextAndRecord{}), R"("x")");
    addRow("empty text and record",         of(ToEmptyTextAndRecord{}), R"({"channel_id":1})");
    // Of other types Qt takes nothing but text.
    addRow("number",                        of(ToNumber{}), leftOut);
    addRow("list",                          of(ToList{}), leftOut);
    addRow("map",                           of(ToMap{}), leftOut);
}

// clang-format on

void ValueEncodingTest::convertedRecord()
{
    QCOMPARE(encoded(of(sample<HdmiInfo>())), QByteArray(R"({"tv_name":"tv10"})"));
    // A conversion to a record that is tried before the variant's own wins; one to a later record is never reached.
    QCOMPARE((encodedWithConversion<CpuInfo>(sample<HdmiInfo>())), QByteArray(R"({"cpu_temperature":8})"));
    QCOMPARE((encodedWithConversion<Channel>(sample<MessageTarget>())), QByteArray(R"({"channel_id":1})"));
    QCOMPARE((encodedWithConversion<VerimatrixError>(VmxErrors{})), QByteArray(R"({"command":"","error_code":25})"));
    QCOMPARE((encodedWithConversion<PowerInfo>(sample<HdmiInfo>())), QByteArray(R"({"tv_name":"tv10"})"));
    QCOMPARE((encodedWithConversion<MessageTarget>(sample<Channel>())), QByteArray(R"({"channel_id":1})"));
    QCOMPARE((encodedWithConversion<MediaItem>(Channel{})), QByteArray(leftOut));
    {
        Conversion<VerimatrixError, Channel> const conversion(fail);
        QCOMPARE(encoded(of(sample<VerimatrixError>())), QByteArray(leftOut));
    }
    QCOMPARE(encoded(of(sample<VerimatrixError>())), QByteArray(R"({"command":"","error_code":25})"));
    QCOMPARE(encoded(of(sample<HdmiInfo>())), QByteArray(R"({"tv_name":"tv10"})"));
}

void ValueEncodingTest::convertedRecordIsPlain()
{
    QVariant const record = of(sample<PowerInfo>());
    QVariant const inMap = QVariantMap({{text("k"), record}});
    {
        Conversion<PowerInfo, QString> const conversion(text("on"));
        QCOMPARE(encoded(record), QByteArray(R"("on")"));
        QCOMPARE(encoded(listOf({record})), QByteArray(R"(["on"])"));
        QCOMPARE(encoded(inMap), QByteArray(R"({"k":"on"})"));
    }
    {
        Conversion<PowerInfo, QString> const conversion(QString{});
        QCOMPARE(encoded(record), QByteArray(R"({"power_state_period":11})"));
    }
    QCOMPARE(encoded(record), QByteArray(R"({"power_state_period":11})"));
    QCOMPARE(encoded(inMap), QByteArray(R"({"k":null})"));
}

void ValueEncodingTest::convertedLate()
{
    QVariant const value = of(Late{});
    QCOMPARE(encoded(value), QByteArray(leftOut));
    {
        Conversion<Late, Scte35> const conversion(sample<Scte35>());
        QCOMPARE(encoded(value), QByteArray(R"({"splice_event_id":24})"));

        Conversion<Late, MediaItem> const earlier(sample<MediaItem>());
        QCOMPARE(encoded(value), QByteArray(R"({"media_item_id":2})"));
    }
    QCOMPARE(encoded(value), QByteArray(leftOut));
}

QTEST_GUILESS_MAIN(ValueEncodingTest)
#include "tst_valueencoding.moc"
