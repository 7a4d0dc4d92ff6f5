#include <stbhost/script.h>

#include <stbhost/host.h>
#include <stbhost/jsonreader.h>
#include <stbhost/properties.h>

#include <analytics/eventnames.h>

#include <QtCore/QMetaEnum>

#include <algorithm>

namespace stbhost {

using namespace analytics;

namespace {

struct ScriptEvent
{
    std::optional<EventType> type;
    std::optional<EventPriority> priority;
    std::optional<qint64> time;
    QHash<Property, QVariant> values;
};

} // namespace

static QString readType(QJsonValue const &json, ScriptEvent &event)
{
    EventType const type = eventTypeFromName(json.toString().toStdString());
    if (type == EventType::Invalid)
        return expected(QStringLiteral("the name of an event"), json);
    event.type = type;
    return {};
}

static QString readPriority(QJsonValue const &json, ScriptEvent &event)
{
    auto const metaEnum = QMetaEnum::fromType<EventPriority>();
    for (int i = 0; i < metaEnum.keyCount(); ++i) {
        if (json.toString() == QString::fromLatin1(metaEnum.key(i)).toLower())
            event.priority = static_cast<EventPriority>(metaEnum.value(i));
    }
    return event.priority ? QString() : expected(QStringLiteral("low, medium or high"), json);
}

static QString readValues(QJsonValue const &json, ScriptEvent &event)
{
    if (!json.isObject())
        return expected(QStringLiteral("an object"), json);

    QJsonObject const object = json.toObject();
    auto const metaEnum = QMetaEnum::fromType<Property>();
    for (auto it = object.begin(); it != object.end(); ++it) {
        QByteArray const key = it.key().toUtf8();
        bool isKnown = false;
        int const number = metaEnum.keyToValue(key.constData(), &isKnown);
        // The framework also knows a property by its name in full, scopes and all.
        bool const isProperty = isKnown && key == metaEnum.valueToKey(number);
        auto const property = static_cast<Property>(number);
        QString const problem = isProperty ? readProperty(property, it.value(), event.values[property])
                                           : QStringLiteral(": unknown property");
        if (!problem.isEmpty())
            return QLatin1Char('.') + it.key() + problem;
    }
    return {};
}

// clang-format off

template <> constexpr Field<ScriptEvent> fields<ScriptEvent>[] = {
    {"event",    readType},
    {"priority", readPriority},
    {"time",     member<&ScriptEvent::time>},
    {"values",   readValues},
};

// clang-format on

/// Returns what is wrong with the line; an empty string when nothing is.
static QString readLine(QByteArray const &line, ScriptEvent &event)
{
    QJsonParseError error;
    QJsonDocument const document = QJsonDocument::fromJson(line, &error);
    // The parser has often read on by a letter when it notices.
    if (document.isNull())
        return QStringLiteral("not JSON: %1 near column %2").arg(error.errorString()).arg(std::max(1, error.offset));
    if (!document.isObject())
        return QStringLiteral("not a JSON object");

    QString const problem = read(document.object(), event);
    if (!problem.isEmpty())
        return problem.mid(1);
    if (!event.type)
        return QStringLiteral("event is missing");
    if (!event.priority)
        return QStringLiteral("priority is missing");
    if (!event.time)
        return QStringLiteral("time is missing");
    return {};
}

bool playScript(QIODevice &script, QString const &name, Host &host, std::function<bool()> const &goesOn,
                QTextStream &messages)
{
    bool isRight = true;
    int lineNumber = 0;
    auto const complain = [&](QString const &reason) {
        // A name in the script may hold anything, a line feed too.
        messages << name << ':' << lineNumber << ": " << reason.simplified() << Qt::endl;
        isRight = false;
    };

    bool isOver = false;
    while (!isOver) {
        QByteArray const line = script.readLine();
        if (line.isEmpty())
            break;
        ++lineNumber;
        if (line.trimmed().isEmpty())
            continue;

        ScriptEvent event;
        QString const problem = readLine(line, event);
        if (!problem.isEmpty()) {
            complain(problem);
            continue;
        }

        QList<Property> const leftOut
            = host.report(*event.type, *event.priority, std::chrono::milliseconds(*event.time), event.values);
        for (Property property : leftOut) {
            QString const key
                = QString::fromLatin1(QMetaEnum::fromType<Property>().valueToKey(static_cast<int>(property)));
            complain(QStringLiteral("values.%1: not carried by %2, left out").arg(key, eventTypeToName(*event.type)));
        }
        isOver = !goesOn();
    }
    return isRight;
}

} // namespace stbhost
