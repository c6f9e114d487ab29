// A binary loaded by the library's own tuning set manager, its typed catalogue modules asked
// for along a few branches, and every field each of them lists read back by name.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_set_manager.h"
#include "parser/foundation/plist.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "set_manager_test_support.h"
#include "tuning_set_manager.h"

namespace {

// The seeds' typed modules (a tree, counted tables), and names of the catalogue that a mutated
// name table may come to hold.
const char* const kModuleNames[] = {"gamma16_ife_v2", "aecxconvergence", "gamma16_bps_v2",
                                    "abf40_ife_v2"};
// The root, the seeds' child, and a step no seed holds.
const char* const kBranches[] = {"0.0", "0.0|2.0", "0.0|2.2"};

// Reads every field `path` lists and descends into listed structures, for arrays into the
// first element and the one past the end; deeper levels reuse the same reflection code.
void ReadFields(ParameterModule& module, const std::string& path, int depth) {
    PList<ParameterParserInfo> info;
    if (!module.GetInfo(path.c_str(), info)) {
        return;
    }
    char value[256];
    for (uint32_t i = 0; i < info.Count(); ++i) {
        const ParameterParserInfo& record = info[i];
        if (record.Name == nullptr) {
            continue;
        }
        const std::string field = path.empty() ? record.Name : path + "." + record.Name;
        module.GetValue(field.c_str(), value, sizeof(value));
        if (depth == 0 || record.TypeName == nullptr ||
            std::strcmp(record.TypeName, ParameterParserInfo::kStructure) != 0) {
            continue;
        }
        if (!record.IsArray) {
            ReadFields(module, field, depth - 1);
            continue;
        }
        for (uint32_t index : {0u, record.Count}) {
            ReadFields(module, field + "[" + std::to_string(index) + "]", depth - 1);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    // The loader may keep pointers into the buffer, so it outlives the set manager.
    std::vector<unsigned char> binary = zyra_fuzz::WithValidCrc(pData, size);
    TuningSetManager manager;
    if (!manager.LoadBinaryParameters(binary.data(), binary.size())) {
        return 0;
    }
    for (const char* pBranch : kBranches) {
        std::vector<TuningMode> steps = setmanager_test::Branch(pBranch);
        const auto count = static_cast<unsigned int>(steps.size());
        for (const char* pName : kModuleNames) {
            // A binary loaded from memory keeps no client references, so nothing is released.
            ParameterModule* pModule = manager.GetModule(pName, steps.data(), count, nullptr);
            if (pModule != nullptr) {
                ReadFields(*pModule, "", 3);
            }
        }
    }
    return 0;
}
