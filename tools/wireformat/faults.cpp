#include <wireformat/faults.h>

#include <wireformat/model.h>

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <cmath>

namespace wireformat {

namespace {

/// A value in a message: containers by their kind only, since they may be large.
QString shown(QJsonValue const &value)
{
    if (value.isObject())
        return value.toObject().isEmpty() ? QStringLiteral("an empty object") : QStringLiteral("an object");
    if (value.isArray())
        return value.toArray().isEmpty() ? QStringLiteral("an empty list") : QStringLiteral("a list");
    if (value.isString() && value.toString().size() > 40)
        return QStringLiteral("a long string");
    QByteArray const json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(json.mid(1, json.size() - 2));
}

QString fault(QString const &path, QString const &expected, QJsonValue const &value)
{
    return QStringLiteral("%1: expected %2, got %3").arg(path, expected, shown(value));
}

bool isEmpty(QJsonValue const &value)
{
    return (value.isString() && value.toString().isEmpty()) || (value.isArray() && value.toArray().isEmpty())
        || (value.isObject() && value.toObject().isEmpty());
}

void check(QJsonValue const &json, Value const &value, QString const &path, Faults &faults);

void checkNumber(QJsonValue const &json, Value const &value, QString const &what, QString const &path, Faults &faults)
{
    double const number = json.toDouble();
    if (!json.isDouble() || (value.kind == Value::Kind::Integer && std::trunc(number) != number))
        faults.append(fault(path, what, json));
    else if (value.range && !(number >= value.range->lowest && number <= value.range->highest))
        faults.append(fault(
            path, QStringLiteral("%1 from %2 to %3").arg(what, shown(value.range->lowest), shown(value.range->highest)),
            json));
}

void checkMembers(QJsonObject const &object, QList<Member> const &members, QString const &path, Faults &faults)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        QString const memberPath = path + QLatin1Char('.') + it.key();
        auto const member = std::find_if(members.begin(), members.end(),
                                         [&it](Member const &candidate) { return candidate.key == it.key(); });
        if (member == members.end())
            faults.append(memberPath + QStringLiteral(": unknown key"));
        else
            check(it.value(), member->value, memberPath, faults);
    }
    for (Member const &member : members) {
        if (member.isAlways && !object.contains(member.key))
            faults.append(QStringLiteral("%1: lacks %2, which is always written").arg(path, member.key));
    }
}

void checkNamedText(QJsonValue const &json, QString const &path, Faults &faults)
{
    QJsonObject const object = json.toObject();
    if (object.size() != 1)
        faults.append(fault(path, QStringLiteral("an object of one string"), json));
    else if (!object.begin()->isString())
        faults.append(
            fault(path + QLatin1Char('.') + object.begin().key(), QStringLiteral("a string"), *object.begin()));
}

void check(QJsonValue const &json, Value const &value, QString const &path, Faults &faults)
{
    if (json.isNull() && value.mayBeNull)
        return;
    if (isEmpty(json) && !value.mayBeEmpty) {
        faults.append(QStringLiteral("%1: %2 is left out, not written")
                          .arg(path, json.isString() ? QStringLiteral("an empty string") : shown(json)));
        return;
    }

    switch (value.kind) {
    case Value::Kind::Any:
        if (json.isNull())
            faults.append(path + QStringLiteral(": null is left out, not written"));
        break;
    case Value::Kind::Boolean:
        if (!json.isBool())
            faults.append(fault(path, QStringLiteral("true or false"), json));
        break;
    case Value::Kind::Integer:
        checkNumber(json, value, QStringLiteral("an integer"), path, faults);
        break;
    case Value::Kind::Number:
        checkNumber(json, value, QStringLiteral("a number"), path, faults);
        break;
    case Value::Kind::Text:
        if (!json.isString())
            faults.append(fault(path, QStringLiteral("a string"), json));
        else if (!value.words.isEmpty() && !value.words.contains(json.toString()))
            faults.append(fault(path, QStringLiteral("one of ") + value.words.join(QStringLiteral(", ")), json));
        break;
    case Value::Kind::Object:
        if (json.isObject())
            checkMembers(json.toObject(), value.members, path, faults);
        else
            faults.append(fault(path, QStringLiteral("an object"), json));
        break;
    case Value::Kind::NamedText:
        checkNamedText(json, path, faults);
        break;
    case Value::Kind::List: {
        if (!json.isArray()) {
            faults.append(fault(path, QStringLiteral("a list"), json));
            break;
        }
        QJsonArray const array = json.toArray();
        for (qsizetype i = 0; i < array.size(); ++i)
            check(array.at(i), value.element.first(), QStringLiteral("%1[%2]").arg(path).arg(i), faults);
        break;
    }
    }
}

