// Throughput of the CRC-32 over a buffer of the size of a large tuning binary.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "parser/file/crc32.h"

namespace {

void BM_Crc32_64MiB(benchmark::State& state) {
    std::vector<uint8_t> buffer(64u << 20);
    uint32_t seed = 12345;
    for (uint8_t& byte : buffer) {
        seed = seed * 1103515245u + 12345u;
        byte = static_cast<uint8_t>(seed >> 24);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(ParameterCrc32::Compute(buffer.data(), buffer.size()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_Crc32_64MiB)->Unit(benchmark::kMillisecond);

}  // namespace
