// GetModule and Release on a warm branch of depth 4 of an on-demand set manager, from one
// thread and from two threads on different branches. items_per_second is the throughput of
// all threads together.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "parser/setmanager/tuning_mode.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace {

using setmanager_test::Record;
using setmanager_test::ValueBytes;

constexpr unsigned int kUseCases = 8;

// Default, and per use case Feature2.MFNRBlend below it and Scene.Night below that; "abc" in
// every mode.
std::string WriteBinary(const zyra_test::TempDir& directory) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddModule("abc", {1, 0, 0}, builder.AddMode(Record(0, 0)), ValueBytes(1));
    for (uint16_t i = 0; i < kUseCases; ++i) {
        const uint32_t useCase = builder.AddMode(Record(2, i, 0));
        const uint32_t blend = builder.AddMode(Record(4, 4, useCase));
        const uint32_t night = builder.AddMode(Record(5, 5, blend));
        for (const uint32_t mode : {useCase, blend, night}) {
            builder.AddModule("abc", {1, 0, 0}, mode, ValueBytes(mode));
        }
    }
    const std::vector<uint8_t> binary = builder.Build();
    return directory.Write("tuning.bin", setmanager_test::AsText(binary));
}

// One on-demand set manager for every run; the directory of its binary goes after it.
setmanager_test::TestSetManager& Manager() {
    static zyra_test::TempDir directory;
    static setmanager_test::TestSetManager manager;
    static const bool loaded = [] {
        manager.Register("abc", {1, 0, 0});
        manager.SetOnDemand(true);
        manager.SetMaxActiveModes(17);
        manager.SetLogging(true, true, false);
        return manager.LoadBinaryParameters(WriteBinary(directory).c_str());
    }();
    if (!loaded) {
        std::abort();
    }
    return manager;
}

void BM_GetModuleAndReleaseWarmBranch(benchmark::State& state) {
    setmanager_test::TestSetManager& manager = Manager();
    const auto useCase = static_cast<uint16_t>(state.thread_index());
    const TuningMode branch[] = {{0, 0, 0}, {2, useCase, 0}, {4, 4, 0}, {5, 5, 0}};
    // Warm: the branch's modes are in memory before timing starts.
    manager.GetModule("abc", branch, 4, nullptr)->Release();
    for (auto _ : state) {
        ParameterModule* pModule = manager.GetModule("abc", branch, 4, nullptr);
        benchmark::DoNotOptimize(pModule);
        pModule->Release();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetModuleAndReleaseWarmBranch)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
