// Version triple of a tuning binary and of a module. A binary stores it as one little-endian
// 64-bit word: major in the low 16 bits, minor in the next 16, patch in the high 32.
#pragma once

#include <cstdint>

struct VersionUnion {
    uint16_t major = 0;
    uint16_t minor = 0;
    uint32_t patch = 0;

    VersionUnion() = default;
    explicit VersionUnion(uint64_t word)
        : major(static_cast<uint16_t>(word)),
          minor(static_cast<uint16_t>(word >> 16)),
          patch(static_cast<uint32_t>(word >> 32)) {}
    VersionUnion(uint16_t majorPart, uint16_t minorPart, uint32_t patchPart)
        : major(majorPart), minor(minorPart), patch(patchPart) {}

    uint64_t Word() const {
        return static_cast<uint64_t>(major) | static_cast<uint64_t>(minor) << 16 |
               static_cast<uint64_t>(patch) << 32;
    }

    // 1, 0 or -1. Field by field: comparing the word as a whole would rank the patch first.
    int Compare(const VersionUnion& other) const {
        if (major != other.major) {
            return major > other.major ? 1 : -1;
        }
        if (minor != other.minor) {
            return minor > other.minor ? 1 : -1;
        }
        if (patch != other.patch) {
            return patch > other.patch ? 1 : -1;
        }
        return 0;
    }

    bool operator==(const VersionUnion& other) const { return Compare(other) == 0; }
    bool operator!=(const VersionUnion& other) const { return Compare(other) != 0; }
    bool operator>(const VersionUnion& other) const { return Compare(other) > 0; }
    bool operator>=(const VersionUnion& other) const { return Compare(other) >= 0; }
    bool operator<(const VersionUnion& other) const { return Compare(other) < 0; }
    bool operator<=(const VersionUnion& other) const { return Compare(other) <= 0; }
};

static_assert(sizeof(VersionUnion) == 8, "a version is one 64-bit word");
