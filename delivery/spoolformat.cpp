#include <delivery/spoolformat_p.h>

#include <QtCore/QtEndian>

#include <zlib.h>

#include <algorithm>
#include <array>

namespace stbanalytics::delivery {

// The tables are always made in this order, so each begins on the same page in every spool; a rescue relies on it.
// A rescue also takes whatever rows a page has for packages, so what is deleted may not stay on a page that is free.
char const *const spoolSchema = R"(
    PRAGMA locking_mode = EXCLUSIVE;
    PRAGMA page_size = 4096;
    PRAGMA journal_mode = WAL;
    PRAGMA synchronous = FULL;
    PRAGMA wal_autocheckpoint = 256;
    PRAGMA journal_size_limit = 1048576;
    PRAGMA secure_delete = ON;
    BEGIN IMMEDIATE;
    CREATE TABLE IF NOT EXISTS package (
        id INTEGER PRIMARY KEY, class INTEGER NOT NULL, created INTEGER NOT NULL, checksum INTEGER NOT NULL,
        key BLOB NOT NULL, body BLOB NOT NULL, reason BLOB);
    CREATE INDEX IF NOT EXISTS waiting ON package (class, id);
    CREATE TABLE IF NOT EXISTS state (
        id INTEGER PRIMARY KEY, time INTEGER NOT NULL, wall_time INTEGER NOT NULL,
        lost_to_quota INTEGER NOT NULL, lost_to_age INTEGER NOT NULL, lost_to_damage INTEGER NOT NULL,
        refused INTEGER NOT NULL, packages INTEGER NOT NULL, checksum INTEGER NOT NULL);
    COMMIT;)";

qint64 checksum(Package const &package)
{
    uLong sum = 0;
    auto const add = [&sum](void const *bytes, qsizetype size) {
        sum = crc32_z(sum, static_cast<Bytef const *>(bytes), static_cast<z_size_t>(size));
    };
    std::array<qint64, 2> const numbers{qToLittleEndian(package.id), qToLittleEndian(package.created)};
    add(numbers.data(), sizeof numbers);
    add(package.key.constData(), package.key.size());
    add(package.body.constData(), package.body.size());
    return static_cast<qint64>(sum);
}

qint64 sizeOf(Package const &package)
{
    return package.body.size() + rowBytes;
}

bool insertPackage(Database &database, Package const &package, int packageClass, QByteArray const &reason)
{
    Statement statement(
        database, "INSERT INTO package (id, class, created, checksum, key, body, reason) VALUES (?, ?, ?, ?, ?, ?, ?)");
    return statement.bind(package.id)
        .bind(packageClass)
        .bind(package.created)
        .bind(checksum(package))
        .bind(package.key)
        .bind(package.body)
        .bind(reason)
        .run();
}

/// What the state is made of, in the order of its columns.
using StateNumbers = std::array<qint64, 7>;

/// A clock that jumps would make every package too old.
static qint64 checksum(StateNumbers numbers)
{
    std::transform(numbers.begin(), numbers.end(), numbers.begin(),
                   [](qint64 number) { return qToLittleEndian(number); });
    return static_cast<qint64>(
        crc32_z(0, reinterpret_cast<Bytef const *>(numbers.data()), numbers.size() * sizeof(qint64)));
}

bool insertState(Database &database, SpoolClock const &clock, Losses const &losses, qint64 packages)
{
    StateNumbers const numbers{clock.now(),   SpoolClock::wallTime(), losses.quota, losses.age,
                               losses.damage, losses.refused,         packages};
    Statement statement(database, "INSERT OR REPLACE INTO state VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (qint64 number : numbers)
        statement.bind(number);
    return statement.bind(checksum(numbers)).run();
}

std::optional<qint64> readState(Database &database, SpoolClock &clock, Losses &losses)
{
    Statement state(
        database,
        "SELECT time, wall_time, lost_to_quota, lost_to_age, lost_to_damage, refused, packages, checksum FROM state");
    if (!state.next())
        return {};
    StateNumbers numbers{};
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = state.integer(static_cast<int>(i));
    if (state.integer(static_cast<int>(numbers.size())) != checksum(numbers))
        return {};
    SpoolClock then;
    then.resume(numbers[0], numbers[1]);
    if (then.now() > clock.now())
        clock = then;
    losses = {std::max(losses.quota, numbers[2]), std::max(losses.age, numbers[3]), std::max(losses.damage, numbers[4]),
              std::max(losses.refused, numbers[5])};
    return numbers[6];
}

} // namespace stbanalytics::delivery
