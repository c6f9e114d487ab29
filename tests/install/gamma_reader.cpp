// A program of a camera stack that uses the installed library: loads a tuning binary with
// TuningSetManager and prints what the typed gamma module of the Default mode holds. Built
// once through pkg-config and once through the CMake package (CMakeLists.txt here).
#include <cstdio>

#include "gamma_1_6_1.h"
#include "tuning_set_manager.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: gamma_reader TUNING_BINARY\n");
        return 2;
    }
    TuningSetManager manager;
    if (!manager.LoadBinaryParameters(argv[1])) {
        std::fprintf(stderr, "gamma_reader: %s\n", manager.GetError());
        return 1;
    }
    const TuningMode defaultMode[] = {{0, 0, 0}};
    gamma_1_6_1::lumatrope_gamma16Type* pGamma =
        manager.GetModule_gamma16_ife_v2(defaultMode, 1, nullptr);
    if (pGamma == nullptr) {
        std::fprintf(stderr, "gamma_reader: no gamma16_ife_v2 in Default\n");
        return 1;
    }
    const auto& core = pGamma->lumatrope_gamma16_core;
    std::printf("%s: enable %d, %u trigger(s)", pGamma->parameter_version.revision,
                pGamma->enable_section.gamma_enable, core.mod_gamma16_trigger_dataCount);
    for (unsigned int i = 0; i < core.mod_gamma16_trigger_dataCount; ++i) {
        const gamma_1_6_1::triggerType& trigger = core.mod_gamma16_trigger_data[i];
        std::printf(", [%g, %g]", trigger.start, trigger.end);
        if (trigger.regionCount > 0) {
            const float* pGreen = trigger.region[0].channel_g_tab.channel_g;
            std::printf(" green %g %g %g", pGreen[0], pGreen[32], pGreen[64]);
        }
    }
    std::printf("\n");
    pGamma->Release();
    return 0;
}
