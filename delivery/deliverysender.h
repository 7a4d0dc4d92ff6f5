#pragma once

#include <delivery/backoff_p.h>
#include <delivery/collectorlink_p.h>
#include <delivery/spool_p.h>

#include <analytics/ipackagesender.h>

#include <QtCore/QMutex>
#include <QtCore/QThread>

#include <memory>
#include <optional>

namespace stbanalytics::delivery {

class DeliveryWorker;

/**
 * @brief How packages are to be delivered.
 *
 * Both functions may be left unset. They are called on the delivery's thread, between start() and the end of stop().
 * They may call send() and state(). They may not call stop(), nor delete the sender: both wait for that thread. They
 * may not throw. Until a function returns, no package is saved or sent.
 */
struct DeliveryOptions
{
    CollectorLink::Options link;
    QString folder; ///< Of the spool.
    Spool::Limits spool;
    Backoff::Limits backoff;
    qint64 batchBytes = 262'144; ///< The most bytes of normal packages in one request.

    /// Called with each package once it is safe on the disk.
    std::function<void(QByteArray const &package)> safe;

    /// Called with a line for whoever looks after the box: a package was refused and is set aside, the spool was
    /// damaged, the disk takes nothing, the disk takes something again. It is not called for what state() shows.
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

    /// Why this sender makes no more attempts: the address takes no packages, or a certificate does not fit. Empty as
    /// long as it makes some. The notice is not called for this: a host looks at it from time to time.
    QString misconfiguration;

    /// When the next request is due, while the sender waits for that time. The first one may wait for as long as
    /// Backoff::Limits::spread says, which is a minute.
    std::optional<std::chrono::steady_clock::time_point> nextAttempt;
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
    friend class DeliveryWorker;

    struct Queued
    {
        QByteArray package;
        bool isHigh;
    };

    DeliveryOptions const m_options;
    std::unique_ptr<DeliveryWorker> m_delivery;
    QThread m_thread;

    mutable QMutex m_mutex; // For all that follows.
    std::vector<Queued> m_queue;
    qint64 m_queuedBytes = 0;
    qint64 m_taken = 0;
    qint64 m_dropped = 0;
    DeliveryState m_state;
};

} // namespace stbanalytics::delivery
