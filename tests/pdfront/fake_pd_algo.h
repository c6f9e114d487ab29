// Control block of the fake PD algorithm library that the tests build as a loadable module
// and copy under a temporary ZYRA_SYSROOT. Each copy of the file is a library of its own,
// with its own control, reached through the exported FakePdAlgo_Control.
#pragma once

#include <cstdint>

#include "pdfront/pd_lib_types.h"

namespace fake_pd {

struct Control {
    bool noCreate;    // the entry leaves pfnCreate null
    bool noInstance;  // create hands out no instance
    uint32_t createResult;
    uint32_t createCalls;
    VEXPDLib** lastCreateOut;
    const PDLibCreateParamList* lastCreateParams;
    uint32_t instanceCount;
    VEXPDLib instances[16];  // never freed: the front leaves some behind on purpose
};

using PFNControl = Control* (*)();

}  // namespace fake_pd
