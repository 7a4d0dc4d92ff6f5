#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QUrl>

#include <chrono>
#include <functional>
#include <optional>

namespace stbanalytics::delivery {

/// How the collector is reached.
struct LinkOptions
{
    QUrl url; ///< With http or https, and a host.
    QString caFile; ///< Certificates in PEM to be trusted besides the system's; may be empty.
    bool isCompressed = false; ///< Whether requests are sent in gzip's form.
    std::chrono::milliseconds timeout = std::chrono::seconds(30); ///< Without any progress.
};

/// Returns what is wrong with the options; an empty string when nothing is.
QString problemOf(LinkOptions const &options);

/// What the spool may hold.
struct SpoolLimits
{
    qint64 bytes = 20'000'000; ///< All packages, each with 200 bytes for its row. The file is up to half larger.
    std::chrono::seconds age = std::chrono::hours(24 * 7); ///< Counted while the box was off, too.
};

/// How long a box waits before it tries again.
struct BackoffLimits
{
    std::chrono::milliseconds first = std::chrono::seconds(5); ///< The longest wait after one failure.
    std::chrono::milliseconds most = std::chrono::minutes(15); ///< The longest wait after any number of failures.

    /// The longest wait where all boxes would come in one second.
    std::chrono::milliseconds spread = std::chrono::minutes(1);
};

/**
 * @brief How packages are to be delivered.
 *
 * Both functions may be left unset. They are called on the delivery's thread, between start() and the end of stop().
 * They may call send() and state(). They may not call stop(), nor delete the sender: both wait for that thread. They
 * may not throw. Until a function returns, no package is saved or sent.
 */
struct DeliveryOptions
{
    LinkOptions link;
    QString folder; ///< Of the spool.
    SpoolLimits spool;
    BackoffLimits backoff;
    qint64 batchBytes = 262'144; ///< The most bytes of normal packages in one request.

    /// Called with each package once it is safe on the disk.
    std::function<void(QByteArray const &package)> safe;

    /// Called with a line for whoever looks after the box: a package was refused and is set aside, the spool was
    /// damaged, the disk takes nothing, the disk takes something again. It is not called for what state() shows.
    std::function<void(QString const &line)> notice;
};

/// Packages that will not reach the collector, since the spool was made.
struct Losses
{
    qint64 quota = 0; ///< Dropped to make room.
    qint64 age = 0; ///< Dropped because they were too old.
    qint64 damage = 0; ///< Could not be read back.
    qint64 refused = 0; ///< Refused by the collector, and set aside; not in the total.

    qint64 total() const { return quota + age + damage; }
};

/// How far delivery has come since the start.
struct DeliveryState
{
    qint64 taken = 0; ///< Packages that send() took.
    qint64 pending = 0; ///< Packages that wait, those of earlier runs included.
    qint64 unsaved = 0; ///< Those of them that a power-off would take now.
    qint64 sent = 0; ///< Packages that the collector has.
    qint64 refused = 0; ///< Packages set aside in the spool, those of earlier runs included.
    qint64 failedAttempts = 0; ///< Requests to be made again.
    Losses losses; ///< Since the spool was made.
    QString failure; ///< Why the last request failed; empty if it did not.

    /// Why this sender makes no more attempts: the address takes no packages, or a certificate does not fit. Empty as
    /// long as it makes some. The notice is not called for this: a host looks at it from time to time.
    QString misconfiguration;

    /// When the next request is due, while the sender waits for that time. The first one may wait for as long as
    /// BackoffLimits::spread says, which is a minute.
    std::optional<std::chrono::steady_clock::time_point> nextAttempt;
};

} // namespace stbanalytics::delivery
