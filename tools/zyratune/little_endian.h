// Unsigned numbers read little-endian from a binary's bytes, as the tool reads header and table
// fields the library does not hand out; bytes past the end read as zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zyratune {

inline uint64_t Little(const std::vector<uint8_t>& bytes, uint64_t position, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width && position + i < bytes.size(); ++i) {
        value |= uint64_t{bytes[position + i]} << (8 * i);
    }
    return value;
}

}  // namespace zyratune
