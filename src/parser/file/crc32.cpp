#include "parser/file/crc32.h"

#include "parser/file/crc32_kernels.h"

namespace ParameterCrc32 {
namespace {

// Slicing-by-8 tables: table[k][b] is the CRC of byte b followed by k zero bytes.
using Tables = std::array<std::array<uint32_t, 256>, 8>;

constexpr Tables MakeTables() {
    Tables tables{};
    tables[0] = kLookupTable;
    for (uint32_t b = 0; b < 256; ++b) {
        for (size_t k = 1; k < 8; ++k) {
            uint32_t previous = tables[k - 1][b];
            tables[k][b] = (previous >> 8) ^ tables[0][previous & 0xFFu];
        }
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

inline uint32_t LoadLittleEndian32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

Kernel ChosenKernel() {
    // Asked once: the processor does not change under the process.
    static const Kernel s_kernel = [] {
        Kernel fast = FastKernel();
        return fast != nullptr ? fast : &UpdateBySlicing;
    }();
    return s_kernel;
}

}  // namespace

#if !defined(__x86_64__) && !defined(__aarch64__)
Kernel FastKernel() { return nullptr; }
#endif

uint32_t UpdateBySlicing(uint32_t crc, const uint8_t* pData, size_t length) {
    for (; length >= 8; pData += 8, length -= 8) {
        uint32_t low = crc ^ LoadLittleEndian32(pData);
        uint32_t high = LoadLittleEndian32(pData + 4);
        crc = kTables[7][low & 0xFFu] ^ kTables[6][(low >> 8) & 0xFFu] ^
              kTables[5][(low >> 16) & 0xFFu] ^ kTables[4][low >> 24] ^
              kTables[3][high & 0xFFu] ^ kTables[2][(high >> 8) & 0xFFu] ^
              kTables[1][(high >> 16) & 0xFFu] ^ kTables[0][high >> 24];
    }
    for (; length > 0; ++pData, --length) {
        crc = kTables[0][(crc ^ *pData) & 0xFFu] ^ (crc >> 8);
    }
    return crc;
}

uint32_t Compute(const uint8_t* pData, size_t length) { return Extend(0, pData, length); }

uint32_t Extend(uint32_t previous, const uint8_t* pData, size_t length) {
    return ~ChosenKernel()(~previous, pData, length);
}

uint32_t ComputeBySlicing(const uint8_t* pData, size_t length) {
    return ~UpdateBySlicing(0xFFFFFFFFu, pData, length);
}

}  // namespace ParameterCrc32
