// A fake PD algorithm library (see fake_pd_algo.h), built as a loadable module.
#include "fake_pd_algo.h"

#define FAKE_PD_EXPORT __attribute__((visibility("default")))

namespace {

fake_pd::Control g_control{};

uint32_t Create(VEXPDLib** ppPDLib, const PDLibCreateParamList* pCreateParams) {
    ++g_control.createCalls;
    g_control.lastCreateOut = ppPDLib;
    g_control.lastCreateParams = pCreateParams;
    if (!g_control.noInstance && g_control.instanceCount < 16) {
        *ppPDLib = &g_control.instances[g_control.instanceCount++];
    }
    return g_control.createResult;
}

uint32_t AnswerZero(void*) { return 0; }
void Ignore(void*) {}

}  // namespace

extern "C" {

FAKE_PD_EXPORT fake_pd::Control* FakePdAlgo_Control() { return &g_control; }

// Like a real algorithm library, refuses a table smaller than the one that it fills.
FAKE_PD_EXPORT void VexPDLibraryEntry(PDLibraryCallbacks* pCallBacks) {
    if (pCallBacks->size < sizeof(PDLibraryCallbacks)) {
        return;
    }
    pCallBacks->pfnGetCapabilities = AnswerZero;
    pCallBacks->pfnQueryVendorTag = AnswerZero;
    pCallBacks->pfnCreate = g_control.noCreate ? nullptr : Create;
    pCallBacks->pfnSetNodeInterface = Ignore;
}

}  // extern "C"
