// How the costs of an on-demand binary grow with its size (1, 8, 32, 128 MiB of module data)
// and its number of modes (10, 100, 1000; eight modules in each): the time to open it, the
// heap it holds after the open, the first lookup (which reads a mode and the root from the
// file), and a walk that asks for a module in every mode. Prints one line per binary, then the
// growth exponent of each column along each axis as counters: log(last / first) over
// log(growth of the axis), the largest over the other axis; 1 is linear growth. The walk's
// minor page faults are printed beside it: where the allocator hands freed modes back to the
// kernel, each mode loaded afterwards faults its pages in again, and on a machine where a
// fault is dear that, not the library's work, decides the walk.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/tuning_mode.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"
#include "zyra/log.h"

namespace {

const uint32_t kSizesMiB[] = {1, 8, 32, 128};
const uint32_t kModeCounts[] = {10, 100, 1000};
constexpr unsigned int kRepeats = 3;

// Catalogue names without a schema, which hold their bytes as they are.
struct OpaqueName {
    const char* name;
    binwriter::Version version;
};
const OpaqueName kModules[] = {
    {"anr12_ope", {1, 2, 0}},        {"aonbls12_aon", {1, 2, 0}}, {"aoncst12_aon", {1, 2, 0}},
    {"asf30_ipe", {3, 0, 0}},        {"asf32_ope", {3, 2, 0}},    {"bayerhdr51_sfe_v2", {5, 1, 1}},
    {"bds11_tfe", {1, 1, 0}},        {"bdsfour10_tfe", {1, 0, 0}},
};
constexpr unsigned int kModulesPerMode = sizeof(kModules) / sizeof(kModules[0]);

// Default and `modes` - 1 use cases below it, each holding every module of kModules; the
// module bytes add up to `sizeMiB`.
std::vector<uint8_t> SweepBinary(uint32_t sizeMiB, uint32_t modes) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    const size_t moduleBytes = (size_t{sizeMiB} << 20) / (size_t{modes} * kModulesPerMode);
    uint32_t seed = sizeMiB * 7919u + modes;
    for (uint32_t mode = 0; mode < modes; ++mode) {
        binwriter::ModeRecord record;
        if (mode != 0) {
            record.mode = 2;
            record.subMode = static_cast<uint16_t>(mode);
            record.parent = 0;
        }
        const uint32_t id = builder.AddMode(record);
        for (const OpaqueName& module : kModules) {
            std::vector<uint8_t> bytes(moduleBytes);
            for (uint8_t& byte : bytes) {
                seed = seed * 1103515245u + 12345u;
                byte = static_cast<uint8_t>(seed >> 24);
            }
            builder.AddModule(module.name, module.version, id, std::move(bytes));
        }
    }
    return builder.Build();
}

class SweepSetManager : public TuningSetManager {
public:
    SweepSetManager() {
        m_dialinEnabled = false;
        m_logDebug = false;
    }
};

void Drop(void*, uint64_t, const char*, uint32_t, const char*) {}

size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

long MinorFaults() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

double Since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Costs {
    double openMs = 0;
    double heapKiB = 0;
    double firstLookupUs = 0;
    double walkMs = 0;
    double walkFaults = 0;
};

