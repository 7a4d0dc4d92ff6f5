#pragma once

#include <analytics/records.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <utility>

/**
 * @file
 * @brief Numbers, texts and records by chance, most of them where an encoder has reason to stumble.
 */

/// Draws by chance. A seed gives the same draws everywhere, which the standard's distributions do not promise, and so
/// do bytes: each draw takes as few of them as it needs, and behind their end all draws are zero.
class Random
{
public:
    explicit Random(quint64 seed)
        : m_engine(seed)
    {
    }

    Random(uchar const *bytes, std::size_t size)
        : m_next(bytes)
        , m_end(bytes + size)
    {
    }

    quint64 bits() { return m_engine ? (*m_engine)() : fromBytes(8); }

    int below(int end)
    {
        if (m_engine)
            return static_cast<int>((*m_engine)() % static_cast<quint64>(end));
        return static_cast<int>(fromBytes(end <= 0x100 ? 1 : end <= 0x10000 ? 2 : 4) % static_cast<quint64>(end));
    }

    int between(int first, int last) { return first + below(last - first + 1); }
    bool oneIn(int number) { return below(number) == 0; }

    template <typename Type, std::size_t size> Type const &oneOf(Type const (&choices)[size])
    {
        return choices[below(static_cast<int>(size))];
    }

private:
    quint64 fromBytes(int count)
    {
        quint64 number = 0;
        for (int shift = 0; shift < 8 * count && m_next != m_end; shift += 8)
            number |= static_cast<quint64>(*m_next++) << shift;
        return number;
    }

    std::optional<std::mt19937_64> m_engine;
    uchar const *m_next = nullptr;
    uchar const *m_end = nullptr;
};

// Numbers

template <typename Integer> Integer randomInteger(Random &random)
{
    constexpr quint64 borders[] = {
        Q_UINT64_C(1) << 31,          Q_UINT64_C(1) << 32,           Q_UINT64_C(1) << 53,           Q_UINT64_C(1) << 63,
        Q_UINT64_C(1000000000000000), Q_UINT64_C(10000000000000000), Q_UINT64_C(100000000000000000)};

    auto const near = [&random](quint64 border) {
        quint64 const number = border + static_cast<quint64>(random.below(5)) - 2;
        return random.oneIn(2) ? number : 0 - number;
    };

    switch (random.below(9)) {
    case 0:
    case 1:
        return static_cast<Integer>(random.below(12));
    case 2:
        return static_cast<Integer>(near(static_cast<quint64>(std::numeric_limits<Integer>::max())));
    case 3:
        return static_cast<Integer>(near(static_cast<quint64>(std::numeric_limits<Integer>::min())));
    case 4:
        return static_cast<Integer>(near(Q_UINT64_C(1) << random.below(64)));
    case 5: {
        quint64 power = 1;
        for (int exponent = random.below(20); exponent > 0; --exponent)
            power *= 10;
        return static_cast<Integer>(near(power));
    }
    case 6:
        return static_cast<Integer>(random.bits());
    case 7:
        return static_cast<Integer>(random.bits() >> random.below(64));
    default:
        return static_cast<Integer>(near(random.oneOf(borders)));
    }
}

inline double randomDouble(Random &random)
{
    constexpr double special[] = {0.0,
                                  -0.0,
                                  0.1,
                                  -0.1,
                                  1.0 / 3,
                                  3.0,
                                  3.5,
                                  1e15,
                                  1e16,
                                  1e17,
                                  1e21,
                                  1e22,
                                  1e300,
                                  1e-5,
                                  0.0001,
                                  5e-324,
                                  2.2250738585072014e-308,
                                  std::numeric_limits<double>::max(),
                                  std::numeric_limits<double>::lowest(),
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN()};

    auto const fromBits = [](quint64 bits) {
        double number;
        std::memcpy(&number, &bits, sizeof(number));
        return number;
    };

    switch (random.below(9)) {
    case 0:
        return fromBits(random.bits());
    case 1:
        return fromBits(random.bits() & 0x800fffffffffffff); // Subnormal
    case 2:
        return random.oneOf(special);
    case 3:
        return static_cast<double>(randomInteger<qint64>(random));
    case 4:
        return static_cast<double>(randomInteger<quint64>(random));
    case 5: // Around 2^53, where whole numbers begin to fall together; below it there are halves.
        return std::ldexp(1.0, random.between(51, 54)) + random.between(-8, 8) / 2.0;
    case 6:
        return random.between(-20000, 20000) / 1000.0;
    case 7:
        return random.between(-99, 99) * std::pow(10.0, random.between(-30, 30));
    default:
        return std::nextafter(static_cast<double>(randomInteger<qint64>(random)), random.oneIn(2) ? -1e300 : 1e300);
    }
}

