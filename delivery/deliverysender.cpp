#include <delivery/deliverysender.h>

#include <delivery/deliveryworker_p.h>

namespace stbanalytics::delivery {

DeliverySender::DeliverySender(DeliveryOptions options)
    : m_options(std::move(options))
    , m_queue(std::make_unique<PackageQueue>())
    , m_worker(std::make_unique<DeliveryWorker>(m_options, *m_queue))
{
}

DeliverySender::~DeliverySender()
{
    stop();
}

QString DeliverySender::start()
{
    QString problem = m_worker->open();
    if (problem.isEmpty()) {
        m_worker->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::started, m_worker.get(), &DeliveryWorker::begin);
        QObject::connect(&m_thread, &QThread::finished, m_worker.get(), &DeliveryWorker::end, Qt::DirectConnection);
        m_thread.start();
    }
    return problem;
}

void DeliverySender::send(QByteArray const &package, bool highPriority)
{
    if (!package.isEmpty() && m_queue->push(package, highPriority))
        QMetaObject::invokeMethod(m_worker.get(), "drainQueue", Qt::QueuedConnection);
}

DeliveryState DeliverySender::state() const
{
    return m_queue->state();
}

void DeliverySender::stop()
{
    m_thread.quit();
    m_thread.wait();
    // A race detector does not see Qt's own locks. The worker takes the queue's lock in its last step, when it
    // publishes its state; taking that lock here tells the detector that the worker is done.
    m_queue->state();
}

} // namespace stbanalytics::delivery
