#pragma once

#include <delivery/database_p.h>
#include <delivery/deliveryoptions.h>
#include <delivery/spoolclock_p.h>

/**
 * @file
 * @brief The tables of a spool's file, and how their rows are read and written. The spool and its rescue share them.
 */

namespace stbanalytics::delivery {

/// A package on its way to the collector.
struct Package
{
    qint64 id = 0; ///< The spool's own number, rising in the order of arrival.
    QByteArray key; ///< The idempotency key: made once, the same at every attempt, also after a restart.
    QByteArray body; ///< What the library handed over, byte for byte.
    bool isHigh = false; ///< Whether it was of high priority.
    qint64 created = 0; ///< When it came, by the spool's own clock, in seconds.
};

/// What a package takes besides its body: key, numbers, its place in the index.
constexpr qint64 rowBytes = 200;

/// SQL that opens a spool's file and makes the tables that it lacks.
extern char const *const spoolSchema;

/// The checksum of the fields that never change. SQLite detects malformed pages, not flipped bits.
qint64 checksum(Package const &package);

/// What a package counts for the quota.
qint64 sizeOf(Package const &package);

bool insertPackage(Database &database, Package const &package, int packageClass, QByteArray const &reason);

bool insertState(Database &database, SpoolClock const &clock, Losses const &losses, qint64 packages);

/// Reads the state, if it is there. What is known already may be newer: time and losses only grow. Returns how many
/// packages there were; nothing if that is not known.
std::optional<qint64> readState(Database &database, SpoolClock &clock, Losses &losses);

} // namespace stbanalytics::delivery
