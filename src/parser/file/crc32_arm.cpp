// CRC-32 on AArch64: the CRC32 instructions, which use this very polynomial, and for longer
// data folding by polynomial multiplication (PMULL), which keeps four blocks in flight where
// the CRC32 instructions wait for each other's results.
#if defined(__aarch64__)

#include <arm_acle.h>
#include <arm_neon.h>
#include <asm/hwcap.h>
#include <sys/auxv.h>

#include <cstring>

#include "parser/file/crc32_kernels.h"

namespace ParameterCrc32 {
namespace {

#define ZYRA_CRC_TARGET __attribute__((target("+crc")))
#define ZYRA_PMULL_TARGET __attribute__((target("+crc+crypto")))

ZYRA_CRC_TARGET uint32_t UpdateByCrcInstructions(uint32_t crc, const uint8_t* pData,
                                                 size_t length) {
    for (; length >= 8; pData += 8, length -= 8) {
        uint64_t word;
        std::memcpy(&word, pData, sizeof(word));
        crc = __crc32d(crc, word);
    }
    for (; length > 0; ++pData, --length) {
        crc = __crc32b(crc, *pData);
    }
    return crc;
}

// `block` moved along by the distance of `constants`.
ZYRA_PMULL_TARGET inline uint64x2_t Fold(uint64x2_t block, uint64x2_t constants) {
    const poly128_t low = vmull_p64(vgetq_lane_u64(block, 0), vgetq_lane_u64(constants, 0));
    const poly128_t high = vmull_high_p64(vreinterpretq_p64_u64(block),
                                          vreinterpretq_p64_u64(constants));
    return veorq_u64(vreinterpretq_u64_p128(low), vreinterpretq_u64_p128(high));
}

ZYRA_PMULL_TARGET inline uint64x2_t Load(const uint8_t* p) {
    return vreinterpretq_u64_u8(vld1q_u8(p));
}

ZYRA_PMULL_TARGET uint64x2_t Constants(const FoldDistance& distance) {
    return vcombine_u64(vcreate_u64(distance.low), vcreate_u64(distance.high));
}

ZYRA_PMULL_TARGET uint32_t UpdateByFolding(uint32_t crc, const uint8_t* pData, size_t length) {
    if (length < kFoldMinimum) {
        return UpdateByCrcInstructions(crc, pData, length);
    }
    // The register enters as the first four bytes' complement, as the table way has it.
    uint64x2_t x0 = veorq_u64(Load(pData), vcombine_u64(vcreate_u64(crc), vcreate_u64(0)));
    uint64x2_t x1 = Load(pData + 16);
    uint64x2_t x2 = Load(pData + 32);
    uint64x2_t x3 = Load(pData + 48);
    pData += 64;
    length -= 64;
    const uint64x2_t by512 = Constants(kFold512);
    for (; length >= 64; pData += 64, length -= 64) {
        x0 = veorq_u64(Fold(x0, by512), Load(pData));
        x1 = veorq_u64(Fold(x1, by512), Load(pData + 16));
        x2 = veorq_u64(Fold(x2, by512), Load(pData + 32));
        x3 = veorq_u64(Fold(x3, by512), Load(pData + 48));
    }
    const uint64x2_t by128 = Constants(kFold128);
    uint64x2_t x = veorq_u64(Fold(x0, by128), x1);
    x = veorq_u64(Fold(x, by128), x2);
    x = veorq_u64(Fold(x, by128), x3);
    for (; length >= 16; pData += 16, length -= 16) {
        x = veorq_u64(Fold(x, by128), Load(pData));
    }
    // The folded block has the CRC of the data so far, taken from a register of zero.
    crc = __crc32d(__crc32d(0, vgetq_lane_u64(x, 0)), vgetq_lane_u64(x, 1));
    return UpdateByCrcInstructions(crc, pData, length);
}

}  // namespace

Kernel FastKernel() {
    const unsigned long features = getauxval(AT_HWCAP);
    if ((features & HWCAP_CRC32) == 0) {
        return nullptr;
    }
    return (features & HWCAP_PMULL) != 0 ? &UpdateByFolding : &UpdateByCrcInstructions;
}

}  // namespace ParameterCrc32

#endif  // __aarch64__
