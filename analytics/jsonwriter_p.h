#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVarLengthArray>

#include <cstring>
#include <string_view>
#include <type_traits>

/**
 * @file
 * @brief Compact JSON in one buffer of bytes, written exactly as Qt's own JSON classes write it.
 *
 * The functions write at a place and return where to go on; the caller has made room with JsonBuffer::room() for what
 * the roomFor() functions tell, and for one key more. So the place stays in a register while a record is written. Each
 * member is led by a comma, and the bracket that opens its object takes the first one's place; each element of a list
 * is followed by one, and the bracket that closes takes the last one's.
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

/// A key that needs no escape, as it begins a member: after a comma, in quotes, and with its colon.
class Key
{
public:
    constexpr Key() = default;
    explicit constexpr Key(std::string_view name)
        : m_size(static_cast<quint8>(name.size() + 4))
    {
        m_bytes[0] = ',';
        m_bytes[1] = '"';
        for (std::size_t i = 0; i < name.size(); ++i)
            m_bytes[2 + i] = name[i];
        m_bytes[2 + name.size()] = '"';
        m_bytes[3 + name.size()] = ':';
    }

    constexpr std::string_view name() const { return {m_bytes + 2, m_size - std::size_t(4)}; }
    constexpr qsizetype size() const { return m_size; }

private:
    char m_bytes[31] = {};
    quint8 m_size = 0;
};

/// All keys are copied alike, without a look at their size: behind the last one there has to be room for the longest.
constexpr qsizetype roomForKey = sizeof(Key);

/// The room that a long string takes. No reserve for the worst is made for it: it would be six times its size.
qsizetype roomForLongString(QStringView text);

inline qsizetype roomForString(QStringView text)
{
    return text.size() <= 256 ? 6 * text.size() + 2 : roomForLongString(text);
}

/// Writes a string in quotes, with the escapes that it needs.
char *writeString(char *at, QStringView text);

/// Begins a member.
inline char *writeKey(char *at, Key const &key)
{
    static_assert(std::is_trivially_copyable_v<Key>);
    std::memcpy(at, &key, sizeof(key));
    return at + key.size();
}

/// Writes bytes that are JSON already.
inline char *writeLiteral(char *at, QByteArrayView json)
{
    char const *from = json.data();
    qsizetype const size = json.size();
    constexpr qsizetype block = 16;
    // For so few bytes a call of memcpy costs more than copying them. The last block overlaps the one before it.
    if (size >= block && size <= 512) {
        char *const end = at + size;
        char const *const lastBlock = from + size - block;
        for (; end - at > block; at += block, from += block)
            std::memcpy(at, from, block);
        std::memcpy(end - block, lastBlock, block);
        return end;
    }
    std::memcpy(at, from, static_cast<std::size_t>(size));
    return at + size;
}

/// Writes a number that is not zero.
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

/// Closes a list.
inline char *writeEndOfList(char *at)
{
    if (at[-1] == ',')
        --at;
    *at++ = ']';
    return at;
}

/// Makes an object of the members that have been written since a place.
inline char *writeObject(char *begin, char *at)
{
    if (at == begin) // There is no comma to take the place of.
        ++at;
    *begin = '{';
    *at++ = '}';
    return at;
}

} // namespace json

} // namespace analytics
