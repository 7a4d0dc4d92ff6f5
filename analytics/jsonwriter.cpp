#include <analytics/jsonwriter_p.h>

#include <QtCore/QLocale>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace analytics {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

/// The letter that escapes an ASCII character, 'u' for one that is escaped by its number, 0 for one that is not.
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

constexpr quint64 inEachUnit(quint64 value)
{
    return value * Q_UINT64_C(0x0001000100010001);
}

/// Writes four units at once where all are ASCII and none is escaped: the usual case, worth most of a string's time.
bool copyFourPlain(char16_t const *from, char *to)
{
    quint64 units;
    std::memcpy(&units, from, sizeof(units));

    // A unit has its top bit set in a difference unless it is the character (or below the blank) that is subtracted.
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

/// Writes the next unit, or the next two where they are a pair, and moves on in the text.
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
    // Half of a pair has no UTF-8 form.
    return writeEscapedUnit(to, unit);
}

} // namespace

namespace json {

qsizetype roomForLongString(QStringView text)
{
    qsizetype bytes = 2;
    for (QChar character : text) {
        char16_t const unit = character.unicode();
        if (unit < 0x80) {
            char const escape = escapes[unit];
            bytes += escape == '\0' ? 1 : escape == 'u' ? 6 : 2;
        } else {
            // Half of a pair takes two bytes, but one that is alone is escaped.
            bytes += unit < 0x800 ? 2 : QChar::isSurrogate(unit) ? 6 : 3;
        }
    }
    return bytes;
}

char *writeString(char *at, QStringView text)
{
    char16_t const *from = text.utf16();
    char16_t const *const end = from + text.size();
    *at++ = '"';
    while (from != end) {
        char16_t const *const begin = from;
        while (end - from >= 4 && copyFourPlain(from, at)) {
            from += 4;
            at += 4;
        }
        // A rest of less than four, or of none, goes out together with what went before it.
        if (qsizetype const rest = end - from; from != begin && rest < 4 && copyFourPlain(end - 4, at - 4 + rest)) {
            at += rest;
            break;
        }
        at = writeUnit(at, from, end);
    }
    *at++ = '"';
    return at;
}

char *writeDigits(char *at, qint64 number)
{
    return std::to_chars(at, at + roomForNumber, number).ptr;
}

char *writeNumber(char *at, double number)
{
    if (std::abs(number) <= static_cast<double>(largestExact) && std::trunc(number) == number)
        return writeInteger(at, static_cast<qint64>(number));
    if (std::isfinite(number))
        return writeLiteral(at, QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
    return writeLiteral(at, "null");
}

} // namespace json

void JsonBuffer::grow(qsizetype bytes)
{
    m_bytes.resize(std::max(2 * m_bytes.size(), m_size + bytes));
}

} // namespace analytics
