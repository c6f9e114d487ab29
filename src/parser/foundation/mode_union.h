// A mode and its submode packed into one 32-bit word: mode in the low 16 bits.
#pragma once

#include <cstdint>

struct ModeUnion {
    uint16_t mode = 0;
    uint16_t subMode = 0;

    ModeUnion() = default;
    explicit ModeUnion(uint32_t word)
        : mode(static_cast<uint16_t>(word)), subMode(static_cast<uint16_t>(word >> 16)) {}
    ModeUnion(uint16_t modePart, uint16_t subModePart) : mode(modePart), subMode(subModePart) {}

    uint32_t Word() const {
        return static_cast<uint32_t>(mode) | static_cast<uint32_t>(subMode) << 16;
    }
};

static_assert(sizeof(ModeUnion) == 4, "a mode is one 32-bit word");
