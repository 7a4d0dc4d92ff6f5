#include "allocations.h"
#include "host.h"

#include <analytics/analyticsmanager.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>

#include <benchmark/benchmark.h>

using namespace analytics;

namespace {

/// Reports what the loop allocates for each event.
void reportAllocations(benchmark::State &state, std::uint64_t allocations, qsizetype eventsInARound = 1)
{
    state.counters["allocations"] = benchmark::Counter(
        static_cast<double>(allocations) / static_cast<double>(eventsInARound), benchmark::Counter::kAvgIterations);
}

void serialize(benchmark::State &state, EventType type)
{
    FullProvider const provider;
    JsonEventSerializer const serializer;
    AnalyticsEventData const data = eventOf(type);
    QList<Property> const generic = genericProperties();
    state.counters["bytes"] = static_cast<double>(serializer.serialize(&provider, data, generic).size());

    std::uint64_t const before = heapAllocations();
    for (auto _ : state)
        benchmark::DoNotOptimize(serializer.serialize(&provider, data, generic));
    reportAllocations(state, heapAllocations() - before);
}

/// Has one value, and nothing else.
class OneValue : public IPropertyProvider
{
public:
    explicit OneValue(QVariant value)
        : m_value(std::move(value))
    {
    }

    QVariant value(Property property, AnalyticsEventData const &) const override
    {
        return property == Property::Query ? m_value : QVariant();
    }

private:
    QVariant m_value;
};

void serializeOne(benchmark::State &state, QVariant const &value)
{
    OneValue const provider(value);
    JsonEventSerializer const serializer;
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes += serializer.serialize(&provider, eventOf(EventType::SearchResult), {}).size();
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void text(benchmark::State &state)
{
    serializeOne(state, QString(state.range(0), u'a'));
}

void records(benchmark::State &state)
{
    QVariantList list;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        list.append(QVariant::fromValue(Channel{1000 + i, 2000 + i}));
    serializeOne(state, list);
}

void pack(benchmark::State &state)
{
    FullProvider const provider;
    JsonEventSerializer const serializer;
    QByteArray const event = serializer.serialize(&provider, eventOf(EventType::PlaybackStart), genericProperties());
    QList<QByteArray> const events(state.range(0), event);

    std::uint64_t const before = heapAllocations();
    for (auto _ : state)
        benchmark::DoNotOptimize(serializer.pack(events));
    reportAllocations(state, heapAllocations() - before, events.size());
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * events.size());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * events.size() * event.size());
}

/// Low events only join the buffer; a flush out of the measure keeps it from growing without end.
void appendEvent(benchmark::State &state, EventPriority priority)
{
    FullProvider provider;
    JsonEventSerializer serializer;
    NoSender sender;
    AnalyticsManager manager;
    manager.setPropertyProvider(&provider);
    manager.setEventSerializer(&serializer);
    manager.setPackageSender(&sender);
    manager.setEnabled(true);

    int tag = 0;
    std::uint64_t flushes = 0;
    std::uint64_t const before = heapAllocations();
    for (auto _ : state) {
        manager.appendEvent(EventType::PlaybackStart, ++tag, std::chrono::milliseconds(tag), {}, priority);
        if (priority == EventPriority::Low && tag % 1000 == 0) {
            state.PauseTiming();
            std::uint64_t const beforeFlush = heapAllocations();
            manager.appendEvent(EventType::Invalid, 0, {}, {}, EventPriority::Medium);
            flushes += heapAllocations() - beforeFlush;
            state.ResumeTiming();
        }
    }
    reportAllocations(state, heapAllocations() - before - flushes);
}

} // namespace

BENCHMARK_CAPTURE(serialize, SqmMetrics, EventType::SqmMetrics);
BENCHMARK_CAPTURE(serialize, KivoStatus, EventType::KivoStatus);
BENCHMARK_CAPTURE(serialize, PlaybackStart, EventType::PlaybackStart);
BENCHMARK(text)->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(records)->RangeMultiplier(10)->Range(100, 100'000);
BENCHMARK(pack)->Arg(1)->Arg(100)->Arg(10000);
BENCHMARK_CAPTURE(appendEvent, Low, EventPriority::Low);
BENCHMARK_CAPTURE(appendEvent, Medium, EventPriority::Medium);
BENCHMARK_CAPTURE(appendEvent, High, EventPriority::High);

int main(int argc, char **argv)
{
    silenceLog();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
}
