// GetModule and Release on a warm branch of depth 4 of an on-demand set manager, from one
// thread and from two threads on different branches. items_per_second is the throughput of
// all threads together.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "parser/setmanager/tuning_mode.h"

namespace {

constexpr unsigned int kUseCases = 8;
const VersionUnion kVersion(1, 0, 0);

// A module holding one value read from its entry.
class BenchModule : public ParameterModule {
public:
    BenchModule(const char* pName, ModuleData* pData) : ParameterModule(pName, kVersion, pData) {}

    ParameterModule* Create(ModuleData* pData, DefaultModule* pDefault) const override {
        const uint32_t id = pData->DuplicateID != 0 ? pData->DuplicateID : pData->ID;
        if (ParameterModule* pShared = pDefault->Find(id)) {
            return pShared;
        }
        auto* pModule = new BenchModule(Name, pData);
        pModule->m_id = id;
        pDefault->AddModule(pModule);
        return pModule;
    }
    bool LoadModule(ParameterFileSymbolTable* pTable) override {
        ParameterFileSymbolTableEntry entry;
        Loaded = Loaded || (pTable != nullptr && pTable->Find(entry, m_id, true) &&
                            entry.Read(&m_value, pTable->GetAlignment()));
        return Loaded;
    }
    void UnloadModule() override { Loaded = false; }

private:
    uint32_t m_id = 0;
    uint32_t m_value = 0;
};

class BenchSetManager : public ParameterSetManager {
public:
    BenchSetManager() {
        m_onDemand = true;
        m_maxActiveModes = 17;
        m_logDebug = false;
        auto* pPrototype = new BenchModule("abc", nullptr);
        m_defaultModules[pPrototype->Type] = ParserNew<DefaultModule>(pPrototype);
    }
    ~BenchSetManager() override {
        for (auto& entry : m_defaultModules) {
            ParserDelete(entry.second);
        }
        m_defaultModules.clear();
    }
    DefaultModule* GetDefaultModule(char* pType) override {
        auto found = m_defaultModules.find(pType);
        return found != m_defaultModules.end() ? found->second : nullptr;
    }
    void SaveAndClearModules() override { SaveAndClearDefaultModules(); }
};

std::vector<uint8_t> Value(uint32_t value) {
    std::vector<uint8_t> bytes(8, 0);
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    }
    return bytes;
}

binwriter::ModeRecord Mode(uint16_t mode, uint16_t subMode, std::optional<uint32_t> parent) {
    binwriter::ModeRecord record;
    record.mode = mode;
    record.subMode = subMode;
    record.parent = parent;
    return record;
}

// Default, and per use case Feature2.MFNRBlend below it and Scene.Night below that; "abc" in
// every mode.
std::string WriteBinary() {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddModule("abc", {1, 0, 0}, builder.AddMode(Mode(0, 0, std::nullopt)), Value(1));
    for (uint16_t i = 0; i < kUseCases; ++i) {
        const uint32_t useCase = builder.AddMode(Mode(2, i, 0));
        const uint32_t blend = builder.AddMode(Mode(4, 4, useCase));
        const uint32_t night = builder.AddMode(Mode(5, 5, blend));
        for (const uint32_t mode : {useCase, blend, night}) {
            builder.AddModule("abc", {1, 0, 0}, mode, Value(mode));
        }
    }
    const std::vector<uint8_t> binary = builder.Build();
    char path[] = "/tmp/set_manager_benchmark_XXXXXX";
    const int descriptor = mkstemp(path);
    if (descriptor < 0 ||
        write(descriptor, binary.data(), binary.size()) != static_cast<ssize_t>(binary.size())) {
        std::abort();
    }
    close(descriptor);
    return path;
}

// The binary's file, removed at exit after the set manager reading it.
struct BinaryFile {
    ~BinaryFile() { std::remove(path.c_str()); }
    std::string path = WriteBinary();
};

// One set manager for every run.
BenchSetManager& Manager() {
    static BinaryFile file;
    static BenchSetManager manager;
    static const bool loaded = manager.LoadBinaryParameters(file.path.c_str());
    if (!loaded) {
        std::abort();
    }
    return manager;
}

void BM_GetModuleAndReleaseWarmBranch(benchmark::State& state) {
    BenchSetManager& manager = Manager();
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
