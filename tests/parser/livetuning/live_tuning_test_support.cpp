#include "live_tuning_test_support.h"

#include "binwriter/tuning_binary_builder.h"
#include "enginetest_1_0_0.h"
#include "module_values.h"
#include "set_manager_test_support.h"

namespace livetuning_test {

namespace {

const CatalogueSetManager::Registration kModules[] = {
    {"lens", &enginetest_1_0_0::enginetestTypeClassPrototype, "enginetest_1_0_0",
     "enginetestType", 1, 0, 0},
    {"awb", &enginetest_1_0_0::enginetestTypeClassPrototype, "enginetest_1_0_0",
     "enginetestType", 1, 0, 0}};

uint32_t AddEngineModule(binwriter::TuningBinaryBuilder& builder, const char* pName, uint32_t mode,
                         int32_t i32) {
    engine_test::ModuleValues values;
    values.i32 = i32;
    values.samples.resize(kSampleCount);
    for (unsigned int i = 0; i < kSampleCount; ++i) {
        values.samples[i] = i;
    }
    return builder.AddModule(pName, {1, 0, 0}, mode, engine_test::WriteModule(builder, values));
}

}  // namespace

TuningTestSetManager::TuningTestSetManager(bool logging)
    : CatalogueSetManager("TuningTestSetManager", "tuning", kModules, 2, nullptr) {
    m_maxActiveModes = 17;
    m_onDemand = true;
    m_logErrors = logging;
    m_logWarnings = logging;
    m_logDebug = logging;
    CreateDialinWorker();
}

bool TuningTestSetManager::LoadTestBinary(const std::string& binaryTag) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.SetBinaryTag(binaryTag);
    builder.AddMode(setmanager_test::Record(0, 0));
    builder.AddMode(setmanager_test::Record(2, 0, 0));
    builder.AddMode(setmanager_test::Record(2, 1, 0));
    AddEngineModule(builder, "lens", 0, 11);
    AddEngineModule(builder, "lens", 1, 22);
    AddEngineModule(builder, "awb", 0, 33);
    const std::vector<uint8_t> binary = builder.Build();
    const std::string path =
        m_directory.Write("tuning.bin", binary);
    return LoadBinaryParameters(path.c_str());
}

Served::Served(const std::string& binaryTag, bool logging)
    : manager(new TuningTestSetManager(logging)) {
    if (manager->LoadTestBinary(binaryTag)) {
        client.Connect("127.0.0.1", manager->Worker()->Port());
    }
}

Served::~Served() {
    // Tuning traffic ends before the set manager goes.
    client.Close();
    manager->Worker()->Stop();
}

}  // namespace livetuning_test
