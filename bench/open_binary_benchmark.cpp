// Opening a large tuning binary on demand, against the least any open must do: read the file
// once and take its CRC. The binary has 750 module entries in 100 modes and about 32 MiB of
// values; each iteration times both, and the counters give their means and ratio.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/file/crc32.h"
#include "parser/foundation/parser_object.h"
#include "parser/foundation/version_union.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"

namespace {

constexpr unsigned int kModuleEntries = 750;
constexpr unsigned int kModes = 100;
constexpr unsigned int kModuleTypes = 150;
constexpr size_t kValueBytes = (32u << 20) / kModuleEntries;
const binwriter::Version kModuleVersion{1, 0, 0};

std::string TypeName(unsigned int type) {
    char name[32];
    std::snprintf(name, sizeof(name), "bench%03u", type);
    return name;
}

// A module that reads nothing: the open files every entry under its mode, but loads none.
class BenchModule : public ParameterModule {
public:
    BenchModule(const char* pName, ModuleData* pData)
        : ParameterModule(pName, VersionUnion(kModuleVersion.Word()), pData) {}

    ParameterModule* Create(ModuleData* pData, DefaultModule* pDefault) const override {
        const uint32_t id = pData->DuplicateID != 0 ? pData->DuplicateID : pData->ID;
        if (ParameterModule* pShared = pDefault->Find(id)) {
            return pShared;
        }
        auto* pModule = new BenchModule(Name, pData);
        pDefault->AddModule(pModule);
        return pModule;
    }
    bool LoadModule(ParameterFileSymbolTable*) override { return Loaded = true; }
    void UnloadModule() override { Loaded = false; }
};

class BenchSetManager : public ParameterSetManager {
public:
    BenchSetManager() {
        m_onDemand = true;
        m_maxActiveModes = 17;
        for (unsigned int type = 0; type < kModuleTypes; ++type) {
            auto* pPrototype = new BenchModule(("lumatrope_" + TypeName(type)).c_str(), nullptr);
            m_defaultModules[pPrototype->Type] = ParserNew<DefaultModule>(pPrototype);
        }
    }
    ~BenchSetManager() override {
        for (auto& entry : m_defaultModules) {
            ParserDelete(entry.second);
        }
        m_defaultModules.clear();
    }

    // Module objects the open made, to tell a real open from one that skipped the entries.
    unsigned int InstanceCount() const {
        unsigned int count = 0;
        for (const auto& entry : m_defaultModules) {
            for (const ModuleLink* pLink = entry.second->InstanceHead; pLink != nullptr;
                 pLink = pLink->Next) {
                ++count;
            }
        }
        return count;
    }

    DefaultModule* GetDefaultModule(char* pType) override {
        auto found = m_defaultModules.find(pType != nullptr ? pType : "");
        return found != m_defaultModules.end() ? found->second : nullptr;
    }
    void SaveAndClearModules() override {}
    bool GetValue(const char*, const char*, const char*, char*, unsigned int) override {
        return false;
    }
    bool SetValue(const char*, const char*, const char*, const char*) override { return false; }
    bool GetInfo(const char*, const char*, PList<ParameterParserInfo>&) override { return false; }
};

// Root and 99 children; entry i is of type i % 150 and lies in a mode of block i / 150, so
// no mode holds a type twice.
std::vector<uint8_t> LargeBinary() {
    binwriter::TuningBinaryBuilder builder(binwriter::Version{5, 0, 0});
    builder.SetBinaryTag("open benchmark");
    binwriter::ModeRecord root;
    builder.AddMode(root);
    for (unsigned int mode = 1; mode < kModes; ++mode) {
        binwriter::ModeRecord child;
        child.mode = 2;
        child.subMode = static_cast<uint16_t>(mode);
        child.parent = 0;
        builder.AddMode(child);
    }
    uint32_t seed = 12345;
    for (unsigned int i = 0; i < kModuleEntries; ++i) {
        std::vector<uint8_t> values(kValueBytes);
        for (uint8_t& byte : values) {
            seed = seed * 1103515245u + 12345u;
            byte = static_cast<uint8_t>(seed >> 24);
        }
        const unsigned int type = i % kModuleTypes;
        const unsigned int mode = (i / kModuleTypes) * 20 + type % 20;
        builder.AddModule(TypeName(type), kModuleVersion, mode, std::move(values));
    }
    return builder.Build();
}

// The binary in a temporary file for the whole run, removed at exit.
char g_binaryPath[] = "/tmp/zyra_open_benchmark_XXXXXX";

const char* BinaryFile() {
    static const bool written = [] {
        const int fd = mkstemp(g_binaryPath);
        if (fd < 0) {
            return false;
        }
        std::atexit([] { std::remove(g_binaryPath); });
        const std::vector<uint8_t> bytes = LargeBinary();
        const bool complete = write(fd, bytes.data(), bytes.size()) ==
                              static_cast<ssize_t>(bytes.size());
        close(fd);
        return complete;
    }();
    if (!written) {
        std::fprintf(stderr, "cannot write the benchmark binary %s\n", g_binaryPath);
        std::exit(1);
    }
    return g_binaryPath;
}

// The whole file in memory, in one read.
std::vector<uint8_t> ReadWholeFile(const char* pPath) {
    std::vector<uint8_t> bytes;
    if (FILE* pFile = std::fopen(pPath, "rb")) {
        std::fseek(pFile, 0, SEEK_END);
        bytes.resize(static_cast<size_t>(std::ftell(pFile)));
        std::fseek(pFile, 0, SEEK_SET);
        bytes.resize(std::fread(bytes.data(), 1, bytes.size(), pFile));
        std::fclose(pFile);
    }
    return bytes;
}

double MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

void BM_OpenOnDemand_vs_ReadAndCrc(benchmark::State& state) {
    const char* pPath = BinaryFile();
    double readMs = 0;
    double openMs = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        {
            const std::vector<uint8_t> bytes = ReadWholeFile(pPath);
            benchmark::DoNotOptimize(ParameterCrc32::Compute(bytes.data(), bytes.size()));
        }
        readMs += MillisecondsSince(start);

        BenchSetManager manager;
        start = std::chrono::steady_clock::now();
        const bool loaded = manager.LoadBinaryParameters(pPath);
        openMs += MillisecondsSince(start);
        if (!loaded || manager.InstanceCount() != kModuleEntries) {
            state.SkipWithError(loaded ? "not every module entry was opened" : manager.GetError());
            return;
        }
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["read_crc_ms"] = readMs / iterations;
    state.counters["open_ms"] = openMs / iterations;
    state.counters["open_to_read"] = openMs / readMs;
}
BENCHMARK(BM_OpenOnDemand_vs_ReadAndCrc)->Unit(benchmark::kMillisecond);

}  // namespace
