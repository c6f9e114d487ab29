#include "fuzz_set_manager.h"

#include <string>

#include "module_values.h"
#include "parser/file/crc32.h"
#include "zyra/log.h"

namespace zyra_fuzz {
namespace {

const char* const kModuleNames[] = {"abc", "def", "ghi", "dup", "enginetest", "enginetest_twin",
                                    "unknown"};
// The root alone, each level of the test tree, a linked node, and steps no tree holds.
const char* const kBranches[] = {"0.0", "0.0|2.0", "0.0|2.0|4.4|4.5", "0.0|2.2", "0.0|2.1",
                                 "0.0|9.9|2.0", "3.1"};
const char* const kFieldNames = "u32,samples[1],samples[7],regions[0].label";

constexpr size_t kCrcSize = 4;

void DropLine(void*, uint64_t, const char*, uint32_t, const char*) {}

}  // namespace

FuzzSetManager::FuzzSetManager(bool onDemand) {
    setmanager_test::RegisterTree(*this);
    Register("enginetest");
    SetOnDemand(onDemand);
}

std::vector<uint8_t> EngineTree(const binwriter::Version& format) {
    using setmanager_test::Record;
    binwriter::TuningBinaryBuilder builder(format);
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(2, 2, 0, 1));
    builder.AddModule("abc", {1, 0, 0}, 0, setmanager_test::ValueBytes(builder, 5));
    builder.AddModule("abc", {1, 0, 0}, 1, setmanager_test::ValueBytes(builder, 6));
    engine_test::ModuleValues values;
    values.regions.resize(2);
    values.regions[0].label = "first";
    values.regions[0].weights = {1, 2, 3};
    builder.AddModule("enginetest", {1, 0, 0}, 1, engine_test::WriteModule(builder, values));
    return builder.Build();
}

void QueryModules(ParameterSetManager& manager) {
    char value[64];
    for (const char* pBranch : kBranches) {
        std::vector<TuningMode> steps = setmanager_test::Branch(pBranch);
        const auto count = static_cast<unsigned int>(steps.size());
        // A module handed out lives until the second reload after it was replaced, so it is
        // kept only from one request to the next, as a client passing it back does.
        ParameterModule* pPrevious = nullptr;
        for (const char* pName : kModuleNames) {
            pPrevious = manager.GetModule(pName, steps.data(), count, pPrevious);
        }
        if (pPrevious != nullptr) {
            manager.ReleaseModule(pPrevious);
        }
        for (const char* pName : kModuleNames) {
            manager.GetValue(steps.data(), count, pName, kFieldNames, value, sizeof(value));
            const std::string field = std::string(pName) + ".u32";
            manager.GetValue(steps.data(), count, field.c_str(), nullptr, value, sizeof(value));
        }
        manager.SetValue(steps.data(), count, "abc", "u32", "77");
        manager.UnloadMode(steps.data(), count);
    }
}

void DropLogLines() { Zyra::Log::SetLogSink(DropLine, nullptr); }

std::vector<unsigned char> WithValidCrc(const uint8_t* pData, size_t size) {
    std::vector<unsigned char> binary(pData, pData + size);
    if (size >= kCrcSize) {
        const uint32_t crc = ParameterCrc32::Compute(binary.data(), size - kCrcSize);
        for (size_t i = 0; i < kCrcSize; ++i) {
            binary[size - kCrcSize + i] = static_cast<unsigned char>(crc >> (8 * i));
        }
    }
    return binary;
}

}  // namespace zyra_fuzz