inline float randomFloat(Random &random)
{
    if (random.oneIn(3)) {
        quint32 const bits = static_cast<quint32>(random.bits());
        float number;
        std::memcpy(&number, &bits, sizeof(number));
        return number;
    }
    double const number = randomDouble(random);
    return std::abs(number) > static_cast<double>(std::numeric_limits<float>::max()) ? 24.975f
                                                                                     : static_cast<float>(number);
}

// Texts

/// A unit that is escaped, or that stands at the edge of a UTF-8 length, or whose bytes look like other characters.
inline char16_t strangeUnit(Random &random)
{
    constexpr char16_t units[]
        = {u'"',   u'"',   u'\\',  u'\\',  u'/',   u'\b',  u'\f',  u'\n',  u'\r',  u'\t',  0x00,   0x01,   0x0b,
           0x1f,   0x20,   0x21,   0x23,   0x5b,   0x5d,   0x7e,   0x7f,   0x80,   0x9f,   0xa0,   0xe9,   0xff,
           0x100,  0x122,  0x15c,  0x7ff,  0x800,  0x2028, 0x2200, 0x225c, 0x5c00, 0x5c22, 0x8041, 0xd7ff, 0xd800,
           0xd83d, 0xdbff, 0xdc00, 0xdcfa, 0xdfff, 0xe000, 0xfdd0, 0xfeff, 0xfffd, 0xfffe, 0xffff};
    return random.oneOf(units);
}

inline QString randomText(Random &random)
{
    int const chance = random.below(64);
    int const length = chance < 5 ? 0
        : chance == 5             ? random.between(250, 262)
        : chance == 6             ? random.between(250, 2000)
                                  : random.below(41);
    if (length == 0)
        return random.oneIn(2) ? QString() : QStringLiteral("");

    // A part of a longer text that it does not own, as hosts make them too: what lies around it is as ordinary.
    static constexpr char16_t longText[] = u"The quick brown fox jumps over the lazy dog, 0123456789 times";
    if (random.oneIn(16)) {
        int const begin = random.below(20);
        return QString::fromRawData(reinterpret_cast<QChar const *>(longText) + begin, std::min(length, 40));
    }

    QString text(length, Qt::Uninitialized);
    auto *units = reinterpret_cast<char16_t *>(text.data());
    quint64 bits = 0;
    for (int i = 0; i < length; ++i, bits >>= 8) {
        if (i % 8 == 0)
            bits = random.bits();
        units[i] = static_cast<char16_t>(u'0' + (bits & 0x0f) + (bits >> 2 & 0x20)); // Neither quote nor backslash
    }

    auto const putPair = [units](int at) {
        units[at] = 0xd83d;
        units[at + 1] = 0xdcfa;
    };

    switch (random.below(12)) {
    case 0: // Hardly an ordinary unit
        for (int i = 0; i < length; ++i) {
            if (!random.oneIn(3))
                units[i] = strangeUnit(random);
        }
        break;
    case 1:
        for (int i = 0; i < length; ++i)
            units[i] = static_cast<char16_t>(random.bits());
        break;
    case 2:
        for (int i = 0; i < length; ++i)
            units[i] = static_cast<char16_t>(random.bits() & 0xff);
        break;
    case 3: { // The same again and again, which is also what takes most room for its length
        char16_t const unit = strangeUnit(random);
        std::fill(units, units + length, unit);
        break;
    }
    case 4:
        for (int i = random.below(2); i + 1 < length; i += 2)
            putPair(i);
        break;
    case 5:
    case 6:
    case 7:
    case 8: // One to three amid ordinary ones
        for (int count = random.between(1, 3); count > 0; --count) {
            int const at = random.below(length);
            if (at + 1 < length && random.oneIn(4))
                putPair(at);
            else
                units[at] = strangeUnit(random);
        }
        break;
    default:
        break;
    }
    return text;
}

