#pragma once

#include <stbhost/delivery/backoff.h>
#include <stbhost/delivery/collectorlink.h>
#include <stbhost/delivery/spool.h>

#include <analytics/ipackagesender.h>

#include <QtCore/QMutex>
#include <QtCore/QThread>

#include <memory>
#include <optional>

namespace stbhost {

class Delivery;

/// How packages are to be delivered.
struct DeliveryOptions
{
    CollectorLink::Options link;
    QString folder; ///< Of the spool.
    Spool::Limits spool;
    Backoff::Limits backoff;
    qint64 batchBytes = 262'144; ///< The most bytes of normal packages in one request.

    /// Called on the delivery's thread with each package once it is safe on the disk; may be empty.
    std::function<void(QByteArray const &package)> safe;

    /// Called on the delivery's thread with a line for whoever looks after the box.
    std::function<void(QString const &line)> notice;
};

/// How far delivery has come since the start.
struct DeliveryState
{
    qint64 taken = 0; ///< Packages that send() took.
    qint64 pending = 0; ///< Packages that wait, those of earlier runs included.
    qint64 unsaved = 0; ///< Those of them that a power-off would take now.
    qint64 sent = 0; ///< Packages that the collector has.
    qint64 refused = 0; ///< Packages set aside in the spool, those of earlier runs included.
    qint64 failedAttempts = 0; ///< Requests to be made again.
    Losses losses; ///< Since the spool was made.
    QString failure; ///< Why the last request failed; empty if it did not.
    QString
        misconfiguration; ///< Why there are no more attempts, the address or a certificate; empty as long as there are.
    std::optional<std::chrono::steady_clock::time_point> nextAttempt; ///< While it waits for one.
};

/**
 * @brief Delivers packages to a collector by way of a spool, on a thread of its own.
 *
 * send() takes a package into a queue and returns: it waits for neither disk nor network. The thread writes what is
 * queued to the spool, all of it in one transaction, and then sends what the spool holds.
 */
class DeliverySender : public analytics::IPackageSender
{
public:
    explicit DeliverySender(DeliveryOptions options);

    /// Stops, if stop() has not been called.
    ~DeliverySender() override;

    /// Opens the spool, and begins. Returns why it cannot; an empty string when it does.
    QString start();

    /// From any thread. A package that is empty is nothing to deliver.
    void send(QByteArray const &package, bool highPriority) override;

    /// From any thread.
    DeliveryState state() const;

    /// Puts everything that is queued into the spool, gives up the request under way, and ends the thread.
    void stop();

private:
    friend class Delivery;

    struct Queued
    {
        QByteArray package;
        bool isHigh;
    };

    DeliveryOptions const m_options;
    std::unique_ptr<Delivery> m_delivery;
    QThread m_thread;

    mutable QMutex m_mutex; // For all that follows.
    std::vector<Queued> m_queue;
    qint64 m_queuedBytes = 0;
    qint64 m_taken = 0;
    qint64 m_dropped = 0;
    DeliveryState m_state;
};

} // namespace stbhost
