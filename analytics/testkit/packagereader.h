#pragma once

#include <analytics/enums.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringView>

#include <optional>

/**
 * @file
 * @brief Reads what the library has written, for tests.
 */

namespace analytics {

/// One event as it stands in a package. A plain value: copies share their members.
class ReportedEvent
{
public:
    /**
     * @brief Makes an event of a JSON object.
     * @param members the members of the object
     */
    explicit ReportedEvent(QJsonObject members);

    /**
     * @brief Returns what was reported for a property.
     * @param property the property; its key is the library's own
     * @return the value, undefined where none was reported; three properties share one key, and no event has two of
     * them
     */
    QJsonValue operator[](Property property) const;

    /**
     * @brief Returns the member with a key.
     * @param key the key, as receivers see it
     * @return the value, undefined where there is none
     */
    QJsonValue operator[](QStringView key) const;

    /**
     * @brief Returns all that was reported.
     * @return the members by their keys
     */
    QJsonObject members() const;

private:
    QJsonObject m_members;
};

/**
 * @brief Reads a package of JsonEventSerializer's.
 *
 * An event of a type that the catalogue does not know leaves no bytes. Alone in a package it is read as an empty list;
 * beside others it leaves a comma too many, and the package cannot be read, by receivers neither.
 *
 * @param package the bytes that a sender was given
 * @param error is told what is wrong with them, and where Qt's reader stopped; nothing when they can be read
 * @return the events in their order; nothing for bytes that are no package
 */
std::optional<QList<ReportedEvent>> readPackage(QByteArray const &package, QString *error = nullptr);

} // namespace analytics
