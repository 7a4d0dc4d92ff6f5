#pragma once

#include <delivery/deliveryoptions.h>

#include <QtCore/QMutex>

#include <vector>

namespace stbanalytics::delivery {

/// What stands between a host's threads and the delivery's own: packages on their way in, the state on its way out.
/// Each function may be called from any thread.
class PackageQueue
{
public:
    struct Queued
    {
        QByteArray package;
        bool isHigh;
    };

    /// Queues a package. When the queue is full, the oldest normal package is dropped, or else the oldest. Returns
    /// whether the queue was empty: whoever fills it wakes the delivery's thread, once for all that come until drain().
    bool push(QByteArray const &package, bool isHigh);

    /// Moves all packages into `packages`, which is empty. Returns how many were dropped since the last call.
    qint64 drain(std::vector<Queued> &packages);

    void publish(DeliveryState const &state);

    /// What was published last, with the packages that have been queued since.
    DeliveryState state() const;

private:
    mutable QMutex m_mutex;
    std::vector<Queued> m_queue;
    qint64 m_queuedBytes = 0;
    qint64 m_taken = 0;
    qint64 m_dropped = 0;
    DeliveryState m_state;
};

} // namespace stbanalytics::delivery
