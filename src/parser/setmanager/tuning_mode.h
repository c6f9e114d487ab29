// One step of a mode branch as callers pass it: Mode, SubMode and 16 bits of zero.
#pragma once

#include <cstdint>

struct TuningMode {
    uint32_t Mode;
    uint16_t SubMode;
    uint16_t Reserved;
};

static_assert(sizeof(TuningMode) == 8, "a branch step is two words");
