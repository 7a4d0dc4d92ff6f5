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

/// Keeps the least of each benchmark's repetitions beside printing them: what else a machine does only ever adds.
class Collector : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const &runs) override
    {
        for (Run const &run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            Cost const cost = {run.GetAdjustedCPUTime(), run.counters.at("allocations")};
            auto const [it, isNew] = costs.emplace(run.run_name.function_name, cost);
            if (!isNew && cost.nanoseconds < it->second.nanoseconds)
                it->second = cost;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

void measure(std::string const &name, std::function<void()> const &work)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [work](benchmark::State &state) {
                                     work();
                                     std::uint64_t const before = heapAllocations();
                                     for (auto _ : state)
                                         work();
                                     std::uint64_t const count = heapAllocations() - before;
                                     state.counters["allocations"] = benchmark::Counter(
                                         static_cast<double>(count), benchmark::Counter::kAvgIterations);
                                 })
        ->Repetitions(15)
        ->MinTime(0.05);
}

std::string nameOf(EventType type)
{
    return QMetaEnum::fromType<EventType>().valueToKey(static_cast<int>(type));
}

void measureAll(IPropertyProvider const &provider)
{
    static QList<Property> const generic = genericProperties();
    static JsonEventSerializer const library;
    static ReferenceSerializer const reference;

    // The library comes first: the others have every record registered with Qt, as few hosts have.
    for (EventType type : eventTypes) {
        measure("library/" + nameOf(type), [&provider, data = eventOf(type)] {
            benchmark::DoNotOptimize(library.serialize(&provider, data, generic));
        });
    }
    QString const id = provider.value(Property::EventId, {}).toString();
    int const counter = provider.value(Property::EventCounter, {}).toInt();
    for (EventType type : eventTypes) {
        AnalyticsEventData const data = eventOf(type);
        measure("provider/" + nameOf(type), [&provider, data, properties = generic + propertiesOf(type)] {
            for (Property property : properties)
                benchmark::DoNotOptimize(provider.value(property, data));
        });
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
        // Alone in a loop the line would seem to cost less than it does.
        measure("bare rapidjson and line/" + nameOf(type), [&provider, data, id, counter] {
            benchmark::DoNotOptimize(serializeWithRapidJson(provider, data, generic, Converters::Ignored));
            writeDiagnosticLine(id, counter);
        });
    }
    for (EventType type : eventTypes) {
        measure("library among all records/" + nameOf(type), [&provider, data = eventOf(type)] {
            benchmark::DoNotOptimize(library.serialize(&provider, data, generic));
        });
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
        added.push_back(costOf("bare rapidjson and line", type) - costOf("bare rapidjson", type));
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
    silenceLog();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    if (!peersAgree()) {
        std::fputs("nothing is measured: the encoders could not be shown to agree\n", stderr);
        return 1;
    }
    FullProvider const provider;
    measureAll(provider);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    if (costs.size() == 9 * std::size(eventTypes)) // Otherwise only some have been asked for.
        printTable(provider);
}
