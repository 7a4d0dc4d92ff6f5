// The library beside the reference encoder and two other people's JSON libraries, in one run, and the table of it. The
// others are first shown to write the same.

#include "agreement.h"
#include "allocations.h"
#include "host.h"
#include "peers.h"

#include <analytics/diagnosticline_p.h>
#include <analytics/jsoneventserializer.h>
#include <reference/referenceserializer.h>

#include <benchmark/benchmark.h>

#include <QtCore/QMetaEnum>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

using namespace analytics;

namespace {

constexpr EventType eventTypes[] = {EventType::SqmMetrics, EventType::KivoStatus, EventType::PlaybackStart};

struct Cost
{
    double nanoseconds = 0;
    double allocations = 0;

    Cost operator-(Cost const &other) const
    {
        return {nanoseconds - other.nanoseconds, allocations - other.allocations};
    }
};

std::map<std::string, Cost> costs;

/// Keeps the least that has been measured: what else a machine does only ever adds.
void keepCost(std::string const &work, Cost const &cost)
{
    auto const [it, isNew] = costs.emplace(work, cost);
    if (!isNew && cost.nanoseconds < it->second.nanoseconds)
        it->second = cost;
}

/// Tells the parent process what has been measured.
class Teller : public benchmark::BenchmarkReporter
{
public:
    explicit Teller(std::FILE *parent)
        : m_parent(parent)
    {
    }

    bool ReportContext(Context const &) override { return true; }

    void ReportRuns(std::vector<Run> const &runs) override
    {
        for (Run const &run : runs) {
            if (run.run_type == Run::RT_Iteration)
                std::fprintf(m_parent, "%.3f %.3f %s\n", run.GetAdjustedCPUTime(), run.counters.at("allocations").value,
                             run.run_name.function_name.c_str());
        }
    }

private:
    std::FILE *m_parent;
};

/// Runs benchmarks in a process of their own: what they register with Qt would change what the others measure.
void runElsewhere(std::function<void()> const &registerBenchmarks)
{
    int ends[2];
    if (pipe(ends) != 0)
        qFatal("no pipe");
    pid_t const child = fork();
    if (child < 0)
        qFatal("no process");
    if (child == 0) {
        close(ends[0]);
        std::FILE *const parent = fdopen(ends[1], "w");
        registerBenchmarks();
        Teller teller(parent);
        benchmark::RunSpecifiedBenchmarks(&teller);
        _exit(std::fclose(parent) == 0 ? 0 : 1);
    }

    close(ends[1]);
    std::FILE *const told = fdopen(ends[0], "r");
    Cost cost;
    char work[128];
    while (std::fscanf(told, "%lf %lf %127[^\n]", &cost.nanoseconds, &cost.allocations, work) == 3)
        keepCost(work, cost);
    std::fclose(told);
    int status = -1;
    if (waitpid(child, &status, 0) != child || status != 0)
        qFatal("a benchmark failed");
}

void measure(std::string const &name, std::function<void()> const &work)
{
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State &state) {
        work();
        std::uint64_t const before = heapAllocations();
        for (auto _ : state)
            work();
        std::uint64_t const count = heapAllocations() - before;
        state.counters["allocations"]
            = benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    })->MinTime(0.02);
}

std::string nameOf(EventType type)
{
    return QMetaEnum::fromType<EventType>().valueToKey(static_cast<int>(type));
}

QList<Property> const generic = genericProperties();
JsonEventSerializer const library;
ReferenceSerializer const reference;

