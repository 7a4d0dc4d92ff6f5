#include <delivery/deliveryworker_p.h>

#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <numeric>
#include <utility>

namespace stbanalytics::delivery {

using namespace std::chrono_literals;

/// How often the spool is looked after: written again after a failure, and rid of what is too old.
static constexpr auto saveInterval = 5s;

/// Many small packages cost the collector more than their bytes tell.
static constexpr int batchCount = 200;

/// The body of a request. The packages are JSON already, and go into it as they are.
static QByteArray requestOf(QList<Package> const &packages)
{
    QByteArray request = "{\"packages\":[";
    for (Package const &package : packages) {
        request += "{\"key\":\"" + package.key + "\",\"priority\":\"" + (package.isHigh ? "high" : "normal")
            + "\",\"package\":" + package.body + "},";
    }
    request.chop(1);
    return request + "]}";
}

static qint64 bytesOf(QList<Package> const &packages)
{
    return std::accumulate(packages.begin(), packages.end(), qint64(0),
                           [](qint64 sum, Package const &package) { return sum + package.body.size(); });
}

DeliveryWorker::DeliveryWorker(DeliveryOptions const &options, PackageQueue &queue)
    : m_options(options)
    , m_queue(queue)
    , m_spool(options.spool)
    , m_backoff(options.backoff, QRandomGenerator::system()->generate64())
    , m_attemptTimer(this)
    , m_saveTimer(this)
    , m_batchBytes(options.batchBytes)
{
    m_attemptTimer.setSingleShot(true);
    connect(&m_attemptTimer, &QTimer::timeout, this, &DeliveryWorker::attempt);
    connect(&m_saveTimer, &QTimer::timeout, this, [this] {
        m_isSaveDue = true;
        save();
        publish();
        attempt();
    });
}

QString DeliveryWorker::open()
{
    QString problem = m_spool.open(m_options.folder);
    publish();
    return problem;
}

void DeliveryWorker::begin()
{
    m_link = std::make_unique<CollectorLink>(m_options.link);
    m_saveTimer.start(saveInterval);
    attemptAfter(m_backoff.afterStart());
    drainQueue();
}

void DeliveryWorker::end()
{
    m_link.reset();
    m_attemptTimer.stop();
    m_saveTimer.stop();
    m_saveProblem.clear();
    drainQueue();
}

void DeliveryWorker::drainQueue()
{
    m_spool.countDropped(m_queue.drain(m_drained));
    for (PackageQueue::Queued const &queued : m_drained)
        m_spool.add(queued.package, queued.isHigh);
    m_drained.clear();
    save();
    attempt();
    publish();
}

void DeliveryWorker::save()
{
    // A disk that has just failed is not asked again for each package.
    if (!m_saveProblem.isEmpty() && !std::exchange(m_isSaveDue, false)) {
        m_spool.dropExcess();
        return;
    }

    std::deque<Package> const unsaved = m_options.safe ? m_spool.unsaved() : std::deque<Package>();
    if (m_spool.save()) {
        for (Package const &package : unsaved)
            m_options.safe(package.body);
    }

    QString const notice = m_spool.takeNotice();
    if (!notice.isEmpty())
        tell(notice);
    QString const problem = m_spool.problem();
    if (problem != m_saveProblem) {
        tell(problem.isEmpty() ? QStringLiteral("the spool can be written again")
                               : QStringLiteral("the spool cannot be written: ") + problem);
        m_saveProblem = problem;
    }
}

/// Sends what comes next, unless a request is under way or it is not time yet.
void DeliveryWorker::attempt()
{
    if (m_isSending || m_attemptTimer.isActive() || !m_state.misconfiguration.isEmpty() || !m_link)
        return;

    m_state.nextAttempt.reset();
    QList<Package> const &packages = m_spool.take(m_batchBytes, m_oneByOne > 0 ? 1 : batchCount);
    if (!packages.isEmpty()) {
        m_isSending = true;
        m_link->post(requestOf(packages), [this](Answer const &answer) { handleAnswer(answer); });
    }
    publish();
}

void DeliveryWorker::attemptAfter(Backoff::Duration wait)
{
    // A timer counts in an int.
    wait = std::min<Backoff::Duration>(wait, 24h * 24);
    m_attemptTimer.start(wait);
    m_state.nextAttempt = std::chrono::steady_clock::now() + wait;
}

void DeliveryWorker::handleAnswer(Answer const &answer)
{
    QList<Package> const packages = m_spool.taken();
    bool const isBatch = packages.size() > 1;
    bool const isSetAside = !isBatch && (answer.kind == Answer::TooLarge || answer.kind == Answer::Refused);
    m_isSending = false;
    m_state.failure = answer.reason;

    // An address that is wrong is so from the start; later it is the collector that is being changed.
    bool const isWrongAddress = answer.kind == Answer::NotThere && m_state.sent == 0;
    if (isWrongAddress || answer.kind == Answer::Misconfigured) {
        m_state.misconfiguration = answer.reason;
        m_spool.giveBack();
        publish();
        return;
    }

    switch (answer.kind) {
    case Answer::Unavailable:
    case Answer::NotThere:
    case Answer::Misconfigured:
        ++m_state.failedAttempts;
        m_spool.giveBack();
        attemptAfter(m_backoff.afterFailure(answer.retryAfter));
        publish();
        return;
    case Answer::Delivered:
        m_state.sent += packages.size();
        m_spool.delivered();
        break;
    case Answer::TooLarge:
    case Answer::Refused:
        // Of a batch only what is wrong itself is set aside.
        if (isSetAside)
            m_spool.refused(answer.reason);
        else if (answer.kind == Answer::TooLarge)
            m_batchBytes = std::max<qint64>(1, bytesOf(packages) / 2);
        else
            m_oneByOne = packages.size();
        m_spool.giveBack();
        break;
    }
    if (!isBatch && !packages.first().isHigh && m_oneByOne > 0)
        --m_oneByOne;
    m_backoff.succeeded();
    save();
    publish();
    // After it is saved: whatever the host makes of the line, the package is not sent again.
    if (isSetAside)
        tell(QStringLiteral("a package was refused and is set aside: ") + answer.reason);
    attempt();
}

void DeliveryWorker::tell(QString const &line) const
{
    if (m_options.notice)
        m_options.notice(line);
}

/// Tells the sender how far it has come.
void DeliveryWorker::publish()
{
    m_state.pending = m_spool.pending();
    m_state.unsaved = static_cast<qint64>(m_spool.unsaved().size());
    m_state.refused = m_spool.refusedCount();
    m_state.losses = m_spool.losses();
    m_queue.publish(m_state);
}

} // namespace stbanalytics::delivery
