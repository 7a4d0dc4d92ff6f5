// A million boxes whose collector is away for a while, under several policies: prints the assumptions and then what
// arrives at the collector in each second, as JSON, one policy a line. scripts/outage makes a plot and a table of it.

#include <delivery/backoff_p.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

namespace {

using namespace std::chrono_literals;
using stbanalytics::delivery::Backoff;
using stbanalytics::delivery::BackoffLimits;
using Time = Backoff::Duration; // Counted from the moment at which the collector, or the power, is there again.

constexpr std::int64_t boxes = 1'000'000;
constexpr Time flushInterval = 60s;
constexpr std::int64_t packageBytes = 3000;
constexpr std::int64_t batchBytes = 262'144;
constexpr Time outage = 1h;
constexpr Time maintenance = 10min;
constexpr Time startsWithin = 10s;
constexpr BackoffLimits limits;

// Otherwise a box would need several requests to catch up.
static_assert((outage + limits.most + flushInterval) / flushInterval * packageBytes <= batchBytes);

/// What boxes do without Backoff.
struct AlwaysAfter
{
    Time wait;

    Time afterFailure(Time retryAfter) const { return retryAfter + wait; }
};

/// Backoff's bound itself, without the jitter.
struct Doubling
{
    Time bound = limits.first;

    Time afterFailure(Time retryAfter)
    {
        Time const wait = retryAfter + bound;
        bound = std::min(bound * 2, limits.most);
        return wait;
    }
};

/// The same boxes for each policy.
class Random
{
public:
    explicit Random(std::uint64_t seed = 1)
        : m_random(seed)
    {
    }

    Time below(Time bound) { return Time(std::uniform_int_distribution<Time::rep>(0, bound.count() - 1)(m_random)); }

private:
    std::mt19937_64 m_random;
};

struct Box
{
    Time firstFlush; ///< A package comes then, and again with each interval.
    Time firstAttempt;
};

/// It takes whatever comes while it is there, so no box hinders another, and they are simulated one by one.
class Collector
{
public:
    /// It is away from `begin` until the moment 0, which it may tell those who ask, in whole seconds as HTTP does.
    Collector(Time begin, Time end, bool namesReturn)
        : m_begin(begin)
        , m_end(end)
        , m_namesReturn(namesReturn)
        , m_requests(static_cast<std::size_t>((end - begin) / 1s))
        , m_packages(m_requests.size())
        , m_caughtUp(m_requests.size())
    {
    }

    template <typename Policy> void visit(Box const &box, Policy policy)
    {
        std::int64_t delivered = 0;
        for (Time now = box.firstAttempt; now < m_end;) {
            auto const second = static_cast<std::size_t>((now - m_begin) / 1s);
            ++m_requests[second];
            if (now < Time::zero()) {
                now += policy.afterFailure(m_namesReturn ? std::chrono::ceil<std::chrono::seconds>(-now)
                                                         : Time::zero());
                continue;
            }
            std::int64_t const flushes = (now - box.firstFlush) / flushInterval + 1;
            m_packages[second] += flushes - delivered;
            m_caughtUp[second] += delivered == 0;
            delivered = flushes;
            now = box.firstFlush + flushes * flushInterval;
        }
    }

    void print(char const *situation, char const *policy) const
    {
        std::cout << "{\"situation\":\"" << situation << "\",\"policy\":\"" << policy
                  << "\",\"begin\":" << m_begin / 1s;
        print("requests", m_requests);
        print("packages", m_packages);
        print("caught_up", m_caughtUp);
        std::cout << "}\n";
    }

private:
    using Seconds = std::vector<std::int64_t>;

    static void print(char const *name, Seconds const &seconds)
    {
        std::cout << ",\"" << name << "\":";
        char separator = '[';
        for (std::int64_t const value : seconds) {
            std::cout << separator << value;
            separator = ',';
        }
        std::cout << ']';
    }