inline QByteArray randomBytes(Random &random)
{
    // Cut off, overlong, out of range, a surrogate, and stray bytes
    constexpr char const *notUtf8[]
        = {"\xc3", "\xe2\x82", "\xf0\x9f\x93", "\xc0\x80", "\xe0\x80\x80",     "\xf4\x90",    "\xed\xa0\xbd",
           "\xff", "\x80",     "\xfe\xff",     "\xbf\xbf", "\xf8\x88\x80\x80", "\xed\xb3\xba"};
    switch (random.below(6)) {
    case 0: {
        QByteArray bytes(random.below(41), Qt::Uninitialized);
        for (char &byte : bytes)
            byte = static_cast<char>(random.bits());
        return bytes;
    }
    case 1:
        return randomText(random).toUtf8() + random.oneOf(notUtf8) + randomText(random).toUtf8();
    case 2:
        return random.oneOf(notUtf8);
    default:
        return randomText(random).toUtf8();
    }
}

// Records: each is taken apart here, so that a record with a new field does not compile until that is drawn too.

template <typename Function, typename... Fields> void eachOf(Function &&function, Fields &...field)
{
    (function(field), ...);
}

// clang-format off
template <typename Function> void eachField(analytics::Channel &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::MediaItem &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::PurchaseVariant &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j] = r; eachOf(f, a, b, c, d, e, g, h, i, j); }
template <typename Function> void eachField(analytics::NetworkInfo &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j, k, l, m] = r; eachOf(f, a, b, c, d, e, g, h, i, j, k, l, m); }
template <typename Function> void eachField(analytics::NetworkInterface &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j, k] = r; eachOf(f, a, b, c, d, e, g, h, i, j, k); }
template <typename Function> void eachField(analytics::DhcpOption &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::MemoryModule &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::Endpoints &r, Function &&f) { auto &[a, b, c, d, e] = r; eachOf(f, a, b, c, d, e); }
template <typename Function> void eachField(analytics::CpuInfo &r, Function &&f) { auto &[a, b, c, d, e] = r; eachOf(f, a, b, c, d, e); }
template <typename Function> void eachField(analytics::MemoryInfo &r, Function &&f) { auto &[a, b, c, d, e, g, h, i] = r; eachOf(f, a, b, c, d, e, g, h, i); }
template <typename Function> void eachField(analytics::HdmiInfo &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::PowerInfo &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::HardwareInfo &r, Function &&f) { auto &[a, b, c, d, e] = r; eachOf(f, a, b, c, d, e); }
template <typename Function> void eachField(analytics::WifiInfo &r, Function &&f) { auto &[a, b, c, d, e, g] = r; eachOf(f, a, b, c, d, e, g); }
template <typename Function> void eachField(analytics::MdiInfo &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::Etr290Info &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j, k, l, m, n] = r; eachOf(f, a, b, c, d, e, g, h, i, j, k, l, m, n); }
template <typename Function> void eachField(analytics::DecoderInfo &r, Function &&f) { auto &[a, b, c, d, e, g] = r; eachOf(f, a, b, c, d, e, g); }
template <typename Function> void eachField(analytics::DashInfo &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::HlsInfo &r, Function &&f) { auto &[a, b, c, d, e] = r; eachOf(f, a, b, c, d, e); }
template <typename Function> void eachField(analytics::BufferingInfo &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::MediaInfo &r, Function &&f) { auto &[a, b, c, d, e, g, h] = r; eachOf(f, a, b, c, d, e, g, h); }
template <typename Function> void eachField(analytics::NcError &r, Function &&f) { auto &[a, b, c, d, e, g, h] = r; eachOf(f, a, b, c, d, e, g, h); }
template <typename Function> void eachField(analytics::HttpError &r, Function &&f) { auto &[a, b, c] = r; eachOf(f, a, b, c); }
template <typename Function> void eachField(analytics::SystemSettings &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j, k, l] = r; eachOf(f, a, b, c, d, e, g, h, i, j, k, l); }
template <typename Function> void eachField(analytics::Scte35 &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::VerimatrixError &r, Function &&f) { auto &[a, b, c, d, e] = r; eachOf(f, a, b, c, d, e); }
template <typename Function> void eachField(analytics::VmxErrors &r, Function &&f) { auto &[a, b] = r; eachOf(f, a, b); }
template <typename Function> void eachField(analytics::MessageTarget &r, Function &&f) { auto &[a, b, c, d, e, g, h, i, j, k, l, m, n, o, p, q, s, t, u, v] = r; eachOf(f, a, b, c, d, e, g, h, i, j, k, l, m, n, o, p, q, s, t, u, v); }
// clang-format on

