#include <delivery/packagequeue_p.h>

#include <delivery/spool_p.h>

#include <algorithm>
#include <utility>

namespace stbanalytics::delivery {

bool PackageQueue::push(QByteArray const &package, bool isHigh)
{
    QMutexLocker const locker(&m_mutex);
    bool const wasEmpty = m_queue.empty();
    m_queue.push_back({package, isHigh});
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
    return wasEmpty;
}

qint64 PackageQueue::drain(std::vector<Queued> &packages)
{
    QMutexLocker const locker(&m_mutex);
    packages.swap(m_queue);
    m_queuedBytes = 0;
    // Until they are published, too, they are pending: a host is not to stop as if there were nothing.
    m_state.pending += static_cast<qint64>(packages.size());
    m_state.unsaved += static_cast<qint64>(packages.size());
    return std::exchange(m_dropped, 0);
}

void PackageQueue::publish(DeliveryState const &state)
{
    QMutexLocker const locker(&m_mutex);
    m_state = state;
}

DeliveryState PackageQueue::state() const
{
    QMutexLocker const locker(&m_mutex);
    DeliveryState state = m_state;
    auto const queued = static_cast<qint64>(m_queue.size());
    state.taken = m_taken;
    state.pending += queued;
    state.unsaved += queued;
    return state;
}

} // namespace stbanalytics::delivery
