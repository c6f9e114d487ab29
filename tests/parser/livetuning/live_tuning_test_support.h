// A set manager with a live tuning worker over a small binary, and a module class with one
// scalar read from the binary and one 65-element array in memory, for the service's tests
// and benchmark.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "../setmanager/set_manager_test_support.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "parser/setmanager/parameter_module.h"
#include "temp_dir.h"
#include "tuningclient/tuning_client.h"

namespace livetuning_test {

class TuningTestModule : public ParameterModule {
public:
    static constexpr unsigned int kCurveSize = 65;

    TuningTestModule(const char* pName, const VersionUnion& version, ModuleData* pData);

    ParameterModule* Create(ModuleData* pData, DefaultModule* pDefault) const override;
    bool LoadModule(ParameterFileSymbolTable* pSymbolTable) override;
    void UnloadModule() override { Loaded = false; }
    // Fields "gain" and "curve[0]" to "curve[64]", signed integers, and "label", any text,
    // the empty one too.
    bool GetValue(const char* pPath, char* pValue, unsigned int size) override;
    bool SetValue(const char* pPath, const char* pValue) override;
    bool GetInfo(const char* pPath, PList<ParameterParserInfo>& info) override;

    uint32_t ModuleID = 0;
    int32_t Gain = 0;
    int32_t Curve[kCurveSize] = {};
    std::string Label;

private:
    int32_t* Field(const char* pPath);
};

// Modes Default, Usecase.Preview and Usecase.Snapshot below it; module "lens" in Default
// (gain 11) and in Preview (gain 22), "awb" in Default only (gain 33). The binary is loaded
// from a file, on demand.
class TuningTestSetManager : public setmanager_test::TestSetManager {
public:
    TuningTestSetManager();

    ParameterDialinWorker* Worker() { return m_dialinWorker; }
    void SetDialinEnabled(bool enabled) { m_dialinEnabled = enabled; }
    bool LoadTestBinary(const std::string& binaryTag);

private:
    zyra_test::TempDir m_directory;
};

// A loaded set manager whose worker runs, and a client connected to it. Logging is chosen
// before the worker's threads start, which read it without a lock.
struct Served {
    explicit Served(const std::string& binaryTag = "lab unit 7", bool logging = true);
    ~Served();

    std::unique_ptr<TuningTestSetManager> manager;
    tuningclient::TuningClient client;
};

}  // namespace livetuning_test