/// Among the records that the provider has, as in a host.
void registerLibrary(IPropertyProvider const &provider)
{
    QString const id = provider.value(Property::EventId, {}).toString();
    int const counter = provider.value(Property::EventCounter, {}).toInt();
    for (EventType type : eventTypes) {
        AnalyticsEventData const data = eventOf(type);
        measure("library/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(library.serialize(&provider, data, generic)); });
        // Alone in a loop the line would seem to cost less than it does.
        measure("library and line again/" + nameOf(type), [&provider, data, id, counter] {
            benchmark::DoNotOptimize(library.serialize(&provider, data, generic));
            writeDiagnosticLine(id, counter);
        });
        measure("provider/" + nameOf(type), [&provider, data, properties = generic + propertiesOf(type)] {
            for (Property property : properties)
                benchmark::DoNotOptimize(provider.value(property, data));
        });
    }
}

/// The others make all records known to Qt.
void registerOthers(IPropertyProvider const &provider)
{
    for (EventType type : eventTypes) {
        AnalyticsEventData const data = eventOf(type);
        measure("reference/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(reference.serialize(&provider, data, generic)); });
        for (auto const &[prefix, converters] :
             {std::pair("", Converters::Honoured), std::pair("bare ", Converters::Ignored)}) {
            measure(prefix + ("nlohmann/" + nameOf(type)), [&provider, data, how = converters] {
                benchmark::DoNotOptimize(serializeWithNlohmann(provider, data, generic, how));
            });
            measure(prefix + ("rapidjson/" + nameOf(type)), [&provider, data, how = converters] {
                benchmark::DoNotOptimize(serializeWithRapidJson(provider, data, generic, how));
            });
        }
        measure("library among all records/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(library.serialize(&provider, data, generic)); });
    }
}

Cost costOf(std::string const &work, EventType type)
{
    return costs.at(work + '/' + nameOf(type));
}

/// What the diagnostic line adds to other work: the middle one of what it added to each event's.
Cost lineCost()
{
    std::vector<Cost> added;
    for (EventType type : eventTypes)
        added.push_back(costOf("library and line again", type) - costOf("library", type));
    std::sort(added.begin(), added.end(), [](Cost const &a, Cost const &b) { return a.nanoseconds < b.nanoseconds; });
    return added[added.size() / 2];
}

/// Net of the provider's own calls, and of the diagnostic line where the encoder writes one.
Cost net(std::string const &encoder, EventType type)
{
    Cost const cost = costOf(encoder, type) - costOf("provider", type);
    bool const writesLine = encoder == "library" || encoder == "library among all records" || encoder == "reference";
    return writesLine ? cost - lineCost() : cost;
}

void printRow(char const *label, std::function<QByteArray(EventType)> const &cell)
{
    std::printf("| %s |", label);
    for (EventType type : eventTypes)
        std::printf(" %s |", cell(type).constData());
    std::printf("\n");
}

void printTable(IPropertyProvider const &provider)
{
    auto const number = [](double value, int digits) { return QByteArray::number(value, 'f', digits); };
    std::printf("\nNet of the provider's own calls and of the diagnostic line:\n\n");
    printRow("", [](EventType type) { return QByteArray::fromStdString(nameOf(type)); });
    std::printf("|---|---|---|---|\n");
    printRow("bytes", [&](EventType type) {
        return QByteArray::number(
            JsonEventSerializer().serialize(&provider, eventOf(type), genericProperties()).size());
    });
    printRow("library, ns", [&](EventType type) { return number(net("library", type).nanoseconds, 0); });
    printRow("library where all record types are registered, ns",
             [&](EventType type) { return number(net("library among all records", type).nanoseconds, 0); });
    printRow("library, heap allocations", [&](EventType type) { return number(net("library", type).allocations, 0); });
    for (auto const &[encoder, label] :
         {std::pair("reference", "faster than the reference (its allocations)"),
          std::pair("nlohmann", "faster than nlohmann::json (its allocations)"),
          std::pair("rapidjson", "faster than a RapidJSON writer (its allocations)"),
          std::pair("bare nlohmann", "faster than nlohmann::json, blind to converters (its allocations)"),
          std::pair("bare rapidjson", "faster than a RapidJSON writer, blind to converters (its allocations)")}) {
        printRow(label, [&, peer = encoder](EventType type) {
            return number(net(peer, type).nanoseconds / net("library", type).nanoseconds, 1) + " times ("
                + number(net(peer, type).allocations, 0) + ')';
        });
    }
    std::printf("\nThe diagnostic line beside: %.0f ns and %.0f allocations.\n", lineCost().nanoseconds,
                lineCost().allocations);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1) {
        std::fprintf(stderr, "%s: %s: it takes no arguments\n", argv[0], argv[1]);
        return 2;
    }
    silenceLog();
    if (!peersAgree()) {
        std::fputs("nothing is measured: the encoders could not be shown to agree\n", stderr);
        return 1;
    }
    FullProvider const provider;
    // In turns, so that a machine that slows down for a while slows down all of them.
    constexpr int rounds = 15;
    for (int round = 0; round < rounds; ++round) {
        runElsewhere([&] { registerLibrary(provider); });
        runElsewhere([&] { registerOthers(provider); });
    }
    for (auto const &[work, cost] : costs)
        std::printf("%-42s %8.0f ns %6.0f allocations\n", work.c_str(), cost.nanoseconds, cost.allocations);
    if (costs.size() != 9 * std::size(eventTypes)) {
        std::fputs("some were not measured: there is no table\n", stderr);
        return 1;
    }
    printTable(provider);
}
