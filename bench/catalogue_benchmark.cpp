// Construction and destruction of a TuningSetManager, which registers one prototype per
// catalogue name (754). Its two log lines go to a sink that drops them.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "tuning_set_manager.h"
#include "zyra/log.h"

namespace {

void Drop(void*, uint64_t, const char*, uint32_t, const char*) {}

void BM_ConstructTuningSetManager(benchmark::State& state) {
    Zyra::Log::SetLogSink(&Drop, nullptr);
    for (auto _ : state) {
        TuningSetManager manager;
        benchmark::DoNotOptimize(&manager);
    }
    Zyra::Log::SetLogSink(nullptr, nullptr);
}
BENCHMARK(BM_ConstructTuningSetManager)->Unit(benchmark::kMillisecond);

}  // namespace
