#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVarLengthArray>

#include <cstring>
#include <string_view>
#include <type_traits>

/**
 * @file
 * @brief Compact JSON in one buffer, with the same bytes as Qt's own JSON classes write. The serializer,
 * recordwriter_p.h, catalogueindex_p.h and jsonwriter.cpp include it.
 *
 * The functions write through a cursor, a pointer into the buffer, and return the cursor behind the last byte written,
 * so that it stays in a register. The caller first reserves the sum of the maxBytesOf...() and maxBytesOfKey once more,
 * because a key is copied as that many bytes, and commits the cursor at the end. A function whose name begins with
 * append does both itself.
 *
 * A member begins with a comma: closeObject() overwrites the first one with '{'. An element of a list ends with a
 * comma: closeList() overwrites the last one with ']'.
 */

namespace analytics {

/// A buffer that grows. A usual event needs no memory from the heap.
class JsonBuffer
{
public:
    qsizetype size() const { return m_size; }
    char const *at(qsizetype position) const { return m_bytes.constData() + position; }

    /// Returns the cursor for the next bytes, which has that many bytes of space.
    char *reserve(qsizetype bytes)
    {
        if (Q_UNLIKELY(m_bytes.size() - m_size < bytes))
            grow(bytes);
        return m_bytes.data() + m_size;
    }

    /// Takes over the bytes before a cursor.
    void commit(char const *cursor)
    {
        m_size = cursor - m_bytes.constData();
        Q_ASSERT(m_size <= m_bytes.size());
    }

    /// Rolls back to an earlier size.
    void truncate(qsizetype size) { m_size = size; }

private:
    using Bytes = QVarLengthArray<char, 4096>;

    void grow(qsizetype bytes);

    Bytes m_bytes = Bytes(4096); // Its size is the capacity. The committed bytes end at m_size.
    qsizetype m_size = 0;
};

namespace json {

constexpr qsizetype maxBytesOfNumber = 32;

/// The bytes with which a member begins: a comma, the key in quotes, and a colon. For a key that needs no escape.
class PackedKey
{
public:
    constexpr PackedKey() = default;
    explicit constexpr PackedKey(std::string_view name)
        : m_size(static_cast<quint8>(name.size() + 4))
    {
        m_bytes[0] = ',';
        m_bytes[1] = '"';
        for (std::size_t i = 0; i < name.size(); ++i)
            m_bytes[2 + i] = name[i];
        m_bytes[2 + name.size()] = '"';
        m_bytes[3 + name.size()] = ':';
    }

    constexpr qsizetype size() const { return m_size; }

private:
    char m_bytes[31] = {};
    quint8 m_size = 0;
};

/// Every key is copied as this many bytes, whatever its size: a copy of constant size is faster.
constexpr qsizetype maxBytesOfKey = sizeof(PackedKey);

/// Counts the bytes of a string: exact but for surrogates, each of which is counted as if it were escaped.
qsizetype maxBytesOfLongString(QStringView text);

/// A unit takes up to six bytes. For a long string that would reserve far too much, so its bytes are counted.
inline qsizetype maxBytesOfString(QStringView text)
{
    return text.size() <= 256 ? 6 * text.size() + 2 : maxBytesOfLongString(text);
}

/// Writes a string in quotes and escapes what JSON has to escape.
char *writeString(char *cursor, QStringView text);

/// Begins a member.
inline char *writeKey(char *cursor, PackedKey const &key)
{
    static_assert(std::is_trivially_copyable_v<PackedKey>);
    std::memcpy(cursor, &key, sizeof(key));
    return cursor + key.size();
}

/// Copies bytes that are JSON already.
inline char *writeLiteral(char *cursor, QByteArrayView json)
{
    char const *from = json.data();
    qsizetype const size = json.size();
    constexpr qsizetype block = 16;
    // In this range copying in place is faster than a call of memcpy. The last block may overlap the one before it.
    if (size >= block && size <= 512) {
        char *const end = cursor + size;
        char const *const lastBlock = from + size - block;
        for (; end - cursor > block; cursor += block, from += block)
            std::memcpy(cursor, from, block);
        std::memcpy(end - block, lastBlock, block);
        return end;
    }
    std::memcpy(cursor, from, static_cast<std::size_t>(size));
    return cursor + size;
}

/// Writes an integer that is not zero.
char *writeDigits(char *cursor, qint64 number);

inline char *writeInteger(char *cursor, qint64 number)
{
    if (number < 0 || number > 9) // Most counters are small.
        return writeDigits(cursor, number);
    *cursor = static_cast<char>('0' + number);
    return cursor + 1;
}

/// Qt writes a double without a fraction as an integer, with all its digits, up to this limit.
constexpr qint64 largestExact = Q_INT64_C(1) << 53;

/// Writes a number, or null if it is not finite.
char *writeNumber(char *cursor, double number);

/// Writes a 64-bit field of a record as the nearest double, as QJsonValue(double) is written.
template <typename Integer> char *writeCounter(char *cursor, Integer number)
{
    bool const isExact = number <= static_cast<Integer>(largestExact)
        && (std::is_unsigned_v<Integer> || number >= static_cast<Integer>(-largestExact));
    return isExact ? writeInteger(cursor, static_cast<qint64>(number))
                   : writeNumber(cursor, static_cast<double>(number));
}

/// Closes a list: overwrites the comma behind the last element.
inline char *closeList(char *cursor)
{
    if (cursor[-1] == ',')
        --cursor;
    *cursor++ = ']';
    return cursor;
}

/// Makes an object of the members from begin on: overwrites the comma before the first one.
inline char *closeObject(char *begin, char *cursor)
{
    if (cursor == begin) // No member, and no comma to overwrite.
        ++cursor;
    *begin = '{';
    *cursor++ = '}';
    return cursor;
}

} // namespace json

} // namespace analytics
