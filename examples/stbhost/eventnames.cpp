#include <stbhost/eventnames.h>

#include <QtCore/QHash>
#include <QtCore/QMetaEnum>

namespace stbhost {

using namespace analytics;

static QString nameOf(QString const &enumerator)
{
    QString name;
    for (QChar letter : enumerator) {
        if (letter.isUpper() && !name.isEmpty())
            name += QLatin1Char('_');
        name += letter.toLower();
    }
    return name.replace(QLatin1String("trick_mode"), QLatin1String("trickmode"));
}

static QHash<EventType, QString> allNames()
{
    QHash<EventType, QString> names;
    auto const metaEnum = QMetaEnum::fromType<EventType>();
    for (int i = 0; i < metaEnum.keyCount(); ++i) {
        auto const type = static_cast<EventType>(metaEnum.value(i));
        if (type != EventType::Invalid)
            names.insert(type, nameOf(QString::fromLatin1(metaEnum.key(i))));
    }
    return names;
}

static QHash<EventType, QString> const &knownNames()
{
    static QHash<EventType, QString> const known = allNames();
    return known;
}

QString eventName(EventType type)
{
    return knownNames().value(type);
}

std::optional<EventType> eventOfName(QString const &name)
{
    EventType const type = knownNames().key(name, EventType::Invalid);
    return type == EventType::Invalid ? std::nullopt : std::optional(type);
}

} // namespace stbhost
