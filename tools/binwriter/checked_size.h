// Offsets and sizes of a binary are u32 fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace binwriter {

inline uint32_t ToU32(size_t value) {
    if (value > std::numeric_limits<uint32_t>::max()) {
        throw std::length_error("a binary cannot hold offsets or sizes above 4 GiB");
    }
    return static_cast<uint32_t>(value);
}

}  // namespace binwriter
