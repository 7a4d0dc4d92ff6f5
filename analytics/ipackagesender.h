#pragma once

#include <analytics/export.h>

#include <QtCore/QByteArray>

namespace analytics {

/**
 * @brief Delivers packages; the host implements it.
 *
 * The host owns its sender and keeps it alive while it is plugged into a manager. How and when a package
 * leaves the box is the sender's business: the manager neither waits for nor learns the outcome.
 */
class STBANALYTICS_EXPORT IPackageSender
{
public:
    virtual ~IPackageSender();

    /**
     * @brief Delivers one package.
     *
     * Called synchronously on the thread that appends the event: a sender that blocks also blocks that
     * thread.
     *
     * @param package the package; empty when the serializer produced nothing
     * @param highPriority true for a single event of EventPriority::High, false for a flush of pending
     * events
     */
    virtual void send(QByteArray const &package, bool highPriority) = 0;
};

} // namespace analytics
