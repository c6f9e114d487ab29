// Warm GetModule and Release on branches of depth 4 of an on-demand set manager: rounds on
// one thread and rounds on two threads, each on a branch of its own, alternate within one
// run. The counters are the lookups per second of one thread and of two threads together
// (the median of the rounds each), and their ratio, `scaling`. Rounds of two threads each on a
// set manager of its own, which share nothing, give `apart_scaling` beside it: what the machine
// gives two threads of this work at that time. A virtual machine whose two processors share a
// core, or whose host is busy, scales even that less than 2x.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "parser/setmanager/tuning_mode.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace {

using setmanager_test::Record;
using setmanager_test::ValueBytes;

constexpr unsigned int kUseCases = 8;
// Steps of each thread in one round: tens of milliseconds of lookups.
constexpr unsigned int kStepsPerRound = 100000;
constexpr unsigned int kRounds = 9;

// Default, and per use case Feature2.MFNRBlend below it and Scene.Night below that; "abc" in
// every mode.
std::string WriteBinary(const zyra_test::TempDir& directory) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddModule("abc", {1, 0, 0}, builder.AddMode(Record(0, 0)), ValueBytes(builder, 1));
    for (uint16_t i = 0; i < kUseCases; ++i) {
        const uint32_t useCase = builder.AddMode(Record(2, i, 0));
        const uint32_t blend = builder.AddMode(Record(4, 4, useCase));
        const uint32_t night = builder.AddMode(Record(5, 5, blend));
        for (const uint32_t mode : {useCase, blend, night}) {
            builder.AddModule("abc", {1, 0, 0}, mode, ValueBytes(builder, mode));
        }
    }
    const std::vector<uint8_t> binary = builder.Build();
    return directory.Write("tuning.bin", binary);
}

// On-demand set managers for every run, each of its own binary; the directory of the binaries
// goes after them.
setmanager_test::TestSetManager& Manager(unsigned int index) {
    static zyra_test::TempDir directory;
    static setmanager_test::TestSetManager managers[2];
    static const bool loaded = [] {
        bool all = true;
        for (setmanager_test::TestSetManager& manager : managers) {
            manager.Register("abc");
            manager.SetOnDemand(true);
            manager.SetMaxActiveModes(17);
            manager.SetLogging(true, true, false);
            all = manager.LoadBinaryParameters(WriteBinary(directory).c_str()) && all;
        }
        return all;
    }();
    if (!loaded) {
        std::abort();
    }
    return managers[index];
}

// Runs of `threads` threads together, each a step made by `prepare(thread)` (prepared before
// the clock starts) done kStepsPerRound times; steps per second of all threads.
template <typename Prepare>
double Rate(unsigned int threads, Prepare prepare) {
    std::atomic<unsigned int> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> workers;
    for (unsigned int t = 0; t < threads; ++t) {
        workers.emplace_back([&prepare, &ready, &go, t] {
            auto step = prepare(t);
            ready.fetch_add(1);
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (unsigned int i = 0; i < kStepsPerRound; ++i) {
                step();
            }
        });
    }
    while (ready.load() != threads) {
        std::this_thread::yield();
    }
    const auto start = std::chrono::steady_clock::now();
    go.store(true);
    for (std::thread& worker : workers) {
        worker.join();
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return threads * static_cast<double>(kStepsPerRound) / elapsed.count();
}

// Lookups per second of `threads` threads together, warmed before the clock starts: each on
// the branch of its own use case of one set manager, or, `apart`, each on its own set manager.
double LookupRate(unsigned int threads, bool apart) {
    return Rate(threads, [apart](unsigned int t) {
        setmanager_test::TestSetManager& manager = Manager(apart ? t : 0);
        const uint16_t useCase = static_cast<uint16_t>(apart ? 0 : t);
        const TuningMode branch[] = {{0, 0, 0}, {2, useCase, 0}, {4, 4, 0}, {5, 5, 0}};
        manager.GetModule("abc", branch, 4, nullptr)->Release();
        return [&manager, branch] {
            ParameterModule* pModule = manager.GetModule("abc", branch, 4, nullptr);
            benchmark::DoNotOptimize(pModule);
            pModule->Release();
        };
    });
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void BM_WarmLookupScaling(benchmark::State& state) {
    std::vector<double> oneThread;
    std::vector<double> twoThreads;
    std::vector<double> twoApart;
    for (auto _ : state) {
        oneThread.push_back(LookupRate(1, false));
        twoThreads.push_back(LookupRate(2, false));
        twoApart.push_back(LookupRate(2, true));
    }
    const double one = Median(oneThread);
    const double two = Median(twoThreads);
    state.counters["one_thread_per_s"] = one;
    state.counters["two_threads_per_s"] = two;
    state.counters["scaling"] = two / one;
    state.counters["apart_scaling"] = Median(twoApart) / one;
}
BENCHMARK(BM_WarmLookupScaling)->Iterations(kRounds)->Unit(benchmark::kMillisecond);

}  // namespace
