// The library beside the reference encoder and two other people's JSON libraries, in one run, and the table of it.

#include "allocations.h"
#include "host.h"
#include "peers.h"

#include <analytics/diagnosticline_p.h>
#include <analytics/jsoneventserializer.h>
#include <reference/referenceserializer.h>

#include <benchmark/benchmark.h>

#include <QtCore/QMetaEnum>

#include <cstdio>
#include <functional>
#include <map>

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

/// Keeps the median of each benchmark's repetitions beside printing them.
class Collector : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const &runs) override
    {
        for (Run const &run : runs) {
            if (run.aggregate_name == "median")
                costs[run.run_name.function_name] = {run.GetAdjustedCPUTime(), run.counters.at("allocations")};
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
                                     state.counters["allocations"]
                                         = benchmark::Counter(static_cast<double>(heapAllocations() - before),
                                                              benchmark::Counter::kAvgIterations);
                                 })
        ->Repetitions(9)
        ->MinTime(0.1)
        ->ReportAggregatesOnly();
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

    QString const id = provider.value(Property::EventId, {}).toString();
    int const counter = provider.value(Property::EventCounter, {}).toInt();
    measure("line", [=] { writeDiagnosticLine(id, counter); });
    // The reference streams the words as they are.
    measure("line/reference", [=] {
        logging::toLog(4, "stbanalytics", QString(), 0, "", "") << "analytics event prepared:"
                                                                << "id =" << id << "counter =" << counter;
    });

    // The library comes first: the others have every record registered with Qt, as few hosts have.
    for (EventType type : eventTypes) {
        measure("library/" + nameOf(type), [&provider, data = eventOf(type)] {
            benchmark::DoNotOptimize(library.serialize(&provider, data, generic));
        });
    }
    for (EventType type : eventTypes) {
        AnalyticsEventData const data = eventOf(type);
        measure("provider/" + nameOf(type), [&provider, data, properties = generic + propertiesOf(type)] {
            for (Property property : properties)
                benchmark::DoNotOptimize(provider.value(property, data));
        });
        measure("reference/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(reference.serialize(&provider, data, generic)); });
        measure("nlohmann/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(serializeWithNlohmann(provider, data, generic)); });
        measure("rapidjson/" + nameOf(type),
                [&provider, data] { benchmark::DoNotOptimize(serializeWithRapidJson(provider, data, generic)); });
    }
}

Cost net(std::string const &encoder, EventType type)
{
    Cost cost = costs.at(encoder + '/' + nameOf(type)) - costs.at("provider/" + nameOf(type));
    if (encoder == "library")
        cost = cost - costs.at("line");
    else if (encoder == "reference")
        cost = cost - costs.at("line/reference");
    return cost;
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
    printRow("library, heap allocations", [&](EventType type) { return number(net("library", type).allocations, 0); });
    for (auto const &[encoder, label] :
         {std::pair("reference", "faster than the reference (its allocations)"),
          std::pair("nlohmann", "faster than nlohmann::json (its allocations)"),
          std::pair("rapidjson", "faster than a bare RapidJSON writer (its allocations)")}) {
        printRow(label, [&, peer = encoder](EventType type) {
            return number(net(peer, type).nanoseconds / net("library", type).nanoseconds, 1) + " times ("
                + number(net(peer, type).allocations, 0) + ')';
        });
    }
    std::printf("\nThe diagnostic line: %.0f ns and %.0f allocations; as the reference writes it: %.0f ns and %.0f.\n",
                costs["line"].nanoseconds, costs["line"].allocations, costs["line/reference"].nanoseconds,
                costs["line/reference"].allocations);
}

} // namespace

int main(int argc, char **argv)
{
    silenceLog();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    FullProvider const provider;
    measureAll(provider);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    printTable(provider);
}
