// The ways of computing the CRC-32 that crc32.cpp chooses from. Each takes the running
// register (0xFFFFFFFF at the start; the CRC is its complement at the end) and returns it
// after `length` more bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ParameterCrc32 {

using Kernel = uint32_t (*)(uint32_t crc, const uint8_t* pData, size_t length);

uint32_t UpdateBySlicing(uint32_t crc, const uint8_t* pData, size_t length);

// The kernel of this processor's instructions, or null when it has none of them.
Kernel FastKernel();

// Folding multiplies a 128-bit block by x^n mod P to move it n bits further along the data,
// where it is added to the block found there. A block's low 64 bits hold the earlier bytes,
// so with bit-reflected constants the low half is multiplied by x^(n+32) mod P and the high
// half by x^(n-32) mod P; a carry-less product of such operands comes out bit-reflected too.

// x^n mod P, in the normal (not reflected) bit order, P = x^32 + 0x04C11DB7.
constexpr uint64_t PowerOfXModP(unsigned int n) {
    uint64_t remainder = 1;
    for (unsigned int i = 0; i < n; ++i) {
        remainder <<= 1;
        if ((remainder & (uint64_t{1} << 32)) != 0) {
            remainder ^= 0x104C11DB7u;
        }
    }
    return remainder;
}

// The constant that moves a half block by `n` bits: x^n mod P with its 32 coefficients
// reflected over 33 bits.
constexpr uint64_t FoldConstant(unsigned int n) {
    const uint64_t remainder = PowerOfXModP(n);
    uint64_t reflected = 0;
    for (unsigned int degree = 0; degree < 32; ++degree) {
        if ((remainder >> degree & 1u) != 0) {
            reflected |= uint64_t{1} << (32 - degree);
        }
    }
    return reflected;
}

// The pair of constants that moves a block by `bits`: low half first.
struct FoldDistance {
    uint64_t low;
    uint64_t high;
};

constexpr FoldDistance FoldBy(unsigned int bits) {
    return FoldDistance{FoldConstant(bits + 32), FoldConstant(bits - 32)};
}

// Four blocks (512 bits) at once in the main loop, one block (128 bits) at the end.
constexpr FoldDistance kFold512 = FoldBy(512);
constexpr FoldDistance kFold128 = FoldBy(128);

// Below this many bytes there is nothing to fold.
constexpr size_t kFoldMinimum = 64;

}  // namespace ParameterCrc32
