// The set manager model driven by the input: its bytes choose the binary's mode tree, its
// modules and their sharing, and the operations run on it. Every read is compared with the
// model, so a wrong value stops the fuzzer as a crash does.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_set_manager.h"
#include "set_manager_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    model::Choices choices(pData, size);
    const uint32_t limit = choices.OneIn(2) ? 5 : 17;
    const std::string failure = model::RunModel(choices, {limit, 200, false});
    if (!failure.empty()) {
        std::fprintf(stderr, "set manager model: %s\n", failure.c_str());
        std::abort();
    }
    return 0;
}
