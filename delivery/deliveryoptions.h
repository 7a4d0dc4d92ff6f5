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
    QUrl url; ///< The collector's address: http or https, with a host.
    QString caFile; ///< A PEM file of certificates to trust besides the system's; may be empty.
    bool isCompressed = false; ///< Whether requests are compressed with gzip.
    std::chrono::milliseconds timeout = std::chrono::seconds(30); ///< How long a request may stand still.
};

/**
 * @brief Checks options before they are used.
 *
 * @param options what to check; the file of certificates is read
 * @return what is wrong with them; an empty string if nothing is
 */
QString problemOf(LinkOptions const &options);

/// How much the spool may hold, and for how long.
struct SpoolLimits
{
    /// Bytes of all packages, with 200 for the row of each. The file may grow to half as much again.
    qint64 bytes = 20'000'000;

    std::chrono::seconds age = std::chrono::hours(24 * 7); ///< The time that the box is off counts too.
};

/// How long a box waits before it tries again.
struct BackoffLimits
{
    std::chrono::milliseconds first = std::chrono::seconds(5); ///< The longest wait after one failure.
    std::chrono::milliseconds most = std::chrono::minutes(15); ///< The longest wait after any number of failures.

    /// The longest wait in situations in which all boxes would otherwise come within one second.
    std::chrono::milliseconds spread = std::chrono::minutes(1);
};

/**
 * @brief How packages are delivered.
 *
 * Both functions may be left unset. They are called on the delivery's thread, between start() and the end of stop().
 * They may call send() and state(). They may not call stop(), nor delete the sender: both wait for that thread. They
 * may not throw. Until a function returns, no package is saved or sent.
 */
struct DeliveryOptions
{
    LinkOptions link; ///< How the collector is reached.
    QString folder; ///< The folder of the spool. It is made if it does not exist. One sender has it to itself.
    SpoolLimits spool; ///< How much the spool may hold.
    BackoffLimits backoff; ///< How long the sender waits before it tries again.
    qint64 batchBytes = 262'144; ///< The most bytes of normal packages in one request.

    /// Called with each package once it is safe on the disk.
    std::function<void(QByteArray const &package)> safe;

    /// Called with one line for those who look after the box: a package was refused and is set aside, the spool was
    /// damaged, the disk accepts nothing, the disk accepts something again. What state() shows causes no call.
    std::function<void(QString const &line)> notice;
};

/// Packages that will not reach the collector, counted from the making of the spool on.
struct Losses
{
    qint64 quota = 0; ///< Dropped to make room.
    qint64 age = 0; ///< Dropped because they were too old.
    qint64 damage = 0; ///< Could not be read back.
    qint64 refused = 0; ///< Refused by the collector, and set aside; not in the total.

    /// @return the number of packages that are gone
    qint64 total() const { return quota + age + damage; }
};

/// How far delivery has come since start().
struct DeliveryState
{
    qint64 taken = 0; ///< Packages that send() accepted.
    qint64 pending = 0; ///< Packages that wait, those of earlier runs included.
    qint64 unsaved = 0; ///< Pending packages that a power-off would lose now.
    qint64 sent = 0; ///< Packages that the collector has acknowledged.
    qint64 refused = 0; ///< Packages set aside in the spool, those of earlier runs included.
    qint64 failedAttempts = 0; ///< Requests that failed and will be repeated.
    Losses losses; ///< What is lost.
    QString failure; ///< Why the last request failed; empty if it did not.

    /// Why this sender makes no more attempts: the address accepts no packages, or a certificate does not fit. It is
    /// empty while the sender makes attempts. No notice is given for it: a host looks at it from time to time.
    QString misconfiguration;

    /// When the next request is due, while the sender waits for that time. The first request may wait for as long as
    /// BackoffLimits::spread.
    std::optional<std::chrono::steady_clock::time_point> nextAttempt;
};

} // namespace stbanalytics::delivery
