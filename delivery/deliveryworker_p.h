#pragma once

#include <delivery/backoff_p.h>
#include <delivery/collectorlink_p.h>
#include <delivery/packagequeue_p.h>
#include <delivery/spool_p.h>

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <memory>
#include <vector>

namespace stbanalytics::delivery {

/// What DeliverySender does on its thread: the queue into the spool, the spool to the collector.
class DeliveryWorker : public QObject
{
    Q_OBJECT

public:
    DeliveryWorker(DeliveryOptions const &options, PackageQueue &queue);

    /// Opens the spool, before there is a thread. Returns why it cannot; an empty string when it does.
    QString open();

public Q_SLOTS:
    void begin();
    void end();

    /// Moves what is queued to the spool.
    void drainQueue();

private:
    void save();
    void attempt();
    void attemptAfter(Backoff::Duration wait);
    void handleAnswer(Answer const &answer);
    void tell(QString const &line) const;
    void publish();

    DeliveryOptions const &m_options;
    PackageQueue &m_queue;
    Spool m_spool;
    Backoff m_backoff;
    std::unique_ptr<CollectorLink> m_link;
    QTimer m_attemptTimer;
    QTimer m_saveTimer;
    std::vector<PackageQueue::Queued> m_drained; ///< Empty but in drainQueue(); keeps its capacity.

    bool m_isSending = false;
    qint64 m_batchBytes; ///< Shrinks when the collector finds a batch too large.
    qint64 m_oneByOne = 0; ///< So many normal packages are to go one by one: one of them was refused.
    DeliveryState m_state;
    QString m_saveProblem;
    bool m_isSaveDue = false;
};

} // namespace stbanalytics::delivery
