#pragma once

#include <delivery/deliverysender.h>

#include <QtCore/QObject>
#include <QtCore/QTimer>

namespace stbanalytics::delivery {

/// The sender's other half: what happens on its thread.
class DeliveryWorker : public QObject
{
    Q_OBJECT

public:
    DeliveryWorker(DeliveryOptions const &options, DeliverySender &sender);

    /// Opens the spool, before there is a thread. Returns why it cannot; an empty string when it does.
    QString open();

public Q_SLOTS:
    void begin();
    void end();

    /// Moves what is queued to the spool.
    void takeIn();

private:
    void save();
    void attempt();
    void attemptAfter(Backoff::Duration wait);
    void conclude(Answer const &answer);
    void tell(QString const &line) const;
    void publish();

    DeliveryOptions const &m_options;
    DeliverySender &m_sender;
    Spool m_spool;
    Backoff m_backoff;
    std::unique_ptr<CollectorLink> m_link;
    QTimer m_attemptTimer;
    QTimer m_saveTimer;
    std::vector<DeliverySender::Queued> m_queue;

    bool m_isSending = false;
    qint64 m_batchBytes; ///< Shrinks when the collector finds a batch too large.
    qint64 m_oneByOne = 0; ///< So many normal packages are to go one by one: one of them was refused.
    DeliveryState m_state;
    QString m_saveProblem;
    bool m_isSaveDue = false;
};

} // namespace stbanalytics::delivery
