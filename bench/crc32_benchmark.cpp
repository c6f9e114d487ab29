// Throughput of the library's CRC-32 against zlib's crc32 and against memcpy, on the same
// buffer in the same run: each iteration times all three in turn. The counters give each one's
// bytes per second and the ratio of the library's CRC to zlib's, `crc_to_zlib`.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

#include "parser/file/crc32.h"

namespace {

std::vector<uint8_t> RandomBytes(size_t size) {
    std::vector<uint8_t> buffer(size);
    uint32_t seed = 12345;
    for (uint8_t& byte : buffer) {
        seed = seed * 1103515245u + 12345u;
        byte = static_cast<uint8_t>(seed >> 24);
    }
    return buffer;
}

// Seconds that `work` takes.
template <typename Work>
double Seconds(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_Crc32_vs_Zlib(benchmark::State& state) {
    const std::vector<uint8_t> buffer = RandomBytes(static_cast<size_t>(state.range(0)));
    std::vector<uint8_t> copy(buffer.size());
    double crcSeconds = 0;
    double zlibSeconds = 0;
    double memcpySeconds = 0;
    for (auto _ : state) {
        uint32_t ours = 0;
        uLong theirs = 0;
        crcSeconds += Seconds([&] { ours = ParameterCrc32::Compute(buffer.data(), buffer.size()); });
        zlibSeconds += Seconds([&] {
            theirs = crc32(crc32(0L, Z_NULL, 0), buffer.data(), static_cast<uInt>(buffer.size()));
        });
        memcpySeconds += Seconds([&] {
            std::memcpy(copy.data(), buffer.data(), buffer.size());
            benchmark::ClobberMemory();
        });
        if (ours != theirs) {
            state.SkipWithError("the CRC differs from zlib's");
            return;
        }
    }
    const double bytes = static_cast<double>(state.iterations()) * buffer.size();
    state.counters["crc_bytes_per_s"] = bytes / crcSeconds;
    state.counters["zlib_bytes_per_s"] = bytes / zlibSeconds;
    state.counters["memcpy_bytes_per_s"] = bytes / memcpySeconds;
    state.counters["crc_to_zlib"] = zlibSeconds / crcSeconds;
}
BENCHMARK(BM_Crc32_vs_Zlib)->Arg(64 << 10)->Arg(64 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