/// The types of events, one bit for each, by their index in the model.
using Types = quint64;

/// A property that a key may stand for, and the types of events in which it does.
struct Carrier
{
    Value value;
    Types types = 0;
};

QHash<QString, QList<Carrier>> makeCarriers()
{
    QMap<analytics::Property, Types> types;
    QList<EventInfo> const &events = model().events;
    Q_ASSERT(events.size() <= 64);
    for (qsizetype i = 0; i < events.size(); ++i) {
        for (analytics::Property property : model().generic + events.at(i).properties)
            types[property] |= Types(1) << i;
    }
    QHash<QString, QList<Carrier>> carriers;
    for (auto it = types.begin(); it != types.end(); ++it) {
        PropertyInfo const property = model().properties.value(it.key());
        carriers[property.key].append({property.value, *it});
    }
    return carriers;
}

} // namespace

Faults checkValue(QJsonValue const &json, Value const &value, QString const &path)
{
    Faults faults;
    check(json, value, path, faults);
    return faults;
}

EventVerdict checkEvent(QJsonValue const &event, QString const &path)
{
    static QHash<QString, QList<Carrier>> const carriers = makeCarriers();

    EventVerdict verdict;
    if (!event.isObject()) {
        verdict.faults.append(fault(path, QStringLiteral("an object"), event));
        return verdict;
    }

    // By its keys, first: a key that two properties share is then judged as the one that the others allow.
    QList<EventInfo> const &events = model().events;
    Types fitting = (Types(1) << events.size()) - 1;
    QJsonObject const object = event.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        Types ofKey = 0;
        for (Carrier const &carrier : carriers.value(it.key()))
            ofKey |= carrier.types;
        if (ofKey == 0)
            verdict.faults.append(QStringLiteral("%1.%2: unknown key").arg(path, it.key()));
        else
            fitting &= ofKey;
    }
    if (fitting == 0)
        verdict.faults.append(path + QStringLiteral(": no type of event has all these keys"));

    Types const byKeys = fitting;
    for (auto it = object.begin(); it != object.end(); ++it) {
        Faults faults;
        Types sound = 0;
        for (Carrier const &carrier : carriers.value(it.key())) {
            if (byKeys != 0 && (carrier.types & byKeys) == 0)
                continue;
            Faults const faultsHere = checkValue(it.value(), carrier.value, path + QLatin1Char('.') + it.key());
            if (faultsHere.isEmpty())
                sound |= carrier.types;
            else if (faults.isEmpty())
                faults = faultsHere;
        }
        if (sound == 0)
            verdict.faults.append(faults);
        fitting &= sound;
    }

    for (qsizetype i = 0; verdict.faults.isEmpty() && i < events.size(); ++i) {
        if (fitting & Types(1) << i)
            verdict.types.append(events.at(i).name);
    }
    return verdict;
}

PackageVerdict checkPackage(QJsonValue const &package)
{
    PackageVerdict verdict;
    if (!package.isObject()) {
        verdict.faults.append(fault(QStringLiteral("package"), QStringLiteral("an object"), package));
        return verdict;
    }
    QJsonObject const object = package.toObject();
    for (QString const &key : object.keys()) {
        if (key != QLatin1String("events"))
            verdict.faults.append(key + QStringLiteral(": unknown key"));
    }
    QJsonValue const events = object.value(QLatin1String("events"));
    if (events.isUndefined()) {
        verdict.faults.append(QStringLiteral("package: lacks events"));
    } else if (!events.isArray()) {
        verdict.faults.append(fault(QStringLiteral("events"), QStringLiteral("a list"), events));
    }
    QJsonArray const array = events.toArray();
    for (qsizetype i = 0; i < array.size(); ++i)
        verdict.events.append(checkEvent(array.at(i), QStringLiteral("events[%1]").arg(i)));
    return verdict;
}

} // namespace wireformat
