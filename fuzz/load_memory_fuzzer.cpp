// A binary loaded from memory, every module asked for along a few branches, then the same
// bytes applied as a live update and asked for again.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_set_manager.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    // The loader may keep pointers into the buffer, so it outlives the set manager.
    std::vector<unsigned char> binary = zyra_fuzz::WithValidCrc(pData, size);
    std::vector<unsigned char> update(binary);
    {
        zyra_fuzz::FuzzSetManager manager(false);
        if (manager.LoadBinaryParameters(binary.data(), binary.size())) {
            zyra_fuzz::QueryModules(manager);
            if (manager.UpdateBinaryParameters(update.data(), update.size())) {
                zyra_fuzz::QueryModules(manager);
            }
        }
    }
    return 0;
}
