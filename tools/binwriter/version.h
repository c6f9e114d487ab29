// A major.minor.patch triple as binaries store it: u16, u16, u32 in one 8-byte word.
#pragma once

#include <cstdint>
#include <tuple>

namespace binwriter {

struct Version {
    uint16_t major = 0;
    uint16_t minor = 0;
    uint32_t patch = 0;

    // The 8-byte word written to a binary.
    constexpr uint64_t Word() const {
        return static_cast<uint64_t>(major) | static_cast<uint64_t>(minor) << 16 |
               static_cast<uint64_t>(patch) << 32;
    }
};

// Versions order by major, then minor, then patch.
constexpr bool operator<(const Version& a, const Version& b) {
    return std::tie(a.major, a.minor, a.patch) < std::tie(b.major, b.minor, b.patch);
}
constexpr bool operator==(const Version& a, const Version& b) {
    return std::tie(a.major, a.minor, a.patch) == std::tie(b.major, b.minor, b.patch);
}
constexpr bool operator!=(const Version& a, const Version& b) { return !(a == b); }
constexpr bool operator>(const Version& a, const Version& b) { return b < a; }
constexpr bool operator<=(const Version& a, const Version& b) { return !(b < a); }
constexpr bool operator>=(const Version& a, const Version& b) { return !(a < b); }

}  // namespace binwriter
