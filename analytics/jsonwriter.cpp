#include <analytics/jsonwriter_p.h>

#include <QtCore/QLocale>

#include <algorithm>
#include <cmath>
#include <limits>

namespace analytics {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

/// The letter behind the backslash that escapes an ASCII character, 'u' for the form \u00xx; 0 if no escape is needed.
constexpr char escapeOf(char16_t unit)
{
    switch (unit) {
    case u'"':
        return '"';
    case u'\\':
        return '\\';
    case u'\b':
        return 'b';
    case u'\f':
        return 'f';
    case u'\n':
        return 'n';
    case u'\r':
        return 'r';
    case u'\t':
        return 't';
    default:
        return unit < 0x20 ? 'u' : '\0';
    }
}

struct Escapes
{
    constexpr Escapes()
    {
        for (char16_t unit = 0; unit < 0x80; ++unit)
            letters[unit] = escapeOf(unit);
    }

    constexpr char operator[](char16_t unit) const { return letters[unit]; }

    char letters[0x80] = {};
};

constexpr Escapes escapes;

/// Copies `count` UTF-16 units as bytes if all are ASCII and none needs an escape, else returns false. This is the
/// usual case and decides the speed of a string.
template <qsizetype count> bool copyPlain(char16_t const *from, char *to);

constexpr quint64 inEachUnit(quint64 value)
{
    return value * Q_UINT64_C(0x0001000100010001);
}

template <> Q_ALWAYS_INLINE bool copyPlain<4>(char16_t const *from, char *to)
{
    quint64 units;
    std::memcpy(&units, from, sizeof(units));

    // Four units in one integer. In each difference the top bit of a unit is clear only if the unit is below the blank,
    // a quote or a backslash.
    constexpr quint64 top = inEachUnit(0x8000);
    quint64 const notControl = (units | top) - inEachUnit(u' ');
    quint64 const notQuote = ((units ^ inEachUnit(u'"')) | top) - inEachUnit(1);
    quint64 const notBackslash = ((units ^ inEachUnit(u'\\')) | top) - inEachUnit(1);
    if ((units & inEachUnit(0xff80)) || (~(notControl & notQuote & notBackslash) & top))
        return false;

    quint64 const pairs = (units | units >> 8) & Q_UINT64_C(0x0000ffff0000ffff);
    quint32 const bytes = static_cast<quint32>(pairs | pairs >> 16);
    std::memcpy(to, &bytes, sizeof(bytes));
    return true;
}

#if defined(__SSE2__) || defined(__ARM_NEON)

/// Uses a vector register. The vector extension is the same in g++ and clang, for both processors.
template <> Q_ALWAYS_INLINE bool copyPlain<8>(char16_t const *from, char *to)
{
    using Units = quint16 __attribute__((vector_size(16)));
    using Bytes = quint8 __attribute__((vector_size(8)));
    Units units;
    std::memcpy(&units, from, sizeof(units));

    auto const each = [](quint16 unit) { return Units{unit, unit, unit, unit, unit, unit, unit, unit}; };
    auto const notPlain = (units - each(u' ') > each(0x7f - u' ')) | (units == each(u'"')) | (units == each(u'\\'));
    quint64 halves[2];
    std::memcpy(halves, &notPlain, sizeof(halves));
    if (halves[0] | halves[1])
        return false;

    Bytes const bytes = __builtin_convertvector(units, Bytes);
    std::memcpy(to, &bytes, sizeof(bytes));
    return true;
}

#else

template <> Q_ALWAYS_INLINE bool copyPlain<8>(char16_t const *from, char *to)
{
    return copyPlain<4>(from, to) && copyPlain<4>(from + 4, to + 4);
}

#endif

/// Copies units, `count` at a time, up to the first block that copyPlain() refuses, and advances `from`.
template <qsizetype count> Q_ALWAYS_INLINE char *copyPlainRun(char *to, char16_t const *&from, char16_t const *end)
{
    char16_t const *const begin = from;
    for (; end - from >= count && copyPlain<count>(from, to); from += count)
        to += count;
    // Fewer than `count` units are left: copy the last `count` units, the first of which have been written already.
    qsizetype const rest = end - from;
    if (from != begin && rest > 0 && rest < count && copyPlain<count>(end - count, to - count + rest)) {
        from = end;
        to += rest;
    }
    return to;
}

char *writeEscapedUnit(char *to, char16_t unit)
{
    *to++ = '\\';
    *to++ = 'u';
    *to++ = hexDigits[unit >> 12];
    *to++ = hexDigits[unit >> 8 & 0xf];
    *to++ = hexDigits[unit >> 4 & 0xf];
    *to++ = hexDigits[unit & 0xf];
    return to;
}

char *writeUtf8(char *to, char32_t point)
{
    auto const byte = [&to](char32_t bits) { *to++ = static_cast<char>(bits); };
    if (point < 0x800) {
        byte(0xc0 | point >> 6);
    } else {
        if (point < 0x10000) {
            byte(0xe0 | point >> 12);
        } else {
            byte(0xf0 | point >> 18);
            byte(0x80 | (point >> 12 & 0x3f));
        }
        byte(0x80 | (point >> 6 & 0x3f));
    }
    byte(0x80 | (point & 0x3f));
    return to;
}

/// Writes the next unit, or the next two if they are a surrogate pair, and advances `from`.
char *writeUnit(char *to, char16_t const *&from, char16_t const *end)
{
    char16_t const unit = *from++;
    if (unit < 0x80) {
        char const escape = escapes[unit];
        if (Q_LIKELY(escape == '\0')) {
            *to++ = static_cast<char>(unit);
        } else if (escape == 'u') {
            to = writeEscapedUnit(to, unit);
        } else {
            *to++ = '\\';
            *to++ = escape;
        }
        return to;
    }
    if (!QChar::isSurrogate(unit))
        return writeUtf8(to, unit);
    if (QChar::isHighSurrogate(unit) && from != end && QChar::isLowSurrogate(*from))
        return writeUtf8(to, QChar::surrogateToUcs4(unit, *from++));
    // A surrogate without its partner has no UTF-8 form.
    return writeEscapedUnit(to, unit);
}

/// Writes a string from the first unit on that could not be copied with seven others. Not inlined, so that
/// writeString() stays small.
Q_NEVER_INLINE char *writeRest(char *to, char16_t const *from, char16_t const *end)
{
    for (;;) {
        to = copyPlainRun<4>(to, from, end);
        if (from == end)
            return to;
        to = writeUnit(to, from, end);
        to = copyPlainRun<8>(to, from, end);
    }
}

struct DigitPairs
{
    constexpr DigitPairs()
    {
        for (int i = 0; i < 100; ++i) {
            digits[i][0] = static_cast<char>('0' + i / 10);
            digits[i][1] = static_cast<char>('0' + i % 10);
        }
    }

