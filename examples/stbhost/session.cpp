#include <stbhost/session.h>

#include <stbhost/console.h>
#include <stbhost/host.h>
#include <stbhost/stopsignal.h>

#include <QtCore/QDateTime>
#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <utility>

namespace stbhost {

using namespace analytics;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How often the host looks after delivery.
static constexpr auto lookInterval = 100ms;

/// How often it says how far it is, where there is no terminal.
static constexpr auto lineInterval = 10s;

SessionContext contextOf(DeliverySender &sender, StopSignal const &stop)
{
    return {[&] { return sender.state(); }, [&] { sender.stop(); },
            [&](std::chrono::milliseconds time) { return stop.arrivesWithin(time); }, Clock::now,
            [](qint64 bound) { return QRandomGenerator::system()->bounded(bound); }};
}

Session::Session(Host &host, Options const &options, Console &console, SessionContext context)
    : m_host(host)
    , m_options(options)
    , m_console(console)
    , m_context(std::move(context))
    // Boxes that a power cut has started together are not to flush together for ever.
    , m_nextFlush(m_context.now() + std::chrono::milliseconds(m_context.randomBelow(options.flush.count())))
    , m_nextLine(m_context.now() + lineInterval)
{
}

bool Session::goesOnAfter(Clock::time_point time)
{
    do {
        look();
        auto const rest = std::max(Clock::duration::zero(), time - m_context.now());
        m_isStopped = m_isStopped
            || m_context.stopArrivesWithin(
                std::chrono::ceil<std::chrono::milliseconds>(std::min<Clock::duration>(rest, lookInterval)));
    } while (!m_isStopped && m_context.deliveryState().misconfiguration.isEmpty() && m_context.now() < time);
    return !m_isStopped && m_context.deliveryState().misconfiguration.isEmpty();
}

/// Does what is due.
void Session::look()
{
    if (m_context.now() >= m_nextFlush) {
        flush();
        m_nextFlush = m_context.now() + m_options.flush;
    }
    showProgress(m_context.deliveryState());
}

/// Takes along what waits in the library.
void Session::flush()
{
    reportLosses(m_context.deliveryState());
    if (m_host.pendingEvents() > 0)
        m_host.report(EventType::SystemStatus, EventPriority::Medium,
                      std::chrono::milliseconds(QDateTime::currentMSecsSinceEpoch()), {});
}

void Session::reportLosses(DeliveryState const &state)
{
    if (state.losses.total() == m_reportedLosses && state.losses.refused == m_reportedRefusals)
        return;
    // A full spool gives up a package for the report: one is enough until the collector has taken something.
    if (state.sent == m_sentAtReport)
        return;
    m_sentAtReport = state.sent;
    m_reportedLosses = state.losses.total();
    m_reportedRefusals = state.losses.refused;
    QVariantMap const details{{QStringLiteral("lost_to_quota"), state.losses.quota},
                              {QStringLiteral("lost_to_age"), state.losses.age},
                              {QStringLiteral("lost_to_damage"), state.losses.damage},
                              {QStringLiteral("refused"), state.losses.refused}};
    m_host.report(EventType::KivoError, EventPriority::Medium,
                  std::chrono::milliseconds(QDateTime::currentMSecsSinceEpoch()),
                  {{Property::KivoModuleName, QStringLiteral("delivery")},
                   {Property::ErrorReason, QStringLiteral("packages_lost")},
                   {Property::ErrorDetails, details}});
}

QString Session::finish()
{
    flush();
    auto const end = m_context.now() + m_options.linger;
    DeliveryState state = m_context.deliveryState();
    // Another signal is from someone who does not want to wait. No use in waiting for an attempt that comes too late.
    while (state.pending > 0 && state.misconfiguration.isEmpty() && m_context.now() < end
           && (!state.nextAttempt || *state.nextAttempt < end) && !m_context.stopArrivesWithin(20ms)) {
        showProgress(state);
        state = m_context.deliveryState();
    }
    m_context.stopDelivery();

    state = m_context.deliveryState();
    m_console.setStatus({});
    if (!m_options.isQuiet)
        m_console.line(QStringLiteral("stbhost: ") + summary(state));
    if (!state.misconfiguration.isEmpty())
        return QStringLiteral("%1: %2").arg(m_options.delivery->link.url.toString(QUrl::RemovePassword),
                                            state.misconfiguration);
    if (state.unsaved > 0)
        return QStringLiteral("%1 packages are lost: the spool cannot be written").arg(state.unsaved);
    return {};
}

QString Session::summary(DeliveryState const &state) const
{
    return QStringLiteral("%1 events, %2 packages: %3 sent, %4 pending, %5 refused, %6 lost; %7 attempts failed")
        .arg(m_host.events())
        .arg(state.taken)
        .arg(state.sent)
        .arg(state.pending)
        .arg(state.refused)
        .arg(state.losses.total())
        .arg(state.failedAttempts);
}

void Session::showProgress(DeliveryState const &state)
{
    if (m_options.isQuiet)
        return;
    QString text = summary(state);
    if (state.nextAttempt)
        text += QStringLiteral("; next in %1 s")
                    .arg(std::chrono::ceil<std::chrono::seconds>(*state.nextAttempt - m_context.now()).count());
    if (!state.failure.isEmpty())
        text += QLatin1String(": ") + state.failure;
    if (m_console.isTerminal()) {
        m_console.setStatus(text);
    } else if (m_context.now() >= m_nextLine) {
        m_console.line(text);
        m_nextLine = m_context.now() + lineInterval;
    }
}

} // namespace stbhost