/// Draws the fields of a record.
class RecordFiller
{
public:
    explicit RecordFiller(Random &random)
        : m_random(random)
        , m_percentSet(random.oneIn(16)      ? 0
                           : random.oneIn(4) ? 10
                                             : random.between(30, 100))
    {
    }

    void operator()(QString &text) const
    {
        if (isSet())
            text = randomText(m_random);
    }

    void operator()(int &number) const { number = randomInteger<int>(m_random); }

    template <typename Number> void operator()(std::optional<Number> &number) const
    {
        if (!isSet())
            return;
        if constexpr (std::is_floating_point_v<Number>)
            number = randomFloat(m_random);
        else
            number = randomInteger<Number>(m_random);
    }

    void operator()(std::pair<QString, QString> &pair) const
    {
        constexpr char16_t const *names[] = {u"", u"id", u"id", u"name", u"\u00e9", u"a\"b"};
        pair.first = m_random.oneIn(3) ? randomText(m_random) : QString::fromUtf16(m_random.oneOf(names));
        pair.second = randomText(m_random);
    }

    template <typename Element> void operator()(QList<Element> &list) const
    {
        if (!isSet())
            return;
        list.resize(m_random.below(5));
        for (Element &element : list)
            (*this)(element);
    }

    template <typename Record> void operator()(Record &record) const { eachField(record, RecordFiller(m_random)); }

private:
    bool isSet() const { return m_random.below(100) < m_percentSet; }

    Random &m_random;
    int m_percentSet;
};

template <typename Record> Record randomRecord(Random &random)
{
    Record record;
    RecordFiller fill(random);
    fill(record);
    return record;
}

/// A number that tells a record's contents, for what is to depend on them.
class Digest
{
public:
    quint64 value() const { return m_value; }

    void operator()(QString &text)
    {
        add(static_cast<quint64>(text.size()));
        for (QChar character : std::as_const(text))
            add(character.unicode());
    }

    void operator()(int &number) { add(static_cast<quint64>(number)); }

    template <typename Number> void operator()(std::optional<Number> &number)
    {
        if (!number.has_value()) {
            add(1);
        } else if constexpr (std::is_floating_point_v<Number>) {
            quint32 bits;
            std::memcpy(&bits, &*number, sizeof(bits));
            add(bits);
        } else {
            add(static_cast<quint64>(*number));
        }
    }

    void operator()(std::pair<QString, QString> &pair)
    {
        (*this)(pair.first);
        (*this)(pair.second);
    }

    template <typename Element> void operator()(QList<Element> &list)
    {
        for (Element &element : list)
            (*this)(element);
    }

    template <typename Record> void operator()(Record &record) { eachField(record, *this); }

private:
    void add(quint64 bits) { m_value = (m_value ^ bits) * Q_UINT64_C(0x9e3779b97f4a7c15) + 1; }

    quint64 m_value = 0;
};

template <typename Record> quint64 digestOf(Record record)
{
    Digest digest;
    digest(record);
    return digest.value();
}
