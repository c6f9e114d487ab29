// CRC-32 of tuning binaries: the reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF,
// result complemented.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ParameterCrc32 {

// CRC of `length` bytes at `pData`.
uint32_t Compute(const uint8_t* pData, size_t length);

}  // namespace ParameterCrc32
