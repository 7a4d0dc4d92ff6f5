#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVarLengthArray>

#include <cstring>
#include <string_view>

/**
 * @file
 * @brief Compact JSON in one buffer of bytes, written exactly as Qt's own JSON classes write it.
 *
 * The functions write at a place and return where to go on; the caller has made room with JsonBuffer::room() for what
 * the roomFor() functions tell. So the place stays in a register while a record is written. Each member and element is
 * followed by a comma, and the bracket that closes takes the last one's place.
 */

namespace analytics {

/// Bytes that grow. There is room for a usual event without asking for memory.
class JsonBuffer
{
public:
    qsizetype size() const { return m_size; }
    char const *at(qsizetype position) const { return m_bytes.constData() + position; }

    /// Where to write next, with room for so many bytes.
    char *room(qsizetype bytes)
    {
        if (Q_UNLIKELY(m_bytes.size() - m_size < bytes))
            grow(bytes);
        return m_bytes.data() + m_size;
    }

    /// Takes what has been written up to a place, or back what lies behind it.
    void setEnd(char const *at)
    {
        m_size = at - m_bytes.constData();
        Q_ASSERT(m_size <= m_bytes.size());
    }
    void truncate(qsizetype size) { m_size = size; }

private:
    using Bytes = QVarLengthArray<char, 4096>;

    void grow(qsizetype bytes);

    Bytes m_bytes = Bytes(4096); // All of it is there to be written to; what has been written ends at m_size.
    qsizetype m_size = 0;
};

namespace json {

constexpr qsizetype roomForNumber = 32;

constexpr qsizetype roomForKey(std::string_view key)
{
    return static_cast<qsizetype>(key.size()) + 4;
}

/// The room that a long string takes. No reserve for the worst is made for it: it would be six times its size.
qsizetype roomForLongString(QStringView text);

inline qsizetype roomForString(QStringView text)
{
    return text.size() <= 256 ? 6 * text.size() + 2 : roomForLongString(text);
}

/// Writes a string in quotes, with the escapes that it needs.
char *writeString(char *at, QStringView text);

/// Begins a member by a key that needs no escape. Inlined, a key that is known beforehand is a few moves of constants.
Q_ALWAYS_INLINE char *writeKey(char *at, std::string_view key)
{
    *at++ = '"';
    std::memcpy(at, key.data(), key.size());
    at += key.size();
    *at++ = '"';
    *at++ = ':';
    return at;
}

inline char *writeLiteral(char *at, QByteArrayView json)
{
    std::memcpy(at, json.data(), static_cast<std::size_t>(json.size()));
    return at + json.size();
}

char *writeDigits(char *at, qint64 number);

inline char *writeInteger(char *at, qint64 number)
{
    if (number < 0 || number > 9) // Most counters count little.
        return writeDigits(at, number);
    *at = static_cast<char>('0' + number);
    return at + 1;
}

/// Up to here Qt takes a double that is whole for an integer and writes all its digits.
constexpr qint64 largestExact = Q_INT64_C(1) << 53;

/// Writes a number; one that is not finite becomes null.
char *writeNumber(char *at, double number);

/// Writes a 64-bit counter: JSON's numbers are doubles, and it goes out as the double nearest to it.
template <typename Integer> char *writeCounter(char *at, Integer number)
{
    bool const isExact = number <= static_cast<Integer>(largestExact)
        && (std::is_unsigned_v<Integer> || number >= static_cast<Integer>(-largestExact));
    return isExact ? writeInteger(at, static_cast<qint64>(number)) : writeNumber(at, static_cast<double>(number));
}

/// Closes an object or a list.
inline char *writeEnd(char *at, char bracket)
{
    if (at[-1] == ',')
        --at;
    *at++ = bracket;
    return at;
}

} // namespace json

} // namespace analytics