// One open, first lookup and walk of the file; false when a step failed.
bool Measure(const std::string& path, uint32_t modes, Costs& costs) {
    const TuningMode middle[] = {{0, 0, 0}, {2, static_cast<uint16_t>(modes / 2), 0}};
    SweepSetManager manager;
    const size_t heapBefore = HeapInUse();
    auto start = std::chrono::steady_clock::now();
    if (!manager.LoadBinaryParameters(path.c_str())) {
        return false;
    }
    costs.openMs = Since(start) * 1e3;
    costs.heapKiB = (static_cast<double>(HeapInUse()) - static_cast<double>(heapBefore)) / 1024;
    start = std::chrono::steady_clock::now();
    ParameterModule* pFirst = manager.GetModule(kModules[0].name, middle, 2, nullptr);
    costs.firstLookupUs = Since(start) * 1e6;
    if (pFirst == nullptr) {
        return false;
    }
    pFirst->Release();
    const long faultsBefore = MinorFaults();
    start = std::chrono::steady_clock::now();
    for (uint32_t mode = 1; mode < modes; ++mode) {
        const TuningMode branch[] = {{0, 0, 0}, {2, static_cast<uint16_t>(mode), 0}};
        ParameterModule* pModule = manager.GetModule(kModules[0].name, branch, 2, nullptr);
        if (pModule == nullptr) {
            return false;
        }
        pModule->Release();
    }
    costs.walkMs = Since(start) * 1e3;
    costs.walkFaults = static_cast<double>(MinorFaults() - faultsBefore);
    return true;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Growth exponent of `column` from the first to the last cell along one axis.
double Exponent(double first, double last, double axisGrowth) {
    return std::log(std::max(last, 1e-9) / std::max(first, 1e-9)) / std::log(axisGrowth);
}

// glibc hands the freed memory of a large binary back to the kernel (it trims the heap above
// twice the largest mapped block freed), so the next measurement of it faults its pages in
// again, while the measurements of a small binary reuse their heap. On a machine where a page
// fault is dear, that difference, not the library's work, would decide the growth of the
// costs. The sweep keeps freed memory in the heap, so that every cell is measured alike;
// SWEEP_DEFAULT_ALLOCATOR=1 leaves glibc as it is, and walk_faults shows the difference.
void KeepFreedMemory() {
    if (std::getenv("SWEEP_DEFAULT_ALLOCATOR") == nullptr) {
        mallopt(M_TRIM_THRESHOLD, -1);
        mallopt(M_MMAP_THRESHOLD, 32 << 20);
    }
}

void BM_CostSweep(benchmark::State& state) {
    KeepFreedMemory();
    Zyra::Log::SetLogSink(&Drop, nullptr);
    constexpr size_t kSizes = sizeof(kSizesMiB) / sizeof(kSizesMiB[0]);
    constexpr size_t kModeSteps = sizeof(kModeCounts) / sizeof(kModeCounts[0]);
    Costs table[kSizes][kModeSteps];
    for (auto _ : state) {
        std::printf("%8s %6s %10s %12s %16s %10s %12s\n", "size_MiB", "modes", "open_ms",
                    "heap_KiB", "first_lookup_us", "walk_ms", "walk_faults");
        for (size_t s = 0; s < kSizes; ++s) {
            for (size_t m = 0; m < kModeSteps; ++m) {
                const zyra_test::TempDir directory;
                std::string path;
                {
                    const std::vector<uint8_t> binary = SweepBinary(kSizesMiB[s], kModeCounts[m]);
                    path = directory.Write("sweep.bin", binary);
                }
                std::vector<double> open, heap, first, walk, faults;
                for (unsigned int r = 0; r < kRepeats; ++r) {
                    Costs costs;
                    if (!Measure(path, kModeCounts[m], costs)) {
                        state.SkipWithError("the sweep binary did not load");
                        Zyra::Log::SetLogSink(nullptr, nullptr);
                        return;
                    }
                    open.push_back(costs.openMs);
                    heap.push_back(costs.heapKiB);
                    first.push_back(costs.firstLookupUs);
                    walk.push_back(costs.walkMs);
                    faults.push_back(costs.walkFaults);
                }
                Costs& cell = table[s][m];
                cell = {Median(open), Median(heap), Median(first), Median(walk), Median(faults)};
                std::printf("%8u %6u %10.2f %12.0f %16.1f %10.2f %12.0f\n", kSizesMiB[s],
                            kModeCounts[m], cell.openMs, cell.heapKiB, cell.firstLookupUs,
                            cell.walkMs, cell.walkFaults);
            }
        }
    }
    Zyra::Log::SetLogSink(nullptr, nullptr);
    const double sizeGrowth = static_cast<double>(kSizesMiB[kSizes - 1]) / kSizesMiB[0];
    const double modeGrowth = static_cast<double>(kModeCounts[kModeSteps - 1]) / kModeCounts[0];
    const auto bySize = [&](double Costs::*column) {
        double largest = -1e9;
        for (size_t m = 0; m < kModeSteps; ++m) {
            largest = std::max(largest, Exponent(table[0][m].*column,
                                                 table[kSizes - 1][m].*column, sizeGrowth));
        }
        return largest;
    };
    // The walk asks for each use case below Default, one fewer than the modes.
    const double walkGrowth =
        static_cast<double>(kModeCounts[kModeSteps - 1] - 1) / (kModeCounts[0] - 1);
    const auto byModes = [&](double Costs::*column, double growth) {
        double largest = -1e9;
        for (size_t s = 0; s < kSizes; ++s) {
            largest = std::max(largest, Exponent(table[s][0].*column,
                                                 table[s][kModeSteps - 1].*column, growth));
        }
        return largest;
    };
    state.counters["open_by_size"] = bySize(&Costs::openMs);
    state.counters["open_by_modes"] = byModes(&Costs::openMs, modeGrowth);
    state.counters["heap_by_size"] = bySize(&Costs::heapKiB);
    state.counters["heap_by_modes"] = byModes(&Costs::heapKiB, modeGrowth);
    state.counters["first_by_size"] = bySize(&Costs::firstLookupUs);
    state.counters["first_by_modes"] = byModes(&Costs::firstLookupUs, modeGrowth);
    state.counters["walk_by_size"] = bySize(&Costs::walkMs);
    state.counters["walk_by_modes"] = byModes(&Costs::walkMs, walkGrowth);
}
BENCHMARK(BM_CostSweep)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
