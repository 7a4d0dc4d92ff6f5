#pragma once

#include <delivery/deliverysender.h>
#include <stbhost/options.h>

#include <QtCore/QString>

#include <chrono>
#include <functional>

namespace stbhost {

using stbanalytics::delivery::DeliverySender;
using stbanalytics::delivery::DeliveryState;

class Console;
class Host;
class StopSignal;

/// What a session hears from delivery and from its process. Tests answer in their place.
struct SessionContext
{
    std::function<DeliveryState()> deliveryState;
    std::function<void()> stopDelivery;
    /// Waits for a signal to stop, that long at most. Returns whether one came.
    std::function<bool(std::chrono::milliseconds)> stopArrivesWithin;
    std::function<std::chrono::steady_clock::time_point()> now;
    /// Any number from 0, and below that one.
    std::function<qint64(qint64)> randomBelow;
};

/// That of a host: what it says of time and chance is the system's.
SessionContext contextOf(DeliverySender &sender, StopSignal const &stop);

/**
 * @brief What a host that delivers does between its events.
 *
 * Low-priority events wait in the library until one of medium priority comes: the host reports its status for that at
 * intervals, and at the end. What the spool had to drop is reported the same way, as an error of the module
 * "delivery" with the sums since the spool was made.
 */
class Session
{
public:
    Session(Host &host, Options const &options, Console &console, SessionContext context);

    /// Does what is due until then. Returns whether the host is to go on.
    bool goesOnAfter(std::chrono::steady_clock::time_point time);

    /// Sends or spools everything. Returns why that was not possible; an empty string when it was.
    QString finish();

private:
    void look();
    void flush();
    void reportLosses(DeliveryState const &state);
    QString summary(DeliveryState const &state) const;
    void showProgress(DeliveryState const &state);

    Host &m_host;
    Options const &m_options;
    Console &m_console;
    SessionContext m_context;
    std::chrono::steady_clock::time_point m_nextFlush;
    std::chrono::steady_clock::time_point m_nextLine;
    qint64 m_reportedLosses = 0;
    qint64 m_reportedRefusals = 0;
    qint64 m_sentAtReport = -1;
    bool m_isStopped = false;
};

} // namespace stbhost
