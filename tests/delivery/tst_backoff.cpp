#include <delivery/backoff_p.h>

#include <QtTest/QTest>

#include <algorithm>
#include <array>
#include <vector>

using namespace stbanalytics::delivery;
using namespace std::chrono_literals;

/// So many boxes, each with a seed of its own.
static constexpr int fleet = 2000;

static constexpr BackoffLimits limits{1s, 900s, 60s};

/// What the boxes of a fleet wait, in milliseconds, after so many failures before; wait(backoff) asks one of them.
template <typename Wait>
static std::vector<qint64> waitsOfFleet(BackoffLimits const &theirs, int failuresBefore, Wait wait)
{
    std::vector<qint64> waits;
    for (std::uint64_t seed = 0; seed < fleet; ++seed) {
        Backoff backoff(theirs, seed);
        for (int i = 0; i < failuresBefore; ++i)
            backoff.afterFailure();
        waits.push_back(wait(backoff).count());
    }
    return waits;
}

static Backoff::Duration failed(Backoff &backoff)
{
    return backoff.afterFailure();
}

/// Whether the waits are spread evenly from one bound to the other: as many in each tenth, within what chance does
/// to 2000 of them (five standard deviations).
static bool areSpread(std::vector<qint64> const &waits, qint64 least, qint64 most)
{
    std::array<int, 10> tenths{};
    for (qint64 wait : waits) {
        if (wait < least || wait > most)
            return false;
        ++tenths.at(static_cast<size_t>((wait - least) * 10 / (most - least + 1)));
    }
    return std::all_of(tenths.begin(), tenths.end(), [](int count) { return count > 130 && count < 270; });
}

class tst_Backoff : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void afterFailures_data();
    void afterFailures();
    void afterStart();
    void retryAfter();
    void success();
    void otherLimits();
    void defaults();
};

void tst_Backoff::afterFailures_data()
{
    QTest::addColumn<int>("failuresBefore");
    QTest::addColumn<qint64>("most");

    // clang-format off
    QTest::newRow("1st")    <<    0 << qint64(1000);
    QTest::newRow("2nd")    <<    1 << qint64(2000);
    QTest::newRow("3rd")    <<    2 << qint64(4000);
    QTest::newRow("4th")    <<    3 << qint64(8000);
    QTest::newRow("10th")   <<    9 << qint64(512'000);
    QTest::newRow("11th")   <<   10 << qint64(900'000);
    QTest::newRow("12th")   <<   11 << qint64(900'000);
    QTest::newRow("1000th") <<  999 << qint64(900'000);
    // clang-format on
}

void tst_Backoff::afterFailures()
{
    QFETCH(int, failuresBefore);
    QFETCH(qint64, most);
    QVERIFY(areSpread(waitsOfFleet(limits, failuresBefore, failed), 0, most));
}

void tst_Backoff::afterStart()
{
    auto const started = [](Backoff &backoff) { return backoff.afterStart(); };
    QVERIFY(areSpread(waitsOfFleet(limits, 0, started), 0, 60'000));
    QVERIFY(areSpread(waitsOfFleet({1s, 900s, 10s}, 0, started), 0, 10'000));

    // It says nothing of what comes after a failure.
    auto const failedAfterStart = [](Backoff &backoff) {
        backoff.afterStart();
        return backoff.afterFailure();
    };
    QVERIFY(areSpread(waitsOfFleet(limits, 0, failedAfterStart), 0, 1000));
}

void tst_Backoff::retryAfter()
{
    // As wide as after a start, or as after the failures so far, whichever is more.
    auto const told = [](Backoff &backoff) { return backoff.afterFailure(120s); };
    QVERIFY(areSpread(waitsOfFleet(limits, 0, told), 120'000, 180'000));
    QVERIFY(areSpread(waitsOfFleet(limits, 5, told), 120'000, 180'000));
    QVERIFY(areSpread(waitsOfFleet(limits, 6, told), 120'000, 184'000));
    QVERIFY(areSpread(waitsOfFleet(limits, 20, told), 120'000, 1'020'000));

    // It counts as a failure, and is not remembered.
    auto const failedAfterwards = [](Backoff &backoff) {
        backoff.afterFailure(120s);
        return backoff.afterFailure();
    };
    QVERIFY(areSpread(waitsOfFleet(limits, 0, failedAfterwards), 0, 2000));
}

void tst_Backoff::success()
{
    auto const failedAfterwards = [](Backoff &backoff) {
        backoff.succeeded();
        return backoff.afterFailure();
    };
    QVERIFY(areSpread(waitsOfFleet(limits, 20, failedAfterwards), 0, 1000));
}

void tst_Backoff::otherLimits()
{
    QVERIFY(areSpread(waitsOfFleet({5s, 2s, 0s}, 0, failed), 0, 2000));
    QVERIFY(areSpread(waitsOfFleet({5s, 2s, 0s}, 1, failed), 0, 2000));
    QVERIFY(areSpread(waitsOfFleet({300ms, 1s, 0s}, 1, failed), 0, 600));
    QVERIFY(areSpread(waitsOfFleet({300ms, 1s, 0s}, 2, failed), 0, 1000));

    auto const succeeded = [](Backoff &backoff) {
        backoff.succeeded();
        return backoff.afterFailure();
    };
    QVERIFY(areSpread(waitsOfFleet({5s, 2s, 0s}, 1, succeeded), 0, 2000));

    Backoff atOnce({0s, 0s, 0s}, 1);
    QCOMPARE(qint64(atOnce.afterStart().count()), 0);
    QCOMPARE(qint64(atOnce.afterFailure().count()), 0);
    QCOMPARE(qint64(atOnce.afterFailure(7s).count()), 7000);
}

void tst_Backoff::defaults()
{
    auto const started = [](Backoff &backoff) { return backoff.afterStart(); };
    QVERIFY(areSpread(waitsOfFleet({}, 0, started), 0, 60'000));
    QVERIFY(areSpread(waitsOfFleet({}, 0, failed), 0, 5000));
    QVERIFY(areSpread(waitsOfFleet({}, 7, failed), 0, 640'000));
    QVERIFY(areSpread(waitsOfFleet({}, 8, failed), 0, 900'000));
}

QTEST_GUILESS_MAIN(tst_Backoff)
#include "tst_backoff.moc"