    Time m_begin;
    Time m_end;
    bool m_namesReturn;
    Seconds m_requests;
    Seconds m_packages;
    Seconds m_caughtUp; ///< Boxes that have delivered for the first time.
};

/// Calls visit(collector, random, number) for each box.
template <typename Visit> void simulate(char const *situation, char const *policy, Collector collector, Visit visit)
{
    Random random;
    for (std::uint64_t number = 0; number < boxes; ++number)
        visit(collector, random, number);
    collector.print(situation, policy);
}

void printAssumptions()
{
    auto const print = [](char const *separator, char const *what, std::int64_t value) {
        std::cout << separator << '"' << what << "\":" << value;
    };
    print("{", "boxes", boxes);
    print(",", "seconds between two flushes of a box", flushInterval / 1s);
    print(",", "bytes of a flush", packageBytes);
    print(",", "bytes of packages in a request, at most", batchBytes);
    print(",", "seconds of the outage", outage / 1s);
    print(",", "seconds of the maintenance", maintenance / 1s);
    print(",", "seconds in which all boxes start", startsWithin / 1s);
    print(",", "backoff: seconds that bound the first wait", limits.first / 1s);
    print(",", "backoff: seconds that bound every wait", limits.most / 1s);
    print(",", "backoff: seconds that bound the wait after a start", limits.spread / 1s);
    std::cout << "}\n";
}

} // namespace

int main()
{
    std::ios::sync_with_stdio(false);
    printAssumptions();

    // Boxes meet an outage one by one, or together where their connections break or time out together.
    auto const atFlush = [](Time begin, Random &random) {
        Time const flush = begin + random.below(flushInterval);
        return Box{flush, flush};
    };
    auto const atOnce = [](Time begin, Random &random) {
        return Box{begin + random.below(flushInterval), begin + random.below(1s)};
    };
    auto const away = [](char const *situation, char const *policy, auto box, auto policyOf) {
        simulate(situation, policy, Collector(-outage, 20min, false),
                 [&](Collector &collector, Random &random, std::uint64_t number) {
                     collector.visit(box(-outage, random), policyOf(number));
                 });
    };
    auto const everySecond = [](std::uint64_t) { return AlwaysAfter{1s}; };
    auto const everyFlush = [](std::uint64_t) { return AlwaysAfter{flushInterval}; };
    auto const doubling = [](std::uint64_t) { return Doubling(); };
    auto const backoff = [](std::uint64_t number) { return Backoff(limits, number); };

    char const *situation = "An outage; each box finds out at its own flush";
    away(situation, "again every second", atFlush, everySecond);
    away(situation, "again after doubled waits, without jitter", atFlush, doubling);
    away(situation, "again at each flush", atFlush, everyFlush);
    away(situation, "Backoff", atFlush, backoff);

    situation = "An outage; all boxes lose a request in the same second";
    away(situation, "again every second", atOnce, everySecond);
    away(situation, "again after doubled waits, without jitter", atOnce, doubling);
    away(situation, "Backoff", atOnce, backoff);

    situation = "Maintenance; 503 with Retry-After, a date, the same for all";
    auto const told = [&](char const *policy, auto policyOf) {
        simulate(situation, policy, Collector(-maintenance, 2min, true),
                 [&](Collector &collector, Random &random, std::uint64_t number) {
                     collector.visit(atFlush(-maintenance, random), policyOf(number));
                 });
    };
    told("again at that second", [](std::uint64_t) { return AlwaysAfter{Time::zero()}; });
    told("Backoff", backoff);

    Random phases(2);
    situation = "Power returns; all boxes start almost at once";
    auto const started = [&](char const *policy, auto boxOf) {
        simulate(situation, policy, Collector(Time::zero(), 5min, false),
                 [&](Collector &collector, Random &random, std::uint64_t number) {
                     Time const start = random.below(startsWithin);
                     collector.visit(boxOf(start, Backoff(limits, number)), Doubling());
                 });
    };
    started("first attempt at once", [](Time start, Backoff const &) { return Box{start, start}; });
    // Its flushes have a phase of their own, too; one package is there from the start.
    started("Backoff", [&phases](Time start, Backoff wait) {
        return Box{start - phases.below(flushInterval), start + wait.afterStart()};
    });
    return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
