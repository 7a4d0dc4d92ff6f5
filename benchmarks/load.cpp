// What it costs to load the library into a process that has Qt already.

#include "allocations.h"

#include <QtCore/QByteArray>

#include <benchmark/benchmark.h>

#include <chrono>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Cost
{
    double seconds = -1;
    std::uint64_t allocations = 0;
};

Cost loadOnce(char const *path)
{
    std::uint64_t const before = heapAllocations();
    auto const start = std::chrono::steady_clock::now();
    void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    std::chrono::duration<double> const duration = std::chrono::steady_clock::now() - start;
    return library ? Cost{duration.count(), heapAllocations() - before} : Cost();
}

} // namespace

/// Each time in a process of its own: a library is loaded only once.
static void load(benchmark::State &state)
{
    QByteArray const path = STBANALYTICS_FILE; // A host's process has Qt; this one too, by using it.
    Cost cost;
    for (auto _ : state) {
        int ends[2];
        pid_t child = -1;
        if (pipe(ends) == 0 && (child = fork()) == 0) {
            cost = loadOnce(path.constData());
            _exit(write(ends[1], &cost, sizeof(cost)) == sizeof(cost) ? 0 : 1);
        }
        if (child < 0 || read(ends[0], &cost, sizeof(cost)) != sizeof(cost) || cost.seconds < 0) {
            state.SkipWithError("cannot load the library");
            break;
        }
        close(ends[0]);
        close(ends[1]);
        waitpid(child, nullptr, 0);
        state.SetIterationTime(cost.seconds);
    }
    state.counters["allocations"] = static_cast<double>(cost.allocations);
}

BENCHMARK(load)->UseManualTime()->Iterations(200)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
