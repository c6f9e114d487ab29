// CRC-32 of tuning binaries: the reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF,
// result complemented.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ParameterCrc32 {

constexpr uint32_t kPolynomial = 0xEDB88320u;

constexpr std::array<uint32_t, 256> MakeLookupTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t crc = b;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ kPolynomial : crc >> 1;
        }
        table[b] = crc;
    }
    return table;
}

// The byte-wise table: crc = kLookupTable[(crc ^ byte) & 0xFF] ^ (crc >> 8).
inline constexpr std::array<uint32_t, 256> kLookupTable = MakeLookupTable();

// CRC of `length` bytes at `pData`, by the fastest way this processor offers: carry-less
// multiplication on x86-64, the CRC32 and polynomial multiply instructions on AArch64, table
// slicing elsewhere.
uint32_t Compute(const uint8_t* pData, size_t length);

// The CRC of bytes whose first part had the CRC `previous`, given the `length` bytes at `pData`
// that follow it: Extend(Compute(a), b) is the CRC of a followed by b, and Extend(0, ...) is
// Compute. It lets a file be checked piece by piece.
uint32_t Extend(uint32_t previous, const uint8_t* pData, size_t length);

// The same CRC by table slicing alone, which every processor runs.
uint32_t ComputeBySlicing(const uint8_t* pData, size_t length);

}  // namespace ParameterCrc32
