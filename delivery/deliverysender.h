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
    DeliveryOptions const m_options;
    std::unique_ptr<PackageQueue> m_queue;
    std::unique_ptr<DeliveryWorker> m_worker;
    QThread m_thread;
};

} // namespace stbanalytics::delivery