    char digits[100][2] = {};
};

constexpr DigitPairs digitPairs;

struct PowersOfTen
{
    constexpr PowersOfTen()
    {
        for (int i = 1; i < 20; ++i)
            powers[i] = 10 * powers[i - 1];
    }

    quint64 powers[20] = {1};
};

constexpr PowersOfTen powersOfTen;

/// The number of decimal digits of a number that is not zero.
int digitsOf(quint64 number)
{
    // The bits times log10(2), which is about 1233 / 4096: the number of digits, or one less.
    int const atLeast = (64 - static_cast<int>(qCountLeadingZeroBits(number))) * 1233 >> 12;
    return number >= powersOfTen.powers[atLeast] ? atLeast + 1 : atLeast;
}

} // namespace

namespace json {

qsizetype maxBytesOfLongString(QStringView text)
{
    qsizetype bytes = 2;
    for (QChar character : text) {
        char16_t const unit = character.unicode();
        if (unit < 0x80) {
            char const escape = escapes[unit];
            bytes += escape == '\0' ? 1 : escape == 'u' ? 6 : 2;
        } else {
            // A pair takes four bytes, a surrogate without its partner six: each surrogate is counted as six.
            bytes += unit < 0x800 ? 2 : QChar::isSurrogate(unit) ? 6 : 3;
        }
    }
    return bytes;
}

char *writeString(char *cursor, QStringView text)
{
    char16_t const *from = text.utf16();
    char16_t const *const end = from + text.size();
    *cursor++ = '"';
    cursor = copyPlainRun<8>(cursor, from, end);
    if (from != end)
        cursor = writeRest(cursor, from, end);
    *cursor++ = '"';
    return cursor;
}

char *writeDigits(char *cursor, qint64 number)
{
    quint64 rest = static_cast<quint64>(number);
    if (number < 0) {
        *cursor++ = '-';
        rest = 0 - rest;
    }

    // Two digits at a time, the last ones first. This takes half the time of std::to_chars.
    char *const end = cursor + digitsOf(rest);
    char *begin = end;
    auto const writePair = [&begin](unsigned pair) {
        begin -= 2;
        std::memcpy(begin, digitPairs.digits[pair], 2);
    };
    for (; rest > std::numeric_limits<quint32>::max(); rest /= 100)
        writePair(static_cast<unsigned>(rest % 100));
    // Most numbers fit 32 bits, and a small processor divides these much faster.
    quint32 shortRest = static_cast<quint32>(rest);
    for (; shortRest >= 100; shortRest /= 100)
        writePair(shortRest % 100);
    if (begin - cursor == 2)
        writePair(shortRest);
    else
        *cursor = static_cast<char>('0' + shortRest);
    return end;
}

char *writeNumber(char *cursor, double number)
{
    if (std::abs(number) <= static_cast<double>(largestExact) && std::trunc(number) == number)
        return writeInteger(cursor, static_cast<qint64>(number));
    if (std::isfinite(number))
        return writeLiteral(cursor, QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
    return writeLiteral(cursor, "null");
}

} // namespace json

void JsonBuffer::grow(qsizetype bytes)
{
    m_bytes.resize(std::max(2 * m_bytes.size(), m_size + bytes));
}

} // namespace analytics
