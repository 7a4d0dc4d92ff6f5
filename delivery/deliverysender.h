#pragma once

#include <delivery/deliveryoptions.h>

#include <analytics/ipackagesender.h>

#include <QtCore/QThread>

#include <memory>

namespace stbanalytics::delivery {

class DeliveryWorker;
class PackageQueue;

/**
 * @brief Delivers packages to a collector by way of a spool, on a thread of its own.
 *
 * send() takes a package into a queue and returns: it waits for neither disk nor network. The thread writes what is
 * queued to the spool, all of it in one transaction, and then sends what the spool holds.
 */
class DeliverySender : public analytics::IPackageSender
{
public:
    /**
     * @brief Makes a sender that does nothing until start() is called.
     *
     * @param options how packages are delivered; copied
     */
    explicit DeliverySender(DeliveryOptions options);

    /// Calls stop(), if the host has not.
    ~DeliverySender() override;

    /**
     * @brief Opens the spool and starts the thread.
     *
     * @return why it cannot start; an empty string if it has started
     */
    QString start();

    /**
     * @brief Queues a package, and returns at once: waits for neither disk nor network.
     *
     * May be called from any thread, from start() on. An empty package is ignored.
     *
     * @param package what the library hands over; delivered byte for byte
     * @param highPriority whether it goes before all normal packages, in a request of its own
     */
    void send(QByteArray const &package, bool highPriority) override;

    /**
     * @brief Says how far delivery has come. May be called from any thread.
     *
     * @return one consistent snapshot
     */
    DeliveryState state() const;

    /// Saves everything that is queued, gives up the request in progress, and ends the thread. Not to be called from
    /// the functions in DeliveryOptions.
    void stop();

private:
    DeliveryOptions const m_options;
    std::unique_ptr<PackageQueue> m_queue;
    std::unique_ptr<DeliveryWorker> m_worker;
    QThread m_thread;
};

} // namespace stbanalytics::delivery
