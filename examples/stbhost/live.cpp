#include <stbhost/live.h>

#include <stbhost/host.h>

#include <QtCore/QDateTime>
#include <QtCore/QEventLoop>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace stbhost {

using namespace analytics;

/// Makes SIGINT and SIGTERM readable, so that they reach the event loop instead of interrupting whatever runs.
static int signalDescriptor()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

void reportLive(Host &host, std::chrono::milliseconds interval, std::optional<int> count)
{
    int const signalFd = signalDescriptor();
    int samples = 0;
    QEventLoop loop;

    auto const now = [] { return std::chrono::milliseconds(QDateTime::currentMSecsSinceEpoch()); };
    auto const sample = [&] {
        host.report(EventType::SqmMetrics, EventPriority::Medium, now(),
                    {{Property::Interval, QVariant::fromValue<qint64>(interval.count())}});
        ++samples;
        if (!host.error().isEmpty() || samples == count)
            loop.quit();
    };

    QSocketNotifier stopNotifier(signalFd, QSocketNotifier::Read);
    QObject::connect(&stopNotifier, &QSocketNotifier::activated, &loop, [&] { loop.quit(); });

    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &loop, sample);
    timer.start(interval);

    // From within the loop, which is the only place that it can be quit from.
    QTimer begin;
    begin.setSingleShot(true);
    QObject::connect(&begin, &QTimer::timeout, &loop, [&] {
        host.report(EventType::SystemStatus, EventPriority::Medium, now(), {});
        sample();
    });
    begin.start(0);
    loop.exec();
    close(signalFd);
}

} // namespace stbhost
