#pragma once

#include <logging/logging.h>

#include <QtCore/QByteArrayView>
#include <QtCore/QDebug>
#include <QtCore/QStringDecoder>
#include <QtCore/QTextStream>
#include <QtCore/QVarLengthArray>

#include <limits>

/**
 * @file
 * @brief The line that the host's log gets for each event. jsoneventserializer.cpp includes it, and so do
 * benchmarks that measure the line alone.
 */

namespace analytics {

/// Replaces the escapes in a text by the characters that they stand for. Returns the new end. Reads only what the
/// library writes: every escape is complete.
[[gnu::cold]] inline QChar *unescape(QChar *begin, QChar const *end)
{
    QChar *to = begin;
    for (QChar const *from = begin; from != end; ++from) {
        char16_t unit = from->unicode();
        if (unit == u'\\') {
            unit = (++from)->unicode();
            switch (unit) {
            case u'b':
                unit = u'\b';
                break;
            case u'f':
                unit = u'\f';
                break;
            case u'n':
                unit = u'\n';
                break;
            case u'r':
                unit = u'\r';
                break;
            case u't':
                unit = u'\t';
                break;
            case u'u':
                unit = QStringView(from + 1, 4).toUShort(nullptr, 16);
                from += 4;
                break;
            default: // A quote or a backslash.
                break;
            }
        }
        *to++ = QChar(unit);
    }
    return to;
}

/// The text of a JSON string, or an empty text if the value is anything else. It lives in the buffer.
inline QStringView textOf(QByteArrayView json, QVarLengthArray<QChar, 256> &buffer)
{
    if (json.isEmpty() || json.front() != '"')
        return {};
    QByteArrayView const text = json.sliced(1, json.size() - 2);
    // Without the flag a U+FEFF at the beginning would be dropped.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    buffer.resize(decoder.requiredSpace(text.size()));
    QChar *end = decoder.appendToBuffer(buffer.data(), text);
    if (Q_UNLIKELY(text.contains('\\')))
        end = unescape(buffer.data(), end);
    return QStringView(buffer.data(), end);
}

/// The value of a JSON number that is an int, or 0 for any other value. std::from_chars() is no choice: it defines a
/// symbol with which the loader never unloads the library.
inline int intOf(QByteArrayView json)
{
    bool const isNegative = json.startsWith('-');
    qint64 number = 0;
    for (char digit : json.sliced(isNegative ? 1 : 0)) {
        if (digit < '0' || digit > '9' || number > std::numeric_limits<int>::max())
            return 0;
        number = 10 * number + (digit - '0');
    }
    number = isNegative ? -number : number;
    return number == static_cast<int>(number) ? static_cast<int>(number) : 0;
}

/// Tells the host's log that an event is ready. The words are written into the text stream behind the debug stream,
/// each as one item: the debug stream itself would first make a QString of each.
inline void writeDiagnosticLine(QStringView id, int counter)
{
    using Words = QTextStream &(*)(QTextStream &);
    Words const prepared
        = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("analytics event prepared:"); };
    Words const idIs = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("id ="); };
    Words const counterIs = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("counter ="); };

    QDebug line = logging::toLog(4, "stbanalytics", QString(), 0, "", "");
    (line << prepared).maybeSpace();
    (line << idIs).maybeSpace() << id;
    (line << counterIs).maybeSpace() << counter;
}

} // namespace analytics
