// Round trips of the live tuning service over loopback, client to worker and back:
// GetValues of one 65-element counted array (counter median_us, the median round trip), and 1000
// SetValues of a scalar in a row (the iteration time is the whole run of 1000).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "live_tuning_test_support.h"

namespace {

using Clock = std::chrono::steady_clock;

void BM_GetValuesArray(benchmark::State& state) {
    livetuning_test::Served served("lab unit 7", false);
    std::vector<double> roundTrips;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        const std::optional<std::string> values = served.client.GetValues("Default", "lens.samples");
        roundTrips.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        if (!values || values->size() < 2 * livetuning_test::kSampleCount) {
            state.SkipWithError("GetValues got no full answer");
            break;
        }
    }
    std::sort(roundTrips.begin(), roundTrips.end());
    state.counters["median_us"] = roundTrips.empty() ? 0.0 : roundTrips[roundTrips.size() / 2];
}
BENCHMARK(BM_GetValuesArray)->UseRealTime();

void BM_SetValuesScalar1000(benchmark::State& state) {
    livetuning_test::Served served("lab unit 7", false);
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i) {
            const std::string assignment = "i32=" + std::to_string(i);
            if (served.client.SetValues("Default", "lens", assignment) != assignment) {
                state.SkipWithError("SetValues was not stored");
                return;
            }
        }
    }
}
BENCHMARK(BM_SetValuesScalar1000)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
