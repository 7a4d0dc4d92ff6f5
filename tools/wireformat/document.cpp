#include <wireformat/document.h>

#include <wireformat/doccomments.h>
#include <wireformat/model.h>

#include <QtCore/QMetaEnum>
#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

namespace wireformat {

using analytics::EventPriority;
using analytics::Property;

namespace {

QString fieldOf(QString const &key)
{
    QStringList words = key.split(QLatin1Char('_'));
    for (qsizetype i = 1; i < words.size(); ++i)
        words[i][0] = words.at(i).front().toUpper();
    return words.join(QString());
}

QString code(QString const &text)
{
    return QLatin1Char('`') + text + QLatin1Char('`');
}

QString link(QString const &title)
{
    return QStringLiteral("[%1](#%2)").arg(title, title.toLower());
}

/// A property's meaning for readers who do not see the headers: the words are in the column of values already.
QString meaningOf(PropertyInfo const &property, DocComments const &comments)
{
    static QRegularExpression const headerName(QStringLiteral("; see \\w+(?:\\(\\))?"));
    return comments.of(QStringLiteral("Property"), property.name).remove(headerName);
}

QString codes(QStringList const &texts)
{
    QStringList result;
    for (QString const &text : texts)
        result.append(code(text));
    return result.join(QStringLiteral(", "));
}

QString typeOf(Value const &value)
{
    switch (value.kind) {
    case Value::Kind::Any:
        return QStringLiteral("any");
    case Value::Kind::Boolean:
        return QStringLiteral("boolean");
    case Value::Kind::Integer:
        if (!value.range)
            return QStringLiteral("integer");
        if (value.range->highest > 0xffffffff)
            return value.range->lowest < 0 ? QStringLiteral("integer of 64 bits")
                                           : QStringLiteral("integer of 64 bits, from 0");
        return QStringLiteral("integer, %1 to %2")
            .arg(static_cast<qint64>(value.range->lowest))
            .arg(static_cast<qint64>(value.range->highest));
    case Value::Kind::Number:
        return value.range ? QStringLiteral("number, of single precision") : QStringLiteral("number");
    case Value::Kind::Text:
        return value.words.isEmpty() ? QStringLiteral("string")
                                     : QStringLiteral("one of the strings ") + codes(value.words);
    case Value::Kind::Object:
        return value.record.isEmpty() ? QStringLiteral("object") : link(value.record);
    case Value::Kind::NamedText:
        return QStringLiteral("object of one member, which has the name as its key and a string");
    case Value::Kind::List:
        return QStringLiteral("list: ") + typeOf(value.element.first());
    }
    Q_UNREACHABLE();
}

QString presenceOf(Member const &member)
{
    if (member.isAlways)
        return QStringLiteral("always");
    switch (member.value.kind) {
    case Value::Kind::Text:
    case Value::Kind::List:
        return QStringLiteral("unless empty");
    default:
        return QStringLiteral("if known");
    }
}

void writeMembers(QTextStream &out, QString const &record, QString const &path, QList<Member> const &members,
                  DocComments const &comments)
{
    for (Member const &member : members) {
        out << "| " << code(path + member.key) << " | " << typeOf(member.value) << " | " << presenceOf(member) << " | "
            << meaningOf(record, member, comments) << " |\n";
        writeMembers(out, record, path + member.key + QLatin1Char('.'), member.value.members, comments);
        for (Value const &element : member.value.element) {
            if (element.record.isEmpty())
                writeMembers(out, QString(), path + member.key + QStringLiteral("[]."), element.members, comments);
        }
    }
}

bool holds(Value const &value, QString const &record)
{
    return value.record == record || (!value.element.isEmpty() && value.element.first().record == record);
}

/// The keys of properties and the records that have a record for their value.
QString placesOf(QString const &record)
{
    QStringList places;
    for (PropertyInfo const &property : model().properties) {
        if (holds(property.value, record))
            places.append(code(property.key));
    }
    for (auto it = model().records.begin(); it != model().records.end(); ++it) {
        for (Member const &member : it->members) {
            if (holds(member.value, record))
                places.append(code(member.key) + QStringLiteral(" of ") + link(it.key()));
        }
    }
    return places.join(QStringLiteral(", "));
}

/// A property's row in the table; keys alone would not do, as several properties have the key `target`.
QString anchorOf(PropertyInfo const &property)
{
    return QStringLiteral("property-") + property.name.toLower();
}

QString keyLink(PropertyInfo const &property)
{
    return QStringLiteral("[%1](#%2)").arg(code(property.key), anchorOf(property));
}

void writeEvents(QTextStream &out, DocComments const &comments)
{
    QStringList generic;
    for (Property property : model().generic)
        generic.append(keyLink(model().properties.value(property)));

    out << "## The events\n\n"
        << "There are " << model().events.size()
        << " types of events. Each entry has the event's wire name, its meaning,\n"
        << "the priority that the library recommends, and the event's own keys, each with a link to its row in the\n"
        << "table of properties. The keys stand in the order in which the library asks the host for them; on the wire\n"
        << "they stand in alphabetical order. Every event also carries\n"
        << generic.join(QStringLiteral(",\n")) << ".\n";
    for (EventInfo const &event : model().events) {
        QStringList keys;
        for (Property property : event.properties)
            keys.append(keyLink(model().properties.value(property)));
        out << "\n### " << event.name << "\n\n"
            << comments.of(QStringLiteral("EventType"), event.type)
            << " Priority: " << QMetaEnum::fromType<EventPriority>().valueToKey(static_cast<int>(event.priority))
            << ".\n\n"
            << keys.join(QStringLiteral(", ")) << '\n';
    }
}

void writeProperties(QTextStream &out, DocComments const &comments)
{
    out << "\n## The properties\n\n"
        << "There are " << model().properties.size() << " properties; each is one key of an event. Type and meaning\n"
        << "are what receivers expect: the library writes what the host gives. Times and durations are in "
           "milliseconds\n"
        << "unless the meaning names another unit.\n\n"
        << "| key | value | meaning | name in C++ |\n|---|---|---|---|\n";
    for (PropertyInfo const &property : model().properties) {
        out << "| <a id=\"" << anchorOf(property) << "\"></a>" << code(property.key) << " | " << typeOf(property.value)
            << " | " << meaningOf(property, comments) << " | " << property.name << " |\n";
    }
}

void writeRecords(QTextStream &out, DocComments const &comments)
{
    out << "\n## The records\n\n"
        << "The members stand in their order on the wire. `a.b` is member `b` of the object `a`, and `a[].b` member\n"
        << "`b` of each object in the list `a`.\n";
    for (auto it = model().records.begin(); it != model().records.end(); ++it) {
        out << "\n### " << it.key() << "\n\n"
            << comments.of(it.key()) << "\nStands in: " << placesOf(it.key()) << ".\n\n"
            << "| member | value | written | meaning |\n|---|---|---|---|\n";
        writeMembers(out, it.key(), QString(), it->members, comments);
    }
}

} // namespace

QString meaningOf(QString const &record, Member const &member, DocComments const &comments)
{
    if (record.isEmpty() || member.value.kind == Value::Kind::Object)
        return {};
    return comments.of(record, fieldOf(member.key));
}

QByteArray makeDocument(DocComments const &comments)
{
    QString text;
    QTextStream out(&text);
    writeEvents(out, comments);
    writeProperties(out, comments);
    writeRecords(out, comments);
    out.flush();
    return text.toUtf8();
}

} // namespace wireformat
