#include <delivery/deliverysender.h>

#include <delivery/deliveryworker_p.h>

#include <algorithm>

namespace stbanalytics::delivery {

DeliverySender::DeliverySender(DeliveryOptions options)
    : m_options(std::move(options))
    , m_delivery(std::make_unique<DeliveryWorker>(m_options, *this))
{
}

DeliverySender::~DeliverySender()
{
    stop();
}

QString DeliverySender::start()
{
    QString problem = m_delivery->open();
    if (problem.isEmpty()) {
        m_delivery->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::started, m_delivery.get(), &DeliveryWorker::begin);
        QObject::connect(&m_thread, &QThread::finished, m_delivery.get(), &DeliveryWorker::end, Qt::DirectConnection);
        m_thread.start();
    }
    return problem;
}

void DeliverySender::send(QByteArray const &package, bool highPriority)
{
    if (package.isEmpty())
        return;

    bool isFirst = false;
    {
        QMutexLocker const locker(&m_mutex);
        isFirst = m_queue.empty();
        m_queue.push_back({package, highPriority});
        m_queuedBytes += package.size();
        ++m_taken;
        // The disk has been stuck for long.
        while (m_queuedBytes > Spool::memoryLimit) {
            auto it = std::find_if(m_queue.begin(), m_queue.end(), [](Queued const &queued) { return !queued.isHigh; });
            it = it == m_queue.end() ? m_queue.begin() : it;
            m_queuedBytes -= it->package.size();
            m_queue.erase(it);
            ++m_dropped;
        }
    }
    // Whoever finds the queue empty wakes the thread: once for all that come until it has taken them.
    if (isFirst)
        QMetaObject::invokeMethod(m_delivery.get(), "takeIn", Qt::QueuedConnection);
}

DeliveryState DeliverySender::state() const
{
    QMutexLocker const locker(&m_mutex);
    DeliveryState state = m_state;
    auto const queued = static_cast<qint64>(m_queue.size());
    state.taken = m_taken;
    state.pending += queued;
    state.unsaved += queued;
    return state;
}

void DeliverySender::stop()
{
    m_thread.quit();
    m_thread.wait();
    // A race detector does not see Qt's own locks. The thread's last act, publishing, takes this one.
    QMutexLocker const locker(&m_mutex);
}

} // namespace stbanalytics::delivery
