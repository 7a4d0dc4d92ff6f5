#include <analytics/testkit/packagereader.h>

#include <analytics/catalogue_p.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <utility>

namespace analytics {

ReportedEvent::ReportedEvent(QJsonObject members)
    : m_members(std::move(members))
{
}

QJsonValue ReportedEvent::operator[](Property property) const
{
    return m_members.value(propertyKeys.value(property));
}

QJsonValue ReportedEvent::operator[](QStringView key) const
{
    return m_members.value(key);
}

QJsonObject ReportedEvent::members() const
{
    return m_members;
}

/// Adds the events of a package to a list. Returns what is wrong with the package, or an empty string.
static QString read(QByteArray const &package, QList<ReportedEvent> &events)
{
    if (package.isEmpty())
        return QStringLiteral("no bytes: no serializer is plugged in");

    QJsonParseError parsing;
    QJsonValue const list = QJsonDocument::fromJson(package, &parsing).object().value(QLatin1String("events"));
    if (parsing.error != QJsonParseError::NoError)
        return QStringLiteral("%1 at offset %2").arg(parsing.errorString()).arg(parsing.offset);
    if (!list.isArray())
        return QStringLiteral("no list of events");

    QJsonArray const elements = list.toArray();
    for (auto const &element : elements) {
        if (!element.isObject())
            return QStringLiteral("event %1 is no object").arg(events.size());
        events.append(ReportedEvent(element.toObject()));
    }
    return {};
}

std::optional<QList<ReportedEvent>> readPackage(QByteArray const &package, QString *error)
{
    QList<ReportedEvent> events;
    QString const fault = read(package, events);
    if (error)
        *error = fault;
    if (!fault.isEmpty())
        return std::nullopt;
    return events;
}

} // namespace analytics
